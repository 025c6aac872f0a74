// Constants of the search for the picture's window: chosen on simulated scans, of which half were left out.
//
// Levels are linear. Whole numbers of them are sixteenths, as a map has them (LevelMap::kUnit). Lengths are blocks of
// the analysis's grid, a 170th of the scan's extent or so, or cells of a fine band where it says so. Scores are nats.
#pragma once

#include <cstddef>

inline constexpr int kFewestRowsOfGrid = 16; // blocks across or down that a scan must have

// ---- noise ----
// What is even may differ by so many times the noise, whatever the other limits are.
inline constexpr int kMostNoise = 4 * 16; // the noise itself: more is detail
inline constexpr int kGroundNoise = 4;
inline constexpr int kUnevenNoise = 2;
inline constexpr int kEvenNoise = 2;
inline constexpr int kStripNoise = 4;

// ---- edges ----
inline constexpr int kGroundStep = 3 * 16; // between blocks that are one ground
inline constexpr int kLeastStep = 3 * 16;  // across two cells: an edge
inline constexpr int kFullStep = 8 * 16;   // a clear one, whose vote counts in full
inline constexpr int kUnevenShare = 30;    // percent of the step by which the outside may change along the edge ...
inline constexpr int kUnevenLeast = 24;    // ... or 1.5 levels

// ---- lines ----
inline constexpr double kSettleVotes = 3.0;   // rows' worth of votes that a line needs to be settled on them
inline constexpr double kSettleSpread = 1e-6; // least spread of their rows, relative
inline constexpr double kOnLine = 1.0;        // cells: edges as near are the line's
inline constexpr double kFewestRows = 3.0;    // of a stretch that tells anything
inline constexpr int kBeyondFrom = 2;        // rows behind the end of a side in which the line should be over: from ...
inline constexpr int kBeyondTo = 4;          // ... to
inline constexpr int kContrastNone = 2 * 16; // difference of inside and outside that is none ...
inline constexpr int kContrastFull = 6 * 16; // ... and that cannot be overlooked
inline constexpr int kEvenFull = 24;         // 1.5 levels from row to row: even
inline constexpr int kSameLevel = 40;        // 2.5 levels: as light ...
inline constexpr double kUnevenLight = 0.04; // ... on top of a share of the level

// ---- rectangles ----
inline constexpr double kLeanMost = 0.06;      // by which sides may lean apart, tangent
inline constexpr double kFewestBlocks = 8.0;   // along a side ...
inline constexpr double kLeastExtent = 0.08;   // ... and share of the scan's extent, whichever is more
inline constexpr size_t kMostRectangles = 150; // that are judged
inline constexpr int kPlaces = 9;              // in each direction, where a rectangle's inside is looked at

// ---- what a side is worth ----
inline constexpr double kSideBias = 4.5;
inline constexpr double kVoteWeight = 8.0;       // for each factor e of the share of rows that vote, from ...
inline constexpr double kLeastShare = 0.05;      // ... this on
inline constexpr double kEvenWeight = 24.0;      // for a share of even rows above ...
inline constexpr double kEvenUsual = 0.9;        // ... this
inline constexpr double kScatterWeight = 1.2;    // against each factor e of the outside's scatter above ...
inline constexpr double kScatterUsual = 2.0;     // ... so many levels
inline constexpr double kBeyondWeight = 3.5;     // against votes beyond the ends
inline constexpr double kRowsWeight = 7.4;       // against each factor e of the length below ...
inline constexpr double kRowsUsual = 60.0;       // ... this, down to ...
inline constexpr double kRowsLeast = 8.0 / 60.0; // ... this share of it
// For each factor e of the share of the inside, above a half, that is darker, or lighter, than the outside. Prints hold
// whites and blacks; film is nowhere clearer than its rebate nor as dense as a holder.
inline constexpr double kExtremeFilm = 3.2;
inline constexpr double kExtremePrint = 0.6;
inline constexpr double kLeastExtreme = 0.04;
// The own ground of a print or slide, as that of a chart: even up to the scan's edges along this share of a side, and
// so little lighter, or darker, than what lies on it.
inline constexpr double kOwnGround = 0.5;
inline constexpr double kOwnExtreme = 0.65;
inline constexpr double kOpaque = 40.0; // level that surroundings darker than a negative have at most
inline constexpr double kSideWorst = -8.0;
inline constexpr double kSideBest = 5.0;

// ---- what costs a rectangle ----
inline constexpr double kBorderCost = 1.5; // each side on the scan's edge
inline constexpr double kTwoBordersCost = 2.0;
inline constexpr double kApartCost = 4.0;        // outsides that differ by ...
inline constexpr double kApartFull = 40.0;       // ... so many levels, beyond ...
inline constexpr double kFallOff = 0.15;         // ... what light falls off, share
inline constexpr double kOffCost = 4.0;          // a middle that lies its own size beside the scan's
inline constexpr double kOffCostNegative = 24.0; // the same of negatives, which lie in the middle of a holder
inline constexpr double kEvenInsideCost = 1.0;   // an inside that is even along a side: it may be surroundings, too
inline constexpr double kSizeWeight = 1.0;       // each factor e of the scan's area

// ---- choice ----
inline constexpr double kLeastScore = -2.5; // of the likeliest rectangle; pictures that fill the scan reach -3
inline constexpr double kLeastSide = -4.0;  // of its weakest side
inline constexpr double kPartsShare = 0.97; // of a side's rows and the inside that differ one way: no weak side
// An inner rectangle may be so much less likely, and more for each rim between the two.
inline constexpr double kInnerAllowance = 8.0;
inline constexpr double kRimAllowance = 3.0;
inline constexpr double kLeastInnerSide = -2.0;
inline constexpr double kLeastSideInRim = -5.0;
inline constexpr double kInnerMost = 0.97;    // of the outer one's area
inline constexpr double kSameSide = 1.5;      // between two lines that may be one side
inline constexpr int kSheetRims = 3;          // sides on which a print's border must be seen
inline constexpr double kBorderLeast = 0.006; // its width, share of the picture's shorter side
inline constexpr double kFrameSize = 0.08;    // share by which frames of one film differ in size
inline constexpr double kFramesFill = 0.6;    // share of a rectangle that is several frames

// Chance that the window is the picture's: even at this score, and e times as likely with each ...
inline constexpr double kEvenScore = -1.0;
inline constexpr double kScoreScatter = 3.0; // ... of these

// ---- strips of surroundings between two lines: rebate, gaps, borders of prints ----
inline constexpr double kRimExtreme = 0.93;   // share of the picture that is darker than a strip, or lighter
inline constexpr double kStripExtreme = 0.85; // where the line inside of it is clear
inline constexpr double kStripEven = 0.6;     // share of a strip that is one level; perforations take a fifth
inline constexpr int kStripScatter = 8 * 16;  // by which cells of a fine band may differ from that level
inline constexpr int kStripLeast = 40;        // the same of blocks: 2.5 levels ...
inline constexpr int kStripShare = 20;        // ... and so much of the level is one more
inline constexpr int kStripAlong = 32;        // places of a strip that are looked at, along ...
inline constexpr int kStripAcross = 4;        // ... and across
inline constexpr double kAlikeLeast = 4.0;    // levels by which strips of two sides may differ that are the same ...
inline constexpr double kAlikeShare = 0.12;   // ... on top of a share of theirs: light falls off

// ---- fine search ----
inline constexpr double kFineOutward = 3.5;     // blocks from a coarse side that a band reaches ...
inline constexpr double kFineInward = 8.0;      // ... to either side of it
inline constexpr double kFineCells = 55.0;      // across a band, of a pixel or more
inline constexpr int kFineRows = 64;            // along a side
inline constexpr int kFineSamples = 6;          // of a cell, at most
inline constexpr double kFineMargin = 0.06;     // share of a side at either end that is left out: round corners
inline constexpr double kFineLeast = 0.3;       // share of a side that the scan must show
inline constexpr double kFineShortest = 40.0;   // pixels of a side
inline constexpr double kFineNear = 0.7;        // share of the way outward in which the side's own line lies
inline constexpr double kFineLeastScore = -2.0; // of that line
inline constexpr double kFineLeastInner = -4.0; // of one further in, behind an even strip
inline constexpr double kFineApart = 2.0;       // cells between two lines
inline constexpr double kFineBlur = 1.5;        // cells beside a line that show both sides of it

// ---- perforations ----

// 35 mm film has holes of 2.0 x 2.8 mm, 4.75 mm apart, along pictures of 36 mm (24 or 18 mm of half frames): the pitch
// is 0.13 (0.2 or 0.26) of the side. They lie up to 5.5 mm outside of the picture.
inline constexpr double kPitchLeast = 0.11; // shares of the picture's side
inline constexpr double kPitchMost = 0.29;
inline constexpr double kBeyondAlong = 0.75; // how far beyond the picture a line is looked along
inline constexpr double kBeyondAcross = 0.3;
inline constexpr double kHoleLeast = 0.28; // shares of the pitch; blur and stray light make holes longer
inline constexpr double kHoleMost = 0.62;
inline constexpr double kPitchOff = 0.1; // shares by which holes and pitches may differ
inline constexpr double kHoleOff = 0.25;
inline constexpr size_t kHoles = 5;
inline constexpr int kHoleRows = 3;           // lines of blocks that show them, one beside the other
inline constexpr double kHoleAcross = 0.2;    // share of the side that they reach over at most
inline constexpr double kHoleContrast = 24.0; // linear levels between film and light
inline constexpr double kPitchBlocks = 4.0;   // below, the blocks do not show holes
inline constexpr size_t kLeastLine = 40;      // blocks
