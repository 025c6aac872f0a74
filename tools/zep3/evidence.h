// What an analysis says of itself, in the library's words: its reasons and evidences, for files and for people.
#pragma once

#include <cstdint>
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
  std::string_view reading; // what the number tells
  int places;               // decimals that mean something
  size_t count;             // of its numbers
};

// Those that the analysis measures which decided, in their order; none where that is the standard one.
std::vector<Evidence> EvidencesOf(const Finding& finding);

std::vector<double> ValuesOf(const Evidence& evidence, const Finding& finding);
// `values`: as many as the evidence has.
void SetValues(const Evidence& evidence, const std::vector<double>& values, Finding& finding);

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
