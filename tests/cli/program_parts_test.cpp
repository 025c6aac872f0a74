// The program's parts that a whole run does not show well: arguments, scales, tables, workers.
#include <gtest/gtest.h>
#include <lcms2.h>
#include <tiffio.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <vector>
#include <vips/vips8>

#include "arguments.h"
#include "box_mean.h"
#include "encoding.h"
#include "evidence.h"
#include "failure.h"
#include "formats.h"
#include "kinds.h"
#include "sidecar.h"
#include "tables.h"
#include "workers.h"

namespace {

// ---- arguments ----

TEST(Arguments, GoodOnesAreRead) {
  const AreaArgument area = ParseArea("10,20%,30.5,40%");
  EXPECT_EQ(area.corners[0].x.Pixels(1000), 10);
  EXPECT_EQ(area.corners[0].y.Pixels(1000), 200);
  EXPECT_EQ(area.corners[1].x.Pixels(1000), 30.5);
  EXPECT_EQ(ParseCorners("1,2,3,4,5,6,7,8").corners[3].y.value, 8);
  EXPECT_EQ(ParsePipette("5,6", true).strength, 100);
  EXPECT_EQ(ParsePipette("5,6,40", true).strength, 40);
  const ZEP3_TONE tone = ParseCurve("0:10,+128:140,255:250");
  EXPECT_EQ(tone.wPointNum, 3);
  EXPECT_EQ(tone.ptCtrl[1].x, 128);
  EXPECT_EQ(tone.ptCtrl[2].y, 250);
  EXPECT_EQ(ParseMatrix("1,0,0,0,1e0,0,0,0,-.5")[8], -0.5);
  EXPECT_EQ(ParseBalance("-5,0,+7"), (std::array<int64_t, 3>{-5, 0, 7}));
  EXPECT_EQ(ParseGamma("2.2"), 22);
  EXPECT_EQ(ParseGamma("1"), 10);
}

TEST(Arguments, BadOnesAreRefused) {
  const auto refused = [](auto parse, std::vector<std::string> texts) {
    for (const std::string& text : texts) EXPECT_THROW(parse(text), UsageError) << text;
  };
  refused(ParseArea, {"", "1,2,3", "1,2,3,4,5", "1,2,0,4", "1,2,3,-4", "1,2,3,4x", "a,2,3,4", "1,,3,4", "nan,1,1,1",
                      "1,2,inf,4", "1e10,2,3,4", "1,2,3,4,", "1,2,3 ,4", "%,2,3,4", "1%%,2,3,4"});
  refused(ParseCorners, {"1,2,3,4", "1,2,3,4,5,6,7", "1,2,3,4,5,6,7,8,9"});
  refused([](const std::string& text) { return ParsePipette(text, true); }, {"1", "1,2,101", "1,2,-1", "1,2,3,4"});
  refused([](const std::string& text) { return ParsePipette(text, false); }, {"1,2,50"});
  refused(ParseCurve, {"", "0:0", "0:0,0:255", "10:0,5:255", "0:0,256:0", "0:-1,255:255", "0:0,255", "0:0:0,255:255",
                       "0:0,1:1,2:2,3:3,4:4,5:5,6:6,7:7,8:8,9:9,10:10,11:11,12:12,13:13,14:14,15:15,16:16"});
  refused(ParseMatrix, {"1,0,0,0,1,0,0,0", "1,0,0,0,1,0,0,0,1,0", "1,0,0,0,1,0,0,0,x", "1,0,0,0,1,0,0,0,1e7"});
  refused(ParseBalance, {"1,2", "1,2,3,4", "1,2,1001", "1.5,2,3"});
  refused(ParseGamma, {"", "0.4", "5.1", "2.25", "2,2", "x"});
}

TEST(Arguments, BracketsBehindANameAreOptions) {
  const struct {
    const char *text, *name, *options;
  } cases[] = {{"a.tif", "a.tif", ""},
               {"a.tif[page=2]", "a.tif", "[page=2]"},
               {"d[1]/a.tif", "d[1]/a.tif", ""},
               {"[a]", "[a]", ""},
               {"a[b].tif[c,d=1]", "a[b].tif", "[c,d=1]"}};
  for (const auto& c : cases) {
    EXPECT_EQ(SplitOptions(c.text).name, c.name);
    EXPECT_EQ(SplitOptions(c.text).options, c.options);
  }
  EXPECT_EQ(JoinOptions({{"a", "1"}, {"b", "2"}}, "[b=3,c]"), "[a=1,b=3,c]");
  EXPECT_EQ(JoinOptions({{"tile", "true"}, {"tile-width", "8"}}, "[tile_width=64]"), "[tile=true,tile_width=64]");
  EXPECT_EQ(JoinOptions({}, ""), "[]");
  EXPECT_EQ(FormatOfName("A.TIFF")->name, "tiff");
  EXPECT_EQ(FormatOfName("scan"), nullptr);
}

// ---- evidence ----

Finding Found(int64_t analysis, int64_t reasons, double confidence) {
  Finding finding;
  finding.adaptive = true;
  finding.evidence.lAnalysis = analysis;
  finding.evidence.lReasons = reasons;
  finding.evidence.dConfidence = confidence;
  return finding;
}

// Numbers of its own in every evidence.
Finding FoundNumbers(int64_t analysis) {
  Finding finding = Found(analysis, ZEP3_REASON_BORDER_REMOVED | ZEP3_REASON_FLAT, 0.5);
  std::iota(std::begin(finding.evidence.dMeasured), std::end(finding.evidence.dMeasured), 1.25);
  return finding;
}

TEST(Evidence, IsToldInALine) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  Finding repeated = Found(ZEP3_ANALYSIS_NEGATIVE, 0, 1);
  repeated.repeated = true;
  const struct {
    Finding finding;
    const char* line;
  } cases[] = {
      {Finding(), "standard analysis"},
      {Found(ZEP3_ANALYSIS_STANDARD, ZEP3_REASON_TOO_LITTLE, 0),
       "standard analysis: too little picture or contrast to decide from"},
      {Found(ZEP3_ANALYSIS_POSITIVE, ZEP3_REASON_STAIN | ZEP3_REASON_STRONG_FADING, 0.934),
       "adaptive analysis, confidence 0.93: strong fading; yellow stain or cast removed"},
      {repeated, "repeated adaptive analysis, confidence 1.00"},
      {Found(ZEP3_ANALYSIS_POSITIVE, 0, nan), "adaptive analysis, confidence –"},
  };
  for (const auto& c : cases) EXPECT_EQ(Summary(c.finding), c.line);
  Finding finding = FoundNumbers(ZEP3_ANALYSIS_POSITIVE);
  const struct {
    double values[3];
    const char* text;
  } numbers[] = {{{0.5, 1, 0.555}, "0.50 / 1.00 / 0.56"},
                 {{-0.004, -0.006, -1}, "0.00 / -0.01 / -1.00"},
                 {{nan, -1 / 0., 1e6}, "– / – / 1000000.00"}};
  for (const auto& c : numbers) {
    SetZEP3Evidence(&finding.evidence, "dyeLeft", c.values);
    EXPECT_EQ(ValueText(EvidencesOf(finding).at(3), finding), c.text);
  }
}

// Lists of numbers are on one line; all else is as it was, whatever strings hold.
TEST(Json, TextIsTheValue) {
  using Json = nlohmann::ordered_json;
  const char* const cases[][2] = {{R"({"scan":"odd name\\","inputGammaFrom":"ICC profile My Scanner [a b c] v2"})",
                                   R"({
 "scan": "odd name\\",
 "inputGammaFrom": "ICC profile My Scanner [a b c] v2"
})"},
                                  {R"({"\\":[1,-2.5,true,null],"b":[["[ ]"],[],{}]})",
                                   R"({
 "\\": [1,-2.5,true,null],
 "b": [
  [
   "[ ]"
  ],
  [],
  {}
 ]
})"},
                                  {R"("\\\"")", R"("\\\"")"}};
  for (const auto& [json, text] : cases) {
    EXPECT_EQ(ToText(Json::parse(json), 1), text);
    EXPECT_EQ(ToText(Json::parse(json), -1), json);
    EXPECT_EQ(Json::parse(text), Json::parse(json));
  }
}

class SidecarAnalysis : public testing::Test {
 protected:
  static nlohmann::ordered_json Written(const std::optional<Finding>& finding, const Kind& kind) {
    CorrectedPage page;
    ZEP3_PARA& para = page.correction.record.para;
    para.wDocType = kind.docType;
    para.wSubMode = kind.subMode;
    para.lSaturation = 0;
    for (ZEP3_POINTS& points : para.ic.ch) points = {62965, 2570, 63424, 4630, 100};
    page.correction.finding = finding;
    return CorrectionToJson("scan.tif", {page});
  }
  static std::optional<Finding> Again(const nlohmann::ordered_json& json) {
    return CorrectionFromJson(ToText(json, 1)).at(0).correction.finding;
  }
};

TEST_F(SidecarAnalysis, ComesBackAsItWasWritten) {
  for (const Kind& kind : Kinds()) {
    SCOPED_TRACE(kind.name);
    Finding finding = FoundNumbers(AdaptiveAnalysisOf(kind.docType));
    const double none[] = {1, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()};
    SetZEP3Evidence(&finding.evidence, finding.evidence.lAnalysis == ZEP3_ANALYSIS_POSITIVE ? "offset" : "base", none);
    const auto json = Written(finding, kind);
    const auto again = Again(json);
    ASSERT_TRUE(again);
    EXPECT_TRUE(again->repeated && again->adaptive);
    EXPECT_EQ(again->evidence.lAnalysis, finding.evidence.lAnalysis);
    EXPECT_EQ(again->evidence.lReasons, finding.evidence.lReasons);
    const auto told = [](const nlohmann::ordered_json& of) { return of["pages"][0]["analysis"].dump(); };
    EXPECT_EQ(told(Written(again, kind)), told(json));
    EXPECT_NE(told(json).find("null"), std::string::npos);
  }
}

TEST_F(SidecarAnalysis, MayBeMissingAndMustBeOne) {
  const auto json = Written(FoundNumbers(ZEP3_ANALYSIS_NEGATIVE), *FindKind("negative"));
  auto old = json;
  old["pages"][0].erase("analysis");
  EXPECT_FALSE(Again(old));
  EXPECT_FALSE(Again(Written(std::nullopt, *FindKind("negative"))));
  auto later = json;
  later["pages"][0]["analysis"]["reasons"].push_back({{"code", "not-known-yet"}, {"text", ""}});
  later["pages"][0]["analysis"]["evidences"]["notKnownYet"] = "any";
  later["pages"][0]["analysis"]["evidences"].erase("base");
  EXPECT_EQ(Again(later)->evidence.lReasons, Again(json)->evidence.lReasons);
  const struct {
    const char *at, *value, *message;
  } cases[] = {{"", "3", "'asked' is missing"},
               {"/asked", "\"both\"", "'asked' is no analysis"},
               {"/used", "1", "'used' is no analysis"},
               {"/confidence", "\"high\"", "'confidence' is not a number"},
               {"/reasons", "{}", "'reasons' is no list"},
               {"/reasons/0", "\"stain\"", "'code' is missing"},
               {"/evidences/holder", "[1]", "'holder' is not a number"},
               {"/evidences/base", "[1, 2]", "'base' is not 3 numbers"},
               {"/evidences/base/1", "true", "'base' is not a number"}};
  for (const auto& c : cases) {
    auto spoiled = json;
    spoiled[nlohmann::ordered_json::json_pointer("/pages/0/analysis" + std::string(c.at))] =
        nlohmann::ordered_json::parse(c.value);
    try {
      Again(spoiled);
      ADD_FAILURE() << c.at;
    } catch (const Failure& failure) {
      EXPECT_STREQ(failure.what(), c.message);
    }
  }
}

// ---- scales ----

class Scales : public testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_EQ(VIPS_INIT("parts_test"), 0); }

  // One pixel with a profile attached.
  static vips::VImage With(cmsHPROFILE profile, int bands) {
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    std::vector<uint8_t> bytes(size);
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    vips::VImage image = vips::VImage::black(1, 1, vips::VImage::option()->set("bands", bands)).copy();
    vips_image_set_blob_copy(image.get_image(), VIPS_META_ICC_NAME, bytes.data(), size);
    return image;
  }
  static cmsHPROFILE Rgb(double gamma) {
    const cmsCIExyY white = {0.3127, 0.3290, 1};
    const cmsCIExyYTRIPLE primaries = {{0.64, 0.33, 1}, {0.21, 0.71, 1}, {0.15, 0.06, 1}};
    cmsToneCurve* curve = cmsBuildGamma(nullptr, gamma);
    cmsToneCurve* curves[] = {curve, curve, curve};
    const cmsHPROFILE profile = cmsCreateRGBProfile(&white, &primaries, curves);
    cmsFreeToneCurve(curve);
    return profile;
  }
  static cmsHPROFILE GrayProfile(double gamma) {
    cmsToneCurve* curve = cmsBuildGamma(nullptr, gamma);
    const cmsHPROFILE profile = cmsCreateGrayProfile(cmsD50_xyY(), curve);
    cmsFreeToneCurve(curve);
    return profile;
  }
};

TEST_F(Scales, TheGammaIsTheProfiles) {
  const struct {
    const char* name;
    vips::VImage image;
    int gamma;
  } cases[] = {{"sRGB", With(cmsCreate_sRGBProfile(), 3), 22},
               {"1.0", With(Rgb(1.0), 3), 10},
               {"1.8", With(Rgb(1.8), 3), 18},
               {"2.19921875", With(Rgb(563 / 256.0), 3), 22},
               {"gray 2.2", With(GrayProfile(2.2), 1), 22},
               {"gray 1.0", With(GrayProfile(1.0), 1), 10},
               {"Lab", With(cmsCreateLab4Profile(nullptr), 3), 22}};
  for (const auto& c : cases) {
    EXPECT_EQ(FindEncoding(c.image, {}, {}).input, c.gamma) << c.name;
    EXPECT_EQ(FindEncoding(c.image, {}, {}).output, c.gamma) << c.name;
    EXPECT_EQ(FindEncoding(c.image, 15, 20).input, 15) << c.name;
    EXPECT_EQ(FindEncoding(c.image, 15, 20).output, 20) << c.name;
  }
  vips::VImage broken = vips::VImage::black(1, 1).copy();
  vips_image_set_blob_copy(broken.get_image(), VIPS_META_ICC_NAME, "no profile", 10);
  EXPECT_EQ(FindEncoding(broken, {}, {}).input, 22);
}

// Another gamma in the profile, the same primaries.
TEST_F(Scales, ProfilesAreFitted) {
  for (const double gamma : {1.0, 2.4}) {
    Encoding encoding = FindEncoding(With(Rgb(2.2), 3), {}, static_cast<int>(std::lround(gamma * 10)));
    const vips::VImage fitted = FitProfile(With(Rgb(2.2), 3), encoding);
    EXPECT_EQ(FindEncoding(fitted, {}, {}).input, encoding.output);
    size_t size = 0;
    const void* data = fitted.get_blob(VIPS_META_ICC_NAME, &size);
    const cmsHPROFILE profile = cmsOpenProfileFromMem(data, static_cast<cmsUInt32Number>(size));
    const cmsHPROFILE was = Rgb(2.2);
    for (const auto tag : {cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag}) {
      const auto* now = static_cast<cmsCIEXYZ*>(cmsReadTag(profile, tag));
      const auto* before = static_cast<cmsCIEXYZ*>(cmsReadTag(was, tag));
      EXPECT_NEAR(now->Y, before->Y, 1e-4);
      EXPECT_NEAR(now->X, before->X, 1e-4);
    }
    cmsCloseProfile(profile);
    cmsCloseProfile(was);
  }
  EXPECT_THROW(FitProfile(With(cmsCreateLab4Profile(nullptr), 3), {22, 18, ""}), Failure);
}

// What is not corrected comes out as it went in, whatever its gamma: the points at the ends, gamma 1.
TEST_F(Scales, ACorrectionOfNothingChangesNothing) {
  for (const int gamma : {10, 14, 18, 22, 26}) {
    Correction correction;
    ZEP3_PARA& para = correction.record.para;
    para.lScreenGamma = correction.encoding.input = correction.encoding.output = gamma;
    para.ic.wHlCurveType = ZEP3_HL_NONE;
    para.ic.wSdCurveType = ZEP3_SD_NONE;
    for (ZEP3_POINTS& points : para.ic.ch) points = {65535, 0, 65535, 0, 100};
    const Tables shallow = MakeTables(correction, 256);
    const Tables deep = MakeTables(correction, 65536);
    // The engine takes levels below 0.1 for that.
    const double foot = std::pow(0.1 / 255, 18.0 / gamma);
    int wrong = 0;
    int farthest = 0;
    for (size_t i = 0; i < 256; i++) {
      const bool dark = 255 * std::pow(static_cast<double>(i) / 255, gamma / 18.0) < 0.1;
      wrong += ToByte(shallow[1][i]) != (dark ? std::lround(255 * foot) : static_cast<long>(i));
    }
    for (int i = 0; i < 65536; i++) farthest = std::max(farthest, std::abs(deep[1][static_cast<size_t>(i)] - i));
    EXPECT_EQ(wrong, 0) << gamma;
    EXPECT_LE(farthest, std::lround(65535 * foot) + 1) << gamma;
  }
}

// ---- pre-scan ----

// Means of squares by the plain formula, whatever the depth, the bands and the reader; edges are means of what is
// there.
TEST_F(Scales, BoxMeansAreMeans) {
  char folder[] = "/tmp/zep3_parts_XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  const std::string path = std::string(folder) + "/scan.tif";
  std::mt19937 random(5);
  for (const bool deep : {false, true}) {
    for (const int bands : {1, 2, 3, 4}) {
      const int width = 103;
      const int height = 71;
      std::vector<uint16_t> values(static_cast<size_t>(width * height * bands));
      for (uint16_t& value : values) value = static_cast<uint16_t>(deep ? random() : random() % 256);
      vips::VImage image =
          vips::VImage::new_from_memory(values.data(), values.size() * 2, width, height, bands, VIPS_FORMAT_USHORT);
      if (!deep) image = image.cast(VIPS_FORMAT_UCHAR);
      const auto space = bands < 3 ? (deep ? VIPS_INTERPRETATION_GREY16 : VIPS_INTERPRETATION_B_W)
                                   : (deep ? VIPS_INTERPRETATION_RGB16 : VIPS_INTERPRETATION_sRGB);
      image = image.copy(vips::VImage::option()->set("interpretation", space));
      image.write_to_file((path + "[tile-height=6]").c_str());
      for (const int64_t side : {2, 7, 50, 300}) {
        SCOPED_TRACE(testing::Message() << deep << " " << bands << " " << side);
        const int colours = bands >= 3 ? 3 : 1;
        const vips::VImage plain = BoxMeanOfPlainTiff(path, 0, colours, side);
        const vips::VImage all = BoxMean(image, bands, side);
        ASSERT_FALSE(plain.is_null());
        ASSERT_EQ(plain.bands(), colours);
        ASSERT_EQ(all.width(), (width + side - 1) / side);
        ASSERT_EQ(all.height(), (height + side - 1) / side);
        EXPECT_EQ((plain - all.extract_band(0, vips::VImage::option()->set("n", colours))).abs().max(), 0);
        // The same in passing, from a file that is read once: what is kept of it can be read again.
        vips::VImage held(nullptr);
        const auto once = vips::VImage::option()->set("access", VIPS_ACCESS_SEQUENTIAL);
        const vips::VImage few = BoxMean(vips::VImage::new_from_file(path.c_str(), once), colours, side, &held);
        EXPECT_EQ((few - plain).abs().max(), 0);
        EXPECT_EQ((held - image).abs().max(), 0);
        EXPECT_EQ(held.crop(0, 0, 1, 1).getpoint(0, 0), image.getpoint(0, 0));
        EXPECT_EQ(held.interpretation(), space);
        for (const auto& [x, y] : {std::pair{0, 0}, std::pair{all.width() - 1, all.height() - 1}}) {
          for (int band = 0; band < bands; band++) {
            uint64_t sum = 0;
            uint64_t count = 0;
            for (int64_t line = y * side; line < std::min<int64_t>((y + 1) * side, height); line++) {
              for (int64_t column = x * side; column < std::min<int64_t>((x + 1) * side, width); column++, count++) {
                sum += values[static_cast<size_t>((line * width + column) * bands + band)];
              }
            }
            const double mean = static_cast<double>(sum) / static_cast<double>(count);
            EXPECT_EQ(all.getpoint(x, y)[static_cast<size_t>(band)], std::floor(mean + 0.5));
          }
        }
      }
    }
  }
  // Stored otherwise: for libvips.
  for (const char* options : {"[compression=lzw]", "[tile]", "[compression=jpeg]"}) {
    vips::VImage::black(64, 64, vips::VImage::option()->set("bands", 3)).write_to_file((path + options).c_str());
    EXPECT_TRUE(BoxMeanOfPlainTiff(path, 0, 3, 4).is_null()) << options;
  }
  // The other byte order, and damage.
  TIFF* tiff = TIFFOpen(path.c_str(), "wb");
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 4);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 2);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 16);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 2);
  uint16_t line[8] = {1000, 1000, 1000, 1000, 2000, 2000, 2000, 2000};
  TIFFWriteEncodedStrip(tiff, 0, line, sizeof line);
  TIFFClose(tiff);
  EXPECT_EQ(BoxMeanOfPlainTiff(path, 0, 1, 2).getpoint(1, 0)[0], 1500);
  vips::VImage::black(64, 64, vips::VImage::option()->set("bands", 3))
      .write_to_file((path + "[tile-height=8]").c_str());
  std::string bytes;
  {
    std::ifstream file(path, std::ios::binary);
    bytes.assign(std::istreambuf_iterator<char>(file), {});
  }
  const size_t directory = static_cast<unsigned char>(bytes[4]) + 256u * static_cast<unsigned char>(bytes[5]);
  std::ofstream(path, std::ios::binary) << bytes.substr(0, 8) << bytes.substr(directory); // no longer where it was
  EXPECT_THROW(BoxMeanOfPlainTiff(path, 0, 3, 4), Failure);
  std::filesystem::remove_all(folder);
}

// ---- workers ----

TEST(Workers, AnswersComeInOrderAndACrashCostsOneJob) {
  const int count = 40;
  int given = 0;
  std::vector<std::string> told;
  std::vector<std::string> cleaned;
  WorkerEvents events;
  events.next = [&]() -> std::optional<Message> {
    if (given == count) return std::nullopt;
    return Message{std::to_string(given++), std::string("any\0bytes\n", 10)};
  };
  events.done = [&](const Message& job, const std::optional<Message>& answer, const std::string& death) {
    told.push_back(answer ? answer->at(0) : "dead " + job.at(0));
    if (!answer) EXPECT_NE(death.find(job.at(0) == "7" ? "Killed" : "status 3"), std::string::npos) << death;
  };
  events.stop = [] { return false; };
  events.cleanUp = [&](const Message& job) { cleaned.push_back(job.at(0)); };
  RunInWorkers(
      3,
      [](const Message& job) -> Message {
        const int number = std::stoi(job.at(0));
        if (number == 7) ::raise(SIGKILL);
        if (number == 39) ::_exit(3);
        ::usleep(static_cast<useconds_t>(2000 * (number % 5))); // later jobs are often done first
        return {job.at(0) + std::to_string(job.at(1).size())};
      },
      events);
  ASSERT_EQ(told.size(), static_cast<size_t>(count));
  for (int i = 0; i < count; i++) {
    const std::string number = std::to_string(i);
    EXPECT_EQ(told[static_cast<size_t>(i)], i == 7 || i == 39 ? "dead " + number : number + "10");
  }
  EXPECT_EQ(cleaned.size(), 2u);
}

} // namespace
