// The backlight correction on histograms and records made for it; the rows' values come from exact rational arithmetic
// on the formulas, apart from the engine.
#include <gtest/gtest.h>

#include <string>

#include "engine/calc/czep.h"
#include "engine/hist/chist.h"
#include "support.h"

namespace {

// Samples at one level, in every channel.
struct Spike {
  int level;
  uint32_t samples;
};
using Spikes = std::vector<Spike>;

const Spikes kBacklit = {{40, 600}, {220, 400}};

// A record that displays the levels as they are.
void SetStraight(Record& r) {
  r.para.lScreenGamma = 18;
  r.SetPoints({65535, 2570, 65535, 2570, 100});
}

bool Correct(Record& r, const Spikes& spikes, int64_t level) {
  CHIST hist;
  for (const Spike& s : spikes) {
    for (auto& channel : hist.m_nHistOrg) channel[s.level] += s.samples;
  }
  // What a colour negative's analysis makes of the scan, which no table sees.
  for (auto& channel : hist.m_nHist) channel[128] = 1000;
  CZEP zep;
  zep.SetParam(&hist, &r.para);
  return zep.CalcAgainstLight(level);
}

// Every byte that a caller sees.
std::string Bytes(const Record& r) {
  std::string all(reinterpret_cast<const char*>(&r.para), sizeof r.para);
  for (const ZEP3_TONE* tone :
       {&r.master, &r.rgb[0], &r.rgb[1], &r.rgb[2], &r.outMaster, &r.outRgb[0], &r.outRgb[1], &r.outRgb[2]}) {
    all.append(reinterpret_cast<const char*>(tone), sizeof *tone);
  }
  return all;
}

std::vector<int64_t> InnerPoints(const ZEP3_TONE& tone) {
  std::vector<int64_t> y;
  for (int i = 1; i < 5; i++) y.push_back(tone.ptCtrl[i].y);
  return y;
}

TEST(Backlight, LiftTheDarkClassAsFarAsTheEvidenceGoes) {
  struct Row {
    const char* why;
    Spikes spikes;
    int64_t level;
    std::vector<int64_t> y; // at 16, 48, 104, 176; empty: refused
    int64_t saturation;
  };
  const Row rows[] = {
      {"an eighth", kBacklit, 1, {20, 57, 111, 178}, 3},
      {"half", kBacklit, 4, {33, 82, 133, 183}, 7},
      {"full", kBacklit, 8, {51, 116, 161, 190}, 10},
      {"a level beyond 32 bits, low half 7", kBacklit, (int64_t{1} << 32) + 7, {51, 116, 161, 190}, 10},
      {"gray subject, less to lift", {{100, 500}, {220, 500}}, 8, {45, 105, 152, 188}, 16},
      {"small subject", {{40, 200}, {220, 800}}, 8, {33, 82, 133, 183}, 2},
      {"nearly dark all over", {{40, 900}, {220, 100}}, 8, {33, 82, 133, 183}, 11},
      {"background not bright", {{40, 600}, {160, 400}}, 8, {33, 82, 133, 183}, 7},
      {"classes close and not bright", {{90, 600}, {170, 400}}, 8, {30, 75, 127, 182}, 11},
      {"subject not dark", {{120, 500}, {220, 500}}, 8, {33, 80, 131, 183}, 11},
      {"classes not apart", {{0, 400}, {100, 400}, {160, 200}, {255, 200}}, 8, {34, 84, 134, 183}, 10},
      {"stray pixels are no class", {{0, 1}, {40, 6000}, {220, 4000}, {255, 1}}, 4, {33, 82, 133, 183}, 7},
      {"a lift just worth it", {{142, 600}, {254, 400}}, 8, {18, 51, 107, 177}, 1},
      {"a lift below 0.01", {{142, 600}, {254, 400}}, 4, {}, 0},
      {"at the target", {{150, 600}, {254, 400}}, 8, {}, 0},
      {"dark all over", {{40, 960}, {220, 40}}, 8, {}, 0},
      {"one tone", {{40, 1000}}, 8, {}, 0},
      {"no samples", {}, 8, {}, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    Record r;
    SetStraight(r);
    EXPECT_EQ(Correct(r, row.spikes, row.level), !row.y.empty());
    EXPECT_EQ(r.para.lSaturation, row.saturation);
    if (row.y.empty()) continue;
    EXPECT_EQ(InnerPoints(r.outRgb[0]), row.y);
  }
}

TEST(Backlight, SaturationAndFlagGoOnFromWhatTheyWere) {
  // Full strength adds 10.282.
  const int64_t saturations[][2] = {{0, 10}, {45, 50}, {60, 60}, {-20, -10}, {INT64_MIN, INT32_MIN}};
  for (const auto& row : saturations) {
    Record r;
    SetStraight(r);
    r.para.lSaturation = row[0];
    ASSERT_TRUE(Correct(r, kBacklit, 8));
    EXPECT_EQ(r.para.lSaturation, row[1]) << row[0];
  }
  const int64_t flags[][2] = {{0, 2}, {1, 3}, {2, 2}, {-1, 2}};
  for (const auto& row : flags) {
    Record r;
    SetStraight(r);
    r.para.lLevelFlag = row[0];
    ASSERT_TRUE(Correct(r, kBacklit, 1));
    EXPECT_EQ(r.para.lLevelFlag, row[1]) << row[0];
  }
}

// What the record displays decides. Each picture shows as 100 and 220, the row "gray subject".
TEST(Backlight, JudgesDisplayLevels) {
  const std::vector<int64_t> gray = {45, 105, 152, 188};
  // 255 * (81 / 255)^(18 / 22) = 99.8 and 255 * (213 / 255)^(18 / 22) = 220.1.
  Record display;
  SetStraight(display);
  display.para.lScreenGamma = 22;
  ASSERT_TRUE(Correct(display, {{81, 600}, {213, 400}}, 8));
  EXPECT_EQ(InnerPoints(display.outRgb[0]), gray);

  // A negative: the clear film, level 200, is the subject.
  Record film(ZEP3_DOC_NEGATIVE_BW);
  film.para.lScreenGamma = 18;
  film.SetPoints({(255 - 30) * 257, (255 - 200) * 257, 220 * 257, 100 * 257, 100});
  film.para.ic.wHlCurveType = ZEP3_HL_NONE;
  film.para.ic.wSdCurveType = ZEP3_SD_NONE;
  ASSERT_TRUE(Correct(film, {{200, 600}, {30, 400}}, 8));
  EXPECT_EQ(InnerPoints(film.outRgb[0]), gray);

  // Green alone is dark: its 600 of 1000 samples weigh 0.6, a share of 0.36 of all, which is no less evidence.
  CHIST hist;
  for (int c = 0; c < 3; c++) {
    hist.m_nHistOrg[c][40] = c == 1 ? 600 : 0;
    hist.m_nHistOrg[c][220] = c == 1 ? 400 : 1000;
  }
  Record green;
  SetStraight(green);
  CZEP zep;
  zep.SetParam(&hist, &green.para);
  ASSERT_TRUE(zep.CalcAgainstLight(4));
  EXPECT_EQ(InnerPoints(green.outRgb[0]), (std::vector<int64_t>{33, 82, 133, 183}));
  EXPECT_EQ(green.para.lSaturation, 4) << "7.41911 * 0.36 / 0.6 = 4.45146";
}

TEST(Backlight, RefusesWithoutTouchingAnything) {
  struct Row {
    const char* why;
    void (*spoil)(Record&);
    int64_t level;
  };
  const auto keep = [](Record&) {};
  const Row rows[] = {
      {"level 0", keep, 0},
      {"negative level", keep, -4},
      {"low half 0", keep, int64_t{1} << 32},
      {"low half negative", keep, 0x80000000},
      {"negative, low half positive", keep, -(int64_t{1} << 32) + 4},
      {"no room for curves", [](Record& r) { r.para.pOutRGBTone = nullptr; }, 4},
      {"document", [](Record& r) { r.para.wSubMode = ZEP3_SUB_DOCUMENT; }, 4},
      {"unknown sub-mode", [](Record& r) { r.para.wSubMode = 5; }, 4},
      {"unknown type", [](Record& r) { r.para.wDocType = 4; }, 4},
      {"above the scale", [](Record& r) { r.para.ic.ch[2].lHlOut = 65536; }, 4},
      {"below the scale", [](Record& r) { r.para.ic.ch[0].lSdOut = INT32_MIN; }, 4},
      {"no gamma", [](Record& r) { r.para.ic.ch[2].lGamma = 0; }, 4},
      {"no display gamma", [](Record& r) { r.para.lScreenGamma = 0; }, 4},
      {"equal outputs, no curve",
       [](Record& r) {
         r.SetPoints({65535, 2570, 9000, 9000, 100});
       },
       4},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    Record r;
    SetStraight(r);
    r.para.lSaturation = 7;
    r.para.lLevelFlag = 1;
    row.spoil(r);
    const std::string before = Bytes(r);
    EXPECT_FALSE(Correct(r, kBacklit, row.level));
    EXPECT_EQ(Bytes(r), before);
  }
}

// A subject at about 100 before a sky at about 210, as scanned.
void FillBacklit(Image& image) {
  image.Fill([&](int x, int y, int c) {
    const bool subject = y > image.height / 3;
    return (subject ? 90 : 200) + c + x * 20 / image.width + Noise(3 * (y * image.width + x) + c, 9) / 24;
  });
}

TEST(Analysis, CorrectsBacklightOnTheConvertedPoints) {
  Image image(150, 120);
  FillBacklit(image);
  for (const int64_t level : {int64_t{4}, int64_t{0}}) {
    Record plain, whole;
    ASSERT_EQ(ZEP3(&image.bmp, &plain.para, nullptr), 1);
    whole.para.lAgainstLight = level;
    ASSERT_EQ(ZEP3(&image.bmp, &whole.para, nullptr), 1);
    EXPECT_EQ(whole.Points(), plain.Points());
    // The same curves as from the converted points; those of before the conversion give others.
    CHIST hist;
    ASSERT_TRUE(hist.MakeHistogram(&image.bmp, hist.m_nAreaMargin, &plain.para));
    CZEP after;
    after.SetParam(&hist, &plain.para);
    EXPECT_EQ(after.CalcAgainstLight(level), level > 0);
    EXPECT_EQ(whole.para.lLevelFlag, level > 0 ? 2 : 0);
    EXPECT_EQ(whole.outRgb[0].wPointNum, level > 0 ? 6 : 2);
    EXPECT_EQ(InnerPoints(whole.outRgb[2]), InnerPoints(plain.outRgb[2]));
  }
  // Default points, of a scan with too much black for an analysis, are left alone.
  image.Fill([](int, int y, int) { return y > 60 ? 0 : 230; });
  Record r;
  r.para.lAgainstLight = 8;
  ASSERT_EQ(ZEP3(&image.bmp, &r.para, nullptr), 1);
  EXPECT_EQ(r.para.ic.ch[0].lHlIn, 63424);
  EXPECT_EQ(r.para.lLevelFlag, 0);
}

} // namespace
