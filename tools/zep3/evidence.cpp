#include "evidence.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <iterator>

namespace {

std::string Decimal(double value, int places) {
  if (!std::isfinite(value)) return "–";
  std::array<char, 400> text; // of the largest number
  std::snprintf(text.data(), text.size(), "%.*f", places, value);
  // What rounds to nothing has no sign.
  const bool zero = std::string_view(text.data()).find_first_not_of("-0.") == std::string_view::npos;
  return text.data() + (zero && text[0] == '-' ? 1 : 0);
}

} // namespace

const std::vector<Reason>& Reasons() {
  static const std::vector<Reason> reasons = [] {
    std::vector<Reason> all;
    for (int64_t i = 0; const ZEP3_REASON* reason = GetZEP3Reason(i); i++) {
      all.push_back({reason->lBit, reason->pCode, reason->pText, reason->pSentence});
    }
    return all;
  }();
  return reasons;
}

std::vector<Reason> ReasonsOf(const Finding& finding) {
  std::vector<Reason> reasons;
  std::copy_if(Reasons().begin(), Reasons().end(), std::back_inserter(reasons),
               [&](const Reason& reason) { return (finding.evidence.lReasons & reason.bit) != 0; });
  return reasons;
}

std::vector<Evidence> EvidencesOf(const Finding& finding) {
  std::vector<Evidence> evidences;
  for (int64_t i = 0; const ZEP3_EVIDENCE_ITEM* item = GetZEP3EvidenceItem(i); i++) {
    double values[ZEP3_EVIDENCE_COUNT_MAX];
    const int64_t count = GetZEP3Evidence(&finding.evidence, item->pName, values);
    if (count == 0) continue;
    evidences.push_back({item->pName, item->pLabel, item->pUnit, item->pText, static_cast<int>(item->lDecimals),
                         static_cast<size_t>(count)});
  }
  return evidences;
}

std::vector<double> ValuesOf(const Evidence& evidence, const Finding& finding) {
  std::vector<double> values(evidence.count);
  GetZEP3Evidence(&finding.evidence, evidence.name.data(), values.data());
  return values;
}

void SetValues(const Evidence& evidence, const std::vector<double>& values, Finding& finding) {
  SetZEP3Evidence(&finding.evidence, evidence.name.data(), values.data());
}

std::string ValueText(const Evidence& evidence, const Finding& finding) {
  std::string text;
  for (const double value : ValuesOf(evidence, finding))
    text += (text.empty() ? "" : " / ") + Decimal(value, evidence.places);
  return text;
}

std::string_view MethodName(bool adaptive) { return adaptive ? "adaptive" : "standard"; }

int AdaptiveAnalysisOf(uint16_t docType) {
  if (docType == ZEP3_DOC_NEGATIVE) return ZEP3_ANALYSIS_NEGATIVE;
  return docType == ZEP3_DOC_NEGATIVE_BW ? ZEP3_ANALYSIS_NEGATIVE_BW : ZEP3_ANALYSIS_POSITIVE;
}

std::string Verdict(const Finding& finding) {
  const bool adaptive = finding.evidence.lAnalysis != ZEP3_ANALYSIS_STANDARD;
  const std::string text = (finding.repeated ? "repeated " : "") + std::string(MethodName(adaptive)) + " analysis";
  return adaptive ? text + ", confidence " + Decimal(finding.evidence.dConfidence, 2) : text;
}

std::string Summary(const Finding& finding) {
  std::string text;
  for (const Reason& reason : ReasonsOf(finding)) text += (text.empty() ? ": " : "; ") + std::string(reason.text);
  return Verdict(finding) + text;
}
