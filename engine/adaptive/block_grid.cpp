// Reads the analysis area into square blocks, and tests their levels.
#include "engine/adaptive/block_grid.h"

#include <algorithm>
#include <cmath>
#include <utility>

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

BlockGrid ReadBlockGrid(const ZEP3_BmpInfo& image, int margin) { return BlockGridReader(image, margin).Grid(); }

BlockRows* BlockGridReader::Rows() {
  Lay();
  m_handed = m_means.has_value();
  return m_handed ? this : nullptr;
}

BlockGrid BlockGridReader::Grid() {
  if (m_handed) return std::move(m_grid);
  Lay();
  for (int64_t row = 0; row < rows; row++) {
    const int64_t first = (top + row * side) * m_image.lBytesPerLine + left * LayoutOf(m_image).samples;
    m_means->Read(m_image.pBits + first, m_image.lBytesPerLine, blocks);
    Take(row);
  }
  return std::move(m_grid);
}

void BlockGridReader::Lay() {
  AreaShape area;
  if (!area.Lay(m_image.area, 0) || !m_inner.Lay(m_image.area, m_margin)) return;
  const ScanRectangle scan = ScanRectangleOf(m_image);
  m_columns = scan.columns;
  PixelSpan lines = scan.lines;
  if (!area.rotated) {
    m_columns = Within(m_columns, area.rect[0], area.rect[1]);
    lines = Within(lines, area.rect[2], area.rect[3]);
  }
  const int64_t width = int64_t{m_columns.end} - m_columns.begin;
  const int64_t height = int64_t{lines.end} - lines.begin;
  if (width <= 0 || height <= 0) return;

  const double pixels = static_cast<double>(width) * static_cast<double>(height);
  side = static_cast<int64_t>(std::ceil(std::sqrt(pixels / kMostBlocks)));
  left = m_columns.begin;
  top = lines.begin;
  blocks = width / side;
  rows = blocks > 0 ? height / side : 0;
  columns = blocks * side;
  m_grid.left = left;
  m_grid.top = top;
  m_grid.side = side;
  m_grid.upright = !area.rotated;
  m_grid.rows = static_cast<int>(height / side);
  m_grid.columns = static_cast<int>(blocks);
  const auto size = static_cast<size_t>(rows * blocks);
  for (std::vector<double>& level : m_grid.level) level.resize(size);
  m_grid.inside.resize(size);
  if (size == 0) return;
  means = &m_means.emplace(LayoutOf(m_image), side, side, blocks);
}

void BlockGridReader::Take(int64_t row) {
  const PixelLayout pixel = LayoutOf(m_image);
  const double perPixel = 1.0 / (static_cast<double>(side) * static_cast<double>(side));
  const PixelSpan inside = m_inner.InnerSpan(static_cast<int>(top + row * side + side / 2), m_columns);
  for (int column = 0; column < m_grid.columns; column++) {
    const size_t at = m_grid.At(static_cast<int>(row), column);
    uint64_t sums[4];
    m_means->Sums(column, sums);
    const int channel[3] = {pixel.red, pixel.green, pixel.blue};
    for (int c = 0; c < 3; c++) m_grid.level[c][at] = static_cast<double>(sums[channel[c]]) * perPixel;
    const int64_t centre = m_columns.begin + column * side + side / 2;
    m_grid.inside[at] = inside.begin <= centre && centre < inside.end;
  }
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
