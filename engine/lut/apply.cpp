// The plain loop, the loop with chroma, and the byte permutes.
#include "engine/lut/apply.h"

#include "engine/common/scale.h"

#if defined(__GNUC__) && defined(__x86_64__)
#define ZEP3_HAS_PERMUTES 1
#include <immintrin.h>
#endif

template <class Sample>
void ApplyPlain(Sample* first, int64_t pixels, const PixelLayout& layout, const Sample* table) {
  const Sample* const greenTable = table + kTableEntries<Sample>;
  const Sample* const blueTable = greenTable + kTableEntries<Sample>;
  const auto [samples, red, green, blue] = layout;
  if (layout.IsGray()) {
    for (int64_t i = 0; i < pixels; i++, first += samples) first[green] = greenTable[first[green]];
    return;
  }
  for (int64_t i = 0; i < pixels; i++, first += samples) {
    first[red] = table[first[red]];
    first[green] = greenTable[first[green]];
    first[blue] = blueTable[first[blue]];
  }
}

template void ApplyPlain(uint8_t* first, int64_t pixels, const PixelLayout& layout, const uint8_t* table);
template void ApplyPlain(uint16_t* first, int64_t pixels, const PixelLayout& layout, const uint16_t* table);

template <class Sample>
void ApplyWithChroma(Sample* first, int64_t pixels, const PixelLayout& layout, const uint16_t* table, double chroma) {
  // Single precision: 24 bits hold every 16-bit level with 8 behind the point.
  constexpr auto kMost = static_cast<float>(kTableEntries<Sample> - 1);
  constexpr auto kPerLevel16 = static_cast<float>(sizeof(Sample) == 1 ? 1.0 / 257.0 : 1.0);
  const auto toSample = [](double level16) {
    const float rounded = static_cast<float>(level16) * kPerLevel16 + 0.5f;
    if (!(rounded > 0.0f)) return Sample{0};
    return static_cast<Sample>(rounded < kMost ? rounded : kMost);
  };
  double share[3][3]; // of the channel in the column in the result of the channel in the row
  for (int row = 0; row < 3; row++) {
    for (int column = 0; column < 3; column++) {
      share[row][column] = (row == column ? chroma : 0.0) + (1.0 - chroma) * kChannelWeight[column];
    }
  }
  const auto [samples, red, green, blue] = layout;
  for (int64_t i = 0; i < pixels; i++, first += samples) {
    const double r = table[first[red]];
    const double g = table[kTableEntries<Sample> + first[green]];
    const double b = table[2 * kTableEntries<Sample> + first[blue]];
    first[red] = toSample(share[0][0] * r + share[0][1] * g + share[0][2] * b);
    first[green] = toSample(share[1][0] * r + share[1][1] * g + share[1][2] * b);
    first[blue] = toSample(share[2][0] * r + share[2][1] * g + share[2][2] * b);
  }
}

template void ApplyWithChroma(uint8_t* first, int64_t pixels, const PixelLayout& layout, const uint16_t* table,
                              double chroma);
template void ApplyWithChroma(uint16_t* first, int64_t pixels, const PixelLayout& layout, const uint16_t* table,
                              double chroma);

#if ZEP3_HAS_PERMUTES

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

// Bytes in which all pixel sizes and the registers come out even.
constexpr int kBlock = 192;

ZEP3_PERMUTES void ApplyByPermutes(uint8_t* first, int64_t pixels, const PixelLayout& layout, const uint8_t* table) {
  // Which bytes of each register belong to which channel, and which to any.
  uint64_t mask[3][3] = {};
  uint64_t used[3] = {};
  for (int i = 0; i < kBlock; i++) {
    const int position = i % layout.samples;
    int channel = position == layout.red ? 0 : position == layout.green ? 1 : position == layout.blue ? 2 : -1;
    if (layout.IsGray() && channel == 0) channel = 1;
    if (channel < 0) continue;
    mask[i / 64][channel] |= uint64_t{1} << i % 64;
    used[i / 64] |= uint64_t{1} << i % 64;
  }
  const bool padded = layout.samples % 2 == 0;
  const Table red = Load(table);
  const Table green = Load(table + 256);
  const Table blue = Load(table + 512);
  const int64_t blocks = pixels * layout.samples / kBlock;
  for (int64_t i = 0; i < blocks; i++, first += kBlock) {
#pragma GCC unroll 3
    for (int part = 0; part < 3; part++) {
      const __m512i values = _mm512_loadu_si512(first + 64 * part);
      const __mmask64 top = _mm512_movepi8_mask(values);
      __m512i result = _mm512_mask_mov_epi8(values, mask[part][0], LookUp(red, values, top));
      result = _mm512_mask_mov_epi8(result, mask[part][1], LookUp(green, values, top));
      result = _mm512_mask_mov_epi8(result, mask[part][2], LookUp(blue, values, top));
      if (padded) {
        // Not even with its own value: another thread may be writing the bytes left alone.
        _mm512_mask_storeu_epi8(first + 64 * part, used[part], result);
      } else {
        _mm512_storeu_si512(first + 64 * part, result);
      }
    }
  }
  ApplyPlain(first, pixels - blocks * kBlock / layout.samples, layout, table);
}

} // namespace

ApplyTables<uint8_t> ApplyPermuted() {
  const bool has =
      __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi");
  return has ? ApplyByPermutes : nullptr;
}

#else

ApplyTables<uint8_t> ApplyPermuted() { return nullptr; }

#endif
