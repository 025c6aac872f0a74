#include "told/report_place.h"

#include <iterator>

#include "files/output.h"

namespace fs = std::filesystem;

fs::path PlaceInRun(const fs::path& result, const fs::path& runFolder) {
  const fs::path name = fs::path(Canonical(result)).lexically_relative(Canonical(runFolder));
  return name.empty() || *name.begin() == ".." ? result.filename() : name;
}

fs::path ReportInRun(const fs::path& placeInRun) {
  return fs::path(kReportFolder) / "scans" / placeInRun.parent_path() / (placeInRun.filename().string() + ".html");
}

fs::path ThumbnailInRun(const fs::path& placeInRun) {
  return fs::path(kReportFolder) / "thumbs" / placeInRun.parent_path() / (placeInRun.filename().string() + ".jpg");
}

fs::path ReportOf(const Job& job, const Options& options) {
  if (options.runFolder.empty()) return job.result + kReportSuffix;
  return options.runFolder / ReportInRun(PlaceInRun(job.result, options.runFolder));
}

std::string OverviewFromReport(const Job& job, const Options& options) {
  const fs::path name = PlaceInRun(job.result, options.runFolder);
  std::string address = "../"; // out of "scans"
  for (auto i = std::next(name.begin()); i != name.end(); ++i) address += "../";
  return address + kOverviewName;
}

fs::path ThumbnailOf(const Job& job, const Options& options) {
  return options.runFolder / ThumbnailInRun(PlaceInRun(job.result, options.runFolder));
}
