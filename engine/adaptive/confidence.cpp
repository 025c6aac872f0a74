#include "engine/adaptive/confidence.h"

#include <cmath>

#include "engine/common/scale.h"

namespace {

// A weight for each unit of a measurement, which counts within what 94 of 100 simulated scans had: beyond it nothing
// is known.
struct Weight {
  double perUnit;
  double least;
  double most;

  double Of(double measured) const { return perUnit * Clamp(measured, least, most); }
};

// Unfaded prints and slides: an exposure made up for is usually right, one that hides in blacks that are none is not.
constexpr double kUnfaded = -1.26;
constexpr Weight kUnfadedTrust = {1.9, 0.0, 1.0};
constexpr Weight kUnfadedBlack = {1.21, 0.7, 3.06};
constexpr Weight kUnfadedOffset = {-8.32, 0.0, 0.375};

constexpr double kFaded = 0.03;
constexpr Weight kFadedTrust = {1.63, 0.19, 1.0};
constexpr Weight kFadedBlackCost = {-0.84, 0.0, 4.5};
constexpr Weight kFadedHistoryCost = {-0.47, 0.64, 5.8};
constexpr Weight kFadedDye = {2.85, 0.385, 0.945};

constexpr double kColour = -1.4;
constexpr double kColourFaded = 1.05;
constexpr Weight kColourNeutral = {1.4, 0.05, 1.0};
constexpr Weight kColourRange = {2.04, 0.56, 2.55};
constexpr Weight kColourPower = {-4.12, 0.0, 0.68};

constexpr double kMonochrome = -2.33;
constexpr Weight kMonochromeRange = {2.36, 0.63, 2.47};

// Nats. A failed check is met in few simulated scans; one in four of them is as good as others.
constexpr double kFailedCheck = -2.0;

double Chance(double logOdds) { return 1.0 / (1.0 + std::exp(-logOdds)); }

} // namespace

double PositiveConfidence(const PositiveEvidence& evidence, bool faded) {
  if (faded) {
    return Chance(kFaded + kFadedTrust.Of(evidence.trust) + kFadedBlackCost.Of(evidence.blackCost) +
                  kFadedHistoryCost.Of(evidence.historyCost) + kFadedDye.Of(Smallest(evidence.dyeLeft)));
  }
  return Chance(kUnfaded + kUnfadedTrust.Of(evidence.trust) + kUnfadedBlack.Of(Mean(evidence.jointBlack)) +
                kUnfadedOffset.Of(Smallest(evidence.offset)));
}

double NegativeConfidence(const NegativeEvidence& evidence, bool colour, bool faded) {
  if (!colour) return Chance(kMonochrome + kMonochromeRange.Of(evidence.range));
  return Chance(kColour + (faded ? kColourFaded : 0.0) + kColourNeutral.Of(evidence.neutral) +
                kColourRange.Of(evidence.range) + kColourPower.Of(std::fabs(std::log(evidence.power))));
}

double AfterFailedCheck(double confidence) { return Chance(std::log(confidence / (1.0 - confidence)) + kFailedCheck); }
