// Prints and slides through the adaptive analysis. Scans are computed from densities: D = offset + dye * d, d the
// density of the unfaded original.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>

#include "engine/adaptive/positive/curve_points.h"
#include "support.h"

namespace {

struct Fading {
  double offset[3];
  double dye[3];
};
constexpr Fading kDarkStored = {{0.06, 0.09, 0.19}, {0.62, 0.84, 0.84}};
constexpr Fading kUnfadedPrint = {{0.04, 0.04, 0.04}, {1, 1, 1}};

int Level(double density) { return static_cast<int>(std::lround(255 * std::pow(10.0, -density / 1.8))); }

// So few pixels that each is a block.
constexpr int kWidth = 200, kHeight = 150;

// density(x, y, channel) of the unfaded original, scanned after what happened to it.
using Densities = std::function<double(int, int, int)>;
std::unique_ptr<Image> Scan(const Densities& density, const Fading& fading, int width = kWidth, int height = kHeight) {
  auto image = std::make_unique<Image>(width, height);
  image->Fill([&](int x, int y, int c) { return Level(fading.offset[c] + fading.dye[c] * density(x, y, c)); });
  return image;
}

// Every gray from white to the material's darkest alike often, in columns that lie anywhere: a ramp's dark end would be
// a mount.
Densities Ramp(double black) {
  return [black](int x, int, int) { return black * (x * 89 % 181) / 180.0; };
}
constexpr double kPrintBlack = 2.15, kSlideBlack = 2.95;

// Colours of all kinds between a white and a black, as a photograph has them.
double Photograph(int x, int y, int c) {
  const double share = Noise(x / 6 + 50 * (y / 6), 3 + c) / 255.0;
  const double gray = Noise(x / 6 + 50 * (y / 6), 9) / 255.0;
  return 2.02 * (0.3 * share + 0.7 * gray);
}

struct Result : Analysed {
  Result(int type, int subMode, const Image& image, int level = 4)
      : Analysed(image, true, type, subMode, level, nullptr) {}
  PositiveEvidence Seen() const { return Analysed::Seen().positive; }
  double Trimmed() const { return Analysed::Seen().trimmed; }
};

double Srgb(double light) { return 255 * (1.055 * std::pow(light, 1 / 2.4) - 0.055); }

TEST(Positive, FindsWhatHappenedToAGrayRamp) {
  const struct {
    int type;
    double black;
    Fading fading;
  } rows[] = {{ZEP3_DOC_REFLECTIVE, kPrintBlack, kDarkStored},
              {ZEP3_DOC_POSITIVE, kSlideBlack, {{0.12, 0.15, 0.19}, {0.50, 0.78, 0.55}}}};
  for (const auto& [type, black, fading] : rows) {
    SCOPED_TRACE(testing::Message() << "type " << type);
    const Result result(type, ZEP3_SUB_RESTORATION, *Scan(Ramp(black), fading));
    EXPECT_EQ(result.evidence.lAnalysis, ZEP3_ANALYSIS_POSITIVE);
    EXPECT_GT(result.Seen().trust, 0.95);
    EXPECT_EQ(result.Says(ZEP3_REASON_STRONG_FADING), fading.dye[0] < 0.55);
    EXPECT_GT(result.r.para.lSaturation, 0);
    for (int c = 0; c < 3; c++) {
      EXPECT_NEAR(result.Seen().offset[c], fading.offset[c], 0.02) << c;
      EXPECT_NEAR(result.Seen().dyeLeft[c], fading.dye[c], 0.03) << c;
      // And shows it as it was: gray, and as light.
      for (const double d : {0.1, 0.3, 0.7, 1.2}) {
        EXPECT_NEAR(result.At(Level(fading.offset[c] + fading.dye[c] * d), c), Srgb(std::pow(10.0, -d)), 8) << d;
      }
    }
  }
}

// A scan that is too dark by a stop, and shows it: nothing in it is as light as paper.
TEST(Positive, BringsBackAnExposure) {
  const auto dark = Scan(Ramp(kPrintBlack - 0.3), {{0.34, 0.34, 0.34}, {1, 1, 1}});
  const Result result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_PHOTO, *dark);
  for (int c = 0; c < 3; c++) EXPECT_NEAR(result.Seen().offset[c], 0.34, 0.03);
  EXPECT_GT(result.Seen().trust, 0.9);
  // A file whose blacks lie beyond paper's is no scan of a print: it was meant to be dark.
  const auto file = Scan(Ramp(3.2), {{0.34, 0.34, 0.34}, {1, 1, 1}});
  EXPECT_LT(Result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_PHOTO, *file).Seen().trust, 0.1);
}

// So light that a third of it is clear film, without a black: what lies below white is led back by at most 0.2, which
// fades out toward white.
TEST(Positive, DarkensWhatIsTooLight) {
  const auto lighter = [](double black, double by) {
    return Scan([=](int x, int, int) { return std::max(0.0, black * (x * 89 % 181) / 180.0 - by); },
                {{0.1, 0.1, 0.1}, {1, 1, 1}});
  };
  const Result over(ZEP3_DOC_POSITIVE, ZEP3_SUB_PHOTO, *lighter(2.4, 0.8));
  const Result usual(ZEP3_DOC_POSITIVE, ZEP3_SUB_PHOTO, *lighter(2.95, 0.0));
  for (const double d : {0.3, 0.7}) {
    const double light = std::pow(10.0, -d - 0.2 * (1 - std::pow(10.0, -1.5 * d)));
    EXPECT_NEAR(over.At(Level(0.1 + d), 1), Srgb(light), 8) << d;
    EXPECT_NEAR(usual.At(Level(0.1 + d), 1), Srgb(std::pow(10.0, -d)), 6) << d;
  }
  EXPECT_GT(over.At(Level(0.1), 1), 245); // white stays
}

// Paper and flare are taken off an unfaded original, nothing is off a picture without either.
TEST(Positive, LeavesUnfadedOriginalsAlone) {
  const struct {
    const char* what;
    int type;
    double black, base, flare;
  } rows[] = {
      {"print", ZEP3_DOC_REFLECTIVE, kPrintBlack, 0.04, 0.006},
      {"scan with the paper at white", ZEP3_DOC_REFLECTIVE, kPrintBlack, 0, 0.006},
      {"slide", ZEP3_DOC_POSITIVE, kSlideBlack, 0.1, 0.001},
      {"picture from a file", ZEP3_DOC_REFLECTIVE, 3.5, 0, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const auto image = Scan(Ramp(row.black), {{row.base, row.base, row.base}, {1, 1, 1}});
    const Result result(row.type, ZEP3_SUB_PHOTO, *image);
    EXPECT_LT(result.Seen().trust, 0.1);
    EXPECT_TRUE(result.Says(row.base > 0 ? ZEP3_REASON_BASE : int64_t{ZEP3_REASON_INTACT}));
    EXPECT_EQ(result.r.para.lSaturation, 0);
    for (const double d : {0.05, 0.2, 0.5, 1.0, 1.5}) {
      const double expected = Srgb((std::pow(10.0, -d) - row.flare) / (1 - row.flare));
      for (int c = 0; c < 3; c++) EXPECT_NEAR(result.At(Level(d + row.base), c), expected, 6) << d;
    }
  }
}

TEST(Positive, OneColourKeepsItsHue) {
  // Red cloth, its folds and a little gray.
  const auto cloth = [](int x, int y, int c) {
    const double fold = std::pow(Noise(x / 4 + 70 * (y / 4), 1) / 255.0, 3.0);
    return c == 0 ? 0.1 + 1.8 * fold : 1.0 + fold;
  };
  for (const int subMode : {ZEP3_SUB_PHOTO, ZEP3_SUB_RESTORATION}) {
    const Result result(ZEP3_DOC_REFLECTIVE, subMode, *Scan(cloth, kUnfadedPrint));
    EXPECT_GT(result.At(Level(0.04 + 0.1), 0), 80 + result.At(Level(0.04 + 1.0), 1));
    EXPECT_TRUE(result.Says(ZEP3_REASON_ONE_COLOUR) && result.Says(ZEP3_REASON_COLOURED_WHITE));
  }
  // A scan without colour gets equal channels.
  const auto gray = Scan([](int x, int y, int) { return Photograph(x, y, 0); }, {{0.1, 0.1, 0.1}, {0.7, 0.7, 0.7}});
  const auto points = Result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_PHOTO, *gray).r.Points();
  for (size_t i = 0; i < 10; i++) EXPECT_EQ(points[5 + i], points[i % 5]);
}

TEST(Positive, SeesWhatLiesInsideOfMountAndHolder) {
  const auto bare = Scan(Photograph, kDarkStored);
  // Type, level around the picture, and how wide; the last has so much light that the scan's levels are unusable.
  const int rows[][3] = {{2, 1, 20}, {2, 255, 20}, {1, 255, 30}};
  for (const auto& [type, border, across] : rows) {
    SCOPED_TRACE(testing::Message() << "border of level " << border);
    Image image(kWidth + 2 * across, kHeight + 2 * across);
    image.Fill([&, border = border, across = across](int x, int y, int c) {
      const int u = x - across, v = y - across;
      return u < 0 || v < 0 || u >= kWidth || v >= kHeight ? border : int(bare->Level(u, v, c));
    });
    const Result result(type, ZEP3_SUB_RESTORATION, image), plain(type, ZEP3_SUB_RESTORATION, *bare);
    EXPECT_TRUE(result.Says(ZEP3_REASON_BORDER_REMOVED));
    // Blocks of 2 pixels count from one block inside of the window's sides on; slides' corners do not.
    EXPECT_NEAR(result.Trimmed(), 1 - (kWidth - 5) * (kHeight - 5) / (1.0 * image.width * image.height), 0.015);
    EXPECT_EQ(plain.Trimmed(), 0.0);
    for (int c = 0; c < 3; c++) EXPECT_NEAR(result.Seen().dyeLeft[c], plain.Seen().dyeLeft[c], 0.02);
  }
  // A turned area counts alone.
  const auto turned = Scan(Photograph, kDarkStored, 300, 300);
  turned->bmp.area = {{10, 150}, {150, 10}, {290, 150}, {150, 290}};
  const auto points = [&] { return Result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, *turned).r.Points(); };
  const auto before = points();
  turned->Fill([&](int x, int y, int c) {
    return std::abs(x - 150) + std::abs(y - 150) <= 140 ? int(turned->Level(x, y, c)) : 40 * (c + 1);
  });
  EXPECT_EQ(points(), before);
}

TEST(Positive, ABlackStageTakesNoPictureWithIt) {
  // Two fifths of the picture, in its middle, have no light at all: more than the standard analysis takes.
  const auto stage =
      Scan([](int x, int y, int c) { return x >= 60 && x < 140 ? 4.0 : Photograph(x, y, c); }, {{0, 0, 0}, {1, 1, 1}});
  for (const int type : {ZEP3_DOC_REFLECTIVE, ZEP3_DOC_POSITIVE}) {
    const Result result(type, ZEP3_SUB_PHOTO, *stage);
    EXPECT_EQ(result.evidence.lAnalysis, ZEP3_ANALYSIS_POSITIVE);
    EXPECT_EQ(result.evidence.lVerdict, ZEP3_VERDICT_GOOD);
    for (const double d : {0.2, 0.6, 1.2}) {
      for (int c = 0; c < 3; c++) EXPECT_NEAR(result.At(Level(d), c), Srgb(std::pow(10.0, -d)), 6) << d;
    }
  }
}

TEST(Positive, SaysWhenScenesLackWhiteOrBlack) {
  for (const bool dark : {false, true}) {
    const auto scene = [&](int x, int y, int c) {
      // In the dark one something is light in red alone: the exposure was right.
      if (dark && x % 50 == 7 && c == 0) return 0.0;
      return (dark ? 0.45 : 0) + (dark ? 0.78 : 0.45) * Photograph(x, y, c);
    };
    const Result result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_PHOTO, *Scan(scene, kUnfadedPrint));
    EXPECT_EQ(result.Says(ZEP3_REASON_NO_WHITE), dark);
    EXPECT_EQ(result.Says(ZEP3_REASON_NO_BLACK), !dark);
  }
}

TEST(Positive, LowerLevelsAskForMoreEvidence) {
  const auto image = Scan(Photograph, {{0.09, 0.09, 0.09}, {0.9, 0.9, 0.9}});
  double trust[3];
  for (int i = 0; i < 3; i++) trust[i] = Result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, *image, 4 * i).Seen().trust;
  EXPECT_LT(trust[0] + 0.05, trust[1]);
  EXPECT_LT(trust[1] + 0.05, trust[2]);
}

TEST(Positive, CurvesEndWhereTheScanDoes) {
  // Levels of the scan above 255: the highlight comes down to 255 / scale, in whole steps, to 60 at most.
  const double rows[][2] = {{1.0, 250}, {1.1, 231}, {2.0, 127}, {9.0, 60}};
  for (const auto& [scale, hlOut] : rows) {
    const CurvePoints points = CurveThrough([s = scale](double out) { return s * out; });
    EXPECT_EQ(points.hlOut, hlOut);
    EXPECT_EQ(points.hlIn, scale * hlOut);
  }
}

TEST(Adaptive, FallsBackToTheStandardAnalysisWithAReason) {
  const auto photo = Scan(Photograph, kDarkStored);
  const auto tiny = Scan(Photograph, kDarkStored, 22, 22);
  const auto flat = Scan([](int x, int, int) { return 0.6 + 0.05 * x / kWidth; }, kUnfadedPrint);
  Image blank(kWidth, kHeight), dense(kWidth, kHeight);
  blank.Fill([](int, int, int) { return 0; });
  dense.Fill([](int x, int, int) { return 10 + x / 20; });
  constexpr int64_t kNot = ZEP3_REASON_NOT_ADAPTIVE, kLittle = ZEP3_REASON_TOO_LITTLE, kDefaults = ZEP3_REASON_DEFAULTS;
  const struct {
    const char* what;
    Image& image;
    int type, subMode, option;
    int64_t reason;
  } rows[] = {
      {"plain document", *photo, 2, 1, 1, kNot}, {"plain slide", *photo, 1, 0, 1, kNot},
      {"few blocks", *tiny, 2, 0, 2, kLittle},   {"hardly any contrast", *flat, 1, 2, 2, kLittle},
      {"blank", blank, 2, 0, 2, kDefaults},      {"black film", blank, 0, 0, 2, kDefaults},
      {"dense film", dense, 0, 0, 2, kDefaults}, {"dense silver", dense, 3, 0, 2, kLittle},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Analysed result(row.image, true, row.type, row.subMode, 6, kIdentity, row.option);
    const Analysed standard(row.image, false, row.type, row.subMode, 6, kIdentity, row.option);
    EXPECT_EQ(result.r.Points(), standard.r.Points());
    EXPECT_EQ(std::memcmp(&result.r.outMaster, &standard.r.outMaster, sizeof standard.r.outMaster), 0);
    ZEP3_EVIDENCE expected = {};
    expected.lReasons = row.reason;
    expected.lVerdict = row.reason == kDefaults ? ZEP3_VERDICT_FAILED
                        : row.reason == kNot    ? ZEP3_VERDICT_GOOD
                                                : ZEP3_VERDICT_LOOK;
    result.evidence.lReasons &= ZEP3_REASON_CLIPPING - 1; // less what checks found
    EXPECT_EQ(std::memcmp(&result.evidence, &expected, sizeof expected), 0);
  }
}

} // namespace
