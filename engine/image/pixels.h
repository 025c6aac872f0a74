// How the pixels of an image lie in memory.
#pragma once

#include <cstdint>

#include "engine/zep3.h"

// Where the channels stand among the samples of a pixel; in a gray pixel all at the same place.
struct PixelLayout {
  int samples;
  int red, green, blue;

  bool operator==(const PixelLayout&) const = default;
  bool IsGray() const { return red == blue; }
};
inline constexpr PixelLayout kRgb = {3, 0, 1, 2};
inline constexpr PixelLayout kBgr = {3, 2, 1, 0};
inline constexpr PixelLayout kXrgb = {4, 1, 2, 3};

// As the analyses read it: 8-bit samples, and three bytes of an unknown format.
inline PixelLayout LayoutOf(const ZEP3_BmpInfo& image) {
  if (image.wPixelFormat == ZEP3_PIXEL_RGB) return kRgb;
  if (image.wPixelFormat == ZEP3_PIXEL_XRGB) return kXrgb;
  return kBgr;
}

// As the calls that work on whole scans read it.
inline PixelLayout ScanLayoutOf(const ZEP3_BmpInfo& scan) {
  switch (scan.wPixelFormat) {
    case ZEP3_PIXEL_RGBA:
      return {4, 0, 1, 2};
    case ZEP3_PIXEL_BGRA:
      return {4, 2, 1, 0};
    case ZEP3_PIXEL_GRAY:
      return {1, 0, 0, 0};
    case ZEP3_PIXEL_GRAYA:
      return {2, 0, 0, 0};
    default:
      return LayoutOf(scan);
  }
}

// Whether the lines up to `linesEnd`, of which those from `linesBegin` are used up to column `columnsEnd`, have
// addresses: pixels not null, lines that do not overlap, offsets within the address space. A single line needs no
// stride.
inline bool IsAddressable(const ZEP3_BmpInfo& image, int bytesPerPixel, int columnsEnd, int linesBegin, int linesEnd) {
  if (image.pBits == nullptr) return false;
  const uint64_t line = static_cast<uint64_t>(columnsEnd) * static_cast<uint64_t>(bytesPerPixel);
  const uint64_t linesBefore = static_cast<uint64_t>(linesEnd) - 1;
  if (linesBefore == 0) return true;
  const uint64_t given = static_cast<uint64_t>(image.lBytesPerLine);
  const uint64_t stride = image.lBytesPerLine < 0 ? 0 - given : given;
  if (stride < line && linesEnd - linesBegin > 1) return false;
  return stride <= (static_cast<uint64_t>(PTRDIFF_MAX) - line) / linesBefore;
}

// ---- whole scans: any layout, 8 or 16 bits ----

inline int BytesPerPixel(const ZEP3_BmpInfo& scan) {
  return ScanLayoutOf(scan).samples * (scan.lBitCount == ZEP3_BITS_16 ? 2 : 1);
}

// Whether all pixels of a scan with sides of 1 to 2^31 - 1 have addresses; those of 16 bits even ones.
inline bool IsScanAddressable(const ZEP3_BmpInfo& scan) {
  const bool odd = ((reinterpret_cast<uintptr_t>(scan.pBits) | static_cast<uintptr_t>(scan.lBytesPerLine)) & 1) != 0;
  if (scan.lBitCount == ZEP3_BITS_16 && odd) return false;
  return IsAddressable(scan, BytesPerPixel(scan), static_cast<int>(scan.lWidth), 0, static_cast<int>(scan.lHeight));
}
