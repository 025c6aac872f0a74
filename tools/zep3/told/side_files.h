// The files beside a result that tell about it: sidecar and report.
#pragma once

#include <string>
#include <vector>

#include "command/plan.h"
#include "files/pending_file.h"
#include "options.h"
#include "page/correction.h"
#include "page/prescan.h"

// Behind the name of the result.
inline constexpr const char* kSidecarSuffix = ".zep3.json";
inline constexpr const char* kReportSuffix = ".zep3.html";

// Whether one that is asked for is not there.
bool LacksSideFiles(const Job& job, const Options& options);

// Those that are asked for, finished and still without their names. `small`: for the report, a picture for each page.
// Throws Failure.
std::vector<PendingFile> WriteSideFiles(const Job& job, const Options& options, PendingFile::Sync sync,
                                        const std::vector<CorrectedPage>& pages, const std::vector<SmallScan>& small);
