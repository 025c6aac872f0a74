// Boxes of faded prints or slides: the history that the originals share, how unequal they are, and which belong.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/adaptive/positive/costs.h"
#include "engine/zep3.h"

// As SolveRoll does.
bool SolveBox(const ZEP3_OBSERVATION* seen, const std::vector<size_t>& order, ZEP3_SHARED& shared, int64_t* member);

// Of a record that was solved.
BoxHistory HistoryOf(const ZEP3_SHARED& shared);
