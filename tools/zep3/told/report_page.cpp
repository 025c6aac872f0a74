// The numbers' names, the pictures' sizes and the histograms.
#include "told/report_page.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "command/stops.h"
#include "page/encoding.h"
#include "page/finish.h"
#include "page/tables.h"
#include "told/command_words.h"
#include "told/evidence.h"
#include "told/html.h"
#include "version.h"

namespace {

// By Member.
constexpr const char* kMemberTexts[] = {"", "finished together with the others of its roll",
                                        "unlike the others of its roll, finished by itself",
                                        "nothing to decide from, printed as the others of its roll would be",
                                        "too few of its roll belong together, finished by itself"};

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
      {"Gamma of the scan", (correction.encoding.IsSrgb() ? std::string("sRGB") : tenth(correction.encoding.input)) +
                                " (" + correction.encoding.source + ")"},
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
  const Member member = correction.finding ? correction.finding->member : Member::kNone;
  if (member != Member::kNone) numbers.emplace_back("Roll", kMemberTexts[static_cast<size_t>(member)]);
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

// The result's part of the pre-scan.
vips::VImage CutOfSmall(const vips::VImage& small, const Cut& cut, const Prescan& prescan) {
  const auto same = [](const vips::VImage& image) { return image; };
  const double across = small.width() / static_cast<double>(prescan.scanWidth);
  return CutOut(small, cut.Scaled(across, small.height() / static_cast<double>(prescan.scanHeight)), same, same);
}

// The scan, of 8 bits, with its paper drawn over it: what blank paper has at each place. What is kept stays as it is.
vips::VImage WithPaper(const vips::VImage& small, const PaperSurface& paper) {
  const ZEP3_SURFACE& figures = paper.figures;
  const int bands = small.bands();
  const vips::VImage drawn = small.copy_memory();
  for (size_t i = 0; i < paper.cells.size(); i++) {
    const ZEP3_CELL& cell = paper.cells[i];
    if (figures.lFound == ZEP3_SURFACE_PAPER && (cell.lLies & ZEP3_CELL_STROKES) == 0) continue;
    std::array<VipsPel, 3> levels = {};
    for (size_t c = 0; c < 3; c++) {
      const double level = 255 / static_cast<double>(cell.fGain[bands == 1 ? 1 : c]);
      levels[c] = static_cast<VipsPel>(std::min(level, 255.0));
    }
    const auto at = static_cast<int64_t>(i);
    const int64_t left = figures.lLeft + figures.lSide * (at % figures.lColumns);
    const int64_t top = figures.lTop + figures.lSide * (at / figures.lColumns);
    const int64_t right = std::min<int64_t>(left + figures.lSide, drawn.width());
    const int64_t bottom = std::min<int64_t>(top + figures.lSide, drawn.height());
    for (int64_t y = std::max<int64_t>(top, 0); y < bottom; y++) {
      for (int64_t x = std::max<int64_t>(left, 0); x < right; x++) {
        VipsPel* pixel = VIPS_IMAGE_ADDR(drawn.get_image(), static_cast<int>(x), static_cast<int>(y));
        for (int c = 0; c < bands; c++) pixel[c] = levels[static_cast<size_t>(std::min(c, 2))];
      }
    }
  }
  return drawn;
}

// The longer side of the report's pictures: the pre-scan's, as making it smaller would cost more than all else.
constexpr double kReportSide = 1250;

// Of an image of 8 bits.
Counts Histograms(const vips::VImage& image) {
  Counts histograms = {};
  const vips::VImage held = image.copy_memory();
  const auto* values = static_cast<const uint8_t*>(held.data());
  const auto bands = static_cast<size_t>(held.bands());
  const size_t end = bands * static_cast<size_t>(held.width()) * static_cast<size_t>(held.height());
  for (size_t i = 0; i < end; i += bands) {
    for (size_t c = 0; c < 3; c++) histograms[c][values[i + std::min(c, bands - 1)]]++;
  }
  return histograms;
}

// An image of the page, through the correction. `scale`: by what the scan is larger.
vips::VImage Finished(const vips::VImage& image, const CorrectedPage& corrected, const Scale& scale) {
  return FitProfile(ApplyCorrection(image, corrected, scale), corrected.correction.encoding,
                    corrected.gray && image.bands() == 3);
}

// Two of them side by side fit on the page.
constexpr int kPartWidth = 540;
constexpr int kPartHeight = 405;

// Evening depends on the place: the part is corrected where it lies.
ReportDetail DetailOf(const ScanPart& part, const CorrectedPage& corrected) {
  const vips::VImage& image = part.image;
  const auto left = static_cast<int>(part.left), top = static_cast<int>(part.top);
  const Prescan& prescan = corrected.correction.prescan;
  const vips::VImage inPlace =
      image.embed(left, top, static_cast<int>(prescan.scanWidth), static_cast<int>(prescan.scanHeight));
  const auto shown = [](const vips::VImage& pixels) { return ShownPicture(pixels, kPartWidth); };
  const vips::VImage after = Finished(inPlace, corrected, {}).crop(left, top, image.width(), image.height());
  return {shown(image), shown(after), part.left, part.top};
}

// ---- what to do next ----

using Commands = std::vector<std::pair<std::string, std::string>>;

constexpr double kBrighter = 0.5; // stops
constexpr double kWarmer = 0.4;   // stops between red and blue

std::string BalanceText(const ZEP3_PARA& para, int64_t sign) {
  const int64_t now[] = {para.ic.lColorBalanceR, para.ic.lColorBalanceG, para.ic.lColorBalanceB};
  const std::array<int64_t, 3> warm = BalanceOfStops(kWarmer, 0);
  std::string text;
  for (size_t c = 0; c < 3; c++) text.append(c == 0 ? "" : ",").append(std::to_string(now[c] + sign * warm[c]));
  return text;
}

// In hundredths, without zeros at the end.
std::string StopsText(double stops) {
  const long hundredths = std::lround(100 * stops);
  std::string text = std::to_string(std::labs(hundredths) / 100);
  if (const long part = std::labs(hundredths) % 100; part != 0)
    text.append(part < 10 ? ".0" : ".").append(std::to_string(part % 10 == 0 ? part / 10 : part));
  return hundredths < 0 ? "-" + text : text;
}

// In stops, as photographers count, but where a balance was given or repeated that no warmth makes.
std::pair<const char*, std::string> Warmer(const ZEP3_PARA& para, const UserOptions& user, int64_t sign) {
  const bool balanced = para.ic.lColorBalanceR != 0 || para.ic.lColorBalanceG != 0 || para.ic.lColorBalanceB != 0;
  if (balanced && !user.warmth && !user.tint) return {"--balance", BalanceText(para, sign)};
  return {"--warmth", StopsText(user.warmth.value_or(0) + static_cast<double>(sign) * kWarmer)};
}

bool LooksOfAnotherKind(const std::vector<CorrectedPage>& pages) {
  constexpr int64_t kDenied = ZEP3_REASON_LOOKS_NEGATIVE | ZEP3_REASON_LOOKS_POSITIVE;
  return std::any_of(pages.begin(), pages.end(), [](const CorrectedPage& page) {
    const std::optional<Finding>& finding = page.correction.finding;
    return finding && (finding->evidence.lReasons & kDenied) != 0;
  });
}

std::string NextText(const std::vector<CorrectedPage>& pages, const std::string& compare) {
  const int64_t worst = WorstVerdict(pages);
  if (LooksOfAnotherKind(pages)) return "The scan may be of another kind. A page that shows it as each: " + compare;
  if (worst == ZEP3_VERDICT_FAILED) {
    return "Check that the scan shows something. If it does, name the part that counts (--area) or another kind: " +
           compare;
  }
  if (worst == ZEP3_VERDICT_LOOK)
    return "Compare before and after. If the result is right, nothing needs to be done; if not, take one of these:";
  return "Nothing needs to be done. If you want it otherwise, take one of these:";
}

Commands CommandsFor(const Job& job, const Options& options, const CorrectedPage& page) {
  const ZEP3_PARA& para = page.correction.record.para;
  const auto with = [&](const char* name, const std::string& value) {
    return AgainCommand(job, options, {{name, value}});
  };
  const double exposure = static_cast<double>(para.ic.lBrightness) / static_cast<double>(StepsOfStops(1));
  const auto [warmer, more] = Warmer(para, options.user, 1);
  const auto [cooler, less] = Warmer(para, options.user, -1);
  Commands commands = {{"Lighter by half a stop", with("--exposure", StopsText(exposure + kBrighter))},
                       {"Darker by half a stop", with("--exposure", StopsText(exposure - kBrighter))},
                       {"Warmer", with(warmer, more)},
                       {"Cooler", with(cooler, less)}};
  const bool repeated = !options.useSidecar.empty();
  if (!repeated && page.correction.finding && !options.roll && options.useRoll.empty()) {
    const bool adaptive = page.correction.finding->adaptive;
    commands.emplace_back("The other analysis", with("--analysis", std::string(MethodName(!adaptive))));
  }
  if (!repeated) commands.emplace_back("As each kind of original, to choose", CompareCommand(job.scan));
  if (options.sidecar || repeated)
    commands.emplace_back("Other scans, with this very correction", SameCommand(job, options));
  if (!repeated) commands.emplace_back("Other scans of the kind, each by its own", LikewiseCommand(options));
  return commands;
}

} // namespace

vips::VImage FinishedSmall(const CorrectedPage& corrected, const SmallScan& small) {
  const double ratio = 1 / static_cast<double>(small.shrink);
  return Finished(small.image, corrected, {ratio, ratio});
}

vips::VImage ResultSmall(const CorrectedPage& corrected, const SmallScan& small) {
  const vips::VImage whole = FinishedSmall(corrected, small);
  return corrected.cut ? CutOfSmall(whole, *corrected.cut, corrected.correction.prescan) : whole;
}

bool WantsPart(const SmallScan& small) { return small.shrink > 1; }

ScanPart PartOf(const vips::VImage& source, const CorrectedPage& corrected) {
  const int orientation = source.get_typeof(VIPS_META_ORIENTATION) != 0 ? source.get_int(VIPS_META_ORIENTATION) : 1;
  const bool onItsSide = orientation >= 5; // the page shows it upright
  const int width = std::min(onItsSide ? kPartHeight : kPartWidth, source.width());
  const int height = std::min(onItsSide ? kPartWidth : kPartHeight, source.height());
  Corner middle = {source.width() / 2.0, source.height() / 2.0};
  if (const std::optional<Frame>& frame = corrected.correction.frame) {
    middle = {0, 0};
    for (const Corner& corner : frame->corners) middle = {middle.x + corner.x / 4, middle.y + corner.y / 4};
  }
  const auto first = [](double at, int size, int whole) {
    return static_cast<int>(std::clamp(std::round(at - size / 2.0), 0.0, static_cast<double>(whole - size)));
  };
  const int left = first(middle.x, width, source.width()), top = first(middle.y, height, source.height());
  const vips::VImage colours = source.extract_band(0, vips::VImage::option()->set("n", ColourBands(source)));
  return {colours.crop(left, top, width, height).copy_memory(), left, top};
}

ReportPage ToReport(const CorrectedPage& corrected, const ShownPage& shown, size_t count) {
  const SmallScan& small = shown.small;
  const vips::VImage after = FinishedSmall(corrected, small).copy_memory();
  const auto picture = [](const vips::VImage& image) { return ShownPicture(image, kReportSide); };
  ReportPage page;
  page.title = count > 1 ? "Page " + std::to_string(corrected.page + 1) : "Picture";
  const Correction& correction = corrected.correction;
  page.verdict = Sentence(VerdictText(correction));
  page.good = correction.verdict <= ZEP3_VERDICT_GOOD;
  page.before = picture(small.image);
  page.after = picture(after);
  page.scanWidth = small.scanWidth;
  page.scanHeight = small.scanHeight;
  if (correction.frame) {
    page.framed = correction.frame->given ? "the analysis area" : "the picture that was found";
    if (correction.frame->paper) page.frames.push_back(*correction.frame->paper);
    page.frames.push_back(correction.frame->corners);
  }
  if (shown.part) page.full = DetailOf(*shown.part, corrected);
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

ReportHead ToReportHead(const Job& job, const Options& options, const std::vector<CorrectedPage>& pages,
                        const std::string& overview) {
  ReportHead head;
  head.name = std::filesystem::path(job.scan).filename().string();
  head.overview = overview;
  if (!pages.empty()) {
    head.next = NextText(pages, CompareCommand(job.scan));
    head.commands = CommandsFor(job, options, pages.front());
  }
  head.made = {{"Scan", job.scan == "-" ? "standard input" : Canonical(job.scan)},
               {"Result", Canonical(job.result)},
               {"Date", TimeText()},
               {"Versions", VersionsText() + ", libvips " + vips_version_string()},
               {"Command", options.commandLine},
               {"In the folder", Canonical(".")}};
  return head;
}
