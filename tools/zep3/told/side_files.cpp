// All are written whole before any has its name.
#include "told/side_files.h"

#include <algorithm>
#include <cmath>
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

// What becomes of a page, made small first: correcting as many pixels as a report shows takes as long as the report.
std::string ThumbnailOf(const CorrectedPage& page, const SmallScan& small) {
  const auto shrink = static_cast<double>(small.shrink);
  const double longer = page.cut ? std::max(page.cut->width, page.cut->height) / shrink
                                 : std::max(small.image.width(), small.image.height());
  const SmallScan smaller = Smaller(small, static_cast<int64_t>(std::ceil(longer / kThumbnailSide)));
  return Thumbnail(smaller.image, ResultSmall(page, smaller));
}

// libvips with one thread: several wait for each other longer than they work on pictures of this size.
class OneThread {
 public:
  OneThread() { vips_concurrency_set(1); }
  ~OneThread() { vips_concurrency_set(m_before); }
  OneThread(const OneThread&) = delete;
  OneThread& operator=(const OneThread&) = delete;

 private:
  int m_before = vips_concurrency_get();
};

} // namespace

std::vector<PendingFile> WriteSideFiles(const Job& job, const Options& options, PendingFile::Sync sync,
                                        const std::vector<CorrectedPage>& pages, const std::vector<ShownPage>& shown) {
  const OneThread alone;
  std::vector<PendingFile> files;
  if (options.sidecar) {
    nlohmann::ordered_json sidecar = CorrectionToJson(job.scan, pages, true);
    nlohmann::ordered_json origin = OriginOf(job, IdentityOfScan(job, options));
    origin.erase("versions"); // the sidecar's own say more
    sidecar.update(origin);
    if (options.inPlace) sidecar["inPlace"] = true; // what it lies beside is corrected already
    files.push_back(WritePending(job.result + kSidecarSuffix, ToText(sidecar, 1) + '\n', sync));
  }
  if (options.report) {
    std::vector<ReportPage> told;
    for (size_t i = 0; i < pages.size(); i++) told.push_back(ToReport(pages[i], shown[i], pages.size()));
    const ReportHead head = ToReportHead(job, options, pages, options.overview ? OverviewFromReport(job, options) : "");
    files.push_back(WriteInFolder(ReportOf(job, options), MakeReport(head, told), sync));
  }
  if (options.overview && !shown.empty()) {
    const std::string bytes = ThumbnailOf(pages[0], shown[0].small);
    files.push_back(WriteInFolder(ThumbnailOf(job, options), bytes, PendingFile::Sync::kNo));
  }
  return files;
}

bool LacksSideFiles(const Job& job, const Options& options) {
  return (options.sidecar && TimeOf(job.result + kSidecarSuffix).size < 0) ||
         (options.report && TimeOf(ReportOf(job, options)).size < 0) ||
         (options.overview && TimeOf(ThumbnailOf(job, options)).size < 0);
}
