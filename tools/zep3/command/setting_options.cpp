// Each option with its field and its parser.
#include "command/setting_options.h"

#include <string>
#include <vector>

#include "page/record.h"
#include "told/evidence.h"

namespace {

// Names of all kinds.
std::vector<std::string> KindNames() {
  std::vector<std::string> names;
  for (int64_t i = 0; const ZEP3_KIND* kind = GetZEP3Kind(i); i++) names.emplace_back(kind->pName);
  return names;
}

const Format* ParseFormat(const std::string& text, std::string& saver) {
  const NameWithOptions parts = SplitOptions(text);
  saver = parts.options;
  const Format* format = FormatOfName("scan." + parts.name);
  if (format == nullptr) throw UsageError("'" + parts.name + "': expected tif, png, jpg, webp or pnm");
  return format;
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
  return Group(app, kResultHeading, &settings)
      .AddFlag("--strip", options.strip, "Leave EXIF, IPTC, XMP and text out; profile and resolution stay");
}

void AddOriginal(CLI::App& app, Options& options, Settings& settings) {
  Group group(app, "Original and correction", &settings);
  group
      .AddText(
          "-k,--kind", "KIND", "What was scanned, see below; zep3 compare helps to choose",
          [&](const std::string& name) { options.analysis.kind = FindZEP3Kind(name.c_str()); },
          [&] { return std::string(options.analysis.kind->pName); })
      ->check(Group::OneOf(KindNames()));
  group
      .AddText(
          "--analysis", "METHOD",
          "standard, channel by channel, or adaptive, by colours that occur together (see below)",
          [&](const std::string& name) { options.analysis.adaptive = name == MethodName(true); },
          [&] {
            const AnalysisOptions& analysis = options.analysis;
            return std::string(MethodName(analysis.adaptive.value_or(analysis.kind->wAdaptive != 0)));
          })
      ->check(Group::OneOf({std::string(MethodName(false)), std::string(MethodName(true))}));
  AddRange(group, "--level", options.analysis.level, 0, 9, "Strength of the correction, 0..9 (4)");
  AddRange(group, "--backlight", options.analysis.backlight, 0, 8,
           "Lift a dark subject before a bright background, 0..8 (0)");
  group
      .AddText(
          "--option", "OPTION", "normal (default), or plain: a plainer handling of shadows",
          [&](const std::string& name) { options.analysis.plain = name == "plain"; },
          [&] { return std::string(options.analysis.plain ? "plain" : "normal"); })
      ->check(Group::OneOf({"normal", "plain"}));
  AddParsed(group, "--matrix", options.analysis.matrix, ParseMatrix, "M,M,...",
            "Colour matrix for negatives, nine numbers row by row; its diagonal gives the film's contrasts");
  AddRange(group, "-b,--brightness", options.user.brightness, -1000, 1000, "Density steps of 0.003, -1000..1000 (0)");
  AddRange(group, "-c,--contrast", options.user.contrast, -99, 99, "Contrast in percent, -99..99 (0)");
  AddParsed(group, "--balance", options.user.balance, ParseBalance, "R,G,B", "Brightness of each channel, added");
  AddParsed(group, "--curve", options.user.masterCurve, ParseCurve, "IN:OUT,...",
            "Tone curve of all channels by points of levels 0..255, in place of the proposed one");
  for (size_t c = 0; c < 3; c++) {
    AddParsed(group, std::string("--curve-") + kChannelNames[c], options.user.channelCurves[c], ParseCurve,
              "IN:OUT,...", std::string("Tone curve of ") + kChannelNames[c] + ", applied first");
  }
  group
      .AddText(
          "--saturation", "on|off", "Apply the saturation that the analysis proposes (on)",
          [&](const std::string& word) { options.saturation = word == "on"; },
          [&] { return TextOf(options.saturation); })
      ->check(Group::OneOf({"on", "off"}));
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
  AddParsed(group, "--input-gamma", options.inputGamma, ParseGamma, "GAMMA",
            "Gamma of the scan's values (from its ICC profile, else 2.2)");
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
