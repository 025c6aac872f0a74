// The three tables of a correction, from a scan's values to the result's, and their forms for other programs.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "page/correction.h"

// One table of 16-bit values per channel: red, green, blue.
using Tables = std::array<std::vector<uint16_t>, 3>;

// The tables for scans of 8 bits (entries = 256) or 16 (65536): conversion to the engine's scale, correction and the
// result's gamma in one. Entry i belongs to the scan's value i; its 16-bit value over 257, rounded, is the 8-bit one.
// Throws Failure when memory is short.
Tables MakeTables(const Correction& correction, size_t entries);

constexpr uint8_t ToByte(uint16_t value) { return static_cast<uint8_t>((value + 128) / 257); }

// Three lines, red, green, blue, every number followed by a comma: the form of zep3_driver.
std::string TablesAsText(const Tables& tables);
// A line per level with a heading: level,red,green,blue.
std::string TablesAsCsv(const Tables& tables);
// Lists of bytes by the channels' names.
nlohmann::ordered_json TablesToJson(const Tables& tables);
std::string TablesAsJson(const Tables& tables);
// A picture of 256 x 1 pixels, for `vips maplut`, ImageMagick's -clut and the like.
std::string TablesAsPng(const Tables& tables);
// The gamma-table options of SANE, ready to be passed to scanimage.
std::string TablesForScanimage(const Tables& tables);
