// Each option with its field and its parser.
#include "command/setting_options.h"

#include <string>
#include <vector>

#include "command/stops.h"
#include "command/verb_help.h"
#include "did_you_mean.h"
#include "page/record.h"
#include "told/evidence.h"

namespace {

const Format* ParseFormat(const std::string& text, std::string& saver) {
  const NameWithOptions parts = SplitOptions(text);
  saver = parts.options;
  const Format* format = FormatOfName("scan." + parts.name);
  if (format == nullptr) throw UsageError(ExpectedOneOf(parts.name, WordsOf("--format")));
  return format;
}

// The same numbers in photographers' units.
void AddStops(Group& group, UserOptions& user, CLI::Option* brightness, CLI::Option* balance, Settings& settings) {
  constexpr double kMost = 5;
  const auto add = [&](const char* name, std::optional<double>& target, CLI::Option* other, const char* help) {
    const auto parse = [](const std::string& text) { return ParseStops(text, kMost); };
    AddParsed(group, name, target, parse, "STOPS", help)->excludes(other);
    settings.back().text = [] { return std::string(); }; // that of the other
  };
  add("--exposure", user.exposure, brightness,
      "Lighter or darker by so many stops, such as 0.5 or -1/3; in place of -b");
  add("--warmth", user.warmth, balance, "Warmer, or cooler below 0: stops between red and blue; in place of --balance");
  add("--tint", user.tint, balance, "More magenta, or green below 0: stops between these; in place of --balance");
}

} // namespace

CLI::Option* AddFormat(CLI::App& app, Options& options, Settings& settings) {
  Group group(app, kResultHeading, &settings);
  auto* format = AddParsed(
      group, "--format", options.format, [&](const std::string& text) { return ParseFormat(text, options.saver); },
      "FORMAT", "tif, png, jpg, webp or pnm, with options of libvips in brackets, instead of the scan's own");
  settings.back().text = [&] { return TextOf(options.format) + options.saver; };
  return format;
}

CLI::Option* AddStrip(CLI::App& app, Options& options, Settings& settings) {
  Group group(app, kResultHeading, &settings);
  group.AddFlag("--keep-space", options.keepSpace,
                "Scans in CMYK or Lab, which are corrected as RGB, come out in CMYK or Lab again (TIFF; CMYK in JPEG)");
  return group.AddFlag("--strip", options.strip, "Leave EXIF, IPTC, XMP and text out; profile and resolution stay");
}

void AddOriginal(CLI::App& app, Options& options, Settings& settings) {
  Group group(app, "Original and correction", &settings);
  group
      .AddText(
          "-k,--kind", "KIND", "What was scanned, see below; zep3 compare helps to choose",
          [&](const std::string& name) { options.analysis.kind = FindZEP3Kind(name.c_str()); },
          [&] { return std::string(options.analysis.kind->pName); })
      ->check(Group::OneOfWords("--kind"));
  group
      .AddText(
          "--analysis", "METHOD",
          "standard, channel by channel, or adaptive, by colours that occur together (see below)",
          [&](const std::string& name) { options.analysis.adaptive = name == MethodName(true); },
          [&] {
            const AnalysisOptions& analysis = options.analysis;
            return std::string(MethodName(analysis.adaptive.value_or(analysis.kind->wAdaptive != 0)));
          })
      ->check(Group::OneOfWords("--analysis"));
  AddRange(group, "--level", options.analysis.level, 0, 9, "Strength of the correction, 0..9 (4)");
  AddRange(group, "--backlight", options.analysis.backlight, 0, 8,
           "Lift a dark subject before a bright background, 0..8 (0)");
  group
      .AddText(
          "--option", "OPTION", "normal (default), or plain: a plainer handling of shadows",
          [&](const std::string& name) { options.analysis.plain = name == "plain"; },
          [&] { return std::string(options.analysis.plain ? "plain" : "normal"); })
      ->check(Group::OneOfWords("--option"));
  AddParsed(group, "--matrix", options.analysis.matrix, ParseMatrix, "M,M,...",
            "Colour matrix for negatives, nine numbers row by row; its diagonal gives the film's contrasts");
  auto* brightness = AddRange(group, "-b,--brightness", options.user.brightness, -1000, 1000,
                              "Density steps of 0.003, -1000..1000 (0)");
  AddRange(group, "-c,--contrast", options.user.contrast, -99, 99, "Contrast in percent, -99..99 (0)");
  auto* balance =
      AddParsed(group, "--balance", options.user.balance, ParseBalance, "R,G,B", "Brightness of each channel, added");
  AddStops(group, options.user, brightness, balance, settings);
  AddParsed(group, "--curve", options.user.masterCurve, ParseCurve, "IN:OUT,...",
            "Tone curve of all channels by points of levels 0..255, in place of the proposed one");
  for (size_t c = 0; c < 3; c++) {
    AddParsed(group, std::string("--curve-") + kChannelNames[c], options.user.channelCurves[c], ParseCurve,
              "IN:OUT,...", std::string("Tone curve of ") + kChannelNames[c] + ", applied first");
  }
  AddParsed(group, "--saturation", options.saturation, ParseSaturation, "N",
            "Percent more or less colourful than the analysis proposes, -100..400 (0); off: as the tables give it");
}

void AddAreaAndScales(CLI::App& app, Options& options, Settings& settings) {
  Group group(app, kAreaHeading, &settings);
  auto* area = AddParsed(group, "--area", options.analysis.area, ParseArea, "X,Y,WIDTH,HEIGHT",
                         "Analyse this rectangle only; pixels, or percent as 10%,10%,80%,80%");
  AddParsed(group, "--corners", options.analysis.area, ParseCorners, "X,Y,X,Y,X,Y,X,Y",
            "Analyse the rotated rectangle with these corners only")
      ->excludes(area);
  settings.back().text = [] { return std::string(); }; // the area's
  AddParsed(
      group, "--gray-pipette", options.analysis.grayPipette,
      [](const std::string& text) { return ParsePipette(text, true); }, "X,Y[,STRENGTH]",
      "Make the colour here gray by the channels' points; strength in percent (100)");
  AddParsed(
      group, "--gamma-pipette", options.analysis.gammaPipette,
      [](const std::string& text) { return ParsePipette(text, false); }, "X,Y",
      "Make the colour here gray by the channels' gammas");
  AddParsed(group, "--input-gamma", options.inputGamma, ParseInputGamma, "GAMMA",
            "Gamma of the scan's values, or srgb (from its ICC profile, else srgb)");
  AddParsed(group, "--output-gamma", options.outputGamma, ParseGamma, "GAMMA",
            "Gamma of the result's values (as the scan's); a profile is changed to fit");
}

void AddPages(CLI::App& app, Options& options, Settings& settings) {
  Group group(app, "Documents, and reading them", &settings);
  group.AddFlag("--no-even", options.analysis.tablesAlone,
                "Documents by tables alone: uneven light, folds and stains stay as they are");
  group.AddFlag("--gray", options.gray, "One gray channel, the luma of the result's colours: what reading text wants");
}

void AddCrop(CLI::App& app, Options& options, Settings& settings, Strictness strictness) {
  Group group(app, "Crop", &settings);
  auto* crop = group.AddFlag("--crop", options.crop.wanted,
                             "Cut out the picture: no holder, mount, lid or white border; with --area, that area");
  auto* margin = AddParsed(
      group, "--margin", options.crop.margin, ParseLength, "LENGTH",
      "With --crop: leave this much around the picture; pixels, or percent of its shorter side; negative: inside");
  auto* upright =
      group.AddFlag("--no-straighten", options.crop.keepsTilt,
                    "With --crop: cut the upright rectangle around a tilted picture; no pixel is changed by turning");
  if (strictness == Strictness::kLenient) return;
  margin->needs(crop);
  upright->needs(crop);
}

void AddSettings(CLI::App& app, Options& options, Settings& settings, Strictness strictness) {
  AddFormat(app, options, settings);
  AddStrip(app, options, settings);
  AddOriginal(app, options, settings);
  AddAreaAndScales(app, options, settings);
  AddPages(app, options, settings);
  AddCrop(app, options, settings, strictness);
}

void TakeStops(UserOptions& user) {
  if (user.exposure) user.brightness = StepsOfStops(*user.exposure);
  if (user.warmth || user.tint) user.balance = BalanceOfStops(user.warmth.value_or(0), user.tint.value_or(0));
}

SettingLayer LayerOf(const Settings& settings, const std::string& from) {
  SettingLayer layer;
  for (const Setting& setting : settings) {
    if (setting.option->count() > 0) layer[setting.Name()] = {setting.option->results().back(), from};
  }
  return layer;
}

void TakeWordsGiven(const Settings& settings, Options& options) {
  options.given.clear();
  options.givenForm = options.givenBeside;
  for (const Setting& setting : settings) {
    const std::string name = setting.option->get_name();
    if (setting.option->count() == 0 || name == "--kind" || name == "--analysis") continue;
    if (setting.IsFlag() && setting.text() != TextOf(true)) continue;
    std::vector<std::string>& words = setting.option->get_group() == kResultHeading ? options.givenForm : options.given;
    words.push_back(name);
    if (!setting.IsFlag()) words.push_back(setting.option->results().back());
  }
}
