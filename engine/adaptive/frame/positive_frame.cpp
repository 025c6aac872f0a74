// Peels lines that are darker than the picture or lighter than its material off the sides.
#include "engine/adaptive/frame/positive_frame.h"

#include <vector>

#include "engine/adaptive/frame/peel.h"
#include "engine/adaptive/order_statistics.h"
#include "engine/adaptive/positive/model.h"
#include "engine/common/scale.h"

namespace {

constexpr double kFrameMost = 0.15;    // share of a side's extent that is taken off at most
constexpr double kFrameLine = 0.6;     // share of a line that lies outside for it to go
constexpr double kFrameDarker = 0.12;  // density by which a mount is darker than the picture's darkest
constexpr double kFrameLighter = 0.7;  // share of the base's density below which there is no original
constexpr double kFrameInner = 0.2;    // what is left out on each side to find the picture's darkest
constexpr double kFrameDarkest = 99.0; // percent

} // namespace

Frame FindPositiveFrame(const BlockGrid& grid, const PositiveMaterial& material) {
  Frame frame = WholeGrid(grid);
  double darkest[3];
  const int rowsAside = ToInt32(kFrameInner * grid.rows);
  const int columnsAside = ToInt32(kFrameInner * grid.columns);
  const Frame middle = {rowsAside, grid.rows - rowsAside, columnsAside, grid.columns - columnsAside};
  std::vector<double> inner;
  inner.reserve(grid.Size());
  for (int c = 0; c < 3; c++) {
    inner.clear();
    ForEachBlock(grid, middle, [&](size_t at) { inner.push_back(grid.level[c][at]); });
    if (inner.empty()) return frame;
    darkest[c] = LevelOfDensity(ScannedDensity(Percentile(inner, 100.0 - kFrameDarkest)) + kFrameDarker);
  }
  const double lightest = LevelOfDensity(kFrameLighter * material.base);

  const auto isOutside = [&](size_t at) {
    bool darker = true;
    bool lighter = true;
    for (int c = 0; c < 3; c++) {
      // Where the picture holds the scanner's darkest, no mount can be told from it.
      darker = darker && AtLeast(positive::kLeastLevel, grid.level[c][at]) < darkest[c];
      lighter = lighter && grid.level[c][at] > lightest;
    }
    return darker || lighter;
  };
  const auto isBorder = [&](const GridLine& line) {
    int seen = 0;
    int outside = 0;
    for (int i = 0; i < line.count; i++) {
      const size_t at = line.At(i);
      if (!grid.inside[at]) continue;
      seen++;
      outside += isOutside(at);
    }
    return outside > kFrameLine * seen;
  };
  for (const Side side : kSides) {
    const int most = ToInt32(kFrameMost * LinesAcross(WholeGrid(grid), side));
    // One line more: its blocks show both.
    if (PeelSide(grid, frame, side, most, isBorder) > 0) DropLine(frame, side);
  }
  return frame;
}
