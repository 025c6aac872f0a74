// Taking what surrounds a picture off the block grid, line by line.
#pragma once

#include <algorithm>
#include <cstddef>

#include "engine/adaptive/block_grid.h"

enum class Side { kTop, kBottom, kLeft, kRight };
inline constexpr Side kSides[4] = {Side::kTop, Side::kBottom, Side::kLeft, Side::kRight};

// The blocks of a frame that lie along one of its sides.
struct GridLine {
  size_t first;
  size_t step;
  int count;

  size_t At(int i) const { return first + static_cast<size_t>(i) * step; }
};

// The outermost line of a frame that has blocks.
GridLine LineAt(const BlockGrid& grid, const Frame& frame, Side side);

// Lines that a side can still give.
inline int LinesAcross(const Frame& frame, Side side) {
  return side == Side::kTop || side == Side::kBottom ? frame.Rows() : frame.Columns();
}

// The frame without the outermost line of a side.
inline void DropLine(Frame& frame, Side side) {
  if (side == Side::kTop) {
    frame.top++;
  } else if (side == Side::kBottom) {
    frame.bottom--;
  } else if (side == Side::kLeft) {
    frame.left++;
  } else {
    frame.right--;
  }
}

// Drops lines of a side for as long as `foreign` says so of the outermost one (a GridLine), `most` of them at most and
// never the last. Returns how many.
template <class Predicate>
int PeelSide(const BlockGrid& grid, Frame& frame, Side side, int most, Predicate foreign) {
  most = std::min(most, LinesAcross(frame, side) - 1);
  int peeled = 0;
  while (peeled < most && foreign(LineAt(grid, frame, side))) {
    DropLine(frame, side);
    peeled++;
  }
  return peeled;
}
