// What an adaptive analysis sees of an image: means over square blocks, which take grain away and keep colours
// together.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/zep3.h"

class CHIST;

// Linear levels with their fractions, line by line. Blocks lie side by side from the top left corner of the analysis
// area, of a rotated one from that of the upright rectangle around it; what is left over at the right and at the bottom
// is not seen.
struct BlockGrid {
  int rows = 0;
  int columns = 0;
  int64_t left = 0; // pixels of the image: where the first block begins ...
  int64_t top = 0;
  int64_t side = 1;             // ... and what each of them measures
  bool upright = true;          // the area is: all of the blocks lie within it
  std::vector<double> level[3]; // rows * columns each
  std::vector<uint8_t> inside;  // likewise: 1 where the block's centre lies inside the area less its margin

  size_t At(int row, int column) const {
    return static_cast<size_t>(row) * static_cast<size_t>(columns) + static_cast<size_t>(column);
  }
  size_t Size() const { return inside.size(); }
};

// Of an image that the standard analysis has accepted. `margin`: percent of the area's extent that is not inside. At
// most 30000 blocks; without any where the area leaves none.
BlockGrid ReadBlockGrid(const ZEP3_BmpInfo& image, int margin);

// Whether the levels of some blocks pass the test that the standard analysis puts to those of the whole scan; of
// monochrome film one channel that does is enough. `hist` has the bounds of document types, which 0 to 3 are.
bool HaveUsableLevels(const BlockGrid& grid, const std::vector<size_t>& blocks, const CHIST& hist, int16_t docType);
