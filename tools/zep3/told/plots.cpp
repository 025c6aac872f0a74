#include "told/plots.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <locale>
#include <numeric>
#include <sstream>
#include <utility>
#include <vector>

#include "page/record.h"
#include "told/html.h"

namespace {

using Shares = std::array<std::array<double, 256>, 3>; // percent of the pixels, by channel and file value
using Lines = std::vector<size_t>;                     // the channels that get a line of their own

// Whatever the user's locale, a decimal point.
std::string Significant(double value, int digits) {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  out.precision(digits);
  out << value;
  return out.str();
}

// One line when all channels are equal: three would hide each other.
template <typename Values>
Lines LinesOf(const std::array<Values, 3>& values) {
  return values[0] == values[1] && values[1] == values[2] ? Lines{0} : Lines{0, 1, 2};
}

std::string Label(const Lines& lines, size_t line, bool gray) {
  return lines.size() == 3 ? kChannelNames[line] : gray ? "gray" : "red, green, blue alike";
}

std::string ClassOf(const Lines& lines, size_t line) { return lines.size() == 3 ? kChannelNames[line] : "neutral"; }

// ---- drawing, in units of a CSS pixel at the plot's own size ----

// A tenth of a unit is as fine as is seen.
std::string Coordinate(double at) {
  const auto tenths = std::lround(10 * at);
  std::string text = std::to_string(tenths / 10);
  if (tenths % 10 != 0) text.append(".").append(std::to_string(tenths % 10));
  return text;
}

// The rectangle between the axes, and what its ends stand for.
struct Axes {
  double width, height; // of the whole plot
  double left, top, right, bottom;
  double xFrom, xTo, yTo; // y begins at 0

  std::string X(double x) const { return Coordinate(left + (right - left) * (x - xFrom) / (xTo - xFrom)); }
  std::string Y(double y) const { return Coordinate(bottom - (bottom - top) * std::clamp(y / yTo, 0.0, 1.0)); }
  std::string Point(double x, double y) const { return X(x) + ',' + Y(y); }
};

using Tics = std::vector<std::pair<double, std::string>>; // value and text

std::string AxesSvg(const Axes& axes, const Tics& yTics, const std::string& xLabel, const std::string& yLabel) {
  std::string grid, texts;
  for (const int x : {0, 64, 128, 192, 255}) {
    const std::string at = axes.X(x);
    grid.append("M").append(at).append(" ").append(Coordinate(axes.top)).append("V").append(Coordinate(axes.bottom));
    texts += "<text x=\"" + at + "\" y=\"" + Coordinate(axes.bottom + 18) + "\" text-anchor=\"middle\">" +
             std::to_string(x) + "</text>";
  }
  for (const auto& [y, text] : yTics) {
    const std::string at = axes.Y(y);
    grid.append("M").append(Coordinate(axes.left)).append(" ").append(at).append("H").append(Coordinate(axes.right));
    texts += "<text x=\"" + Coordinate(axes.left - 6) + "\" y=\"" + at + "\" dy=\".35em\" text-anchor=\"end\">" + text +
             "</text>";
  }
  const std::string middle = Coordinate((axes.top + axes.bottom) / 2);
  texts += "<text x=\"" + Coordinate((axes.left + axes.right) / 2) + "\" y=\"" + Coordinate(axes.height - 6) +
           "\" text-anchor=\"middle\">" + xLabel + "</text><text transform=\"translate(13," + middle +
           ") rotate(-90)\" text-anchor=\"middle\">" + yLabel + "</text>";
  return "<path class=\"grid\" d=\"" + grid + "\"/>\n<path class=\"axis\" d=\"M" + Coordinate(axes.left) + " " +
         Coordinate(axes.top) + "V" + Coordinate(axes.bottom) + "H" + Coordinate(axes.right) + "\"/>\n" + texts + "\n";
}

// Above the plot: a piece of each line, and its name.
std::string KeySvg(const Axes& axes, const Lines& lines, bool gray) {
  std::string svg;
  double x = axes.left;
  for (const size_t line : lines) {
    const std::string text = Label(lines, line, gray);
    svg += "<path class=\"line " + ClassOf(lines, line) + "\" d=\"M" + Coordinate(x) + " 12h26\"/><text x=\"" +
           Coordinate(x + 32) + "\" y=\"12\" dy=\".35em\">" + text + "</text>";
    x += 56 + 8 * static_cast<double>(text.size());
  }
  return svg + "\n";
}

std::string Figure(const Axes& axes, const std::string& inside, const std::string& alt, const std::string& caption) {
  return "<figure class=\"plot\">\n<svg viewBox=\"0 0 " + Coordinate(axes.width) + " " + Coordinate(axes.height) +
         "\" role=\"img\" aria-label=\"" + Escape(alt) + "\">\n" + inside + "</svg>\n<figcaption>" + caption +
         "</figcaption>\n</figure>\n";
}

// ---- histograms ----

Shares SharesOf(const Counts& histogram) {
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
Tics ShareTics(double end) {
  Tics tics = {{0, "0"}};
  for (const double tic : {.001, .002, .005, .01, .02, .05, .1, .2, .5, 1., 2., 5., 10., 20., 50., 100.}) {
    if (tic > end || std::sqrt(tic) - tics.back().first < 0.13 * std::sqrt(end)) continue;
    tics.emplace_back(std::sqrt(tic), Significant(tic, 4) + " %");
  }
  return tics;
}

// A table that stretches leaves a comb of empty values, whose teeth would hide the other channels: the line passes over
// gaps of up to four values, the fill shows them.
std::array<double, 256> WithoutComb(std::array<double, 256> channel) {
  size_t last = 256; // none yet
  for (size_t i = 0; i < 256; ++i) {
    if (channel[i] == 0) continue;
    if (last < i && i - last <= 5) std::fill(channel.begin() + last + 1, channel.begin() + i, channel[last]);
    last = i;
  }
  return channel;
}

// Steps from half a value below each value to half above.
std::string Steps(const Axes& axes, const std::array<double, 256>& channel) {
  std::string path = "M";
  path += axes.Point(-0.5, 0);
  for (size_t i = 0; i < 256; ++i) {
    if (i == 0 || channel[i] != channel[i - 1]) path.append("V").append(axes.Y(std::sqrt(channel[i])));
    if (i == 255 || channel[i] != channel[i + 1]) path.append("H").append(axes.X(static_cast<double>(i) + 0.5));
  }
  return path.append("V").append(axes.Y(0));
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

std::string HistogramFigure(const Shares& shares, double end, bool gray, const std::string& when) {
  const Axes axes = {520, 300, 64, 26, 508, 254, -2, 258, std::sqrt(end)};
  const Lines lines = LinesOf(shares);
  std::string fills, outlines;
  for (const size_t line : lines) {
    fills += "<path class=\"fill " + ClassOf(lines, line) + "\" d=\"" + Steps(axes, shares[line]) + "\"/>\n";
    outlines +=
        "<path class=\"outline " + ClassOf(lines, line) + "\" d=\"" + Steps(axes, WithoutComb(shares[line])) + "\"/>\n";
  }
  return Figure(axes,
                AxesSvg(axes, ShareTics(end), "file value (0–255)", "share of pixels (square-root scale)") + fills +
                    outlines + KeySvg(axes, lines, gray),
                "Histogram, " + when + ": share of pixels per file value, square-root scale",
                "<strong>" + when + "</strong>" + OffScale(shares, end, gray));
}

// Percent for people: small shares are told from none.
std::string ShareText(double percent) {
  return percent == 0 ? "0 %" : percent < 0.01 ? "below 0.01 %" : Significant(percent, percent < 1 ? 2 : 3) + " %";
}

} // namespace

std::string HistogramFigures(const Counts& before, const Counts& after, bool gray) {
  const Shares first = SharesOf(before), second = SharesOf(after);
  const double end = AxisEnd(first, second);
  return "<div class=\"pair\">\n" + HistogramFigure(first, end, gray, "Before") +
         HistogramFigure(second, end, gray, "After") + "</div>\n";
}

std::string CurveFigure(const Curves& curves, bool gray) {
  const Axes axes = {520, 500, 64, 26, 508, 458, 0, 255, 255};
  const Lines lines = LinesOf(curves);
  std::string svg = "<path class=\"grid\" d=\"M" + axes.Point(0, 0) + "L" + axes.Point(255, 255) + "\"/>\n";
  for (const size_t line : lines) {
    std::string points;
    for (size_t i = 0; i < 256; ++i)
      points.append(i == 0 ? "" : " ").append(axes.Point(static_cast<double>(i), curves[line][i]));
    svg += "<polyline class=\"line " + ClassOf(lines, line) + "\" points=\"" + points + "\"/>\n";
  }
  const Tics tics = {{0, "0"}, {64, "64"}, {128, "128"}, {192, "192"}, {255, "255"}};
  return Figure(
      axes, AxesSvg(axes, tics, "file value in (0–255)", "file value out (0–255)") + svg + KeySvg(axes, lines, gray),
      "Correction curves: file value out over file value in", "The diagonal leaves a value as it is.");
}

std::string ClippingTable(const Counts& before, const Counts& after, bool gray) {
  const Shares first = SharesOf(before), second = SharesOf(after);
  const Lines lines = std::max(LinesOf(first), LinesOf(second));
  std::string html = "<table class=\"clipping\">\n<thead>\n<tr>";
  for (const char* head : {"", "Black before", "Black after", "White before", "White after"})
    html += std::string("<th scope=\"col\">") + head + "</th>";
  html += "</tr>\n</thead>\n<tbody>\n";
  for (const size_t line : lines) {
    html += "<tr><th scope=\"row\">" + Label(lines, line, gray) + "</th>";
    for (const size_t value : {size_t{0}, size_t{255}}) {
      for (const Shares* shares : {&first, &second}) html += "<td>" + ShareText((*shares)[line][value]) + "</td>";
    }
    html += "</tr>\n";
  }
  return html + "</tbody>\n</table>\n";
}
