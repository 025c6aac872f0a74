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

class FineSearch {
 public:
  enum Depth { kLikeliest, kInnermost }; // across even strips of surroundings inward, or not

  // All must outlive the object.
  FineSearch(const ZEP3_BmpInfo& image, const GridPlace& place, Material material, const LevelMap& map)
      : m_image(image), m_place(place), m_material(material), m_map(map) {}

  // Moves the sides of a rectangle, but for those on the scan's edge, to a line beside them. Corners in pixels, and
  // what the sides have on their outside.
  Corners Refine(const Rectangle& rectangle, Depth depth, Strip (&strips)[kSideCount]) const;

 private:
  const ZEP3_BmpInfo& m_image;
  const GridPlace m_place;
  const Material m_material;
  const LevelMap& m_map;
};
