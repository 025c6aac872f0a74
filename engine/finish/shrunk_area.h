// The analysis area of a scan on its pre-scan.
#pragma once

#include <cmath>
#include <cstdint>

#include "engine/common/scale.h"
#include "engine/finish/box_means.h"
#include "engine/zep3.h"

// Each coordinate over `shrink`, rounded; all of the pre-scan for all of the scan.
inline AREA ShrunkArea(const ZEP3_BmpInfo& scan, int64_t shrink) {
  const AREA& area = scan.area;
  const auto isAt = [](const LPOINT& p, int64_t x, int64_t y) { return p.x == x && p.y == y; };
  if (isAt(area.ptLeft, 0, 0) && isAt(area.ptTop, 0, 0) && isAt(area.ptRight, scan.lWidth, scan.lHeight) &&
      isAt(area.ptBottom, scan.lWidth, scan.lHeight)) {
    const LPOINT end = {Blocks(scan.lWidth, shrink), Blocks(scan.lHeight, shrink)};
    return {{0, 0}, {0, 0}, end, end};
  }
  const auto shrunk = [&](const LPOINT& p) {
    constexpr double kFar = 4e15; // beyond any image, and exact
    const auto coordinate = [&](int64_t v) {
      return static_cast<int64_t>(Clamp(std::round(static_cast<double>(v) / static_cast<double>(shrink)), -kFar, kFar));
    };
    return LPOINT{coordinate(p.x), coordinate(p.y)};
  };
  return {shrunk(area.ptLeft), shrunk(area.ptTop), shrunk(area.ptRight), shrunk(area.ptBottom)};
}
