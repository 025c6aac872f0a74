// Grids of cells, and what is done with them.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace page {

// R, G, B, and a fourth number that is carried along (the ground's brightness): four are as fast as one.
using Colour = std::array<float, 4>;

inline float Mean(const Colour& v) { return (v[0] + v[1] + v[2]) / 3.0F; }

template <class T>
struct Grid {
  int rows = 0, columns = 0;
  std::vector<T> cells; // line by line

  Grid() = default;
  Grid(int r, int c, T v = T()) : rows(r), columns(c), cells(static_cast<size_t>(r) * static_cast<size_t>(c), v) {}
  T& At(int row, int column) { return cells[Index(row, column)]; }
  const T& At(int row, int column) const { return cells[Index(row, column)]; }
  // The nearest cell.
  const T& Near(int row, int column) const {
    return At(std::clamp(row, 0, rows - 1), std::clamp(column, 0, columns - 1));
  }
  size_t Index(int row, int column) const {
    return static_cast<size_t>(row) * static_cast<size_t>(columns) + static_cast<size_t>(column);
  }
  size_t Size() const { return cells.size(); }
};

using Mask = Grid<uint8_t>;

// The numbers of a line of cells.
inline const float* Numbers(const Grid<float>& grid, int row) { return &grid.cells[grid.Index(row, 0)]; }
inline const float* Numbers(const Grid<Colour>& grid, int row) { return grid.cells[grid.Index(row, 0)].data(); }
template <class T>
float* Numbers(Grid<T>& grid, int row) {
  return const_cast<float*>(Numbers(const_cast<const Grid<T>&>(grid), row));
}

// `more` cells at each side, going on as the borders do: shade that deepens toward an edge of the page goes on
// deepening.
Grid<Colour> Extended(const Grid<Colour>& grid, int more);

// A Gaussian; beyond the borders their cells go on.
void Blur(Grid<float>& grid, double sigma);
void Blur(Grid<Colour>& grid, double sigma);

// Means of what is known on coarser and coarser grids in the place of what is not; 0 where nothing is known.
Grid<Colour> Filled(const Grid<Colour>& grid, const Mask& known);

// Connected cells of a mask (4 neighbours): 1, 2, ... in the order of their first cells; 0 outside.
struct Regions {
  Grid<int32_t> label;
  std::vector<uint32_t> order; // cells, region by region, each line by line
  std::vector<uint32_t> first; // in `order`, by label; one more at the end

  size_t Labels() const { return first.size() - 1; } // with 0, which has no cells
  std::span<const uint32_t> Cells(size_t of) const {
    return std::span(order).subspan(first[of], first[of + 1] - first[of]);
  }
};
Regions Connected(const Mask& mask);

// Cells next to the mask's (8 neighbours) and its own.
Mask Grown(const Mask& mask);

// What is not in it.
Mask Inverted(const Mask& mask);

// Of the cells at the grid's edge, those of the mask.
double ShareOfBorder(const Mask& mask);

} // namespace page
