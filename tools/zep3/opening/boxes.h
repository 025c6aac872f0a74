// Boxes of JPEG 2000 (ISO/IEC 15444-1, annex I) and JPEG XL (ISO/IEC 18181-2): what the image library leaves unread in
// them.
#pragma once

#include <string>

#include <vips/vips8>

// A field of the image that names, in words, what of a file could not be read.
inline constexpr const char* kUnreadField = "zep3-unread";

// Gives the image profile, resolution, EXIF, IPTC and XMP of the file's boxes; a file that is a bare stream has none.
void AddWhatBoxesTell(vips::VImage& image, const std::string& path);
