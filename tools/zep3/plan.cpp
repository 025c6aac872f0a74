#include "plan.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>

#include "failure.h"

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

} // namespace

Plan::Plan(const Options& options) : m_options(options) {
  if (!options.filesFrom.empty()) {
    m_list = &std::cin;
    if (options.filesFrom != "-") {
      m_listFile.open(options.filesFrom);
      if (!m_listFile || IsFolder(options.filesFrom)) {
        throw UsageError("cannot read the list " + options.filesFrom + ": " + std::strerror(errno));
      }
      m_list = &m_listFile;
    }
  }
  const bool toFile = options.inputs.size() == 1 && m_list == nullptr && !IsFolder(options.inputs[0]);
  const std::string& output = options.output;
  m_toFolder = !output.empty() && output != "-" && (!toFile || output.ends_with('/') || IsFolder(output));
  if (m_toFolder) {
    if (fs::exists(output) && !IsFolder(output))
      throw UsageError(output + " is no folder, and there is more than one scan");
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
    std::string name;
    if (m_nextInput < m_options.inputs.size()) {
      name = m_options.inputs[m_nextInput++];
    } else if (m_list == nullptr || !std::getline(*m_list, name, m_options.nulSeparated ? '\0' : '\n')) {
      return std::nullopt;
    }
    if (name.empty()) continue;
    if (!m_options.recursive || !IsFolder(name)) return name;
    Expand(name);
  }
}

void Plan::Expand(const std::string& folder) {
  m_folder = folder;
  std::error_code error;
  fs::recursive_directory_iterator walk(folder, fs::directory_options::skip_permission_denied, error);
  for (; !error && walk != fs::recursive_directory_iterator(); walk.increment(error)) {
    const std::string path = walk->path().string();
    // Results of an earlier run are no scans, and neither is what begins with a dot.
    const bool ours = m_toFolder && walk->is_directory() && SameFile(path, m_options.output);
    if (ours || walk->path().filename().string().starts_with('.')) {
      if (walk->is_directory()) walk.disable_recursion_pending();
    } else if (walk->is_regular_file() && FormatOfName(path) != nullptr) {
      m_pending.push_back(path);
    }
  }
  std::sort(m_pending.rbegin(), m_pending.rend());
}

std::optional<Job> Plan::Next() {
  const std::optional<std::string> name = NextName();
  if (!name) return std::nullopt;
  return MakeJob(*name);
}

Job Plan::MakeJob(const std::string& scan) {
  Job job;
  job.scan = scan;
  const std::string path = SplitOptions(scan).name;
  if (m_options.inPlace) {
    std::error_code ignored;
    job.result = fs::is_symlink(path, ignored) ? fs::canonical(path, ignored).string() : path;
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
    result /= m_folder.empty() ? fs::path(path).filename() : fs::path(path).lexically_relative(m_folder);
    if (m_options.format != nullptr) result.replace_extension(m_options.format->extensions.front());
  } else {
    job.named = true;
  }
  job.result = result.string();
  if (SameFile(path, job.result)) {
    job.refusal = "its result would replace it; --in-place does that and keeps the original";
  } else if (!m_results.insert(result.lexically_normal().string()).second) {
    job.refusal = "another scan of this run becomes " + job.result;
  }
  return job;
}
