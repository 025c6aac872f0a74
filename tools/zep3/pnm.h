// PNM files: whether all of them is there, and the pixels of those that are written as text.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "own_source.h"

// The head of a file "P1" to "P6".
struct PnmHead {
  char kind = 0; // '1' to '6': bitmap, gray, colour as text; the same in binary
  int64_t width = 0, height = 0;
  int64_t largest = 1; // value; 1 of bitmaps
  int64_t begin = 0;   // of the pixels, in bytes

  bool IsText() const { return kind <= '3'; }
  bool IsDeep() const { return largest > 255; }
  int64_t Values() const { return width * height * (kind == '3' || kind == '6' ? 3 : 1); }
};

// Throws Failure for a head that is damaged or tells of no pixels.
PnmHead ReadPnmHead(const std::string& path);

// Throws Failure for a file that ends before its last pixel. Of one as text that is too short for its values only: the
// others are found when they are read.
void CheckPnmLength(const std::string& path, const PnmHead& head);

// A file as text, in binary: gray for bitmaps, 0 for black. libvips reads text too, but gives 0 for what is missing and
// one pixel for the digits of a bitmap that stand side by side. Reading throws Failure where the text ends early.
std::unique_ptr<ByteStream> OpenPnmText(const std::string& path, const PnmHead& head);
