// The files that tell about a result: sidecar, report and thumbnail.
#pragma once

#include <string>
#include <vector>

#include "command/plan.h"
#include "files/pending_file.h"
#include "options.h"
#include "page/correction.h"
#include "told/report_page.h"

// Behind the name of the result.
inline constexpr const char* kSidecarSuffix = ".zep3.json";

// Whether one that is asked for is not there.
bool LacksSideFiles(const Job& job, const Options& options);

// Those that are asked for, finished and still without their names. `shown`: of the same pages, for report and
// thumbnail. Throws Failure.
std::vector<PendingFile> WriteSideFiles(const Job& job, const Options& options, PendingFile::Sync sync,
                                        const std::vector<CorrectedPage>& pages, const std::vector<ShownPage>& shown);
