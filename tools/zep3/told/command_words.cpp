#include "told/command_words.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include "files/output.h"
#include "log.h"
#include "options.h"
#include "told/evidence.h"
#include "told/roll_file.h"
#include "told/side_files.h"

namespace {

// Options that mean a place on one scan.
constexpr std::array kPlaces = {"--area", "--corners", "--gray-pipette", "--gamma-pipette"};

// One number in two units: either of a pair takes the other's place.
constexpr std::pair<const char*, const char*> kStops[] = {
    {"--exposure", "--brightness"}, {"--warmth", "--balance"}, {"--tint", "--balance"}};

// Takes an option and its value out.
void Erase(std::vector<std::string>& words, const char* name) {
  const auto at = std::find(words.begin(), words.end(), name);
  if (at != words.end() && at + 1 != words.end()) words.erase(at, at + 2);
}

// In front of files that only the reader knows.
constexpr const char* kOtherScans = " OTHER.tif -o finished/";

void Append(std::string& command, const std::vector<std::string>& words) {
  for (const std::string& word : words) command.append(" ").append(Quoted(word));
}

std::string KindWords(const ZEP3_KIND& kind, bool adaptive) {
  std::string words = std::string(" -k ") + kind.pName;
  if (adaptive != (kind.wAdaptive != 0)) words += " --analysis " + std::string(MethodName(adaptive));
  return words;
}

bool IsAdaptive(const Options& options) {
  return options.analysis.adaptive.value_or(options.analysis.kind->wAdaptive != 0);
}

} // namespace

std::string Quoted(const std::string& word) {
  constexpr const char* kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_@%+=:,./-";
  if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) return word;
  const std::string shown = Printable(word); // where it differs, the word holds what no terminal shows
  std::string quoted = shown == word ? "'" : "$'";
  for (const char c : word) {
    const auto byte = static_cast<unsigned char>(c);
    if (shown == word) {
      quoted += c == '\'' ? "'\\''" : std::string(1, c);
    } else if (byte < 0x20 || byte >= 0x7f) {
      std::array<char, 5> escape = {};
      std::snprintf(escape.data(), escape.size(), "\\x%02x", byte);
      quoted += escape.data();
    } else {
      quoted += c == '\'' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    }
  }
  return quoted + '\'';
}

std::string CommandLineText(int argc, const char* const* argv) {
  constexpr size_t kMost = 1000; // bytes; a folder's names by * are many more
  std::string text = "zep3";
  for (int i = 1; i < argc; i++) {
    const std::string word = ' ' + Quoted(argv[i]);
    if (text.size() + word.size() > kMost) return text + " ... (" + std::to_string(argc - i) + " more words)";
    text += word;
  }
  return text;
}

std::string TimeText() {
  const char* const set = std::getenv("SOURCE_DATE_EPOCH");
  GDateTime* const time = set == nullptr ? nullptr : g_date_time_new_from_unix_utc(g_ascii_strtoll(set, nullptr, 10));
  const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> now(time != nullptr ? time : g_date_time_new_now_utc(),
                                                                     g_date_time_unref);
  const std::unique_ptr<gchar, decltype(&g_free)> text(g_date_time_format(now.get(), "%Y-%m-%d %H:%M UTC"), g_free);
  return text.get();
}

std::string CommandFor(const std::string& scan, const Options& options, const ZEP3_KIND& kind, bool adaptive) {
  std::string command = "zep3" + KindWords(kind, adaptive);
  Append(command, options.given);
  return command.append(" ").append(Quoted(scan));
}

std::string AgainCommand(const Job& job, const Options& options,
                         const std::vector<std::pair<std::string, std::string>>& instead) {
  std::string command = "zep3";
  std::vector<std::string> words = options.given;
  bool adaptive = IsAdaptive(options);
  for (const auto& [name, value] : instead) {
    if (name == "--analysis") {
      adaptive = value == MethodName(true);
      continue;
    }
    for (const auto& [stops, number] : kStops) {
      if (name == number) Erase(words, stops);
      if (name == stops) Erase(words, number);
    }
    const auto at = std::find(words.begin(), words.end(), name);
    if (at != words.end() && at + 1 != words.end()) {
      *(at + 1) = value;
    } else {
      words.insert(words.end(), {name, value});
    }
  }
  if (options.useSidecar.empty()) {
    command += KindWords(*options.analysis.kind, adaptive);
  } else {
    Append(command, {"--use-sidecar", options.useSidecar});
    for (const std::string settled : kSettledBySidecar) Erase(words, ("--" + settled).c_str());
  }
  if (!options.useRoll.empty()) {
    Append(command, {"--use-roll", options.useRoll});
  } else if (options.roll && options.analysis.shared) {
    Append(command, {"--use-roll", (FolderOf(job.result) / kRollName).string()});
  }
  Append(command, words);
  Append(command, options.givenForm);
  Append(command, {job.scan});
  if (options.inPlace) return command + " --in-place --overwrite";
  const bool inFolder = !options.runFolder.empty() && Canonical(FolderOf(job.result)) == Canonical(options.runFolder);
  Append(command, {"-o", inFolder ? (FolderOf(job.result) / "").string() : job.result});
  return job.result == "-" ? command : command + " --overwrite";
}

std::string CompareCommand(const std::string& scan) { return "zep3 compare " + Quoted(scan); }

std::string SameCommand(const Job& job, const Options& options) {
  std::string command = "zep3";
  Append(command, {"--use-sidecar", options.useSidecar.empty() ? job.result + kSidecarSuffix : options.useSidecar});
  Append(command, options.givenForm);
  return command + kOtherScans;
}

std::string LikewiseCommand(const Options& options) {
  std::string command = "zep3" + KindWords(*options.analysis.kind, IsAdaptive(options));
  if (!options.useRoll.empty()) Append(command, {"--use-roll", options.useRoll});
  std::vector<std::string> words = options.given;
  for (const char* place : kPlaces) Erase(words, place);
  Append(command, words);
  Append(command, options.givenForm);
  return command + kOtherScans;
}
