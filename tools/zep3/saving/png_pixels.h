// The pixels of a PNG, compressed piece by piece.
#pragma once

#include <string>

#include <vips/vips8>

#include "files/pending_file.h"

// True where WritePngPixels() can follow `head`: what a PNG of `image` has before its pixels.
bool FitsPngHead(const vips::VImage& image, const std::string& head);

// Writes the pixels, and the end of the file, behind the head. libdeflate packs them, in pieces of a megabyte on as
// many threads as libvips may have; the bytes are the same for any number. Throws Failure or VError.
void WritePngPixels(const vips::VImage& image, PendingFile& to);
