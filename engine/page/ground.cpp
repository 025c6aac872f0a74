#include "engine/page/ground.h"

namespace page {
namespace {

constexpr int kPixels = kCell * kCell; // of a cell

// Pixels of the cells of a line, the darkest first: keys of brightness and the pixel's number, which 16 bits hold
// (765 * 16 + 15), sorted by a network that orders all cells of the line at a time; processors order many at once.
class SortedLine {
 public:
  explicit SortedLine(int cells) : m_cells(static_cast<size_t>(cells)), m_keys(kPixels * m_cells) {}

  void Sort(const Planes& planes, int row) {
    for (int i = 0; i < kPixels; i++) {
      const uint8_t* pixel = planes.Mean(i % kCell, row * kCell + i / kCell);
      int16_t* keys = Keys(i);
      for (size_t cell = 0; cell < m_cells; cell++, pixel += 3 * kCell) {
        keys[cell] = static_cast<int16_t>(Levels::SumOf(pixel) * kPixels + static_cast<uint32_t>(i));
      }
    }
    // Batcher's odd-even merge sort.
    for (int p = 1; p < kPixels; p *= 2) {
      for (int k = p; k >= 1; k /= 2) {
        for (int j = k % p; j + k < kPixels; j += 2 * k) {
          for (int i = j; i < j + k && i + k < kPixels; i++) {
            if (i / (2 * p) == (i + k) / (2 * p)) Order(Keys(i), Keys(i + k), m_cells);
          }
        }
      }
    }
  }

  // Of a place of the order: the pixel's number, and its channels' sum.
  uint32_t Pixel(int place, int cell) const { return Key(place, cell) % kPixels; }
  uint32_t Sum(int place, int cell) const { return Key(place, cell) / kPixels; }

 private:
  int16_t* Keys(int place) { return &m_keys[static_cast<size_t>(place) * m_cells]; }
  uint32_t Key(int place, int cell) const {
    return static_cast<uint32_t>(m_keys[static_cast<size_t>(place) * m_cells + static_cast<size_t>(cell)]);
  }
  static void Order(int16_t* __restrict a, int16_t* __restrict b, size_t n) {
    for (size_t i = 0; i < n; i++) {
      // Not as a minimum and a maximum: compilers make a branch of the two.
      const auto both = static_cast<int16_t>(a[i] + b[i]);
      a[i] = std::min(a[i], b[i]);
      b[i] = static_cast<int16_t>(both - a[i]);
    }
  }

  size_t m_cells;
  std::vector<int16_t> m_keys;
};

struct CellColours {
  Grid<Colour> lightest, darkest; // ln of the mean of a quarter of the pixels, and fourth of its mean channel
  Grid<float> middle;             // ln of the mean channel of the two in the middle
  Mask darkestPixel;
};

CellColours ReadCells(const Planes& planes, const Levels& levels) {
  const int rows = planes.height / kCell, columns = planes.width / kCell;
  CellColours cells = {Grid<Colour>(rows, columns), Grid<Colour>(rows, columns), Grid<float>(rows, columns),
                       Mask(rows, columns)};
  SortedLine line(columns);
  std::array<std::ptrdiff_t, kPixels> offset;
  for (int i = 0; i < kPixels; i++) offset[static_cast<size_t>(i)] = planes.Mean(i % kCell, i / kCell) - planes.mean;
  for (int row = 0; row < rows; row++) {
    line.Sort(planes, row);
    for (int column = 0; column < columns; column++) {
      const uint8_t* corner = planes.Mean(column * kCell, row * kCell);
      const auto quarter = [&](int from) {
        std::array<uint32_t, 3> sum = {};
        for (int i = from; i < from + kQuarter; i++) {
          const uint8_t* at = corner + offset[line.Pixel(i, column)];
          for (size_t c = 0; c < 3; c++) sum[c] += at[c];
        }
        return Colour{levels.lnOfFour[sum[0]], levels.lnOfFour[sum[1]], levels.lnOfFour[sum[2]],
                      levels.lnOfTwelve[sum[0] + sum[1] + sum[2]]};
      };
      const size_t at = cells.middle.Index(row, column);
      cells.darkest.cells[at] = quarter(0);
      cells.lightest.cells[at] = quarter(kPixels - kQuarter);
      const uint32_t middle = line.Sum(kPixels / 2 - 1, column) + line.Sum(kPixels / 2, column);
      cells.middle.cells[at] = levels.lnOfTwelve[2 * middle];
      cells.darkestPixel.cells[at] = static_cast<uint8_t>(line.Pixel(0, column));
    }
  }
  return cells;
}

// Keys of lightness that say where they come from, in whole numbers below 2^24, which floats hold: processors compare
// many floats at once. Lightness, the sum of three ln, in 2^18 steps; below it three bits each for the lines and the
// columns between a cell and the one chosen.
constexpr float kSteps = 262143.0F, kLightnessMost = 30.0F; // ln(2 / 255) three times, extended twice as far
constexpr float kLineCode = 8.0F, kKeyCodes = 64.0F;
constexpr int kWindow = 2 * kClosed + 1;
static_assert(kWindow <= 8);

float KeyOf(const Colour& v, float sign) {
  const float place = (sign * (v[0] + v[1] + v[2]) + kLightnessMost) * (kSteps / (2.0F * kLightnessMost));
  return kKeyCodes * static_cast<float>(static_cast<int>(std::clamp(place, 0.0F, kSteps)));
}

// The largest of kWindow keys, with its number.
void TakeLargest(const std::array<const float*, kWindow>& keys, float code, float* __restrict out, size_t n) {
  std::copy_n(keys[0], n, out);
  for (size_t k = 1; k < kWindow; k++) {
    const float* from = keys[k];
    const float with = code * static_cast<float>(k);
    for (size_t i = 0; i < n; i++) out[i] = std::max(out[i], from[i] + with);
  }
}

// Of every cell's square of kClosed cells around it the cell that is lightest, or darkest: its colour. The channels of
// a cell stay together: a yellow marker must not lend its red to a neighbour's blue.
Grid<Colour> Chosen(const Grid<Colour>& grid, bool lightest) {
  const int rows = grid.rows, columns = grid.columns;
  const auto n = static_cast<size_t>(columns);
  constexpr float kNone = -1e6F;
  Grid<float> across(rows, columns);
  std::vector<float> key(n + 2 * kClosed, kNone);
  std::array<const float*, kWindow> window;
  for (int row = 0; row < rows; row++) {
    const Colour* line = &grid.At(row, 0);
    for (size_t i = 0; i < n; i++) key[i + kClosed] = KeyOf(line[i], lightest ? 1.0F : -1.0F);
    for (size_t k = 0; k < kWindow; k++) window[k] = &key[k];
    TakeLargest(window, 1.0F, &across.At(row, 0), n);
  }
  Grid<Colour> chosen(rows, columns);
  const std::vector<float> none(n, kNone);
  std::vector<float> best(n);
  for (int row = 0; row < rows; row++) {
    for (int k = 0; k < kWindow; k++) {
      const int r = row + k - kClosed;
      window[static_cast<size_t>(k)] = r < 0 || r >= rows ? none.data() : &across.At(r, 0);
    }
    TakeLargest(window, kLineCode, best.data(), n);
    for (int column = 0; column < columns; column++) {
      const int code = static_cast<int>(best[static_cast<size_t>(column)]);
      chosen.At(row, column) = grid.At(row + code / 8 % 8 - kClosed, column + code % 8 - kClosed);
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
    above += static_cast<double>(std::max(cells.lightest.cells[i][3] - around.cells[i], 0.0F));
    below += static_cast<double>(std::max(around.cells[i] - cells.darkest.cells[i][3], 0.0F));
  }
  return above > kReverseMarks * below;
}

// Marker in strokes so narrow that the ground is what lies beside them.
bool IsMarked(const Colour& lightest, const Colour& ground) {
  const Colour d = {lightest[0] - ground[0], lightest[1] - ground[1], lightest[2] - ground[2]};
  const float most = std::max({d[0], d[1], d[2]}), least = std::min({d[0], d[1], d[2]});
  return most > -kMarkerDark && most - least > kMarkerTint;
}

} // namespace

Ground FindGround(const Planes& planes, const Levels& levels) {
  CellColours cells = ReadCells(planes, levels);
  Ground ground;
  ground.reverse = IsReverse(cells);
  ground.ln = Closed(ground.reverse ? cells.darkest : cells.lightest, ground.reverse);
  ground.darkest = Grid<float>(ground.ln.rows, ground.ln.columns);
  for (size_t i = 0; i < ground.darkest.Size(); i++) ground.darkest.cells[i] = cells.darkest.cells[i][3];
  ground.marked = Mask(ground.ln.rows, ground.ln.columns);
  for (size_t i = 0; i < ground.marked.Size() && !ground.reverse; i++)
    ground.marked.cells[i] = IsMarked(cells.lightest.cells[i], ground.ln.cells[i]);
  ground.darkestPixel = std::move(cells.darkestPixel);
  return ground;
}

} // namespace page
