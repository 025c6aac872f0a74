// The library's tables of reasons and measurements, looked up for one finding.
#include "told/evidence.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "engine/common/record.h"

namespace {

// Reasons that speak against a result, or that there is none.
constexpr int64_t kAgainst = ZEP3_REASON_DEFAULTS | ZEP3_REASON_TOO_LITTLE | ZEP3_REASON_CHECKS;

} // namespace

const ZEP3_REASON kMixedRoll = {
    kAgainst, "mixed-roll",
    "the frames do not share a base: they are of several films, or the scanner was set anew between them",
    "The frames of its roll do not share a base: they are of several films, or the scanner was set anew between them."};

std::vector<const ZEP3_REASON*> ReasonsOf(const Finding& finding) {
  std::vector<const ZEP3_REASON*> reasons;
  for (int64_t i = 0; const ZEP3_REASON* reason = GetZEP3Reason(i); i++) {
    if ((finding.evidence.lReasons & reason->lBit) != 0) reasons.push_back(reason);
  }
  if (finding.mixedRoll) reasons.push_back(&kMixedRoll);
  return reasons;
}

std::string_view ReasonText(int64_t bit) {
  for (int64_t i = 0; const ZEP3_REASON* reason = GetZEP3Reason(i); i++) {
    if (reason->lBit == bit) return reason->pText;
  }
  return "";
}

std::vector<Evidence> EvidencesOf(const Finding& finding) {
  std::vector<Evidence> evidences;
  for (int64_t i = 0; const ZEP3_EVIDENCE_ITEM* item = GetZEP3EvidenceItem(i); i++) {
    double values[ZEP3_EVIDENCE_COUNT_MAX];
    const int64_t count = GetZEP3Evidence(&finding.evidence, item->pName, values);
    if (count > 0) evidences.push_back({item, {values, values + count}});
  }
  return evidences;
}

std::string Decimal(double value, int places) {
  if (!std::isfinite(value)) return "–";
  std::array<char, 400> text; // of the largest number
  std::snprintf(text.data(), text.size(), "%.*f", places, value);
  const bool zero = std::string_view(text.data()).find_first_not_of("-0.") == std::string_view::npos;
  return text.data() + (zero && text[0] == '-' ? 1 : 0);
}

std::string ValueText(const Evidence& evidence) {
  std::string text;
  for (const double value : evidence.values) {
    text += (text.empty() ? "" : " / ") + Decimal(value, static_cast<int>(evidence.item->lDecimals));
  }
  return text;
}

std::string_view MethodName(bool adaptive) { return adaptive ? "adaptive" : "standard"; }

int AdaptiveAnalysisOf(const ZEP3_PARA& para) {
  if (IsPage(para)) return ZEP3_ANALYSIS_PAGE;
  if (para.wDocType == ZEP3_DOC_NEGATIVE) return ZEP3_ANALYSIS_NEGATIVE;
  return para.wDocType == ZEP3_DOC_NEGATIVE_BW ? ZEP3_ANALYSIS_NEGATIVE_BW : ZEP3_ANALYSIS_POSITIVE;
}

std::string_view VerdictName(int64_t verdict) {
  switch (verdict) {
    case ZEP3_VERDICT_GOOD:
      return "good";
    case ZEP3_VERDICT_LOOK:
      return "look";
    case ZEP3_VERDICT_FAILED:
      return "failed";
    default:
      return "";
  }
}

std::string VerdictText(const Correction& correction) {
  if (correction.verdict == ZEP3_VERDICT_GOOD) return "good: nothing speaks against the result";
  if (correction.verdict == ZEP3_VERDICT_NONE) return "";
  std::string text;
  if (correction.finding) {
    for (const ZEP3_REASON* reason : ReasonsOf(*correction.finding)) {
      if ((reason->lBit & kAgainst) != 0) text += (text.empty() ? ": " : "; ") + std::string(reason->pText);
    }
  }
  return (correction.verdict == ZEP3_VERDICT_LOOK ? "please look at the result" : "failed, no correction was found") +
         text;
}

std::string Decision(const Finding& finding) {
  const bool adaptive = finding.evidence.lAnalysis != ZEP3_ANALYSIS_STANDARD;
  const std::string text = (finding.repeated ? "repeated " : "") + std::string(MethodName(adaptive)) + " analysis";
  return adaptive ? text + ", confidence " + Decimal(finding.evidence.dConfidence, 2) : text;
}

std::string PlaceOf(const CorrectedPage& page) {
  const std::optional<Frame>& frame = page.correction.frame;
  if (!frame) return "";
  const auto size = [](const Corners& corners) {
    return Decimal(WidthOf(corners), 0) + " x " + Decimal(HeightOf(corners), 0) + " pixels";
  };
  const Corner& first = frame->corners[0];
  std::string text = (frame->given ? "area: " : "picture: ") + size(frame->corners) + " at " + Decimal(first.x, 0) +
                     "," + Decimal(first.y, 0) + ", tilted by " + Decimal(TiltOf(frame->corners), 1) + " degrees";
  if (!frame->given) text += ", confidence " + Decimal(frame->confidence, 2);
  if (frame->paper) text += "; with its white border " + size(*frame->paper);
  if (frame->pictures > 1) text += "; " + std::to_string(frame->pictures) + " pictures are seen whole";
  if (page.cut) {
    text += "; cut to " + Decimal(page.cut->width, 0) + " x " + Decimal(page.cut->height, 0) + " pixels";
    if (page.cut->degrees != 0) text += " and straightened";
  }
  return text;
}

namespace {

std::string NumberedPage(const CorrectedPage& page, const std::vector<CorrectedPage>& pages) {
  return pages.size() > 1 ? "page " + std::to_string(page.page + 1) + ": " : "";
}

// Verdict, analysis and reasons in one line.
std::string Summary(const Correction& correction) {
  const Finding& finding = *correction.finding;
  const std::string verdict(VerdictName(correction.verdict));
  std::string text;
  for (const ZEP3_REASON* reason : ReasonsOf(finding)) {
    text += std::string(text.empty() ? ": " : "; ") + reason->pText;
  }
  return (verdict.empty() ? "" : verdict + ", ") + Decision(finding) + text;
}

} // namespace

int64_t WorstVerdict(const std::vector<CorrectedPage>& pages) {
  int64_t worst = ZEP3_VERDICT_NONE;
  for (const CorrectedPage& page : pages) worst = std::max(worst, page.correction.verdict);
  return worst;
}

std::string NoticesOf(const std::vector<CorrectedPage>& pages) {
  std::string text;
  for (const CorrectedPage& page : pages) {
    const bool good = page.correction.verdict <= ZEP3_VERDICT_GOOD;
    for (const std::string& notice :
         {good ? "" : VerdictText(page.correction), page.ownPaper, page.uncut, page.converted}) {
      if (!notice.empty()) text += (text.empty() ? "" : "; ") + NumberedPage(page, pages) + notice;
    }
  }
  return text;
}

std::vector<std::string> SummariesOf(const std::vector<CorrectedPage>& pages) {
  std::vector<std::string> lines;
  for (const CorrectedPage& page : pages) {
    const std::string which = NumberedPage(page, pages);
    if (page.correction.finding) lines.push_back(which + Summary(page.correction));
    if (const std::string place = PlaceOf(page); !place.empty()) lines.push_back(which + place);
  }
  return lines;
}
