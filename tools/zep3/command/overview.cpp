#include "command/overview.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>

#include "command/plan.h"
#include "failure.h"
#include "interrupt.h"
#include "job/result.h"
#include "log.h"
#include "told/command_words.h"
#include "told/overview.h"
#include "told/report_place.h"
#include "told/run_state.h"
#include "version.h"

namespace fs = std::filesystem;

namespace {

// Adds lines of --json, and returns how many are none.
size_t AddLines(std::istream& lines, Overview& overview) {
  size_t refused = 0;
  for (std::string line; std::getline(lines, line) && !IsInterrupted();) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    const nlohmann::json record = nlohmann::json::parse(line, nullptr, false);
    if (!overview.Add(record)) refused++;
  }
  return refused;
}

void AddState(const fs::path& folder, Overview& overview) {
  // One at a time: all of them, read, take hundreds of megabytes for 20,000 scans.
  RunIndex(folder).ForEach([&](const nlohmann::json& record) { overview.Add(record, folder); });
}

} // namespace

bool WantsOverview(const Options& options, bool many) {
  if (options.command != Command::kCorrect || options.dryRun) return false;
  if (options.runFolder.empty()) {
    if (options.overviewGiven.value_or(false))
      throw UsageError("--overview is of a folder of results: -o FOLDER/, or --in-place of several scans");
    return false;
  }
  const bool there = fs::exists(fs::path(options.runFolder) / kReportFolder / kOverviewName);
  return options.overviewGiven.value_or(options.report && (many || there));
}

void WriteOverview(const Options& options) {
  if (IsInterrupted()) return;
  const fs::path folder = Canonical(options.runFolder);
  Overview overview(folder);
  AddState(folder, overview);
  std::vector<RunHead> runs = ReadRunHeads(folder);
  const RunHead now = {options.commandLine, Canonical("."), VersionsText(), TimeText()};
  std::erase_if(runs, [&](const RunHead& run) {
    return run.command == now.command && run.folder == now.folder && run.versions == now.versions;
  });
  runs.push_back(now);
  overview.Write(runs, SyncOf(options));
  if (!options.quiet) Say("see " + (fs::path(options.runFolder) / kReportFolder / kOverviewName).string());
}

int RunOverview(const Options& options) {
  const std::string& name = options.inputs[0];
  if (!fs::is_directory(name)) throw UsageError(name + " is no folder");
  const fs::path folder = Canonical(name);
  Overview overview(folder);
  // Folders below, which had runs of their own.
  AddState(folder, overview);
  std::error_code error;
  for (fs::recursive_directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    std::error_code kind;
    if (!entry->is_directory(kind)) continue;
    const std::string last = entry->path().filename().string();
    if (last == kRunFolder || last == kReportFolder) {
      entry.disable_recursion_pending();
    } else if (fs::is_directory(entry->path() / kRunFolder, kind)) {
      AddState(entry->path(), overview);
    }
  }
  if (error) throw Failure(name + ": " + error.message());
  for (size_t i = 1; i < options.inputs.size(); i++) {
    const std::string& lines = options.inputs[i];
    std::ifstream file;
    if (lines != "-") {
      file.open(lines, std::ios::binary);
      if (!file) throw UsageError("cannot read the lines " + lines);
    }
    const size_t refused = AddLines(lines == "-" ? std::cin : file, overview);
    if (refused > 0) Say(lines + ": " + std::to_string(refused) + " lines are none of --json; they are left out");
  }
  if (IsInterrupted()) return 130;
  if (overview.Scans() == 0) throw Failure(name + ": no run has left a record there, and no lines of --json are named");
  overview.Write(ReadRunHeads(folder), SyncOf(options));
  if (!options.quiet)
    Say(std::to_string(overview.Scans()) + " scans: see " + (fs::path(name) / kReportFolder / kOverviewName).string());
  return 0;
}
