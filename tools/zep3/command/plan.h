// From arguments, folders and lists to one job per scan: what is read, how it is corrected, and where the result goes.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "command/scan_list.h"
#include "command/scan_settings.h"
#include "options.h"

struct Job {
  std::string scan;    // as named; "-" is standard input
  std::string result;  // empty: none; "-": standard output
  std::string refusal; // not empty: what is wrong with the job itself
  bool named = false;  // the user named the result, so that its name says the format
  std::string folder;  // in which the scan was found; empty: it was named itself. Stays in this process
  std::shared_ptr<const Settled> settled{}; // what it is corrected by; null: the options of the run
  std::string sidecar{};                    // beside the scan, which is finished by it; empty: there is none
  std::string made{};                       // the record of an earlier run that made the result; empty: there is none

  // Settled::told.
  std::string Told() const { return settled ? settled->told : "{}"; }
};

// One name for a file, however it is reached; also for one that does not exist yet.
std::string Canonical(const std::filesystem::path& path);

// Names that are no scans, in the folders that were searched.
struct LeftOut {
  std::map<std::string, size_t> extensions; // files of no format that is opened, by the ends of their names
  size_t originals = 0;                     // kept by an earlier run
};

// Hands out the jobs one by one. All names are looked at before the first: what is wrong with any of them, such as two
// scans with one result, ends the run before it begins. Where results lie is then known at once (--flat, --root), so
// that a list which is still being written is taken as it arrives instead, and what is wrong with a scan fails it.
class Plan {
 public:
  // Throws UsageError, after having said what is wrong.
  explicit Plan(const Options& options);
  std::optional<Job> Next();
  // The jobs in all; absent while a list is still read.
  std::optional<size_t> Total() const;

  // Beside whose results the state of the run is kept; empty: it is not.
  const std::string& StateFolder() const { return m_stateFolder; }
  // The folder below which results keep the folders of their scans; empty: they do not.
  const std::string& Root() const { return m_root; }
  // Whether that is another than the folder which was searched.
  bool KeepsFolders() const { return m_keepsFolders; }
  const LeftOut& Left() const { return m_left; }

 private:
  struct Name {
    std::string scan;
    std::string from; // the folder that was searched; empty: it was named itself
    std::shared_ptr<const SettingLayer> row;
    std::string fault;
  };
  std::optional<Name> NextName();
  void Expand(const std::string& folder);
  bool IsScanName(const std::string& name) const;
  void Gather();
  void FindRoot(const std::vector<Name>& names);
  void FindStateFolder(const std::vector<Name>& names);
  Job MakeJob(const Name& name, std::string& fault);
  std::string SetResult(const Name& name, const std::string& path, Job& job);
  std::string FaultOfResult(const std::string& path, const Job& job);
  std::string FaultOfSettings(const Name& name, Job& job);
  void TakeOwnSidecar(const std::string& path, Job& job) const;
  const std::string& AbsoluteFolder(const std::string& file);
  std::string CanonicalFile(const std::string& path);

  const Options& m_options;
  ScanSettings m_settings;
  bool m_toFolder = false, m_streams = false, m_keepsFolders = false;
  std::string m_root, m_stateFolder;
  std::vector<std::string> m_pending; // scans of a folder, last first
  std::vector<Job> m_unreadable;      // folders that cannot be searched
  std::string m_folder;               // where they come from
  size_t m_nextInput = 0;
  std::optional<ScanList> m_list;
  LeftOut m_left;
  std::vector<Job> m_jobs; // all of them, where they are gathered
  size_t m_nextJob = 0;
  std::unordered_map<std::string, std::string> m_scans, m_results;      // canonical, of this run; and the scan as named
  std::unordered_map<std::string, std::string> m_absolute, m_canonical; // folders
};
