// How the limits of a calculator follow the correction level.
#pragma once

#include "engine/zep3.h"

inline double CorrectLevel(const ZEP3_PARA& para) { return static_cast<double>(para.lCorrectLevel); }
