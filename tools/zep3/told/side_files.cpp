// All are written whole before any has its name.
#include "told/side_files.h"

#include <filesystem>
#include <nlohmann/json.hpp>

#include "files/output.h"
#include "job/finished.h"
#include "job/observe.h"
#include "told/html.h"
#include "told/report_page.h"
#include "told/report_place.h"
#include "told/sidecar.h"

namespace {

PendingFile WriteInFolder(const std::filesystem::path& name, const std::string& bytes, PendingFile::Sync sync) {
  CreateFolders(FolderOf(name), sync);
  return WritePending(name, bytes, sync);
}

} // namespace

std::vector<PendingFile> WriteSideFiles(const Job& job, const Options& options, PendingFile::Sync sync,
                                        const std::vector<CorrectedPage>& pages, const std::vector<ShownPage>& shown) {
  std::vector<PendingFile> files;
  if (options.sidecar) {
    nlohmann::ordered_json sidecar = CorrectionToJson(job.scan, pages, true);
    nlohmann::ordered_json origin = OriginOf(job, IdentityOfScan(job, options));
    origin.erase("versions"); // the sidecar's own say more
    sidecar.update(origin);
    files.push_back(WritePending(job.result + kSidecarSuffix, ToText(sidecar, 1) + '\n', sync));
  }
  const bool overview = options.overview && !shown.empty();
  if (options.report) {
    std::vector<ReportPage> told;
    for (size_t i = 0; i < pages.size(); i++) told.push_back(ToReport(pages[i], shown[i], pages.size()));
    const ReportHead head = ToReportHead(job, options, pages, options.overview ? OverviewFromReport(job, options) : "");
    files.push_back(WriteInFolder(ReportOf(job, options), MakeReport(head, told), sync));
    if (overview) {
      const std::string bytes = Thumbnail(told[0].before, told[0].cut ? *told[0].cut : told[0].after);
      files.push_back(WriteInFolder(ThumbnailOf(job, options), bytes, PendingFile::Sync::kNo));
    }
  } else if (overview) {
    const SmallScan& small = shown[0].small;
    const std::string bytes = Thumbnail(small.image, ResultSmall(pages[0], small));
    files.push_back(WriteInFolder(ThumbnailOf(job, options), bytes, PendingFile::Sync::kNo));
  }
  return files;
}

bool LacksSideFiles(const Job& job, const Options& options) {
  return (options.sidecar && TimeOf(job.result + kSidecarSuffix).size < 0) ||
         (options.report && TimeOf(ReportOf(job, options)).size < 0) ||
         (options.overview && TimeOf(ThumbnailOf(job, options)).size < 0);
}
