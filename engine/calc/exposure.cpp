// How strongly a colour negative looks over- or under-exposed, from log10 levels at its ends.
#include <algorithm>

#include "engine/calc/czep.h"
#include "engine/calc/steps/ramp.h"

double CZEP::ExposureOver(const double* densest, const double* dense, double* weight, double* pile) {
  for (int c = 0; c < 3; c++) {
    const double isDense = RampDown(densest[c], m_dExpOverRefLow, m_dExpOverRefHigh);
    pile[c] = dense[c] - densest[c];
    weight[c] = RampDown(pile[c], m_dExpOverDiffLow, m_dExpOverDiffHigh) * isDense;
  }
  return (weight[0] + weight[1] + weight[2]) / 3.0;
}

double CZEP::ExposureUnder(const double* clear, const double* clearer, double* weight, const double* dense,
                           double* pile, double* range) {
  for (int c = 0; c < 3; c++) {
    const double isClear = RampUp(clear[c], m_dExpUnderLow, m_dExpUnderHigh);
    pile[c] = clear[c] - clearer[c];
    weight[c] = RampDown(pile[c], m_dExpUnderDiffLow, m_dExpUnderDiffHigh) * isClear;
  }
  // Moves nothing while m_dExpUnderCap is at least 1.
  const double cap = m_dExpUnderCap * std::max({weight[0], weight[1], weight[2]});
  for (int c = 0; c < 3; c++) {
    if (weight[c] > cap) weight[c] = cap;
    range[c] = clear[c] - dense[c];
  }

  // The narrowest channel leads; of equals the one with the largest weight.
  const double narrowest = std::min({range[0], range[1], range[2]});
  double leading = 0.0;
  for (int c = 0; c < 3; c++) {
    if (range[c] == narrowest) leading = std::max(leading, weight[c]);
  }
  for (int c = 0; c < 3; c++) {
    if (!(weight[c] > leading)) continue;
    if (m_dExpUnderShare * range[c] > narrowest) {
      weight[c] = leading;
    } else if (range[c] == 0.0) { // only for a share that is not finite: 0 lies above every narrower range
      weight[c] = (1.0 - m_dExpUnderShare) * leading;
    } else {
      weight[c] = (narrowest / range[c] + 1.0 - m_dExpUnderShare) * leading;
    }
  }
  return (weight[0] + weight[1] + weight[2]) / 3.0;
}
