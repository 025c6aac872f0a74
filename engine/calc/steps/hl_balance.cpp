// Weights of own and common highlights, and the gains.
#include "engine/calc/steps/hl_balance.h"

#include <algorithm>

#include "engine/common/convert.h"
#include "engine/common/scale.h"

int32_t HlBalance::Highlight16(double highlight) const { return ToLevel16(own * highlight + common * largest); }

HlBalance BalanceHighlights(const CHIST& hist, const HlBalanceLimits& limits) {
  const double* hl = hist.m_pdHistMax[1];
  HlBalance balance{};
  balance.largest = std::max({hl[0], hl[1], hl[2]});
  balance.ratio = balance.largest / std::min({hl[0], hl[1], hl[2]});
  balance.spread = hl[0] + hl[1] + hl[2] - hl[3];

  double percent = 100.0;
  if (!(limits.colorRatio > balance.ratio)) percent = (limits.colorRatio - 1.0) / (balance.ratio - 1.0) * 100.0;
  if (hl[3] <= limits.hlLow) {
    percent = 0.0;
  } else if (hl[3] < limits.hlHigh) {
    percent *= (hl[3] - limits.hlLow) / (limits.hlHigh - limits.hlLow);
  }
  if (balance.spread >= limits.spreadHigh) {
    percent = 0.0;
  } else if (balance.spread > limits.spreadLow) {
    percent *= (limits.spreadHigh - balance.spread) / (limits.spreadHigh - limits.spreadLow);
  }
  balance.own = percent / 100.0;
  balance.common = (100.0 - percent) / 100.0;
  return balance;
}

HlBalance BalancePhotoHighlights(const CHIST& hist, const HlBalanceLimits& limits, double level) {
  HlBalance balance = BalanceHighlights(hist, limits);
  if (level == 1.0) {
    balance.own = 0.0;
    balance.common = 1.0;
  }
  return balance;
}

double PhotoHighlightGain(const CHIST& hist, double gainMax, double stretch) {
  const double top = hist.m_pdHistMax[0][3];
  const double hl = hist.m_pdHistMax[1][3];
  const double shoulder = hist.m_pdHistMax[2][3];
  // 245 of 255: the output highlight of both.
  const double stretched = ((hl - shoulder) * stretch + hl) * 245.0 / 255.0 / hl;
  return AtMost(gainMax, AtMost(top / hl, AtLeast(shoulder / hl, stretched)));
}

double DocumentHighlightGain(const HlBalance& balance, const CastGain& gain) {
  // Only the spread's part is floored at 0, so that a negative factor counts in full.
  const double cast = AtLeast(0.0, (balance.spread - gain.spreadLow) / (gain.spreadHigh - gain.spreadLow)) +
                      (balance.ratio - 1.0) * gain.castFactor;
  return gain.neutral + AtMost(1.0, cast) * (gain.coloured - gain.neutral);
}

double LargestRatio(const CHIST& hist, const int64_t (&hl16)[3]) {
  double largest = 0.0;
  for (int c = 0; c < 3; c++) {
    largest = std::max(largest, Level8(hl16[c]) / hist.m_pdHistMin[1][c]);
  }
  return largest;
}

double HighlightStepFactor(const CHIST& hist, int rangeLow, int rangeHigh) {
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
