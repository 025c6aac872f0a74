// The options by the groups of the help, with CLI11; then what may not be combined.
#include "command/command_line.h"

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "command/option_group.h"
#include "command/rolls.h"
#include "command/scanner_options.h"
#include "command/setting_options.h"
#include "command/verb_help.h"
#include "did_you_mean.h"
#include "failure.h"
#include "log.h"
#include "page/analysis.h"
#include "page/record.h"
#include "told/command_words.h"
#include "told/evidence.h"
#include "told/roll_file.h"
#include "version.h"

namespace {

constexpr const char* kDescription =
    "Automatic exposure and colour correction of scans: negatives, slides, prints and documents.\n"
    "Files in, finished files out; depth, compression, profile and metadata stay as they are.";

constexpr const char* kExamples = R"(Examples:
  Which kind is it? A page that shows the scan finished as each:
    zep3 compare scan.tif

  A colour negative, with a page that shows it before and after:
    zep3 -k negative roll7_12.tif -o finished/roll7_12.tif --report

  A strip of film in its holder, the picture in the middle cut out and straightened:
    zep3 -k negative --crop strip.tif -o finished/

  All scans below a folder, faded slides, the originals kept; run it again to go on where it stopped:
    zep3 -r -k faded-slide archive/slides -o archive/finished

  A roll of film, or a box of faded slides, finished together, with a contact sheet of all:
    zep3 --roll -k negative roll7/ -o finished/roll7

  From the scanner, a stack of pages through its feeder:
    zep3 scan -d DEVICE --source ADF -k document -o pages/

  A whole book as its first page was decided, the paper white:
    zep3 -k background page001.tif -o book/ --sidecar

    zep3 --use-sidecar book/page001.tif.zep3.json page*.tif -o book/

Notes:
  A scan's values are taken as its ICC profile says, else as sRGB; --input-gamma 1.0 suits raw linear scans.

  Saturation: with f = 1 + S / 200, S what the analysis proposes for faded and backlit originals (0 for others), each
  channel of the result becomes g + f (channel - g), g = (R + 3 G + B) / 5. Of monochrome negatives f is 0: the result is
  neutral.

  Exit status: 0; 1 when a scan failed (the others are finished); 2 for a fault in the command; 130 when interrupted.)";

constexpr const char* kAdmissionHeading = "What is opened";
constexpr const char* kLicence = "Copyright (c) the zep3 authors, MIT License";

std::string KindsText() {
  std::string text = "Kinds of original, and their analysis:\n";
  const auto column = [](std::string_view word, size_t width) {
    return std::string(word) + std::string(width - word.size(), ' ');
  };
  for (int64_t i = 0; const ZEP3_KIND* kind = GetZEP3Kind(i); i++) {
    text += "  " + column(kind->pName, 20) + column(MethodName(kind->wAdaptive != 0), 12) + kind->pText + "\n";
  }
  return text;
}

// The help's text behind the options.
std::string Footer() { return KindsText() + "\n" + kExamples; }

void AddResult(CLI::App& app, Options& options, Settings& settings) {
  Group group(app, kResultHeading);
  group.Add("-o,--output", options.output, "OUT",
            "A file, a folder or - for standard output; options of libvips in brackets behind a file");
  AddFormat(app, options, settings);
  auto* inPlace = group.AddFlag("--in-place", options.inPlace, "Replace the scan; a.tif is kept as a_original.tif");
  group.AddFlag("--restore", options.restore, "With --in-place: give kept originals their names back")->needs(inPlace);
  group.AddFlag("--no-backup", options.noBackup, "With --in-place: keep no original")->needs(inPlace);
  group.AddFlag("--overwrite", options.overwrite, "Replace results that exist");
  group.AddFlag("--no-sync", options.noSync,
                "Do not wait for the disk: sooner done; results may be cut or gone after a loss of power");
  AddStrip(app, options, settings);
  group.AddFlag("--sidecar", options.sidecar, "Write the correction beside the result, as RESULT.zep3.json");
  group.AddFlag("--report", options.report,
                "Write a page that shows before and after, as RESULT.zep3.html or below OUT/zep3-report/");
  group.AddSwitch("--overview,!--no-overview", options.overviewGiven,
                  "Write a page of all results in the folder OUT, and a table, as OUT/zep3-report/index.html and "
                  "run.csv (with --report of more than one scan)");
  group.Add("--as", options.tableForm, "FORM", "zep3 tables: text (default), csv, json, png (256 x 1) or scanimage")
      ->check(Group::OneOfWords("--as"));
}

void AddSidecarUse(CLI::App& app, Options& options) {
  Group group(app, kAreaHeading);
  group.Add("--use-sidecar", options.useSidecar, "FILE",
            "Repeat the correction in this file; brightness, contrast, balance and curves may differ");
  group.AddFlag("--own-sidecars", options.ownSidecars,
                "Repeat for each scan the correction in SCAN.zep3.json beside it; scans without one are analysed");
}

void AddRolls(CLI::App& app, Options& options) {
  Group group(app, "Rolls of film, boxes of faded prints and slides");
  auto* roll =
      group.AddFlag("--roll", options.roll,
                    "The scans are one roll or box, scanned with one setting: what they share is estimated from "
                    "all of them, and kept as roll.zep3.json; with -r every folder is one");
  group
      .Add("--use-roll", options.useRoll, "FILE",
           "Finish these scans with what was found of their roll before, in such a file")
      ->excludes(roll);
}

// Limits on what is opened.
void AddAdmission(CLI::App& app, Options& options) {
  Group group(app, kAdmissionHeading);
  AddParsed(
      group, "--also-read", options.admission.alsoRead, ParseFormatsOnDemand, "FORMAT,...",
      "Open these, too: jp2, jxl, heif, gif, pdf. Their decoders are less tried: for scans whose source you trust");
  AddRange(group, "--pdf-dpi", options.admission.pdfDpi, 36, 2400, "Pixels an inch for pages of PDF (300)");
  AddParsed(
      group, "--max-pixels", options.admission.maxPixels,
      [](const std::string& text) { return ParseAmount(text, 1000); }, "N",
      "Open no page of more pixels, such as 4000M (2500M)");
  AddParsed(
      group, "--max-memory", options.admission.maxMemory,
      [](const std::string& text) { return ParseAmount(text, 1024); }, "BYTES",
      "Open no page whose decoder takes more memory, such as 3G (1G); counts for each scan at a time");
}

void AddMany(CLI::App& app, Options& options) {
  Group group(app, "Many scans, messages");
  group.AddFlag("-r,--recursive", options.recursive,
                "Take the scans below folders; the folders are kept in the result");
  group.Add("--files-from", options.filesFrom, "LIST",
            "Take names from this file, one a line, or a table with a head line: scan, kind, options; - for standard "
            "input");
  group.AddFlag("-0,--null", options.nulSeparated, "Names in the list end in a zero byte");
  auto* flat = group.AddFlag("--flat", options.flat, "Results lie side by side, without the folders of their scans");
  group
      .Add("--root", options.root, "FOLDER",
           "Results keep their folders below this one (that which all scans of a list, or several -r, share)")
      ->excludes(flat);
  group.Add("--config", options.config, "FILE",
            "Options for scans without their own, as in the file zep3.toml of a folder, which is for the scans in it");
  group.AddFlag("--update", options.update,
                "Make results again that other settings or versions made, or whose scan has changed");
  group.Add("--known-bad", options.knownBad, "LIST", "Scans that may fail: the exit status does not count them");
  AddRange(group, "-j,--jobs", options.jobs, 1, 256, "Scans at a time (one per processor)");
  group.AddFlag("-n,--dry-run", options.dryRun, "Say what would be done, write nothing");
  group.AddFlag("--json", options.json, "One line of JSON a scan on standard output");
  group.AddFlag("--no-browser", options.noBrowser, "zep3 view: tell the page's address, open nothing");
  group.AddFlag("-q,--quiet", options.quiet, "Say only what failed");
  group.AddFlag("-v,--verbose", options.verbose,
                "Say every scan with what was found, and what the image libraries warn of");
}

// A sidecar settles what the analysis reads.
void CheckSidecarUse(const CLI::App& app) {
  for (const std::string setting : kSettledBySidecar) {
    const std::string name = "--" + setting;
    if (app.count(name) > 0) {
      throw UsageError(name + " cannot be changed with --use-sidecar: the analysis is settled there");
    }
  }
}

// What was decided scan by scan is of one scan alone.
void CheckOwnSidecars(const Options& options) {
  if (options.command != Command::kCorrect) throw UsageError("--own-sidecars finishes scans that lie in files");
  if (!options.useSidecar.empty()) throw UsageError("--own-sidecars and --use-sidecar exclude each other");
  if (options.roll || !options.useRoll.empty())
    throw UsageError("--own-sidecars repeats what was decided for each scan: without --roll and --use-roll");
  if (options.inPlace && options.noBackup) {
    throw UsageError("--own-sidecars knows by the original what is corrected already: without --no-backup");
  }
}

// What its scans share depends on these: they stay as they were.
void TakeRoll(const CLI::App& app, Options& options) {
  if (options.command == Command::kCompare) throw UsageError("zep3 compare shows every kind, without --use-roll");
  CheckSharingAnalysis(options, "--use-roll");
  const auto refuse = [](const char* name) {
    throw UsageError(std::string(name) + " is another than that of --use-roll: what the scans share rests on it");
  };
  const Roll roll = [&] {
    try {
      return ReadRoll(options.useRoll);
    } catch (const Failure& failure) {
      throw UsageError(failure.what());
    }
  }();
  AnalysisOptions& analysis = options.analysis;
  if (!roll.shared) throw UsageError("roll " + options.useRoll + ": holds nothing that its scans share");
  if (app.count("--kind") > 0 && analysis.kind != roll.analysis.kind) refuse("--kind");
  if (analysis.matrix && analysis.matrix != roll.analysis.matrix) refuse("--matrix");
  if (options.inputGamma && options.inputGamma != roll.inputGamma) refuse("--input-gamma");
  analysis.kind = roll.analysis.kind;
  analysis.matrix = roll.analysis.matrix;
  options.inputGamma = roll.inputGamma;
  analysis.roll = true;
  analysis.shared = roll.shared;
  analysis.mixedRoll = roll.IsMixed();
}

void CheckRoll(const Options& options) {
  if (options.command != Command::kCorrect && options.command != Command::kScan)
    throw UsageError("zep3 analyse, zep3 tables and zep3 compare look at each scan by itself, without --roll");
  if (options.noBackup) throw UsageError("--roll needs the backup: to go on, a run looks at the originals again");
  if (options.output == "-")
    throw UsageError("--roll keeps what the scans share beside the results; -o names a folder");
}

constexpr const char* kComparePage = "zep3-compare.html";

// The page takes the place of results.
void CheckCompare(const CLI::App& app, Options& options) {
  for (const char* name : {"--kind", "--analysis", "--use-sidecar"}) {
    if (app.count(name) > 0)
      throw UsageError("zep3 compare shows every kind and analysis, without " + std::string(name));
  }
  options.page = options.output.empty() ? kComparePage : options.output;
  options.output.clear();
}

// The options under a heading that were given, as they are to be said again.
std::vector<std::string> WordsUnder(const CLI::App& app, const std::string& heading) {
  std::vector<std::string> words;
  for (const CLI::Option* option : app.get_options()) {
    if (option->count() == 0 || option->get_group() != heading) continue;
    words.push_back(option->get_name());
    words.push_back(option->results().back());
  }
  return words;
}

void CheckOverview(const Options& options) {
  if (options.inputs.empty()) throw UsageError("zep3 overview DIR: say which folder of results");
}

void CheckView(const Options& options) {
  if (options.inputs.empty()) throw UsageError("zep3 view FILE|DIR: say which scans, or which folder");
}

std::vector<std::string> NamesOf(const std::vector<const CLI::App*>& commands) {
  std::vector<std::string> names;
  for (const CLI::App* command : commands) names.push_back(command->get_name());
  return names;
}

// A mistyped command would be taken for a scan.
void CheckFirstWord(const CLI::App& app, const Options& options) {
  if (options.inputs.empty() || !app.get_subcommands().empty()) return;
  const std::string& word = options.inputs.front();
  std::error_code ignored;
  if (word.find_first_of("./[") != std::string::npos || std::filesystem::exists(word, ignored)) return;
  const std::string meant = NearestWord(word, NamesOf(app.get_subcommands([](const CLI::App*) { return true; })));
  if (!meant.empty()) throw UsageError("there is no command and no scan '" + word + "'; did you mean " + meant + "?");
}

// What is said of an option that there is not.
std::string UnknownOption(const CLI::App& app) {
  const std::vector<std::string> unknown = app.remaining(true);
  const std::string word = unknown.empty() ? "" : unknown.front().substr(0, unknown.front().find('='));
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return "there is no option " + word + DidYouMean(word, names);
}

void Check(const CLI::App& app, Options& options) {
  CheckFirstWord(app, options);
  if (options.command == Command::kOverview) return CheckOverview(options);
  if (options.command == Command::kView) return CheckView(options);
  if (options.noBrowser) throw UsageError("--no-browser is for zep3 view");
  TakeStops(options.user);
  CheckScanner(app, options);
  const bool scans = options.command == Command::kScan;
  if (scans && options.scanner.list) return;
  if (!scans && options.inputs.empty() && options.filesFrom.empty())
    throw UsageError("no scan is named; see zep3 --help");
  if (options.ownSidecars) CheckOwnSidecars(options);
  if (!options.useSidecar.empty()) CheckSidecarUse(app);
  if (!options.useSidecar.empty() && (options.roll || !options.useRoll.empty())) {
    Say("the correction in the sidecar is repeated: nothing is shared");
    options.roll = false;
    options.useRoll.clear();
  }
  if (!options.useRoll.empty()) TakeRoll(app, options);
  if (app.count("--as") > 0 && options.command != Command::kTables) throw UsageError("--as is for zep3 tables");
  if (options.nulSeparated && options.filesFrom.empty()) throw UsageError("-0 is for --files-from");
  if (options.command == Command::kAnalyse && !options.useSidecar.empty()) {
    throw UsageError("zep3 analyse finds a correction; --use-sidecar repeats one");
  }
  if (options.command == Command::kCompare) CheckCompare(app, options);
  if (options.command != Command::kCorrect && !scans) {
    if (options.inPlace || options.sidecar || options.report || options.overviewGiven || options.dryRun ||
        options.crop.wanted || options.gray || options.keepSpace) {
      throw UsageError("zep3 analyse, zep3 tables and zep3 compare write no pictures beside scans");
    }
    if (options.command == Command::kAnalyse && !options.output.empty()) {
      throw UsageError("zep3 analyse writes to standard output");
    }
    return;
  }
  const NameWithOptions parts = SplitOptions(options.output);
  if (!parts.options.empty()) {
    options.output = parts.name;
    options.saver = parts.options;
  }
  if (options.output.empty() == !options.inPlace) {
    throw UsageError("say where the results go: either -o FILE, -o FOLDER or --in-place");
  }
  if (options.restore && options.noBackup) throw UsageError("--restore gives back what --no-backup does not keep");
  if (options.inPlace && options.format != nullptr) throw UsageError("--in-place keeps the format");
  if (options.noBackup && options.crop.wanted)
    throw UsageError("--crop needs the backup: what is cut off would be lost");
  options.analysis.window = options.crop.wanted;
  if (options.output == "-" && (options.json || options.sidecar || options.report)) {
    throw UsageError("with -o - standard output is the picture; --json, --sidecar and --report need -o FILE");
  }
  if (options.inPlace && !options.inputs.empty() && options.inputs[0] == "-") {
    throw UsageError("standard input cannot be replaced; -o says where the result goes");
  }
}

} // namespace

Parsed ParseCommandLine(int argc, char** argv) {
  Options options;
  CLI::App app(kDescription, "zep3");
  app.footer(Footer());
  app.set_version_flag("-V,--version",
                       std::string("zep3 ") + kVersion + " (engine " + EngineVersion() + ")\n" + kLicence);
  app.get_formatter()->column_width(34);
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  app.get_formatter()->label("Subcommands", "Commands");
  app.add_option("SCAN", options.inputs, "Files, folders with -r, - for standard input")->type_name(" ");
  app.require_subcommand(0, 1);
  app.fallthrough();
  app.add_subcommand("auto", "Correct the scans; the same as without a command")->fallthrough();
  auto* analyse =
      app.add_subcommand("analyse", "Print the analysis as JSON: reasons, record, statistics, tables")->fallthrough();
  auto* compare =
      app.add_subcommand("compare", "Show scans finished as each kind and by each analysis, on one page: -o PAGE, or " +
                                        std::string(kComparePage))
          ->fallthrough();
  auto* tables = app.add_subcommand("tables", "Print the three tables, see --as")->fallthrough();
  auto* overview =
      app.add_subcommand("overview",
                         "Write the page and the table of all results in the folder DIR anew: zep3 overview "
                         "DIR [LINES...], with the lines of --json in these files, too")
          ->fallthrough();
  auto* view = app.add_subcommand("view",
                                  "Look at scans, or at the results of a run, and correct them on a page in the "
                                  "browser, which writes sidecars beside them: zep3 view FILE|DIR...")
                   ->fallthrough();
  auto* scan =
      app.add_subcommand("scan", "Scan with a scanner, and correct: zep3 scan -d DEVICE -k KIND -o OUT")->fallthrough();
  Settings settings;
  AddResult(app, options, settings);
  AddOriginal(app, options, settings);
  AddAreaAndScales(app, options, settings);
  AddSidecarUse(app, options);
  AddRolls(app, options);
  AddScanner(app, options);
  AddPages(app, options, settings);
  AddCrop(app, options, settings, Strictness::kStrict);
  AddAdmission(app, options);
  AddMany(app, options);
  std::optional<std::string> wordBefore; // of a shell that completes a command
  app.add_option("--words-after", wordBefore)->group("");
  try {
    app.parse(argc, argv);
    if (wordBefore) {
      std::cout << WordsAfter(app, *wordBefore);
      return {};
    }
    if (app.count("--overview") == 0) options.overviewGiven.reset(); // CLI11 may set a switch that was not given
    if (*analyse) options.command = Command::kAnalyse;
    if (*tables) options.command = Command::kTables;
    if (*compare) options.command = Command::kCompare;
    if (*overview) options.command = Command::kOverview;
    if (*view) options.command = Command::kView;
    if (*scan) options.command = Command::kScan;
    Check(app, options);
    options.settings = LayerOf(settings, kCommandLine);
    options.givenBeside = WordsUnder(app, kAdmissionHeading);
    if (options.sidecar) options.givenBeside.emplace_back("--sidecar");
    if (options.report) options.givenBeside.emplace_back("--report");
    TakeWordsGiven(settings, options);
    options.commandLine = CommandLineText(argc, argv);
    if (options.roll) CheckRoll(options);
  } catch (const CLI::CallForHelp&) {
    std::cout << HelpText(app, KindsText());
    return {};
  } catch (const CLI::ExtrasError&) {
    Say(UnknownOption(app));
    return {std::nullopt, 2};
  } catch (const CLI::Success& success) { // version
    app.exit(success);
    return {};
  } catch (const CLI::ParseError& error) {
    Say(error.what());
    return {std::nullopt, 2};
  }
  return {options, 0};
}
