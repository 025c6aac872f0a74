// Images through the tables.
#include <cmath>
#include <cstdint>

#include "engine/common/float_environment.h"
#include "engine/common/scale.h"
#include "engine/lut/apply.h"
#include "engine/zep3.h"

namespace {

constexpr double kChromaMost = 1000.0;

// Red, green, blue in luma: the luminances of sRGB's primaries (IEC 61966-2-1), in 65536ths.
constexpr uint32_t kLuma[3] = {13933, 46871, 4732};

enum class Pixels { kRefused, kNone, kSome };

Pixels Accept(const ZEP3_BmpInfo& bmp, int64_t bitCount) {
  if (bmp.lBitCount != bitCount) return Pixels::kRefused;
  if (bmp.lWidth < 0 || bmp.lHeight < 0 || bmp.lWidth > INT32_MAX || bmp.lHeight > INT32_MAX) return Pixels::kRefused;
  if (bmp.lWidth == 0 || bmp.lHeight == 0) return Pixels::kNone;
  return IsScanAddressable(bmp) ? Pixels::kSome : Pixels::kRefused;
}

// run(first, pixels) for what lies in one piece: all of the image, or each line.
template <class Sample, class Run>
void ForEachRun(const ZEP3_BmpInfo& bmp, Run run) {
  const auto first = [&](int64_t y) { return reinterpret_cast<Sample*>(bmp.pBits + y * bmp.lBytesPerLine); };
  if (bmp.lBytesPerLine == bmp.lWidth * BytesPerPixel(bmp)) return run(first(0), bmp.lWidth * bmp.lHeight);
  for (int64_t y = 0; y < bmp.lHeight; y++) run(first(y), bmp.lWidth);
}

void ApplyBytes(const ZEP3_BmpInfo& bmp, const uint8_t* table) {
  const ApplyTables<uint8_t> permuted = ApplyPermuted();
  const ApplyTables<uint8_t> apply = permuted != nullptr ? permuted : ApplyPlain<uint8_t>;
  const PixelLayout layout = ScanLayoutOf(bmp);
  ForEachRun<uint8_t>(bmp, [&](uint8_t* first, int64_t pixels) { apply(first, pixels, layout, table); });
}

void ApplyDeep(const ZEP3_BmpInfo& bmp, const uint16_t* table) {
  const PixelLayout layout = ScanLayoutOf(bmp);
  ForEachRun<uint16_t>(bmp, [&](uint16_t* first, int64_t pixels) { ApplyPlain(first, pixels, layout, table); });
}

template <class Sample>
void ApplyChroma(const ZEP3_BmpInfo& bmp, const uint16_t* table, double chroma) {
  const PixelLayout layout = ScanLayoutOf(bmp);
  ForEachRun<Sample>(bmp,
                     [&](Sample* first, int64_t pixels) { ApplyWithChroma(first, pixels, layout, table, chroma); });
}

bool HasAlpha(const ZEP3_BmpInfo& image) {
  return image.wPixelFormat == ZEP3_PIXEL_RGBA || image.wPixelFormat == ZEP3_PIXEL_BGRA ||
         image.wPixelFormat == ZEP3_PIXEL_GRAYA;
}

template <class Sample>
void WriteGray(const ZEP3_BmpInfo& image, const ZEP3_BmpInfo& gray) {
  const PixelLayout from = ScanLayoutOf(image), to = ScanLayoutOf(gray);
  const bool alpha = HasAlpha(image);
  for (int64_t y = 0; y < image.lHeight; y++) {
    const auto* pixel = reinterpret_cast<const Sample*>(image.pBits + y * image.lBytesPerLine);
    auto* out = reinterpret_cast<Sample*>(gray.pBits + y * gray.lBytesPerLine);
    for (int64_t x = 0; x < image.lWidth; x++, pixel += from.samples, out += to.samples) {
      // The weights add up to 65536: no sum passes 32 bits.
      out[0] = static_cast<Sample>(
          (kLuma[0] * pixel[from.red] + kLuma[1] * pixel[from.green] + kLuma[2] * pixel[from.blue] + 32768U) >> 16);
      if (to.samples == 2) out[1] = alpha ? pixel[from.samples - 1] : static_cast<Sample>(-1);
    }
  }
}

} // namespace

int ApplyZEP3LUT(const ZEP3_BmpInfo* bmp, const uint8_t* table) {
  if (bmp == nullptr || table == nullptr) return 0;
  const Pixels pixels = Accept(*bmp, ZEP3_BITS_8);
  if (pixels == Pixels::kSome) ApplyBytes(*bmp, table);
  return pixels != Pixels::kRefused;
}

int ApplyZEP3LUT16(const ZEP3_BmpInfo* bmp, const uint16_t* table) {
  if (bmp == nullptr || table == nullptr) return 0;
  const Pixels pixels = Accept(*bmp, ZEP3_BITS_16);
  if (pixels == Pixels::kSome) ApplyDeep(*bmp, table);
  return pixels != Pixels::kRefused;
}

int ApplyZEP3ScanLUT(const ZEP3_BmpInfo* bmp, const uint16_t* table, double dChroma) {
  if (bmp == nullptr || table == nullptr || std::isnan(dChroma)) return 0;
  const bool deep = bmp->lBitCount == ZEP3_BITS_16;
  const Pixels pixels = Accept(*bmp, deep ? ZEP3_BITS_16 : ZEP3_BITS_8);
  if (pixels != Pixels::kSome) return pixels != Pixels::kRefused;
  const FloatEnvironment environment;
  const double chroma = Clamp(dChroma, 0.0, kChromaMost);
  if (chroma != 1.0 && !ScanLayoutOf(*bmp).IsGray()) {
    (deep ? ApplyChroma<uint16_t> : ApplyChroma<uint8_t>)(*bmp, table, chroma);
  } else if (deep) {
    ApplyDeep(*bmp, table);
  } else {
    uint8_t bytes[768];
    for (int i = 0; i < 768; i++) bytes[i] = Level8Of16(table[i]);
    ApplyBytes(*bmp, bytes);
  }
  return 1;
}

int MakeZEP3Gray(const ZEP3_BmpInfo* image, const ZEP3_BmpInfo* gray) {
  if (image == nullptr || gray == nullptr) return 0;
  if (gray->wPixelFormat != ZEP3_PIXEL_GRAY && gray->wPixelFormat != ZEP3_PIXEL_GRAYA) return 0;
  if (gray->lWidth != image->lWidth || gray->lHeight != image->lHeight || gray->lBitCount != image->lBitCount) return 0;
  const bool deep = image->lBitCount == ZEP3_BITS_16;
  const int64_t bitCount = deep ? ZEP3_BITS_16 : ZEP3_BITS_8;
  const Pixels pixels = Accept(*image, bitCount), room = Accept(*gray, bitCount);
  if (pixels == Pixels::kRefused || room == Pixels::kRefused) return 0;
  if (pixels == Pixels::kSome) (deep ? WriteGray<uint16_t> : WriteGray<uint8_t>)(*image, *gray);
  return 1;
}
