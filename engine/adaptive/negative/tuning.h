// What the adaptive analysis knows of negatives: a sheet for each of four kinds of film, then what holds for all of
// them. Exposures and densities are log10 of light; shares and percentages are of the picture's blocks; levels are
// linear.
#pragma once

#include <cstddef>

#include "engine/film/film.h"

struct NegativeTuning {
  // ---- base ----
  double baseRange;  // density: blacks of a scene lie no farther above a clear border that is the film's base
  double baseExcess; // level of the base over the lightest blocks', where no border tells it

  // ---- film ----
  FilmTraits film;
  WhiteTrust trust; // colour alone

  // ---- votes of near-neutrals on the slopes, colour alone ----
  double voteReach; // largest change of a slope, natural logarithm
  double voteUsual; // standard deviation of a slope's change, natural logarithm

  // ---- print ----
  double whitePercent; // percentile of the picture that prints as ...
  double white;        // ... this exposure, relative to paper white
  double whiteUsual;   // exposure of the whites on a usual film ...
  double whitePull;    // ... and the share of the distance to it by which a print is darkened (thin film) or lightened
  double rangeUsual;   // exposure range of a usual picture ...
  double rangeShare;   // ... and how far an unusual one is put down to the film
  double contrastMax;
};

namespace negative {

// Unfaded film: means of published characteristic curves, which lie between 0.55 and 0.69 (toes 0.12 to 0.27). The
// balance is that of daylight film in daylight.
inline constexpr NegativeTuning kColour = {
    .baseRange = 1.3,
    .baseExcess = 1.01,
    .film = {.slope = {0.58, 0.59, 0.645}, .toe = 0.22},
    .trust = {.balance = {-0.03, 0.0, 0.03},
              .scatter = 0.35,
              .redFree = 0.25,
              .shade = 0.15,
              .lamp = 0.42,
              .slopeShare = 0.6,
              .slopeLimit = 0.15,
              .slopeSure = 0.0},
    .voteReach = 0.12,
    .voteUsual = 0.06,
    .whitePercent = 99.7,
    .white = -0.009, // light 0.98
    .whiteUsual = 0.0,
    .whitePull = 0.0,
    .rangeUsual = 1.85,
    .rangeShare = 0.45,
    .contrastMax = 1.4,
};

// An unequal density of the whites is lost dye rather than light, also where one colour dominates, and the less density
// is left, the less of the contrast comes back. Red goes first, blue last.
inline constexpr NegativeTuning kFadedColour = {
    .baseRange = 1.3,
    .baseExcess = 1.03,
    .film = {.slope = {0.50, 0.59, 0.72}, .toe = 0.21},
    .trust = {.balance = {-0.03, 0.0, 0.03},
              .scatter = 0.6,
              .redFree = 0.25,
              .shade = 0.15,
              .lamp = 0.2,
              .slopeShare = 1.1,
              .slopeLimit = 0.45,
              .slopeSure = 0.6},
    .voteReach = 0.18,
    .voteUsual = 0.1,
    .whitePercent = 99.7,
    .white = -0.02, // light 0.95
    .whiteUsual = 1.6,
    .whitePull = 0.1,
    .rangeUsual = 2.1,
    .rangeShare = 0.65,
    .contrastMax = 2.0,
};

// Without a border nobody knows whether the scene's black lies on the base: 0.04 density is the middle between thin
// film and dense.
inline constexpr NegativeTuning kMonochrome = {
    .baseRange = 0.45,
    .baseExcess = 1.05,
    .film = {.slope = {0.57, 0.57, 0.57}, .toe = 0.22},
    .trust = {},
    .voteReach = 0.0,
    .voteUsual = 0.0,
    .whitePercent = 99.9,
    .white = -0.041, // light 0.91
    .whiteUsual = 0.0,
    .whitePull = 0.0,
    .rangeUsual = 1.95,
    .rangeShare = 0.5,
    .contrastMax = 1.4,
};

inline constexpr NegativeTuning kFadedMonochrome = {
    .baseRange = 0.45,
    .baseExcess = 1.05,
    .film = {.slope = {0.46, 0.46, 0.46}, .toe = 0.18},
    .trust = {},
    .voteReach = 0.0,
    .voteUsual = 0.0,
    .whitePercent = 99.9,
    .white = -0.041,
    .whiteUsual = 0.0,
    .whitePull = 0.0,
    .rangeUsual = 1.95,
    .rangeShare = 0.8,
    .contrastMax = 2.0,
};

inline const NegativeTuning& TuningFor(bool colour, bool faded) {
  if (colour) return faded ? kFadedColour : kColour;
  return faded ? kFadedMonochrome : kMonochrome;
}

// What is too little to decide from.
inline constexpr size_t kLeastBlocks = 100;
inline constexpr double kLeastRange = 0.1;  // exposure
inline constexpr double kLeastLight = 24.0; // level of the lightest blocks

inline constexpr double kHolderLevel = 30.0; // a strip beside the picture that is as dark is a holder's
// Light, 1 at level 255, that the darkest parts of a picture on film let through at least; stray light counts. Below
// its level, 9, a step of 8 bits is more than 0.09 density.
inline constexpr double kLeastFilmLight = 0.0025;
inline constexpr double kDarkestPercent = 0.5;
// Levels of the base: a scene without a black may lie 10 % below it, and so beyond the scale.
inline constexpr double kBaseMin = 2.0;
inline constexpr double kBaseMax = 280.5;
// The lightest blocks, and what they may lie above a clear border.
inline constexpr double kTopPercent = 99.9;
inline constexpr double kTopAbove = 0.03; // density

inline constexpr double kWhiteShare = 0.02; // the densest blocks, of which the colour is most often neutral
inline constexpr double kWhiteDensityMin = 0.05;

// Votes.
inline constexpr size_t kVoters = 1000;
inline constexpr double kVoteExposure = 0.15; // density over slope; blocks on the film's toe do not vote
inline constexpr double kVoteWidth = 0.04;    // exposure from the gray axis at which a vote counts half
inline constexpr int kVoteSteps = 6;          // to either side
inline constexpr int kVoteRounds = 3;         // red and blue in turn

// Monochrome: how far a channel's contrast may lie from the common one, and the sum of squared densities of a picture
// that has none.
inline constexpr double kContrastRatioMax = 3.0;
inline constexpr double kLeastSquares = 1e-9;

// Print.
inline constexpr double kBlackPercent = 0.5;
inline constexpr double kContrastMin = 0.7;
// How far whites may lie from usual ones to count: about three stops.
inline constexpr double kWhiteReach = 1.0;
// Mean exposures, relative to the whites, between which pictures are left as they are; half of what lies outside is
// taken back, up to a stop.
inline constexpr double kMeanDark = -1.1;
inline constexpr double kMeanLight = -0.2;
inline constexpr double kMeanShare = 0.5;
inline constexpr double kLiftMax = 0.3;
// A camera's flare lifts the blacks: so much of the darkest parts' light, and of white at most.
inline constexpr double kFlareShare = 0.6;
inline constexpr double kFlareMax = 0.008;

// Share of the picture that a print between black and white counts for at least: a patch of white that is too small to
// weigh in the fit must still come out white.
inline constexpr double kEven = 0.003;

// Colour film, against the standard analysis, whose errors are partly independent: what that counts at most where no
// white is believed, and what this one does at most where clear film on all sides tells both of them the base.
inline constexpr double kStandardShare = 0.2;
inline constexpr double kOwnShare = 0.6;
inline constexpr double kTrimmedMost = 0.2; // share of the area that the clear film may take

// Reasons.
inline constexpr double kBelieved = 0.5;
inline constexpr double kIncandescent = 0.25;
inline constexpr double kFlatRange = 1.4;
inline constexpr double kLifted = 0.05;
inline constexpr double kUnevenSlope = 1.25;

} // namespace negative
