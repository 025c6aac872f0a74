// From a pre-scan to its correction: the area, the engine's analysis, the pipettes, what the user adds.
#pragma once

#include "options.h"
#include "page/correction.h"
#include "page/prescan.h"

// Throws Failure when the engine refuses the scan, or a pipette its place or colour.
Correction Analyse(const SmallScan& scan, const AnalysisOptions& analysis, const UserOptions& user,
                   const Encoding& encoding);

// Makes a correction that was found on another scan this one's: with what the user adds, its size and statistics, and
// its verdict.
void Repeat(const SmallScan& scan, const UserOptions& user, Correction& correction);
