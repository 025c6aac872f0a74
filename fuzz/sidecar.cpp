// A correction as JSON: any text, and one written by the program with values changed, put in and taken out. It is
// refused with a reason, or read as what it would be written as.
#include "sidecar.h"

#include <string>

#include "evidence.h"
#include "failure.h"
#include "finish.h"
#include "target.h"

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
    evidence.lAnalysis = AdaptiveAnalysisOf(record.para.wDocType);
    evidence.lReasons = ZEP3_REASON_STAIN | ZEP3_REASON_STRONG_FADING;
    Json written = CorrectionToJson("scan.tif", {page});
    written["pages"][0].erase("prescan"); // large, and read by nobody
    return written;
  }();
  return json;
}

// Values that no correction has, and such as are nearly right.
Json AnyValue(Input& input) {
  switch (input.Below(10)) {
    case 0:
      return nullptr;
    case 1:
      return Json::array();
    case 2:
      return Json::object();
    case 3:
      return std::string(static_cast<size_t>(input.Below(9)), static_cast<char>(input.Take<uint8_t>()));
    case 4:
      return input.Real();
    case 5:
      return static_cast<uint64_t>(input.Field());
    case 6:
      return input.OneIn(2);
    case 7: {
      Json points = Json::array();
      for (int n = input.Below(20); n > 0; n--) points.push_back({input.Field(), input.Field()});
      return points;
    }
    default:
      return input.Field();
  }
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

// Of any JSON: however its text is laid out, it is read as the same.
void TextKeepsTheValue(const std::string& text) {
  using Ordered = nlohmann::ordered_json;
  const auto shallow = [](int depth, Ordered::parse_event_t, Ordered&) {
    if (depth > 100) throw Failure("too deep for recursion");
    return true;
  };
  Ordered json;
  if (!IsTaken<Failure>([&] { json = Ordered::parse(text, shallow, false); }) || json.is_discarded()) return;
  for (const int indent : {-1, 1}) ZEP3_HOLDS(Ordered::parse(ToText(json, indent)) == json);
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
  TextKeepsTheValue(text);
  std::vector<CorrectedPage> pages;
  if (!IsTaken<Failure>([&] { pages = CorrectionFromJson(text); })) return;
  ZEP3_HOLDS(!pages.empty());
  const std::string once = ToText(CorrectionToJson("scan.tif", pages), 1);
  const std::string twice = ToText(CorrectionToJson("scan.tif", CorrectionFromJson(once)), 1);
  // What a page tells about its scan is not read.
  const auto records = [](const std::string& written) {
    const Json json = Json::parse(written);
    Json kept;
    for (const Json& page : json.at("pages")) {
      kept.push_back({page.at("record"), page.at("matrix"), page.at("tables"), page.at("chroma"),
                      page.at("inputGamma10"), page.at("analysis")});
    }
    return kept;
  };
  ZEP3_HOLDS(records(once) == records(twice));
}
