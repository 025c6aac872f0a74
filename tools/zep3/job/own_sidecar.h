// A sidecar beside a file tells of that file as a scan, or as the result that it became.
#pragma once

#include "command/plan.h"

// Throws Failure where the sidecar beside the scan of a job has been laid over it before: the scan was finished in
// place, or is a result.
void CheckIsNoResult(const Job& job);
