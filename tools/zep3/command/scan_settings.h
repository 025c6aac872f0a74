// What settles each scan of a run: the command line, before the row of a list, before the files in the scan's folder
// and those above it, before the file of the run, before what is the default.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "options.h"

// The names of files with options for the scans in their folder and below: the first one that is there.
inline constexpr const char* kFolderFiles[] = {"zep3.toml", ".zep3"};

// What a scan is corrected by.
struct Settled {
  std::vector<std::string> words; // as on a command line; none: the options of the run are all there is
  std::string told;               // as JSON: name, value and where it comes from, for each that is not the default
  std::string elsewhere;          // the same in a line, where some are not the command line's
  const Format* format = nullptr; // of the result; null: as it is otherwise
  bool hasKind = false;
};

class ScanSettings {
 public:
  // Reads the file of the run. Throws UsageError.
  explicit ScanSettings(const Options& options);

  // `folder`: the scan's. `row`: of a list; the same object has the same options. Throws UsageError that names a file
  // and what is wrong in it.
  std::shared_ptr<const Settled> For(const std::filesystem::path& folder, const SettingLayer& row);

 private:
  const SettingLayer& OfFolder(const std::filesystem::path& folder);
  Settled Settle(SettingLayer layer) const;

  const Options& m_options;
  SettingLayer m_config;
  std::map<std::string, SettingLayer> m_folders;                   // by absolute name, with those above
  std::map<std::string, std::shared_ptr<const Settled>> m_settled; // by all options
  std::map<std::pair<std::string, const SettingLayer*>, std::shared_ptr<const Settled>> m_found;
};

// Options as words of a command line, such as "--level 5 --crop". Throws UsageError.
SettingLayer LayerOfWords(const std::string& words, const std::string& from);

// Of a text or what a file holds, to know it again wherever it lies: 16 hexadecimal digits.
std::string Fingerprint(const std::string& text);

// The same for a scan that is finished by the sidecar beside it, which tells its kind.
Settled WithOwnSidecar(const Settled& settled, const std::string& sidecar);

// The options of the run with these words of Settled.
Options WithWords(const Options& options, const std::vector<std::string>& words);
