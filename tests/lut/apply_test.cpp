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
          SetSampleAt(&expected.Level(0, 0, c), image.depth, bits == ZEP3_BITS_16 ? row.deep[c] : row.deep[c] / 257);
        }
        EXPECT_EQ(ApplyZEP3ScanLUT(&image.bmp, bits == ZEP3_BITS_16 ? deepTable.data() : table.data(), row.chroma), 1);
        EXPECT_EQ(image.pixels, expected.pixels) << row.chroma << " format " << format << " bits " << bits;
      }
    }
  }
  const int64_t records[][3] = {
      {ZEP3_DOC_REFLECTIVE, 50, 125}, {ZEP3_DOC_POSITIVE, -300, 0}, {ZEP3_DOC_NEGATIVE_BW, 50, 0}};
  for (const auto& [type, saturation, percent] : records) {
    Record r(static_cast<int>(type));
    r.para.lSaturation = saturation;
    EXPECT_EQ(GetZEP3Chroma(&r.para), double(percent) / 100);
  }
}

// By hand: 0.2126 * 40 + 0.7152 * 100 + 0.0722 * 200 = 94.464, and 257 times that 24277.2. White stays white.
TEST(Apply, GrayIsTheLumaOfTheColours) {
  for (const int format : {ZEP3_PIXEL_RGB, ZEP3_PIXEL_BGRA, ZEP3_PIXEL_XRGB, ZEP3_PIXEL_GRAYA}) {
    for (const int64_t bits : {ZEP3_BITS_8, ZEP3_BITS_16}) {
      const bool coloured = kSamples[format] > 2, deep = bits == ZEP3_BITS_16;
      const bool alpha = format == ZEP3_PIXEL_BGRA || format == ZEP3_PIXEL_GRAYA;
      Image image(2, 1, format, 0, bits), gray(2, 1, ZEP3_PIXEL_GRAYA, 4, bits);
      std::fill(image.pixels.begin(), image.pixels.end(), uint8_t{255});
      image.Fill([&](int x, int, int c) { return x == 1 ? 255 : coloured && c != 1 ? 40 + 80 * c : 100; });
      const auto value = [&](int x, int sample) {
        return SampleAt(gray.bmp.pBits + (2 * x + sample) * gray.depth, gray.depth);
      };
      ASSERT_EQ(MakeZEP3Gray(&image.bmp, &gray.bmp), 1);
      EXPECT_EQ(value(0, 0), !coloured ? (deep ? 25700 : 100) : deep ? 24277 : 94) << format;
      EXPECT_EQ(value(1, 0), deep ? 65535 : 255) << format;
      const int a = image.bmp.pBits[alpha ? (kSamples[format] - 1) * image.depth : 0]; // of 16 bits the lower byte
      EXPECT_EQ(value(0, 1) & 255, alpha ? a : 255);
      gray.bmp.lWidth = 1;
      EXPECT_EQ(MakeZEP3Gray(&image.bmp, &gray.bmp), 0);
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
  first[1] = 77;
  ASSERT_EQ(::mprotect(memory, page, PROT_READ), 0);
  const auto table = TableOf<uint8_t>(256);
  ZEP3_BmpInfo bmp;
  SetZEP3Image(&bmp, first, kPixels, 1, 0, ZEP3_PIXEL_XRGB, ZEP3_BITS_8);
  EXPECT_EQ(ApplyZEP3LUT(&bmp, table.data()), 1);
  EXPECT_EQ(first[1], table[77]);
  ::munmap(memory, 2 * page);
}

// Depths that a call does not take, and samples of 16 bits at odd addresses.
TEST(Apply, WhatCannotBeReadIsRefused) {
  const std::vector<uint16_t> table(3 * 65536);
  Image image(2, 2, ZEP3_PIXEL_GRAY, 1, ZEP3_BITS_16);
  EXPECT_EQ(ApplyZEP3LUT16(&image.bmp, table.data()) + ApplyZEP3ScanLUT(&image.bmp, table.data(), 1.0), 0);
  image.bmp.lHeight = 1, image.bmp.lBytesPerLine = 4;
  EXPECT_EQ(ApplyZEP3LUT16(&image.bmp, table.data()), 1);
  image.bmp.pBits++;
  EXPECT_EQ(ApplyZEP3LUT16(&image.bmp, table.data()) + ApplyZEP3ScanLUT(&image.bmp, table.data(), 1.0), 0);
  EXPECT_EQ(ApplyZEP3LUT(&image.bmp, reinterpret_cast<const uint8_t*>(table.data())), 0);
  image.bmp.lBitCount = ZEP3_BITS_8;
  EXPECT_EQ(ApplyZEP3LUT16(&image.bmp, table.data()), 0);
}

} // namespace
