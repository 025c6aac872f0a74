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
inline constexpr double kDye = 0.12;          // common to the channels
inline constexpr double kDyeRatio = 0.035;    // a channel's own
inline constexpr double kStraight = 20.0;     // nats from which being apart costs in proportion
inline constexpr double kHistoryShare = 0.25; // of a history's usual cost that stays in a box of scatter 1

// ---- the box's history ----

inline constexpr double kMostAgainst = 7.0; // nats that one original's ends can speak against it
inline constexpr double kFirstStep = 0.08;
inline constexpr double kLastStep = 0.006;

// How unequal the originals are has two signs, each of them loose: how far from the box's the middle original's history
// lies that was found of it alone, as a sum of squares in usual deviations (the amount of stain is left out: a single
// original tells it worst), and by how many nats the box explains the middle original's ends worse than that history.
// Originals of one box have a small one of the two; only wholly unequal ones have both large. Median products of
// simulated boxes of 8 whose losses scatter by 0, 25, 50 and 100 %: 16, 32, 85, 240.
inline constexpr double kEqual = 70.0;       // product up to which originals are as unequal as usual
inline constexpr double kScatterMost = 20.0; // from here on a box says nothing

inline constexpr double kOdd = 9.0; // nats by which the box must be the worse explanation for an odd one

} // namespace box
