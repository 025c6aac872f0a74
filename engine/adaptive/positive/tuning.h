// What the adaptive analysis knows of prints and slides: a sheet for each material, a sheet for each history, then what
// holds for all of them. Densities are -log10 of the light of a linear level.
#pragma once

#include <cstddef>

// What is known of the material.
struct PositiveMaterial {
  double flare;     // light that the surface or the lens adds, as a share of white; the curve takes it off
  double base;      // density of what nothing is printed on
  double black;     // density of the joint black of unfaded pictures ...
  double blackSd;   // ... and how far it scatters
  double pileBlack; // the same where blacks pile up: the material's darkest
  double pileSd;    // likewise
  double blackTint; // tint of a joint black, density, at which its cost begins to flatten
  double densest;   // density that no channel of an unfaded original exceeds
  double stain;     // mean blue density of stain, faded originals
  // Of many pictures: joint blacks reach up to `fullBlack`, hardly beyond it, and end short of it exponentially.
  double fullBlack;
  double fullBlackSd; // beyond
  double shortOfBlack;
};

// What is known of how originals of a kind change.
struct PositiveHistory {
  bool faded;           // dyes lost and stain; else exposure and a cast
  double dye;           // usual share of dye that is left ...
  double dyeSd;         // ... and its scatter, as a natural logarithm
  double dyeRatio;      // usual difference of two channels' logarithms ...
  double dyeRatioCost;  // ... and what larger ones cost, nats for each such difference
  double whiteTintCost; // nats per factor e by which a tint of the whites exceeds the usual
  double beyondCost;    // nats per factor e by which something lies beyond the densest
  double prior;         // evidence, in nats, that a correction must have to be believed half
};

namespace positive {

inline constexpr PositiveMaterial kPrintMaterial = {
    .flare = 0.006, // surface reflection on a flatbed
    .base = 0.04,   // paper white
    .black = 2.02,
    .blackSd = 0.15,
    .pileBlack = 2.15,
    .pileSd = 0.08,
    .blackTint = 0.06,
    .densest = 2.24, // the surface reflection ends it at -log10(0.006) = 2.22
    .stain = 0.12,
    .fullBlack = 2.15,
    .fullBlackSd = 0.05,
    .shortOfBlack = 0.25,
};

inline constexpr PositiveMaterial kSlideMaterial = {
    .flare = 0.001, // stray light
    .base = 0.10,   // clear film
    .black = 2.50,
    .blackSd = 0.30,
    .pileBlack = 2.95,
    .pileSd = 0.15,
    .blackTint = 0.09,
    .densest = 3.10,
    .stain = 0.08, // film stains less than paper
    .fullBlack = 2.60,
    .fullBlackSd = 0.25,
    .shortOfBlack = 0.40,
};

inline const PositiveMaterial& MaterialOf(bool slide) { return slide ? kSlideMaterial : kPrintMaterial; }

inline constexpr PositiveHistory kFadedHistory = {
    .faded = true,
    .dye = 0.72,
    .dyeSd = 0.22,
    .dyeRatio = 0.18,
    .dyeRatioCost = 0.5,
    .whiteTintCost = 0.4,
    .beyondCost = 1.0,
    .prior = 2.2,
};

inline constexpr PositiveHistory kUnfadedHistory = {
    .faded = false,
    .dye = 1.0,
    .dyeSd = 0.10,
    .dyeRatio = 0.04,
    .dyeRatioCost = 0.7,
    .whiteTintCost = 0.5,
    .beyondCost = 0.15,
    .prior = 4.1,
};

// ---- blocks ----

inline constexpr double kLeastLevel = 0.7;     // darker ones count as this: below is the scanner's noise
inline constexpr size_t kFewestBlocks = 500;   // that decide anything
inline constexpr double kLeastContrast = 0.1;  // density range that one channel must have
inline constexpr double kLeastRange = 0.05;    // by which a channel is scaled at most for the first anchors
inline constexpr double kEndPercent = 0.1;     // of the blocks beyond a channel's ends: dust
inline constexpr double kAnchorShare = 0.0015; // of the blocks make a joint end ...
inline constexpr double kAnchorBlocks = 4.0;   // ... and so many at least
inline constexpr double kPileFrom = 0.95;      // of the way from white to black a block is at the black

// ---- whites ----

// Three pictures in four hold a white of their material, the others end at up to 0.3 below it.
inline constexpr double kWhiteShare = 0.75;
inline constexpr double kWhiteNear = 0.03;
inline constexpr double kWhiteFar = 0.2;
inline constexpr double kWhiteTint = 0.04; // usual tint
inline constexpr double kClip = 0.015;     // how far something may lie beyond white, or below the base

// ---- blacks ----

inline constexpr double kBlackTintCost = 0.9;  // nats
inline constexpr double kFlatShare = 0.1;      // scenes without a black ...
inline constexpr double kFlatRange = 1.0;      // ... which end by so much before it
inline constexpr double kPileLow = 0.015;      // share at the black up to which nothing piles up
inline constexpr double kPileHigh = 0.03;      // and from which all of it does
inline constexpr double kBeyondDensest = 0.04; // how far something may lie beyond the densest
inline constexpr double kBlackBeyond = 0.05;   // how far a black counts beyond it

// ---- history ----

// Yellow-brown stain: density by channel, relative to blue.
inline constexpr double kStain[3] = {0.18, 0.42, 1.0};
inline constexpr double kStainSd = 0.02; // of an offset from that line
inline constexpr double kDyeGrowth = 0.03;
inline constexpr double kShift = 0.15;   // usual common shift of exposure, beside a cast
inline constexpr double kCast = 0.05;    // usual cast
inline constexpr double kCastCost = 0.6; // nats

// ---- unfaded originals: whether the scan shows the material ----

inline constexpr double kBaseBelow = 0.02;  // density by which a channel's lightest may lie below the base
inline constexpr double kBlackAbove = 0.15; // and its darkest above the densest on that base
inline constexpr double kFlareSeen = 0.1;   // or the darkest lies so near the densest that flare has ended it
inline constexpr double kNotShown = 5.0;    // nats that any change costs a picture that is not on the material

// ---- unfaded originals: exposure ----

// Hardly a scene holds nothing that is light in some channel: one whose lightest lies so far above the base was
// underexposed, or the scan was.
inline constexpr double kUnderUsual = 0.025; // density by which lightest ones lie above the base, exponential
inline constexpr double kUnderPrior = 4.4;   // nats
inline constexpr double kUnderMost = 0.45;   // density, a stop and a half
inline constexpr double kUnderWhite = 0.045; // of that is the scene's own, which has no white

// What is too light in all channels ends in one density, that of clear material: each channel's lightest pile up there,
// in a scene only where it is white. Blacks that are none speak for it, too.
inline constexpr double kOverWidth = 0.01; // density over which a channel's lightest pile up
inline constexpr double kOverShare = 0.12; // mean share of the channels' piles at which it is even, at usual blacks
inline constexpr double kOverPile = 4.0;   // nats per factor e of that share
inline constexpr double kOverBlack = 3.0;  // nats per unit of density by which the darkest exceeds the usual black
inline constexpr double kOverUsual = 0.2;  // density, two thirds of a stop, at full belief
inline constexpr double kOverFade = 1.5;   // what is made up for fades toward white as 1 - light to this power

// ---- unfaded originals: beside the standard analysis ----

// Where something did happen to the picture, stretched ranges err by other things than the likeliest cast and exposure
// do, so that a mean of both is nearer. Share of the standard analysis where the change is sure; where it is not, times
// the root of the trust.
inline constexpr double kStandardShare = 0.85;
inline constexpr double kBacklitShare = 1.0; // with a backlight correction, whose curve is made for stretched ranges

// ---- search ----

inline constexpr double kStartDyeLeast = 0.45;
inline constexpr double kStartDyeMost = 0.95;
inline constexpr double kFirstStep = 0.12;
inline constexpr double kLastStep = 0.006;
inline constexpr double kAlongDye = -0.6; // an offset and a share of dye that keep the blacks where they are

// ---- reasons ----

inline constexpr double kIntact = 0.3;            // trust below which an original is left nearly as it is
inline constexpr double kBaseSeen = 0.03;         // density taken off from which the picture is seen to be lighter
inline constexpr double kSure = 0.7;              // trust from which the proposal is followed
inline constexpr double kNoWhite = 0.15;          // density of the whites from which they are none
inline constexpr double kNoBlack[2] = {1.5, 1.7}; // density of the blacks below which they are none; print, slide
inline constexpr double kTinted = 0.15;           // density between the channels of an end that is not neutral
inline constexpr double kOneColour = 0.5;         // density by which the lightest of one channel is above another's
inline constexpr double kFaded = 0.55;            // share of dye left
inline constexpr double kStained = 0.08;          // density of the base in blue beyond that in red

} // namespace positive
