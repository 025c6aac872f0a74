// Parts of the pages that the program writes: text, pictures.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <vips/vips8>

// Safe in text and in quoted attributes. File names are bytes: what is not UTF-8, or not allowed in HTML, is replaced.
std::string Escape(const std::string& text);

// The beginning of a page, up to its title. `policy`: what the page may fetch, as of Content-Security-Policy.
std::string PageHead(std::string_view policy);

std::string Base64(const void* data, size_t size);

// Only the profile stays of the metadata, as pages are handed on. The picture is turned upright here, once.
vips::VImage Bare(const vips::VImage& picture);

// A picture as JPEG.
std::string JpegOf(const vips::VImage& bare, int quality);

// The same inside a page; `caption` is HTML, and so is `over`, which lies over the picture.
std::string PictureFigure(const vips::VImage& bare, const std::string& alt, const std::string& caption,
                          const std::string& over = "", int quality = 90);

// An image of 8 or 16 bits in 8.
vips::VImage InBytes(const vips::VImage& image);

// An image in memory, of 8 or 16 bits, as a picture of 8 bits, gray or RGB, with its profile; its longer side at most
// `side` pixels.
vips::VImage ShownPicture(const vips::VImage& image, double side);

// The longer side of either picture of a thumbnail, at most.
inline constexpr double kThumbnailSide = 256;

// A scan before and after, side by side, as JPEG in sRGB for lists of many.
std::string Thumbnail(const vips::VImage& before, const vips::VImage& after);
