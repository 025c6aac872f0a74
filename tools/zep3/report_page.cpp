#include "report_page.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "encoding.h"
#include "evidence.h"
#include "finish.h"
#include "kinds.h"
#include "tables.h"

namespace {

std::string Decimal(double value, int places) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", places, value);
  return text;
}

// What the report's numbers are called and look like.
std::vector<std::pair<std::string, std::string>> Numbers(const CorrectedPage& page) {
  const Correction& correction = page.correction;
  const ZEP3_PARA& para = correction.record.para;
  const auto tenth = [](int64_t tenths) { return Decimal(static_cast<double>(tenths) / 10, 1); };
  const auto all = [&](auto value) {
    std::string text;
    for (const ZEP3_POINTS& points : para.ic.ch) text += (text.empty() ? "" : " / ") + value(points);
    return text;
  };
  const auto level = [](int64_t level16) { return Decimal(static_cast<double>(level16) / 257, 1); };
  const Kind* kind = FindKind(para.wDocType, para.wSubMode);
  std::vector<std::pair<std::string, std::string>> numbers = {
      {"Kind of original", kind == nullptr ? "" : std::string(kind->name)},
      {"Size", std::to_string(correction.prescan.scanWidth) + " x " + std::to_string(correction.prescan.scanHeight) +
                   ", " + std::to_string(page.bits) + " bits"},
      {"Gamma of the scan", tenth(correction.encoding.input) + " (" + correction.encoding.source + ")"},
      {"Gamma of the result", tenth(para.lScreenGamma)},
      {"Highlight in (R / G / B)", all([&](const ZEP3_POINTS& points) { return level(points.lHlIn); })},
      {"Highlight out", all([&](const ZEP3_POINTS& points) { return level(points.lHlOut); })},
      {"Shadow in", all([&](const ZEP3_POINTS& points) { return level(points.lSdIn); })},
      {"Shadow out", all([&](const ZEP3_POINTS& points) { return level(points.lSdOut); })},
      {"Gamma", all([](const ZEP3_POINTS& points) { return Decimal(static_cast<double>(points.lGamma) / 100, 2); })},
      {"Saturation", std::to_string(para.lSaturation) + " (chroma x " + Decimal(page.chroma, 2) + ")"},
      {"Level, backlight", std::to_string(para.lCorrectLevel) + ", " + std::to_string(para.lAgainstLight)},
      {"Brightness, contrast", std::to_string(para.ic.lBrightness) + ", " + std::to_string(para.ic.lContrast)},
      {"Colour balance (R / G / B)", std::to_string(para.ic.lColorBalanceR) + " / " +
                                         std::to_string(para.ic.lColorBalanceG) + " / " +
                                         std::to_string(para.ic.lColorBalanceB)},
  };
  return numbers;
}

ReportWhy WhyOf(const Finding& finding) {
  ReportWhy why;
  why.verdict = Verdict(finding) + ".";
  why.verdict[0] = g_ascii_toupper(why.verdict[0]);
  for (const Reason& reason : ReasonsOf(finding)) why.reasons.emplace_back(reason.sentence);
  for (const Evidence& evidence : EvidencesOf(finding)) {
    why.evidences.push_back({std::string(evidence.label), ValueText(evidence, finding), std::string(evidence.unit),
                             std::string(evidence.reading)});
  }
  return why;
}

// The longer side of the report's pictures.
constexpr double kReportSide = 800;

std::array<std::array<int64_t, 256>, 3> Histograms(const vips::VImage& image) {
  std::array<std::array<int64_t, 256>, 3> histograms = {};
  const vips::VImage counts = image.hist_find().cast(VIPS_FORMAT_UINT);
  size_t size = 0;
  auto* values = static_cast<uint32_t*>(counts.write_to_memory(&size));
  for (int level = 0; level < counts.width(); level++) {
    for (int c = 0; c < 3; c++) {
      const int band = std::min(c, counts.bands() - 1);
      histograms[static_cast<size_t>(c)][static_cast<size_t>(level)] = values[level * counts.bands() + band];
    }
  }
  g_free(values);
  return histograms;
}

} // namespace

ReportPage ToReport(const CorrectedPage& corrected, const SmallScan& small, size_t count) {
  const vips::VImage after =
      FitProfile(ApplyCorrection(small.image, corrected.correction, corrected.chroma), corrected.correction.encoding);
  const auto bytes = [](const vips::VImage& image) {
    return image.format() == VIPS_FORMAT_USHORT ? (image * (1 / 257.0) + 0.5).cast(VIPS_FORMAT_UCHAR) : image;
  };
  const auto picture = [&](const vips::VImage& image) {
    const double scale = kReportSide / std::max(image.width(), image.height());
    const auto space = image.bands() >= 3 ? VIPS_INTERPRETATION_sRGB : VIPS_INTERPRETATION_B_W;
    const vips::VImage shown = bytes(image).copy(vips::VImage::option()->set("interpretation", space));
    return (scale < 1 ? shown.resize(scale) : shown).copy_memory();
  };
  ReportPage page;
  if (count > 1) page.title = "Page " + std::to_string(corrected.page + 1);
  page.before = picture(small.image);
  page.after = picture(after);
  page.histogramBefore = Histograms(bytes(small.image));
  page.histogramAfter = Histograms(bytes(after));
  const Tables tables = MakeTables(corrected.correction, 256);
  for (size_t c = 0; c < 3; c++) {
    const size_t channel = small.image.bands() == 1 ? 1 : c; // see ApplyCorrection
    std::transform(tables[channel].begin(), tables[channel].end(), page.tables[c].begin(), ToByte);
  }
  page.numbers = Numbers(corrected);
  const Correction& correction = corrected.correction;
  if (correction.finding) page.why = WhyOf(*correction.finding);
  return page;
}
