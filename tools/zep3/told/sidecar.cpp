// Writing, reading with a reason for each refusal, and JSON laid out for people.
#include "told/sidecar.h"

#include <vips/vips.h>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>

#include "failure.h"
#include "options.h"
#include "page/tables.h"
#include "told/evidence.h"
#include "told/json_fields.h"
#include "told/packed_cells.h"
#include "version.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kFormat = "zep3-correction";
constexpr int kFormatVersion = 1;
constexpr double kFarthest = 1e9;       // pixels, beyond any scan
constexpr int64_t kCellsMost = 1 << 20; // ten times those of the largest pre-scan

// What a surface is of, by ZEP3_SURFACE_...
constexpr std::array kSurfaces = {"none", "paper", "reverse"};

// Where a frame comes from.
constexpr const char* kFromScan = "scan";
constexpr const char* kFromArea = "area";

// ---- the record's fields, once for both directions ----

// Calls visit(name, field) for every number of the record.
template <typename Para, typename Visit>
void VisitRecord(Para& para, Visit visit) {
  visit("wDocType", para.wDocType);
  visit("wSubMode", para.wSubMode);
  visit("wDocOption", para.wDocOption);
  visit("lScreenGamma", para.lScreenGamma);
  visit("wHlCurveType", para.ic.wHlCurveType);
  visit("wSdCurveType", para.ic.wSdCurveType);
  visit("lBrightness", para.ic.lBrightness);
  visit("lContrast", para.ic.lContrast);
  visit("lColorBalanceR", para.ic.lColorBalanceR);
  visit("lColorBalanceG", para.ic.lColorBalanceG);
  visit("lColorBalanceB", para.ic.lColorBalanceB);
  visit("lSaturation", para.lSaturation);
  visit("lLevelFlag", para.lLevelFlag);
  visit("lCorrectLevel", para.lCorrectLevel);
  visit("lAgainstLight", para.lAgainstLight);
}

template <typename Points, typename Visit>
void VisitPoints(Points& points, Visit visit) {
  visit("lHlIn", points.lHlIn);
  visit("lSdIn", points.lSdIn);
  visit("lHlOut", points.lHlOut);
  visit("lSdOut", points.lSdOut);
  visit("lGamma", points.lGamma);
}

// ---- writing ----

Json ToneToJson(const ZEP3_TONE& tone) {
  Json points = Json::array();
  for (int i = 0; i < tone.wPointNum && i < ZEP3_TONE_POINTS; i++) {
    points.push_back({tone.ptCtrl[i].x, tone.ptCtrl[i].y});
  }
  return points;
}

auto WriteTo(Json& json) {
  return [&json](const char* name, const auto& value) { json[name] = value; };
}

Json PointsToJson(const ZEP3_POINTS& points) {
  Json json;
  VisitPoints(points, WriteTo(json));
  return json;
}

Json RecordToJson(const Record& record) {
  Json json;
  VisitRecord(record.para, WriteTo(json));
  for (size_t c = 0; c < 3; c++) json["points"][kChannelNames[c]] = PointsToJson(record.para.ic.ch[c]);
  json["masterTone"] = ToneToJson(record.master);
  for (size_t c = 0; c < 3; c++) json["tone"][kChannelNames[c]] = ToneToJson(record.rgb[c]);
  return json;
}

Json PrescanToJson(const Prescan& prescan) {
  const auto point = [](const LPOINT& at) { return Json{at.x, at.y}; };
  Json json = {{"width", prescan.width},
               {"height", prescan.height},
               {"shrink", prescan.shrink},
               {"scale", "linear levels 0..255 at gamma 1.8"},
               {"area",
                {{"left", point(prescan.area.ptLeft)},
                 {"top", point(prescan.area.ptTop)},
                 {"right", point(prescan.area.ptRight)},
                 {"bottom", point(prescan.area.ptBottom)}}}};
  for (size_t c = 0; c < 3; c++) {
    const ChannelStatistics& channel = prescan.channels[c];
    Json percentiles;
    for (const double percent : {0.1, 1.0, 5.0, 25.0, 50.0, 75.0, 95.0, 99.0, 99.9}) {
      std::ostringstream name;
      name << percent;
      percentiles[name.str()] = channel.Percentile(percent);
    }
    json["statistics"][kChannelNames[c]] = {{"minimum", channel.minimum},
                                            {"maximum", channel.maximum},
                                            {"mean", channel.mean},
                                            {"percentiles", percentiles},
                                            {"histogram", channel.histogram}};
  }
  return json;
}

// ---- reading ----

bool IsAdaptive(const nlohmann::json& json, const char* name) {
  const nlohmann::json& value = At(json, name);
  if (value == MethodName(true)) return true;
  if (value != MethodName(false)) Refuse(std::string("'") + name + "' is no analysis");
  return false;
}

// Fields that mean something only within limits; the others take whatever their type holds.
struct Limits {
  const char* name;
  int64_t low, high;
};
constexpr Limits kLimits[] = {{"lScreenGamma", 5, 50}, {"lSaturation", -1000, 1000}};

template <typename T>
void ReadField(const nlohmann::json& json, const char* name, T& field) {
  int64_t low = std::numeric_limits<T>::min();
  int64_t high = std::numeric_limits<T>::max();
  for (const Limits& limits : kLimits) {
    if (std::string(name) == limits.name) low = limits.low, high = limits.high;
  }
  field = static_cast<T>(Integer(json, name, low, high));
}

ZEP3_TONE ToneFromJson(const nlohmann::json& json, const char* name) {
  const nlohmann::json& points = At(json, name);
  ZEP3_TONE tone = {};
  if (!points.is_array() || points.size() > ZEP3_TONE_POINTS)
    Refuse(std::string("'") + name + "' is no list of points");
  for (const nlohmann::json& point : points) {
    if (!point.is_array() || point.size() != 2 || !point[0].is_number_integer() || !point[1].is_number_integer()) {
      Refuse(std::string("'") + name + "' holds something that is no point");
    }
    tone.ptCtrl[tone.wPointNum++] = {point[0].get<int64_t>(), point[1].get<int64_t>()};
  }
  return tone;
}

Record RecordFromJson(const nlohmann::json& json) {
  Record record;
  const auto read = [](const nlohmann::json& from) {
    return [&from](const char* name, auto& field) { ReadField(from, name, field); };
  };
  VisitRecord(record.para, read(json));
  for (size_t c = 0; c < 3; c++) VisitPoints(record.para.ic.ch[c], read(At(At(json, "points"), kChannelNames[c])));
  record.master = ToneFromJson(json, "masterTone");
  for (size_t c = 0; c < 3; c++) record.rgb[c] = ToneFromJson(At(json, "tone"), kChannelNames[c]);
  return record;
}

// Tells about a correction that is repeated without it: names that this version does not know are passed over.
Finding FindingFromJson(const nlohmann::json& json, const ZEP3_PARA& para) {
  Finding finding;
  finding.repeated = true;
  finding.adaptive = IsAdaptive(json, "asked");
  ZEP3_EVIDENCE& record = finding.evidence;
  record.lAnalysis = IsAdaptive(json, "used") ? AdaptiveAnalysisOf(para) : ZEP3_ANALYSIS_STANDARD;
  ReadValues(At(json, "confidence"), "confidence", {&record.dConfidence, 1});
  const nlohmann::json& reasons = At(json, "reasons");
  if (!reasons.is_array()) Refuse("'reasons' is no list");
  for (const nlohmann::json& told : reasons) {
    const nlohmann::json& code = At(told, "code");
    for (int64_t i = 0; const ZEP3_REASON* reason = GetZEP3Reason(i); i++) {
      if (code == reason->pCode) record.lReasons |= reason->lBit;
    }
    finding.mixedRoll = finding.mixedRoll || code == kMixedRoll.pCode;
  }
  const nlohmann::json& evidences = At(json, "evidences");
  for (Evidence evidence : EvidencesOf(finding)) {
    const char* name = evidence.item->pName;
    if (!evidences.contains(name)) continue;
    ReadValues(evidences.at(name), name, evidence.values);
    SetZEP3Evidence(&record, name, evidence.values.data());
  }
  return finding;
}

Corners CornersFromJson(const nlohmann::json& json) {
  Corners corners = {};
  if (!json.is_array() || json.size() != corners.size()) Refuse("'corners' are not four");
  for (size_t i = 0; i < corners.size(); i++) {
    std::array<double, 2> corner;
    ReadValues(json[i], "corners", corner);
    if (!(std::abs(corner[0]) <= kFarthest && std::abs(corner[1]) <= kFarthest)) Refuse("'corners' lie on no scan");
    corners[i] = {corner[0], corner[1]};
  }
  return corners;
}

Frame FrameFromJson(const nlohmann::json& json) {
  Frame frame;
  frame.corners = CornersFromJson(At(json, "corners"));
  frame.confidence = Number(json, "confidence", 0, 1);
  frame.given = At(json, "from") == kFromArea;
  if (const nlohmann::json& paper = At(json, "paper"); !paper.is_null()) frame.paper = CornersFromJson(paper);
  frame.pictures = Integer(json, "pictures", 1, INT32_MAX);
  return frame;
}

PaperSurface PaperFromJson(const nlohmann::json& json, int64_t width, int64_t height, int64_t gamma) {
  PaperSurface paper;
  ZEP3_SURFACE& to = paper.figures;
  const nlohmann::json& found = At(json, "found");
  to.lFound = std::find(kSurfaces.begin(), kSurfaces.end(), found) - kSurfaces.begin();
  if (to.lFound != ZEP3_SURFACE_PAPER && to.lFound != ZEP3_SURFACE_REVERSE) Refuse("'found' is no surface");
  to.lScanGamma = gamma;
  to.lWidth = width;
  to.lHeight = height;
  to.lLeft = Integer(json, "left", 0, INT32_MAX);
  to.lTop = Integer(json, "top", 0, INT32_MAX);
  to.lSide = Integer(json, "side", 1, INT32_MAX);
  to.lColumns = Integer(json, "columns", 1, kCellsMost);
  to.lRows = Integer(json, "rows", 1, kCellsMost / to.lColumns);
  ReadValues(At(json, "paper"), "paper", to.dPaper);
  for (const double level : to.dPaper) {
    if (!(level > 0 && level <= 1)) Refuse("'paper' is no level");
  }
  ReadValues(At(json, "objectTint"), "objectTint", to.dObjectTint);
  for (const double share : to.dObjectTint) {
    if (!(share > 0 && share <= 1)) Refuse("'objectTint' is no share");
  }
  constexpr double kMost = 1e3;
  to.dObjectShadow = Number(json, "objectShadow", 0, kMost);
  to.dObjectGamma = Number(json, "objectGamma", 0, kMost);
  to.dWhiteFrom = Number(json, "whiteFrom", 0, kMost);
  to.dWhiteTo = Number(json, "whiteTo", 0, kMost);
  if (!json.contains("cells")) return paper;
  if (!json.at("cells").is_string()) Refuse("'cells' are no text");
  paper.cells = UnpackCells(json.at("cells").get<std::string>(), static_cast<size_t>(to.lColumns),
                            static_cast<size_t>(to.lColumns * to.lRows));
  return paper;
}

// Whether these are the tables of a record. Another math library, such as a browser's, may move a few entries by a
// step.
bool AreTables(const nlohmann::json& told, const Json& made) {
  constexpr int kMovedMost = 8; // of 768; one was the most that was seen
  int moved = 0;
  for (const char* channel : kChannelNames) {
    const nlohmann::json& entries = At(told, channel);
    const Json& own = made.at(channel);
    if (!entries.is_array() || entries.size() != own.size()) return false;
    for (size_t i = 0; i < own.size(); i++) {
      if (!entries[i].is_number_integer()) return false;
      const double step = std::abs(entries[i].get<double>() - own[i].get<double>());
      if (step > 1) return false;
      if (step > 0) moved++;
    }
  }
  return moved <= kMovedMost;
}

CorrectedPage PageFromJson(const nlohmann::json& json) {
  CorrectedPage page;
  page.page = static_cast<int>(Integer(json, "page", 0, INT32_MAX));
  page.chroma = Number(json, "chroma", 0, SaturationOptions::kMost);
  Correction& correction = page.correction;
  correction.record = RecordFromJson(At(json, "record"));
  correction.encoding.input = GammaFromJson(json, "inputGamma10");
  correction.encoding.output = static_cast<int>(correction.record.para.lScreenGamma);
  correction.encoding.source = "sidecar";
  if (json.contains("analysis") && !json.at("analysis").is_null()) {
    correction.finding = FindingFromJson(json.at("analysis"), correction.record.para);
  }
  const auto holds = [&](const char* name) { return json.contains(name) && !json.at(name).is_null(); };
  if (holds("frame") || holds("surface")) {
    correction.prescan.scanWidth = Integer(json, "width", 1, INT32_MAX);
    correction.prescan.scanHeight = Integer(json, "height", 1, INT32_MAX);
  }
  if (holds("frame")) correction.frame = FrameFromJson(json.at("frame"));
  if (holds("surface")) {
    if (correction.encoding.IsSrgb()) Refuse("'surface' stands for values of a plain gamma, not of sRGB's curve");
    correction.paper = PaperFromJson(json.at("surface"), correction.prescan.scanWidth, correction.prescan.scanHeight,
                                     correction.encoding.input);
  }
  const nlohmann::json& matrix = At(json, "matrix");
  if (!matrix.is_null()) {
    if (!matrix.is_array() || matrix.size() != 9) Refuse("'matrix' is not nine numbers");
    correction.matrix.emplace();
    for (size_t i = 0; i < 9; i++) {
      if (!matrix[i].is_number()) Refuse("'matrix' is not nine numbers");
      (*correction.matrix)[i] = matrix[i].get<double>();
    }
  }
  if (!AreTables(At(json, "tables"), TablesToJson(MakeTables(correction, 256)))) {
    Refuse("its tables are not those that this version makes of its record; take the version that wrote it");
  }
  return page;
}

std::string Dump(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

// `line`: the break before the line on which this value ends. Lists of numbers are on one line each: a table would fill
// screens otherwise.
void AppendText(std::string& text, const Json& json, int indent, const std::string& line) {
  const auto isLong = [](const Json& value) { return value.is_structured() || value.is_string(); };
  const bool folded = json.is_array() && std::none_of(json.begin(), json.end(), isLong);
  if (!json.is_structured() || json.empty() || folded) {
    text += Dump(json);
    return;
  }
  const std::string inner = line + std::string(static_cast<size_t>(indent), ' ');
  const char* separator = json.is_object() ? "{" : "[";
  for (const auto& [name, value] : json.items()) {
    text += separator + inner;
    if (json.is_object()) text += Dump(name) + ": ";
    AppendText(text, value, indent, inner);
    separator = ",";
  }
  text += line + (json.is_object() ? '}' : ']');
}

// Null where the correction does not tell.
Json AnalysisToJson(const Correction& correction) {
  if (!correction.finding) return {};
  const Finding& finding = *correction.finding;
  const ZEP3_EVIDENCE& record = finding.evidence;
  Json reasons = Json::array();
  for (const ZEP3_REASON* reason : ReasonsOf(finding)) {
    reasons.push_back({{"code", reason->pCode}, {"text", reason->pText}});
  }
  Json evidences = Json::object();
  for (const Evidence& evidence : EvidencesOf(finding)) {
    evidences[evidence.item->pName] = ValuesToJson(evidence.values);
  }
  return {{"asked", MethodName(finding.adaptive)},
          {"used", MethodName(record.lAnalysis != ZEP3_ANALYSIS_STANDARD)},
          {"confidence", record.dConfidence},
          {"reasons", reasons},
          {"evidences", evidences}};
}

// Null where there are none.
Json CornersToJson(const std::optional<Corners>& corners) {
  if (!corners) return {};
  Json json = Json::array();
  for (const auto& [x, y] : *corners) json.push_back({x, y});
  return json;
}

// Null where the picture fills the scan, or was not found.
Json FrameToJson(const std::optional<Frame>& frame) {
  if (!frame) return {};
  return {{"from", frame->given ? kFromArea : kFromScan},
          {"corners", CornersToJson(frame->corners)},
          {"confidence", frame->confidence},
          {"paper", CornersToJson(frame->paper)},
          {"pictures", frame->pictures}};
}

// Null where tables alone are applied. Levels and gains belong to the scan's values.
Json SurfaceToJson(const std::optional<PaperSurface>& paper) {
  if (!paper) return {};
  const ZEP3_SURFACE& figures = paper->figures;
  return {{"found", kSurfaces[static_cast<size_t>(figures.lFound)]},
          {"left", figures.lLeft},
          {"top", figures.lTop},
          {"side", figures.lSide},
          {"columns", figures.lColumns},
          {"rows", figures.lRows},
          {"paper", ValuesToJson(figures.dPaper)},
          {"objectTint", ValuesToJson(figures.dObjectTint)},
          {"objectShadow", figures.dObjectShadow},
          {"objectGamma", figures.dObjectGamma},
          {"whiteFrom", figures.dWhiteFrom},
          {"whiteTo", figures.dWhiteTo}};
}

// Null where the result shows the whole scan.
Json CutToJson(const std::optional<Cut>& cut) {
  if (!cut) return {};
  return {{"left", cut->x}, {"top", cut->y}, {"width", cut->width}, {"height", cut->height}, {"tilt", cut->degrees}};
}

// What is told of a page in few words.
Json PageToJson(const CorrectedPage& page) {
  const std::string_view verdict = VerdictName(page.correction.verdict);
  Json json = {{"page", page.page},
               {"verdict", verdict.empty() ? Json() : Json(verdict)},
               {"analysis", AnalysisToJson(page.correction)},
               {"surface", SurfaceToJson(page.correction.paper)},
               {"frame", FrameToJson(page.correction.frame)},
               {"crop", CutToJson(page.cut)}};
  const Member member = page.correction.finding ? page.correction.finding->member : Member::kNone;
  if (member != Member::kNone) json["member"] = kMemberNames[static_cast<size_t>(member)];
  return json;
}

} // namespace

Json CorrectionToJson(const std::string& scanName, const std::vector<CorrectedPage>& pages, bool cells) {
  Json json = {{"format", kFormat},
               {"formatVersion", kFormatVersion},
               {"versions", {{"zep3", kVersion}, {"engine", EngineVersion()}, {"libvips", vips_version_string()}}},
               {"scan", scanName}};
  for (const CorrectedPage& page : pages) {
    const Correction& correction = page.correction;
    Json told = PageToJson(page);
    told.update({{"kind", KindName(correction.record)},
                 {"width", correction.prescan.scanWidth},
                 {"height", correction.prescan.scanHeight},
                 {"bands", page.bands},
                 {"bits", page.bits},
                 {"inputGamma10", GammaToJson(correction.encoding.input)},
                 {"inputGammaFrom", correction.encoding.source},
                 {"chroma", page.chroma},
                 {"prescan", PrescanToJson(correction.prescan)},
                 {"record", RecordToJson(correction.record)},
                 {"matrix", correction.matrix ? Json(*correction.matrix) : Json()},
                 {"tables", TablesToJson(MakeTables(correction, 256))}});
    if (cells && correction.paper && !correction.paper->cells.empty()) {
      const PaperSurface& paper = *correction.paper;
      told["surface"]["cells"] = PackCells(paper.cells, static_cast<size_t>(paper.figures.lColumns));
    }
    json["pages"].push_back(told);
  }
  return json;
}

std::string CorrectionText(const std::string& scanName, const std::vector<CorrectedPage>& pages, bool cells,
                           int indent) {
  return ToText(CorrectionToJson(scanName, pages, cells), indent) + '\n';
}

std::string AnalysesText(const std::vector<CorrectedPage>& pages) {
  Json list = Json::array();
  for (const CorrectedPage& page : pages) {
    Json told = PageToJson(page);
    const Record& record = page.correction.record;
    told["kind"] = KindName(record);
    for (size_t c = 0; c < 3; c++) told["points"][kChannelNames[c]] = PointsToJson(record.para.ic.ch[c]);
    list.push_back(told);
  }
  return ToText(list, -1);
}

std::vector<CorrectedPage> CorrectionFromJson(const std::string& text) {
  const nlohmann::json json = ParseFormat(text, kFormat, kFormatVersion, "correction");
  const nlohmann::json& list = At(json, "pages");
  if (!list.is_array() || list.empty()) Refuse("holds no pages");
  std::vector<CorrectedPage> pages;
  for (const nlohmann::json& page : list) pages.push_back(PageFromJson(page));
  return pages;
}

std::vector<CorrectedPage> ReadSidecar(const std::string& path) try {
  return CorrectionFromJson(ReadText(path, kSidecarBytes));
} catch (const Failure& failure) {
  throw Failure("sidecar " + path + ": " + failure.what());
}

std::string ToText(const Json& json, int indent) {
  if (indent < 0) return Dump(json);
  std::string text;
  AppendText(text, json, indent, "\n");
  return text;
}
