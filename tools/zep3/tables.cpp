#include "tables.h"

#include <vips/vips8>

#include "failure.h"

namespace {

std::string Line(const std::vector<uint16_t>& table, bool commaAtEnd) {
  std::string line;
  for (const uint16_t value : table) line += std::to_string(ToByte(value)) + ',';
  if (!commaAtEnd) line.pop_back();
  return line;
}

} // namespace

Tables MakeTables(const Correction& correction, size_t entries) {
  Record record = correction.record; // the table builder writes into it
  std::vector<uint16_t> values(3 * entries);
  if (!MakeZEP3ScanLUT(&record.para, correction.matrix ? correction.matrix->data() : nullptr, correction.encoding.input,
                       static_cast<int64_t>(entries), values.data())) {
    throw Failure("not enough memory for the tables");
  }
  Tables tables;
  for (size_t c = 0; c < 3; c++) {
    const auto first = values.begin() + static_cast<std::ptrdiff_t>(c * entries);
    tables[c].assign(first, first + static_cast<std::ptrdiff_t>(entries));
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

nlohmann::ordered_json TablesToJson(const Tables& tables) {
  nlohmann::ordered_json json;
  for (size_t c = 0; c < 3; c++) {
    for (const uint16_t value : tables[c]) json[kChannelNames[c]].push_back(ToByte(value));
  }
  return json;
}

std::string TablesAsJson(const Tables& tables) { return TablesToJson(tables).dump() + '\n'; }

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
  for (size_t c = 0; c < 3; c++)
    text += std::string(" --") + kChannelNames[c] + "-gamma-table " + Line(tables[c], false);
  return text + '\n';
}
