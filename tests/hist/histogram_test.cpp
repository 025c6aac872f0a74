// Histograms, and the statistics that the calculators read.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <numeric>

#include "engine/hist/chist.h"
#include "support.h"

namespace {

TEST(Histogram, SamplesByPixelOrByBlock) {
  const struct {
    const char* why;
    int width, height, target, samples;
  } rows[] = {
      {"twice the target: every pixel", 10, 10, 50, 100},
      // q = 2.2: 1 line by 2 columns; 9 lines, starts 0, 2, 4, 6, 8.
      {"more: blocks, and none that ends on the far edge", 11, 10, 50, 45},
      // q = 9: 3 by 3; lines 0, 3; columns 0, 3, ... 24.
      {"square blocks", 30, 9, 30, 18},
      {"no target: blocks of a pixel", 10, 10, 0, 81},
  };
  for (const auto& row : rows) {
    Image image(row.width, row.height);
    Record r;
    CHIST hist;
    hist.m_nSampleTargetPosi = row.target;
    ASSERT_TRUE(hist.MakeHistogram(&image.bmp, 0, &r.para)) << row.why;
    EXPECT_EQ(hist.m_nPixelCount, row.samples) << row.why;
    for (const auto& channel : hist.m_nHist) {
      EXPECT_EQ(std::accumulate(std::begin(channel), std::end(channel), 0u), uint32_t(row.samples)) << row.why;
    }
  }
}

TEST(Histogram, RefusesWhatItCannotRead) {
  const struct {
    const char* why;
    void (*spoil)(ZEP3_BmpInfo&);
  } rows[] = {
      {"32 bits, even with four bytes a pixel", [](ZEP3_BmpInfo& b) { b.lBitCount = 32, b.wPixelFormat = 2; }},
      {"no pixels", [](ZEP3_BmpInfo& b) { b.pBits = nullptr; }},
      {"lines overlap", [](ZEP3_BmpInfo& b) { b.lBytesPerLine = -29; }},
      {"three-byte lines read as four-byte pixels", [](ZEP3_BmpInfo& b) { b.wPixelFormat = 2; }},
      {"stride at the end of 64 bits", [](ZEP3_BmpInfo& b) { b.lBytesPerLine = INT64_MIN; }},
      {"lines beyond the address space", [](ZEP3_BmpInfo& b) { b.lBytesPerLine = INT64_MAX / 4; }},
      {"negative height", [](ZEP3_BmpInfo& b) { b.lHeight = -1; }},
      {"area beside the image",
       [](ZEP3_BmpInfo& b) {
         b.area.ptLeft = b.area.ptTop = {10, 0};
       }},
      {"refused area", [](ZEP3_BmpInfo& b) { b.area.ptRight.x = -5; }},
  };
  Record r;
  CHIST hist;
  EXPECT_FALSE(hist.MakeHistogram(nullptr, 5, &r.para));
  for (const auto& row : rows) {
    Image image(10, 10);
    row.spoil(image.bmp);
    EXPECT_FALSE(hist.MakeHistogram(&image.bmp, 5, &r.para)) << row.why;
  }
  Image lines(10, 10);
  lines.SetArea({0, 9}, {0, 9}, {10, 10}, {10, 10});
  lines.bmp.lBytesPerLine = 27; // one line of it all the same
  EXPECT_TRUE(hist.MakeHistogram(&lines.bmp, 5, &r.para));
}

// 1000 samples per channel: 1 at level 10, 9 at 12, 990 at 100.
void FillSteps(CHIST& hist) {
  hist.m_nPixelCount = 1000;
  for (auto& channel : hist.m_nHist) channel[10] = 1, channel[12] = 9, channel[100] = 990;
  hist.m_nHistSum[30] = 1, hist.m_nHistSum[36] = 9, hist.m_nHistSum[300] = 990;
}

TEST(Statistics, LevelsAtFractions) {
  CHIST hist;
  FillSteps(hist);
  const struct {
    const char* why;
    bool max;
    int channel, from, to;
    double ratio, level;
  } rows[] = {
      {"a fraction met exactly is not exceeded", false, 0, 1, 255, 0.001, 11.0},
      {"inside the second step: 11 + 0.004 / 0.009", false, 0, 1, 255, 0.005, 11.0 + 4.0 / 9.0},
      {"of the sums: 35 + 0.004 / 0.009", false, 3, 3, 765, 0.005, 35.0 + 4.0 / 9.0},
      {"the first bin exceeds at once: clamped", false, 0, 100, 255, 0.005, 100.0},
      {"the upper bound is not examined", false, 0, 13, 100, 0.005, 0.0},
      {"one level is no range", false, 0, 100, 100, 0.005, 0.0},
      {"never reached", false, 0, 1, 255, 1.0, 0.0},
      {"unknown channel", false, 4, 1, 255, 0.005, 0.0},
      {"beyond the sums", false, 3, 1, 768, 0.005, 0.0},
      {"from above: 101 - 0.005 / 0.99", true, 0, 1, 255, 0.005, 101.0 - 0.005 / 0.99},
      {"the lower bound is examined", true, 0, 100, 100, 0.005, 100.0},
      {"from above, past 990: 13 - 0.002 / 0.009", true, 0, 1, 255, 0.992, 13.0 - 2.0 / 9.0},
      {"beyond the histogram", true, 0, 1, 256, 0.005, 0.0},
      {"no range", true, 0, 100, 99, 0.005, 0.0},
  };
  for (const auto& row : rows) {
    const double level = row.max ? hist.DetectMaxValue(row.channel, row.from, row.to, row.ratio)
                                 : hist.DetectMinValue(row.channel, row.from, row.to, row.ratio);
    EXPECT_NEAR(level, row.level, 1e-9) << row.why;
  }
  hist.m_nPixelCount = 0;
  EXPECT_EQ(hist.DetectMinValue(0, 1, 255, 0.001) + hist.DetectMaxValue(0, 1, 255, 0.001), 0.0);
}

TEST(Statistics, EntriesKeepApart) {
  for (const int type : {0, 1, 2, 3, 5}) {
    SCOPED_TRACE(type);
    CHIST hist;
    hist.m_nPixelCount = 100;
    for (auto& channel : hist.m_nHist) channel[100] = 100;
    hist.m_nHistSum[300] = 100;
    Record r(type);
    EXPECT_TRUE(hist.CalcHistMinValue(r.para));
    EXPECT_EQ(hist.CalcHistMaxValue(r.para), type == 0 || type == 3 ? 2 : 3);
    // Of an unknown type only the separation is done.
    EXPECT_NEAR(hist.m_pdHistMin[0][1], type <= 3 ? 99.001 : 0.0, 1e-9);
    for (int i = 0; i < 6; i++) {
      EXPECT_GE(hist.m_pdHistMin[i / 3 + 1][i % 3], hist.m_pdHistMin[i / 3][i % 3] + 0.1);
      EXPECT_LE(hist.m_pdHistMax[i / 3 + 1][i % 3], hist.m_pdHistMax[i / 3][i % 3] - 0.1);
    }
    EXPECT_EQ(hist.m_pdHistMin[1][3] != 0.0, type != 0 && type != 3);
  }
}

TEST(Statistics, UsableRange) {
  const struct {
    const char* why;
    int type, level, inside; // of 10 samples of red, the others inside
    bool usable;
  } rows[] = {
      {"0.3 outside is accepted", 2, 0, 7, true},       {"0.4 is not", 2, 0, 6, false},
      {"white counts on paper", 2, 255, 0, true},       {"but not beside film", 1, 242, 6, false},
      {"red film starts at 16", 0, 15, 6, false},       {"and holds it", 0, 16, 6, true},
      {"monochrome starts at 4", 3, 3, 6, false},       {"and holds it", 3, 4, 6, true},
      {"no bounds, nothing inside", 5, 100, 10, false},
  };
  for (const auto& row : rows) {
    CHIST hist;
    hist.m_nPixelCount = 10;
    hist.m_nHist[0][row.level] += static_cast<uint32_t>(10 - row.inside);
    hist.m_nHist[0][100] += static_cast<uint32_t>(row.inside);
    hist.m_nHist[1][100] = hist.m_nHist[2][100] = 10;
    EXPECT_EQ(hist.IsOutRange(Record(row.type).para), row.usable) << row.why;
  }
}

TEST(Statistics, MeansAreTakenInLightOverAllSamples) {
  CHIST hist;
  hist.m_nPixelCount = 4;
  for (auto& channel : hist.m_nHist) channel[200] = 2, channel[242] = 2;
  const double half = 200.0 * std::pow(0.5, 1.0 / 1.8); // two of four samples outside the bounds count as black
  ASSERT_TRUE(hist.CalcHistAverage(Record(1).para));
  for (int c = 0; c < 3; c++) EXPECT_NEAR(hist.m_pdHistAve[c], half, 1e-10);
  EXPECT_NEAR(hist.m_pdHistAve[3], 3.0 * half, 1e-9);
  for (const int type : {3, 5}) { // an unknown type has no bounds
    ASSERT_TRUE(hist.CalcHistAverage(Record(type).para));
    EXPECT_EQ(hist.m_pdHistAve[0], 0.0);
  }
  hist.m_nPixelCount = 0;
  EXPECT_FALSE(hist.CalcHistAverage(Record(2).para));
  // Reflective originals need every channel: those behind an empty one stay as they were.
  for (const int type : {1, 2}) {
    CHIST steps;
    FillSteps(steps);
    std::memset(steps.m_nHist[1], 0, sizeof steps.m_nHist[1]);
    steps.m_pdHistMin[0][2] = 77.0;
    EXPECT_EQ(steps.CalcHistMinValue(Record(type).para), type == 1);
    EXPECT_EQ(steps.m_pdHistMin[0][2] == 77.0, type == 2);
  }
}

TEST(NegaStatistics, PreviewCorrectionMixesAndKeepsTheFirstHistograms) {
  Image image(20, 10);
  image.Fill([](int x, int, int c) { return x < 5 ? 255 : x < 10 ? 128 : 100 + 10 * c; });
  Record r(ZEP3_DOC_NEGATIVE);
  CHIST hist;
  ASSERT_TRUE(hist.MakeHistogram(&image.bmp, 0, &r.para));
  for (int c = 0; c < 3; c++) hist.m_pdHistMin[1][c] = 40.0; // equal: 217 and 19 of 256
  ASSERT_TRUE(hist.PreviewImageColorCorrection(&image.bmp));
  EXPECT_EQ(hist.m_nPixelCount, 200);
  // (217 * 100 + 19 * (110 + 120) + 128) / 256 = 102.3; green 110.1; blue 117.8
  const int mixed[3] = {102, 110, 117};
  for (int c = 0; c < 3; c++) {
    EXPECT_EQ(hist.m_nHist[c][254], 50u); // (217 + 19 + 19) * 255 + 128 over 256
    EXPECT_EQ(hist.m_nHist[c][128], 50u); // 255 * 128 + 128 is 128 * 256 exactly
    EXPECT_EQ(hist.m_nHist[c][mixed[c]], 100u);
    EXPECT_EQ(hist.m_nHistOrg[c][255], 50u);
  }
  EXPECT_EQ(hist.m_nHistSum[765], 50u);
  hist.CalcNegaMinValue();
  // Half of the samples lie at level 102: 101 + ratio / 0.5, and 0.1 apart where that is closer.
  EXPECT_NEAR(hist.m_pdNegaMin[0][0], 101.002, 1e-9);
  EXPECT_NEAR(hist.m_pdNegaMin[2][0], 101.202, 1e-9);
  // The cross-talk scales with the clear film.
  image.Fill([](int, int, int) { return 100; });
  ASSERT_TRUE(hist.MakeHistogram(&image.bmp, 0, &r.para));
  const double min[3] = {40, 20, 80};
  for (int c = 0; c < 3; c++) hist.m_pdHistMin[1][c] = min[c];
  ASSERT_TRUE(hist.PreviewImageColorCorrection(&image.bmp));
  EXPECT_EQ(hist.m_nHist[0][103], 200u); // 0.85, 0.15, 0.0375: 217 + 38 + 9
  EXPECT_EQ(hist.m_nHist[1][90], 200u);  // 0.0375, 0.85, 0.01875: 9 + 217 + 4
  EXPECT_EQ(hist.m_nHist[2][129], 200u); // 0.15, 0.3, 0.85: 38 + 76 + 217
  // The samples are kept for the second histograms: those of the same image and area, no others.
  double identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  Image other(20, 10);
  other.Fill([](int, int, int) { return 150; });
  ASSERT_TRUE(hist.MakeHistogramOfColorCorrectedImage(&other.bmp, identity));
  EXPECT_EQ(hist.m_nHist[0][150], 200u);
  AREA half = {{0, 0}, {0, 0}, {9, 9}, {9, 9}}; // inclusive
  ASSERT_TRUE(hist.CalcLineEquation(&half, 0));
  ASSERT_TRUE(hist.MakeHistogramOfColorCorrectedImage(&other.bmp, identity));
  EXPECT_EQ(hist.m_nHist[0][150], 100u);
  other.bmp.lBitCount = 8;
  EXPECT_FALSE(hist.MakeHistogramOfColorCorrectedImage(&other.bmp, identity));
  EXPECT_FALSE(hist.MakeHistogramOfColorCorrectedImage(nullptr, identity));
}

TEST(NegaStatistics, RangeAndSlope) {
  CHIST hist;
  hist.m_nPixelCount = 2000;
  for (int k = 0; k < 4; k++) {
    hist.m_pdHistMax[1][k] = 200.0 + k, hist.m_pdHistMin[1][k] = 20.0, hist.m_pdHistMax[2][k] = 190.0;
  }
  hist.CalcAnlRangeValue();
  hist.CalcAnlSlopeValue();
  EXPECT_EQ(hist.m_dAnlRange[3], 183.0);
  EXPECT_NEAR(hist.m_dAnlSlope[2], 0.045 * 2000 / 12 / 100, 1e-12);
}

} // namespace
