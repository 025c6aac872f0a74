// What an analysis says of itself, in the library's words, for files and for people.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "page/correction.h"

// Why a correction is as it is, in the order in which reasons are best told.
std::vector<const ZEP3_REASON*> ReasonsOf(const Finding& finding);

// A measurement with its numbers.
struct Evidence {
  const ZEP3_EVIDENCE_ITEM* item;
  std::vector<double> values; // as many as the item has
};

// What the analysis that decided has measured, in the library's order; nothing where it is the standard one.
std::vector<Evidence> EvidencesOf(const Finding& finding);

// With a fixed number of decimals. What rounds to nothing has no sign, and what is no finite number is a dash.
std::string Decimal(double value, int places);

// By channel with slashes between.
std::string ValueText(const Evidence& evidence);

// "standard" or "adaptive".
std::string_view MethodName(bool adaptive);

// Which analysis of an original is the adaptive one: ZEP3_ANALYSIS_...
int AdaptiveAnalysisOf(uint16_t docType);

// Which analysis decided, and how sure it is.
std::string Verdict(const Finding& finding);

// The same with its reasons, in one line.
std::string Summary(const Finding& finding);

// One for each page that has a finding; of several pages, with the page's number.
std::vector<std::string> SummariesOf(const std::vector<CorrectedPage>& pages);
