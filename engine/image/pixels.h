// How the pixels of an image lie in memory.
#pragma once

#include <cstdint>

#include "engine/zep3.h"

// Where the channels stand among the bytes of a pixel.
struct PixelLayout {
  int bytes;
  int red, green, blue;

  bool operator==(const PixelLayout&) const = default; // GCOVR_EXCL_BR_LINE: the three differ in the first two
};
inline constexpr PixelLayout kRgb = {3, 0, 1, 2};
inline constexpr PixelLayout kBgr = {3, 2, 1, 0};
inline constexpr PixelLayout kXrgb = {4, 1, 2, 3};

inline PixelLayout LayoutOf(const ZEP3_BmpInfo& image) {
  if (image.wPixelFormat == ZEP3_PIXEL_RGB) return kRgb;
  if (image.wPixelFormat == ZEP3_PIXEL_XRGB) return kXrgb;
  return kBgr;
}

// Whether the lines up to `linesEnd`, of which those from `linesBegin` are used up to column `columnsEnd`, have
// addresses: pixels not null, lines that do not overlap, offsets within the address space. A single line needs no
// stride.
inline bool IsAddressable(const ZEP3_BmpInfo& image, int columnsEnd, int linesBegin, int linesEnd) {
  if (image.pBits == nullptr) return false;
  const uint64_t line = static_cast<uint64_t>(columnsEnd) * static_cast<uint64_t>(LayoutOf(image).bytes);
  const uint64_t linesBefore = static_cast<uint64_t>(linesEnd) - 1;
  if (linesBefore == 0) return true;
  const uint64_t given = static_cast<uint64_t>(image.lBytesPerLine);
  const uint64_t stride = image.lBytesPerLine < 0 ? 0 - given : given;
  if (stride < line && linesEnd - linesBegin > 1) return false;
  return stride <= (static_cast<uint64_t>(PTRDIFF_MAX) - line) / linesBefore;
}
