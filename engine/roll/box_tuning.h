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
// What dyes lost differs in proportion to the loss, and by a little where hardly any is lost.
inline constexpr double kDye = 0.05;       // common to the channels, natural logarithm ...
inline constexpr double kDyePerLoss = 0.3; // ... and per unit of the box's mean logarithm
inline constexpr double kDyeRatio = 0.015; // a channel's own, likewise
inline constexpr double kDyeRatioPerLoss = 0.09;
inline constexpr double kStraight = 20.0;     // nats from which being apart costs in proportion
inline constexpr double kHistoryShare = 0.25; // of a history's usual cost that stays in a box of scatter 1

// ---- the box's history ----

inline constexpr double kMostAgainst = 8.0; // nats that one original's ends can speak against it
inline constexpr int kRounds = 4;           // of the originals' own deviations, then the box's history given those
inline constexpr double kFirstStep = 0.08;
inline constexpr double kLastStep = 0.006;

// How unequal the originals are tells what it costs them to be drawn together: nats for each by which ends and history
// are explained worse with a box of scatter 1 than without any. Simulated boxes of 8 prints whose losses scatter by 0,
// 25, 50 and 100 % cost 1.7 to 2.9, 3 to 3.5, 4 to 4.7 and 6 to 7 in the middle, slides 0.5 less where unequal.
inline constexpr double kDrawn = 4.2;           // nats up to which originals are as unequal as usual
inline constexpr double kPerDrawn = 2.0;        // logarithm of the scatter per nat beyond
inline constexpr double kDrawnMost = 16.0;      // nats that one original counts at most
inline constexpr double kBlackPerScatter = 0.5; // power by which the blacks of a box's pictures become a single one's
inline constexpr double kScatterMost = 60.0;    // from here on a box says nothing

// Nats by which the box must be the worse explanation for an odd one: as many where originals are as unequal as usual,
// fewer by the scatter, for a box that hardly holds cannot ask for much, down to odds of twenty to one.
inline constexpr double kOdd = 9.0;
inline constexpr double kOddLeast = 3.0;

} // namespace box
