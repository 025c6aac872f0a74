// What a result may do to a scan. Levels are display levels 0..255 unless they are called linear; shares are of the
// picture's blocks.
#pragma once

#include "engine/common/weight.h"

namespace verdict {

// ---- what is measured ----

inline constexpr double kEnd = 0.5;       // levels from an end of the scale that count as its end
inline constexpr double kScanEnd = 3.0;   // linear levels from an end at which the scan itself is
inline constexpr double kFaintFrom = 2.5; // difference of neighbouring blocks that makes a faint mark ...
inline constexpr double kFaintTo = 16.0;  // ... and that is no longer faint
inline constexpr double kSeen = 1.0;      // what is left of it at least
inline constexpr double kEndShare = 0.05; // of the picture that is light, or dark
inline constexpr double kCastFrom = 24.0; // grays between which a cast is looked for
inline constexpr double kCastTo = 235.0;
inline constexpr int kSpreadFrom = 40; // linear levels at which curves are compared
inline constexpr int kSpreadTo = 216;
inline constexpr double kCastShare = 0.1; // of the picture that is least coloured

// ---- what is allowed ----

struct ResultLimits {
  double clipped;   // share of the picture
  double marksLost; // share of the faint marks
  double lightest;  // what is light is at least so light ...
  double darkest;   // ... and what is dark at most so light; or the scan was as dark or as light
  double cast;      // display levels, negatives
  double castGrown; // all others
};

// A picture's own dark ground or a white wall is far from these: of 1650 simulated results of all kinds none that came
// out as usual is beyond one of them.
inline constexpr ResultLimits kPictureLimits = {
    .clipped = 0.12, .marksLost = 0.10, .lightest = 60.0, .darkest = 232.0, .cast = 90.0, .castGrown = 40.0};
// The paper of a page goes to white as it should.
inline constexpr ResultLimits kPageLimits = {
    .clipped = 2.0, .marksLost = 0.9, .lightest = 100.0, .darkest = 254.0, .cast = 60.0, .castGrown = 40.0};

inline constexpr double kAsBefore = 15.0; // display levels
// Display levels between what is light and what is dark (kEndShare) on a page with less than a line or two.
inline constexpr double kBlankPage = 24.0;

inline constexpr double kUnsure = 0.5; // confidence

// Natural logarithm of the odds that a scan shows a negative, from which a positive kind is denied, and below which a
// negative one is. With an eighth of the photographs left out of the regression at a time, positives reached 3.7 and
// negatives -5.3: who is warned wrongly once does not read the next warning.
inline constexpr double kDeniedPositive = 4.2;
inline constexpr double kDeniedNegative = -5.7;

// ---- odds that a scan shows a negative ----

// A logistic regression over 1656 scans of 46 photographs as every kind of original. Densities; zones are shares of the
// picture from its lightest to its darkest.
inline constexpr double kLightest[2] = {0.0, 0.01};
inline constexpr double kDark[2] = {0.94, 0.96};
inline constexpr double kDarkest[2] = {0.99, 1.0};
inline constexpr double kLeastLevel = 0.7; // linear; below is noise
inline constexpr double kLeastRange = 0.1; // of the channels' mean, lest the shares below mean nothing
inline constexpr double kOdds = -8.85;
inline constexpr Weight kOddsDarkest = {-5.1, 0.44, 3.0}; // of the middle channel: film is seldom dense
inline constexpr Weight kOddsRatio = {3.79, 0.13, 1.0};   // of the channels' least range to their largest
inline constexpr Weight kOddsShade = {11.08, 0.31, 0.99}; // of what is dark, as a share of the range
inline constexpr Weight kOddsClear = {11.79, 0.0, 0.79};  // of the lightest in the clearest channel
inline constexpr Weight kOddsMask = {6.29, 0.0, 1.0};     // 1: a whole orange mask
inline constexpr double kMaskFrom[2] = {0.15, 0.3}; // density of blue beyond red: a mask begins, and is a whole one
inline constexpr double kMaskGreen = 1.4;           // by which green beyond red counts like it
inline constexpr double kMaskRatio[2] = {0.5, 0.7}; // the ratio above: a yellow picture has no range in blue, film has

// ---- leaving a scan as it is ----

// Linear levels through which the curve of no change is laid.
inline constexpr double kUnchangedLight = 250.0;
inline constexpr double kUnchangedDark = 10.0;

} // namespace verdict
