// zep3 as a user runs it: scans in, finished files out, and everything that can be wrong with them.
#include <regex>
#include <sstream>

#include "program.h"

namespace {

// The driver's tables, three lines of numbers, as a picture that libvips takes for a table.
VImage Tables(std::string text) {
  std::replace(text.begin(), text.end(), ',', ' ');
  std::istringstream numbers(text);
  std::vector<uint8_t> pixels(768);
  size_t i = 0;
  for (int value = 0; i < pixels.size() && numbers >> value; i++) {
    pixels[i % 256 * 3 + i / 256] = static_cast<uint8_t>(value);
  }
  EXPECT_EQ(i, pixels.size());
  return Picture(pixels, 256, 1);
}

// ---- pixels ----

// On the engine's own scale the result is the driver's tables applied, to the last bit.
TEST_F(Program, PixelsAreTheDriversTablesApplied) {
  Save(Sample(), "scan.png");
  Sample().rawsave(Path("scan.raw").c_str());
  const struct {
    const char *options, *user, *mode;
  } cases[] = {{"-k photo", "0 0 18", "2"},
               {"-k photo -b -40 -c 25 --output-gamma 2.2", "-40 25 22", "2"},
               {"-k background -b 15 -c -30 --output-gamma 2.2", "15 -30 22", "0"},
               {"-k ground-color -b 30 -c 10 --output-gamma 2.6", "30 10 26", "1"}};
  for (const auto& c : cases) {
    const Outcome driver = Run(ZEP3_DRIVER " " + std::string(c.user) + " 90 60 0 " + c.mode + " scan.raw");
    ExpectDone("scan.png -o out.png --overwrite --analysis standard --input-gamma 1.8 " + std::string(c.options));
    EXPECT_EQ(Difference(Load("out.png"), Sample().maplut(Tables(driver.out))), 0) << c.options;
  }
}

// Depth, bands and format come out as they went in; deep scans agree with shallow ones, bands behind the colours stay.
TEST_F(Program, EveryModeComesOutAsItWentIn) {
  const auto withAlpha = [](const VImage& image) { return image.bandjoin(image[0].invert()); };
  const VImage colours = Sample(), gray = Gray(colours);
  Save(colours, "reference.png");
  Save(gray, "reference_gray.png");
  ExpectDone("reference.png reference_gray.png -o out/");
  const struct {
    const char* name;
    VImage image;
  } cases[] = {{"alpha.png", withAlpha(colours)},
               {"gray_alpha.png", withAlpha(gray)},
               {"deep.png", Deep(colours)},
               {"deep_gray.tif", Deep(gray)},
               {"deep_alpha.tif", withAlpha(Deep(colours))},
               {"plain.ppm", colours},
               {"gray.pgm", gray},
               {"deep.ppm", Deep(colours)},
               {"lossless.webp[lossless]", colours}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Save(c.image, c.name);
    const std::string name = std::string(c.name).substr(0, std::string(c.name).find('['));
    ExpectDone(name + " -o out/");
    const VImage out = Load("out/" + name);
    EXPECT_EQ(out.bands(), c.image.bands());
    EXPECT_EQ(out.format(), c.image.format());
    EXPECT_STREQ(out.get_string("vips-loader"), Load(name).get_string("vips-loader"));
    const int count = c.image.bands() >= 3 ? 3 : 1;
    VImage colour = out.extract_band(0, VImage::option()->set("n", count));
    if (out.format() == VIPS_FORMAT_USHORT) colour = (colour * (1 / 257.0) + 0.5).cast(VIPS_FORMAT_UCHAR);
    EXPECT_EQ(Difference(colour, Load(count == 3 ? "out/reference.png" : "out/reference_gray.png")), 0);
    if (c.image.bands() > count) EXPECT_EQ(Difference(out[count], c.image[count]), 0);
  }
  // No time of writing stands in a result.
  EXPECT_TRUE(Read("out/plain.ppm").starts_with("P6\n90 60\n255\n"));
  // A deep result is more than the shallow one spread: the ramp between two byte values has steps of its own.
  const VImage ramp = VImage::identity(VImage::option()->set("ushort", true)->set("size", 65536)).replicate(1, 40);
  Save(As(VIPS_INTERPRETATION_GREY16, ramp), "ramp.png");
  ExpectDone("ramp.png -o out/");
  EXPECT_GT((Load("out/ramp.png").crop(20000, 0, 10000, 1).hist_find() > 0).avg() * 65536 / 255, 5000);
}

TEST_F(Program, GrayIsAnalysedAsThreeEqualChannels) {
  const VImage gray = Gray(Sample());
  Save(gray, "gray.png");
  Save(As(VIPS_INTERPRETATION_sRGB, VImage::bandjoin(std::vector<VImage>(3, gray))), "rgb.png");
  const auto one = Analysed("-k bw-negative gray.png"), three = Analysed("-k bw-negative rgb.png");
  for (const char* part : {"record", "prescan", "tables"}) EXPECT_EQ(one[part], three[part]);
}

// Plain TIFF pages go from file to file, others and those with more to do through libvips; large ones are read twice.
// All the same picture.
TEST_F(Program, PlainTiffsComeOutAsOthersDo) {
  Save(Sample(), "sample.tif");
  Save(Gray(Sample()), "gray.tif");
  Save(Deep(Sample()), "deep.tif");
  const std::string thumbnail = " scan.tif && tiffset -d 1 -s 254 1 scan.tif"; // of another depth than its page
  const struct {
    std::string make;
    int zoom, pages;
  } cases[] = {{"tiffcp -c none -r 7 sample.tif scan.tif", 1, 1},
               {"tiffcp -c none -r 1 deep.tif scan.tif", 1, 1},
               {"tiffcp -c none -r 60 gray.tif scan.tif", 1, 1},
               {"tiffcp -c none sample.tif deep.tif" + thumbnail, 1, 2},
               {"tiffcp -c none deep.tif sample.tif" + thumbnail, 1, 2},
               {"vips zoom sample.tif scan.tif 65 65", 65, 1}}; // 68 MB, more than is held in memory
  for (const auto& c : cases) {
    SCOPED_TRACE(c.make);
    ASSERT_EQ(Run(c.make).status, 0);
    ExpectDone("scan.tif -o plain.tif --overwrite --sidecar");
    ASSERT_EQ(Run("tiffcp -c zip scan.tif packed.tif").status, 0);
    ExpectDone("packed.tif -o other.tif --overwrite --sidecar");
    for (int page = 0; page < c.pages; page++) {
      const std::string which = "[page=" + std::to_string(page) + "]";
      EXPECT_EQ(Difference(Load("plain.tif" + which), Load("other.tif" + which)), 0);
      EXPECT_GT(Difference(Load("plain.tif" + which), Load("scan.tif" + which)), 0);
    }
    EXPECT_EQ(nlohmann::json::parse(Read("plain.tif.zep3.json"))["pages"].size(), 1u); // a thumbnail has no own
    const auto prescan = Sidecar("plain.tif")["prescan"];
    EXPECT_EQ(prescan, Sidecar("other.tif")["prescan"]);
    EXPECT_EQ(prescan["shrink"], c.zoom == 1 ? 1 : 5); // 5850 over 1250, rounded up
    const VImage first = Load("plain.tif").subsample(c.zoom, c.zoom);
    const VImage table = Tables(Zep3("tables scan.tif").out);
    if (first.format() == VIPS_FORMAT_UCHAR) {
      EXPECT_EQ(Difference(first, first.bands() == 1 ? Gray(Sample()).maplut(table[0]) : Sample().maplut(table)), 0);
    }
    const auto rows = [&](const std::string& name) { return Run("tiffinfo " + name + " | grep Rows/Strip").out; };
    EXPECT_EQ(rows("plain.tif"), rows("scan.tif"));
  }
  ASSERT_EQ(Run("tiffset -s 315 Someone sample.tif").status, 0);
  ExpectDone("sample.tif -o stripped.tif --strip");
  EXPECT_EQ(Run("tiffinfo stripped.tif | grep Someone").out, "");
}

TEST_F(Program, MonochromeNegativesComeOutNeutral) {
  Save(Sample(), "scan.png");
  const auto chroma = [&](const std::string& options) {
    ExpectDone("-k bw-negative scan.png -o out.png --overwrite " + options);
    return Difference(Load("out.png")[0], Load("out.png")[2]);
  };
  EXPECT_EQ(chroma(""), 0);
  EXPECT_GT(chroma("--saturation off"), 0);
}

// In the record as steps, repeated from a sidecar, and seen in the pixels of all kinds.
TEST_F(Program, StopsAndSaturation) {
  Save(Sample(), "scan.png");
  const std::string run = "scan.png -o out.png --overwrite --sidecar ";
  ExpectDone(run + "-k faded-print --exposure 1/2 --warmth 0.4 --saturation 25");
  const auto page = Sidecar("out.png");
  EXPECT_EQ(page["record"]["lBrightness"], 50);
  EXPECT_EQ(page["record"]["lColorBalanceB"], -23);
  const std::string made = Read("out.png");
  fs::rename(m_folder / "out.png.zep3.json", m_folder / "first.json");
  ExpectDone("scan.png -o out.png --overwrite --sidecar -k faded-print -b 50 --balance 16,-3,-23 --saturation on");
  EXPECT_DOUBLE_EQ(page["chroma"].get<double>(), 1.25 * Sidecar("out.png")["chroma"].get<double>());
  ExpectDone("scan.png -o out.png --overwrite --use-sidecar first.json");
  EXPECT_EQ(Read("out.png"), made);
  const auto means = [&](const std::string& options) {
    ExpectDone(run + options);
    return std::array{Load("out.png")[0].avg(), Load("out.png")[1].avg(), Load("out.png")[2].avg()};
  };
  for (const std::string kind : {"photo", "negative", "document", "ground-color"}) {
    SCOPED_TRACE(kind);
    const auto plain = means("-k " + kind), dark = means("-k " + kind + " --exposure -0.7"),
               warm = means("-k " + kind + " --warmth 1.5 --exposure -0.7"),
               green = means("-k " + kind + " --tint -1.5 --exposure -0.7");
    EXPECT_LT(dark[1], plain[1] - 3);
    EXPECT_GT(warm[0] - warm[2], dark[0] - dark[2] + 3);
    EXPECT_LT(green[0] - green[1], dark[0] - dark[1] - 3);
    means("-k " + kind + " --saturation -100");
    EXPECT_LE(Difference(Load("out.png")[0], Load("out.png")[2]), 0);
  }
  ExpectFault(run + "--exposure 1 -b 30", "--brightness excludes --exposure", 2);
  ExpectFault(run + "--tint 1 --balance 1,2,3", "--balance excludes --tint", 2);
}

// What the pipettes point at becomes gray.
TEST_F(Program, PipettesMakeTheirColourGray) {
  VImage scan = Sample().copy_memory();
  scan.draw_rect({150, 128, 110}, 40, 20, 12, 12, VImage::option()->set("fill", true));
  Save(scan, "scan.png");
  const auto cast = [&](const std::string& options) {
    ExpectDone("scan.png -o out.png --overwrite --analysis standard " + options);
    const std::vector<double> colour = Load("out.png").getpoint(46, 26);
    return *std::max_element(colour.begin(), colour.end()) - *std::min_element(colour.begin(), colour.end());
  };
  EXPECT_GT(cast(""), 15);
  EXPECT_LE(cast("--gray-pipette 51%,43%"), 2);
  EXPECT_LE(cast("--gamma-pipette 46,26"), 2);
  EXPECT_GT(cast("--gray-pipette 46,26,50"), 5);
}

// The area keeps what is outside of it from counting: a bright frame moves the highlight only without it.
TEST_F(Program, AreaLeavesTheFrameOut) {
  const VImage inner = (Sample() * 0.6).cast(VIPS_FORMAT_UCHAR);
  Save(inner.embed(30, 20, 150, 100, VImage::option()->set("extend", VIPS_EXTEND_WHITE)), "scan.png");
  const auto highlight = [&](const std::string& options) {
    return Analysed("scan.png --analysis standard " + options)["record"]["points"]["green"]["lHlIn"].get<int>();
  };
  const int inside = highlight("--area 30,20,90,60");
  EXPECT_LT(inside, highlight("") - 5000);
  EXPECT_EQ(inside, highlight("--area 20%,20%,60%,60%"));
  EXPECT_EQ(inside, highlight("--corners 30,20,120,80,120,20,30,80"));
  EXPECT_LT(highlight("--corners 60,20,120,60,90,80,30,40"), highlight("") - 5000);
}

// ---- files ----

// Nothing is lost and nothing changes but the pixels and where they lie.
TEST_F(Program, MetadataAndLayoutAreKept) {
  const std::string profile = "profile=srgb,xres=7.3,yres=11.811,resunit=inch,";
  const VImage scan = Sample();
  Save(scan, "fine.jpg[profile=srgb,Q=90,interlace,subsample-mode=off]");
  Save(scan, "coarse.jpg[Q=80,subsample-mode=on]");
  Save(scan, "lossy.webp[Q=80]");
  Save(scan, "classic.tif[" + profile + "compression=lzw,tile-height=7]");
  Save(Deep(scan), "tiled.tif[" + profile + "compression=deflate,predictor=none,tile,tile-width=64,tile-height=32]");
  Save(Gray(scan), "big.tif[" + profile + "bigtiff,compression=packbits]");
  Save(scan, "jpeg.tif[" + profile + "compression=jpeg,tile,tile-width=32,tile-height=32]");
  ASSERT_EQ(Run("exiftool -q -overwrite_original -Make=Maker -Artist=Someone -DateTimeOriginal='2020:01:02 03:04:05' "
                "-ExposureTime=1/50 -InteropIndex=R98 -GPSLatitude=48.2 -GPSLatitudeRef=N -XMP:Title=Title "
                "-IPTC:Keywords=archive -Orientation#=6 fine.jpg coarse.jpg classic.tif tiled.tif && "
                "exiftool -q -overwrite_original -XResolution=300 -YResolution=300 -ResolutionUnit=inches *.jpg && "
                "vips copy fine.jpg fine.png[interlace] && vips copy fine.jpg lossless.webp[lossless] && "
                "tiffset -s 285 Page -s 316 Host big.tif && tiffset -s 269 Document -s 315 Someone jpeg.tif")
                .status,
            0);
  // Pages of different kinds in one file.
  Save(scan, "p0.tif[compression=lzw]");
  Save(Gray(scan), "p1.tif[compression=deflate]");
  Save(Deep(scan).crop(3, 4, 50, 40), "p2.tif");
  Save(Gray(scan) > 90, "p3.tif[bitdepth=1,compression=ccittfax4]");
  ASSERT_EQ(Run("tiffcp p0.tif p1.tif p2.tif p3.tif pages.tif && tiffset -d 1 -s 315 Second pages.tif").status, 0);
  const auto tags = [&](const std::string& file) {
    auto json = nlohmann::json::parse(Run("exiftool -j -G1 -a -u -n -x System:all -x ExifTool:all " + file).out)[0];
    for (auto it = json.begin(); it != json.end();) {
      const std::string& tag = it.key();
      const bool place = tag == "SourceFile" || tag.ends_with("Offsets") || tag.ends_with("ByteCounts") ||
                         tag.ends_with("Offset") || tag == "File:CurrentIPTCDigest" || tag == "IFD0:JPEGTables";
      it = place ? json.erase(it) : std::next(it);
    }
    return json;
  };
  for (const std::string name : {"fine.jpg", "coarse.jpg", "fine.png", "lossless.webp", "lossy.webp", "classic.tif",
                                 "tiled.tif", "big.tif", "jpeg.tif", "pages.tif"}) {
    ExpectDone(name + " -o out/");
    const auto before = tags(name);
    EXPECT_EQ(nlohmann::json::diff(before, tags("out/" + name)).dump(1), "[]") << name;
    EXPECT_GT(before.size(), name == "lossy.webp" ? 5u : 20u) << name;
  }
  EXPECT_EQ(Read("out/lossy.webp").find("VP8L"), std::string::npos);
  EXPECT_IN("VP8L", Read("out/lossless.webp"));
  // Bilevel pages have no correction, which the pages' can be repeated without.
  EXPECT_EQ(Difference(Load("out/pages.tif[page=3]"), Load("pages.tif[page=3]")), 0);
  EXPECT_GT(Difference(Load("out/pages.tif[page=2]"), Load("pages.tif[page=2]")), 0);
  ExpectDone("pages.tif -o again.tif --sidecar");
  ExpectDone("pages.tif -o repeated.tif --use-sidecar again.tif.zep3.json");
  EXPECT_EQ(Read("again.tif"), Read("repeated.tif"));

  ExpectDone("fine.jpg -o stripped.jpg --strip");
  const std::string left = Run("exiftool stripped.jpg").out;
  for (const char* gone : {"Someone", "Maker", "archive", "2020:01:02"}) {
    EXPECT_EQ(left.find(gone), std::string::npos) << gone;
  }
  EXPECT_IN("Profile Description", left);
  EXPECT_IN("X Resolution                    : 300", left);
}

// Strips and tiles are compressed several at a time; the last of them may hold less than the others. The same pixels as
// of a plain scan, laid out as the scan, and the same bytes on one processor.
TEST_F(Program, PackedTiffsComeOutAsPlainOnes) {
  const VImage colours = Noise(1501, 703, 8), gray = Gray(Noise(300, 200, 9));
  const VImage alpha = colours.bandjoin(colours[1].invert());
  const struct {
    const char* stored;
    VImage image;
  } cases[] = {{"compression=deflate,predictor=none,tile-height=7", colours},
               {"compression=deflate,predictor=horizontal,tile-height=64", Deep(colours)},
               {"compression=lzw,predictor=horizontal,tile-height=703", colours},
               {"compression=lzw,predictor=none,tile,tile-width=256,tile-height=256", colours},
               {"compression=deflate,predictor=horizontal,tile,tile-width=48,tile-height=16", alpha},
               {"compression=packbits,tile-height=11", Deep(gray)},
               {"compression=zstd,predictor=horizontal,tile,tile-width=512,tile-height=512", gray}};
  const auto layout = [&](const std::string& name) {
    return Run("tiffinfo " + name + " | grep -v -e Offset -e offset -e TIFF").out;
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.stored);
    Save(c.image, "plain.tif");
    Save(c.image, std::string("packed.tif[").append(c.stored).append("]"));
    ExpectDone("plain.tif packed.tif -o out/ --overwrite");
    EXPECT_EQ(Difference(Load("out/packed.tif"), Load("out/plain.tif")), 0);
    EXPECT_GT(Difference(Load("out/packed.tif"), c.image), 0);
    EXPECT_EQ(layout("out/packed.tif"), layout("packed.tif"));
    EXPECT_EQ(Zep3("packed.tif -o one.tif --overwrite", "taskset -c 0 ").status, 0);
    EXPECT_TRUE(Read("one.tif") == Read("out/packed.tif"));
  }
  // The number that deflate had first.
  Save(gray, "new.tif[compression=deflate,predictor=horizontal]");
  const std::string compression("\x03\x01\x03\0\x01\0\0\0", 8);
  std::string old = Read("new.tif");
  ASSERT_NE(old.find(compression), std::string::npos);
  File("old.tif", old.replace(old.find(compression) + 8, 2, "\xB2\x80"));
  ExpectDone("new.tif old.tif -o out/");
  EXPECT_TRUE(Read("out/old.tif") == Read("out/new.tif"));
}

// A TIFF of gray tiles, packed by PackBits, whose sides are no multiples of 16.
std::string OddTiles(const VImage& gray, int side) {
  const int width = gray.width(), height = gray.height(), across = (width + side - 1) / side;
  const int tiles = across * ((height + side - 1) / side);
  const std::string pixels(static_cast<const char*>(gray.data()), static_cast<size_t>(width) * height);
  const auto number = [](uint32_t v, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; i++) text += static_cast<char>(v >> (8 * i));
    return text;
  };
  std::string data, places, counts;
  for (int tile = 0; tile < tiles; tile++) {
    places += number(static_cast<uint32_t>(8 + data.size()), 4);
    const size_t begin = data.size();
    for (int y = 0; y < side; y++) {
      std::string line(static_cast<size_t>(side), '\0');
      const int row = tile / across * side + y, left = tile % across * side;
      if (row < height)
        line.replace(0, static_cast<size_t>(std::min(side, width - left)), pixels,
                     static_cast<size_t>(row) * width + left, static_cast<size_t>(std::min(side, width - left)));
      data.append(1, static_cast<char>(side - 1)).append(line); // as it is
    }
    counts += number(static_cast<uint32_t>(data.size() - begin), 4);
  }
  const auto listed = static_cast<uint32_t>(8 + data.size()), directory = listed + 8 * static_cast<uint32_t>(tiles);
  const auto sides = static_cast<uint32_t>(side), many = static_cast<uint32_t>(tiles);
  const uint32_t entries[][3] = {{256, 1, static_cast<uint32_t>(width)},
                                 {257, 1, static_cast<uint32_t>(height)},
                                 {258, 1, 8},
                                 {259, 1, 32773},
                                 {262, 1, 1},
                                 {277, 1, 1},
                                 {322, 1, sides},
                                 {323, 1, sides},
                                 {324, many, listed},
                                 {325, many, listed + 4 * many}};
  std::string file =
      "II*" + std::string(1, '\0') + number(directory, 4) + data + places + counts + number(std::size(entries), 2);
  for (const auto& [tag, count, value] : entries)
    file += number(tag, 2) + number(4, 2) + number(count, 4) + number(value, 4);
  return file + number(0, 4);
}

TEST_F(Program, TilesOfAnySizeAreFinished) {
  const VImage gray = Gray(Noise(130, 90, 5));
  Save(gray, "plain.tif");
  File("tiles.tif", OddTiles(gray, 40));
  ASSERT_EQ(Difference(Load("tiles.tif"), gray), 0);
  ExpectDone("plain.tif tiles.tif -o out/");
  EXPECT_EQ(Difference(Load("out/tiles.tif"), Load("out/plain.tif")), 0);
  EXPECT_IN("Tile Width: 48 Tile Length: 48", Run("tiffinfo out/tiles.tif").out);
}

// A result says of its size and of the coding of its colours what the scan says, and no more.
TEST_F(Program, SizeAndColoursAreToldAsByTheScan) {
  using namespace std::string_literals;
  Save(Sample(), "made.png");
  const std::string made = Read("made.png"); // 33 bytes of signature and IHDR
  for (const std::string& chunk : {""s, "\0\0\0\x9pHYs\0\0.#\0\0.#\1\x78\xa5\x3f\x76"s, // 300 pixels an inch
                                   "\0\0\0\x9pHYs\0\0\0\2\0\0\0\1\0\xc9\xb1\xb6\x78"s,  // 2:1, without a unit
                                   "\0\0\0\4cICP\x9\x10\0\1\x4d\x23\x23\xfe"s}) {
    File("a.png", made.substr(0, 33) + chunk + made.substr(made.find("IDAT") - 4));
    ExpectDone("a.png -o out.png --overwrite");
    const std::string head = Read("out.png").substr(0, Read("out.png").find("IDAT"));
    EXPECT_EQ(head.substr(33, chunk.size()), chunk);
    for (const char* name : {"pHYs", "cICP"}) EXPECT_EQ(head.find(name, 33 + chunk.size()), std::string::npos) << name;
  }
  for (const std::string result : {"out.tif", "other.png --output-gamma 1.8"}) {
    EXPECT_IN("(cICP) is left out", Zep3("a.png -o " + result).err);
  }
  EXPECT_EQ(Read("other.png").find("cICP"), std::string::npos);
  Save(Sample(), "a.jpg");
  ASSERT_EQ(Run("exiftool -q -overwrite_original -all= a.jpg && cp a.jpg big-endian.jpg && exiftool -q "
                "-overwrite_original -Make=Maker -ResolutionUnit=None big-endian.jpg")
                .status,
            0);
  for (const std::string scan : {"a.jpg", "big-endian.jpg", "a.png"}) {
    ExpectDone(scan + " -o out.jpg --overwrite");
    EXPECT_EQ(Run("exiftool -s3 -ResolutionUnit out.jpg").out, "None\n") << scan;
  }
}

// With a profile of another gamma the result looks the same: the profile's curves fit what the values say.
TEST_F(Program, ProfileFitsTheOutputGamma) {
  Save(Sample(), "scan.tif[profile=srgb]");
  ExpectDone("scan.tif -o same.tif");
  ExpectDone("scan.tif -o other.tif --output-gamma 1.8");
  EXPECT_EQ(Analysed("same.tif")["inputGamma10"], "sRGB");
  EXPECT_EQ(Analysed("other.tif")["inputGamma10"], 18);
  EXPECT_GT(Difference(Load("same.tif"), Load("other.tif")), 5);
  const std::string primaries = "exiftool -s3 -RedMatrixColumn -GreenMatrixColumn -BlueMatrixColumn ";
  EXPECT_EQ(Run(primaries + "other.tif").out, Run(primaries + "scan.tif").out);
}

// A file without a profile, and one with sRGB's, are read by sRGB's curve; a gamma of 2.2 can be told, and differs.
TEST_F(Program, ReadsSrgbByItsCurve) {
  Save(Sample(), "plain.tif");
  Save(Sample(), "named.tif[profile=srgb]");
  for (const std::string options : {"", " -k negative", " -k document", " --analysis standard"}) {
    ExpectDone("plain.tif -o plain_out.tif --overwrite --sidecar" + options);
    ExpectDone("named.tif -o named_out.tif --overwrite" + options);
    ExpectDone("plain.tif -o srgb_out.tif --overwrite --input-gamma srgb" + options);
    ExpectDone("plain.tif -o gamma_out.tif --overwrite --input-gamma 2.2" + options);
    EXPECT_EQ(Difference(Load("plain_out.tif"), Load("named_out.tif")), 0) << options;
    EXPECT_EQ(Difference(Load("plain_out.tif"), Load("srgb_out.tif")), 0) << options;
    const bool curve = options.empty() || options == " -k negative";
    EXPECT_EQ(Difference(Load("plain_out.tif"), Load("gamma_out.tif")) > 0, curve) << options;
    ExpectDone("plain.tif -o again.tif --overwrite --use-sidecar plain_out.tif.zep3.json");
    EXPECT_EQ(Difference(Load("plain_out.tif"), Load("again.tif")), 0) << options;
  }
}

TEST_F(Program, StandardInputAndOutput) {
  Save(Sample(), "scan.tif[compression=lzw,tile]");
  Save(Sample(), "scan.png");
  for (const std::string name : {"scan.tif", "scan.png"}) {
    ExpectDone(name + " -o out_" + name);
    const Outcome run = Zep3("- -o - | (sleep 0.2; cat)", "cat " + name + " | ");
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.out, Read("out_" + name));
  }
  ExpectDone("scan.tif -o - --format png > piped.png");
  EXPECT_EQ(Difference(Load("piped.png"), Load("out_scan.png")), 0);
  Save(Noise(300, 200, 1), "large.png"); // more than a pipe holds
  EXPECT_IN("large.png: cannot write", Zep3("large.png -o - | head -c 10").err);
  for (const char* command : {"scan.tif -o -", "analyse scan.tif", "scan.tif scan.png -o out --json", "--help"}) {
    ExpectFault(std::string(command) + " >/dev/full", "cannot write to standard output");
  }
}

// ---- one analysis for many scans ----

TEST_F(Program, EachScanTakesItsOwnSidecar) {
  fs::create_directory(m_folder / "box");
  Save(Sample(), "box/a.png");
  Save((Sample() * 0.7).cast(VIPS_FORMAT_UCHAR), "box/b.png");
  Save(Sample(), "box/c.png");
  // What a person decides: another kind, and lighter.
  ExpectDone("-k faded-print -b 40 box/a.png -o a.png --sidecar");
  ExpectDone("-k document box/b.png -o b.png --sidecar");
  ExpectDone("-k photo box/c.png -o c.png");
  fs::copy(m_folder / "a.png.zep3.json", m_folder / "box/a.png.zep3.json");
  fs::copy(m_folder / "b.png.zep3.json", m_folder / "box/b.png.zep3.json");

  const Outcome planned = Zep3("--own-sidecars -k photo -r box -o out --dry-run");
  EXPECT_IN("use-sidecar=box/a.png.zep3.json (beside the scan)", planned.out);
  EXPECT_IN("(2 by their own sidecars, 1 analysed)", planned.err);
  const Outcome run = Zep3("--own-sidecars -k photo -r box -o out");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_IN("(2 by their own sidecars, 1 analysed)", run.err);
  for (const char* name : {"a.png", "b.png", "c.png"}) {
    EXPECT_EQ(Difference(Load(std::string("out/") + name), Load(name)), 0) << name;
  }

  // Of those whose sidecar changed, and of no other, the result is not as asked any more.
  fs::copy(m_folder / "b.png.zep3.json", m_folder / "box/c.png.zep3.json");
  EXPECT_IN("1 not as this command makes them", Zep3("--own-sidecars -k photo -r box -o out").err);
  ExpectDone("--own-sidecars -k photo -r box -o out --update");
  EXPECT_NE(Difference(Load("out/c.png"), Load("c.png")), 0);
  // Told, 0 is not what the sidecar of a.png says.
  ExpectDone("--own-sidecars -k photo -r box -o out --update -b 0");
  EXPECT_NE(Difference(Load("out/a.png"), Load("a.png")), 0);

  // No kind is needed where each has its own.
  ExpectDone("--own-sidecars -r box -o again");
  std::ofstream(m_folder / "box/b.png.zep3.json") << "{}";
  const Outcome damaged = Zep3("--own-sidecars -r box -o damaged");
  EXPECT_EQ(damaged.status, 1);
  EXPECT_IN("box/b.png.zep3.json", damaged.err);
  EXPECT_TRUE(Exists("damaged/a.png"));
  for (const char* other : {"--use-sidecar a.png.zep3.json", "--roll -k negative"}) {
    ExpectFault(std::string("--own-sidecars -r box -o never ") + other, "--own-sidecars", 2);
  }
  // Sidecars of the page in the browser do not tell a scan from its result.
  const std::string scan = Read("box/a.png");
  ExpectFault("--own-sidecars -r box --in-place --no-backup", "without --no-backup", 2);
  EXPECT_EQ(Read("box/a.png"), scan);
}

// A sidecar may lie beside what it was laid over already.
TEST_F(Program, OwnSidecarsAreNotLaidOverResults) {
  fs::create_directory(m_folder / "box");
  const char* const cases[] = {"--in-place", "--in-place --no-backup", "--in-place --sidecar",
                               "--in-place --no-backup --sidecar"};
  for (const char* const how : cases) {
    for (const char* const name : {"a.tif[compression=none]", "b.png"}) Save(Sample(), std::string("box/") + name);
    if (std::string(how).find("--sidecar") == std::string::npos) {
      ExpectDone("-k faded-print box/a.tif -o a.tif --sidecar --overwrite");
      fs::copy(m_folder / "a.tif.zep3.json", m_folder / "box/a.tif.zep3.json");
    }
    ExpectDone(std::string("-k faded-print box/a.tif ") + how);
    const Outcome run = Zep3("--own-sidecars -k photo box/a.tif box/b.png -o out");
    EXPECT_EQ(run.status, 1) << how;
    EXPECT_IN("would correct it twice", run.err) << how;
    EXPECT_FALSE(Exists("out/a.tif")) << how;
    EXPECT_TRUE(Exists("out/b.png")) << how;
    // From the original it goes on.
    if (std::string(how).find("--no-backup") == std::string::npos) {
      ExpectDone("--own-sidecars box/a.tif --in-place --overwrite");
      ExpectDone("--restore --in-place box/a.tif");
      ExpectDone("--own-sidecars box/a.tif -o out");
    }
    fs::remove_all(m_folder / "box");
    fs::remove_all(m_folder / "out");
    fs::create_directory(m_folder / "box");
  }
}

TEST_F(Program, SidecarRepeatsTheCorrection) {
  Save(Sample(), "first.tif");
  Save((Sample() * 0.7).cast(VIPS_FORMAT_UCHAR), "second.tif");
  ExpectDone("first.tif -o a.tif --sidecar -k faded-print -b 12 --curve 0:0,100:120,255:255 --balance 3,0,-4");
  ExpectDone("first.tif -o b.tif --use-sidecar a.tif.zep3.json");
  EXPECT_EQ(Read("a.tif"), Read("b.tif"));
  // Another scan gets the same tables, not its own.
  ExpectDone("second.tif -o c.tif --sidecar --use-sidecar a.tif.zep3.json");
  EXPECT_EQ(Sidecar("c.tif")["tables"], Sidecar("a.tif")["tables"]);
  EXPECT_NE(Sidecar("c.tif")["prescan"], Sidecar("a.tif")["prescan"]);
  // The user's controls may differ, the analysis' may not.
  ExpectDone("first.tif -o d.tif --use-sidecar a.tif.zep3.json -b 60");
  EXPECT_GT(Load("d.tif").avg(), Load("a.tif").avg() + 3);
  ExpectFault("first.tif -o e.tif --use-sidecar a.tif.zep3.json --level 2", "--level", 2);

  const struct {
    std::string from, to, message;
  } cases[] = {{"\"lScreenGamma\": 22", "\"lScreenGamma\": 0", "'lScreenGamma' is not a whole number of 5..50"},
               {"\"lHlOut\"", "\"lHlOver\"", "'lHlOut' is missing"},
               {"\"lBrightness\": 12", "\"lBrightness\": 13", "not those that this version makes"},
               {"\"asked\": \"adaptive\"", "\"asked\": \"both\"", "'asked' is no analysis"},
               {"\"confidence\": ", "\"confidence\": \"high\", \"was\": ", "'confidence' is not a number"},
               {"\"formatVersion\": 1", "\"formatVersion\": 2", "another version of the format"},
               {"\"format\":", "\"form\":", "no correction written by zep3"},
               {"{", "", "is no JSON"},
               {"\"format\":", "\"format\":" + std::string(300000, '['), "is nested too deeply"}};
  for (const auto& c : cases) {
    std::string text = Read("a.tif.zep3.json");
    ASSERT_NE(text.find(c.from), std::string::npos);
    File("spoiled.json", text.replace(text.find(c.from), c.from.size(), c.to));
    ExpectFault("first.tif -o f.tif --use-sidecar spoiled.json", c.message);
  }
  ExpectFault("first.tif -o f.tif --use-sidecar .", "cannot be read");
  EXPECT_FALSE(Exists("f.tif"));

  // Another math library may move an entry by a step, and does not move many.
  const auto moved = [&](int entries, int step) {
    nlohmann::json sidecar = nlohmann::json::parse(Read("a.tif.zep3.json"));
    nlohmann::json& red = sidecar["pages"][0]["tables"]["red"];
    for (size_t i = 100; i < 100 + static_cast<size_t>(entries); i++) red[i] = red[i].get<int>() + step;
    return sidecar.dump();
  };
  File("moved.json", moved(1, 1));
  ExpectDone("first.tif -o g.tif --use-sidecar moved.json");
  EXPECT_EQ(Read("a.tif"), Read("g.tif"));
  for (const auto& [entries, step] : {std::pair(1, 2), std::pair(9, -1)}) {
    File("moved.json", moved(entries, step));
    ExpectFault("first.tif -o f.tif --use-sidecar moved.json", "not those that this version makes");
  }
}

// Which analysis decides is the kind's business unless it is said, and told wherever a decision is.
TEST_F(Program, TheAnalysisIsChosenAndTold) {
  Save(Sample(), "scan.png");
  const struct {
    const char *options, *asked, *line;
    const char* same; // options of the same tables
  } cases[] = {
      {"-k document", "adaptive", "scan.png: good, adaptive analysis, confidence ", "-k document --analysis adaptive"},
      {"-k document --option plain", "adaptive", "scan.png: good, standard analysis: there is no other",
       "-k document --option plain --analysis standard"},
      {"-k photo --option plain", "adaptive", "scan.png: good, standard analysis: there is no other",
       "-k photo --option plain --analysis standard"},
      {"-k photo", "adaptive", "scan.png: good, adaptive analysis, confidence ", "-k photo --analysis adaptive"}};
  const auto tables = [&](const std::string& options) { return Zep3("tables scan.png " + options).out; };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.options);
    const std::string options = c.options;
    EXPECT_IN(c.line, Zep3("analyse scan.png " + options).err);
    const auto told = Analysed("scan.png " + options)["analysis"];
    EXPECT_EQ(told["asked"], c.asked);
    const Outcome run = Zep3("scan.png -o out.png --overwrite --sidecar --json -v " + options);
    EXPECT_IN(c.line, run.err);
    EXPECT_EQ(Page(run.out)["analysis"], told);
    EXPECT_EQ(Sidecar("out.png")["analysis"], told);
    EXPECT_EQ(tables(options), tables(c.same));
  }
  EXPECT_NE(tables("-k photo"), tables("-k photo --analysis standard"));
  // Repeated, it is still told; it cannot be changed. Unasked, a correction says nothing.
  ExpectDone("scan.png -o again.png --sidecar --use-sidecar out.png.zep3.json");
  EXPECT_EQ(Sidecar("again.png")["analysis"], Sidecar("out.png")["analysis"]);
  ExpectFault("scan.png -o e.png --use-sidecar out.png.zep3.json --analysis standard", "--analysis", 2);
  EXPECT_EQ(Zep3("scan.png -o out.png --overwrite").err + Zep3("analyse -q scan.png").err, "");
}

TEST_F(Program, TablesComeInEveryForm) {
  Save(Sample(), "scan.png");
  const VImage tables = Tables(Zep3("tables scan.png").out);
  ExpectDone("tables scan.png --as png -o t.png");
  EXPECT_EQ(Difference(Load("t.png"), tables), 0);
  ExpectDone("scan.png -o out.png");
  EXPECT_EQ(Difference(Sample().maplut(tables), Load("out.png")), 0);
  const std::vector<double> at200 = tables.getpoint(200, 0);
  const auto json = nlohmann::json::parse(Zep3("tables scan.png --as json").out);
  EXPECT_EQ(json["red"][200], at200[0]);
  EXPECT_EQ(json["blue"][200], at200[2]);
  std::string row = "\n200";
  for (const double value : at200) row += "," + std::to_string(static_cast<int>(value));
  EXPECT_IN(row + "\n", Zep3("tables scan.png --as csv").out);
  const std::string options = Zep3("tables scan.png --as scanimage").out;
  EXPECT_TRUE(options.starts_with("--custom-gamma=yes --red-gamma-table "));
  EXPECT_EQ(std::count(options.begin(), options.end(), ','), 3 * 255);
  EXPECT_EQ(std::count(options.begin(), options.end(), ' '), 6);
}

// ---- many scans ----

TEST_F(Program, AFolderOfScans) {
  for (const char* scan : {"in/a.png", "in/b.tif", "in/deep er/a.png"}) Save(Sample(), scan);
  File("in/broken.jpg", "no picture");
  File("in/notes.txt", "none either");
  fs::create_symlink("loop.png", m_folder / "in/loop.png"); // leads nowhere
  Files all = AllFiles();
  Outcome run = Zep3("-r in -o in/done -n");
  EXPECT_EQ(run.out,
            "in/a.png -> in/done/a.png\nin/b.tif -> in/done/b.tif\nin/deep er/a.png -> in/done/deep er/a.png\n");
  ExpectFiles(all);

  // The broken one stops nothing; the order is that of the names, whoever is finished first.
  run = Zep3("-r in -o in/done --json -j 3");
  EXPECT_EQ(run.status, 1);
  EXPECT_IN("in/broken.jpg: is no image that can be read", run.err);
  EXPECT_IN("3 corrected, 1 failed", run.err);
  std::istringstream lines(run.out);
  std::string order;
  for (std::string line; std::getline(lines, line);) {
    const auto json = nlohmann::json::parse(line);
    order += json["scan"].get<std::string>() + " " + json["status"].get<std::string>() + "; ";
  }
  EXPECT_EQ(order, "in/a.png corrected; in/b.tif corrected; in/broken.jpg failed; in/deep er/a.png corrected; ");
  for (const char* done : {"in/done/a.png", "in/done/b.tif", "in/done/deep er/a.png"}) all[done] = Read(done);
  ExpectFiles(all);

  // Again: what is finished is skipped, and results are not taken for scans.
  fs::remove(m_folder / "in/done/b.tif");
  ExpectFault("-r in -o in/done", "1 corrected, 2 skipped, 1 failed");
  ExpectFiles(all);

  // Lists, also of names with a line feed in them.
  Save(Sample(), "list/two\nlines.png");
  ExpectFault("--files-from - -0 -o out", "2 corrected, 1 failed", 1,
              "printf 'in/a.png\\0list/two\\nlines.png\\0gone.png\\0' | ");
  EXPECT_TRUE(Exists("out/in/a.png") && Exists("out/list/two\nlines.png"));
  // A result never takes the place of another scan or result, whatever is allowed to be overwritten.
  Save(Gray(Sample()), "list/a.png");
  const Files before = AllFiles();
  ExpectFault("--overwrite in/a.png list/a.png -o list", "which is a scan of this run", 2);
  ExpectFiles(before);
  ExpectFault("in/a.png 'in/deep er/a.png' nowhere -o twice",
              "in/a.png and in/deep er/a.png would both become twice/a.png", 2);
  Save(Sample(), "list/scan [1 2] x.png");
  run = Zep3("--json 'list/scan [1 2] x.png' -o out --sidecar");
  EXPECT_EQ(nlohmann::json::parse(run.out)["scan"], "list/scan [1 2] x.png");
  EXPECT_EQ(nlohmann::json::parse(Read("out/scan [1 2] x.png.zep3.json"))["scan"], "list/scan [1 2] x.png");
}

TEST_F(Program, InPlaceKeepsTheOriginal) {
  Save(Sample(), "scan.tif");
  fs::permissions(m_folder / "scan.tif", fs::perms(0640));
  const std::string original = Read("scan.tif");
  ExpectDone("scan.tif -o elsewhere.tif");
  const std::string corrected = Read("elsewhere.tif");
  Files all = {{"elsewhere.tif", corrected}, {"scan.tif", corrected}, {"scan_original.tif", original}};
  ExpectDone("--in-place scan.tif");
  ExpectFiles(all);
  EXPECT_EQ(fs::status(m_folder / "scan.tif").permissions(), fs::perms(0640));
  // A second time: nothing; with --overwrite from the original again.
  EXPECT_IN("corrected already", Zep3("--in-place scan.tif").err);
  ExpectFiles(all);
  ExpectDone("--in-place scan.tif --overwrite -b 50");
  EXPECT_NE(Read("scan.tif"), corrected);
  ExpectDone("--in-place scan.tif --overwrite");
  ExpectFiles(all);
  // Another scan takes the name: neither is lost.
  Save(Gray(Sample()), "scan.tif");
  all["scan.tif"] = Read("scan.tif");
  ExpectFault("--in-place scan.tif", "has changed since");
  ExpectFault("--in-place scan.tif --overwrite", "has changed since");
  ExpectFault("--in-place -n elsewhere.tif elsewhere.tif", "is named twice");
  // A name of a kept original that keeps none: it leads to a disk that is not there, or to the scan itself.
  for (const char* link : {"nowhere/a.tif", "elsewhere.tif"}) {
    fs::create_symlink(link, m_folder / "elsewhere_original.tif");
    ExpectFault("--in-place elsewhere.tif --overwrite -b 40",
                "elsewhere_original.tif is a link that leads to no original");
    fs::remove(m_folder / "elsewhere_original.tif");
  }
  ExpectFiles(all);
}

// ---- what is said ----

TEST_F(Program, TextsAreWhole) {
  EXPECT_IN("the zep3 authors, MIT License\n", Zep3("--version").out);
  // The man page, made of the help, joins lines that follow one another.
  EXPECT_FALSE(std::regex_search(Zep3("--help").out, std::regex("\n    zep3 [^\n]*\n    zep3 ")));
  Save(Sample(), "a.png");
  ExpectDone("a.png -o out.png --report");
  EXPECT_FALSE(std::regex_search(Read("out.png.zep3.html"), std::regex("<h2[^>]*></h2>|alt=\"( |\")")));
}

// On a terminal the writing of a result is followed where it is the only one.
TEST_F(Program, AsksWhatWasScanned) {
  Save(Sample(), "a.png");
  for (const std::string command : {"a.png -o out/", "analyse a.png", "tables a.png", "--in-place a.png"}) {
    const Outcome run = Run(ZEP3_PROGRAM " " + command);
    EXPECT_EQ(run.status, 2) << command;
    for (const char* kind : {"-k photo ", "-k ground-color ", "-k faded-bw-negative "}) EXPECT_IN(kind, run.err);
    EXPECT_IN("\n  zep3 compare a.png\n", run.err);
  }
  EXPECT_EQ(Names(AllFiles()), "a.png ");
}

// The commands of the page make what its pictures show.
TEST_F(Program, ComparesKinds) {
  Save(Sample(), "it's a scan.png");
  Save(Gray(Sample()), "gray.tif");
  const Outcome run = Zep3("compare \"it's a scan.png\" gray.tif none.png --level 6");
  EXPECT_EQ(run.status, 1);
  EXPECT_IN("2 compared, 1 failed", run.err);
  const std::string page = Read("zep3-compare.html");
  EXPECT_IN("<h2>none.png</h2>\n<p>Could not be shown: ", page);
  EXPECT_LT(page.find("<h2>it&apos;s a scan.png</h2>"), page.find("<h2>gray.tif</h2>"));
  const std::regex figure("base64,([^\"]*)\">\n<figcaption>[^\n]*class=\"command\">zep3 ([^<]*)</code>");
  int results = 0;
  for (std::sregex_iterator at(page.begin(), page.end(), figure), end; at != end; ++at, results++) {
    const std::string command = std::regex_replace((*at)[2].str(), std::regex("&apos;"), "'");
    if (results % 7 != 0) continue; // each takes two programs
    ExpectDone(command + " --overwrite");
    File("shown.txt", (*at)[1]);
    ASSERT_EQ(Run("base64 -d shown.txt >shown.jpg").status, 0);
    const bool gray = command.find("gray.tif") != std::string::npos;
    const VImage made = Load(gray ? "finished/gray.tif" : "finished/it's a scan.png");
    EXPECT_LT((made - Load("shown.jpg")).abs().avg(), 4) << command; // JPEG's loss on texture
  }
  EXPECT_EQ(results, 2 * 2 * 11); // eleven kinds, by two analyses
  ExpectFault("compare gray.tif", "zep3-compare.html exists; --overwrite replaces it", 2);
  ExpectFault("compare gray.tif -k photo", "shows every kind", 2);
}

TEST_F(Program, OneLineOfProgress) {
  Save(Noise(1000, 800, 1), "large.ppm");
  Save(Sample(), "small.ppm");
  for (const std::string scans : {"large.ppm", "large.ppm small.ppm"}) {
    // Shown from the first second on.
    File("run.sh", Broken("write pwrite pwrite64", 1, "run sleep 1.1", "BREAK_IN=out/") + ZEP3_PHOTO " -j2 " + scans +
                       " -o out/ --overwrite --format png");
    const std::string shown = Run("script -qec 'sh run.sh' typescript").out;
    EXPECT_EQ(shown.find("writing, ") != std::string::npos, scans == "large.ppm") << shown;
  }
}

// ---- everything that can be wrong ----

TEST_F(Program, FaultsAreNamedAndLoseNothing) {
  Save(Sample(), "good.png");
  Save(Sample(), "taken.png");
  Save(Sample(), "good.tif");
  File("empty.tif", "");
  File("text.png", "hello");
  Save(Sample().zoom(8, 8), "late.jpg");
  File("late.jpg", Read("late.jpg").substr(0, Read("late.jpg").size() * 9 / 10)); // cut among its pixels
  File("cut.tif", Read("good.tif").substr(0, Read("good.tif").size() / 2));
  Save(Sample(), "spoiled.tif[compression=lzw]"); // the directory lies at the end: this is damaged data
  File("spoiled.tif", Read("spoiled.tif").replace(Read("spoiled.tif").size() / 3, 40, std::string(40, '\xff')));
  File("png_inside.tif", Read("good.png"));
  Save(Sample().colourspace(VIPS_INTERPRETATION_CMYK), "cmyk.tif[strip]"); // without a profile
  Save(Sample().cast(VIPS_FORMAT_FLOAT), "float.tif");
  const std::string user = // that is not root, who may do everything
      ::geteuid() == 0 ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : "";
  ASSERT_EQ(
      Run("chmod 777 . && tiffcp good.tif good.tif two.tif && mkdir folder taken closed && mkdir taken/good.tif && "
          "mkfifo pipe.tif && cp good.tif secret.tif && chmod 0 secret.tif && "
          "chmod 555 closed")
          .status,
      0);
  const bool asUser = Run(user + ZEP3_PROGRAM " --version && " + user + "cat good.tif").status == 0;
  const Files before = AllFiles();
  const struct {
    const char* arguments;
    int status;
    const char* message;
    bool needsUser = false;
  } cases[] = {
      {"nowhere.tif -o out.tif", 1, "nowhere.tif: No such file or directory"},
      {"secret.tif -o out.tif", 1, "secret.tif: Permission denied", true},
      {"pipe.tif -o out.tif", 1, "pipe.tif: is no regular file"},
      {"/dev/zero -o out.tif", 1, "/dev/zero: is no regular file"},
      {"--in-place folder", 1, "folder: is a folder; -r takes the scans in it"},
      {"empty.tif -o out.tif", 1, "empty.tif: is empty"},
      {"text.png -o out.png", 1, "text.png: is no image"},
      {"late.jpg -o out.jpg", 1, "late.jpg: "},
      {"cut.tif -o out.tif", 1, "cut.tif: "},
      {"spoiled.tif -o out.tif", 1, "spoiled.tif: "},
      {"png_inside.tif -o folder", 1, "is a png file by its content, though its name says tiff"},
      {"cmyk.tif -o out.tif -n", 1, "CMYK"},
      {"float.tif -o out.tif", 1, "holds float values"},
      {"two.tif -o out.png -n", 1, "has 2 pages"},
      {"'two.tif[page=-1]' -o out.tif", 1, "page= takes the number of a page"},
      {"--in-place 'two.tif[page=1]'", 1, "would be replaced by a part of itself"},
      {"good.png -o taken.png", 1, "taken.png exists; --overwrite"},
      {"good.png -o ./good.png --overwrite", 2, "its result would replace it"},
      {"--overwrite folder/../taken.png good.png -o .", 2, "its result would replace it"},
      {"good.png -o out.xyz", 1, "out.xyz says no format"},
      {"good.png -o out.png --format jpg", 1, "out.png says png, --format jpeg"},
      {"good.tif -o taken/ --overwrite --sidecar", 1, "taken/good.tif is a folder"},
      {"good.tif -o closed/deeper/b.tif", 1, "closed/deeper: Permission denied", true},
      {"good.png -o 'out.png[nonsense=3]'", 1, "nonsense"},
      {"good.png -o out.png --gray-pipette 500,3", 1, "lies outside of 90 x 60 pixels"},
      {"good.png -o out.png --corners 0,0,10,10,20,20,30,30", 1, "corners of the analysis area make no rectangle"},
      {"- -o folder < good.png", 1, "standard input has no name"},
      {"- -o out.png < /dev/null", 1, "is empty"},
      {"good.png", 2, "say where the results go"},
      {"-o out.png", 2, "no scan is named"},
      {"good.png good.tif -o taken.png", 2, "taken.png is no folder"},
      {"good.png good.tif -o -", 2, "takes one scan"},
      {"good.png -o - --json", 2, "standard output is the picture"},
      {"- --in-place < good.png", 2, "standard input cannot be replaced"},
      {"--files-from nowhere.txt -o folder", 2, "cannot read the list nowhere.txt"},
      {"good.png -o out.png -b 0.5", 2, "--brightness: '0.5': expected a whole number of -1000..1000"},
      {"good.png -o out.png --curve 0:0", 2, "--curve"},
      {"tables good.png --report", 2, "write no pictures"},
      {"-r folder -o folder", 2, "is searched for scans"},
  };
  for (const auto& c : cases) {
    if (c.needsUser && !asUser) continue;
    ExpectFault(c.arguments, c.message, c.status, "timeout 60 " + (c.needsUser ? user : ""));
    EXPECT_EQ(Names(AllFiles()), Names(before)) << c.arguments;
  }
  ExpectFiles(before);
  // One pixel is a scan, if a small one.
  Save(Sample().crop(0, 0, 1, 1), "one.png");
  ExpectDone("one.png -o folder");
  EXPECT_EQ(Load("folder/one.png").width(), 1);
}

} // namespace
