// The arguments that are more than one number: places on a scan, curves, matrices. Each parser throws UsageError that
// says what was expected.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/zep3.h"

// A length or place on a scan: pixels, or percent of the scan's width or height.
struct Length {
  double value = 0;
  bool percent = false;

  double Pixels(int64_t side) const { return percent ? value / 100 * static_cast<double>(side) : value; }
};

struct Position {
  Length x, y;
};

// The analysis area: an upright rectangle by its top left corner and size, or the four corners of a rotated one.
struct AreaArgument {
  std::vector<Position> corners; // 2 for a rectangle: corner and size; 4 for a rotated one; none: the whole scan
};

// "X,Y,WIDTH,HEIGHT", each a number of pixels or, with %, a share of the scan.
AreaArgument ParseArea(std::string_view text);

// "X,Y,X,Y,X,Y,X,Y", in any order.
AreaArgument ParseCorners(std::string_view text);

// A gray pipette, "X,Y" or "X,Y,STRENGTH" (percent); a gamma pipette without strength.
struct PipetteArgument {
  Position at;
  int64_t strength = 100;
};
PipetteArgument ParsePipette(std::string_view text, bool withStrength);

// "IN:OUT,IN:OUT,...": 2 to 16 points on display levels 0..255, inputs rising.
ZEP3_TONE ParseCurve(std::string_view text);

// Nine numbers, row by row.
std::array<double, 9> ParseMatrix(std::string_view text);

// "RED,GREEN,BLUE", whole numbers.
std::array<int64_t, 3> ParseBalance(std::string_view text);

// A gamma with at most one decimal, 0.5 to 5; in tenths.
int ParseGamma(std::string_view text);
