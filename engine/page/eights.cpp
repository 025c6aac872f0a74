// The same whole numbers as in apply.cpp, in 32 bits.
#include "engine/page/eights.h"

#include <cstring>

#if defined(__GNUC__) && defined(__x86_64__)
#define ZEP3_HAS_EIGHTS 1
#include <immintrin.h>
#endif

namespace page {

#if ZEP3_HAS_EIGHTS
namespace {

#define ZEP3_EIGHTS __attribute__((target("avx2")))

constexpr int kPixels = 8, kBytes = 3 * kPixels;
constexpr int kLast = ZEP3_PAGE_ENTRIES_8 - 1;
constexpr int kProductShift = kByteShift - kByteSpared;

// A number of each pixel.
using Lanes = __m256i;

struct Ramp {
  Lanes now, step;
};

ZEP3_EIGHTS inline Ramp RampOf(int32_t start, int32_t step) {
  const Lanes number = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
  return {_mm256_add_epi32(_mm256_set1_epi32(start), _mm256_mullo_epi32(number, _mm256_set1_epi32(step))),
          _mm256_mullo_epi32(_mm256_set1_epi32(kPixels), _mm256_set1_epi32(step))}; // wraps where cells are narrow
}

ZEP3_EIGHTS inline void Go(Ramp& ramp) { ramp.now = _mm256_add_epi32(ramp.now, ramp.step); }

ZEP3_EIGHTS inline Lanes EntryOf(Lanes v, Lanes gain) {
  const Lanes product = _mm256_mullo_epi32(v, _mm256_srli_epi32(gain, kByteSpared));
  const Lanes half = _mm256_set1_epi32(1 << (kProductShift - 1));
  return _mm256_min_epu32(_mm256_srli_epi32(_mm256_add_epi32(product, half), kProductShift), _mm256_set1_epi32(kLast));
}

// Of an entry and the next, the lower half: behind the last entry lies another table.
ZEP3_EIGHTS inline Lanes LookUp(const uint16_t* table, Lanes entry) {
  const Lanes two = _mm256_i32gather_epi32(reinterpret_cast<const int*>(table), entry, sizeof(uint16_t));
  return _mm256_and_si256(two, _mm256_set1_epi32(0xFFFF));
}

// Of an entry and the one before, the upper half: the table of white is the last one. Share of white, of kWhole.
ZEP3_EIGHTS inline Lanes WhiteOf(const uint16_t* white, Lanes entry) {
  const Lanes two = _mm256_i32gather_epi32(reinterpret_cast<const int*>(white - 1), entry, sizeof(uint16_t));
  return _mm256_srli_epi32(_mm256_add_epi32(_mm256_srli_epi32(two, 16), _mm256_set1_epi32(1)), 1);
}

ZEP3_EIGHTS inline Lanes Mix(Lanes a, Lanes b, Lanes share) {
  const Lanes part = _mm256_mullo_epi32(_mm256_sub_epi32(b, a), share);
  return _mm256_add_epi32(a, _mm256_srai_epi32(_mm256_add_epi32(part, _mm256_set1_epi32(kWhole / 2)), 15));
}

ZEP3_EIGHTS inline Lanes Drawn(Lanes share) {
  const Lanes v = _mm256_sub_epi32(_mm256_add_epi32(share, share), _mm256_set1_epi32(kWhole * 4 / 5));
  return _mm256_min_epi32(_mm256_max_epi32(v, _mm256_setzero_si256()), _mm256_set1_epi32(kWhole));
}

// (level + 128) / 257, since 257 * 65281 is 2^24 + 1.
ZEP3_EIGHTS inline Lanes ByteOf(Lanes level) {
  const Lanes v = _mm256_mullo_epi32(_mm256_add_epi32(level, _mm256_set1_epi32(128)), _mm256_set1_epi32(65281));
  return _mm256_srli_epi32(v, 24);
}

struct Colours {
  Lanes channel[3];
};

// Four pixels in each half: bytes 0 to 11 and 12 to 23.
ZEP3_EIGHTS inline Colours Load(const uint8_t* pixel) {
  const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixel));
  const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixel + kBytes - 16));
  const Lanes both = _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
  const Lanes first = _mm256_setr_epi32(0, 3, 6, 9, 4, 7, 10, 13);
  Colours v;
  for (int c = 0; c < 3; c++) {
    // The upper bytes of a lane are asked for as none: their highest bit is set.
    const Lanes at = _mm256_or_si256(_mm256_add_epi32(first, _mm256_set1_epi32(c)),
                                     _mm256_set1_epi32(static_cast<int>(0x80808000U)));
    v.channel[c] = _mm256_shuffle_epi8(both, at);
  }
  return v;
}

ZEP3_EIGHTS inline void Store(uint8_t* pixel, const Colours& v) {
  const Lanes joined = _mm256_or_si256(
      v.channel[0], _mm256_or_si256(_mm256_slli_epi32(v.channel[1], 8), _mm256_slli_epi32(v.channel[2], 16)));
  const __m128i order = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
  const __m128i low = _mm_shuffle_epi8(_mm256_castsi256_si128(joined), order);
  const __m128i high = _mm_shuffle_epi8(_mm256_extracti128_si256(joined, 1), order);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(pixel), _mm_or_si128(low, _mm_slli_si128(high, 12)));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(pixel + 16), _mm_srli_si128(high, 4));
}

ZEP3_EIGHTS inline bool AreAllAbove(const Colours& v, const Colours& bound) {
  Lanes above = _mm256_cmpgt_epi32(v.channel[0], bound.channel[0]);
  for (int c = 1; c < 3; c++) above = _mm256_and_si256(above, _mm256_cmpgt_epi32(v.channel[c], bound.channel[c]));
  return _mm256_movemask_epi8(above) == -1;
}

ZEP3_EIGHTS inline __m128i Bytes16(const uint8_t* from) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}
ZEP3_EIGHTS inline __m128i Bytes8(const uint8_t* from) {
  return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from));
}
ZEP3_EIGHTS inline Lanes Bytes32(const uint8_t* from) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

// Makes eight pixels paper if all their bytes are above their bounds.
ZEP3_EIGHTS inline bool WhitenEight(uint8_t* pixel, const EightTables& tables) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i first = _mm_cmpeq_epi8(_mm_subs_epu8(Bytes16(pixel), Bytes16(tables.darkerBlock)), zero);
  const __m128i last = _mm_cmpeq_epi8(_mm_subs_epu8(Bytes8(pixel + 16), Bytes8(tables.darkerBlock + 16)), zero);
  if (_mm_movemask_epi8(first) != 0 || (_mm_movemask_epi8(last) & 0xFF) != 0) return false;
  _mm_storeu_si128(reinterpret_cast<__m128i*>(pixel), Bytes16(tables.paperBlock));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(pixel + 16), Bytes8(tables.paperBlock + 16));
  return true;
}

// Likewise 32 pixels: three times 32 bytes, which begin with red, blue and green.
ZEP3_EIGHTS inline bool WhitenFourEights(uint8_t* pixel, const EightTables& tables) {
  constexpr int kBegins[3] = {0, 2, 1};
  Lanes darker = _mm256_setzero_si256();
  for (int i = 0; i < 3; i++) {
    const Lanes above = _mm256_subs_epu8(Bytes32(pixel + 32 * i), Bytes32(tables.darkerBlock + kBegins[i]));
    darker = _mm256_or_si256(darker, _mm256_cmpeq_epi8(above, _mm256_setzero_si256()));
  }
  if (_mm256_movemask_epi8(darker) != 0) return false;
  for (int i = 0; i < 3; i++)
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(pixel + 32 * i), Bytes32(tables.paperBlock + kBegins[i]));
  return true;
}

ZEP3_EIGHTS int64_t WhitenFirst(uint8_t* pixel, int64_t pixels, const EightTables& tables) {
  int64_t done = 0;
  while (pixels - done >= 4 * kPixels && WhitenFourEights(pixel + 3 * done, tables)) done += 4 * kPixels;
  while (pixels - done >= kPixels && WhitenEight(pixel + 3 * done, tables)) done += kPixels;
  return done;
}

enum class Way { kAlike, kWhitened, kMixed };

template <Way kWay>
ZEP3_EIGHTS void Change(uint8_t* pixel, int64_t pixels, const Slope& slope, const EightTables& tables) {
  Ramp gain[3];
  Colours paper, darker, asPaper;
  for (size_t c = 0; c < 3; c++) {
    gain[c] = RampOf(slope.gain[c], slope.gainStep[c]);
    paper.channel[c] = _mm256_set1_epi32(tables.paper[c]);
    darker.channel[c] = _mm256_set1_epi32(tables.darker[c]);
    asPaper.channel[c] = ByteOf(paper.channel[c]);
  }
  Ramp strokes = RampOf(slope.strokes, slope.strokesStep), whiten = RampOf(slope.whiten, slope.whitenStep);
  std::array<uint8_t, kBytes> rest = {}; // the last pixels, fewer, are changed here
  for (int64_t left = pixels; left > 0; left -= kPixels, pixel += kBytes) {
    uint8_t* at = pixel;
    if (kWay == Way::kWhitened && left >= kPixels && WhitenEight(pixel, tables)) {
      for (Ramp& g : gain) Go(g);
      continue;
    }
    if (left < kPixels) {
      std::memcpy(rest.data(), pixel, static_cast<size_t>(3 * left));
      at = rest.data();
    }
    const Colours v = Load(at);
    if (kWay == Way::kWhitened && AreAllAbove(v, darker)) {
      Store(at, asPaper);
    } else {
      Lanes entry[3];
      for (int c = 0; c < 3; c++) entry[c] = EntryOf(v.channel[c], gain[c].now);
      Lanes share = _mm256_setzero_si256();
      if (kWay != Way::kAlike)
        share = WhiteOf(tables.white, _mm256_min_epu32(entry[0], _mm256_min_epu32(entry[1], entry[2])));
      if (kWay == Way::kMixed) share = _mm256_srai_epi32(_mm256_mullo_epi32(share, Drawn(whiten.now)), 15);
      Colours out;
      for (int c = 0; c < 3; c++) {
        const uint16_t* const table = tables.table + c * ZEP3_PAGE_ENTRIES_8;
        Lanes level = LookUp(table, entry[c]);
        if (kWay == Way::kMixed)
          level = Mix(LookUp(table + 3 * ZEP3_PAGE_ENTRIES_8, entry[c]), level, Drawn(strokes.now));
        if (kWay != Way::kAlike) level = Mix(level, paper.channel[c], share);
        out.channel[c] = ByteOf(level);
      }
      Store(at, out);
    }
    if (left < kPixels) std::memcpy(pixel, rest.data(), static_cast<size_t>(3 * left));
    for (Ramp& g : gain) Go(g);
    if (kWay == Way::kMixed) {
      Go(strokes);
      Go(whiten);
    }
  }
}

} // namespace

const EightCalls* Eights() {
  static const EightCalls calls = {Change<Way::kAlike>, Change<Way::kWhitened>, Change<Way::kMixed>, WhitenFirst};
  static const bool has = __builtin_cpu_supports("avx2") != 0;
  return has ? &calls : nullptr;
}

#else

const EightCalls* Eights() { return nullptr; }

#endif

} // namespace page
