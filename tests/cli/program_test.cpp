// zep3 as a user runs it: scans in, finished files out, and everything that can be wrong with them.
#include <algorithm>
#include <array>
#include <cmath>
#include <nlohmann/json.hpp>
#include <vector>
#include <vips/vips8>

#include "shell.h"

namespace {

using vips::VImage;
namespace fs = std::filesystem;

// A scan with shading, texture and a cast, off the ends of the scale: R G B bytes.
std::vector<uint8_t> Texture(int width, int height) {
  std::vector<uint8_t> pixels;
  for (int y = 0; y < height; y++) {
    for (int x = 0; x < width; x++) {
      const int base = 30 + 150 * x / width + (x * 7 + y * 13) % 23;
      for (const int cast : {20, 5, -12}) pixels.push_back(static_cast<uint8_t>(base + cast + y % 5));
    }
  }
  return pixels;
}

VImage Picture(const std::vector<uint8_t>& pixels, int width, int height) {
  return VImage(vips_image_new_from_memory_copy(pixels.data(), pixels.size(), width, height, 3, VIPS_FORMAT_UCHAR))
      .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
}

constexpr int kWidth = 90;
constexpr int kHeight = 60;

VImage Sample() { return Picture(Texture(kWidth, kHeight), kWidth, kHeight); }
VImage Gray() {
  return Sample().extract_band(1).copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_B_W));
}
VImage Deep(const VImage& image) {
  const auto space = image.bands() < 3 ? VIPS_INTERPRETATION_GREY16 : VIPS_INTERPRETATION_RGB16;
  return (image * 257).cast(VIPS_FORMAT_USHORT).copy(VImage::option()->set("interpretation", space));
}
VImage WithAlpha(const VImage& image) { return image.bandjoin(image.extract_band(0).invert()); }

// Largest difference of two pictures of one size.
double Difference(const VImage& a, const VImage& b) {
  EXPECT_EQ(a.bands(), b.bands());
  return (a - b).abs().max();
}

class Program : public Shell {
 protected:
  static void SetUpTestSuite() {
    ASSERT_EQ(VIPS_INIT("program_test"), 0);
    vips_cache_set_max(0); // files of one name are read again and again
  }

  Outcome Zep3(const std::string& arguments, const std::string& before = "") const {
    return Run(before + std::string(ZEP3_PROGRAM) + " " + arguments);
  }
  void Save(const VImage& image, const std::string& name) const { image.write_to_file(Path(name).c_str()); }
  VImage Load(const std::string& name) const { return VImage::new_from_file(Path(name).c_str()).copy_memory(); }

  // Nothing but these files is in the folder: no temporary ones either.
  void ExpectFiles(std::vector<std::string> names) const {
    std::vector<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(m_folder)) {
      const std::string name = entry.path().lexically_relative(m_folder).string();
      if (entry.is_regular_file() && name != ".out" && name != ".err") found.push_back(name);
    }
    std::sort(found.begin(), found.end());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(found, names);
  }
};

// The driver's tables, three lines of numbers.
std::array<std::vector<int>, 3> Tables(const std::string& text) {
  std::array<std::vector<int>, 3> tables;
  std::istringstream lines(text);
  for (auto& table : tables) {
    std::string line, number;
    std::getline(lines, line);
    std::istringstream numbers(line);
    while (std::getline(numbers, number, ',')) table.push_back(std::stoi(number));
    EXPECT_EQ(table.size(), 256u);
  }
  return tables;
}

// ---- pixels ----

// On the engine's own scale the result is the driver's tables applied, to the last bit.
TEST_F(Program, PixelsAreTheDriversTablesApplied) {
  const std::vector<uint8_t> pixels = Texture(kWidth, kHeight);
  File("scan.raw", std::string(pixels.begin(), pixels.end()));
  Save(Sample(), "scan.png");
  const struct {
    const char* kind;
    int mode, brightness, contrast, outputGamma;
  } cases[] = {{"photo", 2, 0, 0, 18},         {"photo", 2, -40, 25, 22},     {"background", 0, 0, 0, 18},
               {"background", 0, 15, -30, 22}, {"ground-color", 1, 0, 0, 18}, {"ground-color", 1, 30, 10, 26}};
  for (const auto& c : cases) {
    const auto number = [](int value) { return " " + std::to_string(value); };
    const std::string driver = std::string(ZEP3_DRIVER) + number(c.brightness) + number(c.contrast) +
                               number(c.outputGamma) + number(kWidth) + number(kHeight) + " 0" + number(c.mode) +
                               " scan.raw";
    const auto tables = Tables(Run(driver).out);
    const Outcome run =
        Zep3("scan.png -o out.png --overwrite --analysis standard --input-gamma 1.8 -k " + std::string(c.kind) + " -b" +
             number(c.brightness) + " -c" + number(c.contrast) + " --output-gamma " +
             std::to_string(c.outputGamma / 10) + "." + std::to_string(c.outputGamma % 10));
    ASSERT_EQ(run.status, 0) << run.err;
    size_t size = 0;
    const VImage out = Load("out.png");
    auto* result = static_cast<uint8_t*>(out.write_to_memory(&size));
    ASSERT_EQ(size, pixels.size());
    int wrong = 0;
    for (size_t i = 0; i < size; i++) wrong += result[i] != tables[i % 3][pixels[i]];
    g_free(result);
    EXPECT_EQ(wrong, 0) << driver;
  }
}

// Depth, bands and format come out as they went in; deep scans agree with shallow ones, bands behind the colours stay.
TEST_F(Program, EveryModeComesOutAsItWentIn) {
  Save(Sample(), "reference.png");
  Save(Gray(), "reference_gray.png");
  ASSERT_EQ(Zep3("reference.png reference_gray.png -o out/").status, 0);
  const struct {
    const char* name;
    VImage image;
  } cases[] = {{"plain.png", Sample()},
               {"gray.png", Gray()},
               {"alpha.png", WithAlpha(Sample())},
               {"gray_alpha.png", WithAlpha(Gray())},
               {"deep.png", Deep(Sample())},
               {"deep_gray.tif", Deep(Gray())},
               {"deep_alpha.tif", WithAlpha(Deep(Sample()))},
               {"plain.tif", Sample()},
               {"plain.ppm", Sample()},
               {"gray.pgm", Gray()},
               {"deep.ppm", Deep(Sample())},
               {"lossless.webp[lossless]", Sample()}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Save(c.image, c.name);
    const std::string name = std::string(c.name).substr(0, std::string(c.name).find('['));
    const Outcome run = Zep3(name + " -o out/");
    ASSERT_EQ(run.status, 0) << run.err;
    const VImage out = Load("out/" + name);
    EXPECT_EQ(out.bands(), c.image.bands());
    EXPECT_EQ(out.format(), c.image.format());
    EXPECT_EQ(std::string(out.get_string("vips-loader")), Load(name).get_string("vips-loader"));
    const int colours = c.image.bands() >= 3 ? 3 : 1;
    VImage colour = out.extract_band(0, VImage::option()->set("n", colours));
    if (out.format() == VIPS_FORMAT_USHORT) colour = (colour * (1 / 257.0) + 0.5).cast(VIPS_FORMAT_UCHAR);
    EXPECT_EQ(Difference(colour, Load(colours == 3 ? "out/reference.png" : "out/reference_gray.png")), 0);
    if (c.image.bands() > colours) {
      EXPECT_EQ(Difference(out.extract_band(colours), c.image.extract_band(colours)), 0);
    }
  }
  // A deep result is more than the shallow one spread: the ramp between two byte values has steps of its own.
  VImage fine =
      (VImage::identity(VImage::option()->set("ushort", true)->set("size", 65536)) * 1.0).cast(VIPS_FORMAT_USHORT);
  Save(fine.replicate(1, 40).copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_GREY16)), "ramp.png");
  ASSERT_EQ(Zep3("ramp.png -o out/").status, 0);
  const VImage steps = Load("out/ramp.png").crop(20000, 0, 10000, 1);
  EXPECT_GT((steps.hist_find() > 0).avg() * 65536 / 255, 5000);
}

// No time of writing stands in a result.
TEST_F(Program, PnmResultsHoldNoComment) {
  Save(Sample(), "a.ppm");
  ASSERT_EQ(Zep3("a.ppm -o out/").status, 0);
  const std::string head = "P6\n" + std::to_string(kWidth) + " " + std::to_string(kHeight) + "\n255\n";
  EXPECT_EQ(Read("out/a.ppm").substr(0, head.size()), head);
}

// A gray scan is analysed as three equal channels.
TEST_F(Program, GrayIsThreeEqualChannels) {
  const VImage gray = Gray().zoom(5, 5);
  Save(gray, "gray.png");
  Save(VImage::bandjoin(std::vector<VImage>(3, gray))
           .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB)),
       "rgb.png");
  for (const char* kind : {"photo", "bw-negative", "background"}) {
    const auto page = [&](const char* name) {
      return nlohmann::json::parse(Zep3("analyse -k " + std::string(kind) + " " + name).out)["pages"][0];
    };
    for (const char* part : {"record", "prescan", "tables"}) EXPECT_EQ(page("gray.png")[part], page("rgb.png")[part]);
  }
}

// A scan larger than the pre-scan, and one that is not held in memory.
TEST_F(Program, LargeScansAreReadTwice) {
  Save(Sample(), "small.tif[compression=deflate]");
  Save(Sample().zoom(60, 60), "large.tif[compression=deflate,tile]"); // 5400 x 3600, 58 MB
  Save(Sample().zoom(80, 80), "larger.tif[compression=deflate]");     // 7200 x 4800, 104 MB
  Save(Sample().zoom(80, 80), "plain.tif");                           // the same, past libvips' decoder
  ASSERT_EQ(Zep3("large.tif larger.tif plain.tif -o out/ --sidecar").status, 0);
  for (const auto& [name, zoom] :
       {std::pair{"out/large.tif", 60}, std::pair{"out/larger.tif", 80}, std::pair{"out/plain.tif", 80}}) {
    const VImage out = Load(name);
    const auto page = nlohmann::json::parse(Read(std::string(name) + ".zep3.json"))["pages"][0];
    EXPECT_EQ(page["prescan"]["shrink"], zoom == 60 ? 5 : 6) << name; // longer side over 1250, rounded up
    ASSERT_EQ(out.width(), kWidth * zoom);
    // Every block is one value of the small scan through the table.
    const VImage picked = out.subsample(zoom, zoom);
    const std::vector<uint8_t> pixels = Texture(kWidth, kHeight);
    size_t size = 0;
    auto* values = static_cast<uint8_t*>(picked.write_to_memory(&size));
    ASSERT_EQ(size, pixels.size());
    int wrong = 0;
    for (size_t i = 0; i < size; i++) {
      const char* channel = i % 3 == 0 ? "red" : i % 3 == 1 ? "green" : "blue";
      wrong += values[i] != page["tables"][channel][pixels[i]];
    }
    g_free(values);
    EXPECT_EQ(wrong, 0) << name;
  }
  const auto record = [&](const std::string& name) { return nlohmann::json::parse(Read(name))["pages"][0]["prescan"]; };
  EXPECT_EQ(record("out/plain.tif.zep3.json"), record("out/larger.tif.zep3.json"));
}

// Uncompressed pages go from file to file, the others and those with more to do through libvips: the same picture.
TEST_F(Program, PlainTiffsComeOutAsOthersDo) {
  Save(Sample(), "sample.tif");
  Save(Gray(), "gray.tif");
  Save(Deep(Sample()), "deep.tif");
  const int rows = Sample().height();
  for (const std::string name : {"sample.tif", "gray.tif", "deep.tif"}) {
    for (const int strip : {1, 7, rows}) {
      SCOPED_TRACE(testing::Message() << name << ", strips of " << strip);
      ASSERT_EQ(Run("tiffcp -c none -r " + std::to_string(strip) + " " + name + " scan.tif").status, 0);
      ASSERT_EQ(Zep3("scan.tif -o plain.tif --overwrite").status, 0);
      ASSERT_EQ(Zep3("scan.tif -o 'other.tif[compression=lzw]' --overwrite").status, 0);
      ASSERT_EQ(Zep3("scan.tif -o stripped.tif --strip --overwrite").status, 0);
      EXPECT_EQ(Difference(Load("plain.tif"), Load("other.tif")), 0);
      EXPECT_EQ(Difference(Load("plain.tif"), Load("stripped.tif")), 0);
      EXPECT_GT(Difference(Load("plain.tif"), Load(name)), 0);
      if (strip > 1)
        EXPECT_EQ(Run("tiffinfo plain.tif | grep -o 'Rows/Strip: .*'").out,
                  Run("tiffinfo scan.tif | grep -o 'Rows/Strip: .*'").out);
    }
  }
  // A thumbnail of another depth than its page.
  for (const auto& [page, thumbnail] : {std::pair{"sample.tif", "deep.tif"}, std::pair{"deep.tif", "sample.tif"}}) {
    SCOPED_TRACE(page);
    ASSERT_EQ(Run("tiffcp -c none " + std::string(page) + " " + thumbnail + " two.tif && tiffset -d 1 -s 254 1 two.tif")
                  .status,
              0);
    ASSERT_EQ(Zep3("two.tif -o plain.tif --overwrite").status, 0);
    ASSERT_EQ(Zep3("two.tif -o 'other.tif[compression=lzw]' --overwrite").status, 0);
    for (const char* which : {"[page=0]", "[page=1]"}) {
      EXPECT_EQ(Difference(Load(std::string("plain.tif") + which), Load(std::string("other.tif") + which)), 0) << which;
    }
  }
}

TEST_F(Program, MonochromeNegativesComeOutNeutral) {
  Save(Sample(), "scan.png");
  ASSERT_EQ(Zep3("-k bw-negative scan.png -o neutral.png").status, 0);
  ASSERT_EQ(Zep3("-k bw-negative --saturation off scan.png -o coloured.png").status, 0);
  const auto chroma = [](const VImage& image) { return Difference(image.extract_band(0), image.extract_band(2)); };
  EXPECT_EQ(chroma(Load("neutral.png")), 0);
  EXPECT_GT(chroma(Load("coloured.png")), 0);
}

// What the pipettes point at becomes gray.
TEST_F(Program, PipettesMakeTheirColourGray) {
  VImage scan = Sample().copy_memory();
  scan.draw_rect({150, 128, 110}, 40, 20, 12, 12, VImage::option()->set("fill", true));
  Save(scan, "scan.png");
  const auto cast = [&](const std::string& options) {
    EXPECT_EQ(Zep3("scan.png -o out.png --overwrite --analysis standard " + options).status, 0);
    const std::vector<double> colour = Load("out.png").getpoint(46, 26);
    return *std::max_element(colour.begin(), colour.end()) - *std::min_element(colour.begin(), colour.end());
  };
  EXPECT_GT(cast(""), 15);
  EXPECT_LE(cast("--gray-pipette 46,26"), 2);
  EXPECT_LE(cast("--gamma-pipette 46,26"), 2);
  EXPECT_LE(cast("--gray-pipette 51%,43%"), 2);
  EXPECT_GT(cast("--gray-pipette 46,26,50"), 5);
}

// The area keeps what is outside of it from counting: a bright frame moves the highlight only without it.
TEST_F(Program, AreaLeavesTheFrameOut) {
  const VImage framed = (Sample() * 0.6)
                            .cast(VIPS_FORMAT_UCHAR)
                            .embed(30, 20, 150, 100, VImage::option()->set("extend", VIPS_EXTEND_WHITE));
  Save(framed, "scan.png");
  const auto highlight = [&](const std::string& options) {
    const Outcome run = Zep3("analyse scan.png --analysis standard " + options);
    EXPECT_EQ(run.status, 0) << run.err;
    return nlohmann::json::parse(run.out)["pages"][0]["record"]["points"]["green"]["lHlIn"].get<int>();
  };
  const int inside = highlight("--area 30,20,90,60");
  EXPECT_LT(inside, highlight("") - 5000);
  EXPECT_EQ(inside, highlight("--area 20%,20%,60%,60%"));
  EXPECT_EQ(inside, highlight("--corners 30,20,120,80,120,20,30,80"));
  EXPECT_LT(highlight("--corners 60,20,120,60,90,80,30,40"), highlight("") - 5000);
}

// ---- files ----

TEST_F(Program, MetadataAndLayoutAreKept) {
  VImage scan = Sample();
  Save(scan, "plain.jpg[profile=srgb,Q=90,interlace,subsample-mode=off]");
  ASSERT_EQ(Run("exiftool -q -overwrite_original -Make=Maker -Artist=Someone -DateTimeOriginal='2020:01:02 03:04:05' "
                "-XMP:Title=Title -IPTC:Keywords=archive -XResolution=300 -YResolution=300 -ResolutionUnit=inches "
                "plain.jpg")
                .status,
            0);
  ASSERT_EQ(Run("vips copy plain.jpg meta.png[interlace]; vips copy plain.jpg meta.webp[lossless]").status, 0);
  for (const std::string name : {"plain.jpg", "meta.png", "meta.webp"}) {
    ASSERT_EQ(Zep3(name + " -o out/").status, 0);
    const auto tags = [&](const std::string& file) {
      // The picture's own data and what describes the file are the only things that may differ.
      return Run("exiftool -G1 -a -x System:all -x ExifTool:all -x File:CurrentIPTCDigest " + file + " | sort").out;
    };
    EXPECT_EQ(tags("out/" + name), tags(name));
    EXPECT_NE(tags(name).find("Someone"), std::string::npos) << name;
  }
  // Chroma as it was, coarse or fine; lossy or not.
  Save(scan, "coarse.jpg[Q=80,subsample-mode=on]");
  Save(scan, "lossy.webp[Q=80]");
  ASSERT_EQ(Zep3("coarse.jpg lossy.webp meta.webp -o kept/").status, 0);
  const auto tag = [&](const std::string& name, const std::string& file) {
    return Run("exiftool -s3 -" + name + " " + file).out;
  };
  EXPECT_NE(tag("YCbCrSubSampling", "kept/coarse.jpg").find("4:2:0"), std::string::npos);
  EXPECT_NE(tag("YCbCrSubSampling", "out/plain.jpg").find("4:4:4"), std::string::npos);
  EXPECT_EQ(Read("kept/lossy.webp").find("VP8L"), std::string::npos);
  EXPECT_NE(Read("kept/meta.webp").find("VP8L"), std::string::npos);
  ASSERT_EQ(Zep3("plain.jpg -o stripped.jpg --strip").status, 0);
  const std::string left = Run("exiftool stripped.jpg").out;
  for (const char* gone : {"Someone", "Maker", "archive", "2020:01:02"}) {
    EXPECT_EQ(left.find(gone), std::string::npos) << gone;
  }
  EXPECT_NE(left.find("Profile Description"), std::string::npos);
  EXPECT_NE(left.find("X Resolution                    : 300"), std::string::npos);
}

// TIFF to TIFF nothing is lost and nothing changes but the pixels and where they lie.
TEST_F(Program, TiffTagsAreKept) {
  const auto make = [&](const std::string& name, const std::string& options, const VImage& image) {
    image.write_to_file(Path(name + "[" + options + "]").c_str());
    EXPECT_EQ(Run("tiffset -s 271 Maker -s 272 Model -s 315 Someone -s 269 Document -s 285 Page -s 306 "
                  "'2020:01:02 03:04:05' -s 316 Host " +
                  name)
                  .status,
              0);
  };
  const std::string profile = ",profile=srgb,xres=7.3,yres=11.811,resunit=inch";
  make("classic.tif", "compression=lzw,tile-height=7" + profile, Sample());
  make("tiled.tif", "compression=deflate,predictor=none,tile,tile-width=64,tile-height=32" + profile, Deep(Sample()));
  make("big.tif", "bigtiff,compression=packbits" + profile, Gray());
  make("jpeg.tif", "compression=jpeg,tile,tile-width=32,tile-height=32" + profile, Sample());
  for (const char* name : {"classic.tif", "tiled.tif"}) {
    ASSERT_EQ(Run(std::string("exiftool -q -overwrite_original -ExposureTime=1/50 -InteropIndex=R98 -GPSLatitude=48.2 "
                              "-GPSLatitudeRef=N "
                              "-XMP:Title=Title -IPTC:Keywords=archive ") +
                  name)
                  .status,
              0);
  }
  // Pages of different kinds in one file.
  Save(Sample(), "p0.tif[compression=lzw]");
  Save(Gray(), "p1.tif[compression=deflate]");
  Save(Deep(Sample()).crop(3, 4, 50, 40), "p2.tif");
  Save((Gray() > 90), "p3.tif[bitdepth=1,compression=ccittfax4]");
  ASSERT_EQ(Run("tiffcp p0.tif p1.tif p2.tif p3.tif pages.tif && tiffset -d 1 -s 315 Second pages.tif").status, 0);

  for (const std::string name : {"classic.tif", "tiled.tif", "big.tif", "jpeg.tif", "pages.tif"}) {
    SCOPED_TRACE(name);
    const Outcome run = Zep3(name + " -o out/");
    ASSERT_EQ(run.status, 0) << run.err;
    const auto tags = [&](const std::string& file) {
      auto json = nlohmann::json::parse(Run("exiftool -j -G1 -a -u -n " + file).out)[0];
      for (auto it = json.begin(); it != json.end();) {
        const std::string& tag = it.key();
        const bool place = tag.starts_with("System:") || tag.starts_with("ExifTool:") || tag == "SourceFile" ||
                           tag.ends_with("Offsets") || tag.ends_with("ByteCounts") || tag.ends_with("Offset") ||
                           tag == "File:CurrentIPTCDigest" || tag == "IFD0:JPEGTables";
        it = place ? json.erase(it) : std::next(it);
      }
      return json;
    };
    const auto before = tags(name);
    const auto after = tags("out/" + name);
    std::string lost, changed;
    for (const auto& [tag, value] : before.items()) {
      if (!after.contains(tag)) {
        lost += tag + " ";
      } else if (after[tag] != value) {
        changed += tag + " " + value.dump() + " -> " + after[tag].dump() + "; ";
      }
    }
    std::string added;
    for (const auto& [tag, value] : after.items()) {
      if (!before.contains(tag)) added += tag + " ";
    }
    EXPECT_EQ(lost, "");
    EXPECT_EQ(changed, "");
    EXPECT_EQ(added, "");
    EXPECT_GT(before.size(), 25u);
  }
  // A pyramid's layers are corrected as the page that they show.
  Save(Sample().zoom(6, 6), "pyramid.tif[tile,pyramid,tile-width=64,tile-height=64]");
  ASSERT_EQ(Zep3("pyramid.tif -o layers.tif --sidecar").status, 0);
  ASSERT_EQ(Zep3("layers.tif -o unused.tif --sidecar -n").status, 0);
  const auto pages = nlohmann::json::parse(Read("layers.tif.zep3.json"))["pages"];
  EXPECT_EQ(pages.size(), 1u);
  EXPECT_EQ(nlohmann::json::parse(Zep3("analyse pyramid.tif").out)["pages"].size(), 1u);
  const std::vector<double> layer = Load("pyramid.tif[page=2]").getpoint(30, 20);
  const std::vector<double> finished = Load("layers.tif[page=2]").getpoint(30, 20);
  for (size_t c = 0; c < 3; c++) {
    EXPECT_EQ(finished[c], pages[0]["tables"][c == 0   ? "red"
                                              : c == 1 ? "green"
                                                       : "blue"][static_cast<size_t>(layer[c])]);
  }
  // Also the pages' corrections can be repeated, though one of them has none.
  ASSERT_EQ(Zep3("pages.tif -o again.tif --sidecar").status, 0);
  ASSERT_EQ(Zep3("pages.tif -o repeated.tif --use-sidecar again.tif.zep3.json").status, 0);
  EXPECT_EQ(Read("again.tif"), Read("repeated.tif"));
  EXPECT_EQ(Difference(Load("out/pages.tif[page=3]"), Load("pages.tif[page=3]")), 0);
  EXPECT_GT(Difference(Load("out/pages.tif[page=2]"), Load("pages.tif[page=2]")), 0);
}

// With a profile of another gamma the result looks the same: the profile's curves fit what the values say.
TEST_F(Program, ProfileFitsTheOutputGamma) {
  Save(Sample(), "scan.tif[profile=srgb]");
  ASSERT_EQ(Zep3("scan.tif -o same.tif").status, 0);
  ASSERT_EQ(Zep3("scan.tif -o other.tif --output-gamma 1.8").status, 0);
  EXPECT_EQ(nlohmann::json::parse(Zep3("analyse other.tif").out)["pages"][0]["inputGamma10"], 18);
  EXPECT_EQ(nlohmann::json::parse(Zep3("analyse same.tif").out)["pages"][0]["inputGamma10"], 22);
  EXPECT_GT(Difference(Load("same.tif"), Load("other.tif")), 5);
}

TEST_F(Program, StandardInputAndOutput) {
  Save(Sample(), "scan.tif[compression=lzw,tile]");
  Save(Sample(), "scan.png");
  for (const std::string name : {"scan.tif", "scan.png"}) {
    ASSERT_EQ(Zep3(name + " -o out_" + name).status, 0);
    const Outcome run = Zep3("- -o -", "cat " + name + " | ");
    EXPECT_EQ(run.err, "");
    File("piped_" + name, run.out);
    EXPECT_EQ(Difference(Load("piped_" + name), Load("out_" + name)), 0);
  }
  ASSERT_EQ(Zep3("scan.tif -o - --format png > piped.png").status, 0);
  EXPECT_EQ(Difference(Load("piped.png"), Load("out_scan.png")), 0);
}

// ---- one analysis for many scans ----

TEST_F(Program, SidecarRepeatsTheCorrection) {
  Save(Sample(), "first.tif");
  Save((Sample() * 0.7).cast(VIPS_FORMAT_UCHAR), "second.tif");
  ASSERT_EQ(
      Zep3("first.tif -o a.tif --sidecar -k faded-print -b 12 --curve 0:0,100:120,255:255 --balance 3,0,-4").status, 0);
  ASSERT_EQ(Zep3("first.tif -o b.tif --use-sidecar a.tif.zep3.json").status, 0);
  EXPECT_EQ(Read("a.tif"), Read("b.tif"));
  // Another scan gets the same tables, not its own.
  ASSERT_EQ(Zep3("second.tif -o c.tif --sidecar --use-sidecar a.tif.zep3.json").status, 0);
  const auto page = [&](const std::string& name) { return nlohmann::json::parse(Read(name))["pages"][0]; };
  EXPECT_EQ(page("c.tif.zep3.json")["tables"], page("a.tif.zep3.json")["tables"]);
  EXPECT_NE(page("c.tif.zep3.json")["prescan"], page("a.tif.zep3.json")["prescan"]);
  // The user's controls may differ, the analysis' may not.
  ASSERT_EQ(Zep3("first.tif -o d.tif --use-sidecar a.tif.zep3.json -b 60").status, 0);
  EXPECT_GT(Load("d.tif").avg(), Load("a.tif").avg() + 3);
  EXPECT_EQ(Zep3("first.tif -o e.tif --use-sidecar a.tif.zep3.json --level 2").status, 2);

  const auto spoil = [&](const std::string& name, const std::string& from, const std::string& to) {
    std::string text = Read("a.tif.zep3.json");
    const size_t at = text.find(from);
    ASSERT_NE(at, std::string::npos) << from;
    File(name, text.replace(at, from.size(), to));
  };
  spoil("number.json", "\"lScreenGamma\": 22", "\"lScreenGamma\": 0");
  spoil("missing.json", "\"lHlOut\"", "\"lHlOver\"");
  spoil("table.json", "\"lBrightness\": 12", "\"lBrightness\": 13");
  spoil("version.json", "\"formatVersion\": 1", "\"formatVersion\": 2");
  File("other.json", "{\"a\": 1}");
  File("text.json", "not json");
  File("deep.json", "{\"format\":" + std::string(300000, '['));
  fs::create_directory(m_folder / "folder");
  const struct {
    const char *sidecar, *message;
  } cases[] = {{"number.json", "'lScreenGamma' is not a whole number of 5..50"},
               {"missing.json", "'lHlOut' is missing"},
               {"table.json", "not those that this version makes"},
               {"version.json", "another version of the format"},
               {"other.json", "no correction written by zep3"},
               {"text.json", "is no JSON"},
               {"deep.json", "is nested too deeply"},
               {"folder", "cannot be read"},
               {"nowhere.json", "cannot be read"}};
  for (const auto& c : cases) {
    const Outcome run = Zep3("first.tif -o f.tif --use-sidecar " + std::string(c.sidecar));
    EXPECT_EQ(run.status, 1) << c.sidecar;
    EXPECT_NE(run.err.find(c.message), std::string::npos) << run.err;
    EXPECT_FALSE(Exists("f.tif"));
  }
}

// Which analysis decides is the kind's business unless it is said, and told wherever a decision is.
TEST_F(Program, TheAnalysisIsChosenAndTold) {
  Save(Sample(), "scan.png");
  const struct {
    const char *options, *asked, *line;
    const char* same; // options of the same tables
  } cases[] = {
      {"-k document", "standard", "scan.png: standard analysis\n", "-k document --analysis standard"},
      {"-k document --analysis adaptive", "adaptive", "scan.png: standard analysis: there is no other", "-k document"},
      {"-k photo --option plain", "adaptive", "scan.png: standard analysis: there is no other",
       "-k photo --option plain --analysis standard"},
      {"-k photo --analysis standard", "standard", "scan.png: standard analysis\n", nullptr},
      {"-k photo", "adaptive", "scan.png: adaptive analysis, confidence ", "-k photo --analysis adaptive"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.options);
    const std::string options = c.options;
    const Outcome analysed = Zep3("analyse scan.png " + options);
    EXPECT_NE(analysed.err.find(c.line), std::string::npos) << analysed.err;
    const auto told = nlohmann::json::parse(analysed.out)["pages"][0]["analysis"];
    EXPECT_EQ(told["asked"], c.asked);
    const Outcome run = Zep3("scan.png -o out.png --overwrite --sidecar --json -v " + options);
    EXPECT_NE(run.err.find(c.line), std::string::npos) << run.err;
    EXPECT_EQ(nlohmann::json::parse(run.out)["pages"][0]["analysis"], told);
    EXPECT_EQ(nlohmann::json::parse(Read("out.png.zep3.json"))["pages"][0]["analysis"], told);
    if (c.same != nullptr)
      EXPECT_EQ(Zep3("tables scan.png " + options).out, Zep3("tables scan.png " + std::string(c.same)).out);
  }
  // Repeated, it is still told; it cannot be changed.
  const auto told = [&](const std::string& name) { return nlohmann::json::parse(Read(name))["pages"][0]["analysis"]; };
  ASSERT_EQ(Zep3("scan.png -o again.png --sidecar --use-sidecar out.png.zep3.json").status, 0);
  EXPECT_EQ(told("again.png.zep3.json"), told("out.png.zep3.json"));
  EXPECT_EQ(Zep3("scan.png -o e.png --use-sidecar out.png.zep3.json --analysis standard").status, 2);
  // Unasked, a correction says nothing.
  EXPECT_EQ(Zep3("scan.png -o out.png --overwrite").err, "");
  EXPECT_EQ(Zep3("analyse -q scan.png").err, "");
}

TEST_F(Program, TablesComeInEveryForm) {
  Save(Sample(), "scan.png");
  const auto tables = Tables(Zep3("tables scan.png").out);
  const auto json = nlohmann::json::parse(Zep3("tables scan.png --as json").out);
  EXPECT_EQ(json["red"].get<std::vector<int>>(), tables[0]);
  EXPECT_EQ(json["blue"].get<std::vector<int>>(), tables[2]);
  ASSERT_EQ(Zep3("tables scan.png --as png -o t.png && vips maplut scan.png mapped.png t.png").status, 0);
  ASSERT_EQ(Zep3("scan.png -o out.png").status, 0);
  EXPECT_EQ(Difference(Load("mapped.png"), Load("out.png")), 0);
  const auto row = [&](int i) {
    return std::to_string(i) + "," + std::to_string(tables[0][static_cast<size_t>(i)]) + "," +
           std::to_string(tables[1][static_cast<size_t>(i)]) + "," + std::to_string(tables[2][static_cast<size_t>(i)]);
  };
  EXPECT_NE(Zep3("tables scan.png --as csv").out.find("\n" + row(200) + "\n"), std::string::npos);
  const std::string options = Zep3("tables scan.png --as scanimage").out;
  EXPECT_TRUE(options.starts_with("--custom-gamma=yes --red-gamma-table "));
  EXPECT_EQ(std::count(options.begin(), options.end(), ','), 3 * 255);
  EXPECT_EQ(std::count(options.begin(), options.end(), ' '), 6);
}

// ---- many scans ----

TEST_F(Program, AFolderOfScans) {
  fs::create_directories(m_folder / "in/deep er");
  const std::string scans[] = {"in/a.png", "in/b.tif", "in/deep er/a.png"};
  for (const std::string& scan : scans) Save(Sample(), scan);
  File("in/broken.jpg", "no picture");
  File("in/notes.txt", "none either");
  const std::vector<std::string> originals = {"in/a.png", "in/b.tif", "in/deep er/a.png", "in/broken.jpg",
                                              "in/notes.txt"};

  Outcome run = Zep3("-r in -o in/done -n");
  EXPECT_EQ(run.out,
            "in/a.png -> in/done/a.png\nin/b.tif -> in/done/b.tif\nin/deep er/a.png -> in/done/deep er/a.png\n");
  ExpectFiles(originals);

  // The broken one stops nothing; the order is that of the names, whoever is finished first.
  run = Zep3("-r in -o in/done --json -j 3");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("in/broken.jpg: is no image that can be read"), std::string::npos);
  EXPECT_NE(run.err.find("3 corrected, 1 failed"), std::string::npos);
  std::istringstream lines(run.out);
  std::string line, order;
  while (std::getline(lines, line)) {
    const auto json = nlohmann::json::parse(line);
    order += json["scan"].get<std::string>() + " " + json["status"].get<std::string>() + "; ";
  }
  EXPECT_EQ(order, "in/a.png corrected; in/b.tif corrected; in/broken.jpg failed; in/deep er/a.png corrected; ");
  std::vector<std::string> all = originals;
  all.insert(all.end(), {"in/done/a.png", "in/done/b.tif", "in/done/deep er/a.png"});
  ExpectFiles(all);

  // Again: what is finished is skipped, and results are not taken for scans.
  fs::remove(m_folder / "in/done/b.tif");
  run = Zep3("-r in -o in/done");
  EXPECT_NE(run.err.find("1 corrected, 2 skipped, 1 failed"), std::string::npos) << run.err;
  ExpectFiles(all);

  // Lists, also of names with a line feed in them.
  fs::create_directories(m_folder / "list");
  Save(Sample(), "list/two\nlines.png");
  run = Zep3("--files-from - -0 -o out", "printf 'in/a.png\\0list/two\\nlines.png\\0gone.png\\0' | ");
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(Exists("out/a.png") && Exists("out/two\nlines.png"));
  EXPECT_NE(run.err.find("2 corrected, 1 failed"), std::string::npos) << run.err;
  // A result never takes the place of another scan, whatever is allowed to be overwritten.
  Save(Gray(), "list/a.png");
  const std::string scan = Read("list/a.png");
  EXPECT_NE(Zep3("--overwrite in/a.png list/a.png -o list").err.find("which is a scan of this run"), std::string::npos);
  EXPECT_EQ(Read("list/a.png"), scan);
  // Folders that cannot be searched, links that lead nowhere: the others are done.
  fs::create_directories(m_folder / "odd");
  Save(Sample(), "odd/a.png");
  fs::create_symlink("loop.png", m_folder / "odd/loop.png");
  EXPECT_NE(Zep3("-r odd nowhere -o odd_out").err.find("1 corrected, 1 failed"), std::string::npos);
  Save(Sample(), "list/scan [1 2] x.png");
  run = Zep3("--json 'list/scan [1 2] x.png' -o out --sidecar");
  EXPECT_EQ(nlohmann::json::parse(run.out)["scan"], "list/scan [1 2] x.png");
  EXPECT_EQ(nlohmann::json::parse(Read("out/scan [1 2] x.png.zep3.json"))["scan"], "list/scan [1 2] x.png");
  EXPECT_NE(Zep3("in/a.png 'in/deep er/a.png' -o twice").err.find("another scan of this run becomes twice/a.png"),
            std::string::npos);
}

TEST_F(Program, InPlaceKeepsTheOriginal) {
  Save(Sample(), "scan.tif");
  fs::permissions(m_folder / "scan.tif", fs::perms(0640));
  const std::string original = Read("scan.tif");
  ASSERT_EQ(Zep3("scan.tif -o elsewhere.tif").status, 0);
  ASSERT_EQ(Zep3("--in-place scan.tif").status, 0);
  EXPECT_EQ(Read("scan.tif"), Read("elsewhere.tif"));
  EXPECT_EQ(Read("scan.tif_original"), original);
  EXPECT_EQ(fs::status(m_folder / "scan.tif").permissions(), fs::perms(0640));
  // A second time: nothing; with --overwrite from the original again.
  EXPECT_NE(Zep3("--in-place scan.tif").err.find("corrected already"), std::string::npos);
  EXPECT_EQ(Read("scan.tif"), Read("elsewhere.tif"));
  ASSERT_EQ(Zep3("--in-place scan.tif --overwrite -b 50").status, 0);
  EXPECT_EQ(Read("scan.tif_original"), original);
  ASSERT_EQ(Zep3("--in-place scan.tif --overwrite").status, 0);
  EXPECT_EQ(Read("scan.tif"), Read("elsewhere.tif"));
  // Another scan takes the name: neither is lost.
  Save(Gray(), "scan.tif");
  const std::string other = Read("scan.tif");
  for (const char* how : {"--in-place scan.tif", "--in-place scan.tif --overwrite"}) {
    const Outcome run = Zep3(how);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("has changed since"), std::string::npos) << run.err;
  }
  EXPECT_EQ(Read("scan.tif"), other);
  EXPECT_EQ(Read("scan.tif_original"), original);
  EXPECT_NE(Zep3("--in-place --no-backup elsewhere.tif elsewhere.tif").err.find("is named twice"), std::string::npos);
  ExpectFiles({"scan.tif", "scan.tif_original", "elsewhere.tif"});
}

// By a signal, alone or among others, and by the death of a worker; waiting for input and for a reader of the output.
TEST_F(Program, AnInterruptedRunLeavesNothingHalf) {
  Save(Sample().zoom(100, 100), "large.tif"); // takes longer than the signal
  Save(Sample().zoom(100, 100), "second.tif");
  const std::string slow = " -o out.tif[compression=deflate]";
  const auto interrupt = [&](const std::string& signal, const std::string& before, const std::string& arguments) {
    return Run(before + "timeout --preserve-status -k 30 -s " + signal + " 0.4 " + ZEP3_PROGRAM + " " + arguments);
  };
  EXPECT_EQ(interrupt("INT", "", "large.tif" + slow).status, 130);
  EXPECT_EQ(interrupt("TERM", "", "large.tif" + slow).status, 130);
  EXPECT_EQ(interrupt("HUP", "", "large.tif" + slow).status, 130);
  const Outcome batch = interrupt("TERM", "", "-j2 large.tif second.tif -o out --format png");
  EXPECT_EQ(batch.status, 130);
  EXPECT_NE(batch.err.find("interrupted"), std::string::npos) << batch.err;
  EXPECT_EQ(interrupt("INT", "sleep 2 | ", "- -o out.png").status, 130);
  ExpectFiles({"large.tif", "second.tif"});

  // A worker that is killed costs its scan, and leaves nothing.
  Save(Sample(), "small.png");
  const Outcome killed = Run(std::string(ZEP3_PROGRAM) +
                             " -j1 large.tif small.png -o out --format png & sleep 0.3; until "
                             "pkill -KILL -P $!; do sleep 0.1; done; wait $!");
  EXPECT_EQ(killed.status, 1);
  EXPECT_NE(killed.err.find("large.tif: its worker process died (Killed)"), std::string::npos) << killed.err;
  EXPECT_NE(killed.err.find("1 corrected, 1 failed"), std::string::npos) << killed.err;
  ExpectFiles({"large.tif", "second.tif", "small.png", "out/small.png"});
  // Nobody reads the result.
  EXPECT_EQ(Run(std::string(ZEP3_PROGRAM) + " large.tif -o - | head -c 10").err.find("cannot write"),
            std::string("zep3: large.tif: ").size());
}

// ---- everything that can be wrong ----

TEST_F(Program, FaultsAreNamedAndLoseNothing) {
  Save(Sample(), "good.png");
  Save(Sample(), "good.tif");
  Save(Sample(), "taken.png");
  File("empty.tif", "");
  File("text.png", "hello");
  File("numbers.csv", "1,2,3\n4,5,6\n");
  Save(Sample(), "whole.jpg");
  File("cut.jpg", Read("whole.jpg").substr(0, Read("whole.jpg").size() / 2));
  Save(Sample().zoom(8, 8), "long.jpg");
  File("late.jpg", Read("long.jpg").substr(0, Read("long.jpg").size() * 9 / 10)); // cut among its pixels
  File("cut.tif", Read("good.tif").substr(0, Read("good.tif").size() / 2));
  Save(Sample(), "strips.tif[compression=lzw]");
  std::string strips = Read("strips.tif"); // the directory lies at the end: damage in the middle is damaged data
  for (size_t i = 0; i < 40; i++) strips[strips.size() / 3 + i] = '\xff';
  File("spoiled.tif", strips);
  File("png_inside.tif", Read("good.png"));
  Save(Sample().colourspace(VIPS_INTERPRETATION_CMYK), "cmyk.tif");
  Save(Sample().cast(VIPS_FORMAT_FLOAT), "float.tif");
  File("zero.pgm", "P5 # none\n0 0 255\n");
  ASSERT_EQ(
      Run("vips copy good.png p.tif && tiffcp p.tif p.tif two.tif && mkdir folder readonly && chmod a-w readonly && "
          "mkfifo pipe")
          .status,
      0);
  const bool root = ::geteuid() == 0; // may write anywhere
  std::vector<std::string> before;
  for (const auto& entry : fs::recursive_directory_iterator(m_folder)) {
    const std::string name = entry.path().filename().string();
    if (entry.is_regular_file() && name != ".out" && name != ".err") before.push_back(name);
  }
  const std::string taken = Read("taken.png");

  const struct {
    const char* arguments;
    int status;
    const char* message;
  } cases[] = {
      {"nowhere.tif -o out.tif", 1, "nowhere.tif: No such file or directory"},
      {"empty.tif -o out.tif", 1, "empty.tif: is empty"},
      {"text.png -o out.png", 1, "text.png: is no image"},
      {"numbers.csv -o out.png", 1, "numbers.csv: is no image"},
      {"cut.jpg -o out.jpg", 1, "cut.jpg: "},
      {"late.jpg -o out.jpg", 1, "late.jpg: "},
      {"cut.tif -o out.tif", 1, "cut.tif: "},
      {"'two.tif[page=2]' -o out.tif", 1, "does not contain page 2"},
      {"'two.tif[page=-1]' -o out.tif", 1, "page= takes the number of a page"},
      {"two.tif -o out.png -n", 1, "has 2 pages"},
      {"cmyk.tif -o out.tif -n", 1, "CMYK"},
      {"--in-place 'two.tif[page=1]'", 1, "would be replaced by a part of itself"},
      {"good.png -o out.png --format jpg", 1, "out.png says png, --format jpeg"},
      {"--overwrite folder/../taken.png good.png -o .", 1, "its result would replace it"},
      {"spoiled.tif -o out.tif", 1, "spoiled.tif: "},
      {"zero.pgm -o out.pgm", 1, "zero.pgm: has no pixels"},
      {"png_inside.tif -o folder", 1, "is a png file by its content, though its name says tiff"},
      {"cmyk.tif -o out.tif", 1, "CMYK"},
      {"float.tif -o out.tif", 1, "holds float values"},
      {"two.tif -o out.png", 1, "has 2 pages"},
      {"folder -o out", 1, "folder: is a folder; -r"},
      {"pipe -o out.tif", 1, "pipe: is no regular file"},
      {"good.png -o taken.png", 1, "taken.png exists; --overwrite"},
      {"good.png -o good.png", 1, "good.png: its result would replace it"},
      {"good.png -o ./good.png --overwrite", 1, "its result would replace it"},
      {"good.png -o out.xyz", 1, "out.xyz says no format"},
      {"good.png -o good.tif/out.png", 1, "good.tif"},
      {"good.png -o 'out.png[nonsense=3]'", 1, "nonsense"},
      {"good.png -o out.png --gray-pipette 500,3", 1, "lies outside of 90 x 60 pixels"},
      {"good.png -o out.png --area 200,200,50,50", 1, "refuses this area"},
      {"good.png -o out.png --corners 0,0,10,10,20,20,30,30", 1, "refuses this area"},
      {"good.png", 2, "say where the results go"},
      {"good.png -o out.png --in-place", 2, "say where the results go"},
      {"-o out.png", 2, "no scan is named"},
      {"good.png good.tif -o taken.png", 2, "taken.png is no folder"},
      {"good.png good.tif -o -", 2, "takes one scan"},
      {"good.png -o - --json", 2, "standard output is the picture"},
      {"- --in-place < good.png", 2, "standard input cannot be replaced"},
      {"- -o folder < good.png", 1, "standard input has no name"},
      {"- -o out.png < /dev/null", 1, "is empty"},
      {"--files-from nowhere.txt -o folder", 2, "cannot read the list nowhere.txt"},
      {"good.png -o out.png -k portrait", 2, "--kind"},
      {"good.png -o out.png --level ten", 2, "--level"},
      {"good.png -o out.png --input-gamma 2.25", 2, "at most one decimal"},
      {"good.png -o out.png --curve 0:0", 2, "--curve"},
      {"good.png -o out.png --bogus", 2, "--bogus"},
      {"analyse good.png -o out.json", 2, "standard output"},
      {"tables good.png --report", 2, "write no pictures"},
      {"analyse good.png --use-sidecar x.json", 2, "--use-sidecar repeats one"},
      {"good.png -o out.png --as csv", 2, "--as is for"},
      {"good.png -o out.png -0", 2, "-0 is for"},
      {"-r folder -o folder", 2, "is searched for scans"},
  };
  for (const auto& c : cases) {
    const Outcome run = Zep3(c.arguments);
    EXPECT_EQ(run.status, c.status) << c.arguments << "\n" << run.err;
    EXPECT_NE(run.err.find(c.message), std::string::npos) << c.arguments << "\n" << run.err;
    EXPECT_TRUE(run.err.starts_with("zep3: ")) << run.err;
    ExpectFiles(before);
    Run("rm -f out out.*");
  }
  EXPECT_EQ(Read("taken.png"), taken);
  if (!root) EXPECT_EQ(Zep3("good.png -o readonly/out.png").status, 1);

  // A disk that is full, as far as a limit on the file's size can show it.
  const Outcome full = Run("trap '' XFSZ; ulimit -f 8; " + std::string(ZEP3_PROGRAM) + " good.tif -o out.tif");
  EXPECT_EQ(full.status, 1);
  EXPECT_NE(full.err.find("good.tif: "), std::string::npos) << full.err;
  ExpectFiles(before);

  // One pixel is a scan, if a small one.
  Save(Sample().crop(0, 0, 1, 1), "one.png");
  EXPECT_EQ(Zep3("one.png -o folder").status, 0);
  EXPECT_EQ(Load("folder/one.png").width(), 1);
}

} // namespace
