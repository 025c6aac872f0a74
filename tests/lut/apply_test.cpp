// Tables applied to images: every path gives the bytes of the plain formula.
#include "engine/lut/apply.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "support.h"

namespace {

template <class Sample>
std::vector<Sample> TableOf(size_t entries) {
  std::vector<Sample> table(3 * entries);
  for (size_t i = 0; i < table.size(); i++) table[i] = static_cast<Sample>(i * 40503 + i / 7);
  return table;
}

// Noise in every byte, those between the lines too, and what the plain formula makes of it.
template <class Sample>
void FillAndApply(Image& image, const std::vector<Sample>& table, std::vector<uint8_t>& expected) {
  for (size_t i = 0; i < image.pixels.size(); i++) image.pixels[i] = static_cast<uint8_t>(Noise(int64_t(i), 1));
  const std::vector<uint8_t> before = image.pixels;
  for (int y = 0; y < image.height; y++) {
    for (int x = 0; x < image.width; x++) {
      for (size_t c = 0; c < 3; c++) {
        if (kSamples[image.format] < 3 && c != 1) continue;
        Sample value;
        std::memcpy(&value, &image.Level(x, y, int(c)), sizeof value);
        value = table[table.size() / 3 * c + value];
        std::memcpy(&image.Level(x, y, int(c)), &value, sizeof value);
      }
    }
  }
  expected = image.pixels;
  image.pixels = before; // of the same size: where they were
}

TEST(Apply, EveryPathFormatAndStride) {
  const auto table = TableOf<uint8_t>(256);
  const auto deepTable = TableOf<uint16_t>(65536);
  std::vector<ApplyTables<uint8_t>> paths = {ApplyPlain<uint8_t>};
  if (ApplyPermuted() != nullptr) paths.push_back(ApplyPermuted());
  std::vector<uint8_t> expected;
  for (int format = 0; format < 7; format++) {
    for (const int width : {1, 47, 48, 63, 64, 65, 191, 192, 193, 700}) {
      for (const int padding : {0, 1, 6}) {
        SCOPED_TRACE(testing::Message() << "format " << format << " width " << width << " padding " << padding);
        for (const bool bottomUp : {false, true}) {
          Image image(width, 3, format, padding);
          if (bottomUp) image.TurnUpsideDown();
          FillAndApply(image, table, expected);
          const std::vector<uint8_t> before = image.pixels;
          EXPECT_EQ(ApplyZEP3LUT(&image.bmp, table.data()), 1);
          EXPECT_EQ(image.pixels, expected);
          for (const auto& path : paths) {
            image.pixels = before;
            for (int y = 0; y < 3; y++) {
              path(image.bmp.pBits + y * image.bmp.lBytesPerLine, width, ScanLayoutOf(image.bmp), table.data());
            }
            EXPECT_EQ(image.pixels, expected) << "path " << &path - paths.data();
          }
        }
        if (width > 65 || padding == 1) continue;
        Image deep(width, 3, format, padding, ZEP3_BITS_16);
        FillAndApply(deep, deepTable, expected);
        EXPECT_EQ(ApplyZEP3LUT16(&deep.bmp, deepTable.data()), 1);
        EXPECT_EQ(deep.pixels, expected);
      }
    }
  }
}

// By hand: through the tables 40, 100, 200 becomes 10280, 25700, 51400 with the gray (10280 + 77100 + 51400) / 5 =
// 27756.
TEST(Apply, ChromaMovesColoursAboutTheirGray) {
  std::vector<uint16_t> table(768), deepTable(3 * 65536);
  for (size_t i = 0; i < 768; i++) table[i] = static_cast<uint16_t>(257 * (i % 256));
  for (size_t i = 0; i < deepTable.size(); i++) deepTable[i] = static_cast<uint16_t>(i);
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
      for (const int64_t bits : {ZEP3_BITS_8, ZEP3_BITS_16}) {
        Image image(1, 1, format, 0, bits), expected(1, 1, format, 0, bits);
        image.Fill([](int, int, int c) { return c == 0 ? 40 : 100 * c; });
        for (int c = 0; c < 3; c++) {
          const auto to = static_cast<uint16_t>(bits == ZEP3_BITS_16 ? row.deep[c] : row.deep[c] / 257);
          std::memcpy(&expected.Level(0, 0, c), &to, static_cast<size_t>(image.depth));
        }
        EXPECT_EQ(ApplyZEP3ScanLUT(&image.bmp, bits == ZEP3_BITS_16 ? deepTable.data() : table.data(), row.chroma), 1);
        EXPECT_EQ(image.pixels, expected.pixels) << row.chroma << " format " << format << " bits " << bits;
      }
    }
  }
  // Gray has none: the green table alone, rounded to bytes.
  Image gray(2, 1, ZEP3_PIXEL_GRAY);
  gray.pixels = {7, 9};
  for (size_t i = 0; i < 256; i++) table[256 + i] = static_cast<uint16_t>(40 * 257 + (i == 7 ? 128 : 129));
  EXPECT_EQ(ApplyZEP3ScanLUT(&gray.bmp, table.data(), 0.0), 1);
  EXPECT_EQ(gray.pixels, (std::vector<uint8_t>{40, 41}));

  const struct {
    int type;
    int64_t saturation;
    double chroma;
  } records[] = {{ZEP3_DOC_REFLECTIVE, 50, 1.25},
                 {ZEP3_DOC_NEGATIVE, -20, 0.9},
                 {ZEP3_DOC_POSITIVE, -300, 0.0},
                 {ZEP3_DOC_NEGATIVE_BW, 50, 0.0}};
  for (const auto& row : records) {
    Record r(row.type);
    r.para.lSaturation = row.saturation;
    EXPECT_EQ(GetZEP3Chroma(&r.para), row.chroma);
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
  first[1] = 77;
  ASSERT_EQ(::mprotect(memory, page, PROT_READ), 0);
  const auto table = TableOf<uint8_t>(256);
  ZEP3_BmpInfo bmp;
  SetZEP3Image(&bmp, first, kPixels, 1, 0, ZEP3_PIXEL_XRGB, ZEP3_BITS_8);
  EXPECT_EQ(ApplyZEP3LUT(&bmp, table.data()), 1);
  EXPECT_EQ(first[1], table[77]);
  ::munmap(memory, 2 * page);
}

TEST(Apply, WhatCannotBeAnImageIsRefused) {
  const auto table = TableOf<uint8_t>(256);
  uint16_t deepTable[1] = {};
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
  Image good(5, 2, ZEP3_PIXEL_BGR), deep(2, 2, ZEP3_PIXEL_GRAY, 0, ZEP3_BITS_16);
  for (const auto& spoil : spoils) {
    ZEP3_BmpInfo bmp = good.bmp;
    spoil(bmp);
    EXPECT_EQ(ApplyZEP3LUT(&bmp, table.data()), 0) << &spoil - spoils;
  }
  // Depths that a call does not take, and samples of 16 bits at odd addresses.
  EXPECT_EQ(ApplyZEP3LUT16(&good.bmp, deepTable) + ApplyZEP3ScanLUT(&good.bmp, deepTable, std::nan("")), 0);
  EXPECT_EQ(ApplyZEP3LUT(&deep.bmp, table.data()), 0);
  deep.bmp.lBytesPerLine = 5;
  EXPECT_EQ(ApplyZEP3LUT16(&deep.bmp, deepTable), 0);
  deep.bmp.lBytesPerLine = 4, deep.bmp.lHeight = 1, deep.bmp.pBits++;
  EXPECT_EQ(ApplyZEP3LUT16(&deep.bmp, deepTable) + ApplyZEP3ScanLUT(&deep.bmp, deepTable, 1.0), 0);
  EXPECT_EQ(ApplyZEP3LUT(nullptr, table.data()) + ApplyZEP3LUT(&good.bmp, nullptr), 0);
  EXPECT_EQ(good.pixels, std::vector<uint8_t>(30, 170));
  good.bmp.pBits = nullptr, good.bmp.lHeight = 0;
  EXPECT_EQ(ApplyZEP3LUT(&good.bmp, table.data()), 1) << "no lines";
}

} // namespace
