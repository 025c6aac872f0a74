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
inline constexpr double kHistoryShare = 0.25; // of the usual cost of a history that stays an original's own

// ---- the box's history ----

inline constexpr double kMostAgainst = 4.0; // nats that one original's ends can speak against it
inline constexpr double kFirstStep = 0.08;
inline constexpr double kLastStep = 0.006;

// Nats by which the ends of the middle original fit the box's history worse than its own: how unequal the originals
// are, by the square of this many. A box of equals has 1 to 3, one whose losses scatter by half 5 to 8.
inline constexpr double kUnequal = 3.0;
inline constexpr double kScatterMost = 20.0; // from here on a box says nothing

inline constexpr double kOdd = 9.0; // nats by which the box must be the worse explanation for an odd one
inline constexpr int kFewest = 4;   // originals that make a box

} // namespace box
