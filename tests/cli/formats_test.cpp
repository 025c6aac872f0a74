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
  }
  ASSERT_EQ(Run("vips icc_transform rgb.tif a.tif cmyk && vips copy a.tif 'none.tif[strip]'").status, 0);
  ExpectFault("none.tif -o no.tif", "is a CMYK picture without a profile");
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
