// The levels that enter the statistics, by document type, and the separation of minimum levels.
#pragma once

#include <cstdint>

#include "engine/hist/chist.h"

struct LevelBounds {
  bool known = false;     // false for a document type outside 0..3: no level counts
  int low[3] = {0, 0, 0}; // lowest level, by channel
  int high = -1;          // highest level
};

LevelBounds BoundsOf(const CHIST& hist, int16_t docType);

// Raises the second and third of an entry's three levels to at least 0.1 above the one before.
void SeparateUpwards(double* const values[3], int entry);
