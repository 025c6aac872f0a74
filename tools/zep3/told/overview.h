// All scans of a run on one page, and as a table: what is told of each, kept small, for runs of many thousands.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "files/pending_file.h"

// One run into a folder.
struct RunHead {
  std::string command;  // as it was typed
  std::string folder;   // where it was started
  std::string versions; // of what ran
  std::string date;     // of its end
};

class Overview {
 public:
  // `folder`: of the results.
  explicit Overview(std::filesystem::path folder) : m_folder(std::move(folder)) {}

  // A line of --json, or a record of the state in the folder `kept`. Of several records of one result the last one
  // counts, but one that skipped it. False where this is none.
  bool Add(const nlohmann::json& record, const std::filesystem::path& kept = {});

  size_t Scans() const { return m_scans.size(); }

  // Writes pages, data and table into the report folder, each whole before it takes its name. Throws Failure.
  void Write(const std::vector<RunHead>& runs, PendingFile::Sync sync) const;

 private:
  struct Scan {
    std::string name, state, kind, said; // of the scan; by a name of kStates; of original; what is said of the result
    std::string startedIn;               // the folder that the name is of, where it has none of its own
    std::string result;                  // below the folder; empty: there is none
    std::string table;                   // its lines of the table
    int64_t pages = 0;
    double seconds = 0;
  };

  std::string ListNameOf(const Scan& scan, bool absolute) const;
  std::string CardOf(const Scan& scan) const;
  std::vector<const Scan*> InOrder() const;
  bool IsStartedInOneFolder() const;
  std::string TotalsHtml(const std::vector<RunHead>& runs) const;
  std::string PageHtml(const std::vector<const Scan*>& order, size_t page, const std::string& totals) const;
  void WriteData(const std::vector<const Scan*>& order, PendingFile::Sync sync) const;

  std::filesystem::path m_folder;
  std::map<std::string, Scan> m_scans; // by result, or by scan where there is none
};

// What earlier runs into the folder left of themselves, the newest last. Nothing where there is none.
std::vector<RunHead> ReadRunHeads(const std::filesystem::path& folder);
