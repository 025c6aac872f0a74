// Sums of lines are cut where a row of either walk begins or ends.
#include "engine/image/shared_walk.h"

#include <algorithm>
#include <vector>

namespace {

// Where one of the two is.
class Walk {
 public:
  explicit Walk(BlockRows& rows) : m_rows(rows) { m_rows.means->Start(); }

  bool HasEnded() const { return m_row == m_rows.rows; }
  bool IsAt(int64_t line) const { return !HasEnded() && line >= Top(); }
  int64_t NextCut(int64_t line) const { return line < Top() ? Top() : Top() + m_rows.side; }

  // `sums`: from pixel `left` on, of the lines up to `end`.
  void Add(const uint16_t* sums, int64_t samples, int64_t left, int64_t lines, int64_t end) {
    m_rows.means->Add(sums + (m_rows.left - left) * samples, lines, m_rows.blocks);
    if (end < Top() + m_rows.side) return;
    m_rows.Take(m_row++);
    m_rows.means->Start();
  }

 private:
  int64_t Top() const { return m_rows.top + m_row * m_rows.side; }

  BlockRows& m_rows;
  int64_t m_row = 0;
};

} // namespace

void WalkTogether(const ZEP3_BmpInfo& image, BlockRows& one, BlockRows& other) {
  const int64_t samples = LayoutOf(image).samples;
  const int64_t left = std::min(one.left, other.left);
  const int64_t right = std::max(one.left + one.columns, other.left + other.columns);
  std::vector<uint16_t> sums(static_cast<size_t>((right - left) * samples));
  Walk walks[2] = {Walk(one), Walk(other)};
  for (int64_t line = std::min(one.top, other.top); !walks[0].HasEnded() || !walks[1].HasEnded();) {
    int64_t end = line + kMostLines;
    bool wanted = false;
    for (const Walk& walk : walks) {
      if (walk.HasEnded()) continue;
      end = std::min(end, walk.NextCut(line));
      wanted = wanted || walk.IsAt(line);
    }
    if (wanted) {
      SumLines(image.pBits + (line * image.lBytesPerLine + left * samples), image.lBytesPerLine, end - line,
               (right - left) * samples, sums.data());
    }
    for (Walk& walk : walks) {
      if (walk.IsAt(line)) walk.Add(sums.data(), samples, left, end - line, end);
    }
    line = end;
  }
}
