// From a pre-scan to its correction: the area, the engine's analysis, the pipettes, what the user adds.
#pragma once

#include "options.h"
#include "page/correction.h"
#include "page/prescan.h"

// Throws Failure when the engine refuses the scan, or a pipette its place or colour.
Correction Analyse(const SmallScan& scan, const AnalysisOptions& analysis, const UserOptions& user,
                   const Encoding& encoding);

// Puts the scan's own size and statistics into a correction that was found on another.
void MeasurePrescan(const SmallScan& scan, Correction& correction);

void ApplyUserOptions(const UserOptions& user, Record& record);
