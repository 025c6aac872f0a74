// Tables applied to images: every path gives the bytes of the plain formula.
#include "engine/lut/apply.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
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

// Channel of a byte of a pixel by format: 0, 1, 2, or -1 for the unused one.
int ChannelAt(int format, int byte) {
  const int channels[3][4] = {{0, 1, 2, -1}, {2, 1, 0, -1}, {-1, 0, 1, 2}};
  return channels[format][byte];
}

TEST(Apply, EveryPathFormatAndStride) {
  const std::vector<uint8_t> table = Noise(768, 1);
  std::vector<std::pair<const char*, ApplyTables>> paths = {{"plain", ApplyPlain}};
  if (ApplyPermuted() != nullptr) paths.emplace_back("permutes", ApplyPermuted());
  for (const int format : {0, 1, 2}) {
    const int bytes = format == ZEP3_PIXEL_XRGB ? 4 : 3;
    for (const int width : {0, 1, 47, 48, 63, 64, 65, 191, 192, 193, 700}) {
      for (const int padding : {0, 1, 5}) {
        const int stride = width * bytes + padding;
        const int lines = 3;
        const std::vector<uint8_t> image = Noise(static_cast<size_t>(stride * lines + 8), static_cast<unsigned>(width));
        std::vector<uint8_t> expected = image;
        for (int y = 0; y < lines; y++) {
          for (int i = 0; i < width * bytes; i++) {
            const int channel = ChannelAt(format, i % bytes);
            uint8_t& value = expected[static_cast<size_t>(y * stride + i)];
            if (channel >= 0) value = table[static_cast<size_t>(256 * channel + value)];
          }
        }
        ZEP3_BmpInfo bmp = {};
        bmp.lWidth = width;
        bmp.lHeight = lines;
        bmp.lBytesPerLine = stride;
        bmp.lBitCount = 24;
        bmp.wPixelFormat = static_cast<uint16_t>(format);
        for (const auto& [name, path] : paths) {
          std::vector<uint8_t> pixels = image;
          for (int y = 0; y < lines; y++)
            path(&pixels[static_cast<size_t>(y * stride)], width, LayoutOf(bmp), table.data());
          EXPECT_EQ(pixels, expected) << name << " format " << format << " width " << width << " padding " << padding;
        }
        std::vector<uint8_t> pixels = image;
        bmp.pBits = pixels.data();
        EXPECT_EQ(ApplyZEP3LUT(&bmp, table.data()), 1);
        EXPECT_EQ(pixels, expected) << "call, format " << format << " width " << width << " padding " << padding;
        // Bottom-up: the same lines from the other end.
        pixels = image;
        bmp.pBits = &pixels[static_cast<size_t>(stride * (lines - 1))];
        bmp.lBytesPerLine = -stride;
        EXPECT_EQ(ApplyZEP3LUT(&bmp, table.data()), 1);
        EXPECT_EQ(pixels, expected);
      }
    }
  }
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

  ZEP3_BmpInfo bmp = {};
  bmp.pBits = first;
  bmp.lWidth = kPixels;
  bmp.lHeight = 1;
  bmp.lBytesPerLine = 4 * kPixels;
  bmp.lBitCount = 24;
  bmp.wPixelFormat = ZEP3_PIXEL_XRGB;
  EXPECT_EQ(ApplyZEP3LUT(&bmp, table.data()), 1);
  EXPECT_EQ(first[0], image[0]);
  EXPECT_EQ(first[1], table[image[1]]);
  ::munmap(memory, 2 * page);
}

TEST(Apply, WhatCannotBeAnImageIsRefused) {
  const std::vector<uint8_t> table = Noise(768, 1);
  std::vector<uint8_t> pixels(30, 7);
  ZEP3_BmpInfo good = {};
  good.pBits = pixels.data();
  good.lWidth = 5;
  good.lHeight = 2;
  good.lBytesPerLine = 15;
  good.lBitCount = 24;
  const auto refused = [&](auto change) {
    ZEP3_BmpInfo bmp = good;
    change(bmp);
    EXPECT_EQ(ApplyZEP3LUT(&bmp, table.data()), 0);
  };
  refused([](ZEP3_BmpInfo& bmp) { bmp.pBits = nullptr; });
  refused([](ZEP3_BmpInfo& bmp) { bmp.lBitCount = 32; });
  refused([](ZEP3_BmpInfo& bmp) { bmp.lWidth = -1; });
  refused([](ZEP3_BmpInfo& bmp) { bmp.lHeight = int64_t{1} << 31; });
  refused([](ZEP3_BmpInfo& bmp) { bmp.lWidth = int64_t{1} << 31; });
  refused([](ZEP3_BmpInfo& bmp) { bmp.lBytesPerLine = 14; });
  refused([](ZEP3_BmpInfo& bmp) { bmp.lBytesPerLine = -14; });
  refused([](ZEP3_BmpInfo& bmp) { bmp.lBytesPerLine = INT64_MIN; });
  refused([](ZEP3_BmpInfo& bmp) { bmp.lBytesPerLine = INT64_MAX; });
  refused([](ZEP3_BmpInfo& bmp) { bmp.wPixelFormat = ZEP3_PIXEL_XRGB; }); // its lines are longer
  EXPECT_EQ(ApplyZEP3LUT(nullptr, table.data()), 0);
  EXPECT_EQ(ApplyZEP3LUT(&good, nullptr), 0);
  EXPECT_EQ(pixels, std::vector<uint8_t>(30, 7));
  good.lHeight = 0;
  good.pBits = nullptr;
  EXPECT_EQ(ApplyZEP3LUT(&good, table.data()), 1);
}

} // namespace
