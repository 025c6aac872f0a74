// EXIF from formats of which the image library does not read it.
#pragma once

#include <string>

#include <vips/vips8>

// A block of EXIF without what formats write before it: from the byte order on. Empty where there is none.
std::string BareExif(const std::string& block);

// What one segment of JPEG holds, less its names, bytes.
inline constexpr size_t kMostInSegment = 65000;

// Gives an image the fields that the image library makes of a block of EXIF, with its orientation where `turns`. False
// where the block is too large to be read.
bool SetExif(vips::VImage& image, const std::string& exif, bool turns);
