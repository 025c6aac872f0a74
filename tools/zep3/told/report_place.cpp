#include "told/report_place.h"

#include <iterator>
#include <system_error>

#include "files/formats.h"
#include "files/output.h"

namespace fs = std::filesystem;

namespace {

bool IsFolder(const fs::path& path) {
  std::error_code ignored;
  return fs::is_directory(path, ignored);
}

// The longest folder above both.
fs::path CommonFolder(const fs::path& a, const fs::path& b) {
  fs::path common;
  for (auto i = a.begin(), j = b.begin(); i != a.end() && j != b.end() && *i == *j; ++i, ++j) common /= *i;
  return common;
}

} // namespace

std::string RunFolderOf(const Options& options) {
  const bool oneFile = options.inputs.size() == 1 && options.filesFrom.empty() && !IsFolder(options.inputs[0]);
  if (!options.inPlace) {
    const std::string& output = options.output;
    const bool toFile = oneFile && !output.ends_with('/') && !IsFolder(output);
    return output.empty() || output == "-" || toFile ? "" : output;
  }
  if (oneFile) return "";
  fs::path common;
  for (const std::string& input : options.inputs) {
    const fs::path path = Canonical(SplitOptions(input).name);
    const fs::path folder = IsFolder(path) ? path : path.parent_path();
    common = common.empty() ? folder : CommonFolder(common, folder);
  }
  // The names of a list are not known yet.
  return common.empty() ? "." : common.string();
}

fs::path NameInRun(const fs::path& result, const fs::path& runFolder) {
  const fs::path name = fs::path(Canonical(result)).lexically_relative(Canonical(runFolder));
  return name.empty() || *name.begin() == ".." ? result.filename() : name;
}

fs::path ReportInRun(const fs::path& nameInRun) {
  return fs::path(kReportFolder) / "scans" / nameInRun.parent_path() / (nameInRun.filename().string() + ".html");
}

fs::path ThumbnailInRun(const fs::path& nameInRun) {
  return fs::path(kReportFolder) / "thumbs" / nameInRun.parent_path() / (nameInRun.filename().string() + ".jpg");
}

fs::path ReportOf(const Job& job, const Options& options) {
  if (options.runFolder.empty()) return job.result + kReportSuffix;
  return options.runFolder / ReportInRun(NameInRun(job.result, options.runFolder));
}

std::string OverviewFromReport(const Job& job, const Options& options) {
  const fs::path name = NameInRun(job.result, options.runFolder);
  std::string address = "../"; // out of "scans"
  for (auto i = std::next(name.begin()); i != name.end(); ++i) address += "../";
  return address + kOverviewName;
}

fs::path ThumbnailOf(const Job& job, const Options& options) {
  return options.runFolder / ThumbnailInRun(NameInRun(job.result, options.runFolder));
}
