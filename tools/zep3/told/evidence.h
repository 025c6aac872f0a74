// The findings of an analysis in the library's words, for files and for people.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "page/correction.h"

// Of a roll whose frames do not share a base: one scan does not show it, so the library does not tell it.
extern const ZEP3_REASON kMixedRoll;

// Why a correction is as it is, in the order in which reasons are best told.
std::vector<const ZEP3_REASON*> ReasonsOf(const Finding& finding);

// One reason, as part of a line.
std::string_view ReasonText(int64_t bit);

// A measurement with its numbers.
struct Evidence {
  const ZEP3_EVIDENCE_ITEM* item;
  std::vector<double> values; // as many as the item has
};

// The measurements of the analysis that decided, in the library's order; the standard analysis has none.
std::vector<Evidence> EvidencesOf(const Finding& finding);

// With this many decimals. Zero has no sign; infinity and NaN are a dash.
std::string Decimal(double value, int places);

// The numbers with slashes between.
std::string ValueText(const Evidence& evidence);

// "standard" or "adaptive".
std::string_view MethodName(bool adaptive);

// Which analysis of a record's kind is the adaptive one: ZEP3_ANALYSIS_...
int AdaptiveAnalysisOf(const ZEP3_PARA& para);

// "good", "look" or "failed"; empty where the result was not checked. ZEP3_VERDICT_...
std::string_view VerdictName(int64_t verdict);

// The same for people, with the reasons that speak against the result; empty likewise.
std::string VerdictText(const Correction& correction);

// The analysis that decided, and how sure it is.
std::string Decision(const Finding& finding);

// Where the picture lies, and what is cut out; nothing where it fills the scan.
std::string PlaceOf(const CorrectedPage& page);

// The gravest of all pages.
int64_t WorstVerdict(const std::vector<CorrectedPage>& pages);

// What the user is told unasked, in one line: pages to look at, and those that were to be cut and are not.
std::string NoticesOf(const std::vector<CorrectedPage>& pages);

// What is told of each page, in lines; with the page's number where there are several pages.
std::vector<std::string> SummariesOf(const std::vector<CorrectedPage>& pages);
