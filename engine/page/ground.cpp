#include "engine/page/ground.h"

namespace page {
namespace {

constexpr int kPixels = kCell * kCell; // of a cell

// Pixels of the cells of a line, the darkest first: keys of brightness with the pixel's number, sorted by a network that
// orders all cells of the line at a time. Whole numbers below 2^24, which floats hold; processors order those many at
// once.
class SortedLine {
 public:
  explicit SortedLine(int cells) : m_cells(static_cast<size_t>(cells)), m_keys(kPixels * m_cells) {}

  void Sort(const Planes& planes, const Levels& levels, int row) {
    for (int i = 0; i < kPixels; i++) {
      const uint8_t* pixel = planes.mean + 3 * planes.At(i % kCell, row * kCell + i / kCell);
      float* keys = Keys(i);
      for (size_t cell = 0; cell < m_cells; cell++, pixel += 3 * kCell) {
        keys[cell] = static_cast<float>(levels.SumOf(pixel) * kPixels + static_cast<uint32_t>(i));
      }
    }
    // Batcher's odd-even merge sort.
    for (int p = 1; p < kPixels; p *= 2) {
      for (int k = p; k >= 1; k /= 2) {
        for (int j = k % p; j + k < kPixels; j += 2 * k) {
          for (int i = j; i < j + k && i + k < kPixels; i++) {
            if (i / (2 * p) == (i + k) / (2 * p)) Order(Keys(i), Keys(i + k));
          }
        }
      }
    }
  }

  // Of a place of the order: the pixel's number, and its channels' sum.
  uint32_t Pixel(int place, int cell) const { return Key(place, cell) % kPixels; }
  uint32_t Sum(int place, int cell) const { return Key(place, cell) / kPixels; }

 private:
  float* Keys(int place) { return &m_keys[static_cast<size_t>(place) * m_cells]; }
  uint32_t Key(int place, int cell) const {
    return static_cast<uint32_t>(m_keys[static_cast<size_t>(place) * m_cells + static_cast<size_t>(cell)]);
  }
  void Order(float* a, float* b) {
    for (size_t i = 0, n = m_cells; i < n; i++) {
      const float x = a[i], y = b[i];
      a[i] = x < y ? x : y;
      b[i] = x < y ? y : x;
    }
  }

  size_t m_cells;
  std::vector<float> m_keys;
};

struct CellColours {
  Grid<Colour> lightest, darkest; // ln of the mean of a quarter of the pixels
  Grid<float> lightestMean, darkestMean, middle; // ln of the mean channel of those, and of the two in the middle
  Mask darkestPixel;
};

CellColours ReadCells(const Planes& planes, const Levels& levels) {
  const int rows = planes.height / kCell, columns = planes.width / kCell;
  const Grid<Colour> colours(rows, columns);
  const Grid<float> numbers(rows, columns);
  CellColours cells = {colours, colours, numbers, numbers, numbers, Mask(rows, columns)};
  SortedLine line(columns);
  for (int row = 0; row < rows; row++) {
    line.Sort(planes, levels, row);
    for (int column = 0; column < columns; column++) {
      const uint8_t* corner = planes.mean + 3 * planes.At(column * kCell, row * kCell);
      const auto quarter = [&](int from, Colour& colour, float& mean) {
        uint32_t sum[3] = {};
        for (int i = from; i < from + kQuarter; i++) {
          const uint32_t pixel = line.Pixel(i, column);
          const uint8_t* at = corner + 3 * planes.At(static_cast<int>(pixel % kCell), static_cast<int>(pixel / kCell));
          for (size_t c = 0; c < 3; c++) sum[c] += levels.units[at[c]];
        }
        for (size_t c = 0; c < 3; c++) colour[c] = levels.LogOfFour(sum[c]);
        mean = levels.ln[sum[0] + sum[1] + sum[2]];
      };
      const size_t at = numbers.Index(row, column);
      quarter(0, cells.darkest.cells[at], cells.darkestMean.cells[at]);
      quarter(kPixels - kQuarter, cells.lightest.cells[at], cells.lightestMean.cells[at]);
      cells.middle.cells[at] = levels.ln[2 * (line.Sum(kPixels / 2 - 1, column) + line.Sum(kPixels / 2, column))];
      cells.darkestPixel.cells[at] = static_cast<uint8_t>(line.Pixel(0, column));
    }
  }
  return cells;
}

// Of every cell's square of kClosed cells around it the cell that is lightest, or darkest: its colour. The channels of a
// cell stay together: a yellow marker must not lend its red to a neighbour's blue.
Grid<Colour> Chosen(const Grid<Colour>& grid, bool lightest) {
  const int rows = grid.rows, columns = grid.columns;
  const float sign = lightest ? 1.0F : -1.0F;
  Grid<float> key(rows, columns);
  for (size_t i = 0; i < grid.Size(); i++) key.cells[i] = sign * (grid.cells[i][0] + grid.cells[i][1] + grid.cells[i][2]);
  Grid<uint32_t> best(rows, columns);
  for (int row = 0; row < rows; row++) {
    for (int column = 0; column < columns; column++) {
      const int first = std::max(column - kClosed, 0), last = std::min(column + kClosed, columns - 1);
      int at = column;
      for (int c = first; c <= last; c++) at = key.At(row, c) > key.At(row, at) ? c : at;
      best.At(row, column) = static_cast<uint32_t>(key.Index(row, at));
    }
  }
  Grid<Colour> chosen(rows, columns);
  for (int row = 0; row < rows; row++) {
    const int first = std::max(row - kClosed, 0), last = std::min(row + kClosed, rows - 1);
    for (int column = 0; column < columns; column++) {
      uint32_t at = best.At(row, column);
      for (int r = first; r <= last; r++) {
        const uint32_t other = best.At(r, column);
        at = key.cells[other] > key.cells[at] ? other : at;
      }
      chosen.At(row, column) = grid.cells[at];
    }
  }
  return chosen;
}

Grid<Colour> Closed(const Grid<Colour>& grid, bool reverse) {
  const Grid<Colour> closed = Chosen(Chosen(Extended(grid, kClosed), !reverse), reverse);
  Grid<Colour> inner(grid.rows, grid.columns);
  for (int row = 0; row < grid.rows; row++) {
    std::copy_n(&closed.At(row + kClosed, kClosed), grid.columns, &inner.At(row, 0));
  }
  return inner;
}

bool IsReverse(const CellColours& cells) {
  std::vector<float> middle = cells.middle.cells;
  const auto half = middle.begin() + static_cast<std::ptrdiff_t>(middle.size() / 2);
  std::nth_element(middle.begin(), half, middle.end());
  if (*half >= std::log(kReverseLevel)) return false;
  Grid<float> around = cells.middle;
  Blur(around, kAround);
  double above = 0.0, below = 0.0;
  for (size_t i = 0; i < around.Size(); i++) {
    above += double{std::max(cells.lightestMean.cells[i] - around.cells[i], 0.0F)};
    below += double{std::max(around.cells[i] - cells.darkestMean.cells[i], 0.0F)};
  }
  return above > kReverseMarks * below;
}

} // namespace

Ground FindGround(const Planes& planes, const Levels& levels) {
  CellColours cells = ReadCells(planes, levels);
  Ground ground;
  ground.reverse = IsReverse(cells);
  ground.ln = Closed(ground.reverse ? cells.darkest : cells.lightest, ground.reverse);
  ground.lnMean = Grid<float>(ground.ln.rows, ground.ln.columns);
  for (size_t i = 0; i < ground.lnMean.Size(); i++) {
    // ln((e^a + e^b + e^c) / 3) to the second order in what the three differ by.
    const Colour& v = ground.ln.cells[i];
    const float mean = Mean(v);
    float squares = 0.0F;
    for (const float of : v) squares += (of - mean) * (of - mean);
    ground.lnMean.cells[i] = mean + squares / 6.0F;
  }
  ground.darkest = std::move(cells.darkestMean);
  ground.darkestPixel = std::move(cells.darkestPixel);
  return ground;
}

} // namespace page
