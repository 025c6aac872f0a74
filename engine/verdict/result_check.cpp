#include "engine/verdict/result_check.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>

#include "engine/common/record.h"
#include "engine/common/scale.h"
#include "engine/lut/clut.h"
#include "engine/verdict/tuning.h"

using namespace verdict;

namespace {

// Between two levels a curve is straight.
double Along(const double (&curve)[256], double level) {
  const int below = std::min(static_cast<int>(level), 254);
  return curve[below] + (curve[below + 1] - curve[below]) * (level - below);
}

double GrayOf(const double (&level)[3]) {
  double gray = 0.0;
  for (int c = 0; c < 3; c++) gray += kChannelWeight[c] * level[c];
  return gray;
}

// Of the channel in which two colours differ most.
double Apart(const std::array<double, 3>& p, const std::array<double, 3>& q) {
  return std::max({std::fabs(p[0] - q[0]), std::fabs(p[1] - q[1]), std::fabs(p[2] - q[2])});
}

// How often the whole levels from -255 to 255 occur.
class LevelCounts {
 public:
  // What is not a number counts as the lowest.
  void Add(double level) {
    const double held = level > -255.0 ? std::min(level, 255.0) : -255.0;
    m_count[static_cast<size_t>(held + 255.5)]++;
    m_sum++;
  }
  // The level that a share of them does not exceed; 0 without any.
  double At(double share) const {
    double left = share * static_cast<double>(m_sum);
    if (m_sum == 0) return 0.0;
    size_t i = 0;
    while (i + 1 < m_count.size() && left > static_cast<double>(m_count[i])) left -= static_cast<double>(m_count[i++]);
    return static_cast<double>(i) - 255.0;
  }

 private:
  std::array<uint32_t, 511> m_count = {};
  uint32_t m_sum = 0;
};

// How far a picture is from gray where it is least coloured: a scene of many colours has grays, one with a cast has
// not.
class CastCounts {
 public:
  void Add(const double (&level)[3], double gray) {
    if (kCastFrom <= gray && gray <= kCastTo) m_chroma.Add(Largest(level) - Smallest(level));
  }
  double Cast() const { return m_chroma.At(kCastShare); }

 private:
  LevelCounts m_chroma;
};

// How far three curves lead one level apart, in the middle of the scale: without it no cast comes about.
double SpreadOf(const double (&curve)[3][256]) {
  LevelCounts spread;
  for (int i = kSpreadFrom; i < kSpreadTo; i++) {
    const double shown[3] = {curve[0][i], curve[1][i], curve[2][i]};
    spread.Add(Largest(shown) - Smallest(shown));
  }
  return spread.At(0.5);
}

} // namespace

ResultCheck::ResultCheck(const View& view, const ZEP3_PARA& para, bool bySrgb)
    : m_view(view), m_negative(IsNegative(para)) {
  double display[256];
  for (int i = 0; i < 256; i++) display[i] = bySrgb ? ShownLevel(i) : DisplayLevel(i, DisplayExponent(para));
  std::vector<Colour> shown;
  shown.reserve(view.picture.blocks.size());
  LevelCounts grays;
  CastCounts cast;
  for (const size_t at : view.picture.blocks) {
    double level[3];
    for (int c = 0; c < 3; c++) level[c] = Along(display, view.grid.level[c][at]);
    const double gray = GrayOf(level);
    grays.Add(gray);
    cast.Add(level, gray);
    shown.push_back({level[0], level[1], level[2]});
  }
  m_before.lightest = grays.At(1.0 - kEndShare);
  m_before.darkest = grays.At(kEndShare);
  m_before.cast = cast.Cast();
  FindMarks(shown);
}

// Neighbours that differ by little, but by more than noise.
void ResultCheck::FindMarks(const std::vector<Colour>& shown) {
  const BlockGrid& grid = m_view.grid;
  constexpr auto kNone = static_cast<uint32_t>(-1);
  std::vector<uint32_t> number(grid.Size(), kNone);
  const std::vector<size_t>& blocks = m_view.picture.blocks;
  for (size_t i = 0; i < blocks.size(); i++) number[blocks[i]] = static_cast<uint32_t>(i);
  const auto look = [&](size_t i, uint32_t other) {
    if (other == kNone) return;
    const double most = Apart(shown[i], shown[other]);
    if (kFaintFrom <= most && most <= kFaintTo) m_marks.push_back({static_cast<uint32_t>(i), other});
  };
  const auto columns = static_cast<size_t>(grid.columns);
  for (size_t i = 0; i < blocks.size(); i++) {
    if (blocks[i] % columns + 1 < columns) look(i, number[blocks[i] + 1]);
    if (blocks[i] + columns < grid.Size()) look(i, number[blocks[i] + columns]);
  }
}

ResultMeasures ResultCheck::Measure(const ZEP3_PARA& para, const double* matrix) const {
  ResultMeasures measures;
  if (IsEmpty()) return measures;
  const double chroma = GetZEP3Chroma(&para);
  ZEP3_PARA copy = para; // the table builder writes into it
  const auto lut = std::make_unique<CLUT>(&copy);
  lut->MakeLUT(&copy, matrix, true);

  const std::vector<size_t>& blocks = m_view.picture.blocks;
  std::vector<Colour> shown(blocks.size());
  LevelCounts grays;
  CastCounts cast;
  size_t clipped = 0;
  for (size_t i = 0; i < blocks.size(); i++) {
    double level[3];
    for (int c = 0; c < 3; c++) level[c] = Along(lut->m_dCurve[c], m_view.grid.level[c][blocks[i]]);
    const double gray = GrayOf(level);
    bool ended = false;
    for (int c = 0; c < 3; c++) {
      level[c] = Clamp(gray + chroma * (level[c] - gray), 0.0, 255.0);
      shown[i][static_cast<size_t>(c)] = level[c];
      const double before = m_view.grid.level[c][blocks[i]];
      ended =
          ended || ((level[c] <= kEnd || level[c] >= 255.0 - kEnd) && kScanEnd < before && before < 255.0 - kScanEnd);
    }
    clipped += ended;
    grays.Add(gray);
    cast.Add(level, gray);
  }
  size_t lost = 0;
  for (const Mark& mark : m_marks) {
    lost += Apart(shown[mark.first], shown[mark.second]) < kSeen;
  }
  measures.clipped = static_cast<double>(clipped) / static_cast<double>(blocks.size());
  measures.marksLost = m_marks.empty() ? 0.0 : static_cast<double>(lost) / static_cast<double>(m_marks.size());
  measures.lightest = grays.At(1.0 - kEndShare);
  measures.darkest = grays.At(kEndShare);
  measures.lightestBefore = m_before.lightest;
  measures.darkestBefore = m_before.darkest;
  measures.cast = cast.Cast();
  measures.castGrown = m_negative ? 0.0 : std::min(measures.cast - m_before.cast, SpreadOf(lut->m_dCurve));
  return measures;
}
