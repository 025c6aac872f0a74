// Records, images and pictures for tests.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "engine/adaptive/evidence.h"
#include "engine/zep3.h"

// A default record (reflective photo) with its tone records; user and proposed curves apart.
struct Record {
  ZEP3_PARA para;
  ZEP3_TONE master, rgb[3], outMaster, outRgb[3];

  explicit Record(int type = ZEP3_DOC_REFLECTIVE, int subMode = ZEP3_SUB_PHOTO, int option = ZEP3_OPTION_NORMAL) {
    ResetZEP3(&para, &master, rgb);
    outMaster = master;
    std::memcpy(outRgb, rgb, sizeof rgb);
    para.pOutMasterTone = &outMaster;
    para.pOutRGBTone = outRgb;
    para.wDocType = static_cast<uint16_t>(type);
    para.wSubMode = static_cast<uint16_t>(subMode);
    para.wDocOption = static_cast<uint16_t>(option);
  }
  Record(const Record&) = delete;
  Record& operator=(const Record&) = delete;

  bool IsFilm() const { return para.wDocType == ZEP3_DOC_NEGATIVE || para.wDocType == ZEP3_DOC_NEGATIVE_BW; }
  void SetPoints(const ZEP3_POINTS& points) {
    for (ZEP3_POINTS& p : para.ic.ch) p = points;
  }
  // All but the tone records.
  std::array<uint8_t, sizeof(ZEP3_PARA)> Bytes() const {
    std::array<uint8_t, sizeof(ZEP3_PARA)> all;
    std::memcpy(all.data(), &para, sizeof para);
    return all;
  }
  std::array<int64_t, 15> Points() const {
    std::array<int64_t, 15> all;
    std::memcpy(all.data(), para.ic.ch, sizeof para.ic.ch);
    return all;
  }
};

// By pixel format: samples of a pixel, and which of them is red, green, blue; a gray one is green.
inline constexpr int kSamples[] = {3, 3, 4, 4, 4, 1, 2};
inline constexpr int kSampleOf[7][3] = {{0, 1, 2}, {2, 1, 0}, {1, 2, 3}, {0, 1, 2}, {2, 1, 0}, {0, 0, 0}, {0, 0, 0}};

// An image in a buffer of exactly the bytes that its fields promise, the analysis area all of it.
// A sample of one or two bytes, in the byte order of the machine.
inline int SampleAt(const uint8_t* at, int depth) {
  uint16_t deep = 0;
  if (depth == 1) return *at;
  std::memcpy(&deep, at, sizeof deep);
  return deep;
}
inline void SetSampleAt(uint8_t* at, int depth, int value) {
  const auto deep = static_cast<uint16_t>(value);
  if (depth == 1)
    *at = static_cast<uint8_t>(value);
  else
    std::memcpy(at, &deep, sizeof deep);
}

struct Image {
  int width, height, format, depth, bytes, stride; // bytes of a sample, of a pixel, of a line
  std::vector<uint8_t> pixels;
  ZEP3_BmpInfo bmp;

  Image(int w, int h, int layout = ZEP3_PIXEL_RGB, int padding = 0, int64_t bits = ZEP3_BITS_8)
      : width(w),
        height(h),
        format(layout),
        depth(bits == ZEP3_BITS_16 ? 2 : 1),
        bytes(depth * kSamples[layout]),
        stride(w * bytes + padding),
        pixels(static_cast<size_t>(stride * (h - 1) + w * bytes), 170) {
    SetZEP3Image(&bmp, pixels.data(), w, h, stride, layout, bits);
  }
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;

  // The last line in memory becomes the first of the image.
  void TurnUpsideDown() {
    bmp.pBits += int64_t{stride} * (height - 1);
    bmp.lBytesPerLine = -stride;
  }

  // Of 16 bits the first byte.
  uint8_t& Level(int x, int y, int c) {
    return bmp.pBits[y * bmp.lBytesPerLine + x * bytes + depth * kSampleOf[format][c]];
  }
  int Level(int x, int y, int c) const { return const_cast<Image*>(this)->Level(x, y, c); }

  // color(x, y, channel) -> level, times 257 for 16 bits
  template <class Color>
  void Fill(Color color) {
    for (int y = 0; y < height; y++) {
      for (int x = 0; x < width; x++) {
        for (int c = 0; c < 3; c++) {
          if (kSamples[format] < 3 && c != 1) continue;
          std::memset(&Level(x, y, c), static_cast<uint8_t>(color(x, y, c)), static_cast<size_t>(depth));
        }
      }
    }
  }
};

// Reproducible noise, 0..255: the high byte of a multiplicative hash (Knuth's 2^32 / golden ratio).
inline int Noise(int64_t n, int64_t seed) {
  return static_cast<int>(static_cast<uint32_t>((n + 1) * 2654435761 + seed * 40503) >> 24);
}

// A soft ramp with noise, usable for every kind of original.
inline void FillPicture(Image& image) {
  image.Fill([&](int x, int y, int c) {
    return 40 + 10 * c + x * 130 / image.width + Noise(3 * (y * image.width + x) + c, 5) / 8;
  });
}

inline double kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
inline constexpr ZEP3_POINTS kPhotoPoints = {63424, 4630, 63424, 4630, 100};
inline constexpr ZEP3_POINTS kFilmPoints = {54157, 11813, 53721, 4630, 150};

// An image's analysis, and the tables of the proposal.
struct Analysed {
  Record r;
  ZEP3_EVIDENCE evidence = {};
  std::array<uint8_t, 768> table{};

  Analysed(const Image& image, bool adaptive, int type, int subMode = 0, int64_t level = 4, double* matrix = kIdentity,
           int option = ZEP3_OPTION_NORMAL)
      : r(type, subMode, option) {
    ZEP3_BmpInfo bmp = image.bmp;
    r.para.lCorrectLevel = level;
    r.para.lSaturation = 99; // of another scan
    EXPECT_EQ(adaptive ? ZEP3Adaptive(&bmp, &r.para, matrix, &evidence) : ZEP3(&bmp, &r.para, matrix), 1);
    ZEP3_PARA copy = r.para; // the table builder writes into it
    EXPECT_EQ(MakeZEP3LUTEx(&copy, matrix, table.data()), 1);
  }
  int At(int level, int c) const { return table[static_cast<size_t>(256 * c + level)]; }
  bool Says(int64_t reason) const { return (evidence.lReasons & reason) != 0; }
  Measured Seen() const {
    Measured measured;
    std::memcpy(&measured, evidence.dMeasured, sizeof measured);
    return measured;
  }
};
