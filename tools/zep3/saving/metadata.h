// What tells about a picture, on its way from one format to another.
#pragma once

#include <string>
#include <vector>

#include <vips/vips8>

#include "files/formats.h"
#include "opening/scan.h"

struct Passed {
  vips::VImage image;            // its header is what the saver of the format makes something of
  std::string exif, iptc;        // that the saver leaves out; empty: none
  std::vector<std::string> lost; // in words: what the format has no place for, or no library brings there
};

// `sized`: the scan says how large it is. `strip`: what tells about the scan is left out anyway.
Passed PassMetadata(const vips::VImage& image, const Scan& scan, int page, const Format& to, bool sized, bool strip);

// "not passed on to the PNG file: IPTC, text"
std::string LostText(const std::vector<std::string>& lost, const Format& to);
