// A page of a scan through its correction.
#pragma once

#include <vips/vips8>

#include "page/correction.h"
#include "tiff/plain_tiff.h"

// By what a picture of a scan is larger than it, across and down: the scan itself, a thumbnail, the pre-scan.
struct Scale {
  double across = 1, down = 1;
};

// The corrected image, to be computed as it is written. Bands behind the colours pass through. Gray scans have no
// chroma, and are as they are where the result is to be gray.
vips::VImage ApplyCorrection(const vips::VImage& image, const CorrectedPage& corrected, const Scale& scale = {});

// True when ApplyCorrection only changes the values of red, green and blue, each by itself or by its place.
bool IsValuesAlone(const vips::VImage& image, const CorrectedPage& corrected);

// That by itself, for lines of R G B pixels. Of any thread.
PlainLines::Take LinesThroughCorrection(const CorrectedPage& corrected, const PlainShape& shape, const Scale& scale);
