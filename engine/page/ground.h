// The ground of every cell of a page: what would be seen there without strokes.
#pragma once

#include "engine/page/grid.h"
#include "engine/page/planes.h"

namespace page {

struct Ground {
  Grid<Colour> ln;      // of the ground, and fourth of the mean of its channels
  Grid<float> darkest;  // ln of the mean channel of a cell's darkest quarter
  Mask marked;          // cells whose lightest pixels are as light as the ground in a channel, and coloured: marker
  Mask darkestPixel;    // of the 16 of a cell, line by line
  bool reverse = false; // light marks on a dark ground: the ground is what is darkest

  bool HoldsInk(size_t at) const { return darkest.cells[at] < ln.cells[at][3] - kInk; }
};

// Of a page of at least one cell.
Ground FindGround(const Planes& planes, const Levels& levels);

} // namespace page
