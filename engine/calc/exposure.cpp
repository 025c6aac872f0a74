// How strongly a colour negative looks over- or under-exposed, from log10 levels at its ends.
#include <algorithm>

#include "engine/calc/czep.h"
#include "engine/calc/steps/ramp.h"

double CZEP::ExposureOver(const double* ref, const double* val, double* weight, double* diff) {
  for (int k = 0; k < 3; k++) {
    const double dense = RampDown(ref[k], m_dExpOverRefLow, m_dExpOverRefHigh);
    diff[k] = val[k] - ref[k];
    weight[k] = RampDown(diff[k], m_dExpOverDiffLow, m_dExpOverDiffHigh) * dense;
  }
  return (weight[0] + weight[1] + weight[2]) / 3.0;
}

double CZEP::ExposureUnder(const double* a, const double* b, double* weight, const double* c, double* diff1,
                           double* diff2) {
  for (int k = 0; k < 3; k++) {
    const double clear = RampUp(a[k], m_dExpUnderLow, m_dExpUnderHigh);
    diff1[k] = a[k] - b[k];
    weight[k] = RampDown(diff1[k], m_dExpUnderDiffLow, m_dExpUnderDiffHigh) * clear;
  }
  // Moves nothing while m_dExpUnderCap is at least 1.
  const double cap = m_dExpUnderCap * std::max({weight[0], weight[1], weight[2]});
  for (int k = 0; k < 3; k++) {
    if (weight[k] > cap) weight[k] = cap;
    diff2[k] = a[k] - c[k];
  }

  // The narrowest channel leads; of equals the one with the largest weight.
  const double narrowest = std::min({diff2[0], diff2[1], diff2[2]});
  double leading = 0.0;
  for (int k = 0; k < 3; k++) {
    if (diff2[k] == narrowest) leading = std::max(leading, weight[k]);
  }
  for (int k = 0; k < 3; k++) {
    if (!(weight[k] > leading)) continue;
    if (m_dExpUnderShare * diff2[k] > narrowest) {
      weight[k] = leading;
    } else if (diff2[k] == 0.0) { // only for a share that is not finite: 0 lies above every narrower range
      weight[k] = (1.0 - m_dExpUnderShare) * leading;
    } else {
      weight[k] = (narrowest / diff2[k] + 1.0 - m_dExpUnderShare) * leading;
    }
  }
  return (weight[0] + weight[1] + weight[2]) / 3.0;
}
