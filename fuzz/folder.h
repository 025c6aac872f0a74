// A folder for the files of one process, removed at its end.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

#include "input.h"

class Folder {
 public:
  Folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zep3_fuzz_XXXXXX").string();
    ZEP3_HOLDS(mkdtemp(pattern.data()) != nullptr);
    m_path = pattern;
  }
  ~Folder() { std::filesystem::remove_all(m_path); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::string operator/(const std::string& name) const { return (m_path / name).string(); }

  void Clear() const {
    for (const auto& entry : std::filesystem::directory_iterator(m_path)) std::filesystem::remove_all(entry.path());
  }
  std::set<std::string> Names() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_path)) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

 private:
  std::filesystem::path m_path;
};
