// Cells of a grid that hang together with its edge.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

// 1 for each cell, line by line, that is reached from the grid's edge over cells (4 neighbours) for which
// passes(column, row) holds, itself among them; asked once a cell.
template <class Passes>
std::vector<uint8_t> ReachedFromEdge(int columns, int rows, Passes passes) {
  const size_t size = static_cast<size_t>(columns) * static_cast<size_t>(rows);
  std::vector<uint8_t> asked(size);
  std::vector<uint8_t> reached(size);
  std::vector<std::pair<int, int>> open;
  const auto reach = [&](int column, int row) {
    if (column < 0 || row < 0 || column >= columns || row >= rows) return;
    const size_t at = static_cast<size_t>(row) * static_cast<size_t>(columns) + static_cast<size_t>(column);
    if (asked[at] != 0) return;
    asked[at] = 1;
    if (!passes(column, row)) return;
    reached[at] = 1;
    open.emplace_back(column, row);
  };
  for (int column = 0; column < columns; column++) {
    reach(column, 0);
    reach(column, rows - 1);
  }
  for (int row = 0; row < rows; row++) {
    reach(0, row);
    reach(columns - 1, row);
  }
  while (!open.empty()) {
    const auto [column, row] = open.back();
    open.pop_back();
    reach(column - 1, row);
    reach(column + 1, row);
    reach(column, row - 1);
    reach(column, row + 1);
  }
  return reached;
}
