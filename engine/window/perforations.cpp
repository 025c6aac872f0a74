#include "engine/window/perforations.h"

#include <cmath>
#include <cstddef>
#include <optional>
#include <vector>

#include "engine/adaptive/order_statistics.h"
#include "engine/window/tuning.h"

namespace {

struct Point {
  double x, y;
};

// A light stretch of a line, blocks.
struct Hole {
  double centre, length;
};

// The mean channel where a point of the image lies; nothing outside of the grid.
std::optional<double> LevelAt(const BlockGrid& grid, const Point& p) {
  const double side = static_cast<double>(grid.side);
  const double column = std::floor((p.x - static_cast<double>(grid.left)) / side);
  const double row = std::floor((p.y - static_cast<double>(grid.top)) / side);
  if (column < 0.0 || row < 0.0 || column >= grid.columns || row >= grid.rows) return std::nullopt;
  const size_t at = grid.At(static_cast<int>(row), static_cast<int>(column));
  return (grid.level[0][at] + grid.level[1][at] + grid.level[2][at]) / 3.0;
}

// Light stretches that begin and end on the line. What cuts them off is half way from what is dark on the line to what
// is light on it.
std::vector<Hole> HolesOf(const std::vector<double>& line) {
  if (line.size() < kLeastLine) return {};
  std::vector<double> samples = line;
  const double dark = Percentile(samples, 10.0);
  const double light = Percentile(samples, 90.0);
  if (light - dark < kHoleContrast) return {};
  const double cut = 0.5 * (dark + light);
  // Between two blocks the edge lies where a straight line meets the cut.
  const auto edge = [&](size_t i) {
    return static_cast<double>(i) - 1.0 + (cut - line[i - 1]) / (line[i] - line[i - 1]);
  };
  std::vector<Hole> holes;
  double begin = -1.0; // of the hole that is open; below 0: none is
  for (size_t i = 1; i < line.size(); i++) {
    if (line[i - 1] <= cut && line[i] > cut) begin = edge(i);
    if (begin < 0.0 || line[i - 1] <= cut || line[i] > cut) continue;
    const double end = edge(i);
    holes.push_back({0.5 * (begin + end), end - begin});
    begin = -1.0;
  }
  return holes;
}

bool IsNear(double v, double expected, double share) { return std::fabs(v - expected) <= share * expected; }

// Whether so many holes follow one another at one pitch, of one length; `side`: of the picture, blocks.
bool AreInARow(const std::vector<Hole>& holes, double side) {
  for (size_t first = 0; first + kHoles <= holes.size(); first++) {
    const double pitch = (holes[first + kHoles - 1].centre - holes[first].centre) / (kHoles - 1);
    const double length = holes[first].length;
    if (pitch < kPitchLeast * side || pitch > kPitchMost * side || pitch < kPitchBlocks) continue;
    if (length < kHoleLeast * pitch || length > kHoleMost * pitch) continue;
    bool alike = true;
    for (size_t i = 1; i < kHoles && alike; i++) {
      alike = IsNear(holes[first + i].centre - holes[first + i - 1].centre, pitch, kPitchOff) &&
              IsNear(holes[first + i].length, length, kHoleOff);
    }
    if (alike) return true;
  }
  return false;
}

} // namespace

bool HasPerforations(const BlockGrid& grid, const Corners& corners) {
  const Point middle = {0.25 * (corners.x[0] + corners.x[1] + corners.x[2] + corners.x[3]),
                        0.25 * (corners.y[0] + corners.y[1] + corners.y[2] + corners.y[3])};
  const double block = static_cast<double>(grid.side);
  for (int k = 0; k < 4; k++) {
    const Point from = {corners.x[k], corners.y[k]};
    const Point to = {corners.x[(k + 1) % 4], corners.y[(k + 1) % 4]};
    const double side = std::hypot(to.x - from.x, to.y - from.y) / block;
    if (!(side >= kPitchBlocks / kPitchMost && side <= grid.columns + grid.rows)) continue;
    const Point along = {(to.x - from.x) / side, (to.y - from.y) / side}; // a block
    // Square to it, away from the middle.
    Point out = {along.y, -along.x};
    if ((middle.x - from.x) * out.x + (middle.y - from.y) * out.y > 0.0) out = {-out.x, -out.y};
    const int reach = static_cast<int>(kBeyondAlong * side);
    int rows = 0;
    for (int away = 1; away <= kBeyondAcross * side; away++) {
      std::vector<double> line;
      for (int i = -reach; i < side + reach; i++) {
        const auto level = LevelAt(grid, {from.x + along.x * i + out.x * away, from.y + along.y * i + out.y * away});
        if (level) line.push_back(*level);
      }
      if (AreInARow(HolesOf(line), side)) {
        rows++;
        continue;
      }
      // A fence goes on, or the scan ends before it does.
      const bool seen = static_cast<double>(line.size()) > side;
      if (seen && rows >= kHoleRows && rows <= kHoleAcross * side) return true;
      rows = 0;
    }
  }
  return false;
}
