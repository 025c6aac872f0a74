// The outermost lines of a frame.
#include "engine/adaptive/frame/peel.h"

GridLine LineAt(const BlockGrid& grid, const Frame& frame, Side side) {
  const bool across = side == Side::kTop || side == Side::kBottom;
  const int row = side == Side::kBottom ? frame.bottom - 1 : frame.top;
  const int column = side == Side::kRight ? frame.right - 1 : frame.left;
  return {grid.At(row, column), across ? size_t{1} : static_cast<size_t>(grid.columns),
          across ? frame.Columns() : frame.Rows()};
}
