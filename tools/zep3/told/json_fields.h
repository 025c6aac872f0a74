// Fields of the JSON that the program writes and reads again. Each reader throws Failure that names the field.
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>

// A number alone, several as a list. What is no finite number becomes null in JSON. Others come back as the same bits.
nlohmann::ordered_json ValuesToJson(std::span<const double> values);

[[noreturn]] void Refuse(const std::string& what);

const nlohmann::json& At(const nlohmann::json& json, const char* name);
int64_t Integer(const nlohmann::json& json, const char* name, int64_t low, int64_t high);

// The gamma of a scan's values: tenths, or "sRGB" for ZEP3_GAMMA_SRGB_CURVE.
nlohmann::ordered_json GammaToJson(int gamma);
int GammaFromJson(const nlohmann::json& json, const char* name);
double Number(const nlohmann::json& json, const char* name, double low, double high);

// The way back from ValuesToJson.
void ReadValues(const nlohmann::json& json, std::string_view name, std::span<double> values);

// The text of a file of ours: its format and version are checked. `what` it holds, for messages: "correction".
nlohmann::json ParseFormat(const std::string& text, const char* format, int version, const std::string& what);

// A text, or "" where there is none. Of JSON that may come from elsewhere.
std::string TextField(const nlohmann::json& json, const char* name);

// A regular file of at most so many bytes.
std::string ReadText(const std::string& path, size_t most);
