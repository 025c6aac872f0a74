// What is known of rolls of film before their frames are seen: a sheet for each of four kinds, then what holds for all.
// Exposures and densities are log10 of light. Measured on simulated rolls; docs/rolls.md says how.
#pragma once

#include <cstdint>

#include "engine/zep3.h"

struct RollTuning {
  // ---- film, colour alone: standard deviations of what a roll's film may differ in ----
  double slopeSd[2];   // natural logarithm of the slopes of red and blue against green
  double balanceSd[2]; // balance of a neutral by daylight, red and blue

  double costUsual; // misfit of the middle frame, nats, beyond which a roll is doubted

  // ---- contrast ----
  double rangeUsual;    // natural logarithm of a full scene's exposure range on a usual film
  double contrastSd;    // natural logarithm by which films differ
  double contrastPrior; // natural logarithm of the contrast by which a kind lies above the usual
  double ownShare;      // of a frame's own lack of range that is made up for

  // ---- print ----
  double whitePercent; // percentile of the picture that prints as ...
  double white;        // ... this exposure, relative to paper white
  double toe[3];       // of the film's curve

  // What is found of a frame by itself errs partly otherwise than the roll: the share that it has in the print.
  double aloneShare;
};

namespace roll {

// Toes are means of published curves by channel. The common one of a single frame's analysis bends the neutral axis.
inline constexpr RollTuning kColour = {
    .slopeSd = {0.03, 0.042},
    .balanceSd = {0.05, 0.09},
    .costUsual = 5.0,
    .rangeUsual = 0.69,
    .contrastSd = 0.14,
    .contrastPrior = 0.0,
    .ownShare = 0.1,
    .whitePercent = 99.9,
    .white = -0.03,
    .toe = {0.205, 0.185, 0.165},
    .aloneShare = 0.4,
};

inline constexpr RollTuning kFadedColour = {
    .slopeSd = {0.25, 0.25},
    .balanceSd = {0.06, 0.10},
    .costUsual = 2.4,
    .rangeUsual = 0.72,
    .contrastSd = 0.25,
    .contrastPrior = 0.2,
    .ownShare = 0.1,
    .whitePercent = 99.9,
    .white = -0.03,
    .toe = {0.205, 0.185, 0.165},
    .aloneShare = 0.4,
};

inline constexpr RollTuning kMonochrome = {
    .slopeSd = {},
    .balanceSd = {},
    .costUsual = 0.0,
    .rangeUsual = 0.72,
    .contrastSd = 0.14,
    .contrastPrior = 0.03,
    .ownShare = 0.3,
    .whitePercent = 99.9,
    .white = -0.035,
    .toe = {0.22, 0.22, 0.22},
    .aloneShare = 0.0,
};

inline constexpr RollTuning kFadedMonochrome = {
    .slopeSd = {},
    .balanceSd = {},
    .costUsual = 0.0,
    .rangeUsual = 0.68,
    .contrastSd = 0.25,
    .contrastPrior = 0.22,
    .ownShare = 0.3,
    .whitePercent = 99.9,
    .white = -0.03,
    .toe = {0.18, 0.18, 0.18},
    .aloneShare = 0.3,
};

inline const RollTuning& TuningFor(bool colour, bool faded) {
  if (colour) return faded ? kFadedColour : kColour;
  return faded ? kFadedMonochrome : kMonochrome;
}

// ---- bands: blocks by joint density ----

inline constexpr int kBands = ZEP3_BANDS;
inline constexpr double kBandEnd[kBands] = {0.02, 0.05, 0.10, 0.20, 0.35, 0.50, 0.65, 0.80, 0.90, 0.95, 0.98, 1.0};
// How far a band's median lies from gray: half width of a Cauchy, and what it usually is off by, in red and blue.
inline constexpr double kBandSigma[kBands] = {0.15, 0.18, 0.19, 0.19, 0.18, 0.16, 0.10, 0.07, 0.055, 0.05, 0.045, 0.04};
inline constexpr double kBandBias[kBands][2] = {{0.0, -0.03},   {0.0, -0.03},   {0.02, -0.045}, {0.03, -0.06},
                                                {0.045, -0.07}, {0.045, -0.07}, {0.03, -0.04},  {0.025, -0.025},
                                                {0.025, 0.018}, {0.024, 0.02},  {0.024, 0.02},  {0.023, 0.021}};
// Bands of one picture are not independent: what each counts for the film, and by band for the frame's light.
inline constexpr double kBandWeight = 0.25;
// Nor are the frames of one photographer: however many there are, they count as so many.
inline constexpr double kMostFrames = 3.0;
inline constexpr double kLightWeight[kBands] = {0, 0, 0, 0, 0, 0.07, 0.1, 0.14, 0.17, 0.2, 0.24, 0.34};
// Density over slope from which, and over which, a band comes to count: the film's toe does not vote.
inline constexpr double kStraightFrom = 0.15;
inline constexpr double kStraightOver = 0.3;

// ---- light of a frame, along the line of incandescent light ----

inline constexpr double kLightStep = 0.03;
inline constexpr int kFilmLightFrom = -7, kFilmLightTo = 16; // steps: shade to lamps
inline constexpr int kOwnLightFrom = -8, kOwnLightTo = 20;
inline constexpr int kGreenSteps = 3; // across the line, to either side
inline constexpr double kGreenSd = 0.03;
inline constexpr double kDaylightShare = 0.8; // of frames
inline constexpr double kDaylightSd = 0.05;
inline constexpr double kOtherLight = 0.25; // density of all other light, relative to the daylight's peak
// Whites are believed half that lie so far from what the bands say, beyond a piece of the line.
inline constexpr double kWhiteScatter = 0.12;
inline constexpr double kWhiteAlong = 0.12;

// ---- doubt about a roll of colour film: several films in one, or hardly a neutral in its frames ----

// Both take a frame's own share to all of it: misfit beyond the usual, nats, and the frames' scatter across the line of
// incandescent light, log exposure.
inline constexpr double kDoubtCost = 3.2;
inline constexpr double kScatterUsual = 0.05;
inline constexpr double kDoubtScatter = 0.12;

// ---- search of the film ----

inline constexpr double kFirstStep = 0.08;
inline constexpr double kLastStep = 0.004;

// ---- base ----

inline constexpr double kClearAgree = 0.04;  // density within which measured bases are one
inline constexpr double kBaseSupport = 0.04; // density within which another frame's lightest supports one's
inline constexpr double kBaseShare = 0.12;   // of the frames that must

// ---- contrast ----

inline constexpr double kUpperShare = 0.8; // of the frames have a smaller range than a full scene
inline constexpr double kRangeSd = 0.2;    // of a frame's, natural logarithm
inline constexpr double kContrastMin = 0.6;
inline constexpr double kContrastMax = 2.2;
inline constexpr double kOwnMost = 1.5;    // contrast that a frame's own lack of range leads to at most
inline constexpr double kRangeLeast = 0.1; // exposure

// ---- members ----

inline constexpr double kDenseLeast = 0.12; // density of the densest 2 % below which a frame is blank
inline constexpr double kLighter = 0.05;    // density by which a frame may be lighter than the base
inline constexpr double kDearer = 6.0;      // nats above the usual frame's from which one is looked at ...
inline constexpr double kOddGain = 12.0;    // ... and by which a film of its own must explain it better
inline constexpr int kRounds = 3;
inline constexpr int kFewestJudged = 3; // frames from which on one can be odd
inline constexpr int kFewestColour = 2; // members that make a roll
inline constexpr int kFewestOthers = 4; // likewise monochrome, and of a box

// Log exposure by which an axis is unsure that is not believed at all.
inline constexpr double kUnsure = 0.1;

} // namespace roll
