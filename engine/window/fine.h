// The sides of a window at the fineness of the scan.
#pragma once

#include "engine/window/rectangles.h"
#include "engine/zep3.h"

// Where the blocks of a grid lie, pixels.
struct GridPlace {
  double left;
  double top;
  double side;
};

// In pixels; where the scan begins is 0.
Corners ToPixels(const Corners& blocks, const GridPlace& place);

// What the scan shows on the outside of a side.
struct Strip {
  bool seen = false;
  double level[3] = {}; // medians along the side, next to the picture
};

// Moves the sides of a window, but for those on the scan's edge, to the innermost line beside them that could be one.
// `corners` in pixels, in and out.
void Refine(const ZEP3_BmpInfo& image, const GridPlace& place, Material material, const LevelMap& map,
            const Rectangle& rectangle, Corners& corners, Strip (&strips)[kSideCount]);
