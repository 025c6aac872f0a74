#include "engine/page/grid.h"

namespace page {

Grid<Colour> Extended(const Grid<Colour>& grid, int more) {
  Grid<Colour> out(grid.rows + 2 * more, grid.columns + 2 * more);
  const auto beyond = [](const Colour& edge, const Colour& inside) {
    Colour v;
    for (size_t c = 0; c < 3; c++) v[c] = 2.0F * edge[c] - inside[c];
    return v;
  };
  // Of a grid that is narrower than that, the cell at its other side.
  const auto mirrored = [](int distance, int length) { return std::min(distance, length - 1); };
  for (int row = 0; row < grid.rows; row++) {
    Colour* line = &out.At(row + more, more);
    std::copy_n(&grid.At(row, 0), grid.columns, line);
    for (int i = 1; i <= more; i++) {
      line[-i] = beyond(line[0], line[mirrored(i, grid.columns)]);
      line[grid.columns - 1 + i] = beyond(line[grid.columns - 1], line[grid.columns - 1 - mirrored(i, grid.columns)]);
    }
  }
  for (int i = 1; i <= more; i++) {
    const int top = more, bottom = more + grid.rows - 1, in = mirrored(i, grid.rows);
    for (int column = 0; column < out.columns; column++) {
      out.At(top - i, column) = beyond(out.At(top, column), out.At(top + in, column));
      out.At(bottom + i, column) = beyond(out.At(bottom, column), out.At(bottom - in, column));
    }
  }
  return out;
}

void Blur(Grid<float>& grid, double sigma) {
  const int reach = static_cast<int>(4.0 * sigma + 0.5);
  std::vector<float> weight(static_cast<size_t>(reach) + 1);
  double sum = 0.0;
  for (int i = 0; i <= reach; i++) {
    const double w = std::exp(-0.5 * i * i / (sigma * sigma));
    weight[static_cast<size_t>(i)] = static_cast<float>(w);
    sum += i == 0 ? w : 2.0 * w;
  }
  for (float& w : weight) w = static_cast<float>(double{w} / sum);
  Grid<float> across(grid.rows, grid.columns);
  for (int row = 0; row < grid.rows; row++) {
    for (int column = 0; column < grid.columns; column++) {
      float v = weight[0] * grid.At(row, column);
      for (int i = 1; i <= reach; i++) {
        v += weight[static_cast<size_t>(i)] * (grid.Near(row, column - i) + grid.Near(row, column + i));
      }
      across.At(row, column) = v;
    }
  }
  for (int row = 0; row < grid.rows; row++) {
    for (int column = 0; column < grid.columns; column++) grid.At(row, column) = weight[0] * across.At(row, column);
    for (int i = 1; i <= reach; i++) {
      for (int column = 0; column < grid.columns; column++) {
        grid.At(row, column) += weight[static_cast<size_t>(i)] * (across.Near(row - i, column) + across.Near(row + i, column));
      }
    }
  }
}

namespace {

// Sums of what is known, and its weight.
struct Sum {
  Colour v = {};
  float weight = 0.0F;
};

Grid<Sum> Halved(const Grid<Sum>& grid) {
  Grid<Sum> half((grid.rows + 1) / 2, (grid.columns + 1) / 2);
  for (int row = 0; row < grid.rows; row++) {
    for (int column = 0; column < grid.columns; column++) {
      Sum& to = half.At(row / 2, column / 2);
      const Sum& from = grid.At(row, column);
      for (size_t c = 0; c < 3; c++) to.v[c] += from.v[c];
      to.weight += from.weight;
    }
  }
  return half;
}

// Of a grid of half the size, the colour at a cell's centre, between the centres of four.
Colour Between(const Grid<Colour>& half, int row, int column) {
  const int nextRow = row % 2 == 0 ? row / 2 - 1 : row / 2 + 1;
  const int nextColumn = column % 2 == 0 ? column / 2 - 1 : column / 2 + 1;
  const Colour& a = half.At(row / 2, column / 2);
  const Colour& b = half.Near(row / 2, nextColumn);
  const Colour& c = half.Near(nextRow, column / 2);
  const Colour& d = half.Near(nextRow, nextColumn);
  Colour v;
  for (size_t i = 0; i < 3; i++) v[i] = 0.75F * (0.75F * a[i] + 0.25F * b[i]) + 0.25F * (0.75F * c[i] + 0.25F * d[i]);
  return v;
}

} // namespace

Grid<Colour> Filled(const Grid<Colour>& grid, const Mask& known) {
  std::vector<Grid<Sum>> levels(1, Grid<Sum>(grid.rows, grid.columns));
  for (size_t i = 0; i < grid.Size(); i++) {
    if (known.cells[i] != 0) levels[0].cells[i] = {grid.cells[i], 1.0F};
  }
  while (levels.back().rows > 1 || levels.back().columns > 1) levels.push_back(Halved(levels.back()));
  Grid<Colour> out;
  while (!levels.empty()) {
    const Grid<Sum>& level = levels.back();
    Grid<Colour> finer(level.rows, level.columns);
    for (int row = 0; row < level.rows; row++) {
      for (int column = 0; column < level.columns; column++) {
        const Sum& sum = level.At(row, column);
        Colour v = out.Size() == 0 ? Colour{} : Between(out, row, column);
        const float own = std::min(sum.weight, 1.0F);
        if (own > 0.0F) {
          for (size_t c = 0; c < 3; c++) v[c] = own * sum.v[c] / sum.weight + (1.0F - own) * v[c];
        }
        finer.At(row, column) = v;
      }
    }
    out = std::move(finer);
    levels.pop_back();
  }
  return out;
}

Regions Connected(const Mask& mask) {
  Regions regions = {Grid<int32_t>(mask.rows, mask.columns, 0), {{}}};
  std::vector<uint32_t> open;
  for (size_t first = 0; first < mask.Size(); first++) {
    if (mask.cells[first] == 0 || regions.label.cells[first] != 0) continue;
    const auto label = static_cast<int32_t>(regions.cells.size());
    std::vector<uint32_t>& cells = regions.cells.emplace_back();
    const auto reach = [&](int row, int column) {
      if (row < 0 || column < 0 || row >= mask.rows || column >= mask.columns) return;
      const size_t at = mask.Index(row, column);
      if (mask.cells[at] == 0 || regions.label.cells[at] != 0) return;
      regions.label.cells[at] = label;
      open.push_back(static_cast<uint32_t>(at));
    };
    reach(static_cast<int>(first) / mask.columns, static_cast<int>(first) % mask.columns);
    while (!open.empty()) {
      const uint32_t at = open.back();
      open.pop_back();
      cells.push_back(at);
      const int row = static_cast<int>(at) / mask.columns, column = static_cast<int>(at) % mask.columns;
      reach(row - 1, column);
      reach(row + 1, column);
      reach(row, column - 1);
      reach(row, column + 1);
    }
  }
  return regions;
}

Mask Grown(const Mask& mask) {
  Mask grown(mask.rows, mask.columns);
  for (int row = 0; row < mask.rows; row++) {
    for (int column = 0; column < mask.columns; column++) {
      uint8_t any = 0;
      for (int r = -1; r <= 1; r++) {
        for (int c = -1; c <= 1; c++) any |= mask.Near(row + r, column + c);
      }
      grown.At(row, column) = any;
    }
  }
  return grown;
}

} // namespace page
