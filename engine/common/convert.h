// The one way from a double to an integer.
#pragma once

#include <cmath>
#include <cstdint>

// Truncates toward zero. Not a number, infinite or outside of 32 bits: the most negative value, which is what x86-64
// processors give and what records show for "no result". A bare cast would be undefined there.
inline int32_t ToInt32(double v) {
  // std::isgreater and std::isless set no FE_INVALID, so the compiler may vectorise.
  return static_cast<int32_t>(std::isgreater(v, -2147483649.0) && std::isless(v, 2147483648.0) ? v : -2147483648.0);
}

// An 8-bit level with a fraction to the 16-bit scale.
inline int32_t ToLevel16(double level8) { return ToInt32(level8 * 257.0); }

inline double Level8(int64_t level16) { return static_cast<double>(level16) / 257.0; }

// A computed input point to the 16-bit scale: below 0.1 it becomes 25 (0.1 on the 16-bit scale, never 0, so that ratios
// to it stay finite), above 255 the top of the scale.
inline int32_t ClampToLevel16(double level8) {
  if (level8 < 0.1) return 25;
  if (level8 > 255.0) return 65535;
  return ToLevel16(level8);
}
