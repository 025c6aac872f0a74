// Names become jobs; a result must replace neither a scan nor another result of the run.
#include "command/plan.h"

#include <algorithm>
#include <cstring>

#include "failure.h"
#include "files/output.h"
#include "interrupt.h"
#include "saving/in_place.h"

namespace fs = std::filesystem;

namespace {

bool IsFolder(const std::string& name) {
  std::error_code ignored;
  return fs::is_directory(name, ignored);
}

bool SameFile(const std::string& a, const std::string& b) {
  std::error_code ignored;
  return fs::equivalent(a, b, ignored);
}

// The form of `zep3 tables` as an extension.
std::string ExtensionOf(const std::string& tableForm) {
  return tableForm == "text" || tableForm == "scanimage" ? ".txt" : "." + tableForm;
}

} // namespace

std::string Canonical(const fs::path& path) {
  std::error_code error;
  const fs::path canonical = fs::weakly_canonical(path, error);
  return (error ? path.lexically_normal() : canonical).string();
}

Plan::Plan(const Options& options) : m_options(options) {
  for (const std::string& input : options.inputs) {
    m_scans.insert(Canonical(SplitOptions(input).name));
    if ((options.recursive || options.roll) && IsFolder(input)) m_foldersLeft++;
  }
  if (!options.filesFrom.empty()) m_list.emplace(options.filesFrom, options.nulSeparated ? '\0' : '\n');
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
}

std::optional<std::string> Plan::NextName() {
  for (;;) {
    if (!m_pending.empty()) {
      std::string name = std::move(m_pending.back());
      m_pending.pop_back();
      return name;
    }
    m_folder.clear();
    std::optional<std::string> name;
    if (m_nextInput < m_options.inputs.size()) {
      name = m_options.inputs[m_nextInput++];
    } else if (m_list) {
      name = m_list->Next();
    }
    if (!name) return std::nullopt;
    if (name->empty()) continue;
    if (!(m_options.recursive || m_options.roll) || !IsFolder(*name)) return name;
    Expand(*name);
  }
}

void Plan::Expand(const std::string& folder) {
  if (m_foldersLeft > 0) m_foldersLeft--; // those of lists are not counted
  m_folder = folder;
  std::vector<fs::path> folders = {folder};
  while (!folders.empty() && !IsInterrupted()) {
    const fs::path current = std::move(folders.back());
    folders.pop_back();
    std::error_code error;
    fs::directory_iterator entries(current, error);
    for (; !error && !IsInterrupted() && entries != fs::directory_iterator(); entries.increment(error)) {
      const fs::path& path = entries->path();
      std::error_code kind; // of a link that leads nowhere, too
      const bool isFolder = entries->is_directory(kind) && !entries->is_symlink(kind);
      // Results of an earlier run are no scans, and neither is what begins with a dot.
      if (path.filename().string().starts_with('.')) continue;
      if (m_options.recursive && isFolder && !(m_toFolder && SameFile(path.string(), m_options.output)))
        folders.push_back(path);
      if (!entries->is_regular_file(kind)) continue;
      std::string name = path.string();
      // A file without hard links loses its name for a moment when it is replaced. A run that was killed in that moment
      // is taken up again.
      if (m_options.inPlace && name.ends_with(kBackupSuffix)) {
        name.resize(name.size() - std::strlen(kBackupSuffix));
        if (fs::exists(name, kind)) continue;
      }
      if (IsScanName(name)) m_pending.push_back(name);
    }
    if (error) m_unreadable.push_back({current.string(), "", error.message(), false, ""});
  }
  std::sort(m_pending.rbegin(), m_pending.rend());
}

// True when the name's extension is that of a format that is read.
bool Plan::IsScanName(const std::string& name) const {
  const Format* format = AnyFormatOfName(name);
  return format != nullptr && (!IsOnDemand(*format) || m_options.admission.AlsoReads(format->name));
}

std::optional<size_t> Plan::Total() const {
  if (m_list || m_foldersLeft > 0) return std::nullopt;
  return m_given + m_pending.size() + (m_options.inputs.size() - m_nextInput) + m_unreadable.size();
}

std::optional<Job> Plan::Next() {
  const std::optional<std::string> name = NextName();
  if (name || !m_unreadable.empty()) m_given++;
  if (name) return MakeJob(*name);
  if (m_unreadable.empty()) return std::nullopt;
  const Job job = std::move(m_unreadable.back());
  m_unreadable.pop_back();
  return job;
}

Job Plan::MakeJob(const std::string& scan) {
  Job job;
  job.scan = scan;
  if (!m_folder.empty()) job.folder = FolderOf(scan).string();
  const NameWithOptions parts = SplitOptions(scan);
  const fs::path path = parts.name;
  if (m_options.inPlace) {
    job.result = scan == "-" ? "" : Canonical(path);
    if (scan == "-") job.refusal = "standard input cannot be replaced";
    if (!parts.options.empty()) job.refusal = "would be replaced by a part of itself; -o gives the part a name";
    if (!m_results.insert(job.result).second) job.refusal = "is named twice";
    return job;
  }
  if (m_options.output.empty() || m_options.output == "-") {
    job.result = m_options.output;
    return job;
  }
  fs::path result = m_options.output;
  if (m_toFolder) {
    if (scan == "-") {
      job.refusal = "standard input has no name; -o FILE gives one to the result";
      return job;
    }
    result /= m_folder.empty() ? path.filename() : path.lexically_relative(m_folder);
    if (m_options.format != nullptr) result.replace_extension(m_options.format->extensions.front());
    if (m_options.command == Command::kTables) result += ExtensionOf(m_options.tableForm);
  } else {
    job.named = true;
  }
  job.result = result.string();
  job.refusal = RefusalOf(parts.name, job);
  return job;
}

std::string Plan::RefusalOf(const std::string& path, const Job& job) {
  const std::string scan = Canonical(path);
  const std::string result = Canonical(job.result);
  m_scans.insert(scan);
  if (scan == result || SameFile(path, job.result)) {
    return "its result would replace it; --in-place does that and keeps the original";
  }
  if (m_scans.contains(result)) return "its result would replace " + job.result + ", which is a scan of this run";
  if (m_results.contains(scan)) return "is a result of this run";
  if (!m_results.insert(result).second) return "another scan of this run becomes " + job.result;
  return "";
}
