// What the report shows of a corrected page.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "command/plan.h"
#include "options.h"
#include "page/correction.h"
#include "page/prescan.h"
#include "told/report.h"

// A part of a page as it is scanned, in memory.
struct ScanPart {
  vips::VImage image;
  int64_t left = 0, top = 0;
};

// What is kept of a page for the report.
struct ShownPage {
  SmallScan small;              // before the correction
  std::optional<ScanPart> part; // to be shown pixel for pixel
};

// Whether the report's pictures leave out pixels of a page of this size, so that it wants a part of it.
bool WantsPart(const SmallScan& small);

// The middle of the picture. Reads `source` down to there.
ScanPart PartOf(const vips::VImage& source, const CorrectedPage& corrected);

// The page made small, as its correction finishes it.
vips::VImage FinishedSmall(const CorrectedPage& corrected, const SmallScan& small);

// The same, cut out where the result is.
vips::VImage ResultSmall(const CorrectedPage& corrected, const SmallScan& small);

// `count`: of the pages in the report.
ReportPage ToReport(const CorrectedPage& corrected, const ShownPage& shown, size_t count);

// `overview`: see ReportHead.
ReportHead ToReportHead(const Job& job, const Options& options, const std::vector<CorrectedPage>& pages,
                        const std::string& overview);
