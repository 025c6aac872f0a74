// Pages: the room for their surface, their tables, the way of their pixels.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "engine/common/float_environment.h"
#include "engine/finish/box_means.h"
#include "engine/image/pixels.h"
#include "engine/page/apply.h"
#include "engine/page/tables.h"
#include "engine/page/tuning.h"
#include "engine/zep3.h"

namespace {

bool HasCells(const ZEP3_SURFACE& surface) {
  const auto isSide = [](int64_t side) { return 0 < side && side <= INT32_MAX; };
  const auto isPlace = [](int64_t v) { return -INT32_MAX <= v && v <= INT32_MAX; };
  const bool found = surface.lFound == ZEP3_SURFACE_PAPER || surface.lFound == ZEP3_SURFACE_REVERSE;
  return found && surface.pCells != nullptr && isSide(surface.lSide) && isSide(surface.lColumns) &&
         isSide(surface.lRows) && isPlace(surface.lLeft) && isPlace(surface.lTop);
}

} // namespace

int64_t GetZEP3SurfaceRoom(int64_t lWidth, int64_t lHeight) {
  if (lWidth < 1 || lHeight < 1 || lWidth > INT32_MAX || lHeight > INT32_MAX) return 0;
  return Blocks(lWidth, page::kCell) * Blocks(lHeight, page::kCell);
}

int MakeZEP3PageLUT(const ZEP3_PARA* para, const ZEP3_SURFACE* surface, int64_t lEntries, uint16_t* table) try {
  if (para == nullptr || surface == nullptr || table == nullptr) return 0;
  if (lEntries != ZEP3_PAGE_ENTRIES_8 && lEntries != ZEP3_PAGE_ENTRIES_16) return 0;
  if (surface->lScanGamma <= 0 || !HasCells(*surface)) return 0;
  const FloatEnvironment environment;
  page::MakeTables(*para, *surface, lEntries, table);
  return 1;
} catch (...) { // out of memory: an exception must not reach a C caller
  return 0;
}

int ApplyZEP3Page(const ZEP3_BmpInfo* piece, int64_t lX, int64_t lY, const ZEP3_SURFACE* surface,
                  const uint16_t* table) try {
  if (piece == nullptr || surface == nullptr || table == nullptr || !HasCells(*surface)) return 0;
  if (piece->lBitCount != ZEP3_BITS_8 && piece->lBitCount != ZEP3_BITS_16) return 0;
  const auto isPlace = [](int64_t v) { return -INT32_MAX <= v && v <= INT32_MAX; };
  if (!isPlace(lX) || !isPlace(lY)) return 0;
  if (piece->lWidth < 0 || piece->lHeight < 0 || piece->lWidth > INT32_MAX || piece->lHeight > INT32_MAX) return 0;
  if (piece->lWidth == 0 || piece->lHeight == 0) return 1;
  if (!IsScanAddressable(*piece)) return 0;
  const FloatEnvironment environment;
  const auto apply = piece->lBitCount == ZEP3_BITS_16 ? page::Apply<uint16_t> : page::Apply<uint8_t>;
  apply(piece->pBits, piece->lBytesPerLine, piece->lWidth, piece->lHeight, ScanLayoutOf(*piece), lX, lY, *surface,
        table);
  return 1;
} catch (...) {
  return 0;
}
