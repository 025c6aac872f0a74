#include "scan_job.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <vips/vips8>

#include "box_mean.h"
#include "encoding.h"
#include "failure.h"
#include "finish.h"
#include "log.h"
#include "output.h"
#include "report_page.h"
#include "save.h"
#include "scan.h"
#include "sidecar.h"
#include "tables.h"

namespace fs = std::filesystem;

namespace {

volatile std::sig_atomic_t interrupted = 0;

// ---- one page ----

// A page with its correction, and what the report shows of it.
struct PageWork {
  CorrectedPage corrected;
  SmallScan small;
};

// A sidecar of one page serves all pages; one of several, each its own.
const CorrectedPage& PageOf(const std::vector<CorrectedPage>& sidecar, int page) {
  if (sidecar.size() == 1) return sidecar.front();
  for (const CorrectedPage& corrected : sidecar) {
    if (corrected.page == page) return corrected;
  }
  throw Failure("the sidecar holds nothing for page " + std::to_string(page + 1));
}

// A page's correction: repeated from the sidecar, or found.
PageWork Decide(const Scan& scan, int page, const vips::VImage& image, const Options& options,
                const std::vector<CorrectedPage>& sidecar) {
  PageWork work;
  // A repeated correction needs none, but what is told about it does.
  const bool measured = sidecar.empty() || options.sidecar || options.report;
  if (measured) {
    work.small = TakePrescan(image, [&](int64_t side) {
      if (!scan.IsTiff() || IsHeld(image)) return vips::VImage(nullptr);
      return BoxMeanOfPlainTiff(scan.Path(), static_cast<unsigned>(scan.FilePage(page)), ColourBands(image), side);
    });
  }
  CorrectedPage& corrected = work.corrected;
  if (sidecar.empty()) {
    const Encoding encoding = FindEncoding(image, options.inputGamma, options.outputGamma);
    corrected.correction = Analyse(work.small, options.analysis, options.user, encoding);
    corrected.chroma = ChromaFactor(corrected.correction.record);
  } else {
    corrected = PageOf(sidecar, scan.FilePage(page));
    ApplyUserOptions(options.user, corrected.correction.record);
    if (measured) MeasurePrescan(work.small, corrected.correction);
  }
  if (!options.saturation) corrected.chroma = 1;
  corrected.page = scan.FilePage(page);
  corrected.bands = image.bands();
  corrected.bits = image.format() == VIPS_FORMAT_USHORT ? 16 : 8;
  return work;
}

std::vector<PageWork> DecideAll(const Scan& scan, const Options& options, const std::vector<CorrectedPage>& sidecar) {
  std::vector<PageWork> pages;
  for (int page = 0; page < scan.Pages(); page++) {
    if (scan.IsBilevel(page)) continue;
    pages.push_back(Decide(scan, page, scan.Open(page), options, sidecar));
  }
  if (pages.empty()) throw Failure("is black and white only; there is nothing to correct");
  return pages;
}

// ---- side files ----

std::vector<CorrectedPage> Corrections(const std::vector<PageWork>& pages) {
  std::vector<CorrectedPage> corrections;
  for (const PageWork& page : pages) corrections.push_back(page.corrected);
  return corrections;
}

void WriteSideFiles(const Job& job, const Options& options, const std::vector<PageWork>& pages) {
  // They belong to the result, which is not there yet or is to be replaced: so are they.
  if (options.sidecar) {
    const auto json = CorrectionToJson(job.scan, Corrections(pages));
    WriteWhole(job.result + ".zep3.json", ToText(json, 1) + '\n', true);
  }
  if (options.report) {
    std::vector<ReportPage> shown;
    for (const PageWork& page : pages) shown.push_back(ToReport(page.corrected, page.small, pages.size()));
    WriteWhole(job.result + ".zep3.html", MakeReport(fs::path(job.scan).filename().string(), shown), true);
  }
}

// ---- the result ----

const Format& ResultFormat(const Job& job, const Options& options, const Scan& scan) {
  if (options.format != nullptr) return *options.format;
  const Format* byName = FormatOfName(job.result);
  const Format* byContent = scan.FileFormat();
  if (job.named) {
    if (byName == nullptr)
      throw Failure("the name " + job.result +
                    " says no format that results are written in (.tif, .png, .jpg, .webp, .ppm)");
    return *byName;
  }
  if (byContent == nullptr) throw Failure("results are not written in its format; --format tif takes another");
  if (byName != nullptr && byName != byContent) {
    throw Failure("is a " + std::string(byContent->name) + " file by its content, though its name says " +
                  std::string(byName->name) + "; rename it, or name the result");
  }
  return *byContent;
}

void ShowProgress(VipsImage*, VipsProgress* progress, void* image) {
  if (interrupted) vips_image_set_kill(static_cast<VipsImage*>(image), TRUE);
  // Only what takes long, and only where someone is looking.
  if (::isatty(STDERR_FILENO) && progress->run > 1) std::fprintf(stderr, "\rzep3: writing, %d %% ", progress->percent);
}

void EndProgress(VipsImage*, VipsProgress* progress, void*) {
  if (::isatty(STDERR_FILENO) && progress->run > 1) std::fprintf(stderr, "\r\033[K");
}

vips::VImage Watched(vips::VImage image, bool quiet) {
  VipsImage* watched = image.get_image();
  vips_image_set_progress(watched, TRUE);
  g_signal_connect(watched, "eval", G_CALLBACK(ShowProgress), watched);
  if (!quiet) g_signal_connect(watched, "posteval", G_CALLBACK(EndProgress), watched);
  return image;
}

// Writes all pages into `path` and returns what was decided for them.
std::vector<PageWork> WritePages(const Scan& scan, const Job& job, const Options& options, const SaveOptions& save,
                                 const std::string& path, const std::string& suffix) {
  const std::vector<CorrectedPage> sidecar =
      options.useSidecar.empty() ? std::vector<CorrectedPage>() : ReadSidecar(options.useSidecar);
  const bool tiff = save.format->name == "tiff" && scan.IsTiff();
  if (scan.Pages() > 1 && !tiff) {
    throw Failure("has " + std::to_string(scan.Pages()) + " pages, which only TIFF files keep; " + job.scan +
                  "[page=0] names one");
  }
  std::vector<PageWork> pages;
  for (int page = 0; page < scan.Pages(); page++) {
    if (tiff && scan.IsBilevel(page)) { // nothing to correct: kept as it is stored
      AppendTiffPage(scan.Path(), static_cast<unsigned>(scan.FilePage(page)), path, scan.Layout(page).big);
      continue;
    }
    const vips::VImage image = scan.Open(page);
    // A thumbnail or pyramid layer is corrected as the page that it shows.
    const bool again = scan.IsTiff() && scan.Layout(page).reduced && !pages.empty();
    if (!again) pages.push_back(Decide(scan, page, image, options, sidecar));
    const CorrectedPage& corrected = pages.back().corrected;
    // A scan that is too large to be held is read a second time.
    const vips::VImage result =
        FitProfile(ApplyCorrection(IsHeld(image) ? image : scan.Open(page), corrected.correction, corrected.chroma),
                   corrected.correction.encoding);
    if (scan.Pages() == 1) {
      Save(Watched(result, options.quiet), scan, page, save, path);
    } else {
      const PendingFile single(job.result == "-" ? fs::temp_directory_path() / "page" : fs::path(job.result), suffix);
      Save(Watched(result, options.quiet), scan, page, save, single.Path());
      AppendTiffPage(single.Path(), 0, path, scan.Layout(page).big);
    }
    if (tiff && scan.Layout(page).subImages) Say(job.scan + ": sub-images of a page are left out");
  }
  return pages;
}

Outcome Correct(const Job& job, const Options& options) {
  const bool toOutput = job.result == "-";
  const std::string backup = options.inPlace && !options.noBackup ? job.result + "_original" : "";
  std::string source = job.scan == "-" ? SpoolStandardInput() : job.scan;
  if (!backup.empty() && fs::exists(backup)) {
    if (!options.overwrite) return {Status::kSkipped, backup + " exists: it is corrected already", "", 0};
    source = backup; // once more from the original, not on top of the first correction
  } else if (!options.inPlace && !toOutput && !options.overwrite && fs::exists(fs::symlink_status(job.result))) {
    if (job.named) throw Failure(job.result + " exists; --overwrite replaces it");
    return {Status::kSkipped, job.result + " exists", "", 0};
  }
  if (options.dryRun) {
    const Scan scan(source);
    ResultFormat(job, options, scan);
    return {Status::kPlanned, "would become " + (toOutput ? std::string("standard output") : job.result), "", 0};
  }

  const Scan scan(source);
  const Format& format = ResultFormat(job, options, scan);
  const SaveOptions save = {&format, options.saver, options.strip};
  const std::string suffix = FormatOfName(job.result) == &format ? fs::path(job.result).extension().string()
                                                                 : std::string(format.extensions.front());
  const fs::path target = toOutput ? fs::temp_directory_path() / "zep3" : fs::path(job.result);
  if (target.has_parent_path()) fs::create_directories(target.parent_path());
  PendingFile pending(target, suffix);
  const std::vector<PageWork> pages = WritePages(scan, job, options, save, pending.Path(), suffix);
  if (interrupted) return {Status::kInterrupted, "interrupted", "", 0};
  WriteSideFiles(job, options, pages);
  if (toOutput) {
    CopyToStandardOutput(pending.Path());
  } else if (options.inPlace) {
    pending.CommitInPlace(backup);
  } else {
    pending.Commit(options.overwrite);
  }
  return {Status::kCorrected, pages.empty() ? "is black and white only; kept as it is" : "", "", 0};
}

// ---- the other commands ----

Outcome Analyse(const Job& job, const Options& options) {
  const Scan scan(job.scan == "-" ? SpoolStandardInput() : job.scan);
  const auto pages = DecideAll(scan, options, {});
  const auto json = CorrectionToJson(job.scan, Corrections(pages));
  return {Status::kCorrected, "", ToText(json, options.json ? -1 : 1) + '\n', 0};
}

Outcome PrintTables(const Job& job, const Options& options) {
  const Scan scan(job.scan == "-" ? SpoolStandardInput() : job.scan);
  const auto sidecar = options.useSidecar.empty() ? std::vector<CorrectedPage>() : ReadSidecar(options.useSidecar);
  const auto pages = DecideAll(scan, options, sidecar);
  const Tables tables = MakeTables(pages.front().corrected.correction, 256);
  const std::string& form = options.tableForm;
  const std::string text = form == "csv"         ? TablesAsCsv(tables)
                           : form == "json"      ? TablesAsJson(tables)
                           : form == "png"       ? TablesAsPng(tables)
                           : form == "scanimage" ? TablesForScanimage(tables)
                                                 : TablesAsText(tables);
  if (job.result.empty() || job.result == "-") return {Status::kCorrected, "", text, 0};
  WriteWhole(job.result, text, options.overwrite);
  return {Status::kCorrected, "", "", 0};
}

Outcome Dispatch(const Job& job, const Options& options) {
  if (!job.refusal.empty()) throw Failure(job.refusal);
  switch (options.command) {
    case Command::kAnalyse:
      return Analyse(job, options);
    case Command::kTables:
      return PrintTables(job, options);
    case Command::kCorrect:
      break;
  }
  return Correct(job, options);
}

} // namespace

Outcome RunJob(const Job& job, const Options& options) {
  const auto begin = std::chrono::steady_clock::now();
  Outcome outcome;
  try {
    outcome = Dispatch(job, options);
  } catch (const vips::VError& error) {
    outcome.message = LibraryReason(error);
  } catch (const fs::filesystem_error& error) {
    outcome.message = error.path1().string() + ": " + error.code().message();
  } catch (const std::exception& error) {
    outcome.message = error.what();
  }
  if (interrupted && outcome.status == Status::kFailed) outcome = {Status::kInterrupted, "interrupted", "", 0};
  outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  return outcome;
}

void Interrupt() { interrupted = 1; }

bool IsInterrupted() { return interrupted != 0; }
