// Scans that are not RGB or gray in one of the written formats: what they become.
#include "program.h"

namespace {

class Formats : public Program {};

// The same pixels as of a scan that another program has converted.
TEST_F(Formats, OtherColoursBecomeRgb) {
  Save(Sample(), "rgb.tif[profile=srgb]");
  Save(Deep(Sample()), "deep.tif[profile=srgb]");
  const std::string byProfile = " --embedded --intent relative --black-point-compensation";
  const struct {
    const char *make, *scan, *convert, *profile;
    int bits;
  } cases[] = {
      {"vips icc_transform rgb.tif a.tif cmyk", "a.tif", "vips icc_transform a.tif same.tif srgb", "sRGB", 8},
      {"vips icc_transform rgb.tif b.tif cmyk && vips copy b.tif a.jpg", "a.jpg",
       "vips icc_transform a.jpg same.tif srgb", "sRGB", 8},
      {"vips icc_transform deep.tif a.tif cmyk --depth 16", "a.tif", "vips icc_transform a.tif same.tif p3 --depth 16",
       "P3", 16},
      {"vips colourspace deep.tif a.tif labs", "a.tif",
       "vips colourspace a.tif b.v lab && vips icc_export b.v same.tif --output-profile p3 --depth 16", "P3", 16}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.make);
    const std::string convert = c.convert;
    const bool embedded = convert.find("icc_transform") != std::string::npos;
    const std::string how = embedded ? byProfile : " --intent relative --black-point-compensation";
    ASSERT_EQ(Run("rm -f a.* b.*; " + std::string(c.make) + " && " + convert + how).status, 0) << Read(".err");
    const Outcome run = Zep3(c.scan + std::string(" -o out.tif --overwrite"));
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_IN("colours become RGB (", run.err);
    ExpectDone("same.tif -o expected.tif --overwrite");
    EXPECT_EQ(Difference(Load("out.tif"), Load("expected.tif")), 0);
    EXPECT_EQ(Load("out.tif").format(), c.bits == 16 ? VIPS_FORMAT_USHORT : VIPS_FORMAT_UCHAR);
    EXPECT_IN(c.profile, Run("exiftool -s3 -ProfileDescription out.tif").out);
    EXPECT_EQ(Run("exiftool -s3 -PhotometricInterpretation out.tif").out, "RGB\n");
    EXPECT_EQ(Zep3(c.scan + std::string(" --in-place --no-backup")).status, 1);

    // What was finished as RGB, separated again.
    const std::string own = fs::path(c.scan).extension().string();
    const VipsInterpretation space = Load(c.scan).interpretation();
    const bool cmyk = space == VIPS_INTERPRETATION_CMYK;
    ExpectDone(c.scan + std::string(" --keep-space --overwrite -o own") + own);
    const std::string back =
        cmyk ? "vips icc_import out.tif b.v --embedded --intent relative --black-point-compensation && "
               "vips icc_export b.v back.tif --output-profile cmyk --intent relative "
               "--black-point-compensation --depth " +
                   std::to_string(c.bits)
             : "vips icc_import out.tif b.v --embedded --intent relative "
               "--black-point-compensation && vips colourspace b.v back.tif labs";
    ASSERT_EQ(Run(back).status, 0) << Read(".err");
    EXPECT_EQ(Load("own" + own).interpretation(), space);
    EXPECT_LE(Difference(Load("own" + own), Load("back.tif")), own == ".jpg" ? 12 : 0); // JPEG: quality 95
    const auto profile = [&](const std::string& file) {
      return Run("exiftool -b -ICC_Profile " + file + " | md5sum").out;
    };
    if (cmyk) {
      EXPECT_EQ(profile("own" + own), profile(c.scan));
    }
    ExpectFault(c.scan + std::string(" --keep-space -o own.png"), "have no place in png");
  }
  ASSERT_EQ(Run("vips icc_transform rgb.tif a.tif cmyk && vips copy a.tif 'none.tif[strip]'").status, 0);
  ExpectFault("none.tif -o no.tif", "is a CMYK picture without a profile");
}

// What tells about a scan, a letter each: profile, resolution, EXIF, GPS, IPTC, XMP, text, orientation.

// Of a file, as exiftool reads it.
std::string Told(const nlohmann::json& tags) {
  const std::pair<char, std::pair<const char*, const char*>> values[] = {
      {'p', {"ICC_Profile:ProfileDescription", "sRGB"}},
      {'r', {"EXIF:XResolution", "300"}},
      {'e', {"EXIF:Artist", "Someone"}},
      {'g', {"EXIF:GPSLatitude", "48.2"}},
      {'i', {"IPTC:Keywords", "archive"}},
      {'x', {"XMP:Title", "Title"}},
      {'t', {"Comment", "Words"}},
      {'o', {"EXIF:Orientation", "6"}}};
  std::string told;
  for (const auto& [letter, value] : values) {
    for (const auto& [tag, is] : tags.items()) {
      const std::string text = is.is_string() ? is.get<std::string>() : is.dump();
      if (tag.ends_with(value.first) && text == value.second) {
        told += letter;
        break;
      }
    }
  }
  return told;
}

// All that a format has a place for arrives there, in five formats from ten; what does not is named. HEIF is turned by
// its decoder, whatever its EXIF says.
TEST_F(Formats, WhatTellsAboutAScanArrivesOrIsMissed) {
  Save(Sample(), "made.jpg[profile=srgb,Q=95]");
  const std::string write = "exiftool -q -m -overwrite_original ";
  ASSERT_EQ(Run(write + "-Make=Maker -Artist=Someone -GPSLatitude=48.2 -GPSLatitudeRef=N -XMP-dc:Title=Title "
                        "-IPTC:Keywords=archive -Orientation#=6 -XResolution=300 -YResolution=300 "
                        "-ResolutionUnit=inches -Comment=Words made.jpg")
                .status,
            0);
  const struct {
    const char *scan, *saved, *holds;
  } scans[] = {{"a.jpg", "", "pregixto"},
               {"a.tif", "", "pregixo"},
               {"a.png", "", "pregxto"},
               {"a.webp", "[lossless]", "pregxo"},
               {"a.jp2", "[lossless]", "pregixo"},
               {"a.jxl", "[lossless]", "pregxo"},
               {"a.heic", "[Q=90]", "pregx"},
               {"a.avif", "[Q=90]", "pregx"},
               {"a.gif", "", "pxt"},
               {"a.ppm", "[strip]", ""}};
  const struct {
    const char *result, *takes;
  } results[] = {{"a.tif", "pregixo"}, {"a.jpg", "pregixo"}, {"a.png", "pregxo"}, {"a.webp", "pregxo"}, {"a.ppm", ""}};
  const std::map<char, std::string> words = {{'p', "profile"}, {'r', "resolution"}, {'e', "EXIF"},       {'i', "IPTC"},
                                             {'x', "XMP"},     {'t', "text"},       {'o', "orientation"}};
  for (const auto& scan : scans) {
    const std::string name = scan.scan;
    const std::string copy = name == "a.jpg" ? "cp made.jpg a.jpg" : "vips copy made.jpg '" + name + scan.saved + "'";
    // Their savers leave out what is put in here: the text alone into PNG, all of it into the others.
    const std::string more = name == "a.png"   ? "-Comment=Words "
                             : name == "a.ppm" ? "-ver; true "
                                               : "-tagsfromfile made.jpg -all:all -icc_profile -comment ";
    ASSERT_EQ(Run("rm -rf a.* out; " + copy + " && " + write + more + name).status, 0) << name << Read(".err");
    std::map<std::string, std::string> said;
    for (const auto& result : results) {
      said[result.result] = Zep3("--also-read jp2,jxl,heif,gif " + name + " -o out/" + result.result).err;
    }
    for (const auto& file : nlohmann::json::parse(Run("exiftool -q -j -G0 -n out").out)) {
      const std::string path = file.at("SourceFile"), result = path.substr(path.rfind('/') + 1);
      SCOPED_TRACE(name + " to " + result);
      std::string takes;
      for (const auto& each : results) takes += result == each.result ? each.takes : "";
      if (name == "a.png" && result == name) takes += 't';
      std::string kept, lost;
      for (const char letter : std::string(scan.holds)) {
        const bool read = name != "a.gif" || letter == 't'; // the image library reads nothing else of it
        (takes.find(letter) != std::string::npos && read ? kept : lost) += letter;
      }
      EXPECT_EQ(Told(file), kept);
      for (const auto& [letter, word] : words) {
        EXPECT_EQ(said[result].find(word) != std::string::npos, lost.find(letter) != std::string::npos) << word << '\n'
                                                                                                        << said[result];
      }
    }
  }
}

// Depth, transparency and private tags are passed on, or named.
TEST_F(Formats, PixelsThatDoNotFitAreNamed) {
  Save(Deep(Sample()), "deep.tif");
  Save(Sample().bandjoin(Gray(Sample())), "clear.png");
  Save(Sample(), "private.tif");
  ASSERT_EQ(Run("tiffset -s 33432 Someone private.tif && exiftool -q -overwrite_original -IFD0:DNGPrivateData=abc "
                "private.tif")
                .status,
            0);
  // Too long for a field of EXIF, and for the XMP of a JPEG.
  Save(Sample(), "long.tif");
  File("words", std::string(20000, 'w'));
  ASSERT_EQ(Run("exiftool -q -overwrite_original '-IFD0:ImageDescription<=words' long.tif").status, 0);
  Save(Sample(), "wide.tif");
  File("words", std::string(70000, 'w'));
  ASSERT_EQ(Run("exiftool -q -overwrite_original '-XMP-dc:Source<=words' wide.tif").status, 0);
  const struct {
    const char *scan, *result, *missed;
  } cases[] = {{"deep.tif", "jpg", "8 of 16 bits"},
               {"deep.tif", "webp", "8 of 16 bits"},
               {"deep.tif", "png", ""},
               {"deep.tif", "tif", ""},
               {"clear.png", "jpg", "transparency"},
               {"clear.png", "ppm", "transparency"},
               {"clear.png", "webp", ""},
               {"clear.png", "tif", ""},
               {"private.tif", "jpg", "private tags"},
               {"private.tif", "tif", ""},
               {"long.tif", "jpg", "fields of more than 16 KB"},
               {"long.tif", "tif", ""},
               {"wide.tif", "jpg", "XMP"},
               {"wide.tif", "png", ""}};
  for (const auto& c : cases) {
    const Outcome run = Zep3(std::string(c.scan) + " --overwrite -o out." + c.result);
    SCOPED_TRACE(std::string(c.scan) + " to " + c.result + ": " + run.err);
    EXPECT_EQ(run.status, 0);
    EXPECT_IN(c.missed, run.err);
    if (*c.missed == '\0') EXPECT_EQ(run.err.find("not passed on"), std::string::npos);
  }
}

// The decoder of HEIF leaves words behind when nothing is wrong.
TEST_F(Formats, ReasonsAreTheScansOwn) {
  Save(Noise(64, 48, 1), "good.png");
  ASSERT_EQ(Run("vips copy good.png good.heic").status, 0);
  File("cut.png", Read("good.png").substr(0, 2000));
  const Outcome run = Zep3("-j1 --also-read heif good.heic cut.png -o out/ --format tif");
  EXPECT_EQ(run.status, 1);
  EXPECT_IN("zep3: cut.png: ", run.err);
  EXPECT_EQ(run.err.find("good.heic: bad"), std::string::npos) << run.err;
  EXPECT_EQ(run.err.find("heif:"), std::string::npos) << run.err;
}

// Nothing else is lost with EXIF that leads nowhere.
TEST_F(Formats, DamagedExifIsNamed) {
  using namespace std::string_literals;
  Save(Sample(), "made.jpg[profile=srgb]");
  std::string file = Read("made.jpg");
  const size_t exif = file.find("II*\0\x8"s);
  ASSERT_NE(exif, std::string::npos);
  File("a.jpg", file.replace(exif + 4, 4, "\xff\xff\xff\x7f"));
  const Outcome run = Zep3("a.jpg -o out.tif");
  EXPECT_EQ(run.status, 0);
  EXPECT_IN("not passed on to the TIFF file: EXIF", run.err);
  EXPECT_EQ(Run("exiftool -s3 -ProfileDescription out.tif").out, "sRGB\n");
}

// As the standard has it in a head of boxes: points per metre, 11811 / 1 * 10^0, which are 300 an inch.
TEST_F(Formats, ResolutionOfJpeg2000) {
  using namespace std::string_literals;
  Save(Sample(), "made.png");
  ASSERT_EQ(Run("vips copy made.png made.jp2").status, 0);
  const std::string res = "\0\0\0\x1ares \0\0\0\x12resc\x2e\x23\0\1\x2e\x23\0\1\0\0"s;
  std::string file = Read("made.jp2");
  const size_t head = file.find("jp2h");
  ASSERT_NE(head, std::string::npos);
  ASSERT_EQ(file.substr(head - 4, 3), "\0\0\0"s);
  const auto length = static_cast<uint8_t>(file[head - 1]);
  file[head - 1] = static_cast<char>(length + res.size());
  File("a.jp2", file.insert(head - 4 + length, res));
  for (const std::string result : {"out.tif", "out.png", "out.jpg"}) {
    ExpectDone("--also-read jp2 a.jp2 -o " + result);
    EXPECT_NEAR(Load(result).xres() * 25.4, 300, 0.1) << result;
  }
  // Without it nothing is made up.
  ExpectDone("--also-read jp2 made.jp2 -o none.tif");
  EXPECT_EQ(Run("exiftool -s3 -XResolution none.tif").out, "");
}

// Two pages of 2 x 1 inches, a shaded rectangle on each.
std::string Pdf() {
  std::string pdf =
      "%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n"
      "2 0 obj<</Type/Pages/Kids[3 0 R 4 0 R]/Count 2>>endobj\n";
  for (const std::string page : {"3", "4"}) {
    pdf += page + " 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 144 72]/Contents 5 0 R>>endobj\n";
  }
  const std::string draw = "0.7 0.5 0.3 rg 10 10 60 40 re f 0.2 0.3 0.4 rg 80 20 40 40 re f";
  return pdf + "5 0 obj<</Length " + std::to_string(draw.size()) + ">>stream\n" + draw +
         "\nendstream endobj\ntrailer<</Root 1 0 R>>\n%%EOF\n";
}

TEST_F(Formats, PagesOfPdfBecomeTiff) {
  File("two.pdf", Pdf());
  const std::string also = "--also-read pdf two.pdf --overwrite ";
  ExpectDone(also + "-o two.tif");
  for (const std::string page : {"0", "1"}) {
    const VImage image = Load("two.tif[page=" + page + "]");
    EXPECT_EQ(image.width(), 600);
    EXPECT_EQ(image.bands(), 3);
    EXPECT_NEAR(image.xres() * 25.4, 300, 0.5);
  }
  EXPECT_EQ(Load("two.tif").get_int("n-pages"), 2);
  ExpectDone(also + "--pdf-dpi 150 -o two.tif");
  EXPECT_EQ(Load("two.tif").width(), 300);
  ExpectFault(also + "-o two.png", "has 2 pages, which are kept in TIFF only");
  ExpectDone("--also-read pdf 'two.pdf[page=1]' --pdf-dpi 100 -o page.png");
  EXPECT_EQ(Load("page.png").height(), 100);
}

} // namespace
