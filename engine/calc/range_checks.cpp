// Four checks on the ranges (upper minus lower point) of the three channels. Pure arithmetic on the caller's scale; the
// callers keep ranges and lower points above 0.
#include <algorithm>

#include "engine/calc/czep.h"
#include "engine/common/scale.h"

void CZEP::RangeBalanceIntensity(double* lower, const double* upper, const double* over, const double* under) {
  double range[3];
  double penalty[3];
  for (int i = 0; i < 3; i++) {
    range[i] = upper[i] - lower[i];
    penalty[i] = m_dBalanceWeightB * under[i] + m_dBalanceWeightA * over[i];
  }
  // The order is part of the rule: each step sees the ranges that the steps before it left.
  const auto raise = [&](int i, double base, int from) {
    range[i] = std::max(range[i], (base - penalty[i]) * range[from]);
  };
  raise(1, m_dBalanceGFromR, 0);
  raise(2, m_dBalanceBFromG, 1);
  raise(2, m_dBalanceBFromR, 0);
  raise(1, m_dBalanceGFromB, 2);
  raise(0, m_dBalanceRFromG, 1);
  raise(0, m_dBalanceRFromB, 2);
  for (int i = 0; i < 3; i++) lower[i] = upper[i] - range[i];
}

void CZEP::CheckRangeNarrow(double* lower, double* upper, const double* mid, const double* belowShare, double over,
                            double under, double upperShare) {
  double range[3];
  for (int i = 0; i < 3; i++) range[i] = upper[i] - lower[i];
  const double average = Mean(range);

  const double full = m_dNarrowTarget - m_dNarrowTargetA * over - m_dNarrowTargetB * under;
  const double knee = full - m_dNarrowKnee;
  double target = average;
  if (knee > average) {
    target = full - m_dNarrowOffset;
  } else if (full >= average) {
    target = full - m_dNarrowOffset + (average - knee) * (average - knee) * m_dNarrowCurve;
  }

  // The more there is to widen, the more equal the ranges become.
  const double excess = target - average;
  double equal = 1.0;
  if (excess < m_dNarrowBlendLow) {
    equal = 0.0;
  } else if (excess <= m_dNarrowBlendHigh) {
    equal = (excess - m_dNarrowBlendLow) / (m_dNarrowBlendHigh - m_dNarrowBlendLow);
  }
  double increase[3];
  for (int i = 0; i < 3; i++) {
    const double scaled = target * range[i] / average;
    const double widened = scaled * (1.0 - equal) + target * equal;
    increase[i] = std::max(range[i], widened) - range[i];
  }

  // What a channel gains beyond the common part goes to its ends by upperShare, the common part by the position of the
  // reference point.
  const double common = Smallest(increase);
  const double leastBelow = (belowShare[0] + belowShare[1] + belowShare[2]) / 3.0;
  for (int i = 0; i < 3; i++) {
    const double own = increase[i] - common;
    lower[i] -= own * (1.0 - upperShare);
    upper[i] += own * upperShare;
    const double below = std::max((mid[i] - lower[i]) / (upper[i] - lower[i]), leastBelow);
    upper[i] += (1.0 - below) * common;
    lower[i] -= below * common;
  }
}

bool CZEP::CheckRangeWide(double* lower, const double* upper, double least, double neutral, double even,
                          const double* own, double over, double under, double dark, const double* reference) {
  double range[3];
  for (int i = 0; i < 3; i++) range[i] = upper[i] - lower[i];
  const double average = Mean(range);

  double target = m_dWideTarget;
  if (m_dWideKneeLow > average) {
    target = average;
  } else if (m_dWideKneeHigh >= average) {
    target = m_dWideTarget - (m_dWideKneeHigh - average) * (m_dWideKneeHigh - average) * m_dWideCurve;
  }
  double scaled[3];
  for (int i = 0; i < 3; i++) scaled[i] = target * range[i] / average;
  const double spread = Largest(scaled) - Smallest(scaled);

  // Neither factor is capped; the strength is.
  double spreadFactor = 0.0;
  if (!(m_dWideSpreadLow > spread)) {
    spreadFactor = (spread - m_dWideSpreadLow) / (m_dWideSpreadHigh - m_dWideSpreadLow);
  }
  double rangeFactor = 0.0;
  if (!(m_dWideRangeLow > average)) {
    rangeFactor = (average - m_dWideRangeLow) / (m_dWideRangeHigh - m_dWideRangeLow);
  }
  const double raw = std::max(least, spreadFactor * rangeFactor) * (1.0 - over) * (1.0 - under) *
                     (1.0 - m_dWideFactorF * dark) * (1.0 - neutral) * (1.0 - even * m_dWideFactorC);
  const double strength = std::min(m_dWideStrengthMax, m_dWideStrengthOffset > raw ? 0.0 : raw - m_dWideStrengthOffset);

  double width[3];
  double above[3]; // lower points above the reference
  for (int i = 0; i < 3; i++) {
    width[i] = scaled[i] * (1.0 - strength) + target * strength;
    if (!(range[i] > width[i])) width[i] = width[i] * (1.0 - own[i]) + own[i] * scaled[i];
    lower[i] = upper[i] - width[i];
    above[i] = lower[i] - reference[i];
  }

  // Lift of the lower points: only while they stand alike above the reference, and no higher than the allowance.
  const double highest = Largest(above);
  const double aboveSpread = highest - Smallest(above);
  const double meanWidth = Mean(width);
  const double allowance = dark * m_dWideLiftFactor * meanWidth;
  double amount = 0.0;
  if (highest < 0.0) {
    amount = allowance;
  } else if (allowance >= highest) {
    amount = allowance - highest;
  }
  const double alike = aboveSpread <= m_dWideLiftSpread ? 1.0 - aboveSpread / m_dWideLiftSpread : 0.0;
  const double lift = alike * amount;
  for (int i = 0; i < 3; i++) lower[i] += lift * width[i] / meanWidth;
  return true;
}

void CZEP::CheckRangeNarrowForBW(double* lower, double* upper, double minRatio) {
  // Green upper points (levels) at which only the upper, or only the lower points move; in between both do.
  constexpr double kUpperOnly = 60.0;
  constexpr double kLowerOnly = 100.0;
  constexpr double kBlend = 40.0;

  const double ratio = (upper[0] / lower[0] + upper[1] / lower[1] + upper[2] / lower[2]) / 3.0;
  if (minRatio <= ratio) return;
  const double green = upper[1];
  for (int i = 0; i < 3; i++) {
    const double lo = lower[i];
    const double hi = upper[i];
    if (green >= kLowerOnly) {
      lower[i] = lo * ratio / minRatio;
    } else if (green <= kUpperOnly) {
      upper[i] = hi / ratio * minRatio;
    } else {
      lower[i] = lo * (kLowerOnly - green) / kBlend + (ratio * lo / minRatio) * (green - kUpperOnly) / kBlend;
      upper[i] = hi * (green - kUpperOnly) / kBlend + (minRatio * hi / ratio) * (kLowerOnly - green) / kBlend;
    }
  }
}
