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
  Result(int type, int subMode, const Image& image, int level = 4, int option = ZEP3_OPTION_NORMAL)
      : Analysed(image, true, type, subMode, level, nullptr, option) {}
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
              {ZEP3_DOC_REFLECTIVE, kPrintBlack, {{0.08, 0.14, 0.26}, {0.50, 0.72, 0.70}}},
              {ZEP3_DOC_POSITIVE, kSlideBlack, {{0.12, 0.15, 0.19}, {0.50, 0.78, 0.55}}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "type " << row.type << ", red dye " << row.fading.dye[0]);
    const auto image = Scan(Ramp(row.black), row.fading);
    const Result result(row.type, ZEP3_SUB_RESTORATION, *image);
    EXPECT_EQ(result.evidence.lAnalysis, ZEP3_ANALYSIS_POSITIVE);
    EXPECT_GT(result.Seen().trust, 0.95);
    EXPECT_EQ(result.Says(ZEP3_REASON_STRONG_FADING), row.fading.dye[0] < 0.55);
    EXPECT_GT(result.r.para.lSaturation, 0);
    for (int c = 0; c < 3; c++) {
      EXPECT_NEAR(result.Seen().offset[c], row.fading.offset[c], 0.02) << c;
      EXPECT_NEAR(result.Seen().dyeLeft[c], row.fading.dye[c], 0.03) << c;
      // And shows it as it was: gray, and as light.
      for (const double d : {0.1, 0.3, 0.7, 1.2}) {
        EXPECT_NEAR(result.At(Level(row.fading.offset[c] + row.fading.dye[c] * d), c), Srgb(std::pow(10.0, -d)), 8)
            << d << ", " << c;
      }
    }
  }
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
    EXPECT_TRUE(result.Says(ZEP3_REASON_INTACT));
    EXPECT_EQ(result.r.para.lSaturation, 0);
    for (const double d : {0.05, 0.2, 0.5, 1.0, 1.5}) {
      const double expected = Srgb((std::pow(10.0, -d) - row.flare) / (1 - row.flare));
      for (int c = 0; c < 3; c++) EXPECT_NEAR(result.At(Level(d + row.base), c), expected, 5) << d;
    }
  }
}

TEST(Positive, OneColourKeepsItsHue) {
  // Red cloth, its folds and a little gray.
  const auto image = Scan(
      [](int x, int y, int c) {
        const double fold = std::pow(Noise(x / 4 + 70 * (y / 4), 1) / 255.0, 3.0);
        return c == 0 ? 0.1 + 1.8 * fold : 1.0 + fold;
      },
      kUnfadedPrint);
  const auto uncorrected = [](int level) { return 255 * std::pow(level / 255.0, 1.8 / 2.2); };
  for (const int subMode : {ZEP3_SUB_PHOTO, ZEP3_SUB_RESTORATION}) {
    const Result result(ZEP3_DOC_REFLECTIVE, subMode, *image);
    const int red = Level(0.04 + 0.1), other = Level(0.04 + 1.0);
    EXPECT_LT(result.At(other, 1), uncorrected(other) + 12);
    EXPECT_LT(result.At(other, 2), uncorrected(other) + 12);
    EXPECT_GT(result.At(red, 0), uncorrected(red) - 12);
    EXPECT_TRUE(result.Says(ZEP3_REASON_ONE_COLOUR) && result.Says(ZEP3_REASON_COLOURED_WHITE));
    EXPECT_LT(result.evidence.dConfidence, 0.2);
  }
  // A scan without colour gets equal channels.
  const auto gray = Scan([](int x, int y, int) { return Photograph(x, y, 0); }, {{0.1, 0.1, 0.1}, {0.7, 0.7, 0.7}});
  const auto points = Result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_PHOTO, *gray).r.Points();
  for (size_t i = 0; i < 10; i++) EXPECT_EQ(points[5 + i], points[i % 5]);
}

TEST(Positive, SeesWhatLiesInsideOfMountAndHolder) {
  const auto bare = Scan(Photograph, kDarkStored);
  const Result expected(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, *bare);
  EXPECT_EQ(expected.Trimmed(), 0.0);
  const struct {
    int type, border, across;                          // level around the picture, and how wide
  } rows[] = {{2, 1, 20}, {2, 255, 20}, {1, 255, 30}}; // the last: so much light that the scan's levels are unusable
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "border of level " << row.border);
    Image image(kWidth + 2 * row.across, kHeight + 2 * row.across);
    image.Fill([&](int x, int y, int c) {
      const int u = x - row.across, v = y - row.across;
      const bool outside = u < 0 || v < 0 || u >= kWidth || v >= kHeight;
      return outside ? row.border : static_cast<int>(bare->Level(u, v, c));
    });
    const Result result(row.type, ZEP3_SUB_RESTORATION, image);
    EXPECT_TRUE(result.Says(ZEP3_REASON_BORDER_REMOVED));
    const double area = 0.95 * 0.95 * image.width * image.height;
    EXPECT_NEAR(result.Trimmed(), 1 - kWidth * kHeight / area, 0.06);
    const PositiveEvidence plain = Result(row.type, ZEP3_SUB_RESTORATION, *bare).Seen();
    for (int c = 0; c < 3; c++) {
      EXPECT_NEAR(result.Seen().dyeLeft[c], plain.dyeLeft[c], 0.02);
      EXPECT_NEAR(result.Seen().offset[c], plain.offset[c], 0.01);
    }
  }
  // A night sky is no mount.
  const auto night = Scan(
      [](int x, int y, int c) { return y < 40 || (y > 70 && x % 9 == 0) ? 6.0 : Photograph(x, y, c); }, kUnfadedPrint);
  EXPECT_EQ(Result(ZEP3_DOC_POSITIVE, ZEP3_SUB_PHOTO, *night).Trimmed(), 0.0);
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

TEST(Positive, SaysWhenScenesLackWhiteOrBlack) {
  for (const bool dark : {false, true}) {
    const auto image =
        Scan([&](int x, int y, int c) { return (dark ? 0.45 : 0.0) + (dark ? 0.78 : 0.45) * Photograph(x, y, c); },
             kUnfadedPrint);
    const Result result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_PHOTO, *image);
    EXPECT_EQ(result.Says(ZEP3_REASON_NO_WHITE), dark);
    EXPECT_EQ(result.Says(ZEP3_REASON_NO_BLACK), !dark);
  }
}

TEST(Positive, LowerLevelsAskForMoreEvidence) {
  const auto image = Scan(Photograph, {{0.09, 0.09, 0.09}, {0.9, 0.9, 0.9}});
  const auto trust = [&](int level) {
    return Result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, *image, level).Seen().trust;
  };
  EXPECT_LT(trust(0) + 0.05, trust(4));
  EXPECT_LT(trust(4) + 0.05, trust(8));
  EXPECT_EQ(trust(-3), trust(0));
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
  Image blank(kWidth, kHeight), clipped(200, 100), dense(kWidth, kHeight);
  blank.Fill([](int, int, int) { return 0; });
  clipped.Fill([](int x, int y, int) { return (x + y) % 2 == 0 ? 2 : 250; });
  dense.Fill([](int x, int, int) { return 10 + x / 20; });
  constexpr int64_t kNot = ZEP3_REASON_NOT_ADAPTIVE, kLittle = ZEP3_REASON_TOO_LITTLE, kDefaults = ZEP3_REASON_DEFAULTS;
  const struct {
    const char* what;
    Image& image;
    int type, subMode, option;
    int64_t reason;
  } rows[] = {
      {"document", *photo, 2, 1, 2, kNot},          {"ground colour", *photo, 2, 4, 2, kNot},
      {"unknown sub-mode", *photo, 2, 77, 2, kNot}, {"plain slide", *photo, 1, 0, 1, kNot},
      {"few blocks", *tiny, 2, 0, 2, kLittle},      {"hardly any contrast", *flat, 1, 2, 2, kLittle},
      {"unknown type", *photo, 9, 0, 2, kDefaults}, {"blank", blank, 2, 0, 2, kDefaults},
      {"black film", blank, 0, 0, 2, kDefaults},    {"clipped film", clipped, 3, 0, 2, kDefaults},
      {"dense film", dense, 0, 0, 2, kDefaults},    {"dense silver", dense, 3, 0, 2, kLittle},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const Analysed result(row.image, true, row.type, row.subMode, 6, kIdentity, row.option);
    const Analysed standard(row.image, false, row.type, row.subMode, 6, kIdentity, row.option);
    EXPECT_EQ(result.r.Points(), standard.r.Points());
    EXPECT_EQ(std::memcmp(&result.r.outMaster, &standard.r.outMaster, sizeof standard.r.outMaster), 0);
    ZEP3_EVIDENCE expected = {};
    expected.lReasons = row.reason;
    EXPECT_EQ(std::memcmp(&result.evidence, &expected, sizeof expected), 0);
  }
  // What is refused is refused; nobody has to want the evidence.
  Record r;
  ZEP3_EVIDENCE evidence;
  evidence.dConfidence = 7;
  EXPECT_EQ(ZEP3Adaptive(nullptr, &r.para, nullptr, &evidence), 0);
  EXPECT_EQ(evidence.dConfidence, 0);
  EXPECT_EQ(ZEP3Adaptive(&photo->bmp, &r.para, nullptr, nullptr), 1);
  EXPECT_EQ(r.Points(), Analysed(*photo, true, ZEP3_DOC_REFLECTIVE).r.Points());
}

} // namespace
