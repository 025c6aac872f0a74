// What is known of the originals of a box before they are seen. Densities are -log10 of light, dyes natural logarithms.
#pragma once

namespace box {

// ---- how far originals of a box lie from what they share, where they are as unequal as usual: standard deviations
// ----

inline constexpr double kStain = 0.015;      // of a channel's stain, beyond a common factor
inline constexpr double kStainFactor = 0.25; // of that factor ...
inline constexpr double kStainSeen = 0.05;   // ... which counts in full for stains of this length
inline constexpr double kFactorLeast = 0.2;
inline constexpr double kFactorMost = 2.0;
inline constexpr double kLeastSquares = 1e-6; // of a stain that is none
inline constexpr double kDye = 0.07;          // common to the channels
inline constexpr double kDyeRatio = 0.035;    // a channel's own
inline constexpr double kStraight = 20.0;     // nats from which being apart costs in proportion
inline constexpr double kHistoryShare = 0.25; // of a history's usual cost that stays in a box of scatter 1

// ---- the box's history ----

inline constexpr double kMostAgainst = 7.0; // nats that one original's ends can speak against it
inline constexpr double kFirstStep = 0.08;
inline constexpr double kLastStep = 0.006;

// How unequal the originals are is measured by the sum of squares that lies between the box and what the middle
// original by itself was taken for, less what the latter's own error adds, and divided by what scatter 1 has. The
// amount of stain is left out: a single original tells it worst. Simulated losses that scatter by 0, 25, 50 and 100 %
// have 4, 7, 17 and 28 in the median. A slide tells its own losses worse than a print does.
inline constexpr double kOwnError[2] = {2.0, 7.0}; // print, slide
inline constexpr double kUnequal[2] = {7.0, 9.0};  // likewise
inline constexpr double kScatterMost = 20.0;       // from here on a box says nothing

inline constexpr double kOdd = 9.0; // nats by which the box must be the worse explanation for an odd one

} // namespace box
