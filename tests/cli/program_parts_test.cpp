// The program's parts that a whole run does not show well: arguments, sidecars, scales, the pre-scan, workers.
#include <lcms2.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <limits>
#include <numeric>
#include <set>

#include "command/arguments.h"
#include "command/stops.h"
#include "command/workers.h"
#include "failure.h"
#include "files/formats.h"
#include "page/box_mean.h"
#include "page/encoding.h"
#include "page/marker.h"
#include "program.h"
#include "told/evidence.h"
#include "told/sidecar.h"

namespace {

// ---- arguments ----

TEST(Arguments, GoodOnesAreRead) {
  const AreaArgument area = ParseArea("10,20%,30.5,40%");
  EXPECT_EQ(area.corners[0].x.Pixels(1000), 10);
  EXPECT_EQ(area.corners[0].y.Pixels(1000), 200);
  EXPECT_EQ(area.corners[1].x.Pixels(1000), 30.5);
  EXPECT_EQ(ParsePipette("5,6,40", true).strength, 40);
  EXPECT_EQ(ParseCurve("0:10,+128:140,255:250").ptCtrl[1].x, 128);
  EXPECT_EQ(ParseMatrix("1,0,0,0,1e0,0,0,0,-.5")[8], -0.5);
  EXPECT_EQ(ParseBalance("-5,0,+7"), (std::array<int64_t, 3>{-5, 0, 7}));
  EXPECT_EQ(ParseGamma("2.2"), 22);
  for (const char* srgb : {"srgb", "sRGB"}) EXPECT_EQ(ParseInputGamma(srgb), ZEP3_GAMMA_SRGB_CURVE);
  EXPECT_EQ(ParseInputGamma("2.2"), 22);
  EXPECT_EQ(ParseStops("-1/4", 5), -0.25);
  EXPECT_FALSE(ParseSaturation("off").proposed);
  EXPECT_EQ(ParseSaturation("+12.5").Of(1.2), 1.2 * 1.125);
}

TEST(Arguments, BadOnesAreRefused) {
  const auto refused = [](auto parse, std::vector<std::string> texts) {
    for (const std::string& text : texts) EXPECT_THROW(parse(text), UsageError) << text;
  };
  refused(ParseArea, {"", "1,2,3", "1,2,0,4", "1,2,3,4x", "nan,1,1,1", "1e10,2,3,4", "1,2,3,4,", "1%%,2,3,4"});
  refused(ParseCorners, {"1,2,3,4,5,6,7", "1,2,3,4,5,6,7,8,9"});
  refused([](const std::string& text) { return ParsePipette(text, true); }, {"1", "1,2,101", "1,2,-1"});
  refused([](const std::string& text) { return ParsePipette(text, false); }, {"1,2,50"});
  refused(ParseCurve, {"0:0", "0:0,0:255", "0:0,256:0", "0:0:0,255:255",
                       "0:0,1:1,2:2,3:3,4:4,5:5,6:6,7:7,8:8,9:9,10:10,11:11,12:12,13:13,14:14,15:15,16:16"});
  refused(ParseMatrix, {"1,0,0,0,1,0,0,0", "1,0,0,0,1,0,0,0,1e7"});
  refused(ParseBalance, {"1,2", "1,2,1001", "1.5,2,3"});
  refused(ParseGamma, {"0.4", "5.1", "2.25", "srgb"});
  refused(ParseInputGamma, {"0.4", "-2.2", "srgb2"});
  refused([](const std::string& text) { return ParseStops(text, 5); },
          {"", "5.01", "1/0", "1/2/3", "nan", "1/-2", "x"});
  refused(ParseSaturation, {"", "-101", "401", "no"});
}

// By hand. Pink: luma 175.29, half of the way to 255. Pale: a colour of 38 in 255 is 0.327 of the way to a clear one;
// luma 225.08 and 0.163 of 29.92. What has no colour, or no light channel, or is as dark as a red pen, stays.
TEST(Marker, IsHalfAsDarkInGray) {
  using Pixel = std::array<int, 4>;
  for (const auto& [given, expected] : {std::pair<Pixel, Pixel>{{255, 149, 201, 77}, {215, 215, 215, 77}},
                                        {{255, 217, 217, 9}, {230, 230, 230, 9}},
                                        {{200, 195, 205, 1}, {200, 195, 205, 1}},
                                        {{200, 40, 30, 1}, {200, 40, 30, 1}},
                                        {{250, 60, 60, 1}, {250, 60, 60, 1}},
                                        {{0, 0, 0, 255}, {0, 0, 0, 255}}}) {
    std::array<uint8_t, 8> two;
    std::array<uint16_t, 4> deep;
    for (size_t i = 0; i < 8; i++) two[i] = static_cast<uint8_t>(given[i % 4]);
    for (size_t i = 0; i < 4; i++) deep[i] = static_cast<uint16_t>(257 * given[i]);
    LightenMarker(two.data(), 2, 4);
    LightenMarker(deep.data(), 1, 4);
    for (size_t i = 0; i < 8; i++) EXPECT_EQ(two[i], expected[i % 4]) << given[1] << " " << i;
    for (size_t i = 0; i < 4; i++) EXPECT_NEAR(deep[i] / 257.0, expected[i], 0.5) << given[1] << " " << i;
  }
}

// A page of 60 x 40 cells of 4 pixels: a picture with dark and with pink parts, a box of pink with a few dark cells, a
// pink speck. Of these the picture alone keeps its pink in gray; to its right it ends with its last cell.
TEST(Marker, OfPicturesStays) {
  constexpr int64_t kColumns = 60, kRows = 40, kSide = 4;
  const auto isPicture = [](int64_t x, int64_t y) { return x >= 5 && x < 25 && y >= 5 && y < 25; };
  const auto isBox = [](int64_t x, int64_t y) { return x >= 30 && x < 50 && y >= 5 && y < 25; };
  const auto isSpeck = [](int64_t x, int64_t y) { return x == 10 && y == 35; };
  const auto isDark = [&](int64_t x, int64_t y) { return isPicture(x, y) ? y > 15 : isBox(x, y) && y == 12; };
  std::vector<ZEP3_CELL> cells;
  std::vector<uint8_t> levels(3 * kColumns * kRows * kSide * kSide, 255);
  for (int64_t i = 0; i < kColumns * kRows; i++) {
    const int64_t x = i % kColumns, y = i / kColumns;
    const bool kept = isPicture(x, y) || isBox(x, y) || isSpeck(x, y);
    cells.push_back({{1, 1, 1}, kept ? 0U : uint32_t{ZEP3_CELL_STROKES | ZEP3_CELL_WHITEN}});
    for (int64_t k = 0; kept && k < kSide * kSide; k++) {
      uint8_t* pixel =
          &levels[static_cast<size_t>(3 * ((y * kSide + k / kSide) * kColumns * kSide + x * kSide + k % kSide))];
      pixel[0] = isDark(x, y) ? 60 : 255;
      pixel[1] = pixel[2] = isDark(x, y) ? 60 : 120;
    }
  }
  ZEP3_SURFACE surface = {};
  surface.lFound = ZEP3_SURFACE_PAPER;
  surface.lScanGamma = ZEP3_GAMMA_LINEAR_LEVELS;
  surface.lSide = 2 * kSide; // of a page that was made small by 2
  surface.lColumns = kColumns;
  surface.lRows = kRows;
  surface.pCells = cells.data();
  const std::vector<uint8_t> pictures = FindPictures(surface, levels.data(), kColumns * kSide, kRows * kSide, 2);
  ASSERT_EQ(pictures.size(), cells.size());
  for (int64_t i = 0; i < kColumns * kRows; i++)
    ASSERT_EQ(pictures[static_cast<size_t>(i)] != 0, isPicture(i % kColumns, i / kColumns)) << i;
  // Pink everywhere, from column 7 of the page on: the picture lies from 40 to 200.
  std::vector<uint8_t> line;
  for (int64_t x = 7; x < 480; x++) line.insert(line.end(), {255, 149, 201});
  LightenMarkerBesidePictures(line.data(), 473, 3, 7, 80, surface, pictures);
  for (int64_t x = 7; x < 480; x++)
    ASSERT_EQ(line[static_cast<size_t>(3 * (x - 7) + 1)], x >= 40 && x < 200 ? 149 : 215) << x;
}

// log10(2) / 0.003 = 100.343 steps a stop. By hand: warmth 0.4 is +-20.07 and a gray of luminance 0.2126 * 1.1487 +
// 0.7152 + 0.0722 * 0.8706 = 1.0223, from which 3.19 steps are taken: 16.88, -3.19, -23.26; of the whole numbers around
// these the luminances are nearest to 1 for 16, -3, -23 (0.9996).
TEST(Arguments, StopsAreSteps) {
  EXPECT_EQ(StepsOfStops(1), 100);
  EXPECT_EQ(StepsOfStops(-1.0 / 3), -33);
  using Balance = std::array<int64_t, 3>;
  EXPECT_EQ(BalanceOfStops(0.4, 0), (Balance{16, -3, -23}));
  for (const auto& [warmth, tint] : {std::pair{2.0, 0.0}, {-1.3, 0.4}, {0.0, -3.0}, {4.9, 5.0}}) {
    const Balance balance = BalanceOfStops(warmth, tint);
    const auto light = [&](size_t c) { return std::pow(10, 0.003 * static_cast<double>(balance[c])); };
    EXPECT_NEAR(0.2126 * light(0) + 0.7152 * light(1) + 0.0722 * light(2), 1, 0.0035) << warmth << " " << tint;
    EXPECT_NEAR(std::log2(light(0) / light(2)), warmth, 0.02);
    EXPECT_NEAR(std::log2(std::sqrt(light(0) * light(2)) / light(1)), tint, 0.02);
  }
}

TEST(Arguments, BracketsBehindANameAreOptions) {
  const char* const cases[][2] = {
      {"a.tif", ""}, {"a.tif", "[page=2]"}, {"d[1]/a.tif", ""}, {"[a]", ""}, {"a[b].tif", "[c,d=1]"}};
  for (const auto& [name, options] : cases) {
    EXPECT_EQ(SplitOptions(std::string(name) + options).name, name);
    EXPECT_EQ(SplitOptions(std::string(name) + options).options, options);
  }
  EXPECT_EQ(JoinOptions({{"a", "1"}, {"b", "2"}}, "[b=3,c]"), "[a=1,b=3,c]");
  EXPECT_EQ(JoinOptions({{"tile", "true"}, {"tile-width", "8"}}, "[tile_width=64]"), "[tile=true,tile_width=64]");
  EXPECT_EQ(FormatOfName("A.TIFF")->name, "tiff");
  EXPECT_EQ(FormatOfName("scan"), nullptr);
}

// ---- sidecars ----

// Lists of numbers are on one line; all else is as it was, whatever strings hold.
TEST(Sidecar, TextIsTheValue) {
  const std::string json = R"({"odd\\":"ICC [a b c] \"v2","\\":[1,-2.5,true,null],"b":[["[ ]"],[],{}]})";
  const auto value = nlohmann::ordered_json::parse(json);
  EXPECT_EQ(ToText(value, -1), json);
  EXPECT_EQ(ToText(value, 1), R"({
 "odd\\": "ICC [a b c] \"v2",
 "\\": [1,-2.5,true,null],
 "b": [
  [
   "[ ]"
  ],
  [],
  {}
 ]
})");
}

// The analysis of a page as it is written, and as it is read again.
nlohmann::ordered_json Written(const std::optional<Finding>& finding, const ZEP3_KIND& kind) {
  CorrectedPage page;
  ZEP3_PARA& para = page.correction.record.para;
  SetZEP3Kind(&para, kind.pName);
  para.lSaturation = 0;
  for (ZEP3_POINTS& points : para.ic.ch) points = {62965, 2570, 63424, 4630, 100};
  page.correction.finding = finding;
  return CorrectionToJson("scan.tif", {page}, true);
}
std::optional<Finding> Again(const nlohmann::ordered_json& json) {
  return CorrectionFromJson(ToText(json, 1)).at(0).correction.finding;
}

int AdaptiveAnalysisOf(const ZEP3_KIND& kind) {
  Record record;
  SetZEP3Kind(&record.para, kind.pName);
  return AdaptiveAnalysisOf(record.para);
}

// With numbers of its own in every evidence.
Finding Found(const ZEP3_KIND& kind) {
  Finding finding;
  finding.adaptive = true;
  finding.evidence.lAnalysis = AdaptiveAnalysisOf(kind);
  finding.evidence.lReasons = ZEP3_REASON_BORDER_REMOVED | ZEP3_REASON_FLAT;
  finding.evidence.dConfidence = 0.5;
  std::iota(std::begin(finding.evidence.dMeasured), std::end(finding.evidence.dMeasured), 1.25);
  const double none[] = {1, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()};
  const bool positive = finding.evidence.lAnalysis == ZEP3_ANALYSIS_POSITIVE;
  const bool page = finding.evidence.lAnalysis == ZEP3_ANALYSIS_PAGE;
  SetZEP3Evidence(&finding.evidence, page ? "sheet" : positive ? "offset" : "base", none);
  return finding;
}

// What is not known yet is passed over; without an analysis there is none.
TEST(Sidecar, AnalysisComesBackAsItWasWritten) {
  for (int64_t i = 0; const ZEP3_KIND* kind = GetZEP3Kind(i); i++) {
    SCOPED_TRACE(kind->pName);
    auto json = Written(Found(*kind), *kind);
    auto& analysis = json["pages"][0]["analysis"];
    const std::string told = analysis.dump();
    EXPECT_IN("null", told);
    analysis["reasons"].push_back({{"code", "not-known-yet"}, {"text", ""}});
    analysis["evidences"]["notKnownYet"] = "any";
    const auto again = Again(json);
    ASSERT_TRUE(again && again->repeated && again->adaptive);
    EXPECT_EQ(again->evidence.lAnalysis, AdaptiveAnalysisOf(*kind));
    EXPECT_EQ(again->evidence.lReasons, ZEP3_REASON_BORDER_REMOVED | ZEP3_REASON_FLAT);
    EXPECT_EQ(Written(again, *kind)["pages"][0]["analysis"].dump(), told);
    json["pages"][0].erase("analysis");
    EXPECT_FALSE(Again(json));
  }
}

// ---- scales ----

class Parts : public Program {
 protected:
  // One pixel with a profile attached.
  static VImage With(cmsHPROFILE profile, int bands) {
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    std::vector<uint8_t> bytes(size);
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    VImage image = VImage::black(1, 1, VImage::option()->set("bands", bands)).copy();
    vips_image_set_blob_copy(image.get_image(), VIPS_META_ICC_NAME, bytes.data(), size);
    return image;
  }
  static VImage Rgb(double gamma) {
    const cmsCIExyY white = {0.3127, 0.3290, 1};
    const cmsCIExyYTRIPLE primaries = {{0.64, 0.33, 1}, {0.21, 0.71, 1}, {0.15, 0.06, 1}};
    cmsToneCurve* curve = cmsBuildGamma(nullptr, gamma);
    cmsToneCurve* curves[] = {curve, curve, curve};
    const VImage image = With(cmsCreateRGBProfile(&white, &primaries, curves), 3);
    cmsFreeToneCurve(curve);
    return image;
  }
  static VImage GrayOf(double gamma) {
    cmsToneCurve* curve = cmsBuildGamma(nullptr, gamma);
    const VImage image = With(cmsCreateGrayProfile(cmsD50_xyY(), curve), 1);
    cmsFreeToneCurve(curve);
    return image;
  }
};

TEST_F(Parts, TheGammaIsTheProfiles) {
  const struct {
    const char* name;
    VImage image;
    int gamma;
  } cases[] = {{"sRGB", With(cmsCreate_sRGBProfile(), 3), ZEP3_GAMMA_SRGB_CURVE},
               {"1.0", Rgb(1.0), 10},
               {"2.19921875", Rgb(563 / 256.0), 22},
               {"gray 1.8", GrayOf(1.8), 18},
               {"Lab", With(cmsCreateLab4Profile(nullptr), 3), ZEP3_GAMMA_SRGB_CURVE},
               {"none", VImage::black(1, 1), ZEP3_GAMMA_SRGB_CURVE}};
  for (const auto& c : cases) {
    EXPECT_EQ(FindEncoding(c.image, {}, {}).input, c.gamma) << c.name;
    EXPECT_TRUE(FindEncoding(c.image, {}, {}).IsKept()) << c.name;
    EXPECT_EQ(FindEncoding(c.image, {}, 20).output, 20) << c.name;
    EXPECT_EQ(FindEncoding(c.image, 15, {}).output, 15) << c.name;
  }
  EXPECT_THROW(FitProfile(cases[4].image, {22, 18, ""}, false), Failure); // it has no curves
  // Colours that were made gray: green's curve, or the result's.
  for (const int output : {18, 10}) {
    const VImage gray = FitProfile(Rgb(1.8), {18, output, ""}, true);
    const Encoding found = FindEncoding(gray, {}, {});
    EXPECT_EQ(found.input, output);
    EXPECT_IN("gray", found.source);
  }
}

// ---- pre-scan ----

// Means of blocks, whatever the depth, the bands and the reader; at the edges of what is there. What is not plain, or
// has come under the name since, the reader of plain lines refuses (tiff_pages_test.cpp).
TEST_F(Parts, BoxMeansAreMeans) {
  const std::string path = Path("scan.tif");
  for (const bool deep : {false, true}) {
    for (const int bands : {1, 3, 4}) {
      const VImage noise = Noise(103, 71, 5).bandjoin(Noise(103, 71, 6)[0]);
      VImage image = noise.extract_band(0, VImage::option()->set("n", bands));
      if (deep) image = (image * 256 + noise[1]).cast(VIPS_FORMAT_USHORT);
      const auto gray = deep ? VIPS_INTERPRETATION_GREY16 : VIPS_INTERPRETATION_B_W;
      image = As(bands == 1 ? gray : deep ? VIPS_INTERPRETATION_RGB16 : VIPS_INTERPRETATION_sRGB, image);
      Save(image, "scan.tif[tile-height=6]");
      const int colours = bands >= 3 ? 3 : 1;
      for (const int side : {2, 50, 300}) {
        SCOPED_TRACE(testing::Message() << deep << " " << bands << " " << side);
        const VImage plain = BoxMeanOfPlainTiff(path, 0, {103, 71, bands, deep}, colours, side);
        ASSERT_FALSE(plain.is_null());
        // The same in passing, from a file that is read once: what is kept of it can be read again.
        VImage held(nullptr);
        const auto once = VImage::option()->set("access", VIPS_ACCESS_SEQUENTIAL);
        const VImage all = BoxMean(VImage::new_from_file(path.c_str(), once), colours, side, &held);
        EXPECT_EQ(Difference(all, plain), 0);
        EXPECT_EQ(Difference(held, image), 0);
        EXPECT_EQ(held.interpretation(), image.interpretation());
        const int x = 102 / side, y = 70 / side;
        ASSERT_EQ(std::pair(all.width(), all.height()), std::pair(x + 1, y + 1));
        const VImage last = image.crop(x * side, y * side, 103 - x * side, 71 - y * side);
        EXPECT_EQ(all.getpoint(x, y).back(), std::floor(last[colours - 1].avg() + 0.5));
      }
    }
  }
}

// ---- workers ----

// A crash, an end and nonsense cost their jobs, and no memory.
TEST(Workers, AnswersComeInOrderAndACrashCostsOneJob) {
  int given = 0;
  std::string told, cleaned;
  std::vector<int> answered;
  WorkerEvents events;
  events.next = [&]() -> std::optional<Message> {
    if (given == 40) return std::nullopt;
    return Message{std::to_string(given++), std::string("any\0bytes\n", 10)};
  };
  events.answered = [&](const Message& job, const std::optional<Message>&, const std::string&) {
    answered.push_back(std::stoi(job.at(0)));
  };
  events.done = [&](const Message& job, const std::optional<Message>& answer, const std::string& death) {
    told += answer ? answer->at(0) + " " : job.at(0) + "[" + death + "] ";
  };
  events.stop = [] { return false; };
  events.cleanUp = [&](const Message& job) { cleaned += job.at(0) + " "; };
  // A number of texts, or one text of a size; and then nothing more.
  const auto rave = [](std::vector<uint64_t> nonsense) {
    for (int file = 3; file < 100; file++) {
      ::send(file, nonsense.data(), nonsense.size() * sizeof(uint64_t), MSG_NOSIGNAL);
    }
    ::pause();
  };
  RunInWorkers(
      3,
      [&](const Message& job) -> Message {
        const int number = std::stoi(job.at(0));
        if (number == 7) ::raise(SIGKILL);
        if (number == 15) rave({~uint64_t{0}});
        if (number == 23) rave({1, ~uint64_t{0} >> 1});
        if (number == 39) ::_exit(3);
        ::usleep(static_cast<useconds_t>(2000 * (number % 5))); // later jobs are often done first
        return {job.at(0) + (job.at(1).size() == 10 ? "" : "!")};
      },
      events);
  std::string expected;
  for (int i = 0; i < 40; i++) {
    const std::string number = std::to_string(i);
    expected += i == 39                        ? "39[its worker process ended with status 3] "
                : i == 7 || i == 15 || i == 23 ? number + "[its worker process died (Killed)] "
                                               : number + " ";
  }
  EXPECT_EQ(told, expected);
  EXPECT_FALSE(std::is_sorted(answered.begin(), answered.end())); // none waits for its turn
  EXPECT_EQ(std::set<int>(answered.begin(), answered.end()).size(), 40U);
  EXPECT_EQ(answered.size(), 40U);
  EXPECT_EQ(cleaned.size(), std::string("7 15 23 39 ").size());
}

} // namespace
