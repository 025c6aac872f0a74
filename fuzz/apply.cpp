// ApplyZEP3LUT on any image, beside one pixel after the other.
#include "records.h"
#include "target.h"

void RunTarget(Input input) {
  const HostileImage given(input, true);
  const auto table = std::make_unique<uint8_t[]>(768);
  for (int i = 0; i < 768; i++) table[i] = static_cast<uint8_t>(i * 7 + input.Below(3));

  HostileImage image = given;
  const int result = ApplyZEP3LUT(&image.bmp, table.get());
  const ZEP3_BmpInfo& bmp = given.bmp;
  const bool sized = bmp.lWidth >= 0 && bmp.lHeight >= 0 && bmp.lWidth <= INT32_MAX && bmp.lHeight <= INT32_MAX;
  if (bmp.lBitCount != 24 || !sized || given.MustBeRefused()) ZEP3_HOLDS(result == 0);
  HostileImage expected = given;
  if (result == 1 && given.HasPixels()) {
    // Samples of a pixel, and where red, green and blue stand; a gray one is green.
    constexpr int kLayouts[][4] = {{3, 0, 1, 2}, {3, 2, 1, 0},   {4, 1, 2, 3},  {4, 0, 1, 2},
                                   {4, 2, 1, 0}, {1, -1, 0, -1}, {2, -1, 0, -1}};
    const auto& [samples, red, green, blue] = kLayouts[bmp.wPixelFormat < std::size(kLayouts) ? bmp.wPixelFormat : 1];
    for (int64_t y = 0; y < bmp.lHeight; y++) {
      for (int64_t x = 0; x < bmp.lWidth; x++) {
        uint8_t* p = expected.bmp.pBits + y * bmp.lBytesPerLine + x * samples;
        if (red >= 0) p[red] = table[p[red]];
        p[green] = table[256 + p[green]];
        if (blue >= 0) p[blue] = table[512 + p[blue]];
      }
    }
  }
  ZEP3_HOLDS(image == expected);
  ZEP3_HOLDS(ApplyZEP3LUT(nullptr, table.get()) == 0 && ApplyZEP3LUT(&image.bmp, nullptr) == 0 && image == expected);
}
