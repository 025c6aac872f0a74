// Both are written whole before either has its name.
#include "told/side_files.h"

#include <filesystem>
#include <nlohmann/json.hpp>

#include "job/finished.h"
#include "job/observe.h"
#include "told/report_page.h"
#include "told/sidecar.h"

std::vector<PendingFile> WriteSideFiles(const Job& job, const Options& options, PendingFile::Sync sync,
                                        const std::vector<CorrectedPage>& pages, const std::vector<SmallScan>& small) {
  std::vector<PendingFile> files;
  if (options.sidecar) {
    nlohmann::ordered_json sidecar = CorrectionToJson(job.scan, pages, true);
    nlohmann::ordered_json origin = OriginOf(job, IdentityOfScan(job, options));
    origin.erase("versions"); // the sidecar's own say more
    sidecar.update(origin);
    files.push_back(WritePending(job.result + kSidecarSuffix, ToText(sidecar, 1) + '\n', sync));
  }
  if (options.report) {
    std::vector<ReportPage> shown;
    for (size_t i = 0; i < pages.size(); i++) shown.push_back(ToReport(pages[i], small[i], pages.size()));
    const std::string html = MakeReport(std::filesystem::path(job.scan).filename().string(), shown);
    files.push_back(WritePending(job.result + kReportSuffix, html, sync));
  }
  return files;
}

bool LacksSideFiles(const Job& job, const Options& options) {
  return (options.sidecar && TimeOf(job.result + kSidecarSuffix).size < 0) ||
         (options.report && TimeOf(job.result + kReportSuffix).size < 0);
}
