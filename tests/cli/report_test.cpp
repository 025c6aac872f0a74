// The report as a browser meets it: what is embedded is taken out again and compared with what went in.
#include "told/report.h"

#include <glib.h>

#include "failure.h"
#include "program.h"

namespace {

using Strings = std::vector<std::string>;

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

std::string ProfileOf(const VImage& image) {
  size_t size = 0;
  const void* const profile = image.get_blob(VIPS_META_ICC_NAME, &size);
  return {static_cast<const char*>(profile), size};
}

class Report : public Program {
 protected:
  // With a profile, a name and lying on its side.
  VImage Turned(int width, int height, int value) const {
    Save(Picture(std::vector<uint8_t>(static_cast<size_t>(3 * width * height), static_cast<uint8_t>(value)), width,
                 height),
         "picture.tif[profile=srgb]");
    VImage picture = Load("picture.tif").copy();
    picture.set("exif-ifd0-Artist", "somebody");
    picture.set(VIPS_META_ORIENTATION, 6);
    return picture;
  }

  // Half of blue is 255 after the correction.
  ReportPage Page(const std::string& title, int width = 48, int height = 20) const {
    ReportPage page;
    page.title = title;
    page.scanWidth = 2 * width;
    page.scanHeight = 2 * height;
    page.before = Turned(width, height, 60);
    page.after = Turned(width, height, 180);
    for (size_t c = 0; c < 3; ++c) {
      for (size_t i = 0; i < 256; ++i) page.tables[c][i] = static_cast<uint8_t>(c == 1 ? 255 - i : i);
      page.histogramBefore[c].fill(100);
      page.histogramAfter[c].fill(100);
    }
    page.histogramAfter[2][255] = 255 * 100;
    page.numbers = {{"Zeta", "1"}, {"Alpha & Omega", "<2>"}, {"Mu", "3"}};
    return page;
  }
};

TEST_F(Report, EscapesWhatTheUserNamesAndFetchesNothing) {
  const std::string hostile = "<script>\"&'.tif";
  ReportPage page = Page(hostile);
  page.numbers.emplace_back(hostile, hostile);
  page.why = {hostile, {hostile}, {{hostile, hostile, hostile, hostile}}};
  const ReportHead head = {hostile + "\xff\x01", hostile, "", {{hostile, hostile}}, {{hostile, hostile}}};
  const std::string html = MakeReport(head, {page});
  EXPECT_TRUE(g_utf8_validate(html.data(), static_cast<gssize>(html.size()), nullptr));
  // The page's own script is the only one; control characters are as little allowed as references.
  EXPECT_EQ(Between(html, "<script", ">").size(), 1u);
  EXPECT_EQ(Between(html, "&lt;script&gt;&quot;&amp;", "tif").size(), 2u + 5 + 3 + 2 + 6); // head; page; row; why
  for (const char* absent : {"\x01", "&#x", "://", "url(", "@import", "<link", "src='", "href"}) {
    EXPECT_EQ(html.find(absent), std::string::npos) << absent;
  }
  EXPECT_EQ(Between(html, "src=", "data:").size(), Between(html, "src=\"data:", ",").size());
}

TEST_F(Report, HasASectionPerPage) {
  ReportPage second = Page("Page 2", 30, 50);
  second.why = {"Decided & sure.", {"Because <1>.", "Because 2."}, {{"Dye", "0.5 / –", "share", "more is better"}}};
  const std::vector<ReportPage> pages = {Page("Page 1"), second};
  const std::string html = MakeReport({"scan.tif", "", "", {}, {}}, pages);
  const Strings sections = Between(html, "<section id=", "</section>");
  ASSERT_EQ(sections.size(), 2u);
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_IN(">" + pages[i].title + "</h2>", sections[i]);
    EXPECT_EQ(Between(sections[i], "<figure", "</figure>").size(), 5u);
    const Strings plots = Between(sections[i], "<figure class=\"plot\">", "</figure>");
    ASSERT_EQ(plots.size(), 3u);
    EXPECT_EQ(plots[0].find("Off the scale"), std::string::npos);
    EXPECT_IN("Off the scale: blue at 255 with 50 %", plots[1]);
    // Alike channels have one line, others three. The curve of green falls from the top left corner of the plot.
    EXPECT_EQ(Between(plots[0], "\"outline ", "\"").size(), 1u);
    EXPECT_EQ(Between(plots[1], "\"outline ", "\""), (Strings{"red", "green", "blue"}));
    EXPECT_TRUE(Between(plots[2], "<polyline class=\"line green\" points=\"", "\"").at(0).starts_with("64,26 "));
    // Half of blue is white after the correction; before it every value has a 256th.
    EXPECT_IN("<th scope=\"row\">blue</th><td>0.39 %</td><td>0.2 %</td>", sections[i]);
    EXPECT_IN("<td>0.39 %</td><td>50 %</td></tr>", sections[i]);
    // The pictures upright, with nothing but their profile.
    const Strings jpegs = Embedded(sections[i], "image/jpeg");
    ASSERT_EQ(jpegs.size(), 2u);
    for (size_t when = 0; when < 2; ++when) {
      const VImage& picture = when == 0 ? pages[i].before : pages[i].after;
      const VImage shown = VImage::new_from_buffer(jpegs[when].data(), jpegs[when].size(), "");
      EXPECT_EQ(std::pair(shown.width(), shown.height()), std::pair(picture.height(), picture.width()));
      EXPECT_NEAR(shown.avg(), picture.avg(), 1);
      EXPECT_EQ(ProfileOf(shown), ProfileOf(picture));
      EXPECT_EQ(shown.get_typeof("exif-ifd0-Artist"), 0u);
    }
  }
  EXPECT_EQ(Between(sections[0], "<tr><th scope=\"row\">", "<").back(), "Mu");
  EXPECT_IN("<th scope=\"row\">Alpha &amp; Omega</th><td>&lt;2&gt;</td>", sections[0]);
  EXPECT_EQ(sections[0].find("Why"), std::string::npos);
  const std::string why = Between(sections[1], "<h3>Why</h3>\n<p>", "<h3>").at(0);
  EXPECT_TRUE(why.starts_with("Decided &amp; sure.</p>")) << why;
  EXPECT_EQ(Between(why, "<li>", "</li>"), (Strings{"Because &lt;1&gt;.", "Because 2."}));
  EXPECT_EQ(Between(why, "<td>", "</td>"), (Strings{"0.5 / –", "share", "more is better"}));
}

// In stops, also where the number that they change was given in steps, which exclude them: half a stop is 50 steps.
TEST_F(Report, CommandsRunAsTheyStand) {
  Save(Picture(std::vector<uint8_t>(3 * 64 * 48, 90), 64, 48), "scan.png");
  const struct {
    const char* given;
    Strings offered; // lighter, darker, warmer, cooler
  } cases[] = {{"", {"--exposure 0.5", "--exposure -0.5", "--warmth 0.4", "--warmth -0.4"}},
               {"--exposure 0.5 --warmth 0.25 --tint=-0.25",
                {"--exposure 1", "--exposure 0", "--warmth 0.65", "--warmth -0.15"}},
               {"--brightness 20 --balance 1,2,3",
                {"--exposure 0.7", "--exposure -0.3", "--balance 17,-1,-20", "--balance -15,5,26"}}};
  for (const auto& c : cases) {
    ExpectDone(std::string("scan.png -o out.png --report --level 5 --overwrite ") + c.given);
    Strings commands = Between(Read("out.png.zep3.html"), ">zep3 ", "<");
    ASSERT_GE(commands.size(), c.offered.size());
    commands.resize(c.offered.size());
    for (size_t i = 0; i < commands.size(); i++) {
      EXPECT_IN(c.offered[i] + " ", commands[i]);
      EXPECT_IN("--level 5", commands[i]);
      ExpectDone(commands[i]);
    }
  }
}

TEST_F(Report, CommandsRepeatWhatASidecarSettles) {
  Save(Sample(), "scan.png");
  ExpectDone("-k faded-print scan.png -o first.png --sidecar");
  fs::copy(m_folder / "first.png.zep3.json", m_folder / "scan.png.zep3.json");
  for (const char* given : {"--use-sidecar first.png.zep3.json", "--own-sidecars -k photo --level 5"}) {
    SCOPED_TRACE(given);
    ExpectDone(std::string(given) + " scan.png -o out.png --report --overwrite");
    const Strings commands = Between(Read("out.png.zep3.html"), ">zep3 ", "<");
    ASSERT_GE(commands.size(), 4u);
    for (size_t i = 0; i < 4; i++) { // lighter, darker, warmer, cooler
      EXPECT_IN("--use-sidecar ", commands[i]);
      ExpectDone(commands[i]);
      EXPECT_GT(Difference(Load("out.png"), Load("first.png")), 0) << commands[i];
    }
  }
}

TEST_F(Report, LiesOnTheScanAsItIsStored) {
  // 96 x 40 pixels lying on their side: the picture's top left corner, at 24,10, is at the top right of the page, for
  // what lies left on the scan lies on top of the page, and what lies below lies left.
  ReportPage page = Page("Picture");
  page.framed = "the picture";
  page.frames = {{{{24, 10}, {72, 10}, {72, 30}, {24, 30}}}};
  const std::string html = MakeReport({"scan.tif", "", "", {}, {}}, {page});
  EXPECT_IN("viewBox=\"0 0 20 48\"", html);
  EXPECT_IN("points=\"15,12 15,36 5,36 5,12 \"", html);
  EXPECT_IN("data-scan=\"0 0 96 40\" data-turn=\"1 0 1\"", html);
}

TEST_F(Report, FailsWithoutItsPictures) {
  try {
    MakeReport({"scan.tif", "", "", {}, {}}, {Page("Page 1", 70000, 1)}); // JPEG can hold 65535
    ADD_FAILURE() << "is made";
  } catch (const Failure& failure) {
    EXPECT_TRUE(std::string(failure.what()).starts_with("the report's pictures: ")) << failure.what();
  }
}

} // namespace
