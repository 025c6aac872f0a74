// Printing a film: from exposures to the print, and to the table builder's curve that comes closest to it.
#pragma once

#include <cstdint>

#include "engine/film/film.h"
#include "engine/zep3.h"

// The print: from an exposure to the curve's scale 0..1, and back.
struct Paper {
  double white;    // exposure that prints as paper white
  double contrast; // of the print, per unit of log10 exposure; 1: the scene's own
  double flare;    // light of the camera's flare, which is taken off

  double OutputOf(double exposure) const;
  double ExposureFor(double output) const;
};

// Writes input points and gamma of the curve that comes closest to the print, for the output points that `points`
// holds. `histogram`: samples by film level; `exposure` of the levels with samples; `even`: samples that each of some
// thirty prints between black and white counts for, whatever the picture has.
void FitPrint(const Film& film, const Paper& paper, int c, const uint32_t (&histogram)[256],
              const double (&exposure)[256], double even, ZEP3_POINTS& points);
