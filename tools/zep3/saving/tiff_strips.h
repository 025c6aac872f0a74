// TIFF pages in strips that deflate compresses.
#pragma once

#include <vips/vips8>

#include "files/pending_file.h"
#include "opening/scan.h"

// Writes `image` into the empty file `to`, laid out as page `page` of the TIFF `scan` and with its tags and profile.
// libtiff is given whole strips: then it compresses by libdeflate, for whose third of the time libvips' lines are too
// short. False, with nothing written, where the page is stored otherwise, or has other samples than the image. Throws
// Failure or VError.
bool WriteTiffStrips(const Scan& scan, int page, const vips::VImage& image, PendingFile& to);
