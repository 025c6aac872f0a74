// A page of a scan through its tables.
#pragma once

#include <vips/vips8>

#include "page/correction.h"
#include "tiff/plain_tiff.h"

// The corrected image, to be computed as it is written. Bands behind the colours pass through. `chroma`: of
// GetZEP3Chroma(); gray scans have none.
vips::VImage ApplyCorrection(const vips::VImage& image, const Correction& correction, double chroma);

// True when ApplyCorrection only sends red, green and blue through tables.
bool IsTablesAlone(const vips::VImage& image, double chroma);

// These tables by themselves, for R G B pixels of 8 or, if deep, 16 bits. Of any thread.
ChangePixels PixelsThroughTables(const Correction& correction, bool deep);
