// A page into a file that is laid out as the scan's: compression, tiles, depth, profile, metadata.
#pragma once

#include <string>

#include <vips/vips8>

#include "files/formats.h"
#include "files/pending_file.h"
#include "opening/scan.h"

// What is asked of the result's file.
struct SaveOptions {
  const Format* format = nullptr; // of the result
  std::string suffix;             // of its name, such as ".tif": libvips tells kinds of PNM apart by it
  std::string saver;              // options for libvips in brackets, from the user
  bool strip = false;             // no EXIF, IPTC, XMP and text
  bool quiet = false;             // nothing is said of what the format has no place for
  bool recoded = false;           // its values are on another gamma than the scan's
};

// Writes page `page` of `scan`, as `image`, into the empty file `to`. Throws Failure or VError.
void Save(const vips::VImage& image, const Scan& scan, int page, const SaveOptions& options, PendingFile& to);
