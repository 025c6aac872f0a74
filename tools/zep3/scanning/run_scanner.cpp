// The way of a page: set up, looked at, scanned, finished as a file is.
#include "scanning/run_scanner.h"

#include <sane/saneopts.h>

#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "command/arguments.h"
#include "command/batch.h"
#include "command/plan.h"
#include "command/progress_line.h"
#include "command/reporter.h"
#include "command/run_jobs.h"
#include "did_you_mean.h"
#include "failure.h"
#include "files/output.h"
#include "interrupt.h"
#include "job/result.h"
#include "log.h"
#include "page/analysis.h"
#include "page/tables.h"
#include "scanning/page_names.h"
#include "scanning/raw_tiff.h"
#include "scanning/scanner_tables.h"
#include "told/evidence.h"
#include "told/sidecar.h"
#include "tools/sane/prescan.h"

namespace fs = std::filesystem;

namespace {

constexpr auto kOften = std::chrono::milliseconds(50);
constexpr int kPatience = 200; // times that

// Everything is done but the goodbye, and there are backends that sometimes never come back from it.
class Goodbye {
 public:
  explicit Goodbye(int status)
      : m_thread([this, status] {
          for (int waited = 0; !m_done; std::this_thread::sleep_for(kOften)) {
            if (++waited >= kPatience) ::_exit(status);
          }
        }) {}
  ~Goodbye() {
    m_done = true;
    m_thread.join();
  }

 private:
  std::atomic<bool> m_done = false;
  std::thread m_thread;
};

// A scanner's start cannot be interrupted but by another thread, and some do not even listen then. Null: none is open
// yet, and looking for scanners may take for ever, too.
class Canceller {
 public:
  explicit Canceller(const Device* device) : m_device(device), m_watch([this] { Watch(); }) {}
  ~Canceller() {
    m_done = true;
    m_watch.join();
    if (m_cancel.joinable()) m_cancel.join();
  }

 private:
  void Watch() {
    for (int waited = 0; !m_done || m_cancelling; std::this_thread::sleep_for(kOften)) {
      if (!IsInterrupted()) continue;
      if (waited++ == 0 && m_device != nullptr) Cancel();
      if (waited < kPatience) continue;
      Say((m_device != nullptr ? m_device->Name() : std::string("libsane")) + ": does not answer; interrupted");
      ::_exit(130); // what is pending here, the next run removes
    }
  }

  // Some backends hang in this, too.
  void Cancel() {
    m_cancelling = true;
    m_cancel = std::thread([this] {
      m_device->CancelFromOutside();
      m_cancelling = false;
    });
  }

  const Device* m_device;
  std::atomic<bool> m_done = false, m_cancelling = false;
  std::thread m_cancel, m_watch; // the one that is started with the object comes last
};

std::string FirstDevice(const SaneLibrary& sane) {
  const char* const usual = std::getenv("SANE_DEFAULT_DEVICE");
  if (usual != nullptr && *usual != '\0') return usual;
  const std::vector<DeviceName> devices = ListDevices(sane, false);
  if (devices.empty()) throw Failure("no scanner was found; -d names one, zep3 scan -L lists those that are found");
  return devices.front().name;
}

int PrintDevices() {
  const SaneLibrary sane(SaneLibrary::Names::kShared);
  const std::vector<DeviceName> devices = ListDevices(sane, false);
  std::string text;
  for (const DeviceName& device : devices)
    text += Printable(device.name) + "\t" + Printable(device.vendor + " " + device.model + ", " + device.type) + "\n";
  WriteToStandardOutput(text);
  if (devices.empty()) Say("no scanner was found");
  return devices.empty() ? 1 : 0;
}

// Colour, where the scanner has it: many begin with black and white.
void ChooseMode(Device& device, const std::string& wanted) {
  if (!wanted.empty()) return device.SetText(SANE_NAME_SCAN_MODE, wanted);
  const SANE_Int mode = device.Settable(SANE_NAME_SCAN_MODE);
  if (mode == 0 || device.Descriptor(mode)->constraint_type != SANE_CONSTRAINT_STRING_LIST) return;
  std::optional<std::string> best;
  for (const SANE_String_Const* word = device.Descriptor(mode)->constraint.string_list; *word != nullptr; word++) {
    const std::string name = *word;
    if (name == SANE_VALUE_SCAN_MODE_COLOR) best = name;
    if (!best && (name.starts_with("Color") || name.starts_with("color") || name.starts_with("24"))) best = name;
  }
  if (best) device.SetText(SANE_NAME_SCAN_MODE, *best);
}

// What was asked for and what the scanner made of it are not always the same.
void SetAndTell(Device& device, const char* name, double value) {
  device.SetNumber(name, value);
  const std::optional<double> is = device.Number(name);
  if (is && std::abs(*is - value) > 0.5) Say(device.Name() + ": " + name + " became " + TextOf(*is));
}

// An edge in mm, in the option's own unit.
void SetEdge(Device& device, const char* name, double mm) {
  constexpr double kInch = 25.4; // mm
  const SANE_Int number = device.Settable(name);
  const bool pixels = number != 0 && device.Descriptor(number)->unit == SANE_UNIT_PIXEL;
  const std::optional<double> resolution = device.Number(SANE_NAME_SCAN_RESOLUTION);
  if (pixels && !resolution) device.Refuse("its area is in pixels, and it tells no resolution: " + std::string(name));
  SetAndTell(device, name, pixels ? mm / kInch * *resolution : mm);
}

void ChooseArea(Device& device, const ScannerOptions& scanner) {
  const double left = scanner.left.value_or(0), top = scanner.top.value_or(0);
  if (scanner.left) SetEdge(device, SANE_NAME_SCAN_TL_X, left);
  if (scanner.top) SetEdge(device, SANE_NAME_SCAN_TL_Y, top);
  if (scanner.width) SetEdge(device, SANE_NAME_SCAN_BR_X, left + *scanner.width);
  if (scanner.height) SetEdge(device, SANE_NAME_SCAN_BR_Y, top + *scanner.height);
}

// The backend of this project would correct before us.
void StopBackend(Device& device) {
  constexpr const char* kKindOfBackend = "zep3-kind";
  if (device.Settable(kKindOfBackend) != 0) device.SetText(kKindOfBackend, "off");
}

// The source first: what else a scanner offers depends on it.
void SetUp(Device& device, const ScannerOptions& scanner) {
  if (!scanner.source.empty()) device.SetText(SANE_NAME_SCAN_SOURCE, scanner.source);
  ChooseMode(device, scanner.mode);
  if (scanner.depth) device.SetText(SANE_NAME_BIT_DEPTH, std::to_string(*scanner.depth));
  if (scanner.resolution) {
    SetAndTell(device, SANE_NAME_SCAN_RESOLUTION, *scanner.resolution);
    for (const char* name : {SANE_NAME_SCAN_X_RESOLUTION, SANE_NAME_SCAN_Y_RESOLUTION}) {
      if (device.Settable(name) != 0) SetAndTell(device, name, *scanner.resolution);
    }
  }
  StopBackend(device);
  for (const std::string& assignment : scanner.set) {
    const Assignment set = ParseAssignment(assignment);
    device.SetText(set.name, set.value);
  }
  ChooseArea(device, scanner);
}

ScanNote NoteOf(const Device& device) {
  const std::optional<double> both = device.Number(SANE_NAME_SCAN_RESOLUTION);
  const std::optional<double> x = device.Number(SANE_NAME_SCAN_X_RESOLUTION);
  const std::optional<double> y = device.Number(SANE_NAME_SCAN_Y_RESOLUTION);
  return {device.Name(), x ? x : both, y ? y : both};
}

void WriteRaw(const ScannedPage& page, const Device& device, const fs::path& to, PendingFile::Sync sync,
              bool overwrite) {
  CreateFolders(to.parent_path(), sync);
  PendingFile file(to, sync);
  file.Fill([&] { WriteRawTiff(page, NoteOf(device), file); });
  file.Finish();
  if (!file.Commit(overwrite)) throw Failure(to.string() + " exists");
  if (const std::string fault = file.SyncName(); !fault.empty()) throw Failure(fault);
}

// The correction that an analysis finds on a file, by a worker, for no image library runs in this process.
CorrectedPage AnalyseFile(const fs::path& file, const Options& options) {
  Options analysis = options;
  analysis.command = Command::kAnalyse;
  analysis.inputs = {file.string()};
  analysis.output.clear();
  analysis.json = false;
  Plan plan(analysis);
  Options silent = analysis;
  silent.quiet = true;
  Reporter reporter(silent, plan);
  Outcome found;
  RunJobs(
      silent, 1, [&] { return plan.Next(); }, [&](const Job&, Outcome outcome) { found = std::move(outcome); },
      reporter);
  if (found.status != Status::kCorrected) throw Failure("pre-scan: " + found.message);
  return CorrectionFromJson(found.text).front();
}

// Why the finished page cannot be what the scanner makes with tables alone; empty: it can.
std::string ReasonAgainstTables(const Options& options) {
  const AnalysisOptions& analysis = options.analysis;
  const Format* const format = options.format != nullptr ? options.format : FormatOfName(options.output);
  if (options.scanner.inSoftware) return "--in-software";
  if (IsPageAnalysis(analysis) && !analysis.tablesAlone) return "a page is evened by its place";
  if (options.roll) return "--roll looks at all scans first";
  if (options.sidecar || options.report) return "sidecars and reports tell of the scan";
  if (options.crop.wanted || options.gray) return "more than tables is wanted";
  if (!analysis.area.corners.empty() || analysis.grayPipette || analysis.gammaPipette)
    return "places are given in pixels of the scan";
  if (!options.useSidecar.empty() || options.json || options.output == "-" || !options.saver.empty())
    return "the finished file takes more than tables";
  if (!options.scanner.raw.empty()) return "--raw keeps the scan as it is";
  // A folder's pages are TIFF files unless another format is named.
  const bool folder = options.output.ends_with('/') || fs::is_directory(options.output);
  if (format == nullptr ? !folder : format->extensions.front() != ".tif") return "the result is no TIFF file";
  return "";
}

// Before an original is pulled through a feeder. Throws UsageError.
void CheckFormat(const Options& options) {
  const std::string& output = options.output;
  const bool named = options.format != nullptr || output == "-" || output.ends_with('/') || fs::is_directory(output);
  if (!named && FormatOfName(output) == nullptr)
    throw UsageError(output + ": its name says no format; NAME.tif does, or --format");
}

// Pages from one scanner, one after the other.
class Scanning {
 public:
  Scanning(const Options& options, Device& device)
      : m_options(options), m_device(device), m_names(options), m_progress(!options.quiet) {}

  int Run() {
    const ScannerOptions& scanner = m_options.scanner;
    if (m_options.roll && !(m_options.output.ends_with('/') || fs::is_directory(m_options.output)))
      throw UsageError("--roll: -o names a folder, as " + m_options.output + "/");
    CheckFormat(m_options);
    m_feeder = IsFeeder(m_device);
    const int most = !m_names.AreMany() ? 1 : scanner.pages.value_or(m_feeder || scanner.ask ? 1000000 : 1);
    if (scanner.pages.value_or(1) > 1 && !m_names.AreMany())
      throw UsageError("--pages: -o names a folder, or a file with %03d where the page's number is");
    m_raw = scanner.raw.empty() ? m_temporary.emplace().Path() : fs::path(scanner.raw);
    int status = 0;
    try {
      while (m_count < most && Asks()) {
        if (!ScanPage()) break;
        m_count++;
        if (!m_options.roll) status = std::max(status, Finish({m_file.string()}, m_names.Result()));
        if (IsInterrupted()) break;
      }
    } catch (const UsageError&) { // before anything was scanned
      throw;
    } catch (const std::exception& error) {
      m_progress.Clear();
      if (!IsInterrupted()) Say(error.what());
      status = 1;
    }
    m_device.Cancel();
    m_progress.Clear();
    if (IsInterrupted() && m_options.roll && m_count > 0) KeepScans();
    if (IsInterrupted()) Say("interrupted");
    if (m_names.AreMany() && !m_options.quiet)
      Say(std::to_string(m_count) + (m_count == 1 ? " page" : " pages") + " scanned");
    if (IsInterrupted()) return 130;
    if (m_options.roll && m_count > 0) status = std::max(status, Finish(m_files, m_options.output));
    return status;
  }

 private:
  // Whether there is another original, where the user is to say so.
  bool Asks() {
    if (!m_options.scanner.ask || m_count == 0) return true;
    Say("next original, then Enter; q ends");
    std::string line;
    return std::getline(std::cin, line) && line != "q" && !IsInterrupted();
  }

  void Show(std::optional<double> part) {
    if (part) m_progress.ShowPercent("page " + std::to_string(m_count + 1), std::to_string(std::lround(*part * 100)));
  }

  void Read(ScannedPage& page) {
    ReadPage(
        m_device, page, [&](std::optional<double> part) { Show(part); }, IsInterrupted);
    m_progress.Clear();
  }

  // False at the end of a feeder's stack.
  bool ScanPage() {
    const std::string result = m_names.Next(m_raw);
    m_file = m_raw / m_names.RawName();
    const Canceller canceller(&m_device);
    m_tables.reset();
    m_finished = false;
    try {
      ScannedPage page;
      std::string reason = LookAndLoad();
      Read(page);
      if (m_tables && !IsThroughTables(page, m_low, *m_tables)) {
        // Some scanners take tables and do nothing, or put them in the place of a curve of their own.
        reason = "its tables do something else";
        m_tables.reset();
        CloseTables(m_device);
        m_device.Cancel();
        Read(page);
      }
      // A feeder goes on with the next page of its stack; others begin anew.
      if (!m_feeder) m_device.Cancel();
      m_low.Clear();
      m_finished = m_tables.has_value();
      if (!reason.empty() && m_options.verbose && m_count == 0) Say(m_device.Name() + ": finished here: " + reason);
      const bool stays = m_finished || !m_temporary;
      WriteRaw(page, m_device, m_finished ? fs::path(result) : m_file,
               stays ? SyncOf(m_options) : PendingFile::Sync::kNo, m_options.overwrite || !stays);
    } catch (const ScannerFault& fault) {
      if (fault.Status() == SANE_STATUS_NO_DOCS && m_count > 0) return false;
      throw;
    }
    m_files.push_back(m_file.string());
    return true;
  }

  // Tables into the scanner; or why not.
  std::string LookAndLoad() {
    if (const std::string reason = ReasonAgainstTables(m_options); !reason.empty()) return reason;
    SANE_Parameters frame = {};
    m_device.Check(m_device.Sane().getParameters(m_device.Handle(), &frame));
    if (frame.format == SANE_FRAME_GRAY) return "the scan has no colours";
    if (frame.depth != 8) return "tables of scanners are for 8 bits; 16 lose nothing here";
    if (!OpenTables(m_device)) return "the scanner takes no tables";
    CloseTables(m_device);
    if (!LooksTwice(m_device)) return "the scanner cannot look twice";
    if (!TakeLowPage(m_device, m_low, IsInterrupted)) {
      Read(m_low);
      m_device.Cancel();
    }
    const TemporaryFolder folder;
    const fs::path file = folder.Path() / "pre-scan.tif";
    WriteRaw(m_low, m_device, file, PendingFile::Sync::kNo, true);
    const CorrectedPage found = AnalyseFile(file, m_options);
    if (found.chroma != 1) return "colours are made stronger or weaker, too";
    OpenTables(m_device);
    LoadTables(m_device, found.correction);
    m_notices = NoticesOf({found});
    m_found = SummariesOf({found});
    m_tables = MakeTables(found.correction, 256);
    return "";
  }

  // As files are. What cannot be finished stays as it was scanned.
  int Finish(const std::vector<std::string>& files, const std::string& result) {
    if (m_finished) {
      CloseTables(m_device);
      if (!m_notices.empty() && !m_options.quiet) Say(result + ": " + m_notices);
      if (m_options.verbose) Say(result + ": finished by the scanner, with tables from a pre-scan");
      for (const std::string& found : m_options.verbose ? m_found : std::vector<std::string>())
        Say(result + ": " + found);
      return 0;
    }
    Options options = m_options;
    options.command = Command::kCorrect;
    options.inputs = files;
    options.output = result;
    if (m_temporary) SendMessagesTo([&](Told, const std::string& text) { SayOfPage(text); });
    int status = 1;
    try {
      status = RunBatch(options);
    } catch (const std::exception& error) { // the scan is there, and stays
      Say(error.what());
    }
    SendMessagesTo(nullptr);
    if (status != 0) KeepScans();
    return status;
  }

  // What is said of a scan that nobody sees is said of its result.
  void SayOfPage(std::string text) const {
    const auto replace = [&text](const std::string& what, const std::string& by) {
      for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
        text.replace(at, what.size(), by);
    };
    const std::string scan = m_file.string();
    if (!m_options.roll) replace(scan + " -> ", m_device.Name() + " -> ");
    if (!m_options.roll) replace(scan, m_names.Result());
    replace(m_raw.string() + "/", "");
    const std::string line = "zep3: " + Printable(text) + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
  }

  // Those that would go away without having been finished.
  void KeepScans() {
    if (!m_temporary) return;
    const fs::path folder = m_names.Result() == "-" ? fs::path(".") : FolderOf(m_names.Result());
    for (const std::string& file : m_options.roll ? m_files : std::vector{m_file.string()}) {
      std::error_code gone;
      if (!fs::exists(file, gone)) continue;
      // The disk of the results may be full, which is why the page was not finished.
      if (!IsKeptIn(folder, file) && !IsKeptIn(m_temporary->Path().parent_path(), file))
        Say(file + ": the scan cannot be kept");
    }
  }

  // False where it cannot be written there; nothing is left of it then.
  static bool IsKeptIn(const fs::path& folder, const fs::path& scan) {
    const std::string name = (folder / scan.stem()).string() + "_scan";
    std::error_code error, ignored;
    fs::create_directories(folder, ignored);
    fs::path kept = name + ".tif";
    for (int i = 2; fs::exists(fs::symlink_status(kept, ignored)); i++) kept = name + std::to_string(i) + ".tif";
    fs::rename(scan, kept, error); // which other disks do not take
    if (error && !fs::copy_file(scan, kept, error)) {
      fs::remove(kept, ignored);
      return false;
    }
    Say("the scan is kept as " + kept.string());
    return true;
  }

  const Options& m_options;
  Device& m_device;
  PageNames m_names;
  ProgressLine m_progress;
  std::optional<TemporaryFolder> m_temporary;
  fs::path m_raw, m_file;           // the folder of scans, and the last one
  std::vector<std::string> m_files; // all of them
  ScannedPage m_low;                // of the pre-scan
  std::optional<Tables> m_tables;   // in the scanner
  std::string m_notices;            // of their correction ...
  std::vector<std::string> m_found; // ... and all that is told of it
  int m_count = 0;
  bool m_feeder = false;
  bool m_finished = false; // by the scanner
};

} // namespace

int RunScanner(const Options& options) {
  CatchSignals();
  std::optional<Canceller> opening(std::in_place, nullptr);
  if (options.scanner.list) return PrintDevices();
  auto sane = std::make_unique<SaneLibrary>(SaneLibrary::Names::kShared);
  auto device =
      std::make_unique<Device>(*sane, options.scanner.device.empty() ? FirstDevice(*sane) : options.scanner.device);
  SetUp(*device, options.scanner);
  opening.reset();
  const int status = Scanning(options, *device).Run();
  const Goodbye goodbye(status);
  device.reset();
  sane.reset();
  return status;
}
