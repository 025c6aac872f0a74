// Values of cells, interpolated along a line of pixels.
#pragma once

#include <vector>

#include "engine/page/grid.h"

namespace page {

// `side` pixels to a cell each way; a cell's value stands at its centre, and beyond the outermost centres goes on.
class BetweenCells {
 public:
  BetweenCells(int rows, int columns, int64_t side, int64_t width)
      : m_rows(rows), m_columns(columns), m_side(side), m_width(width), m_line(static_cast<size_t>(columns)) {}

  // Values of line y of pixels, of the grid rows * columns of which value(index) has the numbers.
  template <class Value>
  void Line(int64_t y, Value value, float* out) {
    const float v = Place(y, m_rows);
    const int row = static_cast<int>(v), next = std::min(row + 1, m_rows - 1);
    const float part = v - static_cast<float>(row);
    for (int column = 0; column < m_columns; column++) {
      const float a = value(Index(row, column)), b = value(Index(next, column));
      m_line[static_cast<size_t>(column)] = a + part * (b - a);
    }
    // From centre to centre, by additions from each anew: no rounding runs on.
    const int64_t half = m_side / 2;
    for (int column = -1; column < m_columns; column++) {
      const float a = m_line[static_cast<size_t>(std::max(column, 0))];
      const float b = m_line[static_cast<size_t>(std::min(column + 1, m_columns - 1))];
      const int64_t from = column < 0 ? 0 : column * m_side + half;
      const int64_t to = column + 1 < m_columns ? (column + 1) * m_side + half : m_width;
      const float step = (b - a) / static_cast<float>(m_side);
      float at = a + step * (static_cast<float>(from - column * m_side) + 0.5F - 0.5F * static_cast<float>(m_side));
      for (int64_t x = from; x < to && x < m_width; x++, at += step) out[x] = at;
    }
  }

 private:
  float Place(int64_t y, int length) const {
    const float place = (static_cast<float>(y) + 0.5F) / static_cast<float>(m_side) - 0.5F;
    return std::clamp(place, 0.0F, static_cast<float>(length - 1));
  }
  size_t Index(int row, int column) const {
    return static_cast<size_t>(row) * static_cast<size_t>(m_columns) + static_cast<size_t>(column);
  }

  int m_rows, m_columns;
  int64_t m_side, m_width;
  std::vector<float> m_line;
};

} // namespace page
