// Commands as a user types them into a shell.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "command/plan.h"
#include "options.h"

// A word as a shell takes it. Bytes that no terminal shows are escaped as bash, zsh and ksh read them.
std::string Quoted(const std::string& word);

// The command that was typed, cut where it is long.
std::string CommandLineText(int argc, const char* const* argv);

// Now, for people; or the seconds since 1970 in SOURCE_DATE_EPOCH, for reports that are the same at any time.
std::string TimeText();

// "zep3 -k KIND ... SCAN": how this run corrects a scan, as another kind or by another analysis.
std::string CommandFor(const std::string& scan, const Options& options, const ZEP3_KIND& kind, bool adaptive);

// Makes the result of a job again, with these options (name and value) instead of those that the run was given.
std::string AgainCommand(const Job& job, const Options& options,
                         const std::vector<std::pair<std::string, std::string>>& instead);

// Shows the scan as each kind.
std::string CompareCommand(const std::string& scan);

// Repeats the correction in the sidecar of this result, or the one that the run repeated, on other scans.
std::string SameCommand(const Job& job, const Options& options);

// Corrects other scans in the same way, each by what it shows.
std::string LikewiseCommand(const Options& options);
