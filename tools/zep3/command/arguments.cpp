// A small reader of numbers between separators; each argument says what it expected.
#include "command/arguments.h"

#include <charconv>
#include <cmath>
#include <system_error>

#include "engine/zep3.h"
#include "failure.h"

namespace {

[[noreturn]] void Refuse(std::string_view text, std::string_view expected) {
  throw UsageError("'" + std::string(text) + "': expected " + std::string(expected));
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (;;) {
    const size_t end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

// The whole text as a number within the limits; false otherwise, also for what is not finite.
template <typename T>
bool Read(std::string_view text, T low, T high, T& value) {
  if (text.starts_with('+')) text.remove_prefix(1);
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, value);
  return error == std::errc() && rest == end && value >= low && value <= high;
}

// Far beyond any scan, and exact as a double.
constexpr double kFarthest = 1e9;

bool Read(std::string_view text, Length& length) {
  length.percent = text.ends_with('%');
  if (length.percent) text.remove_suffix(1);
  return Read(text, -kFarthest, kFarthest, length.value);
}

bool Read(std::string_view x, std::string_view y, Position& position) {
  return Read(x, position.x) && Read(y, position.y);
}

bool ReadCorners(std::string_view text, size_t count, AreaArgument& area) {
  const auto parts = Split(text, ',');
  if (parts.size() != 2 * count) return false;
  area.corners.resize(count);
  for (size_t i = 0; i < count; i++) {
    if (!Read(parts[2 * i], parts[2 * i + 1], area.corners[i])) return false;
  }
  return true;
}

} // namespace

std::string TextOf(bool value) { return value ? "on" : "off"; }

std::string TextOf(int64_t value) { return std::to_string(value); }

std::string TextOf(int value) { return std::to_string(value); }

std::string TextOf(double value) {
  std::array<char, 32> text = {};
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
  return {text.data(), end};
}

std::string TextOf(const std::string& value) { return value; }

std::string TextOf(const Format* value) { return value == nullptr ? "" : std::string(value->name); }

std::string TextOf(const Length& value) { return TextOf(value.value).append(value.percent ? "%" : ""); }

std::string TextOf(const AreaArgument& value) {
  std::string text;
  for (const Position& corner : value.corners) {
    text.append(text.empty() ? "" : ",").append(TextOf(corner.x)).append(",").append(TextOf(corner.y));
  }
  return text;
}

std::string TextOf(const PipetteArgument& value) {
  return TextOf(value.at.x).append(",").append(TextOf(value.at.y)).append(",").append(TextOf(value.strength));
}

std::string TextOf(const ZEP3_TONE& value) {
  std::string text;
  for (int i = 0; i < value.wPointNum && i < ZEP3_TONE_POINTS; i++) {
    text.append(i == 0 ? "" : ",").append(TextOf(value.ptCtrl[i].x)).append(":").append(TextOf(value.ptCtrl[i].y));
  }
  return text;
}

Length ParseLength(std::string_view text) {
  Length length;
  if (!Read(text, length)) Refuse(text, "pixels or percent, such as 20, 2% or -1%");
  return length;
}

AreaArgument ParseArea(std::string_view text) {
  AreaArgument area;
  if (!ReadCorners(text, 2, area) || area.corners[1].x.value <= 0 || area.corners[1].y.value <= 0) {
    Refuse(text, "X,Y,WIDTH,HEIGHT in pixels or percent, such as 10%,10%,80%,80%");
  }
  return area;
}

AreaArgument ParseCorners(std::string_view text) {
  AreaArgument area;
  if (!ReadCorners(text, 4, area)) Refuse(text, "the four corners X,Y,X,Y,X,Y,X,Y in pixels or percent");
  return area;
}

PipetteArgument ParsePipette(std::string_view text, bool withStrength) {
  const auto parts = Split(text, ',');
  PipetteArgument pipette;
  const bool strengthGiven = withStrength && parts.size() == 3;
  if ((parts.size() != 2 && !strengthGiven) || !Read(parts[0], parts[1], pipette.at) ||
      (strengthGiven && !Read(parts[2], int64_t{0}, int64_t{100}, pipette.strength))) {
    Refuse(text, withStrength ? "X,Y or X,Y,STRENGTH (0..100)" : "X,Y");
  }
  return pipette;
}

ZEP3_TONE ParseCurve(std::string_view text) {
  const auto points = Split(text, ',');
  ZEP3_TONE tone = {};
  bool good = points.size() >= 2 && points.size() <= ZEP3_TONE_POINTS;
  for (size_t i = 0; good && i < points.size(); i++) {
    const auto sides = Split(points[i], ':');
    LPOINT& point = tone.ptCtrl[i];
    good = sides.size() == 2 && Read(sides[0], int64_t{0}, int64_t{255}, point.x) &&
           Read(sides[1], int64_t{0}, int64_t{255}, point.y) && (i == 0 || point.x > tone.ptCtrl[i - 1].x);
  }
  if (!good)
    Refuse(text, "2 to 16 points IN:OUT,IN:OUT,... of levels 0..255, inputs rising, such as 0:0,128:150,255:255");
  tone.wPointNum = static_cast<int16_t>(points.size());
  return tone;
}

std::array<double, 9> ParseMatrix(std::string_view text) {
  const auto parts = Split(text, ',');
  std::array<double, 9> matrix = {};
  bool good = parts.size() == matrix.size();
  for (size_t i = 0; good && i < matrix.size(); i++) good = Read(parts[i], -1e6, 1e6, matrix[i]);
  if (!good) Refuse(text, "nine numbers, row by row, such as 1,0,0,0,1,0,0,0,1");
  return matrix;
}

std::array<int64_t, 3> ParseBalance(std::string_view text) {
  const auto parts = Split(text, ',');
  std::array<int64_t, 3> balance = {};
  bool good = parts.size() == balance.size();
  for (size_t i = 0; good && i < balance.size(); i++) good = Read(parts[i], int64_t{-1000}, int64_t{1000}, balance[i]);
  if (!good) Refuse(text, "RED,GREEN,BLUE, whole numbers of -1000..1000");
  return balance;
}

int ParseWhole(std::string_view text, int low, int high) {
  int number = 0;
  if (!Read(text, low, high, number))
    Refuse(text, "a whole number of " + std::to_string(low) + ".." + std::to_string(high));
  return number;
}

std::string TextOf(const SaturationOptions& value) {
  if (!value.proposed) return TextOf(false);
  return value.percent == 0 ? TextOf(true) : TextOf(value.percent);
}

SaturationOptions ParseSaturation(std::string_view text) {
  SaturationOptions saturation;
  if (text == "on") return saturation;
  saturation.proposed = text != "off";
  if (saturation.proposed && !Read(text, -100.0, 400.0, saturation.percent))
    Refuse(text, "on, off or percent of -100..400");
  return saturation;
}

double ParseStops(std::string_view text, double most) {
  const auto parts = Split(text, '/');
  double stops = 0, under = 1;
  const bool good = parts.size() <= 2 && Read(parts[0], -kFarthest, kFarthest, stops) &&
                    (parts.size() == 1 || Read(parts[1], 1.0, kFarthest, under)) && std::abs(stops / under) <= most;
  if (!good) Refuse(text, "stops within " + std::to_string(std::lround(most)) + " of 0, such as 0.5, -1 or 1/3");
  return stops / under;
}

namespace {

int ReadGamma(std::string_view text, const char* expected) {
  double gamma = 0;
  if (!Read(text, 0.5, 5.0, gamma)) Refuse(text, expected);
  const double tenths = std::round(gamma * 10);
  if (std::abs(tenths - gamma * 10) > 1e-9) Refuse(text, "a gamma with at most one decimal");
  return static_cast<int>(tenths);
}

} // namespace

int ParseGamma(std::string_view text) { return ReadGamma(text, "a gamma of 0.5 to 5, such as 2.2"); }

int ParseInputGamma(std::string_view text) {
  if (text == "srgb" || text == "sRGB") return ZEP3_GAMMA_SRGB_CURVE;
  return ReadGamma(text, "srgb, or a gamma of 0.5 to 5, such as 2.2");
}

Assignment ParseAssignment(const std::string& text) {
  const size_t end = text.find('=');
  if (end == 0 || end == std::string::npos) Refuse(text, "NAME=VALUE");
  return {text.substr(0, end), text.substr(end + 1)};
}

double ParseMeasure(std::string_view text, double low, double high, const char* unit) {
  double value = 0;
  if (!Read(text, low, high, value))
    Refuse(text,
           "a number of " + std::to_string(std::lround(low)) + " to " + std::to_string(std::lround(high)) + " " + unit);
  return value;
}
