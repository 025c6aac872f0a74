// Constants of the analysis of pages. A level is a display level of gamma 2.2 as a share of white, 0..1; "ln" is the
// natural logarithm of a level: 0.05 is 5 % of level, 11 % of light. A cell is a square of kCell pixels of the
// pre-scan, 1 mm at its usual 100 dots per inch.
#pragma once

namespace page {

inline constexpr double kGamma = 2.2;
inline constexpr int kCell = 4;
inline constexpr float kDarkest = 2.0F / 255.0F; // levels below count as this one: their logarithms say nothing

// ---- ground: what lies under strokes ----

inline constexpr int kQuarter = 4;   // pixels of a cell that its lightest, and its darkest, are the mean of
inline constexpr int kClosed = 2;    // cells; strokes up to twice as wide are taken off
inline constexpr float kInk = 0.25F; // ln; cells whose darkest lie as far below their ground hold ink

// Marker: as light as its ground in one channel within so much of ln, and so much lighter there than in another.
inline constexpr float kMarkerDark = 0.1F;
inline constexpr float kMarkerTint = 0.15F;

// A page of light marks on a dark ground (blueprint, slate): darker than this in the middle, and marks that rise so
// many times as far above what is around them as others fall below.
inline constexpr float kReverseLevel = 140.0F / 255.0F;
inline constexpr double kReverseMarks = 1.2;
inline constexpr double kAround = 3.0; // cells, standard deviation

// ---- regions ----

// ln that the ground may change by from a cell to the next; grain, so many times the usual change, asks for more.
inline constexpr float kStep = 0.05F;
inline constexpr float kStepMost = 0.12F;
inline constexpr float kGrainSteps = 5.0F;
inline constexpr float kFold = 0.06F;       // ln that its bottom lies below both sides
inline constexpr double kFoldLeast = 0.2;   // of the page's height or width that it runs along
inline constexpr float kFoldRough = 0.08F;  // ln of edges that stains leave there; bars that are printed have more
inline constexpr float kFoldStepped = 0.7F; // of its depth, at a step: a printed bar has all of it, slopes have none

// The paper: large, light, written on. A region without ink counts this share of one with plenty, which is a third of
// its cells; light counts by this power, and by so much more where nothing is written: of two blank things the paper is
// the lighter one, and the darker one the sky of a picture printed on it.
inline constexpr double kBlankCounts = 0.3;
inline constexpr double kInkCounts = 3.0;
inline constexpr double kLightCounts = 1.5;
inline constexpr double kBlankLightCounts = 3.0;

// What else is paper: regions that the surface foretells, within so much of ln, small ones within more, and of colour.
inline constexpr int kRounds = 3;
inline constexpr float kForetold = 0.05F;
inline constexpr float kForetoldSmall = 0.08F;
inline constexpr int kSmall = 12; // cells
inline constexpr float kForetoldTint = 0.02F;

// A second sheet, beyond a gutter or a lid: of so many cells, written on, as light as the first within so much of ln,
// and of its colour. A box that is printed on the paper borders on it with a step nearly everywhere.
inline constexpr double kSheetLeast = 0.04; // share of the cells
inline constexpr double kSheetInk = 0.03;   // of the sheet's
inline constexpr float kSheetLevel = 0.15F;
inline constexpr float kSheetTint = 0.03F;
inline constexpr double kSheetStepped = 0.3; // of the border
// A blank one meets the paper along so much of its border, and nearly everywhere without a step.
inline constexpr double kBlankSheetMet = 0.1;
inline constexpr double kBlankSheetStepped = 0.05;

// A lid: regions of so many cells each, at so much of the scan's edges.
inline constexpr double kLidLeast = 0.02;
inline constexpr double kLidBorder = 0.6;

// A picture that has run into the paper at a soft place of its edge: the rest of that edge lies within the paper, steps
// of so much of ln that are even on both sides. Pages have up to 3 times a square page's side of them (photocopies),
// the leaking one that the limit was set by 8.
inline constexpr float kLeakStep = 0.1F;
inline constexpr float kLeakEven = 0.3F; // of the step
inline constexpr double kLeakMost = 4.0;
inline constexpr int kLeakWidth = 6; // cells that edges are widened by

// What is not paper is an object as a whole box where it has so many cells and fills so much of it.
inline constexpr int kObject = 25;
inline constexpr double kObjectShare = 0.75;
inline constexpr double kPictureFilled = 0.9; // of a box that it fills so far, the sheet goes on below it
inline constexpr double kLeastKnown = 0.03;   // share of the cells; below, objects count as paper, too

// ---- surface ----

inline constexpr float kBandLeast = 0.02F; // ln; paper's pixels lie as near to the ground, or so many times its grain
inline constexpr float kBandGrains = 2.5F;
inline constexpr float kSigmas = 1.48F;                // standard deviations in a median absolute deviation
inline constexpr int kEnough = 6;                      // of the pixels looked at; with fewer the ground stands for them
inline constexpr double kSmooth = 0.8;                 // cells, standard deviation
inline constexpr float kSurfaceLeast = 20.0F / 255.0F; // level; where paper seems darker, it counts as this

// ---- figures ----

inline constexpr double kLitInk = 0.06; // levels below paper, or so many times its noise: ink
inline constexpr double kNoises = 5.0;
inline constexpr double kUsualInk = 0.3; // level of strokes where there are none to measure
inline constexpr double kUsualDarkest = 0.1;
inline constexpr double kInkEdge = 0.45;  // of the way from paper to strokes
inline constexpr double kVeilShare = 0.6; // of the darkest's light that lies on everything; ...
inline constexpr double kVeilMost = 0.30;
inline constexpr double kInkVeilShare = 1.1; // ... and of ink's that blur and weak ink leave in strokes
inline constexpr double kInkVeilMost = 0.60;
inline constexpr double kBlack = 0.006;     // light of good printing black
inline constexpr double kDepthLeast = 0.03; // levels below white that are whitened ...
inline constexpr double kDepthMost = 0.20;
inline constexpr double kDepthNoises = 1.25;
// Weak ink, by the level of strokes, in grain as coarse as toner's, by noise: a dark copy. Its hard contrast has lifted
// light text toward the paper. It is darkened by a power of light (1 more than this), and more of the grain is made
// white, which it would darken, too. Old paper is as coarse, but its ink is black.
inline constexpr double kCoarseInkFrom = 0.30;
inline constexpr double kCoarseInk = 0.45;
inline constexpr double kCoarseFrom = 0.02;
inline constexpr double kCoarse = 0.03;
inline constexpr double kCoarsePower = 1.2;
inline constexpr double kDepthNoisesCoarse = 2.0;
inline constexpr double kDepthDeep = 0.7;
inline constexpr double kDepthInk = 0.4;   // ... but not more than this share of what ink is below it
inline constexpr double kRampLeast = 0.08; // levels over which whitening sets in

// ---- what the result would lose ----

// Shares of the cells with strokes, and of all cells. Of 68 simulated and 5 real pages none has more than 0.065, and
// 0.004; a picture in the shade of a fold, taken for lit by it, makes 0.07.
inline constexpr double kFadedMost = 0.25;
inline constexpr double kWashedMost = 0.03;
inline constexpr double kWashedLevel = 1.1;   // over paper's
inline constexpr float kWashedDetail = 0.15F; // ln from a cell's darkest to its ground

// ---- when not ----

inline constexpr double kPaperLeast = 0.08;     // share of the cells
inline constexpr double kPaperNoisyLeast = 0.5; // likewise, where the noise is above
inline constexpr double kNoisy = 0.06;

// Sheets and what lies in pictures, by 68 simulated pages, the same on dark, gray and white lids, 19 real and blank
// pages, and 190 pictures, 93 of which have something that would do for paper. Of the smallest box around its outline a
// sheet fills so much; skies above a roof 0.1 to 0.7.
inline constexpr double kSheetFilled = 0.72;
// Share of the paper with ink from which it is written on. Printed pages have 0.06 to 0.34, faded and carbon copies
// less.
inline constexpr double kWrittenOn = 0.04;
// ln red over blue: what is written on spreads by less (old paper in its own edges' brown 0.28; skies 0.3 to 1.5), and
// what is not by less still.
inline constexpr double kWrittenTint = 0.32;
inline constexpr double kBlankTint = 0.25;
// Blank paper is all around, at the scan's edges or within a lid, and shaded by less than ln 0.5; a fold has 0.41.
inline constexpr double kBlankBorder = 0.9;
inline constexpr double kBlankUneven = 0.5;
// A scan of nothing, with the lid open or the lamp off, is darker than paper in any shade (display level).
inline constexpr double kBlankLeast = 0.25;
inline constexpr double kReverseUneven = 0.7; // blueprints have 0.25
inline constexpr double kReverseLeast = 0.05;

// ---- points ----

inline constexpr double kGrainByTables = 0.06; // of the paper's level that tables alone make white, at most

// Reverse pages: by what brightness is evened.
inline constexpr double kReverseGainLeast = 0.6;
inline constexpr double kReverseGainMost = 1.8;

// ---- a coloured sheet ----

// A dyed sheet is of one colour: ln red over blue, from the 5th to the 95th percentile of the paper, spreads by less.
// Yellowing and stains are uneven (0.11 to 0.23 on simulated pages, sheets 0.04 at most).
inline constexpr double kDyedSpread = 0.08;
// ln of the largest channel over the smallest. Lamps, and white paper's own warmth, stay below.
inline constexpr double kDyed = 0.14;
// ln red over green less green over blue: green and pink lie off the line from yellow to blue, on which lamps lie.
inline constexpr double kDyedOffLamps = 0.12;
// Of warm sheets yellow ones are dyed, not brownish ones: ln red over green is less of green over blue.
inline constexpr double kDyedWarm = 0.2;
inline constexpr double kDyedYellow = 0.25;
// Pictures and boxes on it have colours where so much of their cells differ from a gray on it by so much of ln, from
// one channel to another. Gray bars have 0.03, at their rims more.
inline constexpr double kObjectsTint = 0.1;
inline constexpr double kObjectsTinted = 0.1;

// ---- what is told ----

inline constexpr double kUnevenTold = 0.10;      // ln, from the darkest paper to the lightest
inline constexpr double kShowThroughTold = 0.06; // levels below paper
inline constexpr double kWeakInkTold = 0.7;      // level of strokes
inline constexpr double kObjectsTold = 0.01;     // share of the cells
inline constexpr double kPaperSure = 0.4;        // share of the cells from which the confidence is at its most
inline constexpr double kConfidenceLeast = 0.5;
inline constexpr double kConfidenceMost = 0.95;

} // namespace page
