// A term of a logistic regression.
#pragma once

#include "engine/common/scale.h"

// A weight for each unit of a measurement, which counts within what nearly all simulated scans had: beyond it nothing
// is known.
struct Weight {
  double perUnit;
  double least;
  double most;

  double Of(double measured) const { return perUnit * Clamp(measured, least, most); }
};
