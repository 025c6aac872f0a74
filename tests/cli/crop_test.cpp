// Pictures cut out of what lies around them, and the verdict on results.
#include <cmath>
#include <numbers>

#include "failure.h"
#include "page/cut.h"
#include "page/frame.h"
#include "program.h"

namespace {

// ---- where to cut ----

AreaArgument Area(std::initializer_list<Position> corners) { return {corners}; }
Position At(double x, double y) { return {{x, false}, {y, false}}; }

TEST(Cut, LiesWhereTheFrameAndTheMarginSay) {
  const Corners upright = {{{100, 50}, {400.2, 50.1}, {400.2, 250}, {100.1, 250}}}; // leans by 0.02 degrees
  // A rectangle of 300 x 200 turned by 30 degrees: sine 1/2, cosine 0.8660.
  const Corners turned = {{{200, 100}, {459.8, 250}, {359.8, 423.2}, {100, 273.2}}};
  const Length none = {0, false};
  const struct {
    const char* what;
    Corners corners;
    CropOptions options;
    Cut cut;
  } cases[] = {
      {"pixels that are covered by more than half", upright, {true, none, false}, {100, 50, 300, 200, 0}},
      {"pixels around", upright, {true, Length{10, false}, false}, {90, 40, 320, 220, 0}},
      {"percent of the shorter side, inside", upright, {true, Length{-10, true}, false}, {120, 70, 260, 160, 0}},
      {"to the edges of the scan of 600 x 500", upright, {true, Length{80, false}, false}, {20, 0, 460, 330, 0}},
      {"0.2 % inside of what was found", upright, {true, std::nullopt, false}, {100, 50, 300, 200, 0}},
      {"turned", turned, {true, none, false}, {200, 100, 300, 200, 30}},
      {"turned, 20 around", turned, {true, Length{20, false}, false}, {192.68, 72.68, 340, 240, 30}},
      {"upright around the turned one", turned, {true, none, true}, {100, 100, 360, 323, 0}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const Cut cut = CutOf({c.corners, 0.9}, c.options, 600, 500);
    const double near = c.cut.degrees == 0 ? 0 : 0.1;
    EXPECT_NEAR(cut.x, c.cut.x, near);
    EXPECT_NEAR(cut.y, c.cut.y, near);
    EXPECT_EQ(cut.width, c.cut.width);
    EXPECT_EQ(cut.height, c.cut.height);
    EXPECT_NEAR(cut.degrees, c.cut.degrees, near);
  }
  EXPECT_THROW(CutOf({upright, 0.9}, {true, Length{-50, true}, false}, 600, 500), Failure);
  EXPECT_THROW(CutOf({upright, 0.9}, {true, none, false}, 90, 40), Failure); // beyond the scan
}

TEST(Cut, AGivenAreaIsAFrame) {
  const auto rectangle = FrameOf(Area({At(10, 20), {{50, true}, {25, true}}}), 200, 400);
  EXPECT_EQ(rectangle->corners[2].x, 110);
  EXPECT_EQ(rectangle->corners[2].y, 120);
  // Corners in any order; the one that is upper left comes first.
  const Position corners[] = {At(30, 20), At(130, 30), At(125, 80), At(25, 70)};
  for (const auto& order : {std::array{0, 1, 2, 3}, {2, 0, 3, 1}, {3, 2, 1, 0}}) {
    AreaArgument area;
    for (const int i : order) area.corners.push_back(corners[i]);
    const auto frame = FrameOf(area, 200, 400);
    for (size_t i = 0; i < 4; i++) EXPECT_EQ(frame->corners[i].x, corners[i].x.value);
    EXPECT_NEAR(TiltOf(frame->corners), std::atan(0.1) * 180 / std::numbers::pi, 0.01);
  }
}

// ---- whole runs ----

constexpr int kSide = 400, kHigh = 300; // of the picture
constexpr int kLeft = 130, kTop = 90;
constexpr int kScanWidth = 700, kScanHeight = 500;

class Crop : public Program {
 protected:
  // A slide in its mount.
  static VImage Mounted(double degrees = 0, int left = kLeft, int top = kTop) {
    VImage picture = (Noise(kSide / 4, kHigh / 4, 3).resize(4) * 0.8 + 30).cast(VIPS_FORMAT_UCHAR);
    if (degrees != 0) picture = picture.similarity(VImage::option()->set("angle", degrees));
    const VImage mount = (VImage::black(kScanWidth, kScanHeight) + 4).bandjoin({4, 4}).cast(VIPS_FORMAT_UCHAR);
    return As(VIPS_INTERPRETATION_sRGB, mount.insert((picture + 4).cast(VIPS_FORMAT_UCHAR), left, top));
  }
  // The lightest of the pixels along the sides that are darkest: black where something of the mount is left.
  static double DarkestSide(const VImage& image) {
    const int w = image.width(), h = image.height();
    return std::min({image.crop(0, 0, w, 1).avg(), image.crop(0, h - 1, w, 1).avg(), image.crop(0, 0, 1, h).avg(),
                     image.crop(w - 1, 0, 1, h).avg()});
  }
  static std::array<int, 4> Place(const nlohmann::json& cut) {
    return {cut["left"], cut["top"], cut["width"], cut["height"]};
  }
  void ExpectCutOf(const VImage& whole, const std::string& result, const nlohmann::json& cut) const {
    const auto [left, top, width, height] = Place(cut);
    EXPECT_EQ(Difference(Load(result), whole.crop(left, top, width, height)), 0) << result;
  }
};

TEST_F(Crop, KeepsPixelsFormatAndAllThatIsTold) {
  const VImage scan = Mounted();
  const std::string names[] = {"plain.tif",
                               "tiled.tif[compression=lzw,predictor=horizontal,tile,tile-width=64]",
                               "deep.tif[compression=deflate]",
                               "deep.png",
                               "gray.png",
                               "small.png",
                               "photo.jpg[Q=98]",
                               "map.ppm",
                               "web.webp[lossless]"};
  for (const std::string& name : names) {
    const VImage colours = name.starts_with("gray") ? Gray(scan) : scan;
    Save(name.starts_with("deep") ? Deep(colours) : colours, "in/" + name);
  }
  ASSERT_EQ(Run("exiftool -q -overwrite_original -Artist=Somebody -Orientation#=6 -XResolution=600 -YResolution=300 "
                "-ResolutionUnit=inches -ExifImageWidth=700 -ExifImageHeight=500 in/*.tif in/*.png in/*.jpg")
                .status,
            0);
  ExpectDone("-k slide -r in -o whole --saturation off");
  ExpectDone("-k slide -r in -o out --crop --sidecar --saturation off");
  const auto tags = [&](const std::string& folder) {
    return Run("cd " + folder +
               " && exiftool -q -s -csv -Artist -Orientation -XResolution -YResolution -BitsPerSample "
               "-Compression -Predictor -TileWidth -XPosition -OffsetX *.tif *.png *.jpg")
        .out;
  };
  EXPECT_IN("deep.tif", tags("out"));
  EXPECT_EQ(tags("out"), tags("whole"));
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    const std::string file = name.substr(0, name.find('['));
    const auto told = Sidecar("out/" + file);
    const auto [left, top, width, height] = Place(told["crop"]);
    EXPECT_NEAR(left, kLeft, 2);
    EXPECT_NEAR(top, kTop, 2);
    EXPECT_NEAR(width, kSide, 3);
    EXPECT_NEAR(height, kHigh, 3);
    EXPECT_EQ(told["frame"]["from"], "scan");
    EXPECT_NEAR(told["frame"]["corners"][2][0].get<double>(), kLeft + kSide, 2);
    EXPECT_EQ(told["width"], kScanWidth);
    if (!file.ends_with("jpg")) ExpectCutOf(Load("whole/" + file), "out/" + file, told["crop"]);
  }
  const int width = Load("out/photo.jpg").width();
  EXPECT_EQ(Run("exiftool -q -s3 -ExifImageWidth out/plain.tif out/photo.jpg").out,
            std::to_string(Load("out/plain.tif").width()) + "\n" + std::to_string(width) + "\n");
}

// Every pixel of a plane is where the rectangle says, to a sixth of a pixel: bands of 16 bits, of values that rise
// across and down.
TEST_F(Crop, TurnsByTheTiltThatItTells) {
  const VImage place = VImage::xyz(kScanWidth, kScanHeight);
  const VImage ramp = (place[0] * 60 + 3000).bandjoin(place[1] * 60 + 3000).bandjoin(place[0] * 0 + 9000);
  const Cut cut = {120.25, 80.5, 300, 200, 7.5};
  const auto same = [](const VImage& image) { return image; };
  const VImage out = CutOut(As(VIPS_INTERPRETATION_RGB16, ramp.cast(VIPS_FORMAT_USHORT)), cut, same, same);
  ASSERT_EQ(out.width(), 300);
  ASSERT_EQ(out.height(), 200);
  const double cosine = std::cos(7.5 * std::numbers::pi / 180), sine = std::sin(7.5 * std::numbers::pi / 180);
  for (const auto& [u, v] : {std::pair{0, 0}, {299, 0}, {0, 199}, {150, 77}, {299, 199}}) {
    const double x = cut.x + (u + 0.5) * cosine - (v + 0.5) * sine, y = cut.y + (u + 0.5) * sine + (v + 0.5) * cosine;
    EXPECT_NEAR(out.getpoint(u, v)[0], 60 * (x - 0.5) + 3000, 10) << u << "," << v;
    EXPECT_NEAR(out.getpoint(u, v)[1], 60 * (y - 0.5) + 3000, 10) << u << "," << v;
    EXPECT_EQ(out.getpoint(u, v)[2], 9000);
  }
}

TEST_F(Crop, TiltedPicturesAreStraightened) {
  Save(Deep(Mounted(3)), "scan.tif[compression=lzw]");
  ExpectDone("-k slide scan.tif -o out.tif --crop --sidecar --report");
  const auto told = Sidecar("out.tif");
  EXPECT_NEAR(told["crop"]["tilt"].get<double>(), 3, 0.15);
  EXPECT_NEAR(told["crop"]["width"].get<double>(), kSide, 4);
  const VImage out = Load("out.tif");
  EXPECT_EQ(out.width(), told["crop"]["width"].get<int>());
  EXPECT_EQ(out.height(), told["crop"]["height"].get<int>());
  EXPECT_EQ(out.format(), VIPS_FORMAT_USHORT);
  EXPECT_GT(DarkestSide(out), 0.3 * out.avg());
  // As it is stored it keeps the corners of the mount; a margin shows the mount on all sides.
  ExpectDone("-k slide scan.tif -o tilted.tif --crop --no-straighten");
  EXPECT_NEAR(Load("tilted.tif").width(), kSide * std::cos(0.052) + kHigh * std::sin(0.052), 4);
  EXPECT_LT(Load("tilted.tif").crop(0, 0, 5, 5).avg(), 0.2 * out.avg());
  ExpectDone("-k slide scan.tif -o wide.tif --crop --margin 5%");
  EXPECT_NEAR(Load("wide.tif").width(), kSide + 2 * 0.05 * kHigh, 4);
  EXPECT_LT(DarkestSide(Load("wide.tif")), 0.2 * out.avg());
  // The correction is repeated with its place, on scans that are as large.
  ExpectDone("scan.tif -o again.tif --use-sidecar out.tif.zep3.json --crop");
  EXPECT_EQ(Read("again.tif"), Read("out.tif"));
  Save(Mounted(3).crop(0, 0, kScanWidth - 1, kScanHeight), "other.tif");
  const Outcome other = Zep3("other.tif -o other_out.tif --use-sidecar out.tif.zep3.json --crop");
  EXPECT_IN("not cut: nothing was found", other.err);
  EXPECT_EQ(Load("other_out.tif").width(), kScanWidth - 1);
}

// What is too large to be held goes by way of a file, of which nothing stays.
TEST_F(Crop, LargePicturesAreTurnedByWayOfAFile) {
  Save(Noise(500, 480, 7).zoom(10, 10), "large.ppm");
  ASSERT_EQ(Run("mkdir temporary").status, 0);
  const std::string large = "large.ppm -o large.tif --crop --corners 80,0,5000,85,4920,4800,0,4715";
  ExpectFault(large, "No space left", 1, Broken("write", 2, "ENOSPC", "TMPDIR=temporary BREAK_IN=temporary/"));
  EXPECT_FALSE(Exists("large.tif"));
  EXPECT_EQ(Zep3(large, "TMPDIR=temporary ").status, 0);
  EXPECT_EQ(Load("large.tif").width(), 4921); // the root of 4920^2 + 85^2
  EXPECT_TRUE(fs::is_empty(m_folder / "temporary"));
}

TEST_F(Crop, EveryPageHasItsOwn) {
  Save(Mounted(), "one.tif");
  Save(Mounted(0, 210, 140), "two.tif");
  Save(Mounted(0, 210, 140).resize(0.25), "thumbnail.tif");
  Save(Noise(kScanWidth, kScanHeight, 5), "full.tif");
  ASSERT_EQ(Run("tiffcp one.tif two.tif thumbnail.tif full.tif scan.tif && tiffset -d 2 -s 254 1 scan.tif").status, 0);
  const Outcome run = Zep3("-k slide scan.tif -o out.tif --crop --json");
  EXPECT_EQ(run.status, 0);
  EXPECT_IN("page 4: not cut: nothing was found around the picture", run.err);
  const auto pages = nlohmann::json::parse(run.out)["pages"];
  ASSERT_EQ(pages.size(), 3u);
  ExpectDone("-k slide scan.tif -o whole.tif");
  for (const int page : {0, 1}) {
    const std::string which = "[page=" + std::to_string(page) + "]";
    ExpectCutOf(Load("whole.tif" + which), "out.tif" + which, pages[page]["crop"]);
  }
  EXPECT_NEAR(pages[1]["crop"]["left"].get<double>(), 210, 2);
  EXPECT_NEAR(Load("out.tif[page=2]").width(), kSide / 4, 1);
  EXPECT_EQ(Difference(Load("out.tif[page=3]"), Load("whole.tif[page=3]")), 0);
  EXPECT_TRUE(pages[2]["crop"].is_null());
}

TEST_F(Crop, TheUsersAreaIsCutOut) {
  Save(Mounted(), "scan.png");
  const struct {
    const char* options;
    int width, height;
  } cases[] = {{"--area 150,100,200,120", 200, 120},
               {"--area 25%,20%,50%,40% --margin -10", 330, 180},
               {"-k document --area 25%,20%,50%,40%", 350, 200},
               {"--corners 200,150,400,160,390,360,190,350", 200, 200}};
  for (const auto& c : cases) {
    ExpectDone("scan.png -o out.png --overwrite --crop --sidecar " + std::string(c.options));
    EXPECT_EQ(Load("out.png").width(), c.width) << c.options;
    EXPECT_EQ(Load("out.png").height(), c.height) << c.options;
    EXPECT_EQ(Sidecar("out.png")["frame"]["from"], "area");
  }
  ExpectDone("-k slide --analysis standard scan.png -o standard.png --crop");
  EXPECT_NEAR(Load("standard.png").width(), kSide, 3);
}

TEST_F(Crop, TheOriginalIsKept) {
  Save(Mounted(), "scan.png");
  const Files before = AllFiles();
  ExpectFault("--in-place --no-backup --crop -k slide scan.png", "--crop needs the backup", 2);
  ExpectFault("analyse --crop scan.png", "write no pictures", 2);
  ExpectFault("scan.png -o out.png --margin 5", "--margin requires --crop", 2);
  ExpectFault("scan.png -o out.png --crop --margin 5mm", "expected pixels or percent", 2);
  ExpectFault("-k slide scan.png -o out.png --crop --margin -60%", "nothing is left of it by --crop");
  ExpectFiles(before);
  ExpectDone("--in-place --crop -k slide scan.png");
  EXPECT_NEAR(Load("scan.png").width(), kSide, 3);
  EXPECT_EQ(Read("scan_original.png"), before.at("scan.png"));
}

// ---- verdicts ----

TEST_F(Crop, ResultsToLookAtAreNamedAndCounted) {
  Save(Sample(), "in/good.png");
  Save(As(VIPS_INTERPRETATION_sRGB, (Sample() * 0).cast(VIPS_FORMAT_UCHAR)), "in/blank.png");
  ExpectDone("in/good.png -o good.png --report --sidecar");
  EXPECT_EQ(Sidecar("good.png")["verdict"], "good");
  EXPECT_IN("<h1>good.png</h1>\n<p class=\"verdict\">Good: nothing speaks against the result.</p>",
            Read("good.png.zep3.html"));
  EXPECT_IN("good.png: good, adaptive analysis", Zep3("in/good.png -o good.png --overwrite -v").err);
  const Outcome run = Zep3("-r in -o out --json");
  EXPECT_EQ(run.status, 0);
  EXPECT_IN("in/blank.png: failed, no correction was found: no usable levels", run.err);
  EXPECT_IN("zep3: 1 corrected, 1 without a correction, 0 failed", run.err);
  EXPECT_IN("\"verdict\":\"failed\"", run.out);
  // What the user adds counts: half the picture at black, found or repeated.
  for (const std::string found : {"-k photo", "-k document", "--use-sidecar good.png.zep3.json"}) {
    const Outcome dark = Zep3("in/good.png in/blank.png -o out --overwrite -b -1000 " + found);
    EXPECT_IN("in/good.png: please look at the result: ", dark.err);
    EXPECT_IN("nearly black", dark.err);
  }
  ExpectDone("in/good.png -o dark.png -b -1000 --report --sidecar");
  EXPECT_EQ(Sidecar("dark.png")["verdict"], "look");
  EXPECT_IN("<p class=\"verdict against\">Please look at the result: ", Read("dark.png.zep3.html"));
}

} // namespace
