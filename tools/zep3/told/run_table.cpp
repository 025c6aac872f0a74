#include "told/run_table.h"

#include <nlohmann/json.hpp>
#include <string_view>
#include <vector>

#include "page/record.h"
#include "told/json_fields.h"

namespace {

using Json = nlohmann::json;

// In the record's words, and in the table's.
constexpr std::pair<const char*, const char*> kPoints[] = {{"lSdIn", "shadow_in"},
                                                           {"lSdOut", "shadow_out"},
                                                           {"lHlIn", "highlight_in"},
                                                           {"lHlOut", "highlight_out"},
                                                           {"lGamma", "gamma"}};

std::string Quoted(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + '"';
}

// Spreadsheets take what begins with one of these for a formula: an apostrophe goes before it, and before an
// apostrophe, so that taking one away gives the text again.
std::string TextCell(const std::string& text) {
  constexpr std::string_view kFormula = "=+-@\t\r'";
  const bool marked = !text.empty() && kFormula.find(text[0]) != std::string_view::npos;
  return Quoted(marked ? "'" + text : text);
}

std::string NumberCell(const Json& json, const char* name) {
  const auto at = json.find(name);
  return at != json.end() && at->is_number() ? at->dump() : "";
}

const Json& Part(const Json& json, const char* name) {
  static const Json kNothing = Json::object();
  const auto at = json.find(name);
  return at != json.end() && at->is_object() ? *at : kNothing;
}

std::string ReasonsOf(const Json& analysis) {
  std::string codes;
  const auto reasons = analysis.find("reasons");
  if (reasons == analysis.end() || !reasons->is_array()) return "";
  for (const Json& reason : *reasons) {
    if (!reason.is_object()) continue;
    codes.append(codes.empty() ? "" : " ").append(TextField(reason, "code"));
  }
  return codes;
}

// "x,y x,y x,y x,y", pixels of the scan.
std::string WindowOf(const Json& frame) {
  std::string text;
  const auto corners = frame.find("corners");
  if (corners == frame.end() || !corners->is_array()) return "";
  for (const Json& corner : *corners) {
    if (!corner.is_array() || corner.size() != 2) return "";
    text.append(text.empty() ? "" : " ").append(corner[0].dump()).append(",").append(corner[1].dump());
  }
  return text;
}

std::string Line(const Json& record, const Json& page) {
  const Json& analysis = Part(page, "analysis");
  const std::string kind = TextField(page, "kind");
  const auto number = page.find("page");
  std::string line = TextCell(TextField(record, "scan")) + ',';
  if (number != page.end() && number->is_number_integer()) line += std::to_string(number->get<int64_t>() + 1);
  for (const std::string& text : {TextField(record, "result"), TextField(record, "status"),
                                  kind.empty() ? TextField(record, "kind") : kind, TextField(page, "verdict")})
    line += ',' + TextCell(text);
  line += ',' + NumberCell(analysis, "confidence");
  line += ',' + TextCell(ReasonsOf(analysis)) + ',' + Quoted(WindowOf(Part(page, "frame")));
  for (const char* channel : kChannelNames) {
    const Json& points = Part(Part(page, "points"), channel);
    for (const auto& [name, head] : kPoints) line += ',' + NumberCell(points, name);
  }
  return line + ',' + NumberCell(record, "seconds") + ',' + TextCell(TextField(record, "message")) + "\r\n";
}

} // namespace

std::string RunTableHead() {
  std::string head = "scan,page,result,status,kind,verdict,confidence,reasons,window";
  for (const char* channel : kChannelNames) {
    for (const auto& [name, text] : kPoints) head += std::string(",") + channel + "_" + text;
  }
  return head + ",seconds,message\r\n";
}

std::string RunTableLines(const Json& record) {
  const auto pages = record.find("pages");
  std::string lines;
  if (pages != record.end() && pages->is_array()) {
    for (const Json& page : *pages) lines += page.is_object() ? Line(record, page) : "";
  }
  return lines.empty() ? Line(record, Json::object()) : lines;
}
