#include "told/roll_page.h"

#include <array>
#include <cmath>
#include <optional>
#include <utility>

#include "told/command_words.h"
#include "told/evidence.h"
#include "told/html.h"
#include "told/report_page.h"
#include "told/report_style.h"

namespace {

constexpr std::string_view kRollStyle = R"(<style>
.sheet { display: grid; grid-template-columns: repeat(auto-fill, minmax(15rem, 1fr)); gap: 1.75rem 1.25rem;
  align-items: start; margin: 1rem 0; }
.frame h3 { font-size: .9375rem; margin: 0 0 .375rem; }
.frame .both { display: grid; grid-template-columns: repeat(2, minmax(0, 1fr)); gap: .375rem; align-items: start; }
.frame p { font-size: .875rem; margin: .375rem 0 0; color: var(--soft); }
.frame .told { color: var(--ink); font-weight: 700; }
.apart { border-left: .375rem solid var(--ink); padding-left: .75rem; }
.frame details { font-size: .875rem; margin-top: .375rem; }
.shared { max-width: 60rem; }
.shared th, .shared td { width: auto; }
.shared td:last-child { width: 100%; }
.shared th, .shared td:nth-child(2) { white-space: nowrap; }
</style>
)";

std::string MemberText(Member member) {
  switch (member) {
    case Member::kShared:
      return "";
    case Member::kOdd:
      return "Odd: " + std::string(ReasonText(ZEP3_REASON_ODD));
    case Member::kBlank:
      return "Blank: there is nothing on it to decide from";
    default:
      return "Finished by itself";
  }
}

struct Pictures {
  vips::VImage before, after;
};

// `title`: the scan's path, of which the last part is shown. `apart`: why it is not like the others, if so.
std::string FrameHtml(const std::string& title, const Pictures* pictures, const std::string& apart,
                      const std::string& said, const std::string& command) {
  std::string html = std::string("<section class=\"frame") + (apart.empty() ? "" : " apart") + "\">\n<h3 title=\"" +
                     Escape(title) + "\">" + Escape(title.substr(title.rfind('/') + 1)) + "</h3>\n";
  if (pictures != nullptr) {
    html += "<div class=\"both\">\n" + PictureFigure(Bare(pictures->before), title + " as scanned", "") +
            PictureFigure(Bare(pictures->after), title + " finished", "") + "</div>\n";
  }
  if (!apart.empty()) html += "<p class=\"told\">" + Escape(apart) + "</p>\n";
  if (!said.empty()) html += "<p>" + Escape(said) + "</p>\n";
  if (!command.empty()) {
    html += "<details>\n<summary>Finish it by itself</summary>\n<code class=\"command\">" + Escape(command) +
            "</code>\n</details>\n";
  }
  return html + "</section>\n";
}

// Beside the result, so that both can be compared.
std::string AloneCommand(const Job& job, const Options& options) {
  return CommandFor(job.scan, options, *options.analysis.kind, true) + " -o by-itself/";
}

constexpr double kStop = 0.30103; // log10 exposure

std::string Three(const double (&values)[3], double times, int places) {
  std::string text;
  for (const double value : values) text += (text.empty() ? "" : " / ") + Decimal(times * value, places);
  return text;
}

// Light over the scanner's white, of a level on the engine's scale.
double LightOf(double level) { return std::pow(level / 255, static_cast<double>(ZEP3_GAMMA_LINEAR_LEVELS) / 10); }

using Rows = std::vector<std::array<std::string, 3>>; // what, value, how to read it

Rows FilmRows(const ZEP3_SHARED& shared, bool colour) {
  const double base[3] = {LightOf(shared.dBase[0]), LightOf(shared.dBase[1]), LightOf(shared.dBase[2])};
  Rows rows = {{"Clear film (R / G / B)", Three(base, 100, 0) + " %",
                "Light that the film lets through where nothing was exposed, of the scanner's white"}};
  if (colour) {
    rows.push_back(
        {"Contrast of the layers (R / G / B)", Three(shared.dSlope, 1, 3), "Density for ten times the exposure"});
    rows.push_back({"Neutral by daylight (R / B)",
                    Decimal(shared.dBalance[0] / kStop, 2) + " / " + Decimal(shared.dBalance[2] / kStop, 2) + " stops",
                    "How far red and blue lie above green where the scene was gray"});
    rows.push_back({"How sure the neutral is", "within " + Decimal(shared.dSpread / kStop, 2) + " stops",
                    "The frames' scatter over the root of their number"});
  }
  rows.push_back({"A full scene's range", Decimal(std::exp(shared.dRange) / kStop, 1) + " stops",
                  "From black to white, on this film"});
  rows.push_back({"Contrast of the prints", Decimal(shared.dContrast, 2), "1: the scene's own"});
  return rows;
}

Rows BoxRows(const ZEP3_SHARED& shared) {
  return {{"Stain and base (R / G / B)", Three(shared.dOffset, 1, 2), "Density where the original was white"},
          {"Dye left (R / G / B)", Three(shared.dDye, 100, 0) + " %", "100 %: not faded"},
          {"How unequal the originals are", Decimal(shared.dScatter, 1),
           "1: as those of a box usually are; from 5 on each is finished nearly by itself"}};
}

std::string SharedHtml(const Roll& roll) {
  if (!roll.shared) {
    return "<p>Too few of these scans belong together to be better off than each by itself, as they were "
           "finished.</p>\n";
  }
  const ZEP3_SHARED& shared = *roll.shared;
  const bool film = shared.lDocType == ZEP3_DOC_NEGATIVE || shared.lDocType == ZEP3_DOC_NEGATIVE_BW;
  std::string html =
      film
          ? "<p>The frames that belong together show one film. What they share was estimated from all of them; the "
            "light and the exposure are each frame's own.</p>\n"
          : "<p>The originals that belong together have the same history. What time did to them was estimated from all "
            "of them, and each was drawn to it as strongly as they are alike.</p>\n";
  if (roll.IsUnequal()) html.append("<p class=\"mixed\">They are ").append(Roll::kUnequalText).append(".</p>\n");
  html +=
      "<table class=\"shared\">\n<thead>\n<tr><th scope=\"col\">Shared</th><th scope=\"col\">Value</th>"
      "<th scope=\"col\">How to read it</th></tr>\n</thead>\n<tbody>\n";
  const Rows rows = film ? FilmRows(shared, shared.lDocType == ZEP3_DOC_NEGATIVE) : BoxRows(shared);
  for (const auto& [what, value, reading] : rows) {
    html += "<tr><th scope=\"row\">" + Escape(what) + "</th><td>" + Escape(value) + "</td><td>" + Escape(reading) +
            "</td></tr>\n";
  }
  return html + "</tbody>\n</table>\n";
}

} // namespace

int64_t RollPictureSide(size_t frames) { return frames <= 60 ? 240 : frames <= 400 ? 160 : 96; }

std::string RollFrame(const Job& job, const Options& options, const CorrectedPage& corrected, const SmallScan& small,
                      size_t count) {
  const Correction& correction = corrected.correction;
  const auto side = static_cast<double>(options.rollPictures);
  SmallScan smaller = small; // corrected at the size that is shown, or nearly: the cut is a part of it
  smaller.image = ShownPicture(small.image, corrected.cut ? 2 * side : side);
  const Pictures pictures = {ShownPicture(smaller.image, side), ShownPicture(ResultSmall(corrected, smaller), side)};
  const Member member = correction.finding ? correction.finding->member : Member::kNone;
  const std::string verdict = correction.verdict <= ZEP3_VERDICT_GOOD ? "" : VerdictText(correction);
  return FrameHtml(job.scan + (count > 1 ? ", page " + std::to_string(corrected.page + 1) : ""), &pictures,
                   MemberText(member), verdict, member == Member::kSingle ? "" : AloneCommand(job, options));
}

std::string FinishedRollFrame(const Job& job, const std::string& original, const Options& options) {
  const auto small = [&](const std::string& name) {
    const vips::VImage image = vips::VImage::thumbnail(name.c_str(), static_cast<int>(options.rollPictures),
                                                       vips::VImage::option()->set("no_rotate", true));
    return ShownPicture(image, static_cast<double>(options.rollPictures));
  };
  std::optional<Pictures> pictures;
  try {
    pictures = {small(original), small(job.result)};
  } catch (const vips::VError&) { // the sheet does without
    vips_error_clear();
  }
  return FrameHtml(job.scan, pictures ? &*pictures : nullptr, "", "Finished by an earlier run",
                   AloneCommand(job, options));
}

std::string FailedRollFrame(const std::string& scan, const std::string& why) {
  return FrameHtml(scan, nullptr, "Not finished", why, "");
}

std::string RollPage(const std::string& name, const Roll& roll, const std::string& text,
                     const std::vector<std::string>& frames) {
  std::string html = PageHead(kSelfContained) + "<title>" + Escape(name) + " – roll</title>\n" + std::string(kStyle) +
                     std::string(kRollStyle) + "</head>\n<body>\n<header>\n<h1>" + Escape(name) +
                     "</h1>\n<p class=\"verdict\">" + Escape(text) + "</p>\n<p>" + Escape(roll.analysis.kind->pText) +
                     "</p>\n</header>\n<main>\n<h2>Contact sheet</h2>\n<p class=\"explained\">Left as scanned, right "
                     "finished. What was not finished with the others has a line at its side.</p>\n<div "
                     "class=\"sheet\">\n";
  for (const std::string& frame : frames) html += frame;
  return html + "</div>\n<h2>What was shared</h2>\n" + SharedHtml(roll) + "</main>\n</body>\n</html>\n";
}
