// The pages of a scan, one by one: decided on, corrected and written.
#pragma once

#include <filesystem>
#include <vector>

#include "command/plan.h"
#include "files/pending_file.h"
#include "opening/scan.h"
#include "options.h"
#include "page/correction.h"
#include "saving/save.h"
#include "told/report_page.h"

// The corrections of a scan's pages, for sidecar, report and messages.
struct CorrectedScan {
  std::vector<CorrectedPage> pages; // but those that are kept as they are
  std::vector<ShownPage> shown;     // the same pages; for the report alone, and the first for its thumbnail
  std::vector<std::string> frames;  // likewise, for a roll's contact sheet
};

// Decides on them without writing any. Throws Failure or VError.
CorrectedScan DecidePages(const Job& job, const Scan& scan, const Options& options);

// Writes all pages into the empty file `to`. `target`: the final name, beside which single pages lie for a time. Throws
// Failure or VError.
CorrectedScan CorrectPages(const Job& job, const Scan& scan, const Options& options, const SaveOptions& save,
                           PendingFile& to, const std::filesystem::path& target);
