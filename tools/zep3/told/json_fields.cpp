// Reading with a reason for each refusal.
#include "told/json_fields.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <vector>

#include "engine/zep3.h"
#include "failure.h"

namespace {

constexpr int kDepthMost = 16;

} // namespace

nlohmann::ordered_json ValuesToJson(std::span<const double> values) {
  using Json = nlohmann::ordered_json;
  return values.size() == 1 ? Json(values[0]) : Json(std::vector<double>(values.begin(), values.end()));
}

void Refuse(const std::string& what) { throw Failure(what); }

const nlohmann::json& At(const nlohmann::json& json, const char* name) {
  if (!json.is_object() || !json.contains(name)) Refuse(std::string("'") + name + "' is missing");
  return json.at(name);
}

int64_t Integer(const nlohmann::json& json, const char* name, int64_t low, int64_t high) {
  const nlohmann::json& value = At(json, name);
  const bool fits = value.is_number_integer() &&
                    (!value.is_number_unsigned() || value.get<uint64_t>() <= static_cast<uint64_t>(INT64_MAX)) &&
                    value.get<int64_t>() >= low && value.get<int64_t>() <= high;
  if (!fits) {
    Refuse(std::string("'") + name + "' is not a whole number of " + std::to_string(low) + ".." + std::to_string(high));
  }
  return value.get<int64_t>();
}

nlohmann::ordered_json GammaToJson(int gamma) {
  return gamma == ZEP3_GAMMA_SRGB_CURVE ? nlohmann::ordered_json("sRGB") : nlohmann::ordered_json(gamma);
}

int GammaFromJson(const nlohmann::json& json, const char* name) {
  if (At(json, name) == "sRGB") return ZEP3_GAMMA_SRGB_CURVE;
  return static_cast<int>(Integer(json, name, 5, 50));
}

double Number(const nlohmann::json& json, const char* name, double low, double high) {
  const nlohmann::json& value = At(json, name);
  if (!value.is_number() || !(value.get<double>() >= low && value.get<double>() <= high)) {
    Refuse(std::string("'") + name + "' is not a number of " + std::to_string(low) + ".." + std::to_string(high));
  }
  return value.get<double>();
}

void ReadValues(const nlohmann::json& json, std::string_view name, std::span<double> values) {
  const auto read = [&](const nlohmann::json& value, double& to) {
    if (!value.is_number() && !value.is_null()) Refuse("'" + std::string(name) + "' is not a number");
    to = value.is_null() ? std::numeric_limits<double>::quiet_NaN() : value.get<double>();
  };
  if (values.size() == 1) return read(json, values[0]);
  if (!json.is_array() || json.size() != values.size()) {
    Refuse("'" + std::string(name) + "' is not " + std::to_string(values.size()) + " numbers");
  }
  for (size_t i = 0; i < values.size(); i++) read(json[i], values[i]);
}

nlohmann::json ParseFormat(const std::string& text, const char* format, int version, const std::string& what) {
  // Values are copied by recursion: their depth is bounded before any is.
  const auto shallow = [](int depth, nlohmann::json::parse_event_t, nlohmann::json&) {
    if (depth > kDepthMost) Refuse("is nested too deeply to be one");
    return true;
  };
  nlohmann::json json = nlohmann::json::parse(text, shallow, false);
  if (json.is_discarded()) Refuse("is no JSON");
  if (!json.is_object() || !json.contains("format") || json.at("format") != format)
    Refuse("is no " + what + " written by zep3");
  if (!json.contains("formatVersion") || json.at("formatVersion") != version)
    Refuse("is written in another version of the format");
  return json;
}

std::string ReadText(const std::string& path, size_t most) {
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(path, ignored)) Refuse("cannot be read"); // also a pipe, which would block
  std::ifstream file(path, std::ios::binary);
  if (!file) Refuse("cannot be read");
  if (std::filesystem::file_size(path, ignored) > most) Refuse("is too large to be one");
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string TextField(const nlohmann::json& json, const char* name) {
  const auto at = json.find(name);
  return at != json.end() && at->is_string() ? at->get<std::string>() : "";
}
