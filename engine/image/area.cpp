// Corner arithmetic, edge lines, and spans of pixels inside them.
#include "engine/image/area.h"

#include <cmath>

#include "engine/common/convert.h"

namespace {

constexpr int kMarginMax = 90;
// Below this many pixels a margin would leave nothing worth shrinking.
constexpr int64_t kTinyArea = 40;

bool Same(const LPOINT& a, const LPOINT& b) { return a.x == b.x && a.y == b.y; }

// Corner arithmetic beyond 64 bits wraps instead of being undefined.
int64_t Difference(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}
int64_t Product(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) * static_cast<uint64_t>(b));
}
int32_t Low32(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v)); }

int64_t Size(const PixelSpan& span) { return std::max<int64_t>(0, int64_t{span.end} - span.begin); }

} // namespace

bool AreaShape::Check(const AREA& area) {
  rotated = false;
  const auto& [left, top, right, bottom] = area;
  // That left lies left of right, and top above bottom, follows.
  if (!(left.x <= top.x && left.x <= bottom.x && top.x <= right.x && bottom.x <= right.x)) return false;
  if (!(top.y <= left.y && top.y <= right.y && left.y <= bottom.y && right.y <= bottom.y)) return false;
  if (Same(left, top)) return Same(right, bottom);
  if (Same(right, bottom)) return false;
  rotated = true;
  return true;
}

AreaShape Unshrunk(const AREA& area) {
  AreaShape shape;
  shape.rect[0] = Low32(area.ptLeft.x);
  shape.rect[1] = Low32(area.ptRight.x);
  shape.rect[2] = Low32(area.ptTop.y);
  shape.rect[3] = Low32(area.ptBottom.y);
  return shape;
}

bool LineThrough(const LPOINT& a, const LPOINT& b, double& slope, double& intercept) {
  if (Low32(a.x) == Low32(b.x)) {
    slope = 0.0;
    intercept = 0.0;
    return false;
  }
  const int32_t run = Low32(Difference(b.x, a.x));
  slope = (static_cast<double>(b.y) - static_cast<double>(a.y)) / run;
  intercept = static_cast<double>(a.y) - slope * static_cast<double>(a.x);
  return true;
}

void Rotate(double x, double y, double cosine, double sine, int direction, double& outX, double& outY) {
  if (direction < 0) {
    outX = cosine * x + sine * y;
    outY = cosine * y - sine * x;
  } else {
    outX = cosine * x - sine * y;
    outY = cosine * y + sine * x;
  }
}

bool AreaShape::Lay(const AREA& area, int margin) {
  if (!Check(area)) return false;
  if (margin > kMarginMax) margin = kMarginMax;
  const bool shrink = margin > 0;
  LPOINT corners[4] = {area.ptLeft, area.ptTop, area.ptRight, area.ptBottom};

  if (!rotated) {
    int64_t dx = 0;
    int64_t dy = 0;
    if (shrink) {
      const int32_t width = Low32(Difference(corners[2].x, corners[0].x));
      const int32_t height = Low32(Difference(corners[3].y, corners[1].y));
      if (width < 0 || height < 0) return false;
      if (Product(width, height) < kTinyArea) return true;
      dx = ToInt32(static_cast<double>(Product(width, margin)) / 200.0);
      dy = ToInt32(static_cast<double>(Product(margin, height)) / 200.0);
    }
    rect[0] = Low32(Difference(corners[0].x, -dx));
    rect[1] = Low32(Difference(corners[2].x, dx));
    rect[2] = Low32(Difference(corners[1].y, -dy));
    rect[3] = Low32(Difference(corners[3].y, dy));
    return true;
  }

  for (int k = 0; k < 4; k++) slope[k] = intercept[k] = 0.0;
  if (shrink) {
    // Turn the area upright by the angle of its upper right edge, move the corners inwards, turn it back.
    if (!LineThrough(corners[1], corners[2], slope[1], intercept[1])) return false;
    const double angle = std::atan(slope[1]);
    const double cosine = std::cos(angle);
    const double sine = std::sin(angle);
    double u[4];
    double w[4];
    for (int k = 0; k < 4; k++) {
      Rotate(static_cast<double>(corners[k].x), static_cast<double>(corners[k].y), cosine, sine, -1, u[k], w[k]);
    }
    if (u[2] - u[1] < 0.0 || w[0] - w[1] < 0.0) return false;
    const double du = (u[2] - u[1]) * margin / 200.0;
    const double dw = margin * (w[0] - w[1]) / 200.0;
    const double inward[4][2] = {{du, -dw}, {du, dw}, {-du, dw}, {-du, -dw}};
    for (int k = 0; k < 4; k++) {
      double x = 0.0;
      double y = 0.0;
      Rotate(u[k] + inward[k][0], w[k] + inward[k][1], cosine, sine, 1, x, y);
      corners[k] = {ToInt32(x + 0.5), ToInt32(y + 0.5)};
    }
  }
  constexpr int kEdges[4][2] = {{0, 1}, {1, 2}, {3, 2}, {0, 3}};
  for (int k = 0; k < 4; k++) {
    if (!LineThrough(corners[kEdges[k][0]], corners[kEdges[k][1]], slope[k], intercept[k])) return false;
  }
  return true;
}

bool AreaShape::IsBeyondEdge(int edge, int x, int y) const {
  const double line = slope[edge] * x + intercept[edge];
  return edge < 2 ? line > y : y > line;
}

bool AreaShape::Contains(int x, int y) const {
  if (rotated) {
    return !IsBeyondEdge(0, x, y) && !IsBeyondEdge(1, x, y) && !IsBeyondEdge(2, x, y) && !IsBeyondEdge(3, x, y);
  }
  return rect[0] <= x && x <= rect[1] && rect[2] <= y && y <= rect[3];
}

PixelSpan AreaShape::InnerSpan(int y, PixelSpan row) const {
  if (!rotated) {
    if (y < rect[2] || y > rect[3]) return {row.begin, row.begin};
    return Within(row, rect[0], rect[1]);
  }
  // The rounded edge line rises or falls monotonically along a row, so each edge cuts the row at most once: looking for
  // the cut with the very test of a pixel finds it exactly.
  for (int edge = 0; edge < 4 && row.begin < row.end; edge++) {
    const bool beyondAtBegin = IsBeyondEdge(edge, row.begin, y);
    const bool beyondAtEnd = IsBeyondEdge(edge, row.end - 1, y);
    if (beyondAtBegin && beyondAtEnd) return {row.begin, row.begin};
    if (beyondAtBegin == beyondAtEnd) continue;
    int first = row.begin;
    int last = row.end - 1;
    const auto narrow = [&](int x) { (IsBeyondEdge(edge, x, y) == beyondAtBegin ? first : last) = x; };
    // The cut lies where the line crosses the row, give or take rounding: three tests there mostly settle it.
    const int64_t crossing = ToInt32((y - intercept[edge]) / slope[edge]);
    for (int64_t x = crossing - 1; x <= crossing + 1; x++) {
      if (first < x && x < last) narrow(static_cast<int>(x));
    }
    while (last - first > 1) narrow(first + (last - first) / 2);
    (beyondAtBegin ? row.begin : row.end) = last;
  }
  return row;
}

int64_t AreaShape::InnerCount(PixelSpan columns, PixelSpan lines) const {
  if (!rotated) {
    return Size(Within(columns, rect[0], rect[1])) * Size(Within(lines, rect[2], rect[3]));
  }
  int64_t count = 0;
  for (int y = lines.begin; y < lines.end; y++) count += Size(InnerSpan(y, columns));
  return count;
}
