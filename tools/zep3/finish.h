// A page of a scan through its tables.
#pragma once

#include <vips/vips8>

#include "correction.h"
#include "plain_tiff.h"

// Chroma that a unit of the proposed saturation adds, as a share. Measured on simulated fading and backlight, whole
// percents cost faded originals twice as much in colour difference as these, and win backlit ones less than twice.
constexpr double kChromaPerSaturation = 0.005;

// By what the proposed saturation scales the result's chroma; 1: not at all. The colour of monochrome negatives is the
// film's and the scanner's, not the picture's: 0.
double ChromaFactor(const Record& record);

// The corrected image, to be computed as it is written. Bands behind the colours pass through.
//
// Chroma f moves every pixel of the result, in its own encoding, from or towards its gray g = (R + 3 G + B) / 5: each
// channel becomes g + f * (channel - g). Gray scans have none.
vips::VImage ApplyCorrection(const vips::VImage& image, const Correction& correction, double chroma);

// Whether ApplyCorrection does nothing but send red, green and blue through tables.
bool IsTablesAlone(const vips::VImage& image, double chroma);

// These tables by themselves, for R G B pixels of 8 or, if deep, 16 bits. Of any thread.
ChangePixels PixelsThroughTables(const Correction& correction, bool deep);
