// The options by the groups of the help, with CLI11; then what may not be combined.
#include "command/command_line.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "command/arguments.h"
#include "command/stops.h"
#include "command/verb_help.h"
#include "did_you_mean.h"
#include "failure.h"
#include "log.h"
#include "page/analysis.h"
#include "page/record.h"
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

  A whole book as its first page was decided, the paper white:
    zep3 -k background page001.tif -o book/ --sidecar

    zep3 --use-sidecar book/page001.tif.zep3.json page*.tif -o book/

Notes:
  A scan's values are taken as its ICC profile says, else as sRGB; --input-gamma 1.0 suits raw linear scans.

  Saturation: with f = 1 + S / 200, S what the analysis proposes for faded and backlit originals (0 for others), each
  channel of the result becomes g + f (channel - g), g = (R + 3 G + B) / 5. Of monochrome negatives f is 0: the result is
  neutral.

  Exit status: 0; 1 when a scan failed (the others are finished); 2 for a fault in the command; 130 when interrupted.)";

constexpr const char* kOriginalHeading = "Original and correction";
constexpr const char* kAreaHeading = "Analysis area, pipettes, encoding";

constexpr const char* kLicence = "Copyright (c) the zep3 authors, MIT License";

// Options under one heading of the help.
class Group {
 public:
  Group(CLI::App& app, const char* heading) : m_app(app), m_heading(heading) {}

  template <typename T>
  CLI::Option* Add(const std::string& name, T& target, const std::string& form, const std::string& help) {
    return m_app.add_option(name, target, help)->type_name(form)->group(m_heading);
  }
  template <typename Take>
  CLI::Option* AddText(const std::string& name, const std::string& form, const std::string& help, Take take) {
    return m_app.add_option_function<std::string>(name, take, help)->type_name(form)->group(m_heading);
  }
  CLI::Option* AddFlag(const std::string& name, bool& target, const std::string& help) {
    return m_app.add_flag(name, target, help)->group(m_heading);
  }
  // Without a description: the help says what is allowed in its own words.
  static CLI::Validator OneOfWords(const std::string& option) {
    const auto fault = [words = WordsOf(option)](const std::string& typed) {
      return std::find(words.begin(), words.end(), typed) != words.end() ? "" : ExpectedOneOf(typed, words);
    };
    return CLI::Validator(fault, "");
  }

 private:
  CLI::App& m_app;
  const char* m_heading;
};

// An option with a parser of its own. Its faults become CLI11's, so that all are reported alike.
template <typename T, typename Parse>
CLI::Option* AddParsed(Group& group, const std::string& name, T& target, Parse parse, const std::string& form,
                       const std::string& help) {
  return group.AddText(name, form, help, [&target, parse, name](const std::string& text) {
    try {
      target = parse(text);
    } catch (const UsageError& error) {
      throw CLI::ValidationError(name, error.what());
    }
  });
}

template <typename T>
CLI::Option* AddRange(Group& group, const std::string& name, T& target, int low, int high, const std::string& help) {
  const auto parse = [low, high](const std::string& text) { return ParseWhole(text, low, high); };
  return AddParsed(group, name, target, parse, "N", help);
}

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

const Format* ParseFormat(const std::string& text, std::string& saver) {
  const NameWithOptions parts = SplitOptions(text);
  saver = parts.options;
  const Format* format = FormatOfName("scan." + parts.name);
  if (format == nullptr) throw UsageError(ExpectedOneOf(parts.name, WordsOf("--format")));
  return format;
}

void AddResult(CLI::App& app, Options& options) {
  Group group(app, "Result");
  group.Add("-o,--output", options.output, "OUT",
            "A file, a folder or - for standard output; options of libvips in brackets behind a file");
  AddParsed(
      group, "--format", options.format, [&](const std::string& text) { return ParseFormat(text, options.saver); },
      "FORMAT", "tif, png, jpg, webp or pnm, with options of libvips in brackets, instead of the scan's own");
  auto* inPlace = group.AddFlag("--in-place", options.inPlace, "Replace the scan; it is kept as NAME_original");
  group.AddFlag("--no-backup", options.noBackup, "With --in-place: keep no original")->needs(inPlace);
  group.AddFlag("--overwrite", options.overwrite, "Replace results that exist");
  group.AddFlag("--no-sync", options.noSync,
                "Do not wait for the disk: sooner done; results may be cut or gone after a loss of power");
  group.AddFlag("--strip", options.strip, "Leave EXIF, IPTC, XMP and text out; profile and resolution stay");
  group.AddFlag("--sidecar", options.sidecar, "Write the correction beside the result, as RESULT.zep3.json");
  group.AddFlag("--report", options.report, "Write a page that shows before and after, as RESULT.zep3.html");
  group.Add("--as", options.tableForm, "FORM", "zep3 tables: text (default), csv, json, png (256 x 1) or scanimage")
      ->check(Group::OneOfWords("--as"));
}

// The same numbers in photographers' units.
void AddStops(Group& group, UserOptions& user) {
  constexpr double kMost = 5;
  const auto parse = [](const std::string& text) { return ParseStops(text, kMost); };
  AddParsed(group, "--exposure", user.exposure, parse, "STOPS",
            "Lighter or darker by so many stops, such as 0.5 or -1/3; in place of -b");
  AddParsed(group, "--warmth", user.warmth, parse, "STOPS",
            "Warmer, or cooler below 0: stops between red and blue; in place of --balance");
  AddParsed(group, "--tint", user.tint, parse, "STOPS",
            "More magenta, or green below 0: stops between these; in place of --balance");
}

void AddOriginal(CLI::App& app, Options& options) {
  Group group(app, kOriginalHeading);
  group
      .AddText("-k,--kind", "KIND", "What was scanned, see below; zep3 compare helps to choose",
               [&](const std::string& name) { options.analysis.kind = FindZEP3Kind(name.c_str()); })
      ->check(Group::OneOfWords("--kind"));
  group
      .AddText("--analysis", "METHOD",
               "standard, channel by channel, or adaptive, by colours that occur together (see below)",
               [&](const std::string& name) { options.analysis.adaptive = name == MethodName(true); })
      ->check(Group::OneOfWords("--analysis"));
  AddRange(group, "--level", options.analysis.level, 0, 9, "Strength of the correction, 0..9 (4)");
  AddRange(group, "--backlight", options.analysis.backlight, 0, 8,
           "Lift a dark subject before a bright background, 0..8 (0)");
  group
      .AddText("--option", "OPTION", "normal (default), or plain: a plainer handling of shadows",
               [&](const std::string& name) { options.analysis.plain = name == "plain"; })
      ->check(Group::OneOfWords("--option"));
  AddParsed(group, "--matrix", options.analysis.matrix, ParseMatrix, "M,M,...",
            "Colour matrix for negatives, nine numbers row by row; its diagonal gives the film's contrasts");
  AddRange(group, "-b,--brightness", options.user.brightness, -1000, 1000, "Density steps of 0.003, -1000..1000 (0)");
  AddRange(group, "-c,--contrast", options.user.contrast, -99, 99, "Contrast in percent, -99..99 (0)");
  AddParsed(group, "--balance", options.user.balance, ParseBalance, "R,G,B", "Brightness of each channel, added");
  AddStops(group, options.user);
  AddParsed(group, "--curve", options.user.masterCurve, ParseCurve, "IN:OUT,...",
            "Tone curve of all channels by points of levels 0..255, in place of the proposed one");
  for (size_t c = 0; c < 3; c++) {
    AddParsed(group, std::string("--curve-") + kChannelNames[c], options.user.channelCurves[c], ParseCurve,
              "IN:OUT,...", std::string("Tone curve of ") + kChannelNames[c] + ", applied first");
  }
  AddParsed(group, "--saturation", options.saturation, ParseSaturation, "N",
            "Percent more or less colourful than the analysis proposes, -100..400 (0); off: as the tables give it");
}

void AddPages(CLI::App& app, Options& options) {
  Group group(app, "Documents, and reading them");
  group.AddFlag("--no-even", options.analysis.tablesAlone,
                "Documents by tables alone: uneven light, folds and stains stay as they are");
  group.AddFlag("--gray", options.gray, "One gray channel, the luma of the result's colours: what reading text wants");
}

void AddCrop(CLI::App& app, Options& options) {
  Group group(app, "Crop");
  auto* crop = group.AddFlag("--crop", options.crop.wanted,
                             "Cut out the picture: no holder, mount, lid or white border; with --area, that area");
  AddParsed(group, "--margin", options.crop.margin, ParseLength, "LENGTH",
            "With --crop: leave this much around the picture; pixels, or percent of its shorter side; negative: inside")
      ->needs(crop);
  group
      .AddFlag("--no-straighten", options.crop.keepsTilt,
               "With --crop: cut the upright rectangle around a tilted picture; no pixel is changed by turning")
      ->needs(crop);
}

void AddAreaAndScales(CLI::App& app, Options& options) {
  Group group(app, kAreaHeading);
  auto* area = AddParsed(group, "--area", options.analysis.area, ParseArea, "X,Y,WIDTH,HEIGHT",
                         "Analyse this rectangle only; pixels, or percent as 10%,10%,80%,80%");
  AddParsed(group, "--corners", options.analysis.area, ParseCorners, "X,Y,X,Y,X,Y,X,Y",
            "Analyse the rotated rectangle with these corners only")
      ->excludes(area);
  AddParsed(
      group, "--gray-pipette", options.analysis.grayPipette,
      [](const std::string& text) { return ParsePipette(text, true); }, "X,Y[,STRENGTH]",
      "Make the colour here gray by the channels' points; strength in percent (100)");
  AddParsed(
      group, "--gamma-pipette", options.analysis.gammaPipette,
      [](const std::string& text) { return ParsePipette(text, false); }, "X,Y",
      "Make the colour here gray by the channels' gammas");
  AddParsed(group, "--input-gamma", options.inputGamma, ParseGamma, "GAMMA",
            "Gamma of the scan's values (from its ICC profile, else 2.2)");
  AddParsed(group, "--output-gamma", options.outputGamma, ParseGamma, "GAMMA",
            "Gamma of the result's values (as the scan's); a profile is changed to fit");
  group.Add("--use-sidecar", options.useSidecar, "FILE",
            "Repeat the correction in this file; brightness, contrast, balance and curves may differ");
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
  Group group(app, "What is opened");
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
  group.Add("--files-from", options.filesFrom, "LIST", "Take names from this file, one a line; - for standard input");
  group.AddFlag("-0,--null", options.nulSeparated, "Names in the list end in a zero byte");
  AddRange(group, "-j,--jobs", options.jobs, 1, 256, "Scans at a time (one per processor)");
  group.AddFlag("-n,--dry-run", options.dryRun, "Say what would be done, write nothing");
  group.AddFlag("--json", options.json, "One line of JSON a scan on standard output");
  group.AddFlag("-q,--quiet", options.quiet, "Say only what failed");
  group.AddFlag("-v,--verbose", options.verbose,
                "Say every scan with what was found, and what the image libraries warn of");
}

// A sidecar settles what the analysis reads.
void CheckSidecarUse(const CLI::App& app) {
  for (const char* name : {"--kind", "--analysis", "--level", "--backlight", "--option", "--matrix", "--area",
                           "--corners", "--gray-pipette", "--gamma-pipette", "--input-gamma", "--output-gamma"}) {
    if (app.count(name) > 0) {
      throw UsageError(std::string(name) + " cannot be changed with --use-sidecar: the analysis is settled there");
    }
  }
}

// A roll is judged by the adaptive analysis of the kinds that share something.
void CheckRollAnalysis(const Options& options, const char* name) {
  if (options.analysis.adaptive == false || options.analysis.plain)
    throw UsageError(std::string(name) + " is for the adaptive analysis, without --option plain");
}

// What its scans share depends on these: they stay as they were.
void TakeRoll(const CLI::App& app, Options& options) {
  if (options.command == Command::kCompare) throw UsageError("zep3 compare shows every kind, without --use-roll");
  CheckRollAnalysis(options, "--use-roll");
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
}

void CheckRoll(const Options& options) {
  if (options.command != Command::kCorrect)
    throw UsageError("zep3 analyse, zep3 tables and zep3 compare look at each scan by itself, without --roll");
  CheckRollAnalysis(options, "--roll");
  if (!CanShare(options.analysis)) {
    throw UsageError(std::string("--roll: scans of the kind ") + options.analysis.kind->pName +
                     " share nothing that one of them does not tell; leave --roll out");
  }
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

// The words that settle a correction beside its kind and analysis, to be said again.
std::vector<std::string> WordsGiven(const CLI::App& app) {
  std::vector<std::string> words;
  for (const CLI::Option* option : app.get_options()) {
    const std::string name = option->get_name();
    const bool settles = option->get_group() == kOriginalHeading || option->get_group() == kAreaHeading;
    if (!settles || option->count() == 0 || name == "--kind" || name == "--analysis") continue;
    words.push_back(name);
    words.push_back(option->results().back());
  }
  return words;
}

// A scan cannot tell surely enough what it is of.
void AskForKind(const Options& options) {
  Say("say what was scanned; a scan does not tell it surely enough:");
  for (int64_t i = 0; const ZEP3_KIND* kind = GetZEP3Kind(i); i++) {
    std::fprintf(stderr, "  -k %-18s %s\n", kind->pName, kind->pText);
  }
  const std::string scan = options.inputs.empty() || options.inputs[0] == "-" ? "SCAN" : Printable(options.inputs[0]);
  std::fprintf(stderr, "Not sure? This makes a page that shows the scan finished as each of them:\n  zep3 compare %s\n",
               scan.c_str());
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

// Stops as the record's numbers, which may be given by themselves.
void TakeStops(UserOptions& user) {
  if (user.exposure && user.brightness) throw UsageError("--exposure and --brightness are one number: give either");
  if ((user.warmth || user.tint) && user.balance)
    throw UsageError("--warmth and --tint make the numbers of --balance: give either");
  if (user.exposure) user.brightness = StepsOfStops(*user.exposure);
  if (user.warmth || user.tint) user.balance = BalanceOfStops(user.warmth.value_or(0), user.tint.value_or(0));
}

void Check(const CLI::App& app, Options& options) {
  CheckFirstWord(app, options);
  TakeStops(options.user);
  if (options.inputs.empty() && options.filesFrom.empty()) throw UsageError("no scan is named; see zep3 --help");
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
  if (options.command != Command::kCorrect) {
    if (options.inPlace || options.sidecar || options.report || options.dryRun || options.crop.wanted || options.gray) {
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
  AddResult(app, options);
  AddOriginal(app, options);
  AddAreaAndScales(app, options);
  AddRolls(app, options);
  AddPages(app, options);
  AddCrop(app, options);
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
    if (*analyse) options.command = Command::kAnalyse;
    if (*tables) options.command = Command::kTables;
    if (*compare) options.command = Command::kCompare;
    Check(app, options);
    options.given = WordsGiven(app);
    if (options.command != Command::kCompare && app.count("--kind") == 0 && options.useSidecar.empty() &&
        options.useRoll.empty()) {
      AskForKind(options);
      return {std::nullopt, 2};
    }
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
