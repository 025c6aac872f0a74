// HTML with everything inside: what matters first, numbers folded away.
#include "told/report.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "failure.h"
#include "told/html.h"
#include "told/report_style.h"

namespace {

// ---- pictures ----

// Large ones, so that they need less of it than those of other pages.
std::string ReportFigure(const vips::VImage& bare, const std::string& alt, const std::string& caption,
                         const std::string& over = "") {
  constexpr int kQuality = 80; // JPEG's
  return PictureFigure(bare, alt, caption, over, kQuality);
}

// How a picture is turned upright, by its EXIF orientation 1..8: places are shares of width and height.
class Turn {
 public:
  explicit Turn(const vips::VImage& picture) {
    constexpr std::array<std::array<bool, 3>, 8> kTurns = {{{false, false, false},
                                                            {false, true, false},
                                                            {false, true, true},
                                                            {false, false, true},
                                                            {true, false, false},
                                                            {true, false, true},
                                                            {true, true, true},
                                                            {true, true, false}}};
    const bool told = picture.get_typeof(VIPS_META_ORIENTATION) != 0;
    const int orientation = told ? picture.get_int(VIPS_META_ORIENTATION) : 1;
    m_turn = kTurns[orientation >= 1 && orientation <= 8 ? static_cast<size_t>(orientation - 1) : 0];
  }

  // For the script: whether what goes right on the upright picture goes down on the stored one; whether the stored
  // picture's left is then on the other side; whether its top is.
  std::string Words() const {
    const auto digit = [](bool set) { return set ? "1" : "0"; };
    return std::string(digit(m_turn[0])) + " " + digit(m_turn[1]) + " " + digit(m_turn[2]);
  }

  // From the stored picture to the upright one.
  Corner Upright(const Corner& stored) const {
    const Corner turned = {m_turn[1] ? 1 - stored.x : stored.x, m_turn[2] ? 1 - stored.y : stored.y};
    return m_turn[0] ? Corner{turned.y, turned.x} : turned;
  }

 private:
  std::array<bool, 3> m_turn; // swapped, left, top
};

// The lines around the picture that was found: black, with white on it, so that they are seen on everything.
std::string FramesSvg(const ReportPage& page, int width, int height) {
  if (page.frames.empty()) return "";
  const Turn turn(page.before);
  std::string lines;
  for (const Corners& corners : page.frames) {
    std::string points;
    for (const Corner& corner : corners) {
      const Corner at = turn.Upright(
          {corner.x / static_cast<double>(page.scanWidth), corner.y / static_cast<double>(page.scanHeight)});
      points += std::to_string(std::lround(at.x * width)) + "," + std::to_string(std::lround(at.y * height)) + " ";
    }
    for (const char* shade : {"dark", "light"})
      lines += std::string("<polygon class=\"") + shade + "\" points=\"" + points + "\"/>";
  }
  return "<svg class=\"frame\" viewBox=\"0 0 " + std::to_string(width) + " " + std::to_string(height) +
         "\" aria-hidden=\"true\">" + lines + "</svg>";
}

// A picture before and after, which the script lays over each other, and of which it reads colours. `place`: of the
// picture on the scan, left, top, width and height.
std::string Pair(const ReportPage& page, const vips::VImage& first, const vips::VImage& second,
                 const std::array<int64_t, 4>& place, const std::string& what, bool full) {
  const vips::VImage before = Bare(first), after = Bare(second);
  std::string scan;
  for (const int64_t number : place) scan.append(scan.empty() ? "" : " ").append(std::to_string(number));
  const std::string lines = full || page.framed.empty() ? "" : "; the line: " + Escape(page.framed);
  return std::string("<div class=\"pair pictures") + (full ? " full" : "") +
         "\" style=\"--width: " + std::to_string(before.width()) + "; --height: " + std::to_string(before.height()) +
         "; --split: 50%\" data-scan=\"" + scan + "\" data-turn=\"" + Turn(first).Words() + "\">\n" +
         ReportFigure(before, page.title + what + " before the correction", "<strong>Before" + lines + "</strong>",
                      full ? "" : FramesSvg(page, before.width(), before.height())) +
         ReportFigure(after, page.title + what + " after the correction", "<strong>After</strong>") + "</div>\n";
}

std::string Pictures(const ReportPage& page) {
  std::string html = Pair(page, page.before, page.after, {0, 0, page.scanWidth, page.scanHeight}, "", false);
  if (!page.full) return html;
  const ReportDetail& full = *page.full;
  html += "<h3>At 100 %</h3>\n<p class=\"explained\">A pixel of the page is a pixel of the scan, from " +
          std::to_string(full.left) + "," + std::to_string(full.top) + " on.</p>\n<div class=\"wide\">\n";
  return html +
         Pair(page, full.before, full.after, {full.left, full.top, full.before.width(), full.before.height()},
              " in part,", true) +
         "</div>\n";
}

std::string CutPicture(const ReportPage& page) {
  if (!page.cut) return "";
  return "<div class=\"cut\">\n" +
         ReportFigure(Bare(*page.cut), page.title + " as it is cut out", "<strong>Result, cut out</strong>") +
         "</div>\n";
}

std::string PaperPicture(const ReportPage& page) {
  if (!page.paper) return "";
  return "<h3>Paper</h3>\n<div class=\"cut\">\n" +
         ReportFigure(Bare(*page.paper), page.title + ": its paper as it was found",
                      "The paper as it was found, by which the page was evened; pictures and boxes are kept") +
         "</div>\n";
}

// ---- numbers ----

std::string Folded(const std::string& summary, const std::string& html) {
  return "<details>\n<summary>" + summary + "</summary>\n" + html + "</details>\n";
}

std::string TwoColumns(const std::vector<std::pair<std::string, std::string>>& rows) {
  std::string html = "<table>\n<tbody>\n";
  for (const auto& [name, value] : rows) {
    html += "<tr><th scope=\"row\">" + Escape(name) + "</th><td>" + Escape(value) + "</td></tr>\n";
  }
  return html + "</tbody>\n</table>\n";
}

std::string Evidences(const ReportWhy& why) {
  std::string html = "<table class=\"evidences\">\n<thead>\n<tr>";
  for (const char* head : {"What was seen", "Value", "Unit", "How to read it"}) {
    html += std::string("<th scope=\"col\">") + head + "</th>";
  }
  html += "</tr>\n</thead>\n<tbody>\n";
  for (const ReportWhy::Row& row : why.evidences) {
    html += "<tr><th scope=\"row\">" + Escape(row.what) + "</th>";
    for (const std::string& text : {row.value, row.unit, row.reading}) html += "<td>" + Escape(text) + "</td>";
    html += "</tr>\n";
  }
  return html + "</tbody>\n</table>\n";
}

std::string Why(const ReportPage& page) {
  if (!page.why) return "";
  const ReportWhy& why = *page.why;
  std::string html = "<h3>Why</h3>\n<p>" + Escape(why.decision) + "</p>\n";
  if (!why.reasons.empty()) {
    html += "<ul class=\"reasons\">\n";
    for (const std::string& reason : why.reasons) html += "<li>" + Escape(reason) + "</li>\n";
    html += "</ul>\n";
  }
  return why.evidences.empty() ? html : html + Folded("What was measured", Evidences(why));
}

bool IsGray(const ReportPage& page) {
  const auto alike = [](const auto& channels) { return channels[0] == channels[1] && channels[1] == channels[2]; };
  return alike(page.histogramBefore) && alike(page.histogramAfter) && alike(page.tables);
}

std::string Section(const ReportPage& page, size_t number) {
  const std::string id = "page-" + std::to_string(number);
  const bool gray = IsGray(page);
  return "<section id=\"" + id + "\" aria-labelledby=\"" + id + "-title\">\n<h2 id=\"" + id + "-title\">" +
         Escape(page.title) + "</h2>\n" + Pictures(page) + CutPicture(page) + Why(page) + PaperPicture(page) +
         "<h3>Clipping</h3>\n<p class=\"explained\">Shares of pixels at the ends of the scale, where nothing can be "
         "told "
         "apart any more.</p>\n" +
         ClippingTable(page.histogramBefore, page.histogramAfter, gray) +
         Folded("Histograms and curves",
                HistogramFigures(page.histogramBefore, page.histogramAfter, gray) +
                    "<p class=\"explained\">Share of each channel's pixels. The line passes over gaps of up to four "
                    "values, the fill shows them.</p>\n<div class=\"pair\">\n" +
                    CurveFigure(page.tables, gray) + "</div>\n") +
         Folded("Numbers", TwoColumns(page.numbers)) + "</section>\n";
}

// ---- the page ----

// Of a single page, or of those of several that somebody should look at.
std::string Verdicts(const std::vector<ReportPage>& pages) {
  std::string html;
  for (size_t i = 0; i < pages.size(); i++) {
    const ReportPage& page = pages[i];
    if (page.verdict.empty() || (page.good && pages.size() > 1)) continue;
    html += std::string("<p class=\"") + (page.good ? "verdict" : "verdict against") + "\">" +
            (pages.size() > 1 ? Escape(page.title) + ": " : "") + Escape(page.verdict) + "</p>\n";
  }
  const bool checked = std::all_of(pages.begin(), pages.end(), [](const auto& page) { return !page.verdict.empty(); });
  if (html.empty() && checked && !pages.empty()) html = "<p class=\"verdict\">" + Escape(pages[0].verdict) + "</p>\n";
  return html;
}

std::string Next(const ReportHead& head) {
  std::string html = head.next.empty() ? "" : "<p class=\"next\">" + Escape(head.next) + "</p>\n";
  if (head.commands.empty()) return html;
  std::string list = "<dl class=\"commands\">\n";
  for (const auto& [what, command] : head.commands)
    list += "<dt>" + Escape(what) + "</dt><dd><code class=\"command\">" + Escape(command) + "</code></dd>\n";
  return html + Folded("Lighter, darker, warmer, cooler, another analysis, other scans", list + "</dl>\n");
}

std::string Contents(const std::vector<ReportPage>& pages) {
  if (pages.size() < 2) return "";
  std::string html = "<nav aria-label=\"Pages\">\n<ul>\n";
  for (size_t i = 0; i < pages.size(); ++i) {
    html += "<li><a href=\"#page-" + std::to_string(i + 1) + "\">" + Escape(pages[i].title) + "</a></li>\n";
  }
  return html + "</ul>\n</nav>\n";
}

} // namespace

std::string MakeReport(const ReportHead& head, const std::vector<ReportPage>& pages) try {
  const std::string name = Escape(head.name);
  std::string html = PageHead(kSelfContained) + "<title>" + name + " – correction report</title>\n" +
                     std::string(kStyle) + std::string(kReportStyle) + "</head>\n<body>\n<header>\n<h1>" + name +
                     "</h1>\n" + Verdicts(pages) + Next(head) +
                     (head.overview.empty() ? "" : "<p><a href=\"" + Escape(head.overview) + "\">All scans</a></p>\n") +
                     Contents(pages) + "</header>\n<main>\n";
  for (size_t i = 0; i < pages.size(); ++i) html += Section(pages[i], i + 1);
  html += "<section>\n" + Folded("How this was made", TwoColumns(head.made)) + "</section>\n";
  return html + "</main>\n" + std::string(kReportScript) + "</body>\n</html>\n";
} catch (const vips::VError& error) {
  throw Failure(std::string("the report's pictures: ") + error.what());
}
