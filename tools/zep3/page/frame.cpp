// Corners from the engine and from the user, in one order.
#include "page/frame.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

Corners CornersOf(const double (&corners)[4][2], int64_t shrink) {
  Corners scaled;
  for (size_t i = 0; i < scaled.size(); i++) {
    scaled[i] = {corners[i][0] * static_cast<double>(shrink), corners[i][1] * static_cast<double>(shrink)};
  }
  return scaled;
}

// From the top left one on, clockwise, whatever the order was.
Corners InOrder(Corners corners) {
  Corner middle = {};
  for (const Corner& corner : corners) middle = {middle.x + corner.x / 4, middle.y + corner.y / 4};
  const auto angle = [&](const Corner& corner) { return std::atan2(corner.y - middle.y, corner.x - middle.x); };
  std::sort(corners.begin(), corners.end(), [&](const Corner& a, const Corner& b) { return angle(a) < angle(b); });
  // The side that leads farthest to the right for its length is the upper one.
  const auto rightward = [&](size_t i) {
    const Corner &from = corners[i], &to = corners[(i + 1) % 4];
    return (to.x - from.x) / std::max(std::hypot(to.x - from.x, to.y - from.y), 1e-9);
  };
  size_t first = 0;
  for (size_t i = 1; i < corners.size(); i++) first = rightward(i) > rightward(first) ? i : first;
  std::rotate(corners.begin(), corners.begin() + static_cast<std::ptrdiff_t>(first), corners.end());
  return corners;
}

} // namespace

std::optional<Frame> FrameOf(const ZEP3_EVIDENCE& evidence, int64_t shrink) {
  if (!(evidence.dWindowConfidence > 0)) return std::nullopt;
  Frame frame = {CornersOf(evidence.dWindow, shrink), evidence.dWindowConfidence};
  frame.pictures = std::max<int64_t>(evidence.lFrames, 1);
  const Corners paper = CornersOf(evidence.dPaper, shrink);
  if (WidthOf(paper) > 0) frame.paper = paper;
  return frame;
}

std::optional<Frame> FrameOf(const AreaArgument& area, int64_t width, int64_t height) {
  if (area.corners.empty()) return std::nullopt;
  const auto corner = [&](const Position& position) {
    return Corner{position.x.Pixels(width), position.y.Pixels(height)};
  };
  Frame frame = {{}, 1, true};
  if (area.corners.size() == 2) {
    const Corner first = corner(area.corners[0]), size = corner(area.corners[1]);
    const Corner last = {first.x + size.x, first.y + size.y};
    frame.corners = {first, {last.x, first.y}, last, {first.x, last.y}};
  } else {
    std::transform(area.corners.begin(), area.corners.end(), frame.corners.begin(), corner);
    frame.corners = InOrder(frame.corners);
  }
  return frame;
}

double TiltOf(const Corners& corners) {
  // Rightward along the upper and lower side, and along the left and right one turned back by a right angle.
  const double along = corners[1].x - corners[0].x + corners[2].x - corners[3].x + corners[3].y - corners[0].y +
                       corners[2].y - corners[1].y;
  const double across = corners[1].y - corners[0].y + corners[2].y - corners[3].y - corners[3].x + corners[0].x -
                        corners[2].x + corners[1].x;
  return std::atan2(across, along) * 180 / std::numbers::pi;
}

double WidthOf(const Corners& corners) {
  return (std::hypot(corners[1].x - corners[0].x, corners[1].y - corners[0].y) +
          std::hypot(corners[2].x - corners[3].x, corners[2].y - corners[3].y)) /
         2;
}

double HeightOf(const Corners& corners) {
  return (std::hypot(corners[3].x - corners[0].x, corners[3].y - corners[0].y) +
          std::hypot(corners[2].x - corners[1].x, corners[2].y - corners[1].y)) /
         2;
}
