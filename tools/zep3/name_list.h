// A list of names, one a line or one before each zero byte, that may still be growing at the other end of a pipe.
#pragma once

#include <optional>
#include <string>

class NameList {
 public:
  // "-" is standard input. Throws UsageError.
  NameList(const std::string& path, char separator);
  ~NameList();
  NameList(const NameList&) = delete;
  NameList& operator=(const NameList&) = delete;

  // The next name, which may be empty. Nothing at the end, and once the run is interrupted. Throws UsageError.
  std::optional<std::string> Next();

 private:
  std::string m_path;
  char m_separator;
  int m_file;
  std::string m_read; // and not yet given
  bool m_ended = false;
};
