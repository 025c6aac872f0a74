#include "command/verb_help.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <initializer_list>
#include <map>

#include "engine/zep3.h"
#include "files/formats.h"
#include "told/evidence.h"

namespace {

using Names = std::vector<std::string>;

Names Together(std::initializer_list<Names> lists) {
  Names all;
  for (const Names& list : lists) all.insert(all.end(), list.begin(), list.end());
  return all;
}

// Options of the commands that write no pictures beside scans are all but these.
const std::map<std::string, Names>& OptionsOfOthers() {
  static const Names ofPictures = {"--format",  "--in-place", "--restore",    "--no-backup",   "--strip",
                                   "--sidecar", "--report",   "--overview",   "--dry-run",     "--update",
                                   "--gray",    "--crop",     "--margin",     "--roll",        "--no-straighten",
                                   "--flat",    "--root",     "--keep-space", "--own-sidecars"};
  static const Names ofPages = {"--no-browser"};
  static const Names ofScanners = {"--device", "--list",   "--mode", "--source",     "--resolution", "--depth",
                                   "-l",       "-t",       "-x",     "-y",           "--set",        "--raw",
                                   "--pages",  "--number", "--ask",  "--in-software"};
  static const Names others = Together({ofPages, ofScanners});
  static const std::map<std::string, Names> options = {
      {"analyse", Together({ofPictures, others, {"--output", "--overwrite", "--no-sync", "--as", "--use-sidecar"}})},
      {"tables", Together({ofPictures, others, {"--json"}})},
      {"compare",
       Together({ofPictures, others, {"--as", "--kind", "--analysis", "--use-sidecar", "--use-roll", "--json"}})},
      {"auto", Together({others, {"--as"}})},
      {"scan", Together({ofPages,
                         {"--in-place", "--restore", "--no-backup", "--recursive", "--files-from", "--null", "--flat",
                          "--root", "--config", "--update", "--known-bad", "--dry-run", "--as", "--also-read",
                          "--pdf-dpi", "--own-sidecars"}})},
  };
  return options;
}

// All that these take, beside what they are given.
const std::map<std::string, Names>& OwnOptions() {
  static const std::map<std::string, Names> options = {
      {"overview", {"--help", "--quiet"}},
      {"view", {"--help", "--quiet", "--recursive", "--no-browser"}},
  };
  return options;
}

// Hides what is of other commands. Null where none was given.
const CLI::App* TakeVerb(CLI::App& app) {
  const std::vector<CLI::App*> given = app.get_subcommands();
  if (given.empty()) return nullptr;
  const auto own = OwnOptions().find(given.front()->get_name());
  if (own != OwnOptions().end()) {
    for (CLI::Option* option : app.get_options()) {
      const bool taken = std::find(own->second.begin(), own->second.end(), option->get_name()) != own->second.end();
      if (!taken && option->nonpositional()) option->group("");
    }
  }
  const auto others = OptionsOfOthers().find(given.front()->get_name());
  if (others != OptionsOfOthers().end()) {
    for (const std::string& name : others->second) {
      if (CLI::Option* option = app.get_option_no_throw(name)) option->group(""); // hides it
    }
  }
  return given.front();
}

template <typename Formats>
std::vector<std::string> FormatNames(const Formats& formats) {
  std::vector<std::string> names;
  for (const Format& format : formats) names.emplace_back(format.extensions.front().substr(1));
  return names;
}

} // namespace

std::vector<std::string> WordsOf(const std::string& option) {
  if (option == "--kind") {
    std::vector<std::string> names;
    for (int64_t i = 0; const ZEP3_KIND* kind = GetZEP3Kind(i); i++) names.emplace_back(kind->pName);
    return names;
  }
  if (option == "--analysis") return {std::string(MethodName(false)), std::string(MethodName(true))};
  if (option == "--option") return {"normal", "plain"};
  if (option == "--as") return {"text", "csv", "json", "png", "scanimage"};
  if (option == "--saturation") return {"on", "off"};
  if (option == "--format") return FormatNames(Formats());
  if (option == "--also-read") {
    std::vector<std::string> names;
    for (const Format& format : FormatsOnDemand()) names.emplace_back(format.name);
    return names;
  }
  return {};
}

std::string HelpText(CLI::App& app, const std::string& kinds) {
  const CLI::App* const verb = TakeVerb(app);
  if (verb == nullptr) return app.help();
  app.description(verb->get_description());
  app.footer(kinds);
  const std::string name = app.get_name() + " " + verb->get_name();
  for (CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) command->group("")->disabled();
  return app.get_formatter()->make_help(&app, name, CLI::AppFormatMode::Normal);
}

std::string WordsAfter(CLI::App& app, const std::string& word) {
  std::string text;
  const auto offer = [&](const std::string& offered, const std::string& explained) {
    text.append(offered).append("\t").append(explained).append("\n");
  };
  const CLI::Option* const before = word.starts_with('-') ? app.get_option_no_throw(word) : nullptr;
  if (before != nullptr && before->get_items_expected_max() > 0 && before->nonpositional()) {
    for (const std::string& each : WordsOf("--" + before->get_lnames().front())) {
      const ZEP3_KIND* kind = FindZEP3Kind(each.c_str());
      offer(each, kind == nullptr ? "" : kind->pText);
    }
    return text;
  }
  if (TakeVerb(app) == nullptr) {
    for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; }))
      offer(verb->get_name(), verb->get_description());
  }
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_group().empty() || !option->nonpositional()) continue;
    for (const std::string& name : option->get_lnames()) offer("--" + name, option->get_description());
    for (const std::string& name : option->get_snames()) offer("-" + name, option->get_description());
  }
  return text;
}
