// Settings are compared by their values, scans by size and time, wherever they lie now.
#include "job/finished.h"

#include <nlohmann/json.hpp>

#include <set>

#include "failure.h"
#include "files/formats.h"
#include "told/json_fields.h"
#include "told/side_files.h"
#include "told/sidecar.h"
#include "version.h"

namespace fs = std::filesystem;

namespace {

using Json = nlohmann::json;

std::string PathOf(const Job& job) {
  std::error_code ignored;
  return job.scan == "-" ? "" : fs::absolute(SplitOptions(job.scan).name, ignored).lexically_normal().string();
}

// What a name of a file becomes in JSON.
std::string InJson(const std::string& name) { return Json::parse(ToText(nlohmann::ordered_json(name), -1)); }

Json VersionsNow() { return {{"zep3", kVersion}, {"engine", EngineVersion()}}; }

// The value of a setting; "" of the default.
std::string ValueOf(const Json& settings, const std::string& name) {
  if (!settings.is_object() || !settings.contains(name) || !settings.at(name).is_object()) return "";
  return settings.at(name).value("value", "");
}

// "level 4 instead of 5, crop off instead of on", the first three of them.
std::string Differences(const Json& before, const Json& now) {
  std::set<std::string> names;
  for (const Json* settings : {&before, &now}) {
    for (const auto& [name, setting] : settings->items()) names.insert(name);
  }
  const auto shown = [](const std::string& value) { return value.empty() ? std::string("the default") : value; };
  std::string text;
  int count = 0;
  for (const std::string& name : names) {
    const std::string was = ValueOf(before, name), is = ValueOf(now, name);
    if (was == is || ++count > 3) continue;
    text += (text.empty() ? "" : ", ") + name + " " + shown(was) + " instead of " + shown(is);
  }
  return count > 3 ? text + " and more" : text;
}

// The newer of the sidecar and the record of the run's state that fits the result; null without either.
Json RecordFor(const Job& job) {
  const FileTime result = TimeOf(job.result);
  Json record = Json::parse(job.made, nullptr, false);
  const bool fits = record.is_object() && record.value("resultSize", result.size) == result.size &&
                    record.value("status", "") == kStatusNames[static_cast<size_t>(Status::kCorrected)];
  if (!fits) record = Json();
  const std::string name = job.result + kSidecarSuffix;
  const FileTime sidecar = TimeOf(name);
  if (sidecar.size < 0 || (record.is_object() && record.value("at", int64_t{0}) >= sidecar.time)) return record;
  Json told = Json::parse(ReadText(name, kSidecarBytes), nullptr, false);
  if (!told.is_object() || !told.contains("settings") || !told.contains("pages")) return record;
  Json pages = Json::array();
  for (const Json& page : told.at("pages")) {
    Json few;
    for (const char* field : kFieldsOfPage) {
      if (page.contains(field)) few[field] = page.at(field);
    }
    pages.push_back(few);
  }
  if (!told.at("pages").empty()) told["kind"] = told.at("pages").at(0).value("kind", "");
  told["pages"] = pages;
  return told;
}

bool IsOtherScan(const Json& record, const Job& job, const FileTime& scan) {
  const std::string path = PathOf(job), before = record.value("path", "");
  if (before.empty() || before == InJson(path)) return false;
  // The same scan from another place: moved, or seen from another machine.
  std::error_code ignored;
  const bool sameName = fs::path(before).filename() == fs::path(InJson(path)).filename();
  const bool sameTime = record.value("size", int64_t{-1}) == scan.size && record.value("time", int64_t{0}) == scan.time;
  const bool stays = fs::exists(before, ignored) && !fs::equivalent(before, path, ignored);
  return !sameName || !sameTime || stays;
}

} // namespace

nlohmann::ordered_json OriginOf(const Job& job, const FileTime& scan) {
  nlohmann::ordered_json origin;
  if (scan.size >= 0) origin = {{"path", PathOf(job)}, {"size", scan.size}, {"time", scan.time}};
  origin["settings"] = nlohmann::ordered_json::parse(job.Told());
  origin["versions"] = VersionsNow();
  return origin;
}

Finished LookAtFinished(const Job& job, const FileTime& scan) try {
  const Json record = RecordFor(job);
  Finished finished;
  if (!record.is_object() || !record.contains("settings") || !record.at("settings").is_object()) return finished;
  finished.pages = record.value("pages", Json::array()).dump(-1, ' ', false, Json::error_handler_t::replace);
  finished.kind = record.value("kind", "");
  const Json now = Json::parse(job.Told());
  const auto is = [&](Made made, const std::string& how) {
    finished.made = made;
    finished.how = how;
    return finished;
  };
  if (IsOtherScan(record, job, scan)) return is(Made::kOtherScan, "of another scan, " + record.value("path", ""));
  if (record.value("size", int64_t{-1}) != scan.size || record.value("time", int64_t{0}) != scan.time)
    return is(Made::kOfChangedScan, "of a scan that has changed since");
  if (const std::string other = Differences(record.at("settings"), now); !other.empty())
    return is(Made::kOtherSettings, "with other settings: " + other);
  const Json versions = record.value("versions", Json::object());
  const Json current = VersionsNow();
  for (const auto& [name, version] : current.items()) {
    if (versions.value(name, "") != version) {
      return is(Made::kOtherVersion, "by another version: " + name + " " + versions.value(name, "unknown"));
    }
  }
  return is(Made::kAsAsked, "");
} catch (const Failure&) {
  return {};
} catch (const nlohmann::json::exception&) {
  return {};
}
