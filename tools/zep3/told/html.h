// Parts of the pages that the program writes: text, pictures.
#pragma once

#include <cstddef>
#include <string>

#include <vips/vips8>

// Safe in text and in quoted attributes. File names are bytes: what is not UTF-8, or not allowed in HTML, is replaced.
std::string Escape(const std::string& text);

std::string Base64(const void* data, size_t size);

// Only the profile stays of the metadata, as pages are handed on. The picture is turned upright here, once.
vips::VImage Bare(const vips::VImage& picture);

// A picture as JPEG inside, 8 bits; `caption` is HTML.
std::string PictureFigure(const vips::VImage& bare, const std::string& alt, const std::string& caption);

// An image of 8 or 16 bits in 8.
vips::VImage InBytes(const vips::VImage& image);

// An image of 8 or 16 bits as a picture of 8 bits, gray or RGB, with its profile, in memory; its longer side at most
// `side` pixels.
vips::VImage ShownPicture(const vips::VImage& image, double side);
