// The table of a run for spreadsheets: a line for each page, as RFC 4180 has it.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

std::string RunTableHead();

// The lines of a record of --json.
std::string RunTableLines(const nlohmann::json& record);
