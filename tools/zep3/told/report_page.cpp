// The numbers' names, the pictures' sizes and the histograms.
#include "told/report_page.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "page/encoding.h"
#include "page/finish.h"
#include "page/tables.h"
#include "told/evidence.h"
#include "told/html.h"

namespace {

// Names and texts of the report's numbers.
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
  const std::string frame = PlaceOf(page);
  std::vector<std::pair<std::string, std::string>> numbers = {
      {"Kind of original", KindName(correction.record)},
      {"Size", std::to_string(correction.prescan.scanWidth) + " x " + std::to_string(correction.prescan.scanHeight) +
                   ", " + std::to_string(page.bits) + " bits"},
      {"Picture", frame.empty() ? "fills the scan, or was not found" : frame},
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

std::string Sentence(std::string text) {
  if (text.empty()) return text;
  text[0] = g_ascii_toupper(text[0]);
  return text + ".";
}

ReportWhy WhyOf(const Finding& finding) {
  ReportWhy why;
  why.decision = Sentence(Decision(finding));
  for (const ZEP3_REASON* reason : ReasonsOf(finding)) why.reasons.emplace_back(reason->pSentence);
  for (const Evidence& evidence : EvidencesOf(finding)) {
    const ZEP3_EVIDENCE_ITEM& item = *evidence.item;
    why.evidences.push_back({item.pLabel, ValueText(evidence), item.pUnit, item.pText});
  }
  return why;
}

// A white line between black ones, so that it is seen on everything.
vips::VImage WithFrame(const vips::VImage& picture, const Frame& frame, const Prescan& prescan) {
  const auto line = [](vips::VImage image, const Corners& corners) {
    const auto draw = [&](double level, int from, int to) {
      const std::vector<double> ink(static_cast<size_t>(image.bands()), level);
      for (size_t i = 0; i < corners.size(); i++) {
        const Corner &a = corners[i], &b = corners[(i + 1) % corners.size()];
        for (int shift = from; shift <= to; shift++) {
          const auto place = [&](double at) { return static_cast<int>(std::lround(at)) + shift; };
          image.draw_line(ink, place(a.x), place(a.y), place(b.x), place(b.y));
        }
      }
    };
    draw(0, -2, 2);
    draw(255, -1, 1);
  };
  const double across = picture.width() / static_cast<double>(prescan.scanWidth);
  const double down = picture.height() / static_cast<double>(prescan.scanHeight);
  const auto scaled = [&](Corners corners) {
    for (Corner& corner : corners) corner = {corner.x * across, corner.y * down};
    return corners;
  };
  const vips::VImage drawn = picture.copy_memory(); // drawn on in place
  if (frame.paper) line(drawn, scaled(*frame.paper));
  line(drawn, scaled(frame.corners));
  return drawn;
}

// The result's part of the pre-scan.
vips::VImage CutOfSmall(const vips::VImage& small, const Cut& cut, const Prescan& prescan) {
  const auto same = [](const vips::VImage& image) { return image; };
  const double across = small.width() / static_cast<double>(prescan.scanWidth);
  return CutOut(small, cut.Scaled(across, small.height() / static_cast<double>(prescan.scanHeight)), same, same);
}

// The scan with its paper drawn over it: what blank paper has at each place. What is kept stays as it is.
vips::VImage WithPaper(const vips::VImage& small, const PaperSurface& paper) {
  const ZEP3_SURFACE& figures = paper.figures;
  const auto bands = static_cast<size_t>(small.bands());
  const vips::VImage drawn = small.copy_memory(); // drawn on in place
  for (size_t i = 0; i < paper.cells.size(); i++) {
    const ZEP3_CELL& cell = paper.cells[i];
    if (figures.lFound == ZEP3_SURFACE_PAPER && (cell.lLies & ZEP3_CELL_STROKES) == 0) continue;
    std::vector<double> ink(bands);
    for (size_t c = 0; c < bands; c++)
      ink[c] = std::min(255 / static_cast<double>(cell.fGain[bands == 1 ? 1 : c]), 255.0);
    const auto column = static_cast<int64_t>(i) % figures.lColumns, row = static_cast<int64_t>(i) / figures.lColumns;
    const auto side = static_cast<int>(figures.lSide);
    drawn.draw_rect(ink, static_cast<int>(figures.lLeft) + side * static_cast<int>(column),
                    static_cast<int>(figures.lTop) + side * static_cast<int>(row), side, side,
                    vips::VImage::option()->set("fill", true));
  }
  return drawn;
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

vips::VImage FinishedSmall(const CorrectedPage& corrected, const SmallScan& small) {
  const double ratio = 1 / static_cast<double>(small.shrink);
  return FitProfile(ApplyCorrection(small.image, corrected, {ratio, ratio}), corrected.correction.encoding,
                    corrected.gray && small.image.bands() == 3);
}

vips::VImage ResultSmall(const CorrectedPage& corrected, const SmallScan& small) {
  const vips::VImage whole = FinishedSmall(corrected, small);
  return corrected.cut ? CutOfSmall(whole, *corrected.cut, corrected.correction.prescan) : whole;
}

ReportPage ToReport(const CorrectedPage& corrected, const SmallScan& small, size_t count) {
  const vips::VImage after = FinishedSmall(corrected, small);
  const auto picture = [](const vips::VImage& image) { return ShownPicture(image, kReportSide); };
  ReportPage page;
  page.title = count > 1 ? "Page " + std::to_string(corrected.page + 1) : "Picture";
  const Correction& correction = corrected.correction;
  page.verdict = Sentence(VerdictText(correction));
  page.good = correction.verdict <= ZEP3_VERDICT_GOOD;
  page.before = picture(small.image);
  if (correction.frame) {
    page.before = WithFrame(page.before, *correction.frame, correction.prescan);
    page.framed = correction.frame->given ? "the analysis area" : "the picture that was found";
  }
  page.after = picture(after);
  if (corrected.cut) page.cut = picture(CutOfSmall(after, *corrected.cut, correction.prescan));
  if (correction.paper) {
    const double ratio = 1 / static_cast<double>(small.shrink);
    page.paper = picture(WithPaper(InBytes(small.image),
                                   correction.paper->Scaled(small.image.width(), small.image.height(), ratio, ratio)));
  }
  page.histogramBefore = Histograms(InBytes(small.image));
  page.histogramAfter = Histograms(InBytes(after));
  const Tables tables = MakeTables(corrected.correction, 256);
  for (size_t c = 0; c < 3; c++) {
    const size_t channel = small.image.bands() == 1 ? 1 : c; // see ApplyCorrection
    std::transform(tables[channel].begin(), tables[channel].end(), page.tables[c].begin(), ToByte);
  }
  page.numbers = Numbers(corrected);
  if (correction.finding) page.why = WhyOf(*correction.finding);
  return page;
}
