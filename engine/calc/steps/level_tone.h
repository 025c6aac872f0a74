// The level tone curve: the master curve that a calculator proposes when the correction level exceeds its reference. It
// adds contrast around the mean level and lifts dark pictures.
#pragma once

#include <cstdint>

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

// The mean output of a channel without samples.
inline constexpr double kEmptyMean = 128.0;

// Runs the channels' curves through their final points over the histograms, and writes the five-point curve for the
// mean outputs into the record at pOutMasterTone. mirrored: the points are film levels of a negative, and a level i
// enters the curve as highlight * shadow / i (0 for level 0).
void ProposeLevelTone(const LevelTone& tone, const uint32_t (&histogram)[3][256], bool mirrored, ZEP3_PARA& para);
