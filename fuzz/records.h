// Records and images as hostile as their types allow, in blocks of the heap of exactly their length.
#pragma once

#include <algorithm>
#include <memory>
#include <utility>

#include "engine/zep3.h"
#include "film_picture.h"
#include "target.h"

// A parameter record with its tone records. Fields are ranges that make sense as often as any value at all, so that
// calls get past their first look at the record.
class HostileRecord {
 public:
  explicit HostileRecord(Input& input) : m_tones(std::make_unique<Tones>()) {
    para.wDocType = Code(input, 5);
    para.wSubMode = Code(input, 6);
    para.wDocOption = Code(input, 3);
    para.lScreenGamma = input.OneIn(4) ? input.Field() : 10 + input.Below(21);
    para.lCorrectLevel = input.OneIn(3) ? input.Field() : input.Below(10);
    para.lAgainstLight = input.OneIn(3) ? input.Field() : input.Below(10);
    para.lSaturation = input.Field();
    para.lLevelFlag = input.Field();
    para.ic.wHlCurveType = Code(input, 8);
    para.ic.wSdCurveType = Code(input, 9);
    for (ZEP3_POINTS& p : para.ic.ch) {
      p = {62965, 2570, 63424, 4630, 100};
      for (int64_t* field : {&p.lHlIn, &p.lSdIn, &p.lHlOut, &p.lSdOut, &p.lGamma}) {
        if (input.OneIn(2)) *field = input.Field();
      }
    }
    for (int64_t* field : {&para.ic.lBrightness, &para.ic.lContrast, &para.ic.lColorBalanceR, &para.ic.lColorBalanceG,
                           &para.ic.lColorBalanceB}) {
      if (input.OneIn(3)) *field = input.OneIn(2) ? input.Field() : input.Below(100) - 50;
    }
    for (ZEP3_TONE& tone : m_tones->all) FillTone(input, tone);
    para.ic.pMasterTone = input.OneIn(5) ? nullptr : &m_tones->all[0];
    para.ic.pRGBTone = input.OneIn(5) ? nullptr : &m_tones->all[1];
    // Often the user's own records, as a caller has them that takes the proposal.
    const int proposal = input.Below(16);
    para.pOutMasterTone = proposal < 8 ? &m_tones->all[0] : proposal < 14 ? &m_tones->all[4] : nullptr;
    para.pOutRGBTone = proposal < 8 ? &m_tones->all[1] : proposal != 14 ? &m_tones->all[5] : nullptr;
  }

  // An equal record that points to tone records of its own.
  HostileRecord(const HostileRecord& other) : para(other.para), m_tones(std::make_unique<Tones>(*other.m_tones)) {
    for (ZEP3_TONE** tone : {&para.ic.pMasterTone, &para.ic.pRGBTone, &para.pOutMasterTone, &para.pOutRGBTone}) {
      if (*tone != nullptr) *tone = m_tones->all + (*tone - other.m_tones->all);
    }
  }

  HostileRecord& operator=(HostileRecord other) {
    std::swap(para, other.para);
    std::swap(m_tones, other.m_tones);
    return *this;
  }

  bool IsServed() const { return para.pOutMasterTone != nullptr && para.pOutRGBTone != nullptr; }
  bool IsNegative() const { return para.wDocType == ZEP3_DOC_NEGATIVE || para.wDocType == ZEP3_DOC_NEGATIVE_BW; }

  // Whether all but the pointers is the same.
  bool operator==(const HostileRecord& other) const {
    ZEP3_PARA mine = para;
    mine.ic.pMasterTone = other.para.ic.pMasterTone;
    mine.ic.pRGBTone = other.para.ic.pRGBTone;
    mine.pOutMasterTone = other.para.pOutMasterTone;
    mine.pOutRGBTone = other.para.pOutRGBTone;
    return std::memcmp(&mine, &other.para, sizeof mine) == 0 && HasTonesOf(other);
  }
  bool HasTonesOf(const HostileRecord& other) const {
    return std::memcmp(m_tones.get(), other.m_tones.get(), sizeof *m_tones) == 0;
  }
  // Into the digest: all but the pointers.
  void Keep() const {
    ZEP3_PARA mine = para;
    mine.ic.pMasterTone = mine.ic.pRGBTone = mine.pOutMasterTone = mine.pOutRGBTone = nullptr;
    ::Keep(reinterpret_cast<const unsigned char*>(&mine), sizeof mine);
    ::Keep(reinterpret_cast<const unsigned char*>(m_tones.get()), sizeof *m_tones);
  }

  ZEP3_PARA para = {};

 private:
  // The user's master and channel curves, then the proposed ones.
  struct Tones {
    ZEP3_TONE all[8];
  };

  static uint16_t Code(Input& input, int known) {
    return input.OneIn(8) ? input.Take<uint16_t>() : static_cast<uint16_t>(input.Below(known));
  }

  static void FillTone(Input& input, ZEP3_TONE& tone) {
    std::memset(&tone, 0, sizeof tone);
    tone.wPointNum = 2;
    tone.ptCtrl[1] = {255, 255};
    if (!input.OneIn(3)) return;
    tone.wPointNum = input.OneIn(3) ? input.Take<int16_t>() : static_cast<int16_t>(input.Below(18));
    const bool rising = input.OneIn(2);
    int64_t x = 0;
    for (int i = 0; i < std::clamp<int>(tone.wPointNum, 0, ZEP3_TONE_POINTS); i++) {
      x = rising ? x + input.Below(40) : input.Field();
      tone.ptCtrl[i] = {x, rising ? input.Below(256) : input.Field()};
    }
  }

  std::unique_ptr<Tones> m_tones;
};

// An image whose fields hold anything, with a buffer of exactly the bytes that the scan rectangle spans. Where that is
// more than a fuzzer should touch, or cannot be, the pixels are null or a single byte.
class HostileImage {
 public:
  static constexpr int64_t kMostBytes = 1 << 20;

  // `wholeImage`: the buffer is for all of the image, whatever the area.
  HostileImage(Input& input, bool wholeImage) {
    bmp.lWidth = input.OneIn(8) ? input.Field() : 1 + input.Below(250);
    bmp.lHeight = input.OneIn(8) ? input.Field() : 1 + input.Below(120);
    const int depth = input.Below(16);
    bmp.lBitCount = wholeImage && depth == 14 ? ZEP3_BITS_16 : ZEP3_BITS_8;
    if (depth == 15) bmp.lBitCount = input.Field();
    bmp.wPixelFormat = input.OneIn(8) ? input.Take<uint16_t>() : static_cast<uint16_t>(input.Below(8));
    // The analyses read formats that they do not know as B G R.
    constexpr int kSamples[] = {3, 3, 4, 4, 4, 1, 2};
    m_bytes = bmp.wPixelFormat < (wholeImage ? std::size(kSamples) : 3) ? kSamples[bmp.wPixelFormat] : 3;
    if (bmp.lBitCount == ZEP3_BITS_16) m_bytes *= 2;
    const uint64_t stride =
        static_cast<uint64_t>(bmp.lWidth) * static_cast<uint64_t>(m_bytes) + static_cast<uint64_t>(input.Below(8));
    bmp.lBytesPerLine = static_cast<int64_t>(input.OneIn(4) ? 0 - stride : stride);
    if (input.OneIn(8)) bmp.lBytesPerLine = input.Field();
    FillArea(input);
    Allocate(input, wholeImage);
  }

  // Lines of the scan rectangle that lie on one another, or outside of the address space: no call may touch a pixel.
  bool MustBeRefused() const { return m_refused; }
  bool HasPixels() const { return m_hasPixels; }

  // The same image in a buffer of its own.
  HostileImage(const HostileImage& other) : bmp(other.bmp), m_size(other.m_size), m_bytes(other.m_bytes) {
    m_refused = other.m_refused;
    m_hasPixels = other.m_hasPixels;
    if (other.m_buffer == nullptr) return;
    m_buffer = std::make_unique<uint8_t[]>(m_size);
    std::copy_n(other.m_buffer.get(), m_size, m_buffer.get());
    bmp.pBits = m_buffer.get() + (other.bmp.pBits - other.m_buffer.get());
  }
  void Keep() const { ::Keep(m_buffer.get(), m_size); }
  bool operator==(const HostileImage& other) const {
    return std::equal(m_buffer.get(), m_buffer.get() + m_size, other.m_buffer.get(), other.m_buffer.get() + m_size);
  }

  ZEP3_BmpInfo bmp = {};

 private:
  using Wide = __int128;

  void FillArea(Input& input) {
    AREA& area = bmp.area;
    const int64_t w = bmp.lWidth, h = bmp.lHeight;
    switch (input.Below(4)) {
      case 0: // all of it
        area = {{0, 0}, {0, 0}, {w, h}, {w, h}};
        break;
      case 1: { // upright
        const LPOINT from = {input.Field(), input.Field()}, to = {input.Field(), input.Field()};
        area = {from, from, to, to};
        break;
      }
      case 2: { // rotated, about the image
        const auto place = [&]() -> int64_t { return input.Below(250); };
        const int64_t left = place(), top = place(), right = left + place(), bottom = top + place();
        area = {{left, top + input.Below(100)},
                {left + input.Below(100), top},
                {right, bottom - input.Below(100)},
                {right - input.Below(100), bottom}};
        break;
      }
      default:
        for (LPOINT* corner : {&area.ptLeft, &area.ptTop, &area.ptRight, &area.ptBottom}) {
          *corner = {input.Field(), input.Field()};
        }
    }
  }

  void Allocate(Input& input, bool wholeImage) {
    const auto clip = [](Wide v) { return std::clamp<Wide>(v, 0, INT32_MAX); };
    const AREA whole = {{0, 0}, {0, 0}, {bmp.lWidth, bmp.lHeight}, {bmp.lWidth, bmp.lHeight}};
    const AREA& area = wholeImage ? whole : bmp.area;
    const Wide left = clip(area.ptLeft.x), right = clip(std::min(area.ptRight.x, bmp.lWidth));
    const Wide top = clip(area.ptTop.y), bottom = clip(std::min(area.ptBottom.y, bmp.lHeight));
    m_hasPixels = left < right && top < bottom;
    if (!m_hasPixels || input.OneIn(64)) return;
    const Wide stride = bmp.lBytesPerLine;
    const Wide lines[2] = {top * stride, (bottom - 1) * stride};
    const Wide lowest = std::min(lines[0], lines[1]) + left * m_bytes;
    const Wide highest = std::max(lines[0], lines[1]) + right * m_bytes;
    const Wide step = stride < 0 ? -stride : stride;
    m_refused = (bottom - top > 1 && step < right * m_bytes) || highest > PTRDIFF_MAX || lowest < -Wide{PTRDIFF_MAX};
    // What begins far behind pBits cannot be had: there is no such pointer.
    const bool near = lowest >= -kMostBytes && highest <= kMostBytes;
    if (!near && !m_refused) return;
    const Wide size = m_refused ? 1 : highest - lowest;
    m_size = static_cast<size_t>(size);
    m_buffer = std::make_unique<uint8_t[]>(m_size);
    bmp.pBits =
        m_refused
            ? m_buffer.get()
            : reinterpret_cast<uint8_t*>(reinterpret_cast<intptr_t>(m_buffer.get()) - static_cast<intptr_t>(lowest));
    FillPixels(input);
  }

  // A film's picture; or a level, a rise along the buffer and noise, which most calculators take.
  void FillPixels(Input& input) {
    if (input.OneIn(2)) {
      FillFromFilm(FilmPicture(input));
      return;
    }
    const unsigned base = input.Take<uint8_t>(), rise = input.Take<uint8_t>(), noise = input.Take<uint8_t>();
    const uint64_t seed = input.Take<uint16_t>() + 1u;
    for (size_t i = 0; i < m_size; i++) {
      const auto random = static_cast<unsigned>((i + seed) * 0x9E3779B97F4A7C15u >> 56);
      m_buffer[i] = static_cast<uint8_t>(std::min<size_t>(255, base + rise * i / m_size + random * noise / 256));
    }
  }

  void FillFromFilm(const FilmPicture& picture) {
    const auto size = static_cast<int64_t>(m_size);
    const int64_t stride = std::max<int64_t>(1, std::abs(std::clamp(bmp.lBytesPerLine, -size, size)));
    for (int64_t i = 0; i < size; i++) {
      const int64_t inLine = i % stride;
      m_buffer[static_cast<size_t>(i)] = picture.At(
          static_cast<double>(inLine) / static_cast<double>(stride), static_cast<double>(i) / static_cast<double>(size),
          inLine / m_bytes, i / stride, static_cast<int>(inLine % m_bytes % 3));
    }
  }

  std::unique_ptr<uint8_t[]> m_buffer;
  size_t m_size = 0;
  int m_bytes = 3;
  bool m_refused = false;
  bool m_hasPixels = false;
};
