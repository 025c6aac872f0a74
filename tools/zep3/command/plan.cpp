// Names become jobs; a result must replace neither a scan nor another result of the run.
#include "command/plan.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <set>
#include <utility>

#include "command/folder_search.h"
#include "failure.h"
#include "files/output.h"
#include "interrupt.h"
#include "log.h"
#include "saving/in_place.h"
#include "told/report_place.h"
#include "told/run_state.h"
#include "told/side_files.h"

namespace fs = std::filesystem;

namespace {

// Faults that are said; of more the number.
constexpr size_t kMostFaults = 20;

bool IsFolder(const std::string& name) {
  std::error_code ignored;
  return fs::is_directory(name, ignored);
}

bool SameFile(const std::string& a, const std::string& b) {
  std::error_code ignored;
  return fs::equivalent(a, b, ignored);
}

std::string Absolute(const fs::path& path) {
  std::error_code ignored;
  fs::path absolute = fs::absolute(path, ignored).lexically_normal();
  if (!absolute.has_filename() && absolute.has_relative_path()) absolute = absolute.parent_path();
  return absolute.string();
}

bool IsBelow(const fs::path& path, const fs::path& folder) {
  const auto [at, end] = std::mismatch(folder.begin(), folder.end(), path.begin(), path.end());
  return at == folder.end();
}

// The folder that both lie in.
fs::path Shared(const fs::path& a, const fs::path& b) {
  fs::path shared;
  for (auto i = a.begin(), j = b.begin(); i != a.end() && j != b.end() && *i == *j; ++i, ++j) shared /= *i;
  return shared;
}

// The form of `zep3 tables` as an extension.
std::string ExtensionOf(const std::string& tableForm) {
  return tableForm == "text" || tableForm == "scanimage" ? ".txt" : "." + tableForm;
}

bool IsRegular(const std::string& path) {
  struct stat file = {};
  return ::stat(path.c_str(), &file) == 0 && S_ISREG(file.st_mode);
}

// What is wrong with the names of a run, as it is said.
class Faults {
 public:
  void Add(const std::string& fault) {
    if (fault.empty() || std::find(m_first.begin(), m_first.end(), fault) != m_first.end()) return;
    if (m_first.size() < kMostFaults) m_first.push_back(fault);
    m_count++;
  }
  // Throws UsageError where there are any.
  void End() const {
    if (m_count == 0) return;
    if (m_count == 1) throw UsageError(m_first[0]);
    for (const std::string& fault : m_first) Say(fault);
    throw UsageError("nothing was done: " + std::to_string(m_count) + " faults in what was asked for" +
                     (m_count > m_first.size() ? ", the first of which are named" : ""));
  }

 private:
  std::vector<std::string> m_first;
  size_t m_count = 0;
};

// A scan cannot tell surely enough what it is of.
[[noreturn]] void AskForKind(const std::vector<std::string>& names, size_t count) {
  if (names.size() < count) {
    for (size_t i = 0; i < std::min(names.size(), kMostFaults); i++) Say(names[i] + ": its kind is not known");
  }
  for (int64_t i = 0; const ZEP3_KIND* kind = GetZEP3Kind(i); i++) {
    std::fprintf(stderr, "  -k %-18s %s\n", kind->pName, kind->pText);
  }
  const std::string scan = names[0] == "-" ? "SCAN" : Printable(names[0]);
  std::fprintf(stderr, "Not sure? This makes a page that shows the scan finished as each of them:\n  zep3 compare %s\n",
               scan.c_str());
  throw UsageError("say what was scanned, by -k, in a list or in zep3.toml; a scan does not tell it surely enough" +
                   (names.size() < count ? ": the kind of " + std::to_string(names.size()) + " of " +
                                               std::to_string(count) + " scans is not known"
                                         : std::string()));
}

} // namespace

std::string Canonical(const fs::path& path) {
  std::error_code error;
  const fs::path canonical = fs::weakly_canonical(path, error);
  return (error ? path.lexically_normal() : canonical).string();
}

Plan::Plan(const Options& options) : m_options(options), m_settings(options) {
  if (!options.filesFrom.empty()) m_list.emplace(options.filesFrom, options.nulSeparated);
  const bool toFile = options.inputs.size() == 1 && !m_list && !IsFolder(options.inputs[0]);
  const std::string& output = options.output;
  m_toFolder = !output.empty() && output != "-" && (!toFile || output.ends_with('/') || IsFolder(output));
  if (m_toFolder) {
    if (fs::exists(output) && !IsFolder(output))
      throw UsageError(output + " is no folder, and there is more than one scan");
    for (const std::string& input : options.inputs) {
      if ((options.recursive || options.roll) && SameFile(input, output))
        throw UsageError(output + " is searched for scans; results need another folder");
    }
  } else if (output == "-" && !toFile) {
    throw UsageError("-o - takes one scan");
  }
  const bool searches = options.recursive || options.roll;
  const auto folders = searches ? std::count_if(options.inputs.begin(), options.inputs.end(), IsFolder) : 0;
  m_keepsFolders = m_toFolder && !options.flat && (!options.root.empty() || m_list || folders > 1);
  if (m_keepsFolders && !options.root.empty()) m_root = Absolute(options.root);
  if (!m_keepsFolders && m_toFolder && folders == 1 && options.inputs.size() == 1) m_root = Absolute(options.inputs[0]);
  m_streams = m_list && !IsRegular(options.filesFrom) && !options.roll &&
              (options.flat || !options.root.empty() || !m_toFolder) && !options.inPlace;
  if (m_toFolder && options.command == Command::kCorrect) m_stateFolder = output;
  if (!m_streams) {
    Gather();
    return;
  }
  for (const std::string& input : options.inputs) m_scans.emplace(Canonical(SplitOptions(input).name), input);
}

std::optional<Plan::Name> Plan::NextName() {
  for (;;) {
    if (!m_pending.empty()) {
      std::string name = std::move(m_pending.back());
      m_pending.pop_back();
      return Name{std::move(name), m_folder, nullptr, ""};
    }
    m_folder.clear();
    std::optional<ListedScan> name;
    if (m_nextInput < m_options.inputs.size()) {
      name = ListedScan{m_options.inputs[m_nextInput++], nullptr, ""};
    } else if (m_list) {
      name = m_list->Next();
    }
    if (!name) return std::nullopt;
    if (name->scan.empty() && name->fault.empty()) continue;
    if (!(m_options.recursive || m_options.roll) || !IsFolder(name->scan) || !name->fault.empty())
      return Name{name->scan, "", name->row, name->fault};
    Expand(name->scan);
  }
}

void Plan::Expand(const std::string& folder) {
  m_folder = folder;
  FolderSearch search;
  search.enters = [&](const fs::path& below) {
    return m_options.recursive && !(m_toFolder && SameFile(below.string(), m_options.output));
  };
  search.found = [&](const fs::path& file, const std::string& originalOf) {
    std::string name = file.string();
    if (!originalOf.empty()) {
      // A file without hard links loses its name for a moment when it is replaced. A run that was killed in that
      // moment is taken up again.
      std::error_code ignored;
      const bool lost = m_options.inPlace && !fs::exists(originalOf, ignored);
      m_left.originals += lost ? 0 : 1;
      if (!lost) return;
      name = originalOf;
    }
    if (IsScanName(name)) {
      m_pending.push_back(name);
    } else if (std::find(std::begin(kFolderFiles), std::end(kFolderFiles), file.filename()) == std::end(kFolderFiles)) {
      m_left.extensions[file.extension().string()]++;
    }
  };
  search.unreadable = [&](const fs::path& below, const std::string& reason) {
    m_unreadable.push_back({below.string(), "", reason, false, ""});
  };
  SearchFolder(folder, search);
  std::sort(m_pending.rbegin(), m_pending.rend());
}

// True when the name's extension is that of a format that is read.
bool Plan::IsScanName(const std::string& name) const {
  const Format* format = AnyFormatOfName(name);
  return format != nullptr && (!IsOnDemand(*format) || m_options.admission.AlsoReads(format->name));
}

// The absolute name of a file's folder.
const std::string& Plan::AbsoluteFolder(const std::string& file) {
  const std::string folder = FolderOf(file).string();
  const auto [at, isNew] = m_absolute.try_emplace(folder);
  if (isNew) at->second = Absolute(folder);
  return at->second;
}

// Canonical(), which looks at every folder on the way, once for each folder. The file itself may be a link.
std::string Plan::CanonicalFile(const std::string& path) {
  struct stat file = {};
  const fs::path name = fs::path(path).filename();
  if ((::lstat(path.c_str(), &file) == 0 && S_ISLNK(file.st_mode)) || name.empty() || name == "." || name == "..")
    return Canonical(path);
  const std::string folder = FolderOf(path).string();
  const auto [at, isNew] = m_canonical.try_emplace(folder);
  if (isNew) at->second = Canonical(folder);
  return (fs::path(at->second) / name).string();
}

// Where folders are kept: below the folder that a former run into this one kept them below, so that a part of its scans
// finds their results again; else below that which all scans share. Those that are not there do not count.
void Plan::FindRoot(const std::vector<Name>& names) {
  if (!m_keepsFolders || !m_root.empty()) return;
  std::set<std::string> folders;
  for (const Name& name : names) {
    std::error_code ignored;
    if (!name.from.empty()) {
      folders.insert(Absolute(name.from));
    } else if (name.scan != "-" && fs::exists(SplitOptions(name.scan).name, ignored)) {
      folders.insert(AbsoluteFolder(SplitOptions(name.scan).name));
    }
  }
  for (const std::string& input : m_options.inputs) {
    if (m_options.recursive && IsFolder(input)) folders.insert(Absolute(input)); // also one without scans
  }
  for (const std::string& root : RootsOfRun(m_options.output)) {
    const bool all =
        std::all_of(folders.begin(), folders.end(), [&](const std::string& folder) { return IsBelow(folder, root); });
    if (all && !folders.empty()) m_root = root;
    if (!m_root.empty()) return;
  }
  fs::path shared;
  for (const std::string& folder : folders) shared = shared.empty() ? fs::path(folder) : Shared(shared, folder);
  m_root = shared.empty() ? Absolute(".") : shared.string();
}

// In place: the folder that all scans share.
void Plan::FindStateFolder(const std::vector<Name>& names) {
  const bool many = names.size() > 1 || (names.size() == 1 && !names[0].from.empty());
  if (!m_options.inPlace || m_options.command != Command::kCorrect || !many) return;
  fs::path shared;
  for (const Name& name : names) {
    const fs::path folder = name.from.empty() ? AbsoluteFolder(name.scan) : Absolute(name.from);
    shared = shared.empty() ? folder : Shared(shared, folder);
  }
  m_stateFolder = shared.string();
}

void Plan::Gather() {
  std::vector<Name> names;
  while (std::optional<Name> name = NextName()) names.push_back(*std::move(name));
  if (IsInterrupted()) return;
  FindRoot(names);
  FindStateFolder(names);
  for (const Name& name : names) {
    const std::string path = SplitOptions(name.scan).name;
    if (m_toFolder || !m_options.output.empty()) m_scans.emplace(CanonicalFile(path), name.scan);
  }
  Faults faults;
  std::vector<std::string> withoutKind;
  m_jobs.reserve(names.size());
  for (const Name& name : names) {
    std::string fault;
    Job job = MakeJob(name, fault);
    faults.Add(fault);
    if (job.settled && !job.settled->hasKind) withoutKind.push_back(job.scan);
    m_jobs.push_back(std::move(job));
  }
  faults.End();
  if (!withoutKind.empty()) AskForKind(withoutKind, m_jobs.size());
  m_jobs.insert(m_jobs.end(), m_unreadable.rbegin(), m_unreadable.rend());
  m_unreadable.clear();
  m_scans.clear();
  m_results.clear();
}

std::optional<size_t> Plan::Total() const {
  if (m_streams) return std::nullopt;
  return m_jobs.size();
}

std::optional<Job> Plan::Next() {
  if (m_nextJob < m_jobs.size()) return std::move(m_jobs[m_nextJob++]);
  if (m_streams && !IsInterrupted()) {
    if (const std::optional<Name> name = NextName()) {
      std::string fault;
      Job job = MakeJob(*name, fault);
      if (!fault.empty()) job.refusal = fault;
      if (job.refusal.empty() && job.settled && !job.settled->hasKind) job.refusal = "its kind is not known";
      return job;
    }
  }
  if (m_unreadable.empty()) return std::nullopt;
  const Job job = std::move(m_unreadable.back());
  m_unreadable.pop_back();
  return job;
}

// What settles the scan; returns what is wrong with that.
std::string Plan::FaultOfSettings(const Name& name, Job& job) {
  if (!name.fault.empty()) return name.fault;
  static const SettingLayer none;
  try {
    const std::string path = SplitOptions(name.scan).name;
    job.settled = m_settings.For(FolderOf(path), name.row ? *name.row : none);
    if (m_options.ownSidecars) TakeOwnSidecar(path, job);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "";
}

void Plan::TakeOwnSidecar(const std::string& path, Job& job) const {
  const std::string sidecar = path + kSidecarSuffix;
  std::error_code ignored;
  if (!fs::is_regular_file(sidecar, ignored)) return;
  job.sidecar = sidecar;
  job.settled = std::make_shared<const Settled>(WithOwnSidecar(*job.settled, sidecar));
}

// Returns why there can be none.
std::string Plan::SetResult(const Name& name, const std::string& path, Job& job) {
  fs::path result = m_options.output;
  const std::string file = fs::path(path).filename().string();
  if (m_keepsFolders) {
    const fs::path folder = fs::path(AbsoluteFolder(path)).lexically_relative(m_root);
    const bool below = !folder.empty() && *folder.begin() != "..";
    if (!below && !m_options.root.empty()) {
      return job.scan + " does not lie below " + m_options.root;
    }
    if (below && folder != ".") result /= folder;
    result /= file;
  } else {
    result /= name.from.empty() || m_options.flat ? fs::path(file) : fs::path(path).lexically_relative(name.from);
  }
  const Format* format = job.settled ? job.settled->format : m_options.format;
  if (format != nullptr) result.replace_extension(format->extensions.front());
  if (m_options.command == Command::kTables) result += ExtensionOf(m_options.tableForm);
  job.result = result.string();
  return "";
}

// `fault`: of the command; refusals are the scan's own affair.
Job Plan::MakeJob(const Name& name, std::string& fault) {
  Job job;
  job.scan = name.scan;
  if (!name.from.empty()) job.folder = FolderOf(name.scan).string();
  fault = FaultOfSettings(name, job);
  const NameWithOptions parts = SplitOptions(name.scan);
  if (m_options.inPlace) {
    job.result = name.scan == "-" ? "" : CanonicalFile(parts.name);
    if (name.scan == "-") job.refusal = "standard input cannot be replaced";
    if (!parts.options.empty()) job.refusal = "would be replaced by a part of itself; -o gives the part a name";
    if (!m_results.emplace(job.result, name.scan).second) job.refusal = "is named twice";
    return job;
  }
  if (m_options.output.empty() || m_options.output == "-") {
    job.result = m_options.output;
    return job;
  }
  if (m_toFolder) {
    if (name.scan == "-") {
      job.refusal = "standard input has no name; -o FILE gives one to the result";
      return job;
    }
    if (fault.empty()) fault = SetResult(name, parts.name, job);
  } else {
    job.named = true;
    job.result = m_options.output;
  }
  if (fault.empty()) fault = FaultOfResult(parts.name, job);
  return job;
}

std::string Plan::FaultOfResult(const std::string& path, const Job& job) {
  const std::string scan = CanonicalFile(path);
  const std::string result = CanonicalFile(job.result);
  if (m_streams) m_scans.emplace(scan, job.scan);
  if (scan == result || SameFile(path, job.result)) {
    return job.scan + ": its result would replace it; --in-place does that and keeps the original";
  }
  if (const auto at = m_scans.find(result); at != m_scans.end()) {
    return job.scan + ": its result would replace " + at->second + ", which is a scan of this run";
  }
  if (m_results.contains(scan)) return job.scan + ": is a result of this run";
  const auto [other, isNew] = m_results.emplace(result, job.scan);
  if (isNew) return "";
  if (other->second == job.scan) return job.scan + ": is named twice";
  return other->second + " and " + job.scan + " would both become " + job.result +
         (m_options.flat || m_keepsFolders ? "" : "; --root keeps their folders");
}
