// What the report shows of a corrected page.
#pragma once

#include <cstddef>

#include "page/correction.h"
#include "page/prescan.h"
#include "told/report.h"

// The page made small, as its correction finishes it.
vips::VImage FinishedSmall(const CorrectedPage& corrected, const SmallScan& small);

// The same, cut out where the result is.
vips::VImage ResultSmall(const CorrectedPage& corrected, const SmallScan& small);

// `small` is the page made small, before the correction; `count` the number of pages in the report.
ReportPage ToReport(const CorrectedPage& corrected, const SmallScan& small, size_t count);
