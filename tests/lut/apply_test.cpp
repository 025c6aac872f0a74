// Tables applied to images: every path gives the bytes of the plain formula.
#include "engine/lut/apply.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "engine/zep3.h"

namespace {

std::vector<uint8_t> Noise(size_t size, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<uint8_t> bytes(size);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
  return bytes;
}

// Channels of the samples of a pixel by format: 0, 1, 2, or -1 for those that are left alone; a gray one is green.
const std::vector<std::vector<int>> kChannels = {{0, 1, 2},     {2, 1, 0}, {-1, 0, 1, 2}, {0, 1, 2, -1},
                                                 {2, 1, 0, -1}, {1},       {1, -1}};

// The image through the tables by the plain formula; stride in samples.
template <class Sample>
std::vector<Sample> Applied(std::vector<Sample> image, int format, int width, int lines, int stride,
                            const std::vector<Sample>& table) {
  const auto& channels = kChannels[static_cast<size_t>(format)];
  for (int y = 0; y < lines; y++) {
    for (size_t i = 0; i < static_cast<size_t>(width) * channels.size(); i++) {
      const int channel = channels[i % channels.size()];
      Sample& value = image[static_cast<size_t>(y * stride) + i];
      if (channel >= 0) value = table[table.size() / 3 * static_cast<size_t>(channel) + value];
    }
  }
  return image;
}

TEST(Apply, EveryPathFormatAndStride) {
  const std::vector<uint8_t> table = Noise(768, 1);
  std::vector<uint16_t> deepTable;
  for (int i = 0; i < 3 * 65536; i++) deepTable.push_back(static_cast<uint16_t>(i * 40503));
  std::vector<std::pair<const char*, ApplyTables<uint8_t>>> paths = {{"plain", ApplyPlain<uint8_t>}};
  if (ApplyPermuted() != nullptr) paths.emplace_back("permutes", ApplyPermuted());
  constexpr int kLines = 3;
  for (int format = 0; format < 7; format++) {
    const int samples = static_cast<int>(kChannels[static_cast<size_t>(format)].size());
    for (const int width : {0, 1, 47, 48, 63, 64, 65, 191, 192, 193, 700}) {
      for (const int padding : {0, 1, 5}) {
        SCOPED_TRACE(testing::Message() << "format " << format << " width " << width << " padding " << padding);
        const int stride = width * samples + padding;
        const std::vector<uint8_t> image =
            Noise(static_cast<size_t>(stride * kLines + 8), static_cast<unsigned>(width));
        const std::vector<uint8_t> expected = Applied(image, format, width, kLines, stride, table);
        ZEP3_BmpInfo bmp;
        std::vector<uint8_t> pixels = image;
        SetZEP3Image(&bmp, pixels.data(), width, kLines, stride, format, ZEP3_BITS_8);
        EXPECT_EQ(ApplyZEP3LUT(&bmp, table.data()), 1);
        EXPECT_EQ(pixels, expected);
        for (const auto& [name, path] : paths) {
          pixels = image;
          for (int y = 0; y < kLines; y++) path(bmp.pBits + y * stride, width, ScanLayoutOf(bmp), table.data());
          EXPECT_EQ(pixels, expected) << name;
        }
        // Bottom-up: the same lines from the other end.
        pixels = image;
        SetZEP3Image(&bmp, &pixels[static_cast<size_t>(stride * (kLines - 1))], width, kLines, -stride, format,
                     ZEP3_BITS_8);
        EXPECT_EQ(ApplyZEP3LUT(&bmp, table.data()), 1);
        EXPECT_EQ(pixels, expected);

        if (width > 65) continue;
        std::vector<uint16_t> deep;
        for (const uint8_t byte : image) deep.push_back(static_cast<uint16_t>(byte * 40503));
        const std::vector<uint16_t> deepExpected = Applied(deep, format, width, kLines, stride, deepTable);
        SetZEP3Image(&bmp, deep.data(), width, kLines, 2 * stride, format, ZEP3_BITS_16);
        EXPECT_EQ(ApplyZEP3LUT16(&bmp, deepTable.data()), 1);
        EXPECT_EQ(deep, deepExpected);
      }
    }
  }
}

// By hand: through the tables 40, 100, 200 becomes 10280, 25700, 51400 with the gray (10280 + 77100 + 51400) / 5 =
// 27756.
TEST(Apply, ChromaMovesColoursAboutTheirGray) {
  std::vector<uint16_t> table, deepTable;
  for (int i = 0; i < 768; i++) table.push_back(static_cast<uint16_t>(257 * (i % 256)));
  for (int i = 0; i < 3 * 65536; i++) deepTable.push_back(static_cast<uint16_t>(i));
  const struct {
    double chroma;
    int deep[3]; // for 8 bits over 257, which goes without a rest
  } rows[] = {
      {1.0, {10280, 25700, 51400}},  {0.0, {27756, 27756, 27756}}, {0.5, {19018, 26728, 39578}},
      {1.5, {1542, 24672, 63222}},   {4.0, {0, 19532, 65535}}, // held within the scale
      {-1.0, {27756, 27756, 27756}},                           // as 0
  };
  for (const auto& row : rows) {
    for (const int format : {ZEP3_PIXEL_RGB, ZEP3_PIXEL_BGRA, ZEP3_PIXEL_XRGB}) {
      SCOPED_TRACE(testing::Message() << row.chroma << " format " << format);
      constexpr int kLevels[] = {40, 100, 200};
      std::vector<uint8_t> pixel, expected;
      std::vector<uint16_t> deepPixel, deepExpected;
      for (const int channel : kChannels[static_cast<size_t>(format)]) {
        const int from = channel < 0 ? 33 : kLevels[channel], to = channel < 0 ? 33 * 257 : row.deep[channel];
        pixel.push_back(static_cast<uint8_t>(from));
        expected.push_back(static_cast<uint8_t>(to / 257));
        deepPixel.push_back(static_cast<uint16_t>(257 * from));
        deepExpected.push_back(static_cast<uint16_t>(to));
      }
      ZEP3_BmpInfo bmp;
      SetZEP3Image(&bmp, pixel.data(), 1, 1, 0, format, ZEP3_BITS_8);
      EXPECT_EQ(ApplyZEP3ScanLUT(&bmp, table.data(), row.chroma), 1);
      EXPECT_EQ(pixel, expected);
      SetZEP3Image(&bmp, deepPixel.data(), 1, 1, 0, format, ZEP3_BITS_16);
      EXPECT_EQ(ApplyZEP3ScanLUT(&bmp, deepTable.data(), row.chroma), 1);
      EXPECT_EQ(deepPixel, deepExpected);
    }
  }
  // Gray has none: the green table alone, rounded to bytes.
  uint8_t gray[2] = {7, 9};
  for (size_t i = 0; i < 256; i++) table[256 + i] = static_cast<uint16_t>(40 * 257 + (i == 7 ? 128 : 129));
  ZEP3_BmpInfo bmp;
  SetZEP3Image(&bmp, gray, 2, 1, 0, ZEP3_PIXEL_GRAY, ZEP3_BITS_8);
  EXPECT_EQ(ApplyZEP3ScanLUT(&bmp, table.data(), 0.0), 1);
  EXPECT_EQ(gray[0], 40);
  EXPECT_EQ(gray[1], 41);

  const auto chroma = [](int type, int64_t saturation) {
    ZEP3_PARA para = {};
    para.wDocType = static_cast<uint16_t>(type);
    para.lSaturation = saturation;
    return GetZEP3Chroma(&para);
  };
  EXPECT_EQ(chroma(ZEP3_DOC_REFLECTIVE, 50), 1.25);
  EXPECT_EQ(chroma(ZEP3_DOC_NEGATIVE, -20), 0.9);
  EXPECT_EQ(chroma(ZEP3_DOC_POSITIVE, -300), 0.0);
  EXPECT_EQ(chroma(ZEP3_DOC_NEGATIVE_BW, 50), 0.0);
}

// The first pixel's unused byte is the last one of a page that cannot be written: a store of it, be it of the value
// that it has, ends the process.
TEST(Apply, TheUnusedByteIsNotStored) {
  constexpr int kPixels = 700;
  const auto page = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
  void* memory = ::mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  uint8_t* first = static_cast<uint8_t*>(memory) + page - 1;
  const std::vector<uint8_t> table = Noise(768, 1);
  const std::vector<uint8_t> image = Noise(4 * kPixels, 2);
  std::copy(image.begin(), image.end(), first);
  ASSERT_EQ(::mprotect(memory, page, PROT_READ), 0);

  ZEP3_BmpInfo bmp;
  SetZEP3Image(&bmp, first, kPixels, 1, 0, ZEP3_PIXEL_XRGB, ZEP3_BITS_8);
  EXPECT_EQ(ApplyZEP3LUT(&bmp, table.data()), 1);
  EXPECT_EQ(first[0], image[0]);
  EXPECT_EQ(first[1], table[image[1]]);
  ::munmap(memory, 2 * page);
}

TEST(Apply, WhatCannotBeAnImageIsRefused) {
  const std::vector<uint8_t> table = Noise(768, 1);
  std::vector<uint8_t> pixels(30, 7);
  uint16_t deep[4] = {}, deepTable[1] = {};
  void (*const spoils[])(ZEP3_BmpInfo&) = {
      [](ZEP3_BmpInfo& bmp) { bmp.pBits = nullptr; },
      [](ZEP3_BmpInfo& bmp) { bmp.lBitCount = 32; },
      [](ZEP3_BmpInfo& bmp) { bmp.lWidth = -1; },
      [](ZEP3_BmpInfo& bmp) { bmp.lHeight = int64_t{1} << 31; },
      [](ZEP3_BmpInfo& bmp) { bmp.lBytesPerLine = -14; },
      [](ZEP3_BmpInfo& bmp) { bmp.lBytesPerLine = INT64_MIN; },
      [](ZEP3_BmpInfo& bmp) { bmp.lBytesPerLine = INT64_MAX; },
      [](ZEP3_BmpInfo& bmp) { bmp.wPixelFormat = ZEP3_PIXEL_XRGB; }, // its lines are longer
  };
  ZEP3_BmpInfo good, bmp;
  SetZEP3Image(&good, pixels.data(), 5, 2, 0, ZEP3_PIXEL_BGR, ZEP3_BITS_8);
  for (const auto spoil : spoils) {
    bmp = good;
    spoil(bmp);
    EXPECT_EQ(ApplyZEP3LUT(&bmp, table.data()), 0) << &spoil - spoils;
  }
  // Depths that a call does not take, and samples of 16 bits at odd addresses.
  EXPECT_EQ(ApplyZEP3LUT16(&good, deepTable) + ApplyZEP3ScanLUT(&good, deepTable, std::nan("")), 0);
  SetZEP3Image(&bmp, reinterpret_cast<uint8_t*>(deep) + 1, 1, 1, 0, ZEP3_PIXEL_RGB, ZEP3_BITS_16);
  EXPECT_EQ(ApplyZEP3LUT16(&bmp, deepTable) + ApplyZEP3ScanLUT(&bmp, deepTable, 1.0), 0);
  SetZEP3Image(&bmp, deep, 1, 2, 7, ZEP3_PIXEL_GRAY, ZEP3_BITS_16);
  EXPECT_EQ(ApplyZEP3LUT16(&bmp, deepTable) + ApplyZEP3LUT(&bmp, table.data()), 0);
  EXPECT_EQ(ApplyZEP3LUT(nullptr, table.data()) + ApplyZEP3LUT(&good, nullptr), 0);
  EXPECT_EQ(pixels, std::vector<uint8_t>(30, 7));
  SetZEP3Image(&bmp, nullptr, 5, 0, 0, ZEP3_PIXEL_BGR, ZEP3_BITS_8);
  EXPECT_EQ(ApplyZEP3LUT(&bmp, table.data()), 1) << "no lines";
}

} // namespace
