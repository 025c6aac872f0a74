// Images through the tables.
#include <cstdint>

#include "engine/lut/apply.h"
#include "engine/zep3.h"

int ApplyZEP3LUT(const ZEP3_BmpInfo* bmp, const uint8_t* table) {
  if (bmp == nullptr || table == nullptr || bmp->lBitCount != 24) return 0;
  if (bmp->lWidth < 0 || bmp->lHeight < 0 || bmp->lWidth > INT32_MAX || bmp->lHeight > INT32_MAX) return 0;
  if (bmp->lWidth == 0 || bmp->lHeight == 0) return 1;
  if (!IsAddressable(*bmp, static_cast<int>(bmp->lWidth), 0, static_cast<int>(bmp->lHeight))) return 0;
  const PixelLayout layout = LayoutOf(*bmp);
  const ApplyTables permuted = ApplyPermuted();
  const ApplyTables apply = permuted != nullptr ? permuted : ApplyPlain; // GCOVR_EXCL_BR_LINE: the processor's
  if (bmp->lBytesPerLine == bmp->lWidth * layout.bytes) {
    apply(bmp->pBits, bmp->lWidth * bmp->lHeight, layout, table);
    return 1;
  }
  for (int64_t y = 0; y < bmp->lHeight; y++) apply(bmp->pBits + y * bmp->lBytesPerLine, bmp->lWidth, layout, table);
  return 1;
}
