// Images through the tables.
#include <cmath>
#include <cstdint>

#include "engine/common/float_environment.h"
#include "engine/common/scale.h"
#include "engine/lut/apply.h"
#include "engine/zep3.h"

namespace {

constexpr double kChromaMost = 1000.0;

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
