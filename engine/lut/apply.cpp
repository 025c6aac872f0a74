#include "engine/lut/apply.h"

#if defined(__GNUC__) && defined(__x86_64__)
#define ZEP3_HAS_PERMUTES 1
#include <immintrin.h>
#endif

void ApplyPlain(uint8_t* first, int64_t pixels, const PixelLayout& layout, const uint8_t* table) {
  const auto [bytes, red, green, blue] = layout;
  for (int64_t i = 0; i < pixels; i++, first += bytes) {
    first[red] = table[first[red]];
    first[green] = table[256 + first[green]];
    first[blue] = table[512 + first[blue]];
  }
}

#if ZEP3_HAS_PERMUTES

// GCOVR_EXCL_START: what runs of it depends on the processor
namespace {

#define ZEP3_PERMUTES __attribute__((target("avx512f,avx512bw,avx512vbmi")))

// A table in four registers: a permute looks up 128 entries by the lower seven bits, the top bit chooses between two.
struct Table {
  __m512i part[4];
};

ZEP3_PERMUTES inline Table Load(const uint8_t* entries) {
  Table table;
  for (int i = 0; i < 4; i++) table.part[i] = _mm512_loadu_si512(entries + 64 * i);
  return table;
}

ZEP3_PERMUTES inline __m512i LookUp(const Table& table, __m512i values, __mmask64 top) {
  return _mm512_mask_blend_epi8(top, _mm512_permutex2var_epi8(table.part[0], values, table.part[1]),
                                _mm512_permutex2var_epi8(table.part[2], values, table.part[3]));
}

// Bytes in which both pixel sizes and the registers come out even.
constexpr int kBlock = 192;

ZEP3_PERMUTES void ApplyByPermutes(uint8_t* first, int64_t pixels, const PixelLayout& layout, const uint8_t* table) {
  // Which bytes of each register belong to which channel, and which to any.
  uint64_t mask[3][3] = {};
  uint64_t used[3] = {};
  for (int i = 0; i < kBlock; i++) {
    const int position = i % layout.bytes;
    const int channel = position == layout.red ? 0 : position == layout.green ? 1 : position == layout.blue ? 2 : -1;
    if (channel < 0) continue;
    mask[i / 64][channel] |= uint64_t{1} << i % 64;
    used[i / 64] |= uint64_t{1} << i % 64;
  }
  const bool padded = layout.bytes > 3;
  const Table red = Load(table);
  const Table green = Load(table + 256);
  const Table blue = Load(table + 512);
  const int64_t blocks = pixels * layout.bytes / kBlock;
  for (int64_t i = 0; i < blocks; i++, first += kBlock) {
#pragma GCC unroll 3
    for (int part = 0; part < 3; part++) {
      const __m512i values = _mm512_loadu_si512(first + 64 * part);
      const __mmask64 top = _mm512_movepi8_mask(values);
      __m512i result = _mm512_mask_mov_epi8(values, mask[part][0], LookUp(red, values, top));
      result = _mm512_mask_mov_epi8(result, mask[part][1], LookUp(green, values, top));
      result = _mm512_mask_mov_epi8(result, mask[part][2], LookUp(blue, values, top));
      if (padded) {
        // Not even with its own value: another thread may be writing the unused byte.
        _mm512_mask_storeu_epi8(first + 64 * part, used[part], result);
      } else {
        _mm512_storeu_si512(first + 64 * part, result);
      }
    }
  }
  ApplyPlain(first, pixels - blocks * kBlock / layout.bytes, layout, table);
}

} // namespace

ApplyTables ApplyPermuted() {
  const bool has =
      __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi");
  return has ? ApplyByPermutes : nullptr;
}
// GCOVR_EXCL_STOP

#else

ApplyTables ApplyPermuted() { return nullptr; }

#endif
