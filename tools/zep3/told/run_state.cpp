// Lines are appended by one call each, so that a process that is killed cuts the last one at most.
#include "told/run_state.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <tuple>

#include "failure.h"
#include "files/output.h"
#include "files/pending_file.h"
#include "job/outcome.h"
#include "log.h"
#include "told/sidecar.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kLogSuffix = ".jsonl";
constexpr uint32_t kMostOfLine = 64 << 20; // bytes: some 20,000 pages

int64_t Now() {
  using namespace std::chrono;
  return duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count();
}

// The field of the first line of a file, before its records.
constexpr const char* kRootField = "root";

// The files of all processes that wrote.
std::vector<fs::path> LogsOf(const fs::path& out) {
  std::vector<fs::path> logs;
  std::error_code ignored;
  for (fs::directory_iterator entries(out / kRunFolder, ignored), end; !ignored && entries != end;
       entries.increment(ignored)) {
    std::error_code kind;
    if (entries->path().extension() == kLogSuffix && entries->is_regular_file(kind)) logs.push_back(entries->path());
  }
  std::sort(logs.begin(), logs.end());
  return logs;
}

// The fields at a record's beginning that say what it is about; reading ends where all of them are there.
class Beginning : public nlohmann::json_sax<nlohmann::json> {
 public:
  std::string name, status;
  int64_t at = 0;

  bool IsWhole() const { return !name.empty() && !status.empty(); }

  bool start_object(std::size_t) override { return ++m_depth == 1; }
  bool key(string_t& text) override {
    m_key = text;
    return true;
  }
  bool string(string_t& text) override {
    if (m_key == "name") name = text;
    if (m_key == "status") status = text;
    return status.empty(); // the last of them
  }
  bool number_integer(number_integer_t number) override {
    if (m_key == "at") at = number;
    return true;
  }
  bool number_unsigned(number_unsigned_t number) override {
    return number_integer(static_cast<number_integer_t>(std::min<number_unsigned_t>(number, INT64_MAX)));
  }
  bool number_float(number_float_t, const string_t&) override { return true; }
  bool boolean(bool) override { return true; }
  bool null() override { return true; }
  bool binary(binary_t&) override { return false; }
  bool end_object() override { return false; }
  bool start_array(std::size_t) override { return false; }
  bool end_array() override { return false; }
  bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) override { return false; }

 private:
  int m_depth = 0;
  std::string m_key;
};

} // namespace

std::string NameInRun(const fs::path& result, const fs::path& out) {
  return Printable(result.lexically_normal().lexically_relative(out.lexically_normal()).string());
}

RunIndex::RunIndex(const fs::path& out) : m_files(LogsOf(out)) {
  for (uint32_t file = 0; file < m_files.size(); file++) ReadFile(file);
}

void RunIndex::ReadFile(uint32_t file) {
  std::ifstream lines(m_files[file], std::ios::binary);
  uint64_t begin = 0;
  for (std::string line; std::getline(lines, line);) {
    const uint64_t place = begin;
    begin += line.size() + 1;
    if (lines.eof() || line.size() > kMostOfLine) continue; // without its end: whoever wrote it was killed, or writes
    Beginning record;
    nlohmann::json::sax_parse(line, &record);
    if (!record.IsWhole()) continue;
    Places& places = m_places[record.name];
    const Place here = {file, static_cast<uint32_t>(line.size()), place, record.at};
    const auto take = [&](Place& newest) {
      if (newest.length == 0 || here.at >= newest.at) newest = here;
    };
    take(places.newest);
    if (record.status == kStatusNames[static_cast<size_t>(Status::kCorrected)]) take(places.made);
  }
}

std::string RunIndex::Text(const Place& place) const {
  std::string line(place.length, '\0');
  if (line.empty()) return line;
  std::ifstream file(m_files[place.file], std::ios::binary);
  file.seekg(static_cast<std::streamoff>(place.begin));
  return file.read(line.data(), static_cast<std::streamsize>(line.size())) ? line : "";
}

std::optional<nlohmann::json> RunIndex::Read(const Place& place) const {
  nlohmann::json record = nlohmann::json::parse(Text(place), nullptr, false);
  return record.is_object() ? std::optional(std::move(record)) : std::nullopt;
}

std::string RunIndex::Made(const std::string& name) const {
  const auto at = m_places.find(name);
  if (at == m_places.end()) return "";
  const Places& places = at->second;
  return Text(places.made.length > 0 ? places.made : places.newest);
}

std::vector<std::string> RootsOfRun(const fs::path& out) {
  std::vector<std::pair<int64_t, std::string>> roots;
  for (const fs::path& path : LogsOf(out)) {
    std::ifstream file(path, std::ios::binary);
    std::string line;
    std::getline(file, line);
    const nlohmann::json head = nlohmann::json::parse(line, nullptr, false);
    if (!head.is_object() || !head.contains(kRootField) || !head.at(kRootField).is_string()) continue;
    roots.emplace_back(head.value("at", int64_t{0}), head.at(kRootField));
  }
  std::sort(roots.rbegin(), roots.rend());
  std::vector<std::string> names;
  for (auto& [at, root] : roots) names.push_back(std::move(root));
  return names;
}

std::string FormerRun::Made(const std::string& result) {
  std::error_code ignored;
  if (m_out.empty() || result.empty() || !fs::exists(result, ignored)) return "";
  if (!m_index) m_index.emplace(m_out);
  return m_index->Made(NameInRun(result, m_out));
}

RunLog::~RunLog() {
  if (m_file >= 0) ::close(m_file);
}

void RunLog::Fail() const { throw Failure(m_path + ": cannot be written, " + std::strerror(errno), Cause::kDisk); }

void RunLog::Open() {
  const fs::path folder = m_out / kRunFolder;
  std::string mark = OwnMark(); // zep3-MACHINE-PROCESS-
  mark.erase(0, mark.find('-') + 1);
  m_path = (folder / (mark + std::to_string(Now()) + kLogSuffix)).string();
  CreateFolders(folder, PendingFile::Sync::kNo);
  m_file = ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_NOFOLLOW | O_CLOEXEC, 0666);
  if (m_file < 0) Fail();
  if (!m_root.empty()) Write({{kRootField, m_root}, {"at", Now()}});
}

void RunLog::Write(const nlohmann::ordered_json& line) {
  const std::string text = ToText(line, -1) + '\n';
  if (!WriteFully(m_file, text.data(), text.size())) Fail();
}

void RunLog::Add(const std::string& result, const nlohmann::ordered_json& record) {
  if (m_file < 0) Open();
  nlohmann::ordered_json line = {{"name", NameInRun(result, m_out)}, {"at", Now()}};
  line.update(record);
  Write(line);
}

void RunLog::Sync() {
  if (m_file >= 0 && ::fdatasync(m_file) != 0) Fail();
}
