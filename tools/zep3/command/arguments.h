// The arguments that are more than one number: places on a scan, curves, matrices. Each parser throws UsageError that
// says what was expected.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "engine/zep3.h"
#include "options.h"

// The one form in which a value is compared and kept: equal values have equal texts, and the parsers below read them.
std::string TextOf(bool value); // "on" or "off"
std::string TextOf(int64_t value);
std::string TextOf(int value);
std::string TextOf(double value);
std::string TextOf(const std::string& value);
std::string TextOf(const Format* value); // "" of none
std::string TextOf(const Length& value);
std::string TextOf(const AreaArgument& value); // "" of the whole scan
std::string TextOf(const PipetteArgument& value);
std::string TextOf(const ZEP3_TONE& value);
std::string TextOf(const SaturationOptions& value);
template <typename T, size_t N>
std::string TextOf(const std::array<T, N>& values) {
  std::string text;
  for (const T& value : values) text.append(text.empty() ? "" : ",").append(TextOf(value));
  return text;
}
template <typename T>
std::string TextOf(const std::optional<T>& value) {
  return value ? TextOf(*value) : "";
}

// A number of pixels or, with %, percent.
Length ParseLength(std::string_view text);

// "X,Y,WIDTH,HEIGHT", each a number of pixels or, with %, a share of the scan.
AreaArgument ParseArea(std::string_view text);

// "X,Y,X,Y,X,Y,X,Y", in any order.
AreaArgument ParseCorners(std::string_view text);

// "X,Y" or, `withStrength`, also "X,Y,STRENGTH" (percent).
PipetteArgument ParsePipette(std::string_view text, bool withStrength);

// "IN:OUT,IN:OUT,...": 2 to 16 points on display levels 0..255, inputs rising.
ZEP3_TONE ParseCurve(std::string_view text);

// Nine numbers, row by row.
std::array<double, 9> ParseMatrix(std::string_view text);

// "RED,GREEN,BLUE", whole numbers.
std::array<int64_t, 3> ParseBalance(std::string_view text);

// A whole number within the limits.
int ParseWhole(std::string_view text, int low, int high);

// "on", "off" or percent more or less than what is proposed.
SaturationOptions ParseSaturation(std::string_view text);

// A number of stops, as 0.5, -1 or 1/3, within `most` of 0.
double ParseStops(std::string_view text, double most);

// A gamma with at most one decimal, 0.5 to 5; in tenths.
int ParseGamma(std::string_view text);

// The same, or "srgb", or "sRGB" as sidecars write it: ZEP3_GAMMA_SRGB_CURVE.
int ParseInputGamma(std::string_view text);

// "NAME=VALUE" with a name.
Assignment ParseAssignment(const std::string& text);

// A number within the limits; `unit`: what it counts.
double ParseMeasure(std::string_view text, double low, double high, const char* unit);
