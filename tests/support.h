// Records and images for tests.
#pragma once

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

  void SetPoints(const ZEP3_POINTS& points) {
    for (ZEP3_POINTS& p : para.ic.ch) p = points;
  }
  using Bytes = std::array<uint8_t, sizeof(ZEP3_PARA)>;
  Bytes AllBytes() const {
    Bytes all;
    std::memcpy(all.data(), &para, sizeof para);
    return all;
  }
  std::array<int64_t, 15> Points() const {
    std::array<int64_t, 15> all;
    std::memcpy(all.data(), para.ic.ch, sizeof para.ic.ch);
    return all;
  }
};

// What an adaptive analysis measured.
inline Measured Seen(const ZEP3_EVIDENCE& evidence) {
  Measured measured;
  std::memcpy(&measured, evidence.dMeasured, sizeof measured);
  return measured;
}

// An image in a buffer of exactly the bytes that its fields promise, the analysis area all of it.
struct Image {
  int width, height, bytes, stride;
  std::vector<uint8_t> pixels;
  ZEP3_BmpInfo bmp{};

  Image(int w, int h, int format = ZEP3_PIXEL_RGB, int padding = 0)
      : width(w), height(h), bytes(format == ZEP3_PIXEL_XRGB ? 4 : 3), stride(w * bytes + padding) {
    pixels.assign(static_cast<size_t>(stride * (h - 1) + w * bytes), 170);
    bmp.pBits = pixels.data();
    bmp.lWidth = w;
    bmp.lHeight = h;
    bmp.lBytesPerLine = stride;
    bmp.lBitCount = 24;
    bmp.wPixelFormat = static_cast<uint16_t>(format);
    SetArea({0, 0}, {0, 0}, {w, h}, {w, h});
  }
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;

  void SetArea(LPOINT left, LPOINT top, LPOINT right, LPOINT bottom) { bmp.area = {left, top, right, bottom}; }

  // The last line in memory becomes the first of the image.
  void TurnUpsideDown() {
    bmp.pBits += int64_t{stride} * (height - 1);
    bmp.lBytesPerLine = -stride;
  }

  uint8_t& Level(int x, int y, int c) { return bmp.pBits[Offset(x, y, c)]; }
  uint8_t Level(int x, int y, int c) const { return bmp.pBits[Offset(x, y, c)]; }

  // color(x, y, channel) -> level
  template <class Color>
  void Fill(Color color) {
    for (int y = 0; y < height; y++) {
      for (int x = 0; x < width; x++) {
        for (int c = 0; c < 3; c++) Level(x, y, c) = static_cast<uint8_t>(color(x, y, c));
      }
    }
  }

 private:
  int64_t Offset(int x, int y, int c) const {
    constexpr int kOrder[3][3] = {{0, 1, 2}, {2, 1, 0}, {1, 2, 3}};
    const int format = bmp.wPixelFormat == ZEP3_PIXEL_RGB ? 0 : bmp.wPixelFormat == ZEP3_PIXEL_XRGB ? 2 : 1;
    return y * bmp.lBytesPerLine + x * bytes + kOrder[format][c];
  }
};

// Reproducible noise, 0..255: the high byte of a multiplicative hash (Knuth's 2^32 / golden ratio).
inline int Noise(int64_t n, int64_t seed) {
  return static_cast<int>(static_cast<uint32_t>((n + 1) * 2654435761 + seed * 40503) >> 24);
}
