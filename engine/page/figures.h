// What a page is on its paper surface: numbers that its tables and its whitening come from.
#pragma once

#include <cstdint>

#include "engine/page/paper.h"
#include "engine/page/planes.h"
#include "engine/page/surface.h"

namespace page {

// Levels 0..1, on paper of 1.
struct Figures {
  double known = 0.0;   // share of cells where paper is seen
  double objects = 0.0; // share of cells in the outline of a picture or box
  double centre = 1.0;  // of paper, where its surface is 1
  double noise = 0.0;   // of paper
  double deep = 0.0;    // below paper: what shows through, stains
  double strokes = 0.0; // of strokes as the pre-scan shows them
  double ink = 0.0;     // of the blackest in strokes
  double darkest = 0.0; // of the page
  // From these:
  double veil = 0.0;         // light that lies on everything
  double strokesVeil = 0.0;  // light in strokes on paper
  double strokesPower = 1.0; // of light, by which strokes are darkened
  double whiteFrom = 1.0;    // levels, without their veil, from which whitening sets in, and which become white
  double whiteTo = 1.0;
  bool spared = false; // as little as can be is made white, since more would fade strokes
  // What the result would lose by them:
  double faded = 0.0;  // share of the paper's cells with strokes, of which whitening leaves less than half
  double washed = 0.0; // share of cells that show something lighter than the paper that is said to lie below it
};

Figures MeasureFigures(const Planes& planes, const Levels& levels, const Ground& ground, const Paper& paper,
                       const Surface& surface);

// The checks that a result by the surface fails, as reasons, and those that it would have failed.
struct Checks {
  int64_t failed = 0, mended = 0;
};
Checks CheckResult(const Figures& figures);

// Whether there is paper enough to believe in.
bool HasPaper(const Figures& figures);

} // namespace page
