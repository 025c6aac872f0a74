// What the user asked for: values alone, from the command line.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "engine/zep3.h"
#include "files/formats.h"
#include "opening/admission.h"

// A length or place on a scan: pixels, or percent of the scan's width or height.
struct Length {
  double value = 0;
  bool percent = false;

  double Pixels(int64_t side) const { return percent ? value / 100 * static_cast<double>(side) : value; }
};

struct Position {
  Length x, y;
};

// The analysis area: an upright rectangle by its top left corner and size, or the four corners of a rotated one.
struct AreaArgument {
  std::vector<Position> corners; // 2 for a rectangle: corner and size; 4 for a rotated one; none: the whole scan
};

// A colour to be made gray.
struct PipetteArgument {
  Position at;
  int64_t strength = 100; // percent; the gray pipette's alone
};

// The original, as the user describes it, and wishes for its analysis.
struct AnalysisOptions {
  const ZEP3_KIND* kind = FindZEP3Kind("photo");
  int64_t level = 4;
  int64_t backlight = 0;
  bool plain = false;
  std::optional<bool> adaptive; // absent: as is best for the kind
  std::optional<std::array<double, 9>> matrix;
  AreaArgument area;
  bool tablesAlone = false;          // pages are not evened by their paper's surface
  bool roll = false;                 // the pages are frames of a roll, or originals of a box ...
  std::optional<ZEP3_SHARED> shared; // ... and this is what they share; absent: too few of them belong together
  bool mixedRoll = false;            // the frames do not share a base
  bool window = false;               // the picture's place is wanted of an analysis, too, that does not need it
  std::optional<PipetteArgument> grayPipette, gammaPipette;
};

// The user's changes to a correction, found or repeated. Absent: as the correction has it.
struct UserOptions {
  std::optional<int64_t> brightness, contrast;
  std::optional<std::array<int64_t, 3>> balance;
  std::optional<double> exposure, warmth, tint; // stops; the command line makes brightness and balance of them
  std::optional<ZEP3_TONE> masterCurve;
  std::array<std::optional<ZEP3_TONE>, 3> channelCurves;
};

// How colourful the result is.
struct SaturationOptions {
  bool proposed = true; // what the analysis proposes, or a sidecar holds, counts
  double percent = 0;   // more or less than that

  // By what the chroma of the result is multiplied, where that was found.
  double Of(double found) const { return std::min((proposed ? found : 1) * (1 + percent / 100), kMost); }

  static constexpr double kMost = 10; // far above what anybody wants
};

// What is cut out of a scan.
struct CropOptions {
  bool wanted = false;
  std::optional<Length> margin; // around the picture; percent of its shorter side; negative: inside
  bool keepsTilt = false;       // nothing is turned
};

// A value for an option of a scanner.
struct Assignment {
  std::string name, value;
};

// What is asked of a scanner; absent: as the device has it.
struct ScannerOptions {
  bool list = false;
  std::string device; // empty: the first that there is
  std::string mode, source;
  std::optional<double> resolution;               // pixels an inch
  std::optional<int> depth;                       // bits of a sample
  std::optional<double> left, top, width, height; // mm
  std::vector<std::string> set;                   // NAME=VALUE, see ParseAssignment
  std::string raw;                                // the folder that keeps the scans; empty: nothing keeps them
  std::optional<int> pages;                       // the most
  std::optional<int> start;                       // number of the first page in names
  bool ask = false;                               // before every page
  bool inSoftware = false;                        // no tables go into the scanner
};

// An option that settles what becomes of a scan, as it was given, and where: on the command line, in a file, in a list.
struct SettingWord {
  std::string value;
  std::string from;
};
// By the options' long names, without dashes.
using SettingLayer = std::map<std::string, SettingWord>;
inline constexpr const char* kCommandLine = "command line";

// kObserve: the first pass over a roll, which no user asks for by itself.
enum class Command { kCorrect, kAnalyse, kTables, kCompare, kOverview, kView, kScan, kObserve };

// What --use-sidecar settles: these cannot be given with it.
inline constexpr const char* kSettledBySidecar[] = {"kind",         "analysis",      "level",       "backlight",
                                                    "option",       "matrix",        "area",        "corners",
                                                    "gray-pipette", "gamma-pipette", "input-gamma", "output-gamma"};

struct Options {
  Command command = Command::kCorrect;

  std::vector<std::string> inputs;
  std::string filesFrom; // a list of names, "-" for standard input; empty: none
  bool nulSeparated = false;
  bool recursive = false;
  bool flat = false;       // results lie side by side, whatever folders their scans are in
  std::string root;        // results keep their folders below this one; empty: below that which all scans share
  std::string config;      // a file of options for all scans; empty: none
  SettingLayer settings{}; // of the command line

  Admission admission;
  ScannerOptions scanner;

  std::string output; // a file, a folder or "-"; empty: none
  const Format* format = nullptr;
  std::string saver; // options for libvips in brackets
  bool inPlace = false;
  bool noBackup = false;
  bool overwrite = false;
  bool update = false;  // results that are not what this command makes are made again
  bool restore = false; // kept originals get their names back
  bool noSync = false;  // results are not waited for until they are on the disk
  bool strip = false;
  bool sidecar = false;
  bool report = false;
  bool overview = false;             // thumbnails and a page of all scans ...
  std::optional<bool> overviewGiven; // ... as the user says; absent: with reports of more than one scan
  std::string runFolder;             // where reports of a run lie, see Plan::StateFolder; empty: beside each result
  std::string tableForm = "text";
  std::string page;                     // of zep3 compare: a file, or "-"
  std::vector<std::string> given;       // the words that say how to correct, but for kind and analysis
  std::vector<std::string> givenForm;   // and those that say what is opened and written
  std::vector<std::string> givenBeside; // of these the ones that are the same for all scans of a run
  std::string commandLine;              // as it was typed

  AnalysisOptions analysis;
  UserOptions user;
  CropOptions crop;
  std::optional<int> inputGamma, outputGamma; // tenths
  SaturationOptions saturation;
  bool gray = false;
  bool keepSpace = false;   // results of CMYK and Lab scans are CMYK and Lab again
  std::string useSidecar;   // empty: analyse
  bool ownSidecars = false; // each scan is finished by the sidecar beside it, where there is one
  bool roll = false;        // the scans are finished together
  int64_t rollPictures = 0; // pixels of the longer side of its contact sheet's pictures; 0: there is none
  std::string useRoll;      // a roll's file that says what they share; empty: none

  int jobs = 0;         // 0: one per processor
  std::string knownBad; // a list of scans that may fail; empty: none
  bool dryRun = false;
  bool json = false;
  bool quiet = false;
  bool verbose = false;
  bool noBrowser = false; // of zep3 view
};
