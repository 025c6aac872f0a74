// What a run keeps of each scan beside its results.
#pragma once

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

// In the folder of the results.
inline constexpr const char* kStateFolder = ".zep3-run";

// The newest record of each result below the folder, in the order of the scans' names.
std::vector<nlohmann::json> ReadRun(const std::filesystem::path& out);

// Adds a record, a line, to the file of this process.
void KeepRecord(const std::filesystem::path& out, const std::string& line);
