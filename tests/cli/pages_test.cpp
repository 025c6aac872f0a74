// Documents as a user finishes them: evened by their paper's surface by every way that pixels take, repeated, by tables
// alone, as gray.
#include "page/encoding.h"
#include "program.h"

namespace {

constexpr int kPageWidth = 1302, kPageHeight = 502; // two pixels, at the edges fewer, to one of the pre-scan

// Yellowed paper in light that falls off to the right, lines of strokes, and a picture in soft colours.
VImage Sheet(bool picture = true) {
  std::vector<uint8_t> pixels;
  for (int y = 0; y < kPageHeight; y++) {
    for (int x = 0; x < kPageWidth; x++) {
      const bool boxed = picture && x > 160 && x < 560 && y > 240 && y < 440;
      const bool stroke = !boxed && y % 40 < 14 && y > 60 && y < 470 && x % 24 < 6 && x > 80 && x < 1240;
      const double light = 1.0 - 0.4 * x * x / kPageWidth / kPageWidth;
      for (const int paper : {235, 224, 196}) {
        double value = stroke ? 45 : paper;
        if (boxed) value = 0.55 * paper + 30.0 * ((x + 2 * y + paper) % 97) / 97 - 30;
        pixels.push_back(static_cast<uint8_t>(value * light + (x * 7 + y * 13 + x * y % 11) % 5));
      }
    }
  }
  return Picture(pixels, kPageWidth, kPageHeight);
}

// What the library makes of the pixels in one call.
VImage Finished(const VImage& image, const char* kind) {
  size_t size = 0;
  auto* pixels = static_cast<uint8_t*>(image.write_to_memory(&size));
  const bool deep = image.format() == VIPS_FORMAT_USHORT;
  ZEP3_BmpInfo scan;
  const int format = image.bands() == 1 ? ZEP3_PIXEL_GRAY : image.bands() == 4 ? ZEP3_PIXEL_RGBA : ZEP3_PIXEL_RGB;
  SetZEP3Image(&scan, pixels, image.width(), image.height(), 0, format, deep ? ZEP3_BITS_16 : ZEP3_BITS_8);
  Record record;
  SetZEP3Kind(&record.para, kind);
  EXPECT_EQ(FinishZEP3(&scan, ZEP3_GAMMA_SRGB, ZEP3_UNSET, &record.para, nullptr, nullptr), 1);
  const VImage finished(
      vips_image_new_from_memory_copy(pixels, size, image.width(), image.height(), image.bands(), image.format()));
  g_free(pixels);
  return finished;
}

class Pages : public Program {};

// Pieces of any shape and order, by any reader, give what one call on all pixels gives.
TEST_F(Pages, EveryWayIsThatOfTheLibrary) {
  const VImage sheet = Sheet();
  const VImage alpha = sheet.bandjoin(sheet[0].invert());
  const struct {
    const char* name;
    VImage image;
  } cases[] = {{"strips.tif[tile-height=7]", sheet},
               {"tiles.tif[compression=lzw,tile,tile-width=128,tile-height=128]", sheet},
               {"page.png", sheet},
               {"deep.tif[tile-height=50]", Deep(sheet)},
               {"deep.png", Deep(sheet)},
               {"alpha.tif", alpha},
               {"gray.png", Gray(sheet)}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Save(c.image, c.name);
    const std::string name = std::string(c.name).substr(0, std::string(c.name).find('['));
    ExpectDone("-k background " + name + " -o out/");
    const VImage out = Load("out/" + name);
    EXPECT_EQ(Difference(out, Finished(c.image, "background")), 0);
    EXPECT_EQ(out.getpoint(1290, 30)[0], c.image.format() == VIPS_FORMAT_USHORT ? 65535 : 255); // shaded paper
    EXPECT_LT(out.getpoint(360, 340)[0], out.getpoint(1290, 30)[0]);                            // the picture
  }
  // Bands behind the colours, however many, and a single thread.
  Save(alpha.bandjoin(sheet[1]), "five.tif");
  EXPECT_EQ(Zep3("-k background five.tif -o five_out.tif", "VIPS_CONCURRENCY=1 ").status, 0);
  const VImage five = Load("five_out.tif");
  EXPECT_EQ(Difference(five.extract_band(0, VImage::option()->set("n", 3)), Load("out/page.png")), 0);
  EXPECT_EQ(Difference(five[4], sheet[1]), 0);
  // A part of the page is that part of the whole.
  ExpectDone("-k document --area 200,100,1000,380 page.png -o whole.png");
  ExpectDone("-k document --area 200,100,1000,380 --crop page.png -o part.png");
  EXPECT_EQ(Difference(Load("part.png"), Load("whole.png").crop(200, 100, 1000, 380)), 0);
}

// A thumbnail is evened as the page before it, in its own size.
TEST_F(Pages, ThumbnailsAreEvenedToo) {
  Save(Sheet(), "page.tif");
  Save(Sheet().resize(0.1), "small.tif");
  ASSERT_EQ(Run("tiffcp page.tif small.tif scan.tif && tiffset -d 1 -s 254 1 scan.tif").status, 0);
  ExpectDone("-k background scan.tif -o out.tif");
  const VImage small = Load("out.tif[page=1]"), page = Load("out.tif[page=0]").resize(0.1);
  for (const auto& [x, y] : {std::pair(4, 4), {126, 4}, {126, 48}, {60, 48}}) {
    for (int c = 0; c < 3; c++) EXPECT_NEAR(small(x, y)[c], page(x, y)[c], 4) << x << " " << y;
  }
}

// Tables alone are those that zep3 tables prints; nothing is evened by them.
TEST_F(Pages, WithoutEveningTablesAlone) {
  Save(Sheet(), "page.png");
  ExpectDone("-k document page.png -o out.png --sidecar --no-even");
  ExpectDone("tables -k document page.png --as png -o tables.png");
  EXPECT_EQ(Difference(Load("out.png"), Load("page.png").maplut(Load("tables.png"))), 0);
  EXPECT_TRUE(Sidecar("out.png")["surface"].is_null());
  ExpectDone("--use-sidecar out.png.zep3.json page.png -o again.png");
  EXPECT_EQ(Difference(Load("again.png"), Load("out.png")), 0);
  ExpectDone("-k document page.png -o even.png --sidecar");
  ExpectDone("--use-sidecar even.png.zep3.json --no-even page.png -o alone.png");
  EXPECT_EQ(Difference(Load("alone.png"), Load("out.png")), 0);
}

TEST_F(Pages, SurfacesAreRepeatedWhereTheyFit) {
  const VImage sheet = Sheet();
  Save(sheet, "page.png");
  Save(Sheet(false), "text.png");
  Save(sheet.crop(0, 0, 1280, 500), "smaller.png");
  const Outcome made = Zep3("-k background -b 20 page.png -o out.png --sidecar --report --json");
  EXPECT_IN("\"surface\":{\"found\":\"paper\"", made.out);
  EXPECT_EQ(made.out.find("\"cells\""), std::string::npos);
  EXPECT_IN("<h3>Paper</h3>", Read("out.png.zep3.html"));
  const Outcome again = Zep3("--use-sidecar out.png.zep3.json page.png -o again.png");
  EXPECT_EQ(again.err, "");
  EXPECT_EQ(Read("again.png"), Read("out.png"));

  // Its own cells where the sidecar's do not fit, with the levels of the first page.
  const auto own = [&](const std::string& scan, const std::string& why) {
    EXPECT_IN(why, Zep3("--use-sidecar out.png.zep3.json " + scan + " -o own_" + scan).err);
    EXPECT_EQ(Load("own_" + scan).getpoint(1270, 30)[0], 255);
  };
  own("smaller.png", "the sidecar's surface is for 1302 x 502 pixels, this scan has 1280 x 500; evened by its own");
  ExpectDone("-k background text.png -o text_out.png --sidecar");
  EXPECT_IN("lies on other things than paper here; evened by its own",
            Zep3("--use-sidecar text_out.png.zep3.json page.png -o kept.png").err);
  EXPECT_LT(Load("kept.png").crop(180, 260, 360, 160).max(), 250);

  // The file's cells are those that are applied: moved, another picture comes out.
  auto json = nlohmann::ordered_json::parse(Read("out.png.zep3.json"));
  auto& surface = json["pages"][0]["surface"];
  surface["left"] = 8;
  File("moved.json", json.dump());
  EXPECT_EQ(Zep3("--use-sidecar moved.json page.png -o moved.png").err, "");
  EXPECT_NE(Difference(Load("moved.png"), Load("out.png")), 0);
  const nlohmann::ordered_json before = surface;
  const struct {
    const char *field, *value, *message;
  } faults[] = {{"cells", "\"AAAA\"", "'cells' are damaged"},
                {"columns", "1048577", "'columns' is not a whole number"},
                {"rows", "1", "'cells' are damaged"},
                {"paper", "[1,1,2]", "'paper' is no level"},
                {"found", "\"none\"", "'found' is no surface"}};
  for (const auto& fault : faults) {
    surface = before;
    surface[fault.field] = nlohmann::json::parse(fault.value);
    File("fault.json", json.dump());
    ExpectFault("--use-sidecar fault.json page.png -o fault.png", fault.message);
  }
}

// A pipette sees the page as its tables do: shaded paper is made gray as light paper is.
TEST_F(Pages, PipettesSeeTheEvenedPage) {
  Save(Sheet(), "page.png");
  ExpectDone("-k document --gray-pipette 1290,20 page.png -o shaded.png");
  ExpectDone("-k document --gray-pipette 20,20 page.png -o light.png");
  const auto a = Load("shaded.png").getpoint(700, 30), b = Load("light.png").getpoint(700, 30);
  for (size_t c = 0; c < 3; c++) EXPECT_NEAR(a[c], b[c], 2);
}

// One channel of the colours' luma, with all else as it was; of every kind.
TEST_F(Pages, GrayIsTheResultsLuma) {
  const VImage colours = Sample();
  const VImage profiled = colours.icc_transform("srgb", VImage::option()->set("input_profile", "srgb"));
  for (const std::string& name : {"scan.tif", "deep.tif", "scan.png", "scan.ppm", "scan.webp[lossless]", "alpha.png"}) {
    SCOPED_TRACE(name);
    const bool deep = name.starts_with("deep"), alpha = name.starts_with("alpha");
    VImage scan = deep ? Deep(profiled) : alpha ? profiled.bandjoin(profiled[1].invert()) : profiled;
    scan = scan.copy(VImage::option()->set("xres", 12.0)->set("yres", 12.0));
    Save(scan, name);
    const std::string file = name.substr(0, name.find('['));
    ExpectDone("-k slide --saturation off " + file + " -o colours/");
    ExpectDone("-k slide --saturation off --gray --report " + file + " -o gray/");
    const VImage before = Load("colours/" + file), gray = Load("gray/" + file);
    const VImage luma = (before[0] * 0.2126 + before[1] * 0.7152 + before[2] * 0.0722).rint();
    EXPECT_EQ(gray.format(), before.format());
    EXPECT_LE(Difference(gray[0], luma), file.ends_with("webp") || deep ? 1 : 0);
    if (file.ends_with("webp")) continue; // knows no gray
    EXPECT_EQ(gray.bands(), alpha ? 2 : 1);
    if (alpha) {
      EXPECT_EQ(Difference(gray[1], before[3]), 0);
    }
    EXPECT_EQ(gray.xres(), before.xres());
    if (!file.ends_with("ppm")) EXPECT_EQ(FindEncoding(gray, {}, {}).source, "ICC profile gray built-in");
    if (!file.ends_with("ppm")) EXPECT_EQ(FindEncoding(gray, {}, {}).input, ZEP3_GAMMA_SRGB_CURVE);
  }
  EXPECT_TRUE(Read("gray/scan.ppm").starts_with("P5"));
}

} // namespace
