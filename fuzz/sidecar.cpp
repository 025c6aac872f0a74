// A correction as JSON: any text, and one written by the program with values changed, put in and taken out. It is
// refused with a reason, or read as what it would be written as.
#include "told/sidecar.h"

#include <nlohmann/json.hpp>
#include <string>

#include "failure.h"
#include "page/finish.h"
#include "target.h"
#include "told/evidence.h"

namespace {

using Json = nlohmann::json;

const Json& Written() {
  static const Json json = [] {
    CorrectedPage page;
    Record& record = page.correction.record;
    for (ZEP3_POINTS& p : record.para.ic.ch) p = {62965, 2570, 63424, 4630, 100};
    record.para.lSaturation = 0;
    page.correction.matrix = {{1, 0, 0, 0, 1, 0, 0, 0, 1}};
    ZEP3_EVIDENCE& evidence = page.correction.finding.emplace().evidence;
    evidence.lAnalysis = AdaptiveAnalysisOf(record.para);
    evidence.lReasons = ZEP3_REASON_STAIN | ZEP3_REASON_STRONG_FADING;
    page.correction.frame = {{{{10, 10}, {90, 12}, {89, 70}, {9, 68}}}, 0.9};
    page.correction.frame->paper = page.correction.frame->corners;
    page.correction.prescan.scanWidth = page.correction.prescan.scanHeight = 100;
    Json written = CorrectionToJson("scan.tif", {page}, true);
    written["pages"][0].erase("prescan"); // large, and read by nobody
    return written;
  }();
  return json;
}

// Values that no correction has, and such as are nearly right.
Json AnyValue(Input& input) {
  const int kind = input.Below(10);
  const Json empty[] = {nullptr, Json::array(), Json::object()};
  if (kind < 3) return empty[kind];
  if (kind == 3) return std::string(static_cast<size_t>(input.Below(9)), static_cast<char>(input.Take<uint8_t>()));
  if (kind == 4) return input.Real();
  if (kind == 5) return static_cast<uint64_t>(input.Field());
  if (kind == 6) return input.OneIn(2);
  if (kind > 7) return input.Field();
  Json points = Json::array();
  for (int n = input.Below(20); n > 0; n--) points.push_back({input.Field(), input.Field()});
  return points;
}

// Goes down to some value and changes it.
void Change(Input& input, Json& json) {
  Json* at = &json;
  while (at->is_structured() && !at->empty() && !input.OneIn(8)) {
    const auto steps = static_cast<size_t>(input.Take<uint16_t>()) % at->size();
    auto next = std::next(at->begin(), static_cast<std::ptrdiff_t>(steps));
    if (input.OneIn(16)) {
      at->erase(next);
      return;
    }
    at = &*next;
  }
  if (at->is_array() && input.OneIn(2))
    at->push_back(AnyValue(input));
  else
    *at = AnyValue(input);
}

} // namespace

void RunTarget(Input input) {
  std::string text;
  if (input.OneIn(2)) {
    text = std::string(input.Text());
  } else {
    Json json = Written();
    if (input.OneIn(4)) json["pages"].push_back(json["pages"][0]);
    for (int n = input.Below(4); n > 0; n--) Change(input, json);
    text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
  }
  std::vector<CorrectedPage> pages;
  try {
    pages = CorrectionFromJson(text);
  } catch (const Failure& refusal) {
    ZEP3_HOLDS(*refusal.what() != '\0');
    return;
  }
  ZEP3_HOLDS(!pages.empty());
  const std::string once = ToText(CorrectionToJson("scan.tif", pages, true), 1);
  const std::string twice = ToText(CorrectionToJson("scan.tif", CorrectionFromJson(once), true), 1);
  // What a page tells about its scan is not read.
  const auto records = [](const std::string& written) {
    const Json json = Json::parse(written);
    Json kept;
    for (const Json& page : json.at("pages")) {
      kept.push_back({page.at("record"), page.at("matrix"), page.at("tables"), page.at("chroma"),
                      page.at("inputGamma10"), page.at("analysis"), page.at("frame")});
    }
    return kept;
  };
  ZEP3_HOLDS(records(once) == records(twice));
}
