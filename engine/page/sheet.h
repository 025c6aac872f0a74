// How what was taken for paper lies on the scan: as sheets do, or as sky, walls and water do in a picture.
#pragma once

#include "engine/page/ground.h"
#include "engine/page/paper.h"
#include "engine/page/surface.h"

namespace page {

// Shares are of cells.
struct Lie {
  double ink = 0.0;    // of the paper: holds ink
  double filled = 0.0; // of the smallest box around the paper's outline: lies within the outline
  double border = 0.0; // of the scan's outermost: is paper
  double level = 0.0;  // of the paper, display level 0..1, median
  double uneven = 0.0; // ln of the lightest paper over the darkest (98th and 2nd percentile)
  double tint = 0.0;   // ln red over blue, from its 5th to its 95th percentile
};

Lie HowItLies(const Ground& ground, const Paper& paper, const Surface& surface);

// Of light marks on a dark ground (reverse) the ink is not asked for.
bool LiesAsSheetsDo(const Lie& lie, bool reverse);

} // namespace page
