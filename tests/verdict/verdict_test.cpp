// Results held against scans whose blocks are known: each pixel is one.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "engine/verdict/verdict.h"
#include "support.h"

namespace {

constexpr int kWidth = 160, kHeight = 120;

// Gray columns of linear levels from 60 to 219, one apart, in an order without edges.
struct Columns : Image {
  Columns() : Image(kWidth, kHeight) {
    Fill([](int x, int, int) { return 60 + x; });
  }
};

// Points on the display's scale, for a gamma of 1.8: levels are display levels.
struct Shown : Record {
  Shown(int type, const ZEP3_POINTS& points) : Record(type) {
    para.lScreenGamma = 18;
    SetPoints(points);
    para.ic.wHlCurveType = ZEP3_HL_NONE;
    para.ic.wSdCurveType = ZEP3_SD_NONE;
  }
};
constexpr ZEP3_POINTS Points(int64_t hlIn, int64_t sdIn, int64_t hlOut, int64_t sdOut) {
  return {257 * hlIn, 257 * sdIn, 257 * hlOut, 257 * sdOut, 100};
}
constexpr ZEP3_POINTS kSame = Points(250, 10, 250, 10);

ResultMeasures MeasureOf(const Image& image, const Shown& shown) {
  const View view = LookAt(image.bmp, shown.para);
  return ResultCheck(view, shown.para, false).Measure(shown.para, nullptr);
}

TEST(ResultCheck, MeasuresWhatTheTablesDo) {
  const Columns image;
  // The margin of 5 % leaves the columns 4 to 156, levels 64 to 216; a twentieth of the 153 is 7.65 columns.
  const ResultMeasures same = MeasureOf(image, {ZEP3_DOC_REFLECTIVE, kSame});
  EXPECT_EQ(same.clipped, 0.0);
  EXPECT_EQ(same.castGrown, 0.0);
  EXPECT_NEAR(same.darkest, 71, 1);
  EXPECT_NEAR(same.lightest, 209, 1);

  // out = 2 (in - 100): what lies up to 100 becomes 0 (37 columns), from 228 on 255 (none).
  const ResultMeasures hard = MeasureOf(image, {ZEP3_DOC_REFLECTIVE, Points(225, 105, 250, 10)});
  EXPECT_NEAR(hard.clipped, 37.0 / 153, 0.001);
  EXPECT_NEAR(hard.lightest, 2 * (209 - 100), 2);

  // Red is led 30 levels away from the others.
  Shown red(ZEP3_DOC_REFLECTIVE, kSame);
  red.para.ic.ch[0] = Points(220, 10, 250, 40);
  EXPECT_NEAR(MeasureOf(image, red).castGrown, 30, 1);
}

TEST(ResultCheck, FaintMarksAreThoseThatWereSeen) {
  // Pairs of columns, 6 levels apart, on two grounds; the marks on the light one go beyond white.
  Image image(kWidth, kHeight);
  image.Fill([](int x, int, int) { return (x < kWidth / 2 ? 80 : 200) + (x % 2) * 6; });
  EXPECT_EQ(MeasureOf(image, {ZEP3_DOC_REFLECTIVE, kSame}).marksLost, 0.0);
  EXPECT_NEAR(MeasureOf(image, {ZEP3_DOC_REFLECTIVE, Points(190, 10, 255, 10)}).marksLost, 0.5, 0.02);
}

TEST(Verdict, TellsWhatIsWrong) {
  Columns columns;
  Image blank(kWidth, kHeight), clear(kWidth, kHeight);
  blank.Fill([](int, int, int) { return 0; });
  // As much range as paper has, from white on: no film.
  clear.Fill([](int x, int y, int) { return 3 + (x * 89 + y * 7) % 250; });
  const struct {
    const char* what;
    Image& image;
    int type;
    ZEP3_POINTS points;
    int64_t reasons, verdict;
  } rows[] = {
      {"as it was", columns, 2, kSame, 0, ZEP3_VERDICT_GOOD},
      {"half black", columns, 2, Points(250, 140, 250, 10), ZEP3_REASON_CLIPPING, ZEP3_VERDICT_LOOK},
      {"all dark", columns, 2, Points(250, 10, 60, 2), ZEP3_REASON_NEARLY_BLACK, ZEP3_VERDICT_LOOK},
      {"blank", blank, 2, kSame, ZEP3_REASON_DEFAULTS, ZEP3_VERDICT_FAILED},
      {"print as film", clear, 3, Points(250, 10, 250, 10), ZEP3_REASON_LOOKS_POSITIVE, ZEP3_VERDICT_LOOK},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const Shown shown(row.type, row.points);
    ZEP3_EVIDENCE evidence = {};
    ASSERT_EQ(JudgeZEP3(&row.image.bmp, &shown.para, kIdentity, &evidence), 1);
    EXPECT_EQ(evidence.lReasons & row.reasons, row.reasons) << std::hex << evidence.lReasons;
    EXPECT_EQ(evidence.lReasons == 0, row.reasons == 0) << std::hex << evidence.lReasons;
    EXPECT_EQ(evidence.lVerdict, row.verdict);
  }
  const Shown shown(2, kSame);
  ZEP3_EVIDENCE evidence = {};
  EXPECT_EQ(JudgeZEP3(nullptr, &shown.para, nullptr, &evidence), 0);
}

// Colour film with its mask, run as a photo: densities from the mask's 0.2, 0.6, 0.8 on, mostly dense. The same without
// the mask's colour could be a thin print.
TEST(Verdict, KnowsAMask) {
  for (const bool masked : {true, false}) {
    Image film(kWidth, kHeight);
    film.Fill([&](int x, int y, int c) {
      const double clear = masked ? 0.2 + 0.2 * c + (c > 0 ? 0.2 : 0.0) : 0.2;
      const double share = (x * 89 + y * 7) % 160 / 159.0;
      return static_cast<int>(255 * std::pow(10.0, -(clear + 1.2 * std::sqrt(share)) / 1.8));
    });
    const Shown shown(ZEP3_DOC_REFLECTIVE, kSame);
    ZEP3_EVIDENCE evidence = {};
    ASSERT_EQ(JudgeZEP3(&film.bmp, &shown.para, kIdentity, &evidence), 1);
    EXPECT_EQ((evidence.lReasons & ZEP3_REASON_LOOKS_NEGATIVE) != 0, masked);
  }
}

// A frame on a strip of film that lies on a light table. Slides may be scanned before they are mounted.
TEST(Verdict, KnowsPerforations) {
  for (const bool perforated : {true, false}) {
    Image strip(330, 190); // blocks of 2 pixels
    strip.Fill([&](int x, int y, int c) {
      const bool beside = std::abs(y - 95) > 82, picture = std::abs(x - 165) < 72 && std::abs(y - 95) < 48;
      const bool hole = perforated && std::abs(std::abs(y - 95) - 66) < 7 && x % 19 < 9;
      return beside || hole ? 250 : picture ? 60 + Noise(x / 6 + 100 * (y / 6), c) / 2 : 150 - 10 * c;
    });
    ZEP3_EVIDENCE known = {};
    known.lAnalysis = ZEP3_ANALYSIS_POSITIVE;
    known.dConfidence = known.dWindowConfidence = 0.9;
    const double corners[4][2] = {{93, 47}, {237, 47}, {237, 143}, {93, 143}};
    std::memcpy(known.dWindow, corners, sizeof corners);
    for (const int type : {ZEP3_DOC_REFLECTIVE, ZEP3_DOC_POSITIVE}) {
      const Shown shown(type, kSame);
      ZEP3_EVIDENCE evidence = known;
      ASSERT_EQ(JudgeZEP3(&strip.bmp, &shown.para, kIdentity, &evidence), 1);
      const bool told = (evidence.lReasons & ZEP3_REASON_LOOKS_NEGATIVE) != 0;
      EXPECT_EQ(told, perforated && type == ZEP3_DOC_REFLECTIVE) << perforated << " " << type;
      EXPECT_EQ(evidence.lVerdict == ZEP3_VERDICT_LOOK, told) << perforated << " " << type;
    }
  }
}

// The left half becomes black. With a window that an analysis found on the right half nothing of that counts; a window
// of the same picture at another size is none.
TEST(Verdict, TakesTheWindowThatWasFound) {
  const Columns columns;
  const Shown shown(ZEP3_DOC_REFLECTIVE, Points(250, 140, 250, 10));
  for (const double scale : {1.0, 3.0}) {
    ZEP3_EVIDENCE evidence = {};
    evidence.lAnalysis = ZEP3_ANALYSIS_POSITIVE;
    evidence.dConfidence = evidence.dWindowConfidence = 0.9;
    const double corners[4][2] = {{90, 10}, {150, 10}, {150, 110}, {90, 110}};
    for (int i = 0; i < 4; i++) {
      for (int k = 0; k < 2; k++) evidence.dWindow[i][k] = scale * corners[i][k];
    }
    ASSERT_EQ(JudgeZEP3(&columns.bmp, &shown.para, kIdentity, &evidence), 1);
    EXPECT_EQ((evidence.lReasons & ZEP3_REASON_CLIPPING) != 0, scale != 1.0);
  }
}

// Half of the way to the standard correction is enough: lightest 209 * 60 / 250 = 50 becomes (50 + 209) / 2.
TEST(Verdict, WeakensWhatFails) {
  const Columns image;
  Shown shown(ZEP3_DOC_REFLECTIVE, kSame);
  const Proposal standard(shown.para);
  shown.SetPoints(Points(250, 10, 60, 10));
  ZEP3_EVIDENCE evidence = {};
  evidence.lAnalysis = ZEP3_ANALYSIS_POSITIVE;
  evidence.dConfidence = 0.95;
  Settle(LookAt(image.bmp, shown.para), standard, true, nullptr, shown.para, evidence);
  EXPECT_EQ(shown.para.ic.ch[0].lHlOut, 257 * (60 + 250) / 2);
  EXPECT_EQ(evidence.lReasons & (ZEP3_REASON_WEAKENED | ZEP3_REASON_NEARLY_BLACK),
            ZEP3_REASON_WEAKENED | ZEP3_REASON_NEARLY_BLACK);
  EXPECT_EQ(evidence.lVerdict, ZEP3_VERDICT_GOOD);
  EXPECT_LT(evidence.dConfidence, 0.9);
}

} // namespace
