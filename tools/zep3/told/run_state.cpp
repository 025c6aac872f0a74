#include "told/run_state.h"

#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <nlohmann/json.hpp>

namespace fs = std::filesystem;

std::vector<nlohmann::json> ReadRun(const fs::path& out) {
  std::map<std::string, nlohmann::json> records;
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(out / kStateFolder, ignored)) {
    std::ifstream file(entry.path());
    for (std::string line; std::getline(file, line);) {
      nlohmann::json record = nlohmann::json::parse(line, nullptr, false);
      if (record.is_object()) records[record.value("scan", "") + '\n' + record.value("result", "")] = std::move(record);
    }
  }
  std::vector<nlohmann::json> list;
  for (auto& [name, record] : records) list.push_back(std::move(record));
  return list;
}

void KeepRecord(const fs::path& out, const std::string& line) {
  std::error_code ignored;
  fs::create_directories(out / kStateFolder, ignored);
  std::ofstream(out / kStateFolder / (std::to_string(::getpid()) + ".jsonl"), std::ios::app) << line;
}
