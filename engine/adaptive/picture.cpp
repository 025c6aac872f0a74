#include "engine/adaptive/picture.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "engine/adaptive/order_statistics.h"
#include "engine/common/reached.h"
#include "engine/common/scale.h"

namespace {

// Of a window, blocks from its sides and shares of its shorter side from its corners: what is nearer shows both, and
// holders and mounts have round corners.
constexpr double kInset = 1.0;
constexpr double kCornerCut = 0.08;

// Share of the image's extent by which corners may lie outside of it.
constexpr double kBeyond = 0.1;

// A window that holds less than this share of the area's blocks is none to decide from.
constexpr double kSmallest = 0.002;

// Film lets more light through than this level in one channel, and than this share of what it does in the middle's
// densest parts; the more the one that is less, but for scans without stray light.
constexpr double kOpaqueLevel = 12.0;
constexpr double kOpaqueMost = 24.0;
constexpr double kOpaqueShare = 0.45;
constexpr double kDensestPercent = 1.0;
constexpr int kHalo = 2; // blocks that what is opaque shades

// A rim narrower than a block hides in the scan's outermost ones: these count only if they let more light through than
// this share of what those beyond the rim's shade do.
constexpr double kRimShare = 0.8;

struct SideLine {
  double x, y;   // a point of it
  double nx, ny; // inward, of length 1
};

class Inset {
 public:
  Inset(const Corners& corners, double side, bool film) {
    for (int i = 0; i < 4; i++) {
      const int next = (i + 1) % 4;
      const double dx = corners.x[next] - corners.x[i];
      const double dy = corners.y[next] - corners.y[i];
      const double length = std::max(std::hypot(dx, dy), 1.0);
      m_line[i] = {corners.x[i], corners.y[i], -dy / length, dx / length};
    }
    m_inset = kInset * side;
    if (film) m_corner = kCornerCut * std::min(corners.Width(), corners.Height());
  }

  bool Holds(double x, double y) const {
    double depth[4];
    for (int i = 0; i < 4; i++) {
      depth[i] = (x - m_line[i].x) * m_line[i].nx + (y - m_line[i].y) * m_line[i].ny;
      if (depth[i] < m_inset) return false;
    }
    for (int i = 0; i < 4; i++) {
      if (depth[i] + depth[(i + 1) % 4] < m_corner) return false;
    }
    return true;
  }

 private:
  SideLine m_line[4];
  double m_inset = 0.0;
  double m_corner = 0.0;
};

// The outermost blocks that a holder's rim may darken.
template <class LightestAt>
void AddRims(const BlockGrid& grid, const LightestAt& lightest, std::vector<uint8_t>& opaque) {
  const auto add = [&](int row, int column, int inRow, int inColumn) {
    const double inner = lightest(grid.At(row + inRow * kHalo, column + inColumn * kHalo));
    if (lightest(grid.At(row, column)) < kRimShare * inner) opaque[grid.At(row, column)] = 1;
  };
  if (grid.rows <= kHalo || grid.columns <= kHalo) return;
  for (int column = 0; column < grid.columns; column++) {
    add(0, column, 1, 0);
    add(grid.rows - 1, column, -1, 0);
  }
  for (int row = 0; row < grid.rows; row++) {
    add(row, 0, 0, 1);
    add(row, grid.columns - 1, 0, -1);
  }
}

// Blocks of a negative's scan that no film is dense enough for, as far as they hang together with the scan's edge, and
// those that they shade: what a holder covers where no window was found, or reaches into it, and what was filled in
// where a scan was turned.
std::vector<uint8_t> OpaqueBlocks(const BlockGrid& grid) {
  const auto lightest = [&](size_t at) { return std::max({grid.level[0][at], grid.level[1][at], grid.level[2][at]}); };
  std::vector<double> middle;
  for (int row = grid.rows / 4; row < grid.rows - grid.rows / 4; row++) {
    for (int column = grid.columns / 4; column < grid.columns - grid.columns / 4; column++) {
      middle.push_back(lightest(grid.At(row, column)));
    }
  }
  if (middle.empty()) return std::vector<uint8_t>(grid.Size());
  const double most = Clamp(kOpaqueShare * Percentile(middle, kDensestPercent), kOpaqueLevel, kOpaqueMost);
  const std::vector<uint8_t> reached = ReachedFromEdge(
      grid.columns, grid.rows, [&](int column, int row) { return !(lightest(grid.At(row, column)) >= most); });
  std::vector<uint8_t> opaque = reached;
  for (int row = 0; row < grid.rows; row++) {
    for (int column = 0; column < grid.columns; column++) {
      if (reached[grid.At(row, column)] == 0) continue;
      for (int r = std::max(row - kHalo, 0); r <= std::min(row + kHalo, grid.rows - 1); r++) {
        for (int c = std::max(column - kHalo, 0); c <= std::min(column + kHalo, grid.columns - 1); c++) {
          opaque[grid.At(r, c)] = 1;
        }
      }
    }
  }
  AddRims(grid, lightest, opaque);
  return opaque;
}

// Whether a window that was told can be one of the image, rather than of the same picture at another size.
bool IsOn(const ZEP3_BmpInfo& image, const Corners& corners) {
  const auto within = [](double at, int64_t extent) {
    const double most = static_cast<double>(extent);
    return -kBeyond * most <= at && at <= (1.0 + kBeyond) * most;
  };
  for (int i = 0; i < 4; i++) {
    if (!within(corners.x[i], image.lWidth) || !within(corners.y[i], image.lHeight)) return false;
  }
  return true;
}

Window WindowOf(const ZEP3_BmpInfo& image, const BlockGrid& grid, Material material, const ZEP3_EVIDENCE* known) {
  if (known == nullptr) return FindWindow(image, grid, material);
  Window window;
  window.found = known->dWindowConfidence > 0.0;
  window.confidence = known->dWindowConfidence;
  for (int i = 0; i < 4; i++) {
    window.corners.x[i] = known->dWindow[i][0];
    window.corners.y[i] = known->dWindow[i][1];
  }
  return IsOn(image, window.corners) ? window : FindWindow(image, grid, material);
}

} // namespace

Picture FindPicture(const ZEP3_BmpInfo& image, const BlockGrid& grid, Material material, const ZEP3_EVIDENCE* known) {
  Picture picture;
  const std::vector<uint8_t> opaque = material == Material::kNegative ? OpaqueBlocks(grid) : std::vector<uint8_t>();
  if (grid.upright) picture.window = WindowOf(image, grid, material, known);
  if (picture.window.found) {
    const Inset inset(picture.window.corners, static_cast<double>(grid.side), material != Material::kPrint);
    for (int row = 0; row < grid.rows; row++) {
      const double y = static_cast<double>(grid.top) + (row + 0.5) * static_cast<double>(grid.side);
      for (int column = 0; column < grid.columns; column++) {
        const double x = static_cast<double>(grid.left) + (column + 0.5) * static_cast<double>(grid.side);
        const size_t at = grid.At(row, column);
        if (inset.Holds(x, y) && (opaque.empty() || opaque[at] == 0)) picture.blocks.push_back(at);
      }
    }
    const double share = static_cast<double>(picture.blocks.size()) / static_cast<double>(grid.Size());
    picture.trimmed = 1.0 - share;
    if (share > kSmallest) return picture;
    picture = {};
  }
  for (size_t at = 0; at < grid.Size(); at++) {
    if (grid.inside[at] != 0 && (opaque.empty() || opaque[at] == 0)) picture.blocks.push_back(at);
  }
  return picture;
}

void TellWindow(const Picture& picture, ZEP3_EVIDENCE& evidence, Measured& measured) {
  measured.trimmed = picture.trimmed;
  if (!picture.window.found) return;
  evidence.lReasons |= ZEP3_REASON_BORDER_REMOVED;
  evidence.dWindowConfidence = picture.window.confidence;
  evidence.lFrames = picture.window.frames;
  for (int i = 0; i < 4; i++) {
    evidence.dWindow[i][0] = picture.window.corners.x[i];
    evidence.dWindow[i][1] = picture.window.corners.y[i];
    if (!picture.window.bordered) continue;
    evidence.dPaper[i][0] = picture.window.paper.x[i];
    evidence.dPaper[i][1] = picture.window.paper.y[i];
  }
}
