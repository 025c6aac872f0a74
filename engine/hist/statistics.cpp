// Whether the levels are usable, mean levels, and the levels at fixed fractions of the samples.
#include <cmath>
#include <cstdint>

#include "engine/common/record.h"
#include "engine/common/scale.h"
#include "engine/hist/chist.h"
#include "engine/hist/level_bounds.h"

namespace {

// The three levels of an entry are kept this far apart, so that later divisions by their differences are safe.
constexpr double kSeparation = 0.1;

bool HasSumEntry(int16_t type) { return type != ZEP3_DOC_NEGATIVE && type != ZEP3_DOC_NEGATIVE_BW; }

} // namespace

LevelBounds BoundsOf(const CHIST& hist, int16_t docType) {
  switch (docType) {
    case ZEP3_DOC_NEGATIVE:
      return {true, {hist.m_nNegaLevelLow[0], hist.m_nNegaLevelLow[1], hist.m_nNegaLevelLow[2]}, hist.m_nNegaLevelHigh};
    case ZEP3_DOC_POSITIVE:
      return {true, {hist.m_nLevelLow, hist.m_nLevelLow, hist.m_nLevelLow}, hist.m_nPosiLevelHigh};
    case ZEP3_DOC_REFLECTIVE:
      return {true, {hist.m_nLevelLow, hist.m_nLevelLow, hist.m_nLevelLow}, hist.m_nFBLevelHigh};
    case ZEP3_DOC_NEGATIVE_BW:
      return {true, {hist.m_nNegaBWLevelLow, hist.m_nNegaBWLevelLow, hist.m_nNegaBWLevelLow}, hist.m_nNegaBWLevelHigh};
    default:
      return {};
  }
}

void SeparateUpwards(double* const values[3], int entry) {
  if (values[0][entry] + kSeparation > values[1][entry]) values[1][entry] = values[0][entry] + kSeparation;
  if (values[1][entry] + kSeparation > values[2][entry]) values[2][entry] = values[1][entry] + kSeparation;
}

bool CHIST::IsOutRange(ZEP3_PARA para) {
  const LevelBounds bounds = BoundsOf(*this, DocType(para));
  const double samples = m_nPixelCount;
  double outside = 3.0;
  for (int c = 0; c < 3; c++) {
    uint64_t inside = 0;
    if (bounds.known) {
      for (int v = bounds.low[c]; v <= bounds.high; v++) inside += m_nHist[c][v];
    }
    outside -= static_cast<double>(inside) / samples;
  }
  return outside <= m_dOutRangeLimit;
}

bool CHIST::CalcHistAverage(ZEP3_PARA para) {
  for (int k = 0; k < 4; k++) m_pdHistAve[k] = 0.0;
  if (m_nPixelCount == 0) return false;
  const LevelBounds bounds = BoundsOf(*this, DocType(para));
  if (!bounds.known || DocType(para) == ZEP3_DOC_NEGATIVE_BW) return true;
  double lightOf[256];
  for (int v = 0; v < 256; v++) lightOf[v] = 255.0 * Light(v);
  for (int c = 0; c < 3; c++) {
    double light = 0.0;
    for (int v = bounds.low[c]; v <= bounds.high; v++) light += lightOf[v] * m_nHist[c][v];
    // Over all samples, also those outside the bounds: they pull the mean toward 0 on purpose.
    light = light / m_nPixelCount;
    m_pdHistAve[c] = 255.0 * std::pow(light / 255.0, kInverseGamma);
    m_pdHistAve[3] += m_pdHistAve[c];
  }
  return true;
}

double CHIST::DetectMinValue(int channel, int from, int to, double ratio) {
  if (m_nPixelCount == 0 || channel < 0 || channel > 3 || from >= to) return 0.0;
  if (from < 0 || to > (channel == 3 ? 767 : 255)) return 0.0;
  const uint32_t* histogram = channel == 3 ? m_nHistSum : m_nHist[channel];
  const double samples = m_nPixelCount;
  uint64_t count = histogram[from];
  int i = from;
  while (static_cast<double>(count) / samples <= ratio) {
    i++;
    if (i == to) return 0.0;
    count += histogram[i];
  }
  const double before = static_cast<double>(count - histogram[i]) / samples;
  const double upTo = static_cast<double>(count) / samples;
  return AtLeast(from, (i - 1) + (ratio - before) / (upTo - before));
}

double CHIST::DetectMaxValue(int channel, int from, int to, double ratio) {
  if (m_nPixelCount == 0 || channel < 0 || channel > 3 || to < from) return 0.0;
  if (from < 0 || to > (channel == 3 ? 767 : 255)) return 0.0;
  const uint32_t* histogram = channel == 3 ? m_nHistSum : m_nHist[channel];
  const double samples = m_nPixelCount;
  uint64_t count = histogram[to];
  int i = to;
  while (static_cast<double>(count) / samples <= ratio) {
    i--;
    if (i < from) return 0.0;
    count += histogram[i];
  }
  const double before = static_cast<double>(count - histogram[i]) / samples;
  const double upTo = static_cast<double>(count) / samples;
  return AtMost(to, (i + 1) - (ratio - before) / (upTo - before));
}

bool CHIST::CalcHistMinValue(ZEP3_PARA para) {
  const int16_t type = DocType(para);
  const LevelBounds bounds = BoundsOf(*this, type);
  if (bounds.known) {
    for (int c = 0; c < 3; c++) {
      bool found = true;
      for (int k = 0; k < 3; k++) {
        m_pdHistMin[k][c] = DetectMinValue(c, bounds.low[c], bounds.high, m_dMinRatio[k]);
        found = found && m_pdHistMin[k][c] != 0.0;
      }
      // Only reflective originals give up; films go on with what they have.
      if (type == ZEP3_DOC_REFLECTIVE && !found) return false;
    }
    if (HasSumEntry(type)) {
      for (int k = 0; k < 3; k++) {
        m_pdHistMin[k][3] = DetectMinValue(3, 3 * bounds.low[0], 3 * bounds.high, m_dMinRatio[k]);
      }
    }
  }
  for (int entry = 0; entry < (HasSumEntry(type) ? 4 : 3); entry++) SeparateUpwards(m_pdHistMin, entry);
  return true;
}

int CHIST::CalcHistMaxValue(ZEP3_PARA para) {
  const int16_t type = DocType(para);
  const LevelBounds bounds = BoundsOf(*this, type);
  const int lastEntry = HasSumEntry(type) ? 3 : 2;
  if (bounds.known) {
    for (int k = 0; k < 3; k++) {
      for (int c = 0; c < 3; c++) m_pdHistMax[k][c] = DetectMaxValue(c, bounds.low[c], bounds.high, m_dMaxRatio[k]);
      if (lastEntry == 3) m_pdHistMax[k][3] = DetectMaxValue(3, 3 * bounds.low[0], 3 * bounds.high, m_dMaxRatio[k]);
    }
  }
  for (int entry = 0; entry <= lastEntry; entry++) {
    double* const* max = m_pdHistMax;
    if (max[1][entry] > max[0][entry] - kSeparation) max[1][entry] = max[0][entry] - kSeparation;
    if (max[2][entry] > max[1][entry] - kSeparation) max[2][entry] = max[1][entry] - kSeparation;
  }
  return lastEntry;
}
