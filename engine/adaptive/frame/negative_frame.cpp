// Peels holder, open light and clear film off the sides in rounds, then leaves out what still reaches in.
#include "engine/adaptive/frame/negative_frame.h"

#include <algorithm>
#include <utility>

#include "engine/adaptive/frame/peel.h"
#include "engine/adaptive/order_statistics.h"
#include "engine/common/scale.h"

namespace {

// A holder lets less light through than the densest film, and 0.6 density less than the picture's middle.
constexpr double kHolderLevel = 12.0;
constexpr double kHolderShare = 0.45;
constexpr double kMiddleLow = 1.0; // percent of the middle's blocks
constexpr double kMiddleHigh = 99.5;

// Clear film is as light as the lightest blocks of the frame, but need not be lighter than the picture's middle.
constexpr double kClearShare = 0.96;
constexpr double kClearExcess = 1.03;

constexpr double kForeignShare = 0.8; // of a line's blocks, which make it none of the picture's
constexpr double kSideMost = 0.22;    // of the height or width that a side can lose
// Open light, holder, clear film, and one to find nothing.
constexpr int kRounds = 4;

constexpr int kHalo = 2;              // blocks around a holder that reaches in, which it shades
constexpr double kPictureLeast = 0.3; // of all blocks; with less left it is no holder that reaches in

class Search {
 public:
  explicit Search(const BlockGrid& grid)
      : m_grid(grid), m_frame(WholeGrid(grid)), m_dark(grid.Size()), m_clear(grid.Size()) {}

  NegativeFrame Run() {
    if (!LookAtMiddle()) return std::move(m_found);
    for (int round = 0; round < kRounds && PeelRound(); round++) {
    }
    CollectPicture();
    return std::move(m_found);
  }

 private:
  double LargestLevel(size_t at) const {
    return std::max(std::max(m_grid.level[0][at], m_grid.level[1][at]), m_grid.level[2][at]);
  }

  // The central half in both directions tells which blocks are too dark in all channels to be film, and how light the
  // picture is. False without any block.
  bool LookAtMiddle() {
    const Frame middle = {m_grid.rows / 4, m_grid.rows - m_grid.rows / 4, m_grid.columns / 4,
                          m_grid.columns - m_grid.columns / 4};
    std::vector<double> samples;
    ForEachBlock(m_grid, middle, [&](size_t at) { samples.push_back(LargestLevel(at)); });
    if (samples.empty()) return false;
    const double holderLevel = AtLeast(kHolderLevel, kHolderShare * Percentile(samples, kMiddleLow));
    for (int c = 0; c < 3; c++) {
      samples.clear();
      ForEachBlock(m_grid, middle, [&](size_t at) { samples.push_back(m_grid.level[c][at]); });
      m_middleHigh[c] = Percentile(samples, kMiddleHigh);
    }
    for (size_t at = 0; at < m_grid.Size(); at++) m_dark[at] = LargestLevel(at) < holderLevel;
    return true;
  }

  // Marks what is as light as the lightest of the present frame; false when all of it is dark.
  bool MarkClear() {
    std::vector<double> samples;
    double least[3];
    for (int c = 0; c < 3; c++) {
      samples.clear();
      ForEachBlock(m_grid, m_frame, [&](size_t at) {
        if (m_dark[at] == 0) samples.push_back(m_grid.level[c][at]);
      });
      if (samples.empty()) return false;
      least[c] = AtMost(kClearExcess * m_middleHigh[c], kClearShare * Percentile(samples, kMiddleHigh));
    }
    for (size_t at = 0; at < m_grid.Size(); at++) {
      m_clear[at] =
          m_grid.level[0][at] >= least[0] && m_grid.level[1][at] >= least[1] && m_grid.level[2][at] >= least[2];
    }
    return true;
  }

  bool PeelRound() {
    if (!MarkClear()) return false;
    bool clearSide[4] = {};
    bool moved = false;
    std::vector<size_t> strip;
    for (int i = 0; i < 4; i++) {
      const Side side = kSides[i];
      const int most = static_cast<int>(kSideMost * LinesAcross(WholeGrid(m_grid), side)) - m_lost[i];
      const int lost = PeelSide(m_grid, m_frame, side, most, [&](const GridLine& line) {
        return Foreign(line, clearSide[i], m_found.holder[i], strip);
      });
      if (lost == 0) continue;
      moved = true;
      m_found.clear[i] = m_found.clear[i] || clearSide[i];
      // Blocks half picture, half border.
      m_lost[i] += lost + PeelSide(m_grid, m_frame, side, 1, [](const GridLine&) { return true; });
    }
    if ((clearSide[0] && clearSide[1]) || (clearSide[2] && clearSide[3])) m_found.strips.push_back(MedianOf(strip));
    return moved;
  }

  // True when the line is border; sets which kind and collects its clear blocks.
  bool Foreign(const GridLine& line, bool& clearSide, bool& holderSide, std::vector<size_t>& strip) const {
    int clear = 0;
    int dark = 0;
    int blocks = 0;
    for (int i = 0; i < line.count; i++) {
      const size_t at = line.At(i);
      blocks += m_grid.inside[at];
      clear += m_grid.inside[at] & m_clear[at];
      dark += m_grid.inside[at] & m_dark[at];
    }
    if (blocks == 0 || clear + dark < kForeignShare * blocks) return false;
    (2 * clear >= blocks ? clearSide : holderSide) = true;
    for (int i = 0; i < line.count; i++) {
      const size_t at = line.At(i);
      if ((m_grid.inside[at] & m_clear[at]) != 0) strip.push_back(at);
    }
    return true;
  }

  ClearStrip MedianOf(const std::vector<size_t>& strip) const {
    ClearStrip median;
    std::vector<double> samples;
    for (int c = 0; c < 3; c++) {
      samples.clear();
      for (const size_t at : strip) samples.push_back(m_grid.level[c][at]);
      median.level[c] = Median(samples);
    }
    return median;
  }

  // A holder that is tilted or has round corners reaches in without filling a line: dark blocks that hang together with
  // the frame's edge, no deeper than a side can lose.
  std::vector<uint8_t> ReachingIn() const {
    const int deepRows = static_cast<int>(kSideMost * m_frame.Rows());
    const int deepColumns = static_cast<int>(kSideMost * m_frame.Columns());
    std::vector<uint8_t> reached(m_grid.Size());
    std::vector<std::pair<int, int>> open;
    const auto reach = [&](int row, int column) {
      if (row < m_frame.top || row >= m_frame.bottom || column < m_frame.left || column >= m_frame.right) return;
      const bool deep = row >= m_frame.top + deepRows && row < m_frame.bottom - deepRows &&
                        column >= m_frame.left + deepColumns && column < m_frame.right - deepColumns;
      const size_t at = m_grid.At(row, column);
      if (deep || reached[at] != 0 || m_dark[at] == 0) return;
      reached[at] = 1;
      open.emplace_back(row, column);
    };
    for (int row = m_frame.top; row < m_frame.bottom; row++) {
      reach(row, m_frame.left);
      reach(row, m_frame.right - 1);
    }
    for (int column = m_frame.left; column < m_frame.right; column++) {
      reach(m_frame.top, column);
      reach(m_frame.bottom - 1, column);
    }
    while (!open.empty()) {
      const auto [row, column] = open.back();
      open.pop_back();
      reach(row - 1, column);
      reach(row + 1, column);
      reach(row, column - 1);
      reach(row, column + 1);
    }
    return reached;
  }

  void Widen(std::vector<uint8_t>& marked) const {
    const std::vector<uint8_t> before = marked;
    for (int row = m_frame.top; row < m_frame.bottom; row++) {
      for (int column = m_frame.left; column < m_frame.right; column++) {
        if (before[m_grid.At(row, column)] == 0) continue;
        if (row > m_frame.top) marked[m_grid.At(row - 1, column)] = 1;
        if (row + 1 < m_frame.bottom) marked[m_grid.At(row + 1, column)] = 1;
        if (column > m_frame.left) marked[m_grid.At(row, column - 1)] = 1;
        if (column + 1 < m_frame.right) marked[m_grid.At(row, column + 1)] = 1;
      }
    }
  }

  void CollectPicture() {
    const auto blocks = static_cast<double>(std::count(m_grid.inside.begin(), m_grid.inside.end(), uint8_t{1}));
    std::vector<uint8_t> holder = ReachingIn();
    for (int i = 0; i < kHalo; i++) Widen(holder);
    std::vector<size_t>& picture = m_found.picture;
    ForEachBlock(m_grid, m_frame, [&](size_t at) {
      if (holder[at] == 0) picture.push_back(at);
    });
    if (static_cast<double>(picture.size()) < kPictureLeast * blocks) {
      picture.clear();
      ForEachBlock(m_grid, m_frame, [&](size_t at) { picture.push_back(at); });
    }
    m_found.trimmed = 1.0 - static_cast<double>(picture.size()) / blocks;
  }

  const BlockGrid& m_grid;
  NegativeFrame m_found;
  Frame m_frame;
  double m_middleHigh[3] = {};
  int m_lost[4] = {}; // lines taken off each side
  std::vector<uint8_t> m_dark;
  std::vector<uint8_t> m_clear;
};

} // namespace

NegativeFrame FindNegativeFrame(const BlockGrid& grid) { return Search(grid).Run(); }
