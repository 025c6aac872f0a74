#include "engine/page/ground.h"

namespace page {
namespace {

constexpr int kPixels = kCell * kCell; // of a cell

// Pixels of the cells of a line, the darkest first: keys of brightness with the pixel's number, sorted by a network that
// compares all cells of the line at a time.
class SortedLine {
 public:
  explicit SortedLine(int cells) : m_cells(cells) {
    for (auto& keys : m_key) keys.resize(static_cast<size_t>(cells));
  }

  void Sort(const Planes& planes, const std::array<uint32_t, 256>& brightness, int row) {
    for (int i = 0; i < kPixels; i++) {
      const uint8_t* pixel = planes.mean + 3 * planes.At(i % kCell, row * kCell + i / kCell);
      for (size_t cell = 0; cell < m_key[0].size(); cell++, pixel += 3 * kCell) {
        const uint32_t sum = brightness[pixel[0]] + brightness[pixel[1]] + brightness[pixel[2]];
        m_key[static_cast<size_t>(i)][cell] = sum * kPixels + static_cast<uint32_t>(i);
      }
    }
    // Batcher's odd-even merge sort.
    for (int p = 1; p < kPixels; p *= 2) {
      for (int k = p; k >= 1; k /= 2) {
        for (int j = k % p; j + k < kPixels; j += 2 * k) {
          for (int i = 0; i < k && i + j + k < kPixels; i++) {
            if ((i + j) / (2 * p) == (i + j + k) / (2 * p)) Order(static_cast<size_t>(i + j), static_cast<size_t>(i + j + k));
          }
        }
      }
    }
  }

  // Number of the pixel at a place of the order, and its brightness.
  int Pixel(int place, int cell) const { return static_cast<int>(Key(place, cell) % kPixels); }
  uint32_t Brightness(int place, int cell) const { return Key(place, cell) / kPixels; }

 private:
  uint32_t Key(int place, int cell) const { return m_key[static_cast<size_t>(place)][static_cast<size_t>(cell)]; }
  void Order(size_t lower, size_t upper) {
    uint32_t* a = m_key[lower].data();
    uint32_t* b = m_key[upper].data();
    for (size_t i = 0, n = m_key[0].size(); i < n; i++) {
      const uint32_t less = std::min(a[i], b[i]);
      b[i] = std::max(a[i], b[i]);
      a[i] = less;
    }
  }

  int m_cells;
  std::array<std::vector<uint32_t>, kPixels> m_key;
};

struct CellColours {
  Grid<Colour> lightest, darkest; // ln of the mean of a quarter of the pixels
  Grid<float> middle;             // level
};

CellColours ReadCells(const Planes& planes, const Levels& levels) {
  const int rows = planes.height / kCell, columns = planes.width / kCell;
  CellColours cells = {Grid<Colour>(rows, columns), Grid<Colour>(rows, columns), Grid<float>(rows, columns)};
  constexpr float kUnit = 4096.0F; // of brightness in a key: three of them times kPixels fit
  std::array<uint32_t, 256> brightness;
  for (size_t i = 0; i < 256; i++) brightness[i] = static_cast<uint32_t>(kUnit * levels.level[i] + 0.5F);
  SortedLine line(columns);
  for (int row = 0; row < rows; row++) {
    line.Sort(planes, brightness, row);
    for (int column = 0; column < columns; column++) {
      const auto quarter = [&](int from) {
        Colour sum = {};
        for (int i = from; i < from + kQuarter; i++) {
          const int pixel = line.Pixel(i, column);
          const uint8_t* at = planes.mean + 3 * planes.At(column * kCell + pixel % kCell, row * kCell + pixel / kCell);
          for (size_t c = 0; c < 3; c++) sum[c] += levels.level[at[c]];
        }
        for (float& v : sum) v = std::log(v / kQuarter);
        return sum;
      };
      cells.darkest.At(row, column) = quarter(0);
      cells.lightest.At(row, column) = quarter(kPixels - kQuarter);
      const uint32_t middle = line.Brightness(kPixels / 2 - 1, column) + line.Brightness(kPixels / 2, column);
      cells.middle.At(row, column) = static_cast<float>(middle) / (6.0F * kUnit);
    }
  }
  return cells;
}

// Of every cell's square of `reach` cells around it the colour that is lightest, or darkest. The channels of a cell stay
// together: a yellow marker must not lend its red to a neighbour's blue.
Grid<Colour> Chosen(const Grid<Colour>& grid, int reach, bool lightest) {
  const auto along = [&](const Grid<Colour>& from, int rowStep, int columnStep) {
    Grid<float> key(from.rows, from.columns);
    for (size_t i = 0; i < from.Size(); i++) key.cells[i] = from.cells[i][0] + from.cells[i][1] + from.cells[i][2];
    Grid<Colour> to(from.rows, from.columns);
    for (int row = 0; row < from.rows; row++) {
      for (int column = 0; column < from.columns; column++) {
        size_t best = key.Index(row, column);
        for (int i = -reach; i <= reach; i++) {
          const int r = std::clamp(row + i * rowStep, 0, from.rows - 1);
          const int c = std::clamp(column + i * columnStep, 0, from.columns - 1);
          const size_t at = key.Index(r, c);
          if (lightest ? key.cells[at] > key.cells[best] : key.cells[at] < key.cells[best]) best = at;
        }
        to.At(row, column) = from.cells[best];
      }
    }
    return to;
  };
  return along(along(grid, 0, 1), 1, 0);
}

Grid<Colour> Closed(const Grid<Colour>& grid, bool reverse) {
  const Grid<Colour> closed = Chosen(Chosen(Extended(grid, kClosed), kClosed, !reverse), kClosed, reverse);
  Grid<Colour> inner(grid.rows, grid.columns);
  for (int row = 0; row < grid.rows; row++) {
    std::copy_n(&closed.At(row + kClosed, kClosed), grid.columns, &inner.At(row, 0));
  }
  return inner;
}

float LogOfMean(const Colour& ln) {
  return std::log((std::exp(ln[0]) + std::exp(ln[1]) + std::exp(ln[2])) / 3.0F);
}

bool IsReverse(const CellColours& cells) {
  std::vector<float> middle = cells.middle.cells;
  const auto half = middle.begin() + static_cast<std::ptrdiff_t>(middle.size() / 2);
  std::nth_element(middle.begin(), half, middle.end());
  if (*half >= kReverseLevel) return false;
  Grid<float> around = cells.middle;
  for (float& v : around.cells) v = std::log(v);
  Blur(around, kAround);
  double above = 0.0, below = 0.0;
  for (size_t i = 0; i < around.Size(); i++) {
    above += std::max(LogOfMean(cells.lightest.cells[i]) - around.cells[i], 0.0F);
    below += std::max(around.cells[i] - LogOfMean(cells.darkest.cells[i]), 0.0F);
  }
  return above > kReverseMarks * below;
}

} // namespace

Ground FindGround(const Planes& planes, const Levels& levels) {
  const CellColours cells = ReadCells(planes, levels);
  Ground ground;
  ground.reverse = IsReverse(cells);
  ground.ln = Closed(ground.reverse ? cells.darkest : cells.lightest, ground.reverse);
  ground.darkest = Grid<float>(ground.ln.rows, ground.ln.columns);
  for (size_t i = 0; i < ground.darkest.Size(); i++) ground.darkest.cells[i] = LogOfMean(cells.darkest.cells[i]);
  return ground;
}

} // namespace page
