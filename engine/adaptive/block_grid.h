// What an adaptive analysis sees of an image: means over square blocks, which take grain away and keep colours
// together.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "engine/image/area.h"
#include "engine/image/shared_walk.h"
#include "engine/zep3.h"

// Linear levels with their fractions, line by line. Blocks lie side by side from the top left corner of the analysis
// area; for a rotated area, of the upright rectangle around it. What is left over at the right and at the bottom is not
// seen.
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

// Reads an image that the standard analysis has accepted: at most 30000 blocks, none where the area leaves no room.
// `margin`: percent of the area's extent left out.
BlockGrid ReadBlockGrid(const ZEP3_BmpInfo& image, int margin);

// The same, read while the standard analysis reads the image, as far as that saves time.
class BlockGridReader final : public Companion, private BlockRows {
 public:
  BlockGridReader(const ZEP3_BmpInfo& image, int margin) : m_image(image), m_margin(margin) {}
  BlockGridReader(const BlockGridReader&) = delete;
  BlockGridReader& operator=(const BlockGridReader&) = delete;

  BlockRows* Rows() override;
  // The grid, once: reads the image where it was not read on the way.
  BlockGrid Grid();

 private:
  void Lay();
  void Take(int64_t row) override;

  const ZEP3_BmpInfo& m_image;
  int m_margin;
  AreaShape m_inner;
  PixelSpan m_columns = {0, 0};
  std::optional<BlockMeans> m_means;
  bool m_handed = false;
  BlockGrid m_grid;
};

// Whether enough of the given blocks have levels that tell of the picture, in every channel; for monochrome film one
// channel is enough. The test that the standard analysis puts to the whole scan asks for nearly all of them, which
// pictures with a black background or a bare bulb do not have. docType is 0 to 3.
bool HaveUsableLevels(const BlockGrid& grid, const std::vector<size_t>& blocks, int16_t docType);
