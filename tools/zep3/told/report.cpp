// HTML with everything inside: plots by gnuplot, pictures by libvips, tables of numbers.
#include "told/report.h"

#include <glib.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <locale>
#include <memory>
#include <numeric>
#include <sstream>

#include "failure.h"
#include "page/record.h"
#include "told/html.h"
#include "told/report_style.h"

extern char** environ;

namespace {

using Shares = std::array<std::array<double, 256>, 3>; // percent of the pixels, by channel and file value
using Lines = std::vector<size_t>;                     // the channels that get a line of their own

// Whatever the user's locale: both gnuplot and the reader get a decimal point.
std::string Significant(double value, int digits = 4) {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  out.precision(digits);
  out << value;
  return out.str();
}

// ---- plots ----

// One of gnuplot's standard streams.
struct Stream {
  std::unique_ptr<FILE, decltype(&std::fclose)> file{::fdopen(::memfd_create("plot", MFD_CLOEXEC), "w+"), std::fclose};

  Stream() {
    if (!file) throw Failure(std::string("the report's plots need memory: ") + std::strerror(errno));
  }

  std::string Read() const {
    std::string text;
    std::array<char, 4096> buffer;
    std::rewind(file.get());
    while (const size_t n = std::fread(buffer.data(), 1, buffer.size(), file.get())) text.append(buffer.data(), n);
    return text;
  }
};

// Files in memory instead of pipes: neither side can wait for the other, and a gnuplot that ends early raises no
// SIGPIPE. Instead of files on a disk: gnuplot overlooks that one is full.
std::string Gnuplot(const std::string& commands) {
  const Stream in, out, errors;
  std::fwrite(commands.data(), 1, commands.size(), in.file.get());
  if (std::fflush(in.file.get()) != 0) throw Failure(std::string("the report's plots: ") + std::strerror(errno));
  std::rewind(in.file.get());
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, fileno(in.file.get()), 0);
  posix_spawn_file_actions_adddup2(&actions, fileno(out.file.get()), 1);
  posix_spawn_file_actions_adddup2(&actions, fileno(errors.file.get()), 2);
  std::array<char, 8> name{"gnuplot"};
  std::array<char, 19> defaults{"--default-settings"}; // not the user's own start-up file
  const std::array<char*, 3> arguments{name.data(), defaults.data(), nullptr};
  pid_t child = 0;
  const int error = posix_spawnp(&child, name.data(), &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error == ENOENT) throw Failure("gnuplot is not installed: it draws the plots of the report");
  if (error != 0) throw Failure(std::string("gnuplot cannot be started: ") + std::strerror(error));
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) throw Failure(std::string("gnuplot was lost: ") + std::strerror(errno));
  }
  const std::string svg = out.Read();
  if (status != 0 || svg.find("</svg>") == std::string::npos) {
    const std::string reason = errors.Read();
    throw Failure("gnuplot failed: " + (reason.empty() ? "its plot is cut short" : reason));
  }
  return svg;
}

// One line when all channels are equal: three would hide each other.
template <typename Values>
Lines LinesOf(const std::array<Values, 3>& values) {
  return values[0] == values[1] && values[1] == values[2] ? Lines{0} : Lines{0, 1, 2};
}

bool IsGray(const ReportPage& page) {
  return LinesOf(page.histogramBefore).size() + LinesOf(page.histogramAfter).size() + LinesOf(page.tables).size() == 3;
}

std::string Label(const Lines& lines, size_t line, bool gray) {
  return lines.size() == 3 ? kChannelNames[line] : gray ? "gray" : "red, green, blue alike";
}

// Told apart in gray print too: green is the lightest, blue the darkest. Line type 4 is the neutral one.
std::string LineType(const Lines& lines, size_t line) { return std::to_string(lines.size() == 3 ? line + 1 : 4); }

std::string PlotHead(int height) {
  return "set terminal svg size 520," + std::to_string(height) + R"( fixed font "sans-serif,14" background "#ffffff"
set encoding utf8
set border 3 lc "#5c5c5c"
set tics nomirror out scale 0.6 textcolor "#1d1d1d"
set grid lc "#e3e3e3" lw 1 dt 1
set key above horizontal samplen 2.5 width -1
set xtics (0, 64, 128, 192, 255)
set linetype 1 lc "#d0282e" dt 1
set linetype 2 lc "#3aa655" dt "--"
set linetype 3 lc "#1f3f9e" dt "."
set linetype 4 lc "#333333" dt 1
)";
}

// A data block: the file value, then red, green and blue.
template <typename Values>
std::string Data(const std::string& name, const Values& valueOf, const std::string& last = "") {
  std::string text = name + " << EOD\n";
  for (size_t i = 0; i < 256; ++i) {
    text += std::to_string(i);
    for (size_t c = 0; c < 3; ++c) text.append(" ").append(Significant(valueOf(c, i), 8));
    text += "\n";
  }
  return text + last + "EOD\n";
}

Shares SharesOf(const std::array<std::array<int64_t, 256>, 3>& histogram) {
  Shares shares{};
  for (size_t c = 0; c < 3; ++c) {
    const auto sum = static_cast<double>(std::accumulate(histogram[c].begin(), histogram[c].end(), int64_t{0}));
    for (size_t i = 0; sum > 0 && i < 256; ++i) shares[c][i] = 100 * static_cast<double>(histogram[c][i]) / sum;
  }
  return shares;
}

// Where the axis ends, percent; the same before and after. The root alone leaves the spike of a white border or a black
// frame too tall: at most two values of a channel run off, as the end is twice the share of the third.
double AxisEnd(const Shares& before, const Shares& after) {
  double highest = 0, third = 0;
  for (const Shares* shares : {&before, &after}) {
    for (std::array<double, 256> channel : *shares) {
      std::partial_sort(channel.begin(), channel.begin() + 3, channel.end(), std::greater<>());
      highest = std::max(highest, channel[0]);
      third = std::max(third, channel[2]);
    }
  }
  const double end = third > 0 ? std::min(highest, 2 * third) : highest;
  return end > 0 ? end : 1;
}

// Round shares, far enough apart for their text; the plot's unit is the root of the percentage.
std::string ShareTics(double end) {
  std::string tics = "set ytics (\"0\" 0";
  double last = 0;
  for (const double tic : {.001, .002, .005, .01, .02, .05, .1, .2, .5, 1., 2., 5., 10., 20., 50., 100.}) {
    if (tic > end || std::sqrt(tic) - last < 0.13 * std::sqrt(end)) continue;
    last = std::sqrt(tic);
    tics += ", \"" + Significant(tic) + " %%\" " + Significant(last, 8);
  }
  return tics + ")\n";
}

// A table that stretches leaves a comb of empty values, whose teeth would hide the other channels: the line passes over
// gaps of up to four values, the fill shows them.
Shares WithoutComb(Shares shares) {
  for (std::array<double, 256>& channel : shares) {
    size_t last = 256; // none yet
    for (size_t i = 0; i < 256; ++i) {
      if (channel[i] == 0) continue;
      if (last < i && i - last <= 5) std::fill(channel.begin() + last + 1, channel.begin() + i, channel[last]);
      last = i;
    }
  }
  return shares;
}

std::string HistogramPlot(const Shares& shares, double end, bool gray) {
  const Shares smooth = WithoutComb(shares);
  const std::string last = "256 0 0 0\n"; // a step reaches from half a value below to half above: the last needs an end
  std::string commands = PlotHead(320);
  commands += Data(
      "$shares", [&](size_t c, size_t i) { return std::sqrt(shares[c][i]); }, last);
  commands += Data(
      "$lines", [&](size_t c, size_t i) { return std::sqrt(smooth[c][i]); }, last);
  commands += "set xrange [-2:258]\nset yrange [0:" + Significant(std::sqrt(end), 8) + "]\n" + ShareTics(end);
  commands += "set xlabel \"file value (0–255)\"\nset ylabel \"share of pixels (square-root scale)\"\n";
  commands += "set style fill transparent solid 0.15 noborder\nplot ";
  const Lines lines = LinesOf(shares);
  std::string outlines;
  for (const size_t line : lines) {
    const std::string source = " using ($1-0.5):" + std::to_string(line + 2), type = " lt " + LineType(lines, line);
    commands += "$shares" + source + " with fillsteps" + type + " notitle, ";
    outlines += (outlines.empty() ? "" : ", ") + ("$lines" + source) + " with steps" + type + " lw 1 dt 1 title \"" +
                Label(lines, line, gray) + "\"";
  }
  return Gnuplot(commands + outlines + "\n");
}

std::string CurvePlot(const ReportPage& page) {
  std::string commands = PlotHead(480) + Data("$curves", [&](size_t c, size_t i) { return page.tables[c][i]; });
  commands += "set xrange [0:255]\nset yrange [0:255]\nset size square\nset ytics (0, 64, 128, 192, 255)\n";
  commands += "set xlabel \"file value in (0–255)\"\nset ylabel \"file value out (0–255)\"\n";
  commands += "plot x with lines lc \"#a0a0a0\" lw 1 dt 1 notitle";
  const Lines lines = LinesOf(page.tables);
  for (const size_t line : lines) {
    commands += ", $curves using 1:" + std::to_string(line + 2) + " with lines lt " + LineType(lines, line) +
                " lw 2 title \"" + Label(lines, line, IsGray(page)) + "\"";
  }
  return Gnuplot(commands + "\n");
}

// ---- the page ----

// An image of its own, as the ids inside gnuplot's SVG are the same in every plot.
std::string PlotFigure(const std::string& svg, int height, const std::string& alt, const std::string& caption) {
  return "<figure class=\"plot\">\n<img width=\"520\" height=\"" + std::to_string(height) + "\" alt=\"" + Escape(alt) +
         "\" src=\"data:image/svg+xml;base64," + Base64(svg.data(), svg.size()) + "\">\n<figcaption>" + caption +
         "</figcaption>\n</figure>\n";
}

std::string CutPicture(const ReportPage& page) {
  if (!page.cut) return "";
  return "<div class=\"cut\">\n" +
         PictureFigure(Bare(*page.cut), page.title + " as it is cut out", "<strong>Result, cut out</strong>") +
         "</div>\n";
}

std::string PaperPicture(const ReportPage& page) {
  if (!page.paper) return "";
  return "<h3>Paper</h3>\n<div class=\"cut\">\n" +
         PictureFigure(Bare(*page.paper), page.title + ": its paper as it was found",
                       "The paper as it was found, by which the page was evened; pictures and boxes are kept") +
         "</div>\n";
}

std::string Pictures(const ReportPage& page) {
  const vips::VImage before = Bare(page.before), after = Bare(page.after);
  return "<div class=\"pair pictures\" style=\"--width: " + std::to_string(before.width()) +
         "; --height: " + std::to_string(before.height()) + "; --split: 50%\">\n" +
         PictureFigure(
             before, page.title + " before the correction",
             "<strong>Before" + (page.framed.empty() ? "" : "; the line: " + Escape(page.framed)) + "</strong>") +
         PictureFigure(after, page.title + " after the correction", "<strong>After</strong>") + "</div>\n";
}

// The numbers that the cut axis does not show.
std::string OffScale(const Shares& shares, double end, bool gray) {
  const Lines lines = LinesOf(shares);
  std::string text;
  for (const size_t line : lines) {
    for (size_t i = 0; i < 256; ++i) {
      if (shares[line][i] <= end) continue;
      text += (text.empty() ? " Off the scale: " : "; ") + Label(lines, line, gray) + " at " + std::to_string(i) +
              " with " + Significant(shares[line][i], 3) + " %";
    }
  }
  return text;
}

std::string Histograms(const ReportPage& page) {
  const Shares before = SharesOf(page.histogramBefore), after = SharesOf(page.histogramAfter);
  const double end = AxisEnd(before, after);
  const auto figure = [&](const Shares& shares, const std::string& when) {
    return PlotFigure(HistogramPlot(shares, end, IsGray(page)), 320,
                      "Histogram, " + when + ": share of pixels per file value, square-root scale",
                      "<strong>" + when + "</strong>" + OffScale(shares, end, IsGray(page)));
  };
  return "<h3>Histograms</h3>\n<div class=\"pair\">\n" + figure(before, "Before") + figure(after, "After") +
         "</div>\n<p class=\"explained\">Share of each channel's pixels. The line passes over gaps of up to four "
         "values, "
         "the fill shows them.</p>\n";
}

std::string Numbers(const ReportPage& page) {
  std::string html = "<div>\n<h3>Numbers</h3>\n<table>\n<tbody>\n";
  for (const auto& [name, value] : page.numbers) {
    html += "<tr><th scope=\"row\">" + Escape(name) + "</th><td>" + Escape(value) + "</td></tr>\n";
  }
  return html + "</tbody>\n</table>\n</div>\n";
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
  if (why.evidences.empty()) return html;
  html += "<table class=\"evidences\">\n<thead>\n<tr>";
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

std::string Section(const ReportPage& page, size_t number) {
  const std::string id = "page-" + std::to_string(number);
  return "<section id=\"" + id + "\" aria-labelledby=\"" + id + "-title\">\n<h2 id=\"" + id + "-title\">" +
         Escape(page.title) + "</h2>\n" + Pictures(page) + CutPicture(page) + Why(page) + PaperPicture(page) +
         Histograms(page) + "<div class=\"pair\">\n<div>\n<h3>Correction curves</h3>\n" +
         PlotFigure(CurvePlot(page), 480, "Correction curves: file value out over file value in",
                    "The gray diagonal leaves a value as it is.") +
         "</div>\n" + Numbers(page) + "</div>\n</section>\n";
}

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

std::string Contents(const std::vector<ReportPage>& pages) {
  if (pages.size() < 2) return "";
  std::string html = "<nav aria-label=\"Pages\">\n<ul>\n";
  for (size_t i = 0; i < pages.size(); ++i) {
    html += "<li><a href=\"#page-" + std::to_string(i + 1) + "\">" + Escape(pages[i].title) + "</a></li>\n";
  }
  return html + "</ul>\n</nav>\n";
}

} // namespace

std::string MakeReport(const std::string& scanName, const std::vector<ReportPage>& pages) try {
  const std::string name = Escape(scanName);
  std::string html = std::string(kHead) + "<title>" + name + " – correction report</title>\n" + std::string(kStyle) +
                     "</head>\n<body>\n<header>\n<h1>" + name + "</h1>\n" + Verdicts(pages) + "<p>Correction report, " +
                     std::to_string(pages.size()) + (pages.size() == 1 ? " page" : " pages") + "</p>\n" +
                     Contents(pages) + "</header>\n<main>\n";
  for (size_t i = 0; i < pages.size(); ++i) html += Section(pages[i], i + 1);
  return html + "</main>\n" + std::string(kScript) + "</body>\n</html>\n";
} catch (const vips::VError& error) {
  throw Failure(std::string("the report's pictures: ") + error.what());
}
