// The tables of a page with a surface.
#pragma once

#include <cstdint>

#include "engine/zep3.h"

namespace page {

// A table goes from 0 to so many times the paper's level.
inline constexpr double kTableMost = 1.6;

// As MakeZEP3PageLUT says; the surface holds paper or a reverse page.
void MakeTables(const ZEP3_PARA& para, const ZEP3_SURFACE& surface, int64_t entries, uint16_t* table);

} // namespace page
