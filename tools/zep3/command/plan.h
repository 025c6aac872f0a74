// From arguments, folders and lists to one job per scan: what is read, and where the result goes.
#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "command/name_list.h"
#include "options.h"

struct Job {
  std::string scan;    // as named; "-" is standard input
  std::string result;  // empty: none; "-": standard output
  std::string refusal; // not empty: what is wrong with the job itself
  bool named = false;  // the user named the result, so that its name says the format
  std::string folder;  // in which the scan was found; empty: it was named itself. Stays in this process
};

// One name for a file, however it is reached; also for one that does not exist yet.
std::string Canonical(const std::filesystem::path& path);

// Hands out the jobs one by one. Lists are read as they arrive, so that a scanner can go on while the first pages are
// finished.
class Plan {
 public:
  // Throws UsageError.
  explicit Plan(const Options& options);
  std::optional<Job> Next();
  // The jobs in all; absent while a list or a folder is not read to its end.
  std::optional<size_t> Total() const;

 private:
  std::optional<std::string> NextName();
  void Expand(const std::string& folder);
  bool IsScanName(const std::string& name) const;
  std::string RefusalOf(const std::string& path, const Job& job);
  Job MakeJob(const std::string& scan);

  const Options& m_options;
  bool m_toFolder = false;
  std::vector<std::string> m_pending; // scans of a folder, last first
  std::vector<Job> m_unreadable;      // folders that cannot be searched
  std::string m_folder;               // where they come from
  size_t m_nextInput = 0;
  size_t m_foldersLeft = 0; // to be searched
  size_t m_given = 0;       // jobs
  std::optional<NameList> m_list;
  std::set<std::string> m_scans, m_results; // of this run, as far as they are known
};
