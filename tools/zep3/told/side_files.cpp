// Both are written whole before either has its name.
#include "told/side_files.h"

#include <filesystem>

#include "told/report_page.h"
#include "told/sidecar.h"

std::vector<PendingFile> WriteSideFiles(const Job& job, const Options& options, PendingFile::Sync sync,
                                        const std::vector<CorrectedPage>& pages, const std::vector<SmallScan>& small) {
  std::vector<PendingFile> files;
  if (options.sidecar) {
    files.push_back(WritePending(job.result + kSidecarSuffix, CorrectionText(job.scan, pages, true, 1), sync));
  }
  if (options.report) {
    std::vector<ReportPage> shown;
    for (size_t i = 0; i < pages.size(); i++) shown.push_back(ToReport(pages[i], small[i], pages.size()));
    const std::string html = MakeReport(std::filesystem::path(job.scan).filename().string(), shown);
    files.push_back(WritePending(job.result + kReportSuffix, html, sync));
  }
  return files;
}
