#include "engine/roll/film_fit.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "engine/adaptive/negative/tuning.h"
#include "engine/common/pattern_search.h"
#include "engine/common/scale.h"

using namespace roll;

namespace {

// Minus the logarithm of a light's probability, up to a constant.
double LightCost(double along) {
  return -std::log(kDaylightShare * std::exp(-0.5 * Square(along / kDaylightSd)) +
                   (1.0 - kDaylightShare) * kOtherLight);
}

// Natural logarithms of red's and blue's slope against the usual, and their balance.
using Change = std::array<double, 4>;

constexpr Change kDirections[] = {
    {1, 0, 0, 0}, {0, 1, 0, 0},  {0, 0, 1, 0},
    {0, 0, 0, 1}, {1, 0, 1, 0},  {1, 0, -1, 0},
    {0, 1, 0, 1}, {0, 1, 0, -1}, {0, 0, kLampLine[0], kLampLine[1]},
};

// Across the line of incandescent light, toward green.
constexpr double kAcross[2] = {kLampLine[1], -kLampLine[0]};

constexpr WhiteTrust kNearLight = {.balance = {},
                                   .scatter = kWhiteScatter,
                                   .redFree = 0.0,
                                   .shade = kWhiteAlong,
                                   .lamp = kWhiteAlong,
                                   .slopeShare = 0.0,
                                   .slopeLimit = 0.0,
                                   .slopeSure = 0.0};

} // namespace

FrameLevels::FrameLevels(const ZEP3_OBSERVATION& seen) : lost(seen.dLost), measured(seen.dClear[0] > 0.0), blank(true) {
  for (int c = 0; c < 3; c++) {
    lightest[c] = seen.dTop[c];
    clear[c] = seen.dClear[c];
    top[c] = LogLevelWith(lost, lightest[c]);
    for (int i = 0; i < kBands; i++) band[i][c] = LogLevelWith(lost, seen.dBand[i][c]);
    for (int i = 0; i < 2; i++) end[i][c] = LogLevelWith(lost, seen.dEnd[i][c]);
    blank = blank && 1.8 * (top[c] - band[kBands - 1][c]) < kDenseLeast;
  }
}

FrameDensities::FrameDensities(const FrameLevels& frame, const double (&base)[3]) {
  for (int c = 0; c < 3; c++) {
    const double clear = LogLevelWith(frame.lost, base[c]);
    for (int i = 0; i < kBands; i++) at[i][c] = 1.8 * (clear - frame.band[i][c]);
  }
}

ColourFit::ColourFit(bool faded, const double (&contrast)[3])
    : m_tuning(TuningFor(true, faded)),
      m_curve{ExposureCurve(m_tuning.toe[0]), ExposureCurve(m_tuning.toe[1]), ExposureCurve(m_tuning.toe[2])} {
  const NegativeTuning& single = negative::TuningFor(true, faded);
  for (int c = 0; c < 3; c++) {
    m_slope[c] = single.film.slope[c] * contrast[c];
    m_balance[c] = single.trust.balance[c];
  }
  for (int step = kFilmLightFrom; step <= kFilmLightTo; step++) {
    m_lightCost[step - kFilmLightFrom] = LightCost(step * kLightStep);
  }
}

ColourFit::Deviation ColourFit::DeviationOf(const FrameDensities& frame, const ColourAxis& axis) const {
  Deviation deviation;
  double perSlope[3];
  for (int c = 0; c < 3; c++) perSlope[c] = 1.0 / axis.slope[c];
  for (int i = 0; i < kBands; i++) {
    double x[3];
    double straight = 0.0;
    for (int c = 0; c < 3; c++) {
      x[c] = m_curve[c](frame.at[i][c], perSlope[c]);
      straight += frame.at[i][c] * perSlope[c] / 3.0;
    }
    deviation.at[i][0] = x[0] - x[1] - axis.balance[0] - kBandBias[i][0];
    deviation.at[i][1] = x[2] - x[1] - axis.balance[2] - kBandBias[i][1];
    deviation.weight[i] = Clamp((straight - kStraightFrom) / kStraightOver, 0.0, 1.0);
  }
  return deviation;
}

double ColourFit::Cost(const FrameDensities& frame, const ColourAxis& axis) const {
  const Deviation deviation = DeviationOf(frame, axis);
  double least = HUGE_VAL;
  for (int step = kFilmLightFrom; step <= kFilmLightTo; step++) {
    const double t = step * kLightStep;
    // Bands that count in full have one logarithm together, of a product that stays within what a double holds.
    double product = 1.0;
    double cost = 0.0;
    for (int i = 0; i < kBands; i++) {
      if (deviation.weight[i] <= 0.0) continue;
      const double off = Square(deviation.at[i][0] - t * kLampLine[0]) + Square(deviation.at[i][1] - t * kLampLine[1]);
      const double odds = 1.0 + off / Square(kBandSigma[i]);
      if (deviation.weight[i] < 1.0) {
        cost += deviation.weight[i] * std::log(odds);
      } else {
        product *= odds;
      }
    }
    least = std::min(least, kBandWeight * (cost + std::log(product)) + m_lightCost[step - kFilmLightFrom]);
  }
  return least;
}

double ColourFit::Unusual(const ColourAxis& axis) const {
  double squares = 0.0;
  for (int i = 0; i < 2; i++) {
    const int c = 2 * i;
    squares += Square(std::log(axis.slope[c] / m_slope[c]) / m_tuning.slopeSd[i]);
    squares += Square((axis.balance[c] - m_balance[c]) / m_tuning.balanceSd[i]);
  }
  return 0.5 * squares;
}

ColourAxis ColourFit::Fit(const std::vector<FrameDensities>& frames) const {
  const auto axisOf = [&](const Change& change) {
    return ColourAxis{{m_slope[0] * std::exp(change[0]), m_slope[1], m_slope[2] * std::exp(change[1])},
                      {m_balance[0] + change[2], m_balance[1], m_balance[2] + change[3]}};
  };
  const Change start = {0.0, 0.0, -0.03, 0.03};
  const double counts = kMostFrames / (kMostFrames + static_cast<double>(frames.size()));
  return axisOf(PatternSearch<4>(start, kDirections, kFirstStep, kLastStep, [&](const Change& change) {
    const ColourAxis axis = axisOf(change);
    double cost = 0.0;
    for (const FrameDensities& frame : frames) cost += Cost(frame, axis);
    return Unusual(axis) + counts * cost;
  }));
}

void ColourFit::Light(const FrameDensities& frame, const ColourAxis& axis, double (&light)[2], double& belief) const {
  const Deviation deviation = DeviationOf(frame, axis);
  // Mean over the lights, each by its probability, over that of the first.
  double first = 0.0;
  double sum = 0.0;
  double mean[2] = {};
  for (int step = kOwnLightFrom; step <= kOwnLightTo; step++) {
    for (int green = -kGreenSteps; green <= kGreenSteps; green++) {
      const double t = step * kLightStep;
      const double g = green * kLightStep;
      const double tried[2] = {t * kLampLine[0] + g * kAcross[0], t * kLampLine[1] + g * kAcross[1]};
      double cost = LightCost(t) + 0.5 * Square(g / kGreenSd);
      for (int i = 0; i < kBands; i++) {
        const double weight = deviation.weight[i] * kLightWeight[i];
        if (weight <= 0.0) continue;
        const double off = Square(deviation.at[i][0] - tried[0]) + Square(deviation.at[i][1] - tried[1]);
        cost += weight * std::log1p(off / Square(kBandSigma[i]));
      }
      if (sum == 0.0) first = cost;
      const double chance = std::exp(first - cost);
      sum += chance;
      for (int i = 0; i < 2; i++) mean[i] += chance * tried[i];
    }
  }
  for (double& m : mean) m /= sum;

  double white[3];
  for (int c = 0; c < 3; c++) white[c] = Exposure(c, frame.at[kBands - 1][c], axis.slope[c]);
  const double apart[2] = {white[0] - white[1] - axis.balance[0] - mean[0],
                           white[2] - white[1] - axis.balance[2] - mean[1]};
  belief = WhiteBelief(apart[0], apart[1], kNearLight);
  for (int i = 0; i < 2; i++) light[i] = mean[i] + belief * apart[i];
}

double ColourFit::Across(const FrameDensities& frame, const ColourAxis& axis) const {
  const Deviation deviation = DeviationOf(frame, axis);
  double sum = 0.0;
  double weights = 0.0;
  for (int i = 0; i < kBands; i++) {
    const double weight = deviation.weight[i] * kLightWeight[i];
    sum += weight * (deviation.at[i][0] * kAcross[0] + deviation.at[i][1] * kAcross[1]);
    weights += weight;
  }
  return weights > 0.0 ? sum / weights : 0.0;
}
