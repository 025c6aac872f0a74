// The pre-scan, the scan's own tables, and the finished picture.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "support.h"

namespace {

using Levels = std::vector<uint8_t>;

Levels PrescanOf(const ZEP3_BmpInfo& scan, int64_t gamma, int64_t shrink, ZEP3_BmpInfo& prescan) {
  const auto blocks = [&](int64_t side) { return (side + shrink - 1) / shrink; };
  Levels levels(static_cast<size_t>(3 * blocks(scan.lWidth) * blocks(scan.lHeight)));
  prescan.pBits = levels.data();
  EXPECT_EQ(MakeZEP3Prescan(&scan, gamma, shrink, &prescan), 1);
  return levels;
}

TEST(Prescan, IsTheMeanOfSquaresOnTheEnginesScale) {
  ZEP3_BmpInfo prescan;
  // At gamma 1.8 values are levels. The last column and line are of what there is.
  const auto pattern = [](int x, int y, int c) { return (7 * x + 31 * y + 50 * c) % 256; };
  for (int format = 0; format < 7; format++) {
    for (const int64_t bits : {ZEP3_BITS_8, ZEP3_BITS_16}) {
      Image scan(7, 5, format, 0, bits);
      scan.Fill(pattern);
      for (const int shrink : {1, 3, 100}) {
        Levels expected;
        for (int top = 0; top < 5; top += shrink) {
          for (int left = 0; left < 7; left += shrink) {
            for (int c = 0; c < 3; c++) {
              double sum = 0, count = 0;
              for (int y = top; y < std::min(5, top + shrink); y++) {
                for (int x = left; x < std::min(7, left + shrink); x++, count++) {
                  sum += pattern(x, y, kSamples[format] < 3 ? 1 : c);
                }
              }
              expected.push_back(static_cast<uint8_t>(std::floor(sum / count + 0.5)));
            }
          }
        }
        EXPECT_EQ(PrescanOf(scan.bmp, ZEP3_GAMMA_LINEAR_LEVELS, shrink, prescan), expected) << format << " " << bits;
      }
    }
  }
  // By hand: 255 * (128 / 255)^(2.2 / 1.8) = 109.83; light itself: 255 * (128 / 255)^(1 / 1.8) = 173.86.
  Image gray(1, 1, ZEP3_PIXEL_GRAY);
  gray.pixels[0] = 128;
  EXPECT_EQ(PrescanOf(gray.bmp, ZEP3_GAMMA_SRGB, 1, prescan), (Levels{110, 110, 110}));
  EXPECT_EQ(PrescanOf(gray.bmp, 10, 1, prescan), (Levels{174, 174, 174}));
  // sRGB's curve: light ((128 / 255 + 0.055) / 1.055)^2.4 = 0.2159, level 255 * 0.2159^(1 / 1.8) = 108.80. On its foot:
  // 10 / 255 / 12.92 = 0.003035, level 10.18, where the gamma of 2.2 says 4.87.
  EXPECT_EQ(PrescanOf(gray.bmp, ZEP3_GAMMA_SRGB_CURVE, 1, prescan), (Levels{109, 109, 109}));
  gray.pixels[0] = 10;
  EXPECT_EQ(PrescanOf(gray.bmp, ZEP3_GAMMA_SRGB_CURVE, 1, prescan), (Levels{10, 10, 10}));
  EXPECT_EQ(PrescanOf(gray.bmp, ZEP3_GAMMA_SRGB, 1, prescan), (Levels{5, 5, 5}));
}

TEST(Prescan, TakesTheAreaAlong) {
  Image scan(1251, 900);
  EXPECT_EQ(GetZEP3PrescanShrink(1250, 3), 1);
  EXPECT_EQ(GetZEP3PrescanShrink(3, 1251), 2);
  ZEP3_BmpInfo prescan;
  PrescanOf(scan.bmp, 22, 2, prescan);
  EXPECT_EQ(prescan.lWidth, 626);
  EXPECT_EQ(prescan.area.ptRight.x, 626) << "all of it";
  scan.bmp.area = {{3, 201}, {400, 0}, {1251, 300}, {700, 899}};
  PrescanOf(scan.bmp, 22, 2, prescan);
  const AREA expected = {{2, 101}, {200, 0}, {626, 150}, {350, 450}};
  EXPECT_EQ(std::memcmp(&prescan.area, &expected, sizeof expected), 0);
}

// sRGB is taken by its curve where densities are read, and by a gamma of 2.2 elsewhere; other gammas are what they are.
TEST(Finish, TakesSrgbAsTheAnalysisWantsIt) {
  const struct {
    const char* kind;
    int64_t adaptive, option, expected;
  } rows[] = {{"photo", ZEP3_UNSET, ZEP3_OPTION_NORMAL, ZEP3_GAMMA_SRGB_CURVE},
              {"bw-negative", 1, ZEP3_OPTION_NORMAL, ZEP3_GAMMA_SRGB_CURVE},
              {"faded-slide", 0, ZEP3_OPTION_NORMAL, ZEP3_GAMMA_SRGB},
              {"slide", 1, ZEP3_OPTION_PLAIN, ZEP3_GAMMA_SRGB},
              {"document", ZEP3_UNSET, ZEP3_OPTION_NORMAL, ZEP3_GAMMA_SRGB}};
  for (const auto& row : rows) {
    Record r;
    ASSERT_EQ(SetZEP3Kind(&r.para, row.kind), 1);
    r.para.wDocOption = static_cast<uint16_t>(row.option);
    EXPECT_EQ(GetZEP3ScanGamma(ZEP3_GAMMA_SRGB_CURVE, row.adaptive, &r.para), row.expected) << row.kind;
    EXPECT_EQ(GetZEP3ScanGamma(18, row.adaptive, &r.para), 18) << row.kind;
  }
  EXPECT_EQ(GetZEP3ScanGamma(ZEP3_GAMMA_SRGB_CURVE, 1, nullptr), ZEP3_GAMMA_SRGB);
}

// Two gradients across each other, from `least` to white or but `least`, finished with values of such a gamma.
std::vector<uint8_t> FinishedGradients(const char* kind, int least, bool flat, int64_t gamma, int64_t adaptive,
                                       std::vector<uint8_t>& before) {
  Image scan(256, 256);
  for (int y = 0; y < 256; y++) {
    for (int x = 0; x < 256; x++) {
      uint8_t* pixel = scan.pixels.data() + 3 * (256 * y + x);
      const int red = flat ? least : std::max(x, least);
      const int green = flat ? least : (red * (255 - y) + std::max(255 - y, least) * y) / 255;
      pixel[0] = static_cast<uint8_t>(red);
      pixel[1] = static_cast<uint8_t>(green);
      pixel[2] = static_cast<uint8_t>((red + green) / 2);
    }
  }
  before.assign(scan.pixels.begin(), scan.pixels.end());
  Record r;
  EXPECT_EQ(SetZEP3Kind(&r.para, kind), 1);
  EXPECT_EQ(FinishZEP3(&scan.bmp, gamma, adaptive, &r.para, nullptr, nullptr), 1);
  return {scan.pixels.begin(), scan.pixels.end()};
}

// A picture from a camera goes beyond what paper and film can show, and comes out as it went in, in dark parts, too.
TEST(Finish, LeavesAPictureFileAsItIs) {
  for (const char* kind : {"photo", "slide"}) {
    std::vector<uint8_t> before;
    const auto after = FinishedGradients(kind, 0, false, ZEP3_GAMMA_SRGB_CURVE, ZEP3_UNSET, before);
    int farthest = 0;
    for (size_t i = 0; i < before.size(); i++) farthest = std::max(farthest, std::abs(before[i] - after[i]));
    EXPECT_LE(farthest, 3) << kind;
  }
}

// Of a scan that is dark gray all over the standard analysis decides, and takes the values its own way.
TEST(Finish, HandsTheStandardAnalysisItsOwnValues) {
  for (const char* kind : {"photo", "slide", "bw-negative"}) {
    std::vector<uint8_t> before;
    EXPECT_EQ(FinishedGradients(kind, 20, true, ZEP3_GAMMA_SRGB_CURVE, 1, before),
              FinishedGradients(kind, 20, true, ZEP3_GAMMA_SRGB, 0, before))
        << kind;
  }
}

// One call gives what its steps give.
TEST(Finish, IsItsStepsInOneCall) {
  const struct {
    const char* kind;
    int format;
    int64_t bits, adaptive;
  } rows[] = {{"photo", ZEP3_PIXEL_RGB, ZEP3_BITS_8, ZEP3_UNSET},
              {"faded-print", ZEP3_PIXEL_BGRA, ZEP3_BITS_16, ZEP3_UNSET},
              {"faded-slide", ZEP3_PIXEL_RGBA, ZEP3_BITS_8, 0},
              {"document", ZEP3_PIXEL_GRAY, ZEP3_BITS_8, 0},
              {"bw-negative", ZEP3_PIXEL_RGB, ZEP3_BITS_16, ZEP3_UNSET},
              {"negative", ZEP3_PIXEL_XRGB, ZEP3_BITS_8, 1}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.kind);
    Image scan(1300, 40, row.format, 0, row.bits), steps(1300, 40, row.format, 0, row.bits);
    Record r, expected;
    for (Image* image : {&scan, &steps}) FillPicture(*image);
    for (Record* record : {&r, &expected}) {
      ASSERT_EQ(SetZEP3Kind(&record->para, row.kind), 1);
      record->para.ic.lBrightness = 20;
    }
    ZEP3_EVIDENCE evidence, expectedEvidence = {};
    ASSERT_EQ(FinishZEP3(&scan.bmp, 20, row.adaptive, &r.para, nullptr, &evidence), 1);

    ZEP3_BmpInfo prescan;
    const Levels levels = PrescanOf(steps.bmp, 20, 2, prescan);
    const bool adaptive = row.adaptive != 0;
    ASSERT_EQ(adaptive ? ZEP3Adaptive(&prescan, &expected.para, kIdentity, &expectedEvidence)
                       : ZEP3(&prescan, &expected.para, kIdentity),
              1);
    ASSERT_EQ(JudgeZEP3(&prescan, &expected.para, kIdentity, &expectedEvidence), 1);
    EXPECT_EQ(r.Points(), expected.Points());
    EXPECT_EQ(r.para.lSaturation, expected.para.lSaturation);
    EXPECT_EQ(std::memcmp(&evidence, &expectedEvidence, sizeof evidence), 0);
    const double chroma = GetZEP3Chroma(&expected.para);
    std::vector<uint16_t> table(3 * 65536);
    const int64_t entries = row.bits == ZEP3_BITS_16 ? 65536 : 256;
    ASSERT_EQ(MakeZEP3ScanLUT(&expected.para, nullptr, 20, entries, table.data()), 1);
    ASSERT_EQ(ApplyZEP3ScanLUT(&steps.bmp, table.data(), chroma), 1);
    EXPECT_TRUE(scan.pixels == steps.pixels);
  }
}

} // namespace
