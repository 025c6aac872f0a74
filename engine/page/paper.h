// Which cells of a page are paper, and which are pictures, boxes and other things that lie on it.
#pragma once

#include "engine/page/grid.h"
#include "engine/page/ground.h"

namespace page {

struct Paper {
  Mask paper;        // cells
  Mask object;       // in the outline of a picture or a box; paper-coloured parts of it, too
  Mask known;        // paper outside of objects: where the paper's colour may be measured
  Mask sheet;        // paper with the pictures that it goes on below, which may run off the scan
  Mask lid;          // what lies around everything; empty: nothing does
  double leak = 0.0; // steps within the paper that a picture's edge would leave, over the side of a square page
  float step = 0.0F; // ln that the ground was allowed to change by from cell to cell
};

Paper FindPaper(const Ground& ground);

} // namespace page
