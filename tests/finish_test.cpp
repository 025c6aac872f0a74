// The pre-scan, the scan's own tables, and the finished picture.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support.h"

namespace {

// A scan of any layout and depth; the value of a sample is Value(x, y, channel) of 0..255, times 257 for 16 bits.
struct Scan {
  std::vector<uint8_t> bytes;
  std::vector<uint16_t> deep;
  ZEP3_BmpInfo bmp;
  int width, samples;

  Scan(int w, int h, int format, bool is16, int (*value)(int x, int y, int channel)) : width(w) {
    constexpr int kSamples[] = {3, 3, 4, 4, 4, 1, 2};
    constexpr int kChannel[7][4] = {{0, 1, 2}, {2, 1, 0}, {3, 0, 1, 2}, {0, 1, 2, 3}, {2, 1, 0, 3}, {1}, {1, 3}};
    samples = kSamples[format];
    for (int y = 0; y < h; y++) {
      for (int x = 0; x < w; x++) {
        for (int s = 0; s < samples; s++) {
          const int v = kChannel[format][s] == 3 ? 99 : value(x, y, kChannel[format][s]);
          bytes.push_back(static_cast<uint8_t>(v));
          deep.push_back(static_cast<uint16_t>(257 * v));
        }
      }
    }
    void* pixels = is16 ? static_cast<void*>(deep.data()) : bytes.data();
    SetZEP3Image(&bmp, pixels, w, h, 0, format, is16 ? ZEP3_BITS_16 : ZEP3_BITS_8);
  }
};

int Pattern(int x, int y, int channel) { return (7 * x + 31 * y + 50 * channel) % 256; }

std::vector<uint8_t> PrescanOf(const ZEP3_BmpInfo& scan, int64_t gamma, int64_t shrink, ZEP3_BmpInfo& prescan) {
  const auto blocks = [&](int64_t side) { return (side + shrink - 1) / shrink; };
  std::vector<uint8_t> levels(static_cast<size_t>(3 * blocks(scan.lWidth) * blocks(scan.lHeight)));
  prescan.pBits = levels.data();
  EXPECT_EQ(MakeZEP3Prescan(&scan, gamma, shrink, &prescan), 1);
  return levels;
}

TEST(Prescan, IsTheMeanOfSquaresOnTheEnginesScale) {
  // At gamma 1.8 values are levels. The last column and line are of what there is.
  for (int format = 0; format < 7; format++) {
    for (const bool is16 : {false, true}) {
      SCOPED_TRACE(testing::Message() << "format " << format << (is16 ? ", 16 bits" : ", 8 bits"));
      const Scan scan(7, 5, format, is16, Pattern);
      for (const int shrink : {1, 3, 100}) {
        ZEP3_BmpInfo prescan;
        const std::vector<uint8_t> levels = PrescanOf(scan.bmp, ZEP3_GAMMA_LINEAR_LEVELS, shrink, prescan);
        size_t i = 0;
        for (int top = 0; top < 5; top += shrink) {
          for (int left = 0; left < 7; left += shrink) {
            for (int c = 0; c < 3; c++) {
              double sum = 0, count = 0;
              for (int y = top; y < std::min(5, top + shrink); y++) {
                for (int x = left; x < std::min(7, left + shrink); x++, count++) {
                  sum += Pattern(x, y, scan.samples < 3 ? 1 : c);
                }
              }
              EXPECT_EQ(levels[i++], std::floor(sum / count + 0.5)) << shrink << ": " << left << " " << top;
            }
          }
        }
        EXPECT_EQ(i, levels.size());
      }
    }
  }
  // By hand: 255 * (128 / 255)^(2.2 / 1.8) = 109.83; light itself: 255 * (128 / 255)^(1 / 1.8) = 173.86.
  const Scan gray(1, 1, ZEP3_PIXEL_GRAY, false, [](int, int, int) { return 128; });
  ZEP3_BmpInfo prescan;
  EXPECT_EQ(PrescanOf(gray.bmp, ZEP3_GAMMA_SRGB, 1, prescan), (std::vector<uint8_t>{110, 110, 110}));
  EXPECT_EQ(PrescanOf(gray.bmp, 10, 1, prescan), (std::vector<uint8_t>{174, 174, 174}));
}

TEST(Prescan, TakesTheAreaAlong) {
  Scan scan(1251, 900, ZEP3_PIXEL_RGB, false, Pattern);
  EXPECT_EQ(GetZEP3PrescanShrink(1250, 3), 1);
  EXPECT_EQ(GetZEP3PrescanShrink(3, 1251), 2);
  EXPECT_EQ(GetZEP3PrescanShrink(0, -5), 1);
  ZEP3_BmpInfo prescan;
  PrescanOf(scan.bmp, 22, 2, prescan);
  EXPECT_EQ(prescan.lWidth, 626);
  EXPECT_EQ(prescan.area.ptRight.x, 626) << "all of it";
  scan.bmp.area = {{3, 201}, {400, 0}, {1251, 300}, {700, 899}};
  PrescanOf(scan.bmp, 22, 2, prescan);
  const AREA& area = prescan.area;
  EXPECT_EQ(area.ptLeft.x, 2);
  EXPECT_EQ(area.ptLeft.y, 101);
  EXPECT_EQ(area.ptTop.x, 200);
  EXPECT_EQ(area.ptRight.x, 626);
  EXPECT_EQ(area.ptBottom.y, 450);
}

// A scan's table is the curve at the level of each value.
TEST(ScanTables, AreTheCurveAtTheLevelsOfTheValues) {
  Record r(ZEP3_DOC_POSITIVE);
  r.SetPoints({60000, 3000, 63424, 4630, 120});
  for (const int64_t gamma : {10, 18, 22}) {
    for (const int64_t entries : {2, 256, 65536}) {
      std::vector<uint16_t> table(static_cast<size_t>(3 * entries));
      ASSERT_EQ(MakeZEP3ScanLUT(&r.para, nullptr, gamma, entries, table.data()), 1);
      for (const int64_t i : {int64_t{0}, entries / 2, entries - 1}) {
        const double level = 255 * std::pow(double(i) / double(entries - 1), double(gamma) / 18);
        double display[3];
        ASSERT_EQ(MakeZEP3LUTAt(&r.para, nullptr, &level, 1, display), 1);
        EXPECT_NEAR(table[static_cast<size_t>(entries + i)], 257 * display[1], 0.51);
      }
    }
  }
}

// One call gives what its steps give.
TEST(Finish, IsItsStepsInOneCall) {
  const struct {
    const char* kind;
    int format;
    bool is16;
    int64_t adaptive;
  } rows[] = {{"photo", ZEP3_PIXEL_RGB, false, ZEP3_UNSET},      {"faded-print", ZEP3_PIXEL_BGRA, true, ZEP3_UNSET},
              {"faded-slide", ZEP3_PIXEL_RGBA, false, 0},        {"document", ZEP3_PIXEL_GRAY, false, ZEP3_UNSET},
              {"bw-negative", ZEP3_PIXEL_RGB, true, ZEP3_UNSET}, {"negative", ZEP3_PIXEL_XRGB, false, 1}};
  const auto value = [](int x, int y, int c) { return 40 + x / 13 + 20 * c + Noise(3 * (1300 * y + x) + c, 2) / 8; };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.kind);
    Scan scan(1300, 40, row.format, row.is16, value);
    Scan steps = scan;
    steps.bmp.pBits = row.is16 ? reinterpret_cast<uint8_t*>(steps.deep.data()) : steps.bytes.data();
    scan.bmp.pBits = row.is16 ? reinterpret_cast<uint8_t*>(scan.deep.data()) : scan.bytes.data();
    Record r, expected;
    for (Record* record : {&r, &expected}) {
      ASSERT_EQ(SetZEP3Kind(&record->para, row.kind), 1);
      record->para.ic.lBrightness = 20;
    }
    ZEP3_EVIDENCE evidence, expectedEvidence = {};
    ASSERT_EQ(FinishZEP3(&scan.bmp, 20, row.adaptive, &r.para, nullptr, &evidence), 1);

    ZEP3_BmpInfo prescan;
    const std::vector<uint8_t> levels = PrescanOf(steps.bmp, 20, 2, prescan);
    double identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    const bool adaptive = row.adaptive == ZEP3_UNSET ? std::string(row.kind) != "document" : row.adaptive == 1;
    ASSERT_EQ(adaptive ? ZEP3Adaptive(&prescan, &expected.para, identity, &expectedEvidence)
                       : ZEP3(&prescan, &expected.para, identity),
              1);
    EXPECT_EQ(r.Points(), expected.Points());
    EXPECT_EQ(r.para.lSaturation, expected.para.lSaturation);
    EXPECT_EQ(std::memcmp(&evidence, &expectedEvidence, sizeof evidence), 0);
    const double chroma = GetZEP3Chroma(&expected.para);
    std::vector<uint16_t> table(3 * 65536);
    ASSERT_EQ(MakeZEP3ScanLUT(&expected.para, nullptr, 20, row.is16 ? 65536 : 256, table.data()), 1);
    ASSERT_EQ(ApplyZEP3ScanLUT(&steps.bmp, table.data(), chroma), 1);
    EXPECT_EQ(row.is16 ? scan.deep == steps.deep : scan.bytes == steps.bytes, true);
  }
}

// What is refused stays as it was.
TEST(Finish, RefusesWhatItCannotRead) {
  Scan scan(200, 100, ZEP3_PIXEL_RGB, false, Pattern);
  const std::vector<uint8_t> before = scan.bytes;
  Record r;
  EXPECT_EQ(FinishZEP3(nullptr, 22, 1, &r.para, nullptr, nullptr), 0);
  EXPECT_EQ(FinishZEP3(&scan.bmp, 22, 1, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(FinishZEP3(&scan.bmp, 0, 1, &r.para, nullptr, nullptr), 0);
  ZEP3_BmpInfo bmp = scan.bmp;
  bmp.lBitCount = 32;
  EXPECT_EQ(FinishZEP3(&bmp, 22, 1, &r.para, nullptr, nullptr), 0);
  bmp = scan.bmp;
  bmp.area.ptLeft = {300, 300};
  EXPECT_EQ(FinishZEP3(&bmp, 22, 1, &r.para, nullptr, nullptr), 0);
  r.para.pOutRGBTone = nullptr;
  EXPECT_EQ(FinishZEP3(&scan.bmp, 22, 1, &r.para, nullptr, nullptr), 0);
  EXPECT_EQ(scan.bytes, before);
  ZEP3_BmpInfo prescan = scan.bmp;
  EXPECT_EQ(MakeZEP3Prescan(&scan.bmp, 22, 0, &prescan) + MakeZEP3Prescan(nullptr, 22, 1, &prescan), 0);
  uint16_t table[6];
  EXPECT_EQ(MakeZEP3ScanLUT(&r.para, nullptr, 22, 1, table) + MakeZEP3ScanLUT(&r.para, nullptr, 0, 2, table), 0);
}

} // namespace
