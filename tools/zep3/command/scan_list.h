// A list of scans: names alone, or a table with a head line whose columns "scan", "kind" and "options" say how each is
// corrected. Other columns are the user's own.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "command/name_list.h"
#include "options.h"

struct ListedScan {
  std::string scan;                        // as named; may be empty
  std::shared_ptr<const SettingLayer> row; // the same object for the same options; null: none
  std::string fault;                       // not empty: what is wrong with the row
};

class ScanList {
 public:
  // As of NameList. Names before zero bytes are names throughout. Throws UsageError.
  ScanList(const std::string& path, bool nulSeparated);

  // The next scan; nothing at the end, and once the run is interrupted. Throws UsageError.
  std::optional<ListedScan> Next();

 private:
  bool TakeHead(const std::string& line);
  ListedScan ToScan(const std::vector<std::string>& fields);

  std::string m_path;
  NameList m_names;
  bool m_isTable = false, m_begun = false;
  bool m_namesAlone;
  char m_separator = '\t';
  size_t m_line = 0;
  std::optional<size_t> m_scan, m_kind, m_options; // columns
  std::map<std::string, std::shared_ptr<const SettingLayer>> m_rows;
};
