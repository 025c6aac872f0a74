#include "scan_job.h"

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <vips/vips8>

#include "box_mean.h"
#include "check_whole.h"
#include "encoding.h"
#include "evidence.h"
#include "failure.h"
#include "finish.h"
#include "in_place.h"
#include "interrupt.h"
#include "log.h"
#include "output.h"
#include "pending_file.h"
#include "plain_tiff.h"
#include "report_page.h"
#include "save.h"
#include "scan.h"
#include "sidecar.h"
#include "tables.h"

namespace fs = std::filesystem;

namespace {

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

// A page's correction: repeated from the sidecar, or found, for which the image is read. What the result is made from
// goes to `source` where that is asked for: an image still to be read.
PageWork Decide(const Scan& scan, int page, const Options& options, const std::vector<CorrectedPage>& sidecar,
                vips::VImage* source) {
  const MemoryBound bound(options.admission);
  const vips::VImage image = scan.Open(page);
  if (source != nullptr) *source = image;
  PageWork work;
  // A repeated correction needs none, but what is told about it does.
  const bool measured = sidecar.empty() || options.sidecar || options.report;
  if (measured) {
    const auto plain = [&](int64_t side) {
      if (!scan.IsTiff() || !scan.IsPlainFile()) return vips::VImage(nullptr);
      return BoxMeanOfPlainTiff(scan.Path(), scan.Place(page), ColourBands(image), side);
    };
    vips::VImage held(nullptr);
    work.small = TakePrescan(image, plain, source != nullptr ? &held : nullptr);
    // What is too large to be held is read a second time.
    if (source != nullptr) *source = held.is_null() ? scan.Open(page) : held;
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

std::vector<CorrectedPage> DecideAll(const Scan& scan, const Options& options,
                                     const std::vector<CorrectedPage>& sidecar) {
  std::vector<CorrectedPage> pages;
  for (int page = 0; page < scan.Pages(); page++) {
    if (scan.IsBilevel(page) || scan.IsReduced(page)) continue;
    pages.push_back(Decide(scan, page, options, sidecar, nullptr).corrected);
  }
  if (pages.empty()) throw Failure("is black and white only; there is nothing to correct");
  scan.CheckUnchanged();
  return pages;
}

// What is told about the analyses of a scan's pages.
Outcome WithFindings(Outcome outcome, const std::vector<const CorrectedPage*>& pages) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const CorrectedPage* page : pages) {
    const Correction& correction = page->correction;
    const std::string which = pages.size() > 1 ? "page " + std::to_string(page->page + 1) + ": " : "";
    if (correction.finding) outcome.found.push_back(which + Summary(*correction.finding));
    list.push_back({{"page", page->page}, {"analysis", AnalysisToJson(correction)}, {"frame", FrameToJson(correction)}});
  }
  outcome.pages = ToText(list, -1);
  return outcome;
}

// ---- side files ----

PendingFile::Sync SyncOf(const Options& options) {
  return options.noSync ? PendingFile::Sync::kNo : PendingFile::Sync::kYes;
}

// They belong to the result and are replaced with it.
std::vector<PendingFile> WriteSideFiles(const Job& job, const Options& options, const std::vector<PageWork>& pages) {
  std::vector<PendingFile> files;
  if (options.sidecar) {
    std::vector<CorrectedPage> corrections;
    for (const PageWork& page : pages) corrections.push_back(page.corrected);
    const auto json = CorrectionToJson(job.scan, corrections);
    files.push_back(WritePending(job.result + kSidecarSuffix, ToText(json, 1) + '\n', SyncOf(options)));
  }
  if (options.report) {
    std::vector<ReportPage> shown;
    for (const PageWork& page : pages) shown.push_back(ToReport(page.corrected, page.small, pages.size()));
    const std::string html = MakeReport(fs::path(job.scan).filename().string(), shown);
    files.push_back(WritePending(job.result + kReportSuffix, html, SyncOf(options)));
  }
  return files;
}

// ---- the result ----

const Format& ResultFormat(const Job& job, const Options& options, const Scan& scan) {
  const Format* byName = FormatOfName(job.result);
  if (options.format != nullptr) {
    if (job.named && byName != nullptr && byName != options.format) {
      throw Failure("the name " + job.result + " says " + std::string(byName->name) + ", --format " +
                    std::string(options.format->name));
    }
    return *options.format;
  }
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

// A line that tells how far a result is; only what takes long, and only where someone is looking.
class Progress {
 public:
  explicit Progress(bool quiet) : m_shown(!quiet && ::isatty(STDERR_FILENO)) {}
  ~Progress() {
    if (m_written) std::fprintf(stderr, "\r\033[K");
  }
  void Show(int percent) {
    if (!m_shown || std::chrono::steady_clock::now() - m_begin < std::chrono::seconds(1)) return;
    std::fprintf(stderr, "\rzep3: writing, %d %% ", percent);
    m_written = true;
  }

 private:
  bool m_shown;
  bool m_written = false;
  std::chrono::steady_clock::time_point m_begin = std::chrono::steady_clock::now();
};

void ShowProgress(VipsImage* image, VipsProgress* state, void* progress) {
  if (IsInterrupted()) vips_image_set_kill(image, TRUE);
  static_cast<Progress*>(progress)->Show(state->percent);
}

// `progress` must outlive the image's computation.
vips::VImage Watched(const vips::VImage& image, Progress& progress) {
  vips_image_set_progress(image.get_image(), TRUE);
  g_signal_connect(image.get_image(), "eval", G_CALLBACK(ShowProgress), &progress);
  return image;
}

// What can be said without reading pixels.
void CheckPages(const Scan& scan, const Job& job, const Options& options, const Format& format) {
  const bool tiff = format.name == "tiff" && scan.IsTiff();
  if (scan.Pages() > 1 && !tiff) {
    throw Failure("has " + std::to_string(scan.Pages()) + " pages, which are kept from TIFF to TIFF only; " + job.scan +
                  "[page=0] names one");
  }
  for (int page = 0; page < scan.Pages(); page++) {
    if (!tiff || !scan.IsBilevel(page)) scan.Head(page);
    if (scan.IsTiff() && scan.Layout(page).subImages) {
      if (options.inPlace && options.noBackup) throw Failure("holds sub-images, which would be lost without a backup");
      Say(job.scan + ": sub-images of a page are left out");
    }
  }
}

// A plain page to a plain page: what is not pixels is carried, and pixels go from file to file. False where more is to
// be done.
bool RewritePage(const Scan& scan, int page, const vips::VImage& image, const CorrectedPage& corrected,
                 const Options& options, const SaveOptions& save, PendingFile& to) {
  const Correction& correction = corrected.correction;
  const bool tiff = save.format->name == "tiff" && scan.IsTiff() && scan.IsPlainFile();
  const bool asIs = save.saver.empty() && !save.strip && correction.encoding.input == correction.encoding.output;
  if (!tiff || !asIs || !IsTablesAlone(image, corrected.chroma)) return false;
  // Of the page itself: a thumbnail, corrected as the page before it, may have another depth.
  const PlainShape shape = {image.width(), image.height(), image.bands(), image.format() == VIPS_FORMAT_USHORT};
  Progress progress(options.quiet);
  const auto go = [&](double share) {
    progress.Show(static_cast<int>(100 * share));
    return !IsInterrupted();
  };
  return RewritePlainTiff(scan.Path(), scan.Place(page), to, shape, PixelsThroughTables(correction, shape.deep), go);
}

void WritePage(const Scan& scan, int page, const vips::VImage& image, const CorrectedPage& corrected,
               const Options& options, const SaveOptions& save, PendingFile& to) {
  if (RewritePage(scan, page, image, corrected, options, save, to)) return;
  const vips::VImage result = ApplyCorrection(image, corrected.correction, corrected.chroma);
  Progress progress(options.quiet);
  Save(Watched(FitProfile(result, corrected.correction.encoding), progress), scan, page, save, to);
}

// Does what writes into a file. Whether libraries took notice of an error or not, the file has its first reason.
template <typename Work>
void Write(PendingFile& file, Work work) {
  try {
    work();
  } catch (...) {
    file.Check();
    throw;
  }
  file.Check();
}

// Writes all pages, and returns what was decided for them. `target`: the final name.
std::vector<PageWork> WritePages(const Scan& scan, const Options& options, const SaveOptions& save, PendingFile& to,
                                 const fs::path& target) {
  const std::vector<CorrectedPage> sidecar =
      options.useSidecar.empty() ? std::vector<CorrectedPage>() : ReadSidecar(options.useSidecar);
  const bool tiff = save.format->name == "tiff" && scan.IsTiff();
  TiffPageWriter writer(to, tiff && scan.Layout(0).big);
  std::vector<PageWork> pages;
  for (int page = 0; page < scan.Pages(); page++) {
    if (tiff && scan.IsBilevel(page)) { // nothing to correct: kept as it is stored
      writer.Append(scan.Path(), scan.Place(page), save.strip);
      continue;
    }
    vips::VImage image(nullptr);
    if (scan.IsReduced(page) && !pages.empty()) {
      image = scan.Open(page);
    } else {
      pages.push_back(Decide(scan, page, options, sidecar, &image));
    }
    PageWork& work = pages.back();
    const CorrectedPage& corrected = work.corrected;
    if (!options.report) work.small = {}; // of many pages, what is shown alone is kept
    if (scan.Pages() == 1) {
      WritePage(scan, page, image, corrected, options, save, to);
    } else {
      PendingFile single(target, PendingFile::Sync::kNo);
      Write(single, [&] {
        WritePage(scan, page, image, corrected, options, save, single);
        writer.Append(single, save.strip);
        single.Finish();
      });
    }
  }
  return pages;
}

Outcome Exists(const Job& job) {
  if (job.named) throw Failure(job.result + " exists; --overwrite replaces it");
  return {Status::kSkipped, job.result + " exists", "", 0};
}

Outcome IsCorrectedAlready(const InPlace& place) {
  return {Status::kSkipped, place.Backup() + " exists: it is corrected already", "", 0};
}

// Whether there is a result that must stay.
bool IsTaken(const Job& job, const Options& options) {
  const bool isNew = !options.inPlace && job.result != "-" && !options.overwrite;
  return isNew && fs::exists(fs::symlink_status(job.result));
}

// `place`: in place of the scan, or nothing.
Outcome MakeResult(const Job& job, const Options& options, const std::optional<InPlace>& place) {
  const bool toOutput = job.result == "-";
  const Scan scan(place && place->HasOriginal() ? place->Backup()
                  : job.scan == "-"             ? SpoolStandardInput()
                                                : job.scan,
                  options.admission);
  const Format& format = ResultFormat(job, options, scan);
  CheckPages(scan, job, options, format);
  if (options.dryRun) {
    return {Status::kPlanned, "would become " + (toOutput ? std::string("standard output") : job.result), "", 0};
  }

  const std::string suffix = FormatOfName(job.result) == &format ? fs::path(job.result).extension().string()
                                                                 : std::string(format.extensions.front());
  const SaveOptions save = {&format, suffix, options.saver, options.strip};
  std::optional<TemporaryFolder> temporary;
  if (toOutput) temporary.emplace();
  const fs::path target = toOutput ? temporary->Path() / "result" : fs::path(job.result);
  if (target.has_parent_path()) fs::create_directories(target.parent_path());
  PendingFile pending(target, toOutput ? PendingFile::Sync::kNo : SyncOf(options));
  std::vector<PageWork> pages;
  Write(pending, [&] {
    pages = WritePages(scan, options, save, pending, target);
    CheckWhole(pending, format);
  });
  if (IsInterrupted()) throw Failure("interrupted");
  if (place && !place->IsUntouched()) return IsCorrectedAlready(*place);
  scan.CheckUnchanged();
  std::vector<PendingFile> sideFiles = WriteSideFiles(job, options, pages);
  std::vector<const CorrectedPage*> corrected;
  for (const PageWork& page : pages) corrected.push_back(&page.corrected);
  if (toOutput) {
    CopyToStandardOutput(pending);
    return WithFindings({Status::kCorrected, "", "", 0}, corrected);
  }
  if (place) place->GiveRights(pending);
  pending.Finish();
  if (IsTaken(job, options)) return Exists(job); // another run was faster: the side files are its own
  try {
    // Before the result, for a result that exists is not made again.
    for (PendingFile& file : sideFiles) file.CommitForNow();
    if (place) {
      if (!place->Replace(pending)) return IsCorrectedAlready(*place);
    } else if (!pending.Commit(options.overwrite)) {
      return Exists(job);
    }
  } catch (...) {
    for (PendingFile& file : sideFiles) file.Withdraw();
    throw;
  }
  // Of all files, which are in one folder. Not thrown: in place the scan is not the one any more that it was.
  if (const std::string fault = pending.SyncName(); !fault.empty()) return {Status::kFailed, fault, "", 0};
  const std::string message = pages.empty() ? "is black and white only; kept as it is" : "";
  return WithFindings({Status::kCorrected, message, "", 0}, corrected);
}

Outcome Correct(const Job& job, const Options& options) {
  if (!options.inPlace) {
    if (job.result != "-" && fs::is_directory(job.result)) throw Failure(job.result + " is a folder");
    return IsTaken(job, options) ? Exists(job) : MakeResult(job, options, std::nullopt);
  }
  const std::optional<InPlace> place(std::in_place, job.result, !options.noBackup);
  if (place->IsCorrected() && !options.overwrite) return IsCorrectedAlready(*place);
  try {
    return MakeResult(job, options, place);
  } catch (...) {
    // Of what another run replaces meanwhile, the one file may have been opened and the other read.
    if (!place->IsUntouched()) return IsCorrectedAlready(*place);
    throw;
  }
}

// ---- the other commands ----

Outcome Analyse(const Job& job, const Options& options) {
  const Scan scan(job.scan == "-" ? SpoolStandardInput() : job.scan, options.admission);
  const auto pages = DecideAll(scan, options, {});
  const auto json = CorrectionToJson(job.scan, pages);
  std::vector<const CorrectedPage*> found;
  for (const CorrectedPage& page : pages) found.push_back(&page);
  return WithFindings({Status::kCorrected, "", ToText(json, options.json ? -1 : 1) + '\n', 0}, found);
}

Outcome PrintTables(const Job& job, const Options& options) {
  const Scan scan(job.scan == "-" ? SpoolStandardInput() : job.scan, options.admission);
  const auto sidecar = options.useSidecar.empty() ? std::vector<CorrectedPage>() : ReadSidecar(options.useSidecar);
  const auto pages = DecideAll(scan, options, sidecar);
  const Tables tables = MakeTables(pages.front().correction, 256);
  const std::string& form = options.tableForm;
  const std::string text = form == "csv"         ? TablesAsCsv(tables)
                           : form == "json"      ? TablesAsJson(tables)
                           : form == "png"       ? TablesAsPng(tables)
                           : form == "scanimage" ? TablesForScanimage(tables)
                                                 : TablesAsText(tables);
  if (job.result.empty() || job.result == "-") return {Status::kCorrected, "", text, 0};
  if (fs::path(job.result).has_parent_path()) fs::create_directories(fs::path(job.result).parent_path());
  PendingFile pending = WritePending(job.result, text, SyncOf(options));
  if (!pending.Commit(options.overwrite)) return Exists(job);
  if (const std::string fault = pending.SyncName(); !fault.empty()) throw Failure(fault);
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
  TakeLibraryWarnings(); // what was said of the scan before
  try {
    outcome = Dispatch(job, options);
  } catch (const vips::VError& error) {
    outcome.message = LibraryReason(error);
  } catch (const fs::filesystem_error& error) {
    outcome.message = error.path1().string() + ": " + error.code().message();
  } catch (const std::bad_alloc&) {
    outcome.message = "takes more memory than there is, or than --max-memory allows";
  } catch (const std::exception& error) {
    outcome.message = error.what();
    // The scan is named anyway.
    if (outcome.message.starts_with(job.scan + ": ")) outcome.message.erase(0, job.scan.size() + 2);
  }
  if (IsInterrupted() && outcome.status == Status::kFailed) outcome = {Status::kInterrupted, "interrupted", "", 0};
  outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  return outcome;
}
