// The kinds of original by the names that the user gives them, as the library has them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct Kind {
  std::string_view name;
  uint16_t docType; // ZEP3_DOC_...
  uint16_t subMode; // ZEP3_SUB_...
  std::string_view what;
  bool adaptiveByDefault; // where the adaptive analysis comes closer to the original than the standard one
};

// In the order of the help text.
const std::vector<Kind>& Kinds();

// Null when there is no such kind.
const Kind* FindKind(std::string_view name);
const Kind* FindKind(uint16_t docType, uint16_t subMode);
