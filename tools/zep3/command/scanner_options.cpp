#include "command/scanner_options.h"

#include <string>

#include "command/option_group.h"

namespace {

constexpr const char* kScannerHeading = "zep3 scan: the scanner";

void AddMeasure(Group& group, const std::string& name, std::optional<double>& target, double low, double high,
                const char* unit, const std::string& form, const std::string& help) {
  const auto parse = [low, high, unit](const std::string& text) { return ParseMeasure(text, low, high, unit); };
  AddParsed(group, name, target, parse, form, help);
}

} // namespace

void AddScanner(CLI::App& app, Options& options) {
  constexpr double kLongest = 2000; // mm
  Group group(app, kScannerHeading);
  ScannerOptions& scanner = options.scanner;
  group.Add("-d,--device", scanner.device, "DEVICE",
            "The scanner, as -L names it ($SANE_DEFAULT_DEVICE, else the first)");
  group.AddFlag("-L,--list", scanner.list, "Name the scanners that there are");
  group.Add("--mode", scanner.mode, "MODE",
            "As the scanner calls it, such as Color or Gray (colour where it has some)");
  group.Add("--source", scanner.source, "SOURCE",
            "As the scanner calls it, such as Flatbed or ADF; its beginning will do");
  AddMeasure(group, "--resolution", scanner.resolution, 1, 100000, "pixels an inch", "DPI", "Pixels an inch");
  AddRange(group, "--depth", scanner.depth, 1, 16, "Bits of each colour, such as 8 or 16");
  AddMeasure(group, "-l", scanner.left, 0, kLongest, "mm", "MM", "Left edge of the area");
  AddMeasure(group, "-t", scanner.top, 0, kLongest, "mm", "MM", "Top edge of the area");
  AddMeasure(group, "-x", scanner.width, 0, kLongest, "mm", "MM", "Width of the area");
  AddMeasure(group, "-y", scanner.height, 0, kLongest, "mm", "MM", "Height of the area");
  group
      .Add("--set", scanner.set, "NAME=VALUE",
           "Any other option of the scanner, as often as wanted; scanimage -d DEVICE -A lists them")
      ->allow_extra_args(false);
  group.Add("--raw", scanner.raw, "FOLDER", "Keep the scans as they come from the scanner in this folder, too");
  AddRange(group, "--pages", scanner.pages, 1, 1000000, "Scan so many pages (one; from a feeder, until it is empty)");
  AddRange(group, "--number", scanner.start, 0, 1000000,
           "The first page's number in names (1, or behind those there are)");
  group.AddFlag("--ask", scanner.ask, "Wait for Enter before every page but the first; q ends");
  group.AddFlag("--in-software", scanner.inSoftware, "Send no tables to the scanner: finish all scans here");
}

void CheckScanner(const CLI::App& app, const Options& options) {
  if (options.command != Command::kScan) {
    for (const CLI::Option* option : app.get_options()) {
      if (option->count() > 0 && option->get_group() == kScannerHeading)
        throw UsageError(option->get_name() + " is for zep3 scan");
    }
    return;
  }
  if (!options.inputs.empty() || !options.filesFrom.empty())
    throw UsageError("zep3 scan takes its scans from a scanner; zep3 without scan corrects files");
  for (const char* name : {"--in-place", "--recursive", "--flat", "--root", "--config", "--update", "--known-bad",
                           "--dry-run", "--null", "--also-read", "--pdf-dpi"}) {
    if (app.count(name) > 0) throw UsageError(std::string(name) + " means nothing to zep3 scan");
  }
  if (options.scanner.list) return;
  for (const std::string& assignment : options.scanner.set) ParseAssignment(assignment);
  if (app.count("--kind") == 0 && options.useSidecar.empty() && options.useRoll.empty()) {
    std::string kinds;
    for (const std::string& kind : WordsOf("--kind")) kinds += (kinds.empty() ? "" : ", ") + kind;
    throw UsageError("say what is scanned, by -k: " + kinds);
  }
}
