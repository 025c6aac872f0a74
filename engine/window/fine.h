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

// What the scan shows on the outside of a side.
struct Strip {
  bool seen = false;
  double level[3] = {}; // medians along the side, next to the picture
};

// A rectangle with its sides on lines of the scan, but for those on the scan's edge; corners in pixels.
struct FineRectangle {
  Corners likeliest;       // on the likeliest lines
  Corners innermost;       // on lines further in that even strips of surroundings separate from those
  Strip strip[kSideCount]; // outside of the innermost
};

class FineSearch {
 public:
  // All must outlive the object.
  FineSearch(const ZEP3_BmpInfo& image, const GridPlace& place, Material material, const LevelMap& map)
      : m_image(image), m_place(place), m_material(material), m_map(map) {}

  FineRectangle Refine(const Rectangle& rectangle) const;

 private:
  const ZEP3_BmpInfo& m_image;
  const GridPlace m_place;
  const Material m_material;
  const LevelMap& m_map;
};
