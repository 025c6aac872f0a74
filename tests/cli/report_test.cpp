// The report as a browser meets it: what is embedded is taken out again and compared with what went in.
#include "told/report.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "failure.h"

namespace {

using Strings = std::vector<std::string>;
using vips::VImage;

// Every text between `from` and the next `to`.
Strings Between(const std::string& text, const std::string& from, const std::string& to) {
  Strings found;
  for (size_t i = text.find(from); i != std::string::npos; i = text.find(from, i)) {
    i += from.size();
    found.push_back(text.substr(i, text.find(to, i) - i));
  }
  return found;
}

Strings Embedded(const std::string& html, const std::string& type) {
  Strings found;
  for (const std::string& text : Between(html, "src=\"data:" + type + ";base64,", "\"")) {
    gsize size = 0;
    guchar* const data = g_base64_decode(text.c_str(), &size);
    found.emplace_back(reinterpret_cast<const char*>(data), size);
    g_free(data);
  }
  return found;
}

// The points of the line with this label, on the plot; before them comes the stroke in the legend, moved to like them.
std::vector<std::pair<double, double>> LineOf(const std::string& svg, const std::string& label) {
  const Strings groups = Between(svg, "<title>" + label + "</title>", "</svg>");
  if (groups.size() != 1) return {};
  const std::string path = Between(groups[0], " d='", "'").at(0);
  std::vector<std::pair<double, double>> points;
  const char* text = path.c_str() + path.rfind('M');
  while (*text == 'M' || *text == 'L') {
    char* end = nullptr;
    const double x = std::strtod(text + 1, &end);
    points.emplace_back(x, std::strtod(end + 1, &end));
    text = end + std::strspn(end, " \n\t");
  }
  return points;
}

// Where 0 and 255 stand on the plot: the first and the last upright line of its grid.
std::pair<double, double> ValueAxis(const std::string& svg) {
  std::vector<double> upright;
  for (const std::string& line : Between(svg, "class=\"gridline\"  d='M", "'")) {
    double x1 = 0, x2 = 0;
    if (std::sscanf(line.c_str(), "%lf,%*f L%lf", &x1, &x2) == 2 && x1 == x2) upright.push_back(x1);
  }
  return upright.empty() ? std::pair(0., 0.) : std::pair(upright.front(), upright.back());
}

VImage Picture(int width, int height, double value) {
  VImage picture = VImage::black(width, height, VImage::option()->set("bands", 3)).linear(1, value);
  picture = picture.cast(VIPS_FORMAT_UCHAR).copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
  VipsBlob* profile = nullptr;
  if (vips_profile_load("srgb", &profile, nullptr) == 0) {
    size_t size = 0;
    const void* const data = vips_blob_get(profile, &size);
    vips_image_set_blob_copy(picture.get_image(), VIPS_META_ICC_NAME, data, size);
    vips_area_unref(VIPS_AREA(profile));
  }
  picture.set("exif-ifd0-Artist", "somebody");
  return picture;
}

// Red stays, green is turned round, blue is 51 everywhere. One value in a thousand of red is 32 before and 224 after.
ReportPage Page(const std::string& title) {
  ReportPage page;
  page.title = title;
  page.before = Picture(48, 20, 60);
  page.after = Picture(48, 20, 180);
  for (size_t i = 0; i < 256; ++i) {
    page.tables[0][i] = static_cast<uint8_t>(i);
    page.tables[1][i] = static_cast<uint8_t>(255 - i);
    page.tables[2][i] = 51;
    for (size_t c = 0; c < 3; ++c) page.histogramBefore[c][i] = page.histogramAfter[c][i] = 100;
  }
  page.histogramBefore[0][32] = page.histogramAfter[0][224] = 150;
  page.numbers = {{"Zeta", "1"}, {"Alpha & Omega", "<2>"}, {"Mu", "3"}};
  return page;
}

void SetGray(ReportPage& page) {
  page.histogramBefore[0] = page.histogramBefore[1];
  page.histogramAfter[0] = page.histogramAfter[1];
  page.tables[1] = page.tables[2] = page.tables[0];
}

std::string FailureOf(const ReportPage& page) {
  try {
    MakeReport("scan.tif", {page});
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "";
}

class Report : public testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_EQ(VIPS_INIT("zep3_report_test"), 0); }
  void SetUp() override { m_path = std::getenv("PATH"); }
  void TearDown() override { setenv("PATH", m_path.c_str(), 1); }
  std::string m_path;
};

TEST_F(Report, EscapesWhatTheUserNames) {
  const std::string hostile = "<script>\"&'.tif";
  ReportPage page = Page(hostile);
  page.numbers.emplace_back(hostile, hostile);
  const std::string html = MakeReport(hostile + "\xff\x01", {page});
  EXPECT_TRUE(g_utf8_validate(html.data(), static_cast<gssize>(html.size()), nullptr));
  EXPECT_EQ(html.find('\x01'), std::string::npos);
  EXPECT_EQ(html.find("&#x"), std::string::npos);      // as a reference it is as little allowed
  EXPECT_EQ(Between(html, "<script", ">").size(), 1u); // the slider's
  Strings texts;
  for (const auto& [from, to] :
       {std::pair("<title>", "</title>"), std::pair("<h1>", "</h1>"),
        std::pair("1-title\">\n<h2 id=\"page-1-title\">", "</h2>"), std::pair("\"row\">", "</th>"),
        std::pair("<td>", "</td>"), std::pair("alt=\"", "\" src")}) {
    for (const std::string& text : Between(html, from, to)) {
      if (text.find("script") != std::string::npos) texts.push_back(text);
    }
  }
  ASSERT_EQ(texts.size(), 7u); // one of each, and two pictures
  for (const std::string& text : texts) {
    EXPECT_EQ(text.find_first_of("<>\"'"), std::string::npos) << text;
    EXPECT_EQ(text.find("&lt;script&gt;&quot;&amp;"), 0u) << text;
  }
}

TEST_F(Report, FetchesNothing) {
  const std::string html = MakeReport("scan.tif", {Page("Page 1")});
  for (const char* reference : {"://", "url(", "@import", "<link", "src='", "href"}) {
    EXPECT_EQ(html.find(reference), std::string::npos) << reference;
  }
  EXPECT_EQ(Between(html, "src=", "data:").size(), Between(html, "src=\"data:", ",").size());
  for (const std::string& svg : Embedded(html, "image/svg+xml")) {
    EXPECT_EQ(Between(svg, "://", "\"").size(), Between(svg, "xmlns", "://").size()); // names, not addresses
  }
}

TEST_F(Report, ShowsThePicturesWithTheirProfileOnly) {
  ReportPage other = Page("Page 2");
  other.before = Picture(30, 50, 10);
  other.after = Picture(30, 50, 240);
  const ReportPage first = Page("Page 1");
  const Strings jpegs = Embedded(MakeReport("scan.tif", {first, other}), "image/jpeg");
  const std::vector<VImage> pictures = {first.before, first.after, other.before, other.after};
  ASSERT_EQ(jpegs.size(), pictures.size());
  for (size_t i = 0; i < jpegs.size(); ++i) {
    const VImage shown = VImage::new_from_buffer(jpegs[i].data(), jpegs[i].size(), "");
    EXPECT_EQ(shown.width(), pictures[i].width());
    EXPECT_EQ(shown.height(), pictures[i].height());
    EXPECT_NEAR(shown.avg(), pictures[i].avg(), 1);
    size_t size = 0, expectedSize = 0;
    const void* const profile = shown.get_blob(VIPS_META_ICC_NAME, &size);
    const void* const expected = pictures[i].get_blob(VIPS_META_ICC_NAME, &expectedSize);
    EXPECT_EQ(std::string(static_cast<const char*>(profile), size),
              std::string(static_cast<const char*>(expected), expectedSize));
    EXPECT_EQ(shown.get_typeof("exif-ifd0-Artist"), 0u);
  }
}

TEST_F(Report, HasASectionPerPageWithItsNumbersInOrder) {
  const std::string html = MakeReport("scan.tif", {Page("Page 1"), Page("Page 2"), Page("Page 3")});
  const Strings sections = Between(html, "<section", "</section>");
  ASSERT_EQ(sections.size(), 3u);
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_NE(sections[i].find(">Page " + std::to_string(i + 1) + "</h2>"), std::string::npos);
    EXPECT_EQ(Embedded(sections[i], "image/jpeg").size(), 2u);
    EXPECT_EQ(Embedded(sections[i], "image/svg+xml").size(), 3u);
    EXPECT_EQ(Between(sections[i], "<figure", "</figure>").size(), 5u);
    EXPECT_EQ(Between(sections[i], "<th scope=\"row\">", "<"), (Strings{"Zeta", "Alpha &amp; Omega", "Mu"}));
    EXPECT_EQ(Between(sections[i], "<td>", "</td>"), (Strings{"1", "&lt;2&gt;", "3"}));
  }
}

TEST_F(Report, SaysWhyWhereItIsKnown) {
  ReportPage page = Page("Page 2");
  page.why = {"Decided & sure.", {"Because <1>.", "Because 2."}, {{"Dye", "0.5 / –", "share", "more is better"}}};
  const Strings sections = Between(MakeReport("scan.tif", {Page("Page 1"), page}), "<section", "</section>");
  EXPECT_EQ(sections.at(0).find("Why"), std::string::npos);
  const std::string why = Between(sections.at(1), "<h3>Why</h3>\n<p>", "<h3>").at(0);
  EXPECT_TRUE(why.starts_with("Decided &amp; sure.</p>")) << why;
  EXPECT_EQ(Between(why, "<li>", "</li>"), (Strings{"Because &lt;1&gt;.", "Because 2."}));
  EXPECT_EQ(Between(why, "<th scope=\"row\">", "</th>"), Strings{"Dye"});
  EXPECT_EQ(Between(why, "<td>", "</td>"), (Strings{"0.5 / –", "share", "more is better"}));
  page.why = {"Decided.", {}, {}};
  EXPECT_EQ(Between(MakeReport("scan.tif", {page}), "<h3>Why</h3>", "<h3>").at(0), "\n<p>Decided.</p>\n");
}

// The axes are 255 values long, both ways, and as many pixels: where red runs from corner to corner, green and blue
// must run accordingly.
TEST_F(Report, DrawsTheTables) {
  const std::string svg = Embedded(MakeReport("scan.tif", {Page("Page 1")}), "image/svg+xml").at(2);
  const auto red = LineOf(svg, "red"), green = LineOf(svg, "green"), blue = LineOf(svg, "blue");
  ASSERT_TRUE(red.size() >= 2 && green.size() >= 2 && blue.size() >= 2);
  const double bottom = red.front().second, top = red.back().second;
  EXPECT_NEAR(bottom - top, red.back().first - red.front().first, 1);
  EXPECT_GT(bottom - top, 200);
  EXPECT_NEAR(green.front().second, top, 0.1);
  EXPECT_NEAR(green.back().second, bottom, 0.1);
  for (const auto& point : blue) EXPECT_NEAR(point.second, bottom - 0.2 * (bottom - top), 0.1); // 51 is a fifth of 255
}

// A value reaches from half a value below to half above; the share of a peak is 1.5 times the others', the height its
// root.
TEST_F(Report, DrawsTheHistograms) {
  const Strings svgs = Embedded(MakeReport("scan.tif", {Page("Page 1")}), "image/svg+xml");
  for (const size_t plot : {0u, 1u}) {
    const auto red = LineOf(svgs.at(plot), "red");
    ASSERT_GT(red.size(), 4u);
    const double bottom = red.back().second, level = red.front().second;
    const auto peak = std::min_element(red.begin(), red.end(), [](auto a, auto b) { return a.second < b.second; });
    const auto [zero, end] = ValueAxis(svgs.at(plot));
    EXPECT_NEAR((peak->first - zero) / (end - zero) * 255, plot == 0 ? 31.5 : 223.5, 0.1);
    EXPECT_NEAR((bottom - peak->second) / (bottom - level), std::sqrt(1.5), 0.01);
    EXPECT_EQ(LineOf(svgs.at(plot), "green").front().second, LineOf(svgs.at(plot), "blue").front().second);
  }
}

// Of green only the even values hold pixels, and none from 102 to 198: there, and only there, the line falls to the
// axis.
TEST_F(Report, PassesOverTheCombOnly) {
  ReportPage page = Page("Page 1");
  for (size_t i = 0; i < 256; ++i) page.histogramAfter[1][i] = i % 2 == 0 && (i <= 100 || i >= 200) ? 100 : 0;
  const std::string svg = Embedded(MakeReport("scan.tif", {page}), "image/svg+xml").at(1);
  const auto green = LineOf(svg, "green");
  ASSERT_GT(green.size(), 4u);
  const double bottom = green.back().second;
  const auto [zero, end] = ValueAxis(svg);
  double from = 256, to = 0;
  for (const auto& [x, y] : green) {
    const double value = (x - zero) / (end - zero) * 255;
    if (y < bottom - 1 || value > 254) continue; // 255 is empty, with nothing behind it
    from = std::min(from, value);
    to = std::max(to, value);
  }
  EXPECT_NEAR(from, 100.5, 0.1);
  EXPECT_NEAR(to, 199.5, 0.1);
  const Strings bars = Between(Between(svg, "<title>gnuplot_plot_2</title>", "<title>").at(0), "points = '", "'");
  ASSERT_EQ(bars.size(), 256u);
  for (size_t i = 0; i < 256; ++i) {
    double top = 0; // of the corners the third
    ASSERT_EQ(std::sscanf(bars[i].c_str(), "%*f,%*f %*f,%*f %*f,%lf", &top), 1);
    EXPECT_EQ(top<bottom - 1, page.histogramAfter[1][i]> 0) << i;
  }
}

TEST_F(Report, SaysWhatRunsOffTheScale) {
  ReportPage page = Page("Page 1");
  page.histogramAfter[2].fill(10);
  page.histogramAfter[2][255] = 255 * 10; // half of all
  const Strings captions = Between(MakeReport("scan.tif", {page}), "<figcaption>", "</figcaption>");
  EXPECT_EQ(captions.at(2).find("Off the scale"), std::string::npos);
  EXPECT_NE(captions.at(3).find("Off the scale: blue at 255 with 50 %"), std::string::npos) << captions.at(3);
}

TEST_F(Report, DrawsOneLineForGray) {
  ReportPage page = Page("Page 1");
  SetGray(page);
  const Strings svgs = Embedded(MakeReport("scan.tif", {page}), "image/svg+xml");
  ASSERT_EQ(svgs.size(), 3u);
  for (const std::string& svg : svgs) {
    EXPECT_GE(LineOf(svg, "gray").size(), 2u);
    for (const char* channel : {"red", "green", "blue"}) EXPECT_EQ(svg.find(channel), std::string::npos) << channel;
  }
}

TEST_F(Report, FailsWithoutGnuplot) {
  setenv("PATH", "/nonexistent", 1);
  EXPECT_EQ(FailureOf(Page("Page 1")).find("gnuplot is not installed: "), 0u);
}

// It reads nothing: writing to it must not end the program either.
TEST_F(Report, FailsWhenGnuplotFails) {
  std::string folder = (std::filesystem::temp_directory_path() / "zep3_report_XXXXXX").string();
  ASSERT_NE(mkdtemp(folder.data()), nullptr);
  std::ofstream(folder + "/gnuplot") << "#!/bin/sh\necho '</svg>'\necho out of ink >&2\nexit 3\n";
  chmod((folder + "/gnuplot").c_str(), 0700);
  setenv("PATH", folder.c_str(), 1);
  EXPECT_EQ(FailureOf(Page("Page 1")), "gnuplot failed: out of ink\n");
  std::ofstream(folder + "/gnuplot") << "#!/bin/sh\nexit 0\n"; // says it is well, draws nothing
  EXPECT_EQ(FailureOf(Page("Page 1")).find("gnuplot failed: "), 0u);
  std::filesystem::remove_all(folder);
}

TEST_F(Report, FailsWhenAPictureCannotBeMade) {
  ReportPage page = Page("Page 1");
  page.after = Picture(70000, 1, 0); // more than JPEG can hold: 65535
  EXPECT_EQ(FailureOf(page).find("the report's pictures: "), 0u);
}

} // namespace
