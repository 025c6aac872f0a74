// Prints and slides through the adaptive analysis. Scans are computed from densities: D = offset + dye * d, d the
// density of the unfaded original.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <numeric>

#include "engine/adaptive/positive/curve_points.h"
#include "engine/adaptive/positive/estimator.h"
#include "support.h"

namespace {

struct Fading {
  double offset[3];
  double dye[3];
};
constexpr Fading kDarkStored = {{0.06, 0.09, 0.19}, {0.62, 0.84, 0.84}};
constexpr Fading kSoundPrint = {{0.04, 0.04, 0.04}, {1, 1, 1}};

int Level(double density) { return static_cast<int>(std::lround(255 * std::pow(10.0, -density / 1.8))); }

// density(x, y, channel) of the unfaded original, scanned after what happened to it.
using Densities = std::function<double(int, int, int)>;
std::unique_ptr<Image> Scan(int width, int height, const Densities& density, const Fading& fading) {
  auto image = std::make_unique<Image>(width, height);
  image->Fill([&](int x, int y, int c) { return Level(fading.offset[c] + fading.dye[c] * density(x, y, c)); });
  return image;
}

// So few pixels that each is a block.
constexpr int kWidth = 200, kHeight = 150;

// What is dark in an unfaded picture; a twentieth of a ramp is as dark as its end, so that this is the material's
// darkest.
constexpr double kPrintBlack = 2.15, kSlideBlack = 2.95;

// Every gray from white to black alike often, in columns that lie anywhere: a ramp's dark end would be a mount.
Densities Ramp(double black) {
  return [black](int x, int, int) { return black * (x * 89 % 181) / 180.0; };
}

// Colours of all kinds between a white and a black, as a photograph has them.
double Photograph(int x, int y, int c) {
  const double share = Noise(x / 6 + 50 * (y / 6), 3 + c) / 255.0;
  const double gray = Noise(x / 6 + 50 * (y / 6), 9) / 255.0;
  return 2.02 * (0.3 * share + 0.7 * gray);
}

struct Result {
  Record record;
  ZEP3_EVIDENCE evidence;
  std::array<uint8_t, 768> table;
  int returned;

  Result(int type, int subMode, Image& image, int level = 4, int option = ZEP3_OPTION_NORMAL)
      : record(type, subMode, option) {
    record.para.lCorrectLevel = level;
    returned = ZEP3Adaptive(&image.bmp, &record.para, nullptr, &evidence);
    Record user(type, subMode, option);
    user.para = record.para;
    MakeZEP3LUT(&user.para, table.data());
  }
  int Shown(int c, int level) const { return table[static_cast<size_t>(256 * c + level)]; }
  bool Has(int64_t reason) const { return (evidence.lReasons & reason) != 0; }
};

double Srgb(double light) { return 255 * (1.055 * std::pow(light, 1 / 2.4) - 0.055); }

// A level as a display of gamma 2.2 shows it uncorrected.
double Uncorrected(int level) { return 255 * std::pow(level / 255.0, 1.8 / 2.2); }

TEST(Positive, FindsWhatHappenedToAGrayRamp) {
  struct Row {
    int type;
    double black;
    Fading fading;
  };
  const Row rows[] = {
      {ZEP3_DOC_REFLECTIVE, kPrintBlack, kDarkStored},
      {ZEP3_DOC_REFLECTIVE, kPrintBlack, {{0.04, 0.06, 0.10}, {0.80, 0.65, 0.80}}},
      {ZEP3_DOC_REFLECTIVE, kPrintBlack, {{0.08, 0.14, 0.26}, {0.50, 0.72, 0.70}}},
      {ZEP3_DOC_REFLECTIVE, kPrintBlack, {{0.05, 0.05, 0.05}, {0.80, 0.80, 0.70}}},
      {ZEP3_DOC_POSITIVE, kSlideBlack, {{0.11, 0.13, 0.16}, {0.66, 0.90, 0.72}}},
      {ZEP3_DOC_POSITIVE, kSlideBlack, {{0.12, 0.15, 0.19}, {0.50, 0.78, 0.55}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "type " << row.type << ", red dye " << row.fading.dye[0]);
    const auto image = Scan(kWidth, kHeight, Ramp(row.black), row.fading);
    const Result result(row.type, ZEP3_SUB_RESTORATION, *image);
    EXPECT_EQ(result.evidence.lAnalysis, ZEP3_ANALYSIS_POSITIVE);
    EXPECT_GT(Seen(result.evidence).positive.trust, 0.95);
    EXPECT_EQ(result.Has(ZEP3_REASON_STRONG_FADING), row.fading.dye[0] < 0.55);
    EXPECT_GT(result.record.para.lSaturation, 0);
    for (int c = 0; c < 3; c++) {
      EXPECT_NEAR(Seen(result.evidence).positive.offset[c], row.fading.offset[c], 0.02) << c;
      EXPECT_NEAR(Seen(result.evidence).positive.dyeLeft[c], row.fading.dye[c], 0.03) << c;
    }
    // And shows it as it was: gray, and as light.
    for (const double d : {0.1, 0.3, 0.7, 1.2}) {
      const double expected = Srgb(std::pow(10.0, -d));
      for (int c = 0; c < 3; c++) {
        EXPECT_NEAR(result.Shown(c, Level(row.fading.offset[c] + row.fading.dye[c] * d)), expected, 8)
            << d << ", " << c;
      }
    }
  }
}

// Of unfaded originals paper and flare are taken off, of pictures without either nothing.
TEST(Positive, LeavesSoundOriginalsAlone) {
  struct Row {
    const char* what;
    int type;
    double black;
    double base, flare;
  };
  const Row rows[] = {
      {"print", ZEP3_DOC_REFLECTIVE, kPrintBlack, 0.04, 0.006},
      {"scan with the paper at white", ZEP3_DOC_REFLECTIVE, kPrintBlack, 0, 0.006},
      {"slide", ZEP3_DOC_POSITIVE, kSlideBlack, 0.1, 0.001},
      {"picture from a file", ZEP3_DOC_REFLECTIVE, 3.5, 0, 0},
      {"file taken for a slide", ZEP3_DOC_POSITIVE, 4.3, 0, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    const auto image = Scan(kWidth, kHeight, Ramp(row.black), {{row.base, row.base, row.base}, {1, 1, 1}});
    const Result result(row.type, ZEP3_SUB_PHOTO, *image);
    EXPECT_LT(Seen(result.evidence).positive.trust, 0.1);
    EXPECT_TRUE(result.Has(ZEP3_REASON_INTACT));
    EXPECT_EQ(result.record.para.lSaturation, 0);
    for (const double d : {0.05, 0.2, 0.5, 1.0, 1.5}) {
      const double expected = Srgb((std::pow(10.0, -d) - row.flare) / (1 - row.flare));
      for (int c = 0; c < 3; c++) EXPECT_NEAR(result.Shown(c, Level(d + row.base)), expected, 5) << d;
    }
  }
}

TEST(Positive, OneColourKeepsItsHue) {
  // Red cloth, its folds and a little gray.
  const auto image = Scan(
      kWidth, kHeight,
      [](int x, int y, int c) {
        const double fold = std::pow(Noise(x / 4 + 70 * (y / 4), 1) / 255.0, 3.0);
        return c == 0 ? 0.1 + 1.8 * fold : 1.0 + fold;
      },
      kSoundPrint);
  for (const int subMode : {ZEP3_SUB_PHOTO, ZEP3_SUB_RESTORATION}) {
    const Result result(ZEP3_DOC_REFLECTIVE, subMode, *image);
    const int red = Level(0.04 + 0.1), other = Level(0.04 + 1.0);
    EXPECT_LT(result.Shown(1, other), Uncorrected(other) + 12);
    EXPECT_LT(result.Shown(2, other), Uncorrected(other) + 12);
    EXPECT_GT(result.Shown(0, red), Uncorrected(red) - 12);
    EXPECT_TRUE(result.Has(ZEP3_REASON_ONE_COLOUR));
    EXPECT_TRUE(result.Has(ZEP3_REASON_COLOURED_WHITE));
    EXPECT_LT(result.evidence.dConfidence, 0.2);
  }
}

TEST(Positive, AScanWithoutColourGetsEqualChannels) {
  const auto image =
      Scan(kWidth, kHeight, [](int x, int y, int) { return Photograph(x, y, 0); }, {{0.1, 0.1, 0.1}, {0.7, 0.7, 0.7}});
  const Result result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_PHOTO, *image);
  const auto points = result.record.Points();
  for (size_t i = 0; i < 5; i++) {
    EXPECT_EQ(points[i], points[5 + i]);
    EXPECT_EQ(points[i], points[10 + i]);
  }
}

// Where in the picture a colour stands is nothing to it.
TEST(Positive, DecidesByColoursAlone) {
  const auto image = Scan(150, 150, Photograph, kDarkStored);
  const Result result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, *image);
  ASSERT_EQ(result.evidence.lAnalysis, ZEP3_ANALYSIS_POSITIVE);
  // The margin leaves columns and lines 3 to 147.
  constexpr int kInner = 145;
  std::vector<int> place(kInner * kInner);
  std::iota(place.begin(), place.end(), 0);
  for (size_t i = place.size(); i-- > 1;) std::swap(place[i], place[(i * 7919) % (i + 1)]);
  const auto shuffled = Scan(150, 150, Photograph, kDarkStored);
  const auto mirrored = Scan(150, 150, Photograph, kDarkStored);
  for (int i = 0; i < kInner * kInner; i++) {
    for (int c = 0; c < 3; c++) {
      const int from = place[static_cast<size_t>(i)];
      const uint8_t level = image->Level(3 + i % kInner, 3 + i / kInner, c);
      shuffled->Level(3 + from % kInner, 3 + from / kInner, c) = level;
      mirrored->Level(147 - i % kInner, 147 - i / kInner, c) = level;
    }
  }
  for (const auto& other : {&shuffled, &mirrored}) {
    const Result again(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, **other);
    EXPECT_EQ(again.record.Points(), result.record.Points());
    EXPECT_EQ(std::memcmp(&again.evidence, &result.evidence, sizeof result.evidence), 0);
  }
}

TEST(Positive, SeesWhatLiesInsideOfMountAndHolder) {
  const auto bare = Scan(kWidth, kHeight, Photograph, kDarkStored);
  const Result expected(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, *bare);
  EXPECT_EQ(Seen(expected.evidence).trimmed, 0.0);
  for (const int border : {1, 255}) {
    SCOPED_TRACE(testing::Message() << "border of level " << border);
    constexpr int kAcross = 20;
    Image image(kWidth + 2 * kAcross, kHeight + 2 * kAcross);
    image.Fill([&](int x, int y, int c) {
      const int u = x - kAcross, v = y - kAcross;
      if (u < 0 || v < 0 || u >= kWidth || v >= kHeight) return border;
      return static_cast<int>(bare->Level(u, v, c));
    });
    const Result result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, image);
    EXPECT_TRUE(result.Has(ZEP3_REASON_BORDER_REMOVED));
    // 200 x 150 of 240 x 190 less 5 %, and lines at the edges.
    EXPECT_NEAR(Seen(result.evidence).trimmed, 1 - 200 * 150 / (0.95 * 240 * 0.95 * 190), 0.06);
    for (int c = 0; c < 3; c++) {
      EXPECT_NEAR(Seen(result.evidence).positive.dyeLeft[c], Seen(expected.evidence).positive.dyeLeft[c], 0.02);
      EXPECT_NEAR(Seen(result.evidence).positive.offset[c], Seen(expected.evidence).positive.offset[c], 0.01);
    }
  }
  // Bare light around a slide leaves the scan without usable levels, but not the slide.
  const auto slide = Scan(kWidth, kHeight, Photograph, kDarkStored);
  Image unmounted(kWidth + 60, kHeight + 60);
  unmounted.Fill([&](int x, int y, int c) {
    const bool bareLight = x < 30 || y < 30 || x >= kWidth + 30 || y >= kHeight + 30;
    return bareLight ? 255 : static_cast<int>(slide->Level(x - 30, y - 30, c));
  });
  const Result seen(ZEP3_DOC_POSITIVE, ZEP3_SUB_RESTORATION, unmounted);
  EXPECT_EQ(seen.evidence.lAnalysis, ZEP3_ANALYSIS_POSITIVE);
  EXPECT_EQ(seen.record.para.ic.wHlCurveType, ZEP3_HL_ROLL_OFF);
  for (int c = 0; c < 3; c++) {
    EXPECT_NEAR(Seen(seen.evidence).positive.offset[c],
                Seen(Result(ZEP3_DOC_POSITIVE, ZEP3_SUB_RESTORATION, *slide).evidence).positive.offset[c], 0.01);
  }
  // What is dark within the picture, or at its edge but not along all of it, belongs to it.
  const auto object = Scan(
      kWidth, kHeight,
      [](int x, int y, int c) {
        const bool dark = (x < 60 && y > 60 && y < 140) || (x > 100 && x < 160 && y > 60 && y < 120);
        return dark ? 2.02 : Photograph(x, y, c);
      },
      kDarkStored);
  EXPECT_EQ(Seen(Result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, *object).evidence).trimmed, 0.0);
  // As does a night sky without light, whose black is in the picture's middle too.
  const auto night = Scan(
      kWidth, kHeight, [](int x, int y, int c) { return y < 40 || (y > 70 && x % 9 == 0) ? 6.0 : Photograph(x, y, c); },
      kSoundPrint);
  EXPECT_EQ(Seen(Result(ZEP3_DOC_POSITIVE, ZEP3_SUB_PHOTO, *night).evidence).trimmed, 0.0);
  // A side gives 15 % at most, though all that is left be dark.
  Image dark(kWidth, kHeight);
  dark.Fill([&](int x, int y, int c) { return x > kWidth / 2 ? 3 : static_cast<int>(bare->Level(x, y, c)); });
  EXPECT_LE(Seen(Result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, dark).evidence).trimmed, 0.17);
}

TEST(Positive, SeesTheAreaAlone) {
  const auto plain = Scan(300, 300, Photograph, kDarkStored);
  const auto framed = Scan(300, 300, Photograph, kDarkStored);
  framed->SetArea({10, 150}, {150, 10}, {290, 150}, {150, 290});
  plain->bmp.area = framed->bmp.area;
  framed->Fill([&](int x, int y, int c) {
    const bool inside = std::abs(x - 150) + std::abs(y - 150) <= 140;
    return inside ? plain->Level(x, y, c) : 40 * (c + 1);
  });
  const Result expected(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, *plain);
  const Result result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, *framed);
  EXPECT_EQ(result.evidence.lAnalysis, ZEP3_ANALYSIS_POSITIVE);
  EXPECT_EQ(result.record.Points(), expected.record.Points());
}

TEST(Positive, SaysWhenScenesLackWhiteOrBlack) {
  struct Row {
    double from, to;
    int64_t reason;
  };
  // Of the blacks' reasons, that of a scene which ends before; of the whites', that of one which begins later.
  const Row rows[] = {{0.0, 0.9, ZEP3_REASON_NO_BLACK}, {0.45, 2.02, ZEP3_REASON_NO_WHITE}};
  for (const Row& row : rows) {
    const auto image = Scan(
        kWidth, kHeight,
        [&](int x, int y, int c) { return row.from + (row.to - row.from) * Photograph(x, y, c) / 2.02; }, kSoundPrint);
    const Result result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_PHOTO, *image);
    EXPECT_TRUE(result.Has(row.reason)) << row.from;
    EXPECT_FALSE(result.Has(rows[row.reason == rows[0].reason].reason)) << row.from;
  }
}

TEST(Positive, CurvesEndWhereTheScanDoes) {
  struct Row {
    double scale;
    double hlOut;
  };
  // Levels of the scan above 255: the highlight comes down to 255 / scale, in whole steps, to 60 at most.
  for (const Row& row : {Row{1.0, 250}, Row{1.1, 231}, Row{2.0, 127}, Row{9.0, 60}}) {
    const CurvePoints points = CurveThrough([&](double out) { return row.scale * out; });
    EXPECT_EQ(points.hlOut, row.hlOut);
    EXPECT_EQ(points.hlIn, row.scale * row.hlOut);
    EXPECT_EQ(points.sdIn, row.scale * 10);
    EXPECT_NEAR(points.gamma, 1.0, 0.01); // a straight line
  }
  // out = 255 (in / 255)^(1 / 1.5), through its own three points.
  const CurvePoints bent = CurveThrough([](double out) { return 255 * std::pow(out / 255, 1.5); });
  EXPECT_NEAR(bent.gamma, 1.5, 0.01);
}

TEST(Positive, WithoutBlocksThereIsNothingToSay) {
  EXPECT_FALSE(PositiveEstimator(positive::kPrintMaterial, positive::kFadedHistory, 0.0).Estimate(BlockGrid()).usable);
}

TEST(Positive, LowerLevelsMoveLess) {
  const auto image = Scan(kWidth, kHeight, Photograph, {{0.09, 0.09, 0.09}, {0.9, 0.9, 0.9}});
  double before = 0;
  for (const int level : {-3, 0, 2, 4, 6, 8}) {
    const double trust = Seen(Result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, *image, level).evidence).positive.trust;
    EXPECT_GE(trust, before) << level;
    before = trust;
  }
  EXPECT_GT(before, Seen(Result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, *image, 0).evidence).positive.trust + 0.2);
}

TEST(Adaptive, FallsBackToTheStandardAnalysisWithAReason) {
  const auto photo = Scan(kWidth, kHeight, Photograph, kDarkStored);
  const auto tiny = Scan(22, 22, Photograph, kDarkStored);
  const auto flat = Scan(
      kWidth, kHeight, [](int x, int, int) { return 0.6 + 0.05 * x / kWidth; }, kSoundPrint);
  Image blank(kWidth, kHeight);
  blank.Fill([](int, int, int) { return 0; });
  struct Row {
    const char* what;
    Image& image;
    int type, subMode, option;
    int64_t reason;
  };
  const Row rows[] = {
      {"document", *photo, 2, 1, 2, ZEP3_REASON_NOT_ADAPTIVE},
      {"background removal", *photo, 2, 3, 2, ZEP3_REASON_NOT_ADAPTIVE},
      {"ground colour", *photo, 2, 4, 2, ZEP3_REASON_NOT_ADAPTIVE},
      {"unknown sub-mode", *photo, 2, 77, 2, ZEP3_REASON_NOT_ADAPTIVE},
      {"plain photo", *photo, 2, 0, 1, ZEP3_REASON_NOT_ADAPTIVE},
      {"plain slide", *photo, 1, 0, 1, ZEP3_REASON_NOT_ADAPTIVE},
      {"fewer than 500 blocks", *tiny, 2, 0, 2, ZEP3_REASON_TOO_LITTLE},
      {"hardly any contrast", *flat, 1, 2, 2, ZEP3_REASON_TOO_LITTLE},
      {"unknown type", *photo, 9, 0, 2, ZEP3_REASON_DEFAULTS},
      {"blank", blank, 2, 0, 2, ZEP3_REASON_DEFAULTS},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    const Result result(row.type, row.subMode, row.image, 6, row.option);
    Record standard(row.type, row.subMode, row.option);
    standard.para.lCorrectLevel = 6;
    EXPECT_EQ(result.returned, ZEP3(&row.image.bmp, &standard.para, nullptr));
    EXPECT_EQ(result.record.Points(), standard.Points());
    EXPECT_EQ(result.record.para.lSaturation, standard.para.lSaturation);
    EXPECT_EQ(std::memcmp(&result.record.outMaster, &standard.outMaster, sizeof standard.outMaster), 0);
    ZEP3_EVIDENCE expected = {};
    expected.lReasons = row.reason;
    EXPECT_EQ(std::memcmp(&result.evidence, &expected, sizeof expected), 0);
  }
  // What is refused is refused; nobody has to want the evidence.
  Record r(ZEP3_DOC_REFLECTIVE);
  ZEP3_EVIDENCE evidence;
  evidence.dConfidence = 7;
  EXPECT_EQ(ZEP3Adaptive(nullptr, &r.para, nullptr, &evidence), 0);
  EXPECT_EQ(evidence.dConfidence, 0);
  EXPECT_EQ(ZEP3Adaptive(&photo->bmp, nullptr, nullptr, &evidence), 0);
  EXPECT_EQ(ZEP3Adaptive(&photo->bmp, &r.para, nullptr, nullptr), 1);
  EXPECT_EQ(r.Points(), Result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_PHOTO, *photo).record.Points());
}

} // namespace
