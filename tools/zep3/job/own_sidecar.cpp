#include "job/own_sidecar.h"

#include <filesystem>
#include <nlohmann/json.hpp>

#include "failure.h"
#include "files/file_state.h"
#include "files/formats.h"
#include "files/output.h"
#include "saving/in_place.h"
#include "told/json_fields.h"
#include "told/sidecar.h"

namespace fs = std::filesystem;

namespace {

// Whether the sidecar names a scan as this file is named, which then was another file. Those of the page in the
// browser lie beside scans, and name no size.
bool IsOfResult(const std::string& sidecar, const fs::path& file) try {
  const auto json = nlohmann::json::parse(ReadText(sidecar, kSidecarBytes));
  const FileTime scan = {json.at("size").get<int64_t>(), json.at("time").get<int64_t>()};
  const FileTime now = TimeOf(file);
  if (scan == now || fs::path(json.at("path").get<std::string>()).stem() != file.stem()) return false;
  return scan.size != now.size || json.contains("inPlace"); // an uncompressed result is as large as its scan
} catch (const nlohmann::json::exception&) {
  return false; // it names no file, or is damaged, which its reader says
}

} // namespace

void CheckIsNoResult(const Job& job) {
  const fs::path file = Canonical(SplitOptions(job.scan).name);
  const std::string original = KeptOriginals(FolderOf(file)).OriginalOf(file);
  if (!original.empty()) {
    throw Failure("is corrected already, in place of " + original + ": --own-sidecars would correct it twice");
  }
  if (IsOfResult(job.sidecar, file)) {
    throw Failure("is not the scan that " + job.sidecar + " tells of, but its result, or was changed since: " +
                  "--own-sidecars would correct it twice; --use-sidecar takes any");
  }
}
