// Levels of gamma 2.2 and the light that they stand for, both 0..1, and the way from one number to another.
#pragma once

#include <algorithm>
#include <cmath>

#include "engine/page/tuning.h"

namespace page {

inline double LightOf(double level) { return std::pow(std::max(level, 0.0), kGamma); }
inline double LevelOf(double light) { return std::pow(std::clamp(light, 0.0, 1.0), 1.0 / kGamma); }

// The level of such light without, and with, a veil of light that lies on everything, a share of paper's.
inline double WithoutVeil(double light, double veil) { return LevelOf((light - veil) / (1.0 - veil)); }
inline double WithVeil(double light, double veil) { return LevelOf(light * (1.0 - veil) + veil); }

// How far a number has come from one to another, 0 to 1.
inline double Ramp(double v, double from, double to) { return std::clamp((v - from) / (to - from), 0.0, 1.0); }

} // namespace page
