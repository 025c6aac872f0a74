#include "engine/adaptive/confidence.h"

#include <cmath>

#include "engine/common/scale.h"
#include "engine/common/weight.h"

namespace {

// Unfaded prints and slides: an exposure made up for is usually right, one that hides in blacks that are none is not.
constexpr double kUnfaded = -0.86;
constexpr Weight kUnfadedTrust = {2.38, 0.0, 1.0};
constexpr Weight kUnfadedBlack = {1.10, 0.72, 3.09};
constexpr Weight kUnfadedOffset = {-9.71, 0.0, 0.338};

constexpr double kFaded = 0.02;
constexpr Weight kFadedTrust = {1.69, 0.19, 1.0};
constexpr Weight kFadedBlackCost = {-0.85, 0.0, 4.5};
constexpr Weight kFadedHistoryCost = {-0.49, 0.56, 5.8};
constexpr Weight kFadedDye = {2.92, 0.385, 0.94};

constexpr double kColour = -0.07;
constexpr double kColourFaded = 2.0;
constexpr Weight kColourRange = {2.27, 0.56, 2.56};
constexpr Weight kColourPower = {-6.05, 0.0, 0.68};

constexpr double kMonochrome = -2.04;
constexpr Weight kMonochromeRange = {2.17, 0.635, 2.47};

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
  return Chance(kColour + (faded ? kColourFaded : 0.0) + kColourRange.Of(evidence.range) +
                kColourPower.Of(std::fabs(std::log(evidence.power))));
}

double AfterFailedCheck(double confidence) { return Chance(std::log(confidence / (1.0 - confidence)) + kFailedCheck); }
