// Reads the analysis area into square blocks, and tests their levels.
#include "engine/adaptive/block_grid.h"

#include <algorithm>
#include <cmath>

#include "engine/common/convert.h"
#include "engine/common/record.h"
#include "engine/image/block_means.h"
#include "engine/image/sampling.h"

namespace {

constexpr double kMostBlocks = 30000.0;

// 8-bit levels that tell of a picture: neither the scanner's black nor its white, but for paper, which may be as white.
constexpr double kDarkestTold = 1.0;
constexpr double kLightestTold = 254.0;
constexpr double kPaperWhite = 255.0;
// Shares of the picture that have such levels, in the mean of the channels and in the poorest. The rest may be a night
// sky, a stage or a bare bulb; water takes the red and lamps lack the blue.
constexpr double kLeastTold = 0.35;
constexpr double kLeastOfChannel = 0.05;

} // namespace

BlockGrid ReadBlockGrid(const ZEP3_BmpInfo& image, int margin) {
  BlockGrid grid;
  AreaShape area;
  AreaShape inner;
  if (!area.Lay(image.area, 0) || !inner.Lay(image.area, margin)) return grid;
  const ScanRectangle scan = ScanRectangleOf(image);
  PixelSpan columns = scan.columns;
  PixelSpan lines = scan.lines;
  if (!area.rotated) {
    columns = Within(columns, area.rect[0], area.rect[1]);
    lines = Within(lines, area.rect[2], area.rect[3]);
  }
  const int64_t width = int64_t{columns.end} - columns.begin;
  const int64_t height = int64_t{lines.end} - lines.begin;
  if (width <= 0 || height <= 0) return grid;

  const double pixels = static_cast<double>(width) * static_cast<double>(height);
  const auto side = static_cast<int64_t>(std::ceil(std::sqrt(pixels / kMostBlocks)));
  grid.left = columns.begin;
  grid.top = lines.begin;
  grid.side = side;
  grid.upright = !area.rotated;
  grid.rows = static_cast<int>(height / side);
  grid.columns = static_cast<int>(width / side);
  const size_t size = static_cast<size_t>(grid.rows) * static_cast<size_t>(grid.columns);
  for (std::vector<double>& level : grid.level) level.resize(size);
  grid.inside.resize(size);
  if (size == 0) return grid;

  const PixelLayout pixel = LayoutOf(image);
  BlockMeans means(pixel, side, side, grid.columns);
  const double perPixel = 1.0 / (static_cast<double>(side) * static_cast<double>(side));
  for (int row = 0; row < grid.rows; row++) {
    const int64_t y = lines.begin + row * side;
    means.Read(image.pBits + (y * image.lBytesPerLine + int64_t{columns.begin} * pixel.samples), image.lBytesPerLine,
               grid.columns);
    const PixelSpan inside = inner.InnerSpan(static_cast<int>(y + side / 2), columns);
    for (int column = 0; column < grid.columns; column++) {
      const size_t at = grid.At(row, column);
      uint64_t sums[4];
      means.Sums(column, sums);
      const int channel[3] = {pixel.red, pixel.green, pixel.blue};
      for (int c = 0; c < 3; c++) grid.level[c][at] = static_cast<double>(sums[channel[c]]) * perPixel;
      const int64_t centre = columns.begin + column * side + side / 2;
      grid.inside[at] = inside.begin <= centre && centre < inside.end;
    }
  }
  return grid;
}

bool HaveUsableLevels(const BlockGrid& grid, const std::vector<size_t>& blocks, int16_t docType) {
  const double lightest = docType == ZEP3_DOC_REFLECTIVE ? kPaperWhite : kLightestTold;
  double least = 1.0;
  double all = 0.0;
  double most = 0.0;
  for (const std::vector<double>& level : grid.level) {
    const auto told = std::count_if(blocks.begin(), blocks.end(),
                                    [&](size_t at) { return level[at] >= kDarkestTold && level[at] <= lightest; });
    const double share = static_cast<double>(told) / static_cast<double>(blocks.size());
    least = std::min(least, share);
    all += share;
    most = std::max(most, share);
  }
  if (docType == ZEP3_DOC_NEGATIVE_BW) return most >= kLeastTold;
  return all / 3.0 >= kLeastTold && least >= kLeastOfChannel;
}
