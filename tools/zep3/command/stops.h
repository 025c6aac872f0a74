// Photographers' units, stops of light, as the record's whole density steps.
#pragma once

#include <array>
#include <cstdint>

// Steps of a brightness: 0.003 of density each, so that a stop, log10(2) = 0.301, has 100.34. Rounded.
int64_t StepsOfStops(double stops);

// The steps of red, green and blue for a warmth, stops that red gains over blue, with green half-way between them, and
// a tint, stops that red and blue gain over green (magenta; below 0: green). The luminance of a gray stays, by the
// weights of Rec. 709: of the whole numbers next to the exact ones those that keep it best.
std::array<int64_t, 3> BalanceOfStops(double warmth, double tint);
