// The result of a job: its format and layout, and whether something stands in its way.
#pragma once

#include "command/plan.h"
#include "files/pending_file.h"
#include "job/outcome.h"
#include "opening/scan.h"
#include "options.h"
#include "saving/save.h"

// The format by the option, the result's name or the scan's content. Throws Failure where these do not agree.
const Format& ResultFormat(const Job& job, const Options& options, const Scan& scan);

// Throws Failure for pages that cannot be corrected or kept; found without reading pixels.
void CheckPages(const Scan& scan, const Job& job, const Options& options, const Format& format);

SaveOptions SaveOptionsOf(const Job& job, const Options& options, const Format& format);
PendingFile::Sync SyncOf(const Options& options);

// True when there is a result that must stay.
bool IsTaken(const Job& job, const Options& options);
// The outcome of a job whose earlier result must stay. Throws Failure where the user named that result.
Outcome Exists(const Job& job);
