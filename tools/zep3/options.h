// What the user asked for.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "admission.h"
#include "analysis.h"
#include "formats.h"

enum class Command { kCorrect, kAnalyse, kTables };

struct Options {
  Command command = Command::kCorrect;

  std::vector<std::string> inputs;
  std::string filesFrom; // a list of names, "-" for standard input; empty: none
  bool nulSeparated = false;
  bool recursive = false;

  Admission admission;

  std::string output; // a file, a folder or "-"; empty: none
  const Format* format = nullptr;
  std::string saver; // options for libvips in brackets
  bool inPlace = false;
  bool noBackup = false;
  bool overwrite = false;
  bool noSync = false; // results are not waited for until they are on the disk
  bool strip = false;
  bool sidecar = false;
  bool report = false;
  std::string tableForm = "text";

  AnalysisOptions analysis;
  UserOptions user;
  std::optional<int> inputGamma, outputGamma; // tenths
  bool saturation = true;
  std::string useSidecar; // empty: analyse

  int jobs = 0; // 0: one per processor
  bool dryRun = false;
  bool json = false;
  bool quiet = false;
  bool verbose = false;
};
