// A page of a scan through its tables.
#pragma once

#include <vips/vips8>

#include "correction.h"
#include "plain_tiff.h"

// By what the proposed saturation scales the result's chroma; 1: not at all.
double ChromaFactor(const Record& record);

// The corrected image, to be computed as it is written. Bands behind the colours pass through. Gray scans have no
// chroma.
vips::VImage ApplyCorrection(const vips::VImage& image, const Correction& correction, double chroma);

// Whether ApplyCorrection does nothing but send red, green and blue through tables.
bool IsTablesAlone(const vips::VImage& image, double chroma);

// These tables by themselves, for R G B pixels of 8 or, if deep, 16 bits. Of any thread.
ChangePixels PixelsThroughTables(const Correction& correction, bool deep);
