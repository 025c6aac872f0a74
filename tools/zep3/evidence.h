// What an analysis says of itself: the names, units and meaning of its reasons and evidences, for files and for people.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "correction.h"

struct Reason {
  int64_t bit; // ZEP3_REASON_...
  std::string_view code;
  std::string_view text;     // a part of a line
  std::string_view sentence; // the same on its own
};

// In the order in which they are told.
const std::vector<Reason>& Reasons();

// Those that a correction was found by.
std::vector<Reason> ReasonsOf(const Finding& finding);

struct Evidence {
  std::string_view name;
  std::string_view label;
  std::string_view unit;
  unsigned families; // of originals that it is known of
  int places;        // decimals that mean something
  std::span<double> (*values)(ZEP3_EVIDENCE&);
  std::string_view reading; // what the number tells
};

// Those that are known of an original (ZEP3_DOC_...), in the order of the record; none where the analysis is the
// standard one.
std::vector<Evidence> EvidencesOf(const Finding& finding, uint16_t docType);

// By channel with slashes between; what is no finite number is a dash.
std::string ValueText(const Evidence& evidence, const Finding& finding);

// "standard" or "adaptive".
std::string_view MethodName(bool adaptive);

// Which analysis of an original is the adaptive one: ZEP3_ANALYSIS_...
int AdaptiveAnalysisOf(uint16_t docType);

// Which analysis decided, and how sure it is.
std::string Verdict(const Finding& finding);

// The same with what it met, in one line.
std::string Summary(const Finding& finding);
