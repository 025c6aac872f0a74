// Pictures in other colours than RGB and gray: CMYK by their profile, and Lab.
#pragma once

#include <string>
#include <string_view>

#include <vips/vips8>

// A header field of images that were converted: what is said of it.
inline constexpr const char* kConvertedField = "zep3-converted";

// CMYK and Lab as RGB by Little CMS, relative colorimetric with black point compensation: 8 bits become sRGB, 16 bits
// Display P3, which holds more colours. Others as they are. `bits`: of a stored value. Throws Failure for CMYK without
// a profile of its own, whose colours nobody knows.
vips::VImage ToRgb(const vips::VImage& image, int bits);

// A result of such a picture in its own colours again: CMYK by the scan's profile, Lab as TIFF stores it. Inks are
// separated anew, as the profile says. Throws Failure where the profile leads one way alone.
vips::VImage FromRgb(const vips::VImage& image);

// Whether a format holds the colours that the picture had: "tiff", "jpeg", ...
bool HoldsOwnSpace(const vips::VImage& image, std::string_view format);

// What was converted; empty: nothing.
std::string ConversionOf(const vips::VImage& image);
