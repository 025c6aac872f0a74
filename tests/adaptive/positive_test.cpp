// Prints and slides through the adaptive analysis. Scans are computed from densities: D = offset + dye * d, d the
// density of the unfaded original.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>

#include "engine/adaptive/order_statistics.h"
#include "engine/adaptive/positive/curve_points.h"
#include "engine/adaptive/positive/estimator.h"
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
  PositiveEvidence Seen() const { return ::Seen(evidence).positive; }
  double Trimmed() const { return ::Seen(evidence).trimmed; }
};

double Srgb(double light) { return 255 * (1.055 * std::pow(light, 1 / 2.4) - 0.055); }

TEST(Positive, FindsWhatHappenedToAGrayRamp) {
  const struct {
    int type;
    double black;
    Fading fading;
  } rows[] = {
      {ZEP3_DOC_REFLECTIVE, kPrintBlack, kDarkStored},
      {ZEP3_DOC_REFLECTIVE, kPrintBlack, {{0.08, 0.14, 0.26}, {0.50, 0.72, 0.70}}},
      {ZEP3_DOC_POSITIVE, kSlideBlack, {{0.11, 0.13, 0.16}, {0.66, 0.90, 0.72}}},
      {ZEP3_DOC_POSITIVE, kSlideBlack, {{0.12, 0.15, 0.19}, {0.50, 0.78, 0.55}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "type " << row.type << ", red dye " << row.fading.dye[0]);
    const auto image = Scan(Ramp(row.black), row.fading);
    const Result result(row.type, ZEP3_SUB_RESTORATION, *image);
    EXPECT_EQ(result.evidence.lAnalysis, ZEP3_ANALYSIS_POSITIVE);
    EXPECT_GT(result.Seen().trust, 0.95);
    EXPECT_EQ(result.Has(ZEP3_REASON_STRONG_FADING), row.fading.dye[0] < 0.55);
    EXPECT_GT(result.record.para.lSaturation, 0);
    for (int c = 0; c < 3; c++) {
      EXPECT_NEAR(result.Seen().offset[c], row.fading.offset[c], 0.02) << c;
      EXPECT_NEAR(result.Seen().dyeLeft[c], row.fading.dye[c], 0.03) << c;
      // And shows it as it was: gray, and as light.
      for (const double d : {0.1, 0.3, 0.7, 1.2}) {
        EXPECT_NEAR(result.Shown(c, Level(row.fading.offset[c] + row.fading.dye[c] * d)), Srgb(std::pow(10.0, -d)), 8)
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
      [](int x, int y, int c) {
        const double fold = std::pow(Noise(x / 4 + 70 * (y / 4), 1) / 255.0, 3.0);
        return c == 0 ? 0.1 + 1.8 * fold : 1.0 + fold;
      },
      kUnfadedPrint);
  const auto uncorrected = [](int level) { return 255 * std::pow(level / 255.0, 1.8 / 2.2); };
  for (const int subMode : {ZEP3_SUB_PHOTO, ZEP3_SUB_RESTORATION}) {
    const Result result(ZEP3_DOC_REFLECTIVE, subMode, *image);
    const int red = Level(0.04 + 0.1), other = Level(0.04 + 1.0);
    EXPECT_LT(result.Shown(1, other), uncorrected(other) + 12);
    EXPECT_LT(result.Shown(2, other), uncorrected(other) + 12);
    EXPECT_GT(result.Shown(0, red), uncorrected(red) - 12);
    EXPECT_TRUE(result.Has(ZEP3_REASON_ONE_COLOUR) && result.Has(ZEP3_REASON_COLOURED_WHITE));
    EXPECT_LT(result.evidence.dConfidence, 0.2);
  }
  // A scan without colour gets equal channels.
  const auto gray = Scan([](int x, int y, int) { return Photograph(x, y, 0); }, {{0.1, 0.1, 0.1}, {0.7, 0.7, 0.7}});
  const auto points = Result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_PHOTO, *gray).record.Points();
  for (size_t i = 0; i < 10; i++) EXPECT_EQ(points[5 + i], points[i % 5]);
}

TEST(Positive, SeesWhatLiesInsideOfMountAndHolder) {
  const auto bare = Scan(Photograph, kDarkStored);
  const Result expected(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, *bare);
  EXPECT_EQ(expected.Trimmed(), 0.0);
  const struct {
    int type, border, across; // level around the picture, and how wide
  } rows[] = {{ZEP3_DOC_REFLECTIVE, 1, 20},
              {ZEP3_DOC_REFLECTIVE, 255, 20},
              {ZEP3_DOC_POSITIVE, 255, 30}}; // so much light that the scan's levels are unusable
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "border of level " << row.border);
    Image image(kWidth + 2 * row.across, kHeight + 2 * row.across);
    image.Fill([&](int x, int y, int c) {
      const int u = x - row.across, v = y - row.across;
      const bool outside = u < 0 || v < 0 || u >= kWidth || v >= kHeight;
      return outside ? row.border : static_cast<int>(bare->Level(u, v, c));
    });
    const Result result(row.type, ZEP3_SUB_RESTORATION, image);
    EXPECT_TRUE(result.Has(ZEP3_REASON_BORDER_REMOVED));
    const double area = 0.95 * 0.95 * image.width * image.height;
    EXPECT_NEAR(result.Trimmed(), 1 - kWidth * kHeight / area, 0.06);
    const PositiveEvidence plain = Result(row.type, ZEP3_SUB_RESTORATION, *bare).Seen();
    for (int c = 0; c < 3; c++) {
      EXPECT_NEAR(result.Seen().dyeLeft[c], plain.dyeLeft[c], 0.02);
      EXPECT_NEAR(result.Seen().offset[c], plain.offset[c], 0.01);
    }
  }
  // What is dark within the picture, or at its edge but not along all of it, belongs to it; so does a night sky.
  const auto object =
      Scan([](int x, int y, int c) { return x < 60 && y > 60 && y < 140 ? 2.02 : Photograph(x, y, c); }, kDarkStored);
  EXPECT_EQ(Result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, *object).Trimmed(), 0.0);
  const auto night = Scan(
      [](int x, int y, int c) { return y < 40 || (y > 70 && x % 9 == 0) ? 6.0 : Photograph(x, y, c); }, kUnfadedPrint);
  EXPECT_EQ(Result(ZEP3_DOC_POSITIVE, ZEP3_SUB_PHOTO, *night).Trimmed(), 0.0);
  // A turned area counts alone.
  const auto plain = Scan(Photograph, kDarkStored, 300, 300), framed = Scan(Photograph, kDarkStored, 300, 300);
  framed->SetArea({10, 150}, {150, 10}, {290, 150}, {150, 290});
  plain->bmp.area = framed->bmp.area;
  framed->Fill([&](int x, int y, int c) {
    return std::abs(x - 150) + std::abs(y - 150) <= 140 ? plain->Level(x, y, c) : 40 * (c + 1);
  });
  EXPECT_EQ(Result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, *framed).record.Points(),
            Result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, *plain).record.Points());
}

TEST(Positive, SaysWhenScenesLackWhiteOrBlack) {
  const struct {
    double from, to;
    int64_t reason, other;
  } rows[] = {{0.0, 0.9, ZEP3_REASON_NO_BLACK, ZEP3_REASON_NO_WHITE},
              {0.45, 2.02, ZEP3_REASON_NO_WHITE, ZEP3_REASON_NO_BLACK}};
  for (const auto& row : rows) {
    const auto image =
        Scan([&](int x, int y, int c) { return row.from + (row.to - row.from) * Photograph(x, y, c) / 2.02; },
             kUnfadedPrint);
    const Result result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_PHOTO, *image);
    EXPECT_TRUE(result.Has(row.reason)) << row.from;
    EXPECT_FALSE(result.Has(row.other)) << row.from;
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
    EXPECT_EQ(points.sdIn, scale * 10);
    EXPECT_NEAR(points.gamma, 1.0, 0.01); // a straight line
  }
  // out = 255 (in / 255)^(1 / 1.5), through its own three points.
  EXPECT_NEAR(CurveThrough([](double out) { return 255 * std::pow(out / 255, 1.5); }).gamma, 1.5, 0.01);
}

TEST(OrderStatistics, LieBetweenSamples) {
  std::vector<double> odd = {5, 1, 4, 2, 3};
  std::vector<double> even = {40, 10, 30, 20};
  EXPECT_EQ(Median(even), 25.0);
  EXPECT_EQ(Percentile(odd, 0.0), 1.0);
  EXPECT_EQ(Percentile(odd, 100.0), 5.0);
  EXPECT_EQ(Percentile(even, 10.0), 13.0); // place 0.3 of 0..3
  EXPECT_EQ(LargestFrom(odd, 1), 5.0);
  EXPECT_EQ(LargestFrom(odd, 4), 2.0);
}

TEST(Adaptive, FallsBackToTheStandardAnalysisWithAReason) {
  const auto photo = Scan(Photograph, kDarkStored);
  const auto tiny = Scan(Photograph, kDarkStored, 22, 22);
  const auto flat = Scan([](int x, int, int) { return 0.6 + 0.05 * x / kWidth; }, kUnfadedPrint);
  Image blank(kWidth, kHeight);
  blank.Fill([](int, int, int) { return 0; });
  const struct {
    const char* what;
    Image& image;
    int type, subMode, option;
    int64_t reason;
  } rows[] = {
      {"document", *photo, 2, 1, 2, ZEP3_REASON_NOT_ADAPTIVE},
      {"ground colour", *photo, 2, 4, 2, ZEP3_REASON_NOT_ADAPTIVE},
      {"unknown sub-mode", *photo, 2, 77, 2, ZEP3_REASON_NOT_ADAPTIVE},
      {"plain slide", *photo, 1, 0, 1, ZEP3_REASON_NOT_ADAPTIVE},
      {"fewer than 500 blocks", *tiny, 2, 0, 2, ZEP3_REASON_TOO_LITTLE},
      {"hardly any contrast", *flat, 1, 2, 2, ZEP3_REASON_TOO_LITTLE},
      {"unknown type", *photo, 9, 0, 2, ZEP3_REASON_DEFAULTS},
      {"blank", blank, 2, 0, 2, ZEP3_REASON_DEFAULTS},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const Result result(row.type, row.subMode, row.image, 6, row.option);
    Record standard(row.type, row.subMode, row.option);
    standard.para.lCorrectLevel = 6;
    EXPECT_EQ(result.returned, ZEP3(&row.image.bmp, &standard.para, nullptr));
    EXPECT_EQ(result.record.Points(), standard.Points());
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
  EXPECT_EQ(ZEP3Adaptive(&photo->bmp, &r.para, nullptr, nullptr), 1);
  EXPECT_EQ(r.Points(), Result(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_PHOTO, *photo).record.Points());
}

} // namespace
