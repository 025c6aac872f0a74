// A scan finished small as each kind of original and by each analysis.
#pragma once

#include "command/plan.h"
#include "job/outcome.h"
#include "options.h"

// The scan's part of the page, as the outcome's text. Of a scan of several pages, the first. Throws Failure or what the
// libraries throw.
Outcome CompareKinds(const Job& job, const Options& options);
