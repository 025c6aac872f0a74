// How much an adaptive result is worth: one number that is a frequency.
#pragma once

#include "engine/adaptive/evidence.h"

// The chance, 0..1, that a result is nearer to the original than the scan is, and within twice the error that is usual
// for its kind. Logistic regressions over what the analysis measured on simulated scans of 46 photographs;
// docs/adaptive.md has the calibration on photographs left out.
double PositiveConfidence(const PositiveEvidence& evidence, bool faded);
double NegativeConfidence(const NegativeEvidence& evidence, bool colour, bool faded);

// The chance of the same once a check has failed.
double AfterFailedCheck(double confidence);
