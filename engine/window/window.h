// The picture's window: where on a scan the picture lies that is to be corrected, in whatever surrounds it.
//
// Film lies in a holder or on a light table and shows rebate, perforations and the frames beside, slides lie in mounts,
// prints on the lid of a flatbed, with or without a white border. Each of them leaves a straight line along every side
// of the picture, with something even on its outside; a picture that fills the scan has such lines by chance only.
#pragma once

#include "engine/window/fine.h"

struct Window {
  bool found = false;
  Corners corners = {};    // of the picture, pixels of the image
  double confidence = 0.0; // 0..1: the chance that it is the picture's
  bool bordered = false;   // prints: there is paper around the picture ...
  Corners paper = {};      // ... with these corners
  int frames = 0;          // pictures that are seen whole, this one among them
  Strip strip[kSideCount]; // what lies beside the picture
};

// `grid` holds blocks of all of the image's analysis area, which is upright. Corners may lie a little outside of the
// image where the picture reaches beyond it.
Window FindWindow(const ZEP3_BmpInfo& image, const BlockGrid& grid, Material material);
