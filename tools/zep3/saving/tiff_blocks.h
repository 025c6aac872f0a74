// TIFF pages whose strips or tiles are compressed several at a time.
#pragma once

#include <vips/vips8>

#include "files/pending_file.h"
#include "opening/scan.h"

// Writes `image` into the empty file `to`, laid out as page `page` of the TIFF `scan` and with its tags and profile.
// libtiff is given whole strips and tiles: then it deflates by libdeflate, for whose third of the time libvips' lines
// are too short. As many threads as libvips may have compress them; the bytes are the same for any number. False, with
// nothing written, where the page is stored otherwise, or has other samples than the image. Throws Failure or VError.
bool WriteTiffBlocks(const Scan& scan, int page, const vips::VImage& image, PendingFile& to);
