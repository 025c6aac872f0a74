// The first pass over a roll: what each scan says of what it shares with the others.
#pragma once

#include <string>

#include "command/plan.h"
#include "files/file_state.h"
#include "job/outcome.h"
#include "options.h"
#include "told/roll_file.h"

// The file that holds the scan of a job: the scan, or its original where an earlier run has replaced it. Throws
// Failure.
std::string OriginalOf(const Job& job, const Options& options);

// Whether an earlier run has finished the scan, so that this one leaves it. Throws Failure.
bool IsFinishedBefore(const Job& job, const Options& options);

// Name, size and time of the scan of a job, without its pages. Throws Failure.
ObservedScan IdentityOf(const Job& job, const Options& options);

// Size and time of the file that holds the scan of a job; those of FileTime() where there is none.
FileTime IdentityOfScan(const Job& job, const Options& options);

// Reads the scan; the outcome's text is that of ObservedScanText. Throws Failure or what the libraries throw.
Outcome ObserveScan(const Job& job, const Options& options);
