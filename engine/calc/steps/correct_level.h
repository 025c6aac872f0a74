// How the limits of a calculator follow the correction level.
#pragma once

#include "engine/common/scale.h"
#include "engine/zep3.h"

inline double CorrectLevel(const ZEP3_PARA& para) { return static_cast<double>(para.lCorrectLevel); }

// The same where levels below 0 count as 0.
inline double CorrectLevelFromZero(const ZEP3_PARA& para) { return AtLeast(0.0, CorrectLevel(para)); }
