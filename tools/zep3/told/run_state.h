// What runs did to each scan, kept beside their results: a later run knows from it which of them are what it would make
// itself, and the overview what there is to show.
//
// A folder of results holds kRunFolder, in that a file for each process that wrote: MACHINE-PROCESS-START.jsonl, a
// record a line. Several machines may so share a folder of results without waiting for each other.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

inline constexpr const char* kRunFolder = ".zep3-run";

// Where the records of a folder of results lie, without what is in them: some 100 bytes a result. A record has the
// fields of a line of `--json`, "name", the result's place below the folder, and "at", when it was done, in ns since
// 1970.
class RunIndex {
 public:
  // Reads the beginnings of all records. A line that is cut, or is none, is passed over.
  explicit RunIndex(const std::filesystem::path& out);

  // The newest record of a result that was made, or else the newest of any, as JSON; "" when there is none. `name`: as
  // NameInRun gives it.
  std::string Made(const std::string& name) const;

  // Calls take(record) for the newest record of each result, in no order.
  template <typename Take>
  void ForEach(Take take) const {
    for (const auto& [name, places] : m_places) {
      if (std::optional<nlohmann::json> record = Read(places.newest)) take(*std::move(record));
    }
  }

 private:
  struct Place {
    uint32_t file = 0;
    uint32_t length = 0; // 0: nowhere
    uint64_t begin = 0;
    int64_t at = 0;
  };
  struct Places {
    Place newest, made;
  };
  void ReadFile(uint32_t file);
  std::string Text(const Place& place) const;
  std::optional<nlohmann::json> Read(const Place& place) const;

  std::vector<std::filesystem::path> m_files;
  std::map<std::string, Places> m_places;
};

// The folders below which runs into `out` kept the folders of their scans, the newest first.
std::vector<std::string> RootsOfRun(const std::filesystem::path& out);

// Names need not be UTF-8, JSON must: a result's place below the folder of results as its records have it.
std::string NameInRun(const std::filesystem::path& result, const std::filesystem::path& out);

// The records of earlier runs into a folder of results, which are read when the first of them is asked for.
class FormerRun {
 public:
  // Empty: there is none.
  explicit FormerRun(const std::filesystem::path& out) : m_out(out) {}

  // The record of a result that is there, as RunIndex::Made gives it.
  std::string Made(const std::string& result);

 private:
  std::filesystem::path m_out;
  std::optional<RunIndex> m_index;
};

// The file of this process. One writer.
class RunLog {
 public:
  // `root`: see RootsOfRun; empty: folders are not kept.
  RunLog(const std::filesystem::path& out, const std::string& root) : m_out(out), m_root(root) {}
  ~RunLog();
  RunLog(const RunLog&) = delete;
  RunLog& operator=(const RunLog&) = delete;

  // Adds a record, whole or not at all. Throws Failure.
  void Add(const std::string& result, const nlohmann::ordered_json& record);
  // Waits until the disk has all of them. Throws Failure.
  void Sync();

 private:
  void Open();
  void Write(const nlohmann::ordered_json& line);
  [[noreturn]] void Fail() const;

  std::filesystem::path m_out;
  std::string m_root, m_path;
  int m_file = -1;
};
