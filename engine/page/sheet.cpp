#include "engine/page/sheet.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

#include "engine/common/reached.h"
#include "engine/page/histogram.h"
#include "engine/page/tuning.h"

namespace page {
namespace {

// Area in cells of the smallest box that holds the cells. It may be tilted, as sheets lie on a lid: a long one fills
// little of an upright box.
double BoxAround(const std::span<const uint32_t> cells, int columns) {
  constexpr int kTilts = 30; // in a quarter of a turn: 3 degrees apart
  // They come line by line: what lies between the ends of a line moves no side of a box.
  std::vector<std::pair<int, int>> ends;
  for (size_t i = 0; i < cells.size(); i++) {
    const auto column = [&](size_t k) { return static_cast<int>(cells[k]) % columns; };
    const auto row = [&](size_t k) { return static_cast<int>(cells[k]) / columns; };
    const bool first = i == 0 || row(i - 1) != row(i), last = i + 1 == cells.size() || row(i + 1) != row(i);
    if (first || last) ends.emplace_back(column(i), row(i));
  }
  double area = std::numeric_limits<double>::infinity();
  for (int k = 0; k < kTilts; k++) {
    const double angle = std::numbers::pi / 2 * k / kTilts, cosine = std::cos(angle), sine = std::sin(angle);
    double left = std::numeric_limits<double>::infinity(), right = -left, top = left, bottom = -left;
    for (const auto& [column, row] : ends) {
      const double x = column * cosine + row * sine, y = row * cosine - column * sine;
      left = std::min(left, x);
      right = std::max(right, x);
      top = std::min(top, y);
      bottom = std::max(bottom, y);
    }
    const double cell = cosine + sine; // how far a cell reaches over, each way
    area = std::min(area, (right - left + cell) * (bottom - top + cell));
  }
  return area;
}

// Of the largest outline, with what it encloses: pictures on the sheet are a part of it, those that run to the edge of
// the scan are not.
double FilledShare(const Mask& paper) {
  const std::vector<uint8_t> beyond =
      ReachedFromEdge(paper.columns, paper.rows, [&](int column, int row) { return paper.At(row, column) == 0; });
  Mask outlined(paper.rows, paper.columns);
  for (size_t i = 0; i < outlined.Size(); i++) outlined.cells[i] = beyond[i] == 0;
  const Regions regions = Connected(outlined);
  size_t largest = 0;
  for (size_t label = 1; label < regions.Labels(); label++) {
    if (largest == 0 || regions.Cells(label).size() > regions.Cells(largest).size()) largest = label;
  }
  if (largest == 0) return 0.0;
  const std::span<const uint32_t> cells = regions.Cells(largest);
  return static_cast<double>(cells.size()) / BoxAround(cells, paper.columns);
}

// What no lid covers: paper, and pictures on it that run to its edge.
Mask NotLid(const Mask& lid) {
  Mask rest = lid;
  for (uint8_t& cell : rest.cells) cell = cell == 0;
  return rest;
}

} // namespace

Lie HowItLies(const Ground& ground, const Paper& paper, const Surface& surface) {
  const Mask& known = paper.known;
  Histogram means(0.0F, 1.0F), redOverBlue(-2.0F, 2.0F);
  int64_t inked = 0;
  for (size_t i = 0; i < known.Size(); i++) {
    if (known.cells[i] == 0) continue;
    const Colour& v = surface.level.cells[i];
    means.Add(Mean(v));
    redOverBlue.Add(std::log(std::max(v[0], kDarkest) / std::max(v[2], kDarkest)));
    inked += ground.HoldsInk(i) ? 1 : 0;
  }
  const auto at = [&](double percent) { return std::max(means.Percentile(percent), static_cast<double>(kDarkest)); };
  Lie lie;
  if (means.Samples() == 0) return lie;
  lie.ink = static_cast<double>(inked) / static_cast<double>(means.Samples());
  lie.filled = FilledShare(paper.sheet);
  if (lie.filled < kSheetFilled && paper.lid.Size() != 0)
    lie.filled = std::max(lie.filled, FilledShare(NotLid(paper.lid)));
  lie.border = ShareOfBorder(known);
  lie.level = means.Percentile(50.0);
  lie.uneven = std::log(at(98.0) / at(2.0));
  lie.tint = redOverBlue.Percentile(95.0) - redOverBlue.Percentile(5.0);
  return lie;
}

bool LiesAsSheetsDo(const Lie& lie, bool reverse) {
  if (lie.filled < kSheetFilled) return false;
  if (reverse) return lie.level >= kReverseLeast && lie.uneven <= kReverseUneven;
  if (lie.ink >= kWrittenOn) return lie.tint <= kWrittenTint;
  const bool allAround = lie.border >= kBlankBorder || lie.border <= 1.0 - kBlankBorder;
  return allAround && lie.level >= kBlankLeast && lie.tint <= kBlankTint && lie.uneven <= kBlankUneven;
}

} // namespace page
