// Layers of options by name, the nearer over the farther; the whole goes through the parser of the command line.
#include "command/scan_settings.h"

#include <glib.h>
#include <toml++/toml.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <utility>

#include "command/rolls.h"
#include "command/setting_options.h"
#include "failure.h"
#include "told/json_fields.h"
#include "told/sidecar.h"

namespace fs = std::filesystem;

namespace {

constexpr size_t kFileBytes = 64 << 10; // of a file with options: far more than there are

// All settings, bound to options of their own.
struct Parser {
  explicit Parser(const Options& from) : options(from) {
    app.set_help_flag();
    AddSettings(app, options, settings, Strictness::kLenient);
  }

  // Throws CLI::ParseError.
  void Parse(std::vector<std::string> words) {
    std::reverse(words.begin(), words.end()); // as CLI11 wants them
    app.parse(std::move(words));
  }

  Options options;
  CLI::App app;
  Settings settings;
};

// Null where no setting has the name.
const Setting* FindSetting(const std::string& name) {
  static const Parser parser{Options()};
  static const std::map<std::string, const Setting*> settings = [] {
    std::map<std::string, const Setting*> found;
    for (const Setting& setting : parser.settings) found[setting.Name()] = &setting;
    return found;
  }();
  const auto at = settings.find(name);
  return at == settings.end() ? nullptr : at->second;
}

std::vector<std::string> WordsOf(const SettingLayer& layer) {
  std::vector<std::string> words;
  for (const auto& [name, word] : layer) words.push_back("--" + name + "=" + word.value);
  return words;
}

// Adds a nearer layer: its options take the place of those with the same name, and of those that they exclude.
void PutOver(SettingLayer& layer, const SettingLayer& nearer) {
  for (const auto& [name, word] : nearer) {
    const Setting* setting = FindSetting(name);
    for (const CLI::Option* other : setting == nullptr ? std::set<CLI::Option*>() : setting->option->get_excludes()) {
      layer.erase(other->get_name().substr(2));
    }
    layer[name] = word;
  }
}

// Files come from anywhere: they say how a scan is corrected, and nothing about where results lie, what is opened, or
// what becomes of the scan.
void CheckName(const std::string& name, const std::string& value, const std::string& from) {
  const auto refuse = [&](const std::string& why) { throw UsageError(from + ": " + name + " " + why); };
  if (FindSetting(name) == nullptr) {
    refuse("is no option that settles how a scan is corrected; others are for the command line");
  }
  if (value.empty()) refuse("is empty");
  if (name == "format" && value.find('[') != std::string::npos)
    refuse("takes options of libvips on the command line alone");
}

// A value as a word of the command line.
std::string WordOf(const toml::node& node, bool flag, const std::string& from) {
  if (const auto* text = node.as_string()) return text->get();
  if (const auto* number = node.as_integer()) return std::to_string(number->get());
  if (const auto* number = node.as_floating_point()) return TextOf(number->get());
  if (const auto* yes = node.as_boolean()) {
    if (flag) return yes->get() ? "true" : "false";
    return yes->get() ? "on" : "off";
  }
  const toml::array* list = node.as_array();
  if (list == nullptr || list->empty()) throw UsageError(from + ": is no text, number, yes or no, or list of these");
  std::string joined;
  for (const toml::node& each : *list) {
    if (each.is_array()) throw UsageError(from + ": holds a list in a list");
    joined += (joined.empty() ? "" : ",") + WordOf(each, flag, from);
  }
  return joined;
}

// Throws UsageError where the words do not say what their options take.
void CheckWords(const SettingLayer& layer, const std::string& from) {
  try {
    Parser(Options()).Parse(WordsOf(layer));
  } catch (const CLI::ParseError& error) {
    throw UsageError(from + ": " + error.what());
  }
}

SettingLayer LayerOfFile(const std::string& path) {
  SettingLayer layer;
  std::string text;
  try {
    text = ReadText(path, kFileBytes);
  } catch (const Failure& failure) {
    throw UsageError(path + ": " + failure.what());
  }
  try {
    const toml::table table = toml::parse(text);
    for (const auto& [key, node] : table) {
      const std::string name(key.str());
      const std::string from = path + ":" + std::to_string(node.source().begin.line);
      const Setting* setting = FindSetting(name);
      const std::string value = setting == nullptr ? "" : WordOf(node, setting->IsFlag(), from + ": " + name);
      CheckName(name, value, from);
      PutOver(layer, {{name, {value, from}}});
    }
  } catch (const toml::parse_error& error) {
    throw UsageError(path + ":" + std::to_string(error.source().begin.line) + ": " + std::string(error.description()));
  }
  CheckWords(layer, path);
  return layer;
}

// The name as the user would write it from here.
std::string Shown(const fs::path& absolute) {
  std::error_code ignored;
  const std::string relative = absolute.lexically_relative(fs::current_path(ignored)).string();
  return relative.empty() || relative.starts_with("..") ? absolute.string() : relative;
}

std::string ContentOf(const std::string& path) {
  std::error_code ignored;
  if (!fs::is_regular_file(path, ignored)) return ""; // refused when it is to be used
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// What a command settles otherwise, or has no use for.
std::vector<std::string> NamesLeftOut(const Options& options) {
  std::vector<std::string> names;
  const auto add = [&](std::initializer_list<const char*> more) {
    names.insert(names.end(), more.begin(), more.end());
  };
  if (options.command == Command::kCompare) add({"kind", "analysis"});
  if (options.command != Command::kCorrect)
    add({"crop", "margin", "no-straighten", "gray", "keep-space", "format", "strip"});
  if (!options.useRoll.empty()) add({"kind", "matrix", "input-gamma"});
  if (!options.useSidecar.empty())
    names.insert(names.end(), std::begin(kSettledBySidecar), std::end(kSettledBySidecar));
  return names;
}

} // namespace

SettingLayer LayerOfWords(const std::string& words, const std::string& from) {
  gint count = 0;
  gchar** list = nullptr;
  GError* error = nullptr;
  if (words.find_first_not_of(" \t") == std::string::npos) return {};
  if (g_shell_parse_argv(words.c_str(), &count, &list, &error) == 0) {
    const std::string reason = error->message;
    g_error_free(error);
    throw UsageError(from + ": " + reason);
  }
  const std::vector<std::string> split(list, list + count);
  g_strfreev(list);
  Parser parser{Options()};
  try {
    parser.Parse(split);
  } catch (const CLI::ParseError& fault) {
    throw UsageError(from + ": " + fault.what());
  }
  const SettingLayer layer = LayerOf(parser.settings, from);
  for (const auto& [name, word] : layer) CheckName(name, word.value, from);
  return layer;
}

// FNV-1a, 64 bits.
std::string Fingerprint(const std::string& text) {
  uint64_t hash = 0xcbf29ce484222325;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  std::array<char, 17> digits = {};
  std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(hash));
  return digits.data();
}

Settled WithOwnSidecar(const Settled& settled, const std::string& sidecar) {
  constexpr const char* kBeside = "beside the scan";
  auto told = nlohmann::ordered_json::parse(settled.told);
  for (const char* name : kSettledBySidecar) told.erase(name);
  told["use-sidecar"] = {{"value", Fingerprint(ContentOf(sidecar))}, {"from", kBeside}};
  Settled with = settled;
  with.told = ToText(told, -1);
  with.elsewhere.append(with.elsewhere.empty() ? "" : ", ").append("use-sidecar=").append(sidecar);
  with.elsewhere.append(" (").append(kBeside).append(")");
  with.hasKind = true;
  return with;
}

Options WithWords(const Options& options, const std::vector<std::string>& words) {
  if (words.empty()) return options;
  Parser parser(options);
  try {
    parser.Parse(words);
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
  Options with = parser.options;
  TakeStops(with.user);
  if (!with.crop.wanted) with.crop = CropOptions();
  with.analysis.window = with.crop.wanted;
  TakeWordsGiven(parser.settings, with);
  return with;
}

ScanSettings::ScanSettings(const Options& options) : m_options(options) {
  if (!options.config.empty()) m_config = LayerOfFile(options.config);
}

const SettingLayer& ScanSettings::OfFolder(const fs::path& folder) {
  if (const auto known = m_folders.find(folder.string()); known != m_folders.end()) return known->second;
  SettingLayer layer;
  if (folder.has_parent_path() && folder.parent_path() != folder) layer = OfFolder(folder.parent_path());
  for (const char* name : kFolderFiles) {
    std::error_code ignored;
    if (!fs::is_regular_file(folder / name, ignored)) continue;
    PutOver(layer, LayerOfFile(Shown(folder / name)));
    break;
  }
  return m_folders[folder.string()] = layer;
}

std::shared_ptr<const Settled> ScanSettings::For(const fs::path& folder, const SettingLayer& row) {
  std::shared_ptr<const Settled>& found = m_found[{folder.string(), &row}];
  if (found) return found;
  SettingLayer layer = m_config;
  PutOver(layer, OfFolder(fs::absolute(folder).lexically_normal()));
  PutOver(layer, row);
  for (const std::string& name : NamesLeftOut(m_options)) layer.erase(name);
  const bool own = !layer.empty();
  PutOver(layer, m_options.settings);
  std::string key = own ? "own" : "";
  for (const auto& [name, word] : layer) key.append(name).append("\n").append(word.value + "\n" + word.from + "\n");
  std::shared_ptr<const Settled>& settled = m_settled[key];
  if (!settled) settled = std::make_shared<const Settled>(Settle(own ? layer : SettingLayer()));
  return found = settled;
}

// `layer`: all options; none where there are those of the command line alone.
Settled ScanSettings::Settle(SettingLayer layer) const {
  Settled settled;
  settled.words = WordsOf(layer);
  const Options options = WithWords(m_options, settled.words);
  if (layer.empty()) layer = m_options.settings;
  const auto refuse = [&](const char* name, const char* why) {
    throw UsageError(layer.contains(name) ? layer.at(name).from + ": " + name + " " + why : std::string(why));
  };
  if (options.inPlace && options.format != nullptr) refuse("format", "cannot be changed with --in-place");
  if (options.noBackup && options.crop.wanted) refuse("crop", "needs the backup: what is cut off would be lost");
  if (options.roll) CheckShares(options);
  settled.format = options.format;
  settled.hasKind = layer.contains("kind") || !options.useSidecar.empty() || !options.useRoll.empty() ||
                    options.command == Command::kCompare || options.restore;

  nlohmann::ordered_json told = nlohmann::ordered_json::object();
  Parser now(options);
  const Parser before{Options()};
  for (size_t i = 0; i < now.settings.size(); i++) {
    const std::string name = now.settings[i].Name();
    const std::string value = now.settings[i].text();
    const bool added = name == "brightness" || name == "contrast" || name == "balance";
    const bool nothing =
        added && options.useSidecar.empty() && !options.ownSidecars && (value == "0" || value == "0,0,0");
    if ((nothing || value == before.settings[i].text()) && name != "kind") continue;
    const auto at = std::find_if(layer.begin(), layer.end(), [&](const auto& each) {
      const auto& excluded = now.settings[i].option->get_excludes();
      return each.first == name || std::any_of(excluded.begin(), excluded.end(), [&](const CLI::Option* other) {
               return other->get_name().substr(2) == each.first;
             });
    });
    const std::string from = at == layer.end() ? kCommandLine : at->second.from;
    told[name] = {{"value", value}, {"from", from}};
    settled.elsewhere += (settled.elsewhere.empty() ? "" : ", ") + name + "=" + value + " (" + from + ")";
  }
  const bool fromFiles =
      std::any_of(layer.begin(), layer.end(), [](const auto& each) { return each.second.from != kCommandLine; });
  if (!fromFiles) settled.elsewhere.clear();
  for (const auto& [name, file] : {std::pair("use-sidecar", &options.useSidecar), {"use-roll", &options.useRoll}}) {
    if (!file->empty()) told[name] = {{"value", Fingerprint(ContentOf(*file))}, {"from", kCommandLine}};
  }
  settled.told = ToText(told, -1);
  return settled;
}
