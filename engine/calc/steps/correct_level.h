// How the limits of a calculator follow the correction level.
#pragma once

#include "engine/common/scale.h"
#include "engine/hist/chist.h"
#include "engine/zep3.h"

inline double CorrectLevel(const ZEP3_PARA& para) { return static_cast<double>(para.lCorrectLevel); }

// The highlight step of photos and slides: stretched while a mid-range picture has a soft highlight shoulder.
// [rangeLow, rangeHigh) is the mid range of the all-channel spread (sum scale).
inline double HighlightStepFactor(const CHIST& hist, int rangeLow, int rangeHigh) {
  const bool midRange = rangeLow <= hist.m_dAnlRange[3] && hist.m_dAnlRange[3] < rangeHigh;
  // The slope of the channel with the highest 0.5 % highlight; the first of equals.
  double slope = 0.0;
  double highest = 0.0;
  for (int c = 0; c < 3; c++) {
    if (hist.m_pdHistMax[1][c] > highest) {
      highest = hist.m_pdHistMax[1][c];
      slope = hist.m_dAnlSlope[c];
    }
  }
  if (!midRange || !(slope < 1.0)) return 1.0;
  return slope <= 0.5 ? 2.0 : 1.0 / slope;
}
