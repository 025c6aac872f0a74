// Where on the scan of a negative the picture lies: holder, open light and the film's clear border left out.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/adaptive/block_grid.h"

// Clear border on opposite sides: the median levels of its blocks.
struct ClearStrip {
  double level[3];
};

struct NegativeFrame {
  std::vector<size_t> picture;    // the blocks that show the picture, line by line
  double trimmed = 0.0;           // share 0..1 of the area's blocks that do not
  bool holder[4] = {};            // which sides had a holder ...
  bool clear[4] = {};             // ... and which clear film or open light
  std::vector<ClearStrip> strips; // from the outside to the inside
};

// Without any block in `picture` where the area has none in its middle.
NegativeFrame FindNegativeFrame(const BlockGrid& grid);
