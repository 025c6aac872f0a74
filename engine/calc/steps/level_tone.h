// The level tone curve: the master curve that a calculator proposes when the correction level exceeds its reference. It
// adds contrast around the mean level and lifts dark pictures.
#pragma once

#include <array>
#include <cstdint>

#include "engine/common/power_curve.h"
#include "engine/zep3.h"

struct LevelTone {
  double levelRef; // correction level at which nothing is added
  double meanLow;  // lowest output level counted in the mean
  double meanHigh; // highest output level counted
  double mixMin;   // clamp of the mean of all channels
  double mixMax;
  double darkRef;      // mean below which the picture counts as dark
  double contrastStep; // contrast gain per level
  double toneHl;       // density of the dark inner point, as a factor of the mean's
  double toneSd;       // density of the light inner point, as a divisor of the mean's
  double brightMax;    // largest lift, in density
};

// The mean output of one channel: curve.At(input[i]) over the histogram's levels i, outputs outside of
// meanLow..meanHigh left out; 128 when none is left.
double MeanOutput(const LevelTone& tone, const PowerCurve& curve, const std::array<double, 256>& input,
                  const uint32_t (&histogram)[256]);

// Writes the five-point curve for the three channels' mean outputs into the record at pOutMasterTone.
void ProposeLevelTone(const LevelTone& tone, const double (&mean)[3], ZEP3_PARA& para);

// Both, for originals that are not negatives: through the final points and the given histograms.
void ProposeLevelTone(const LevelTone& tone, const uint32_t (&histogram)[3][256], ZEP3_PARA& para);
