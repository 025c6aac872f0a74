// In whole numbers, so that every processor gives the same. Between the centres of four cells lies a square; most
// squares are of one kind, paper with strokes, and most pixels in them are white: those are known by the least levels
// that are white everywhere in the square, many at a time.
#include "engine/page/apply.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <vector>

#include "engine/lut/apply.h"
#include "engine/page/eights.h"
#include "engine/page/tables.h"

namespace page {
namespace {

// Gains in whole numbers: a sample times such a number, over 2^kShift, is an entry of a table. A gain ends at
// kGainMost, where paper would be as dark as 2 of 255.
template <class Sample>
struct Fixed {
  static constexpr bool kByte = sizeof(Sample) == 1;
  static constexpr int64_t kEntries = kByte ? int64_t{ZEP3_PAGE_ENTRIES_8} : int64_t{ZEP3_PAGE_ENTRIES_16};
  static constexpr int kShift = kByte ? kByteShift : 24;
  static constexpr int kSpared = kByte ? kByteSpared : 0; // bits of a gain that a product does without
  static constexpr double kGainMost = 100.0;              // keeps numbers below 2^30
  static constexpr double kPerGain = static_cast<double>(kEntries - 1) / kTableMost /
                                     static_cast<double>(kTableEntries<Sample> - 1) * (int64_t{1} << kShift);
  static int32_t Of(float gain) {
    const auto v = static_cast<double>(gain);
    return v > 0.0 ? static_cast<int32_t>(std::min(v, kGainMost) * kPerGain + 0.5) : 0; // not a number: 0
  }
  // Not held to the last entry.
  static int64_t Product(Sample v, int64_t gain) {
    constexpr int kLeft = kShift - kSpared;
    return (static_cast<int64_t>(v) * (gain >> kSpared) + (int64_t{1} << (kLeft - 1))) >> kLeft;
  }
  static int64_t Entry(Sample v, int64_t gain) { return std::min(Product(v, gain), kEntries - 1); }
};

// Lines or columns of cells, of a side of pixels each.
struct Axis {
  int64_t first, side, cells;

  // The last cell whose centre lies at or before pixel `at`; -1 before the first's.
  int64_t Before(int64_t at) const {
    const int64_t from = at - first - side / 2;
    return from < 0 ? -1 : std::min(from / side, cells - 1);
  }
  // The first pixel of a cell's Before.
  int64_t Begin(int64_t cell) const { return first + cell * side + side / 2; }
  // Beyond the outermost centres the outermost go on.
  int64_t This(int64_t cell) const { return std::max<int64_t>(cell, 0); }
  int64_t Next(int64_t cell) const { return std::min(cell + 1, cells - 1); }
  // How far pixel `at` is from that cell's centre to the next one's; of a pixel + 1/2, of a cell (cell + 1/2) side.
  double Part(int64_t at, int64_t cell) const {
    return static_cast<double>(2 * (at - first - cell * side) + 1 - side) / (2.0 * static_cast<double>(side));
  }
};

int32_t Between(int32_t a, int32_t b, double part) { return a + static_cast<int32_t>(part * (b - a)); }

int32_t Mix(int32_t a, int32_t b, int32_t share) { return a + (((b - a) * share + kWhole / 2) >> 15); }

// Flags of cells are drawn back a third of a cell from where the neighbour has none.
int32_t Drawn(int32_t share) { return std::clamp(2 * share - kWhole * 4 / 5, 0, kWhole); }

// The usual layout, known when this is compiled.
struct Rgb {
  static constexpr int samples = kRgb.samples, red = kRgb.red, green = kRgb.green, blue = kRgb.blue;
  static constexpr bool IsGray() { return false; }
};

template <class Sample>
class Piece {
 public:
  Piece(int64_t x, int64_t width, const PixelLayout& layout, const ZEP3_SURFACE& surface, const uint16_t* table)
      : m_x(x),
        m_width(width),
        m_layout(layout),
        m_across{surface.lLeft, surface.lSide, surface.lColumns},
        m_down{surface.lTop, surface.lSide, surface.lRows},
        m_cells(surface.pCells),
        m_table(table),
        m_white(table + 6 * kEntries) {
    m_allWhite = std::lower_bound(m_white, m_white + kEntries, uint16_t{65535}) - m_white;
    constexpr auto kOne = static_cast<int64_t>(static_cast<double>(kEntries - 1) / kTableMost + 0.5);
    for (size_t c = 0; c < 3; c++) {
      m_paper[c] = m_table[static_cast<int64_t>(c) * kEntries + kOne];
      m_paperSample[c] = ToSample(m_paper[c]);
    }
    for (int64_t i = 0; i < kBlock; i++)
      SetColour(&m_paperBlock[static_cast<size_t>(i * layout.samples)], layout, m_paperSample);
    if (sizeof(Sample) == 1 && layout == kRgb) m_eights = Eights();
    m_firstSquare = m_across.Before(x);
    m_squares.resize(static_cast<size_t>(m_across.Before(x + width - 1) - m_firstSquare + 1));
  }

  void Line(Sample* first, int64_t y) {
    const int64_t row = m_down.Before(y);
    if (!m_found || row != m_row) FindSquares(row);
    m_row = row;
    m_found = true;
    m_rowPart = m_down.Part(y, row);
    if (m_layout == kRgb) {
      Change(first, Rgb());
    } else {
      Change(first, m_layout);
    }
  }

 private:
  using Numbers = Fixed<Sample>;
  static constexpr int64_t kEntries = Numbers::kEntries;
  static constexpr int64_t kBlock = 16;      // pixels looked at together
  static constexpr int64_t kSamplesMost = 4; // of a pixel
  static constexpr int64_t kRun = 256;       // pixels after which numbers are interpolated anew: steps are rounded

  struct Square {
    bool mixed;                                 // corners of several kinds
    bool strokes, whiten;                       // of all corners, if not mixed
    std::array<std::array<int32_t, 4>, 4> gain; // of the corners: upper left and right, lower left and right
    std::array<uint32_t, 4> lies;
    std::array<Sample, 3> darker; // pixels with all channels above these are white in all of the square
    std::array<Sample, kBlock * kSamplesMost> darkerBlock; // sample by sample; of layouts that have channels alone
  };

  static Sample ToSample(int32_t level) {
    if constexpr (sizeof(Sample) == 1) {
      return Level8Of16(static_cast<uint16_t>(level));
    } else {
      return static_cast<uint16_t>(level);
    }
  }

  void FindSquares(int64_t row) {
    for (size_t i = 0; i < m_squares.size(); i++) {
      Square& square = m_squares[i];
      const int64_t column = m_firstSquare + static_cast<int64_t>(i);
      uint32_t any = 0, all = ZEP3_CELL_STROKES | ZEP3_CELL_WHITEN;
      for (size_t k = 0; k < 4; k++) {
        if (k % 2 == 0 && i > 0) { // the corner of the square before
          square.gain[k] = m_squares[i - 1].gain[k + 1];
          square.lies[k] = m_squares[i - 1].lies[k + 1];
        } else {
          const int64_t r = k < 2 ? m_down.This(row) : m_down.Next(row);
          const int64_t c = k % 2 == 0 ? m_across.This(column) : m_across.Next(column);
          const ZEP3_CELL& cell = m_cells[r * m_across.cells + c];
          square.gain[k] = {Numbers::Of(cell.fGain[0]), Numbers::Of(cell.fGain[1]), Numbers::Of(cell.fGain[2]), 0};
          square.lies[k] = cell.lLies & (ZEP3_CELL_STROKES | ZEP3_CELL_WHITEN);
        }
        any |= square.lies[k];
        all &= square.lies[k];
      }
      square.mixed = any != all;
      square.strokes = (all & ZEP3_CELL_STROKES) != 0;
      square.whiten = (all & ZEP3_CELL_WHITEN) != 0;
      if (square.whiten && !square.mixed) SetDarker(square);
    }
  }

  void SetDarker(Square& square) const {
    square.darker.fill(std::numeric_limits<Sample>::max());
    for (size_t c = 0; c < 3 && m_allWhite < kEntries; c++) {
      const auto& g = square.gain;
      // Less what steps are rounded off by, and what products do without.
      const int64_t least =
          std::min({g[0][c], g[1][c], g[2][c], g[3][c]}) - 2 * kRun - (int64_t{1} << Numbers::kSpared);
      if (least <= 0) continue;
      const int64_t wanted = (m_allWhite << Numbers::kShift) - (int64_t{1} << (Numbers::kShift - 1));
      const double level = static_cast<double>(wanted) / static_cast<double>(least); // at it and above: white
      square.darker[c] = static_cast<Sample>(std::clamp(level, 0.0, static_cast<double>(square.darker[c])));
    }
    if (!HasBlocks(m_layout)) return;
    Sample* const block = square.darkerBlock.data();
    SetColour(block, m_layout, square.darker);
    for (int64_t n = 1; n < kBlock; n *= 2) std::copy_n(block, n * m_layout.samples, block + n * m_layout.samples);
  }

  // Whether channels are all that a pixel has.
  template <class Layout>
  static bool HasBlocks(const Layout& layout) {
    return layout.samples == (layout.IsGray() ? 1 : 3);
  }

  // Whether any sample of a block is not above its bound; of pixels that have no other samples than channels.
  static bool IsAnyDarker(const Sample* at, const Sample* bound, int64_t samples) {
    Sample any = 0;
    for (int64_t i = 0; i < samples; i++) any = static_cast<Sample>(any | (at[i] <= bound[i] ? 1 : 0));
    return any != 0;
  }

  template <class Layout>
  void Change(Sample* first, const Layout& layout) const {
    for (int64_t from = 0, column = m_firstSquare; from < m_width;) {
      const Square& square = m_squares[static_cast<size_t>(column - m_firstSquare)];
      // Numbers are taken anew from time to time, at the same places whatever the piece: their steps are rounded.
      int64_t begin = from, to = m_width;
      if (column < 0) {
        to = std::min(m_width, m_across.Begin(0) - m_x);
      } else if (column < m_across.cells - 1) {
        const int64_t left = m_across.Begin(column) - m_x;
        begin = left + (from - left) / kRun * kRun;
        to = std::min({m_width, begin + kRun, left + m_across.side});
      }
      const auto slopeHere = [&](int64_t ahead) { return SlopeAt(begin, column, square, from - begin + ahead); };
      Sample* pixel = first + from * layout.samples;
      if (m_eights != nullptr && (square.mixed || !square.whiten)) {
        const EightCalls::Change change = square.mixed ? m_eights->mixed : m_eights->alike;
        change(reinterpret_cast<uint8_t*>(pixel), to - from, slopeHere(0), EightsOf(square));
      } else if (square.mixed) {
        ChangeMixed(pixel, to - from, layout, slopeHere(0));
      } else if (square.whiten) {
        ChangeWhitened(pixel, to - from, layout, square, slopeHere);
      } else {
        // The largest of a line's gains lies at one of its ends.
        const Slope slope = slopeHere(0), last = slopeHere(to - from - 1);
        int64_t most = 0;
        for (size_t c = 0; c < 3; c++) most = std::max<int64_t>({most, slope.gain[c], last.gain[c]});
        const bool within = Numbers::Product(std::numeric_limits<Sample>::max(), most) < kEntries;
        if (within) {
          ChangeAlike(pixel, to - from, layout, square, slope, Numbers::Product);
        } else {
          ChangeAlike(pixel, to - from, layout, square, slope, Numbers::Entry);
        }
      }
      from = to;
      if (column < m_across.cells - 1 && m_x + from >= m_across.Begin(column + 1)) column++;
    }
  }

  // From a pixel of the piece's line on, told so many pixels ahead.
  Slope SlopeAt(int64_t begin, int64_t column, const Square& square, int64_t ahead) const {
    const double part = m_across.Part(m_x + begin, column), perPixel = 1.0 / static_cast<double>(m_across.side);
    const auto along = [&](int32_t a, int32_t b, int32_t c, int32_t d, int32_t& start, int32_t& step) {
      const int32_t left = Between(a, c, m_rowPart), right = Between(b, d, m_rowPart);
      start = Between(left, right, part);
      step = static_cast<int32_t>((right - left) * perPixel);
    };
    Slope slope;
    const auto& g = square.gain;
    for (size_t c = 0; c < slope.gain.size(); c++)
      along(g[0][c], g[1][c], g[2][c], g[3][c], slope.gain[c], slope.gainStep[c]);
    if (square.mixed) {
      const auto share = [&](size_t corner, uint32_t of) { return (square.lies[corner] & of) != 0 ? kWhole : 0; };
      const auto flag = [&](uint32_t of, int32_t& start, int32_t& step) {
        along(share(0, of), share(1, of), share(2, of), share(3, of), start, step);
      };
      flag(ZEP3_CELL_STROKES, slope.strokes, slope.strokesStep);
      flag(ZEP3_CELL_WHITEN, slope.whiten, slope.whitenStep);
    }
    slope.Go(static_cast<int32_t>(ahead));
    return slope;
  }

  // Share of white, of kWhole.
  int32_t WhiteOf(int64_t entry) const { return (m_white[entry] + 1) >> 1; }

  const uint16_t* TableOf(const Square& square) const { return m_table + (square.strokes ? 0 : 3 * kEntries); }

  // Of 8-bit pixels.
  EightTables EightsOf(const Square& square) const {
    const auto darker = [&](size_t c) { return static_cast<uint8_t>(square.darker[c]); };
    return {square.mixed ? m_table : TableOf(square),
            m_white,
            m_paper,
            {darker(0), darker(1), darker(2)},
            reinterpret_cast<const uint8_t*>(square.darkerBlock.data()),
            reinterpret_cast<const uint8_t*>(m_paperBlock.data())};
  }

  // `slopeHere` is called when it is needed first: a clean sheet needs none.
  template <class Layout, class SlopeHere>
  void ChangeWhitened(Sample* pixel, int64_t pixels, const Layout& layout, const Square& square,
                      const SlopeHere& slopeHere) const {
    std::optional<Slope> slope;
    const uint16_t* const table = TableOf(square);
    const int64_t samples = layout.samples;
    const bool gray = layout.IsGray();
    const std::array<Sample, 3> darker = square.darker;
    if (m_eights != nullptr) {
      const EightTables tables = EightsOf(square);
      auto* const first = reinterpret_cast<uint8_t*>(pixel);
      const int64_t white = m_eights->whitenFirst(first, pixels, tables);
      if (white < pixels) m_eights->whitened(first + 3 * white, pixels - white, slopeHere(white), tables);
      return;
    }
    for (int64_t at = 0; at < pixels;) {
      const int64_t end = std::min(pixels, at + kBlock);
      if (end - at == kBlock && HasBlocks(layout) && !IsAnyDarker(pixel, square.darkerBlock.data(), kBlock * samples)) {
        std::copy_n(m_paperBlock.data(), kBlock * samples, pixel);
        pixel += kBlock * samples;
        at = end;
        continue;
      }
      for (; at < end; at++, pixel += samples) {
        const Sample v[3] = {pixel[layout.red], pixel[layout.green], pixel[layout.blue]};
        if (v[1] > darker[1] && (gray || (v[0] > darker[0] && v[2] > darker[2]))) {
          SetColour(pixel, layout, m_paperSample);
          continue;
        }
        if (!slope) slope = slopeHere(0);
        const auto entry = [&](size_t c) { return Numbers::Entry(v[c], slope->gain[c] + at * slope->gainStep[c]); };
        const int64_t g = entry(1), r = gray ? g : entry(0), b = gray ? g : entry(2);
        const int32_t t = WhiteOf(std::min(std::min(r, g), b));
        if (!gray) {
          pixel[layout.red] = ToSample(Mix(table[r], m_paper[0], t));
          pixel[layout.blue] = ToSample(Mix(table[2 * kEntries + b], m_paper[2], t));
        }
        pixel[layout.green] = ToSample(Mix(table[kEntries + g], m_paper[1], t));
      }
    }
  }

  template <class Layout, class Entry>
  void ChangeAlike(Sample* pixel, int64_t pixels, const Layout& layout, const Square& square, const Slope& slope,
                   const Entry& entry) const {
    const uint16_t* const table = TableOf(square);
    int32_t red = slope.gain[0], green = slope.gain[1], blue = slope.gain[2];
    for (int64_t i = 0; i < pixels; i++, pixel += layout.samples) {
      if (!layout.IsGray()) {
        pixel[layout.red] = ToSample(table[entry(pixel[layout.red], red)]);
        pixel[layout.blue] = ToSample(table[2 * kEntries + entry(pixel[layout.blue], blue)]);
      }
      pixel[layout.green] = ToSample(table[kEntries + entry(pixel[layout.green], green)]);
      red += slope.gainStep[0];
      green += slope.gainStep[1];
      blue += slope.gainStep[2];
    }
  }

  template <class Layout>
  void ChangeMixed(Sample* pixel, int64_t pixels, const Layout& layout, Slope slope) const {
    const int offset[3] = {layout.red, layout.green, layout.blue};
    const int from = layout.IsGray() ? 1 : 0, to = layout.IsGray() ? 2 : 3;
    for (int64_t i = 0; i < pixels; i++, pixel += layout.samples) {
      std::array<int64_t, 3> entry = {};
      int64_t least = kEntries - 1;
      for (int c = from; c < to; c++) {
        const auto k = static_cast<size_t>(c);
        entry[k] = Numbers::Entry(pixel[offset[c]], slope.gain[k]);
        least = std::min(least, entry[k]);
      }
      const int32_t strokes = Drawn(slope.strokes), whiten = Drawn(slope.whiten);
      const int32_t t = whiten == 0 ? 0 : (WhiteOf(least) * whiten) >> 15;
      for (int c = from; c < to; c++) {
        const auto k = static_cast<size_t>(c);
        const uint16_t* const stroke = m_table + c * kEntries + entry[k];
        // Most of a square lies wholly on one side.
        const int32_t level = strokes == kWhole ? *stroke
                              : strokes == 0    ? stroke[3 * kEntries]
                                                : Mix(stroke[3 * kEntries], *stroke, strokes);
        pixel[offset[c]] = ToSample(t == 0 ? level : Mix(level, m_paper[k], t));
      }
      slope.Go(1);
    }
  }

  template <class Layout>
  static void SetColour(Sample* pixel, const Layout& layout, const std::array<Sample, 3>& colour) {
    if (!layout.IsGray()) {
      pixel[layout.red] = colour[0];
      pixel[layout.blue] = colour[2];
    }
    pixel[layout.green] = colour[1];
  }

  int64_t m_x, m_width;
  PixelLayout m_layout;
  Axis m_across, m_down;
  const ZEP3_CELL* m_cells;
  const uint16_t *m_table, *m_white;
  int64_t m_allWhite; // the entry from which a pixel is white
  std::array<int32_t, 3> m_paper;
  std::array<Sample, 3> m_paperSample;
  std::array<Sample, kBlock* kSamplesMost> m_paperBlock = {};
  const EightCalls* m_eights = nullptr; // null: other pixels, or another processor
  int64_t m_row = 0;                    // of cells, above the line
  double m_rowPart = 0.0;               // from its centre to the next one's
  bool m_found = false;                 // squares of that row
  int64_t m_firstSquare;                // the column of cells left of it; -1: left of the first cell's centre
  std::vector<Square> m_squares;
};

} // namespace

template <class Sample>
void Apply(uint8_t* pixels, int64_t stride, int64_t width, int64_t height, const PixelLayout& layout, int64_t x,
           int64_t y, const ZEP3_SURFACE& surface, const uint16_t* table) {
  Piece<Sample> piece(x, width, layout, surface, table);
  for (int64_t line = 0; line < height; line++) piece.Line(reinterpret_cast<Sample*>(pixels + line * stride), y + line);
}

template void Apply<uint8_t>(uint8_t*, int64_t, int64_t, int64_t, const PixelLayout&, int64_t, int64_t,
                             const ZEP3_SURFACE&, const uint16_t*);
template void Apply<uint16_t>(uint8_t*, int64_t, int64_t, int64_t, const PixelLayout&, int64_t, int64_t,
                              const ZEP3_SURFACE&, const uint16_t*);

} // namespace page
