// Constants of the search for the picture's window. Levels are linear, and stand here in sixteenths where whole
// numbers; lengths are blocks of the analysis's grid, a 170th of the scan's extent or so.
#pragma once

// ---- noise ----
inline constexpr int kMostNoise = 4 * 16;
inline constexpr int kGroundNoise = 4;
inline constexpr int kUnevenNoise = 2;
inline constexpr int kEvenNoise = 2;
inline constexpr int kStripNoise = 4;

// ---- ground ----
inline constexpr int kGroundStep = 3 * 16; // levels between blocks that are one ground

// ---- edges ----
inline constexpr int kLeastStep = 3 * 16; // levels across two blocks that make an edge
inline constexpr int kFullStep = 8 * 16;  // and that make a clear one
inline constexpr int kUnevenShare = 30;   // percent of the step by which the outside may change along the edge ...
inline constexpr int kUnevenLeast = 24;   // ... on top of 1.5 levels

// ---- lines ----
inline constexpr double kSettleVotes = 3.0;   // rows' worth of votes that a line needs to be settled on them
inline constexpr double kSettleSpread = 1e-6; // of their rows, relative
inline constexpr double kOnLine = 1.0;        // distance of edges that are a line's
inline constexpr double kFewestRows = 3.0;    // of a stretch that tells anything
inline constexpr int kBeyondFrom = 2;         // where a side is over: from so many rows on ...
inline constexpr int kBeyondTo = 4;           // ... to so many
inline constexpr int kContrastNone = 2 * 16;  // difference of inside and outside that is none ...
inline constexpr int kContrastFull = 6 * 16;  // ... and that cannot be overlooked
inline constexpr int kEvenFull = 24;          // 1.5 levels from row to row: even
inline constexpr int kSameLevel = 40;         // 2.5: as light

// ---- rectangles ----
inline constexpr double kLeanMost = 0.06; // by which sides may lean apart, tangent

// ---- what a side is worth, nats ----
inline constexpr double kSideBias = 4.5;
inline constexpr double kVoteWeight = 8.0; // for each factor e of the share of rows that vote
inline constexpr double kLeastShare = 0.05;
inline constexpr double kEvenWeight = 24.0;   // for a share of even rows above ...
inline constexpr double kEvenUsual = 0.9;     // ... this
inline constexpr double kScatterWeight = 1.2; // against each factor e of the outside's scatter above ...
inline constexpr double kScatterUsual = 2.0;  // ... this, levels
inline constexpr double kBeyondWeight = 3.5;  // against votes beyond the corners
inline constexpr double kRowsWeight = 7.4;    // for each factor e of the length ...
inline constexpr double kRowsUsual = 60.0;    // ... up to this, blocks
inline constexpr double kRowsLeast = 8.0 / 60.0;
inline constexpr double kExtremeFilm =
    3.2; // for each factor e of how far the outside is darker or lighter than the inside
inline constexpr double kExtremePrint = 0.6;
inline constexpr double kLeastExtreme = 0.04;
inline constexpr double kSideWorst = -8.0;
inline constexpr double kSideBest = 5.0;

// ---- what a rectangle is worth, nats ----
inline constexpr double kBorderCost = 1.5;
inline constexpr double kTwoBordersCost = 2.0;
inline constexpr double kApartCost = 4.0;
inline constexpr double kApartFull = 40.0;
inline constexpr double kFallOff = 0.15; // share of its level by which light falls off from side to side
inline constexpr double kOffCost = 4.0;
inline constexpr double kEvenInsideCost = 1.0;
inline constexpr int kPlaces = 9; // in each direction, where the inside is looked at
inline constexpr size_t kMostRectangles = 150;

// ---- choice, nats ----
inline constexpr double kLeastScore = -4.2;
inline constexpr double kLeastSide = -4.0;
inline constexpr double kPartsShare = 0.97;
inline constexpr double kInnerAllowance = 8.0;
inline constexpr double kLeastInnerSide = -2.0;
inline constexpr double kInnerMost = 0.97;
inline constexpr int kSheetRims = 3;          // sides on which a print's border is seen
inline constexpr double kBorderLeast = 0.006; // width of a border, share of the picture's shorter side
inline constexpr double kFrameSize = 0.08;    // by which frames of one film differ in size, share
inline constexpr double kFramesFill = 0.6;    // of a rectangle that is several frames, share
inline constexpr double kSameSide = 1.5;      // blocks between two lines that may be one side

// ---- fine search ----
inline constexpr double kFineOutward = 3.5; // from a coarse side, blocks
inline constexpr double kFineInward = 8.0;
inline constexpr double kFineCells = 55.0;      // of a pixel or more, across
inline constexpr double kFineNear = 0.7;        // of the way outward
inline constexpr double kFineLeastInner = -4.0; // nats
inline constexpr double kFineApart = 2.0;       // cells
inline constexpr double kFineBlur = 1.5;        // cells
inline constexpr int kStripScatter = 8 * 16;    // levels
inline constexpr double kStripEven = 0.6;       // share of cells
inline constexpr double kStripExtreme = 0.85;
inline constexpr double kAlikeLeast = 4.0;      // levels by which strips may differ that are the same ...
inline constexpr double kAlikeShare = 0.12;     // ... on top of a share of theirs: light falls off
inline constexpr int kFineRows = 64;            // along a side
inline constexpr int kFineSamples = 6;          // of a cell
inline constexpr double kFineMargin = 0.06;     // of a side at either end: round corners
inline constexpr double kFineLeast = 0.3;       // of a side that the scan must show
inline constexpr double kFineShortest = 40.0;   // pixels
inline constexpr double kFineLeastScore = -2.0; // nats
inline constexpr double kFineAllowance = 8.0;   // nats
inline constexpr double kRimExtreme = 0.93;
inline constexpr int kStripAlong = 32; // places of a strip that are looked at
inline constexpr int kStripAcross = 4;
inline constexpr int kStripLeast = 40; // 2.5 levels by which an even strip may differ from its usual level ...
inline constexpr int kStripShare = 20; // ... on top of a share of that
inline constexpr double kRimAllowance = 3.0;
inline constexpr double kLeastSideInRim = -5.0;
inline constexpr double kOpaque = 40.0; // level that surroundings darker than film have at most
inline constexpr double kSizeWeight = 1.0;
inline constexpr double kUnevenLight = 0.04;
inline constexpr double kEvenScore = -1.0;
inline constexpr double kScoreScatter = 3.0;
inline constexpr int kFewestRowsOfGrid = 16;
