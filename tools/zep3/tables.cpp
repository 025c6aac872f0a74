#include "tables.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <vips/vips8>

#include "encoding.h"
#include "failure.h"

namespace {

constexpr const char* kNames[] = {"red", "green", "blue"};
constexpr int kEngineGamma = 18;

// Where a scan's value lies among the engine's 65536 linear levels.
double LinearLevel16(size_t i, size_t entries, int gamma) {
  const double last = static_cast<double>(entries - 1);
  // On the engine's own scale exactly, so that its tables come out to the last bit.
  if (gamma == kEngineGamma) return static_cast<double>(i) * (65535 / last);
  return 257 * LinearLevel(static_cast<double>(i) / last, gamma);
}

std::string Line(const std::vector<uint16_t>& table, bool commaAtEnd) {
  std::string line;
  for (const uint16_t value : table) line += std::to_string(ToByte(value)) + ',';
  if (!commaAtEnd) line.pop_back();
  return line;
}

} // namespace

Tables MakeTables(const Correction& correction, size_t entries) {
  Record record = correction.record; // the table builder writes into it
  std::vector<uint16_t> levels(3 * 65536);
  if (!MakeZEP3LUT16(&record.para, correction.matrix ? correction.matrix->data() : nullptr, levels.data())) {
    throw Failure("not enough memory for the tables");
  }
  Tables tables;
  for (std::vector<uint16_t>& table : tables) table.reserve(entries);
  for (size_t i = 0; i < entries; i++) {
    const double at = LinearLevel16(i, entries, correction.encoding.input);
    const size_t below = std::min<size_t>(static_cast<size_t>(at), 65534);
    for (size_t c = 0; c < 3; c++) {
      const double left = levels[65536 * c + below];
      const double right = levels[65536 * c + below + 1];
      const double value = left + (right - left) * (at - static_cast<double>(below));
      tables[c].push_back(static_cast<uint16_t>(std::lround(value)));
    }
  }
  return tables;
}

std::string TablesAsText(const Tables& tables) {
  std::string text;
  for (const auto& table : tables) text += Line(table, true) + '\n';
  return text;
}

std::string TablesAsCsv(const Tables& tables) {
  std::string text = "level,red,green,blue\n";
  for (size_t i = 0; i < tables[0].size(); i++) {
    text += std::to_string(i);
    for (const auto& table : tables) text += ',' + std::to_string(ToByte(table[i]));
    text += '\n';
  }
  return text;
}

std::string TablesAsJson(const Tables& tables) {
  nlohmann::ordered_json json;
  for (size_t c = 0; c < 3; c++) {
    for (const uint16_t value : tables[c]) json[kNames[c]].push_back(ToByte(value));
  }
  return json.dump() + '\n';
}

std::string TablesAsPng(const Tables& tables) {
  std::vector<uint8_t> pixels;
  for (size_t i = 0; i < tables[0].size(); i++) {
    for (const auto& table : tables) pixels.push_back(ToByte(table[i]));
  }
  const auto image = vips::VImage::new_from_memory(pixels.data(), pixels.size(), static_cast<int>(tables[0].size()), 1,
                                                   3, VIPS_FORMAT_UCHAR)
                         .copy(vips::VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
  void* buffer = nullptr;
  size_t size = 0;
  image.write_to_buffer(".png", &buffer, &size);
  std::string png(static_cast<const char*>(buffer), size);
  g_free(buffer);
  return png;
}

std::string TablesForScanimage(const Tables& tables) {
  std::string text = "--custom-gamma=yes";
  for (size_t c = 0; c < 3; c++) text += std::string(" --") + kNames[c] + "-gamma-table " + Line(tables[c], false);
  return text + '\n';
}
