// Where reports, their thumbnails and the overview of a run lie.
#pragma once

#include <filesystem>
#include <string>

#include "command/plan.h"
#include "options.h"

// Below the folder of a run's results. -r does not search it.
inline constexpr const char* kReportFolder = "zep3-report";
inline constexpr const char* kOverviewName = "index.html";

// Behind the name of the result.
inline constexpr const char* kReportSuffix = ".zep3.html";

// A result's place below the run's folder; the last part alone where it lies elsewhere.
std::filesystem::path PlaceInRun(const std::filesystem::path& result, const std::filesystem::path& runFolder);

// Of that name, below the run's folder.
std::filesystem::path ReportInRun(const std::filesystem::path& placeInRun);
std::filesystem::path ThumbnailInRun(const std::filesystem::path& placeInRun);

// The report of a job, and the address of the overview from there.
std::filesystem::path ReportOf(const Job& job, const Options& options);
std::string OverviewFromReport(const Job& job, const Options& options);

std::filesystem::path ThumbnailOf(const Job& job, const Options& options);
