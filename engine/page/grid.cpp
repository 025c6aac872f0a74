#include "engine/page/grid.h"

namespace page {

Grid<Colour> Extended(const Grid<Colour>& grid, int more) {
  Grid<Colour> out(grid.rows + 2 * more, grid.columns + 2 * more);
  const auto beyond = [](const Colour& edge, const Colour& inside) {
    Colour v;
    for (size_t c = 0; c < v.size(); c++) v[c] = 2.0F * edge[c] - inside[c];
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

namespace {

// The same number of every cell of a line beside each other: a line of cells is a line of numbers, `lanes` a cell.
template <class T>
void BlurLanes(Grid<T>& grid, double sigma) {
  constexpr size_t kLanes = sizeof(T) / sizeof(float);
  const int reach = static_cast<int>(4.0 * sigma + 0.5);
  std::vector<float> weight(static_cast<size_t>(reach) + 1);
  double sum = 0.0;
  for (int i = 0; i <= reach; i++) {
    const double w = std::exp(-0.5 * i * i / (sigma * sigma));
    weight[static_cast<size_t>(i)] = static_cast<float>(w);
    sum += i == 0 ? w : 2.0 * w;
  }
  for (float& w : weight) w = static_cast<float>(static_cast<double>(w) / sum);
  const auto weigh = [](float w, const float* a, const float* b, float* __restrict to, size_t n) {
    for (size_t i = 0; i < n; i++) to[i] += w * (a[i] + b[i]);
  };
  const auto start = [](float w, const float* from, float* __restrict to, size_t n) {
    for (size_t i = 0; i < n; i++) to[i] = w * from[i];
  };
  const auto columns = static_cast<size_t>(grid.columns), margin = static_cast<size_t>(reach), n = kLanes * columns;
  Grid<T> across(grid.rows, grid.columns);
  std::vector<T> wide(columns + 2 * margin);
  for (int row = 0; row < grid.rows; row++) {
    const T* line = &grid.At(row, 0);
    std::fill_n(wide.begin(), margin, line[0]);
    std::copy_n(line, columns, wide.begin() + static_cast<std::ptrdiff_t>(margin));
    std::fill_n(wide.end() - static_cast<std::ptrdiff_t>(margin), margin, line[columns - 1]);
    const float* middle = reinterpret_cast<const float*>(&wide[margin]);
    float* to = Numbers(across, row);
    start(weight[0], middle, to, n);
    for (size_t i = 1; i <= margin; i++) weigh(weight[i], middle - i * kLanes, middle + i * kLanes, to, n);
  }
  for (int row = 0; row < grid.rows; row++) {
    float* to = Numbers(grid, row);
    start(weight[0], Numbers(across, row), to, n);
    for (int i = 1; i <= reach; i++) {
      weigh(weight[static_cast<size_t>(i)], Numbers(across, std::max(row - i, 0)),
            Numbers(across, std::min(row + i, grid.rows - 1)), to, n);
    }
  }
}

// Sums of what is known on a grid of half the size, and how many; first of single cells.
struct Sums {
  Grid<Colour> sum;
  Grid<float> count;
};

template <class Count>
Sums Halved(const Grid<Colour>& grid, const Grid<Count>& count) {
  Sums half = {Grid<Colour>((grid.rows + 1) / 2, (grid.columns + 1) / 2), {}};
  half.count = Grid<float>(half.sum.rows, half.sum.columns);
  for (int row = 0; row < grid.rows; row++) {
    const Colour* from = &grid.At(row, 0);
    const Count* of = &count.At(row, 0);
    Colour* to = &half.sum.At(row / 2, 0);
    float* counted = &half.count.At(row / 2, 0);
    for (int column = 0; column < grid.columns; column++) {
      if (of[column] == Count{}) continue;
      Colour& sum = to[column / 2];
      for (size_t c = 0; c < sum.size(); c++) sum[c] += from[column][c];
      counted[column / 2] += static_cast<float>(of[column]);
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
  for (size_t i = 0; i < v.size(); i++) {
    v[i] = 0.75F * (0.75F * a[i] + 0.25F * b[i]) + 0.25F * (0.75F * c[i] + 0.25F * d[i]);
  }
  return v;
}

// Replaces what is not known by what lies between the cells of the coarser grid.
template <class Count>
void Complete(Grid<Colour>& grid, const Grid<Count>& count, const Grid<Colour>& coarser) {
  for (int row = 0; row < grid.rows; row++) {
    for (int column = 0; column < grid.columns; column++) {
      if (count.At(row, column) == Count{}) grid.At(row, column) = Between(coarser, row, column);
    }
  }
}

} // namespace

void Blur(Grid<float>& grid, double sigma) { BlurLanes(grid, sigma); }
void Blur(Grid<Colour>& grid, double sigma) { BlurLanes(grid, sigma); }

Grid<Colour> Filled(const Grid<Colour>& grid, const Mask& known) {
  Grid<Colour> filled = grid;
  if (std::find(known.cells.begin(), known.cells.end(), uint8_t{0}) == known.cells.end()) return filled;
  std::vector<Sums> levels(1, Halved(grid, known));
  const auto isOne = [](const Grid<float>& v) { return v.rows == 1 && v.columns == 1; };
  while (!isOne(levels.back().count)) levels.push_back(Halved(levels.back().sum, levels.back().count));
  for (size_t level = levels.size(); level-- > 0;) {
    Sums& sums = levels[level];
    for (size_t i = 0; i < sums.sum.Size(); i++) {
      const float scale = sums.count.cells[i] > 0.0F ? 1.0F / sums.count.cells[i] : 0.0F;
      for (float& v : sums.sum.cells[i]) v *= scale;
    }
    if (level + 1 < levels.size()) Complete(sums.sum, sums.count, levels[level + 1].sum);
  }
  Complete(filled, known, levels[0].sum);
  return filled;
}

Regions Connected(const Mask& mask) {
  // Cells beside each other in a line are a run; runs that touch the line above's join the earlier.
  struct Run {
    int row, begin, end;
    uint32_t joined; // an earlier run, or itself
  };
  std::vector<Run> runs;
  const auto rootOf = [&](uint32_t run) {
    while (runs[run].joined != run) run = runs[run].joined = runs[runs[run].joined].joined;
    return run;
  };
  size_t above = 0;
  for (int row = 0; row < mask.rows; row++) {
    const uint8_t* line = &mask.At(row, 0);
    const size_t begun = runs.size();
    for (int column = 0; column < mask.columns;) {
      if (line[column] == 0) {
        column++;
        continue;
      }
      const int begin = column;
      while (column < mask.columns && line[column] != 0) column++;
      const auto self = static_cast<uint32_t>(runs.size());
      runs.push_back({row, begin, column, self});
      while (above < begun && runs[above].end <= begin) above++;
      for (size_t other = above; other < begun && runs[other].begin < column; other++) {
        const uint32_t a = rootOf(static_cast<uint32_t>(other)), b = rootOf(self);
        runs[std::max(a, b)].joined = std::min(a, b);
      }
    }
    above = begun;
  }

  Regions regions = {Grid<int32_t>(mask.rows, mask.columns, 0), {}, {0, 0}};
  std::vector<uint32_t> label(runs.size());
  for (uint32_t i = 0; i < runs.size(); i++) {
    const uint32_t root = rootOf(i);
    if (root == i) {
      label[i] = static_cast<uint32_t>(regions.Labels());
      regions.first.push_back(0);
    }
    label[i] = label[root];
    regions.first[label[i] + 1] += static_cast<uint32_t>(runs[i].end - runs[i].begin);
  }
  for (size_t i = 1; i < regions.first.size(); i++) regions.first[i] += regions.first[i - 1];
  regions.order.resize(regions.first.back());
  std::vector<uint32_t> next(regions.first.begin(), regions.first.end() - 1);
  for (size_t i = 0; i < runs.size(); i++) {
    const Run& run = runs[i];
    std::fill(&regions.label.At(run.row, 0) + run.begin, &regions.label.At(run.row, 0) + run.end,
              static_cast<int32_t>(label[i]));
    uint32_t* to = &regions.order[next[label[i]]];
    const auto at = static_cast<uint32_t>(mask.Index(run.row, run.begin));
    const auto length = static_cast<uint32_t>(run.end - run.begin);
    for (uint32_t k = 0; k < length; k++) to[k] = at + k;
    next[label[i]] += length;
  }
  return regions;
}

Mask Inverted(const Mask& mask) {
  Mask inverted(mask.rows, mask.columns);
  for (size_t i = 0; i < mask.Size(); i++) inverted.cells[i] = mask.cells[i] == 0;
  return inverted;
}

Mask Grown(const Mask& mask) {
  Mask across = mask, grown = mask;
  const auto columns = static_cast<size_t>(mask.columns);
  const auto join = [](const uint8_t* from, uint8_t* __restrict to, size_t n) {
    for (size_t i = 0; i < n; i++) to[i] |= from[i];
  };
  for (int row = 0; row < mask.rows; row++) {
    const uint8_t* line = &mask.At(row, 0);
    uint8_t* to = &across.At(row, 0);
    join(line, to + 1, columns - 1);
    join(line + 1, to, columns - 1);
  }
  grown = across;
  for (int row = 0; row < mask.rows; row++) {
    if (row > 0) join(&across.At(row - 1, 0), &grown.At(row, 0), columns);
    if (row + 1 < mask.rows) join(&across.At(row + 1, 0), &grown.At(row, 0), columns);
  }
  return grown;
}

double ShareOfBorder(const Mask& mask) {
  const int rows = mask.rows, columns = mask.columns;
  size_t count = 0;
  for (int column = 0; column < columns; column++) count += size_t{mask.At(0, column)} + mask.At(rows - 1, column);
  for (int row = 0; row < rows; row++) count += size_t{mask.At(row, 0)} + mask.At(row, columns - 1);
  return static_cast<double>(count) / (2.0 * (rows + columns));
}

} // namespace page
