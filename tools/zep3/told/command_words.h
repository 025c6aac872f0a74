// Commands as a user types them into a shell.
#pragma once

#include <string>

#include "options.h"

// "zep3 -k KIND ... SCAN": how this run corrects a scan, as another kind or by another analysis.
std::string CommandFor(const std::string& scan, const Options& options, const ZEP3_KIND& kind, bool adaptive);
