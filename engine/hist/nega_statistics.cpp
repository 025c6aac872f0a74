// Colour negatives: histograms of a colour-corrected preview and their minimum levels. Range and slope for all types.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "engine/common/convert.h"
#include "engine/hist/chist.h"
#include "engine/hist/level_bounds.h"

bool CHIST::PreviewImageColorCorrection(ZEP3_BmpInfo* image) {
  // The cross-talk of the dyes scales with the channels' clear film, for which the dense end's 0.5 % level stands.
  const double* min = m_pdHistMin[1];
  const double s = m_dPreviewCorrection;
  double matrix[9];
  for (int row = 0; row < 3; row++) {
    for (int column = 0; column < 3; column++) {
      matrix[3 * row + column] = row == column ? 1.0 - 2.0 * s : s * min[row] / min[column];
    }
  }
  return MakeHistogramOfColorCorrectedImage(image, matrix);
}

bool CHIST::MakeHistogramOfColorCorrectedImage(ZEP3_BmpInfo* image, double* matrix) {
  // Fixed point with 8 fraction bits, in 16 bits.
  int32_t coefficient[9];
  for (int i = 0; i < 9; i++) coefficient[i] = static_cast<uint16_t>(ToInt32(256.0 * matrix[i]));
  if (image == nullptr || image->lBitCount != 24) return false;

  std::memset(m_nHist, 0, sizeof m_nHist);
  m_nPixelCount = 0;
  if (!KeepSamples(*image)) return false;
  for (size_t i = 0; i < m_samples.size(); i += 3) {
    const uint8_t* rgb = &m_samples[i];
    for (int c = 0; c < 3; c++) {
      const int32_t* row = &coefficient[3 * c];
      m_nHist[c][std::min(255, (row[0] * rgb[0] + row[1] * rgb[1] + row[2] * rgb[2] + 128) >> 8)]++;
    }
  }
  m_nPixelCount = static_cast<int32_t>(m_samples.size() / 3);
  return m_nPixelCount > 0;
}

void CHIST::CalcNegaMinValue() {
  const LevelBounds bounds = BoundsOf(*this, ZEP3_DOC_NEGATIVE);
  for (int c = 0; c < 3; c++) {
    for (int k = 0; k < 3; k++) {
      m_pdNegaMin[k][c] = DetectMinValue(c, bounds.low[c], bounds.high, m_dMinRatio[k]);
    }
    SeparateUpwards(m_pdNegaMin, c);
  }
}

void CHIST::CalcAnlRangeValue() {
  for (int k = 0; k < 4; k++) m_dAnlRange[k] = m_pdHistMax[1][k] - m_pdHistMin[1][k];
}

void CHIST::CalcAnlSlopeValue() {
  const double share = (1.0 - m_dMaxRatio[1]) - (1.0 - m_dMaxRatio[2]);
  for (int c = 0; c < 3; c++) {
    m_dAnlSlope[c] = std::fabs(share * m_nPixelCount / (m_pdHistMax[1][c] - m_pdHistMax[2][c]) / 100.0);
  }
}
