// The scales that levels live on, and the ways between them.
//
// Inside the engine a level is linear: 0..255 at gamma 1.8. A record's points are 16-bit levels in display gamma G
// (ZEP3_PARA::lScreenGamma / 10). Density is -log10 of the light that a linear level stands for.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "engine/common/convert.h"
#include "engine/zep3.h"

// What points and divisors are raised to where a rule says so, to keep logarithms and ratios finite.
inline constexpr double kLevelFloor = 0.1;

// As a comparison: what is not a number stays so.
inline double AtLeast(double floor, double v) { return v < floor ? floor : v; }
inline double AtMost(double cap, double v) { return v > cap ? cap : v; }
inline double Clamp(double v, double floor, double cap) { return AtMost(cap, AtLeast(floor, v)); }

inline double Square(double v) { return v * v; }

// Of three channels.
inline double Largest(const double (&v)[3]) { return std::max(std::max(v[0], v[1]), v[2]); }
inline double Smallest(const double (&v)[3]) { return std::min(std::min(v[0], v[1]), v[2]); }
inline double Mean(const double (&v)[3]) { return (v[0] + v[1] + v[2]) / 3.0; }

// What the channels weigh in the level of a picture.
inline constexpr double kChannelWeight[3] = {0.2, 0.6, 0.2};

// ---- display gamma ----

inline double DisplayExponent(const ZEP3_PARA& para) { return 1.8 / (static_cast<double>(para.lScreenGamma) / 10.0); }
inline double LinearExponent(const ZEP3_PARA& para) { return (static_cast<double>(para.lScreenGamma) / 10.0) / 1.8; }

// A linear level to a display level, both with their fractions.
inline double DisplayLevel(double level, double displayExponent) {
  return 255.0 * std::pow(level / 255.0, displayExponent);
}

// The same for all levels of a curve; what surrounds pow stands in loops of its own, which become vectors.
inline void ToDisplayLevels(double (&levels)[256], double displayExponent) {
  for (double& level : levels) level /= 255.0;
  for (double& level : levels) level = std::pow(level, displayExponent);
  for (double& level : levels) level *= 255.0;
}

// A fractional linear level to a 16-bit level in display gamma. The two differ in last places: one multiplies by 65535,
// the other by 255 and then by 257.
inline int32_t EncodeLevel(double level, double displayExponent) {
  return ToInt32(std::pow(level / 255.0, displayExponent) * 65535.0);
}
inline int32_t EncodeLevelInSteps(double level, double displayExponent) {
  return ToInt32(257.0 * (255.0 * std::pow(level / 255.0, displayExponent)));
}

// A fractional linear level to the 16-bit input point of a negative.
inline int32_t EncodeNegativeInput(double level, double displayExponent) {
  return ToInt32(257.0 * (255.0 - 255.0 * std::pow(level / 255.0, displayExponent)));
}

// A linear level times 257, as a calculator leaves it, to the 16-bit level of a record.
inline int32_t EncodePoint(int64_t level, double displayExponent, bool inverted) {
  const double linear = static_cast<double>(level) / 257.0;
  return inverted ? EncodeNegativeInput(linear, displayExponent) : EncodeLevel(linear, displayExponent);
}

// A display level to a linear level; inverted for what is given on the scale of the positive picture.
inline double LinearLevel(double display, double linearExponent, bool inverted) {
  return 255.0 * std::pow((inverted ? 255.0 - display : display) / 255.0, linearExponent);
}

// A record's point to a linear level, at least kLevelFloor.
inline double DecodePoint(int64_t level16, double linearExponent, bool inverted) {
  return AtLeast(kLevelFloor, LinearLevel(static_cast<double>(level16) / 257.0, linearExponent, inverted));
}

// ---- light and density ----

// The light that a linear level stands for, 1 at level 255.
inline double Light(double level) { return std::pow(level / 255.0, 1.8); }

inline double LogLight(double level) { return std::log10(Light(level)); }
inline double LevelOfLogLight(double logLight) { return 255.0 * std::pow(10.0, logLight / 1.8); }

inline double Density(double level) { return -LogLight(level); }

// Of the darker of two levels beyond the lighter.
inline double DensityBetween(double lighter, double darker) { return 1.8 * std::log10(lighter / darker); }

// log10 of a level itself, at least kLevelFloor: a level is light to the power 1 / 1.8, so 1.8 times a difference of
// two is a density.
inline double LogLevel(double level) { return std::log10(AtLeast(kLevelFloor, level)); }

// The other way round in the reciprocal form, which differs from LevelOfLogLight in last places.
inline constexpr double kInverseGamma = 0.5555555555555556;
inline double LevelOfDensity(double density) { return 255.0 * std::pow(10.0, -density * kInverseGamma); }

// ---- sRGB ----

// The curve of sRGB (IEC 61966-2-1): the light of a value, and back; both 0..1. Its straight foot is what a plain gamma
// of 2.2 lacks: a value of 10 / 255 stands for 0.0030 of light, by the gamma for 0.0008.
inline double SrgbLight(double value) {
  return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}
inline double SrgbValue(double light) {
  return light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1.0 / 2.4) - 0.055;
}

// The light that a display shows for a linear level of the output. Displays are sRGB, which a gamma of 2.2
// approximates.
inline double DisplayedLight(double level) { return SrgbLight(std::pow(level / 255.0, 1.8 / 2.2)); }

// The display level, 0..255, that shows the light of a linear level of the scan.
inline double ShownLevel(double level) { return 255.0 * SrgbValue(Light(level)); }

// ---- negatives ----

// Swaps the two ends of a negative's range: `end` becomes `otherEnd` and the other way round, levels in between keep
// their ratios.
inline double Mirrored(double level, double end, double otherEnd) { return end * otherEnd / level; }

// A level of the film, at least kLevelFloor, in the domain of a negative's inverted points.
inline double MirroredLevel(double level, double end, double otherEnd) {
  return Mirrored(AtLeast(kLevelFloor, level), end, otherEnd);
}
