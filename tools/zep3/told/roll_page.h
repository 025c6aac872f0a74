// A page that shows a roll or box: its contact sheet before and after, what was shared, who is odd or blank and why.
#pragma once

#include <string>
#include <vector>

#include <vips/vips8>

#include "command/plan.h"
#include "options.h"
#include "page/correction.h"
#include "page/prescan.h"
#include "told/roll_file.h"

// A finished page's part of the contact sheet. `count`: pages of its scan.
std::string RollFrame(const Job& job, const Options& options, const CorrectedPage& corrected, const SmallScan& small,
                      size_t count);
// That of a scan whose result exists; `original` is the scan's file.
std::string FinishedRollFrame(const Job& job, const std::string& original, const Options& options);
// That of a scan that could not be finished.
std::string FailedRollFrame(const std::string& scan, const std::string& why);

// The whole page, from the frames in their order. `text`: who belongs, in a line.
std::string RollPage(const std::string& name, const Roll& roll, const std::string& text,
                     const std::vector<std::string>& frames);

// Pixels of the longer side of pictures on a sheet of so many.
int64_t RollPictureSide(size_t frames);
