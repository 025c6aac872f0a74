// The two records' fields, once for writing and reading.
#include "told/roll_file.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>
#include <tuple>
#include <utility>

#include "engine/common/scale.h"
#include "failure.h"
#include "page/analysis.h"
#include "told/json_fields.h"
#include "told/sidecar.h"
#include "version.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kFormat = "zep3-roll";
constexpr int kFormatVersion = 1;
constexpr size_t kRollBytes = 256 << 20; // some 80,000 frames

// Calls visit(name, field) for every number, list of numbers or table of numbers of an observation.
template <typename Seen, typename Visit>
void VisitObservation(Seen& seen, Visit visit) {
  visit("docType", seen.lDocType);
  visit("subMode", seen.lSubMode);
  visit("state", seen.lState);
  visit("matrix", seen.dMatrix);
  visit("lost", seen.dLost);
  visit("top", seen.dTop);
  visit("clear", seen.dClear);
  visit("band", seen.dBand);
  visit("end", seen.dEnd);
  visit("lightest", seen.dLightest);
  visit("darkest", seen.dDarkest);
  visit("white", seen.dWhite);
  visit("black", seen.dBlack);
  visit("pile", seen.dPile);
  visit("offset", seen.dOffset);
  visit("dye", seen.dDye);
  visit("gain", seen.dGain);
  visit("cost", seen.dCost);
}

template <typename Shared, typename Visit>
void VisitShared(Shared& shared, Visit visit) {
  visit("docType", shared.lDocType);
  visit("subMode", shared.lSubMode);
  visit("frames", shared.lFrames);
  visit("members", shared.lMembers);
  visit("base", shared.dBase);
  visit("slope", shared.dSlope);
  visit("toe", shared.dToe);
  visit("balance", shared.dBalance);
  visit("contrast", shared.dContrast);
  visit("range", shared.dRange);
  visit("white", shared.dWhite);
  visit("misfit", shared.dCost);
  visit("spread", shared.dSpread);
  visit("offset", shared.dOffset);
  visit("dye", shared.dDye);
  visit("gain", shared.dGain);
  visit("scatter", shared.dScatter);
}

Json ToJson(int64_t number) { return number; }
Json ToJson(double number) { return ValuesToJson({&number, 1}); }
template <size_t N>
Json ToJson(const double (&numbers)[N]) {
  return ValuesToJson(numbers);
}
template <size_t N>
Json ToJson(const double (&rows)[N][3]) {
  Json json = Json::array();
  for (const auto& row : rows) json.push_back(ValuesToJson(row));
  return json;
}

void FromJson(const nlohmann::json& json, const char* name, int64_t& number) {
  number = Integer(json, name, INT64_MIN, INT64_MAX);
}
void FromJson(const nlohmann::json& json, const char* name, double& number) {
  ReadValues(At(json, name), name, {&number, 1});
}
template <size_t N>
void FromJson(const nlohmann::json& json, const char* name, double (&numbers)[N]) {
  ReadValues(At(json, name), name, numbers);
}
template <size_t N>
void FromJson(const nlohmann::json& json, const char* name, double (&rows)[N][3]) {
  const nlohmann::json& list = At(json, name);
  if (!list.is_array() || list.size() != N) Refuse(std::string("'") + name + "' is not " + std::to_string(N) + " rows");
  for (size_t i = 0; i < N; i++) ReadValues(list[i], name, rows[i]);
}

auto WriteTo(Json& json) {
  return [&json](const char* name, const auto& field) { json[name] = ToJson(field); };
}
auto ReadFrom(const nlohmann::json& json) {
  return [&json](const char* name, auto& field) { FromJson(json, name, field); };
}

Json ScanToJson(const ObservedScan& scan) {
  Json json = {{"scan", scan.name},
               {"bytes", scan.bytes},
               {"changed", {scan.seconds, scan.nanoseconds}},
               {"pages", Json::array()}};
  for (const ObservedPage& page : scan.pages) {
    Json told = {{"page", page.page}, {"member", kMemberNames[static_cast<size_t>(page.member)]}};
    VisitObservation(page.seen, WriteTo(told["seen"]));
    json["pages"].push_back(told);
  }
  return json;
}

Member MemberFromJson(const nlohmann::json& json) {
  const nlohmann::json& name = At(json, "member");
  const auto at = std::find(std::begin(kMemberNames), std::end(kMemberNames), name);
  if (at == std::end(kMemberNames)) Refuse("'member' is none of those there are");
  return static_cast<Member>(at - std::begin(kMemberNames));
}

ObservedScan ScanFromJson(const nlohmann::json& json) {
  ObservedScan scan;
  if (!At(json, "scan").is_string()) Refuse("'scan' is no name");
  scan.name = json.at("scan").get<std::string>();
  scan.bytes = Integer(json, "bytes", 0, INT64_MAX);
  const nlohmann::json& changed = At(json, "changed");
  if (!changed.is_array() || changed.size() != 2 || !changed[0].is_number_integer() || !changed[1].is_number_integer())
    Refuse("'changed' is no time");
  scan.seconds = changed[0].get<int64_t>();
  scan.nanoseconds = changed[1].get<int64_t>();
  const nlohmann::json& pages = At(json, "pages");
  if (!pages.is_array()) Refuse("'pages' is no list");
  for (const nlohmann::json& told : pages) {
    ObservedPage& page = scan.pages.emplace_back();
    page.page = static_cast<int>(Integer(told, "page", 0, INT32_MAX));
    page.member = MemberFromJson(told);
    VisitObservation(page.seen, ReadFrom(At(told, "seen")));
  }
  return scan;
}

Json AreaToJson(const AreaArgument& area) {
  Json json = Json::array();
  for (const Position& corner : area.corners) {
    for (const Length& length : {corner.x, corner.y}) json.push_back({length.value, length.percent});
  }
  return json;
}

AreaArgument AreaFromJson(const nlohmann::json& json) {
  const auto length = [&](size_t i) {
    const nlohmann::json& told = json.at(i);
    if (!told.is_array() || told.size() != 2 || !told[0].is_number() || !told[1].is_boolean())
      Refuse("'area' holds something that is no length");
    return Length{told[0].get<double>(), told[1].get<bool>()};
  };
  if (!json.is_array() || json.size() % 2 != 0) Refuse("'area' is none");
  AreaArgument area;
  for (size_t i = 0; i < json.size(); i += 2) area.corners.push_back({length(i), length(i + 1)});
  return area;
}

// What observations depend on beside the scan.
Json SettingsToJson(const Roll& roll) {
  const AnalysisOptions& analysis = roll.analysis;
  return {{"kind", analysis.kind->pName},
          {"matrix", analysis.matrix ? Json(*analysis.matrix) : Json()},
          {"area", AreaToJson(analysis.area)},
          {"inputGamma10", roll.inputGamma ? GammaToJson(*roll.inputGamma) : Json()},
          {"versions", {{"zep3", roll.program}, {"engine", roll.engine}}}};
}

Roll RollFromJson(const nlohmann::json& json) {
  Roll roll;
  const nlohmann::json& settings = At(json, "settings");
  const nlohmann::json& kind = At(settings, "kind");
  roll.analysis.kind = kind.is_string() ? FindZEP3Kind(kind.get<std::string>().c_str()) : nullptr;
  if (roll.analysis.kind == nullptr || !CanShare(roll.analysis)) Refuse("'kind' is none whose scans share anything");
  if (const nlohmann::json& matrix = At(settings, "matrix"); !matrix.is_null())
    ReadValues(matrix, "matrix", roll.analysis.matrix.emplace());
  roll.analysis.area = AreaFromJson(At(settings, "area"));
  if (!At(settings, "inputGamma10").is_null()) roll.inputGamma = GammaFromJson(settings, "inputGamma10");
  const nlohmann::json& versions = At(settings, "versions");
  for (const auto& [name, to] : {std::pair("zep3", &roll.program), {"engine", &roll.engine}}) {
    if (!At(versions, name).is_string()) Refuse("'versions' are none");
    *to = versions.at(name).get<std::string>();
  }
  if (const nlohmann::json& shared = At(json, "shared"); !shared.is_null()) {
    VisitShared(roll.shared.emplace(), ReadFrom(shared)); // what is reserved stays 0
    if (!IsUsable(roll.analysis, *roll.shared)) Refuse("'shared' holds numbers that no roll has");
  }
  const nlohmann::json& scans = At(json, "scans");
  if (!scans.is_array()) Refuse("'scans' is no list");
  for (const nlohmann::json& scan : scans) roll.scans.push_back(ScanFromJson(scan));
  return roll;
}

} // namespace

Roll::Roll() : program(kVersion), engine(EngineVersion()) {}

bool Roll::IsUnequal() const {
  constexpr double kUnequal = 5; // of the engine's measure, which weakens what is shared by so much
  return shared && shared->dScatter >= kUnequal;
}

bool Roll::IsMixed() const {
  // A stray frame or two are odd ones on a roll; from a third on there are several.
  constexpr int kFewestOdd = 2;
  constexpr double kOddShare = 1.0 / 3;
  constexpr double kAgree = 0.1; // density within which clear film is one
  if (!shared) return false;
  int frames = 0, odd = 0;
  for (const ObservedScan& scan : scans) {
    for (const ObservedPage& page : scan.pages) {
      const ZEP3_OBSERVATION& seen = page.seen;
      const bool film = seen.lDocType == ZEP3_DOC_NEGATIVE || seen.lDocType == ZEP3_DOC_NEGATIVE_BW;
      if (!film || seen.lState != 1 || page.member == Member::kBlank) continue;
      frames++;
      bool apart = page.member == Member::kOdd;
      for (int c = 0; c < 3 && seen.dClear[0] > 0; c++) {
        apart = apart || std::fabs(DensityBetween(seen.dClear[c], shared->dBase[c])) > kAgree;
      }
      if (apart) odd++;
    }
  }
  return odd >= kFewestOdd && odd >= kOddShare * frames;
}

bool Roll::IsSeenAs(const Roll& other) const { return SettingsToJson(*this) == SettingsToJson(other); }

bool ObservedScan::IsSame(const ObservedScan& other) const {
  const auto named = [](const ObservedScan& scan) { return std::filesystem::path(scan.name).filename(); };
  return std::tie(bytes, seconds, nanoseconds) == std::tie(other.bytes, other.seconds, other.nanoseconds) &&
         named(*this) == named(other);
}

std::string ObservedScanText(const ObservedScan& scan) { return ToText(ScanToJson(scan), -1); }

ObservedScan ObservedScanFromText(const std::string& text) { return ScanFromJson(nlohmann::json::parse(text)); }

std::string RollText(const Roll& roll) {
  Json json = {{"format", kFormat}, {"formatVersion", kFormatVersion}, {"settings", SettingsToJson(roll)}};
  json["shared"] = Json();
  if (roll.shared) VisitShared(*roll.shared, WriteTo(json["shared"]));
  json["scans"] = Json::array();
  for (const ObservedScan& scan : roll.scans) json["scans"].push_back(ScanToJson(scan));
  return ToText(json, 1) + '\n';
}

Roll ReadRoll(const std::string& path) try {
  return RollFromJson(ParseFormat(ReadText(path, kRollBytes), kFormat, kFormatVersion, "roll"));
} catch (const Failure& failure) {
  throw Failure("roll " + path + ": " + failure.what());
}
