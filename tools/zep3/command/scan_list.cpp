// Fields as spreadsheets write them: between tabs, commas or semicolons, in quotes where they hold one of these.
#include "command/scan_list.h"

#include <algorithm>
#include <cctype>
#include <string_view>
#include <utility>

#include "command/scan_settings.h"
#include "failure.h"

namespace {

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

// The fields of a line; nothing where a quote is still open.
std::optional<std::vector<std::string>> Split(std::string_view line, char separator) {
  std::vector<std::string> fields(1);
  bool quoted = false;
  for (size_t i = 0; i < line.size(); i++) {
    const char c = line[i];
    if (quoted && c == '"' && i + 1 < line.size() && line[i + 1] == '"') {
      fields.back() += line[++i];
    } else if (c == '"' && (quoted || fields.back().empty())) {
      quoted = !quoted;
    } else if (c == separator && !quoted) {
      fields.emplace_back();
    } else {
      fields.back() += c;
    }
  }
  return quoted ? std::nullopt : std::optional(std::move(fields));
}

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

} // namespace

ScanList::ScanList(const std::string& path, bool nulSeparated)
    : m_path(path), m_names(path, nulSeparated ? '\0' : '\n'), m_namesAlone(nulSeparated) {}

// True where the line is a table's head.
bool ScanList::TakeHead(const std::string& line) {
  std::string_view text = line;
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  if (text.ends_with('\r')) text.remove_suffix(1);
  for (const char separator : {'\t', ',', ';'}) {
    const auto fields = Split(text, separator);
    if (!fields || fields->size() < 2) continue;
    m_scan.reset();
    for (size_t i = 0; i < fields->size(); i++) {
      const std::string name = Lower((*fields)[i]);
      if (name == "scan") m_scan = i;
      if (name == "kind") m_kind = i;
      if (name == "options") m_options = i;
    }
    m_separator = separator;
    if (m_scan) return true;
  }
  return false;
}

std::optional<ListedScan> ScanList::Next() {
  std::optional<std::string> line = m_names.Next();
  m_line++;
  if (!line || m_namesAlone) return line ? std::optional(ListedScan{*line, nullptr, ""}) : std::nullopt;
  if (!std::exchange(m_begun, true) && TakeHead(*line)) {
    m_isTable = true;
    return Next();
  }
  if (!m_isTable) return ListedScan{*line, nullptr, ""};
  const size_t first = m_line;
  std::optional<std::vector<std::string>> fields;
  for (;;) {
    std::string_view text = *line;
    if (text.ends_with('\r')) text.remove_suffix(1);
    fields = Split(text, m_separator);
    if (fields) break;
    const std::optional<std::string> more = m_names.Next();
    m_line++;
    if (!more) throw UsageError(m_path + ":" + std::to_string(first) + ": a quote is not closed");
    line->append("\n").append(*more);
  }
  return ToScan(*fields);
}

ListedScan ScanList::ToScan(const std::vector<std::string>& fields) {
  const auto field = [&](std::optional<size_t> column) {
    return column && *column < fields.size() ? fields[*column] : std::string();
  };
  ListedScan scan = {field(m_scan), nullptr, ""};
  const std::string kind = field(m_kind), options = field(m_options);
  if (kind.empty() && options.empty()) return scan;
  std::shared_ptr<const SettingLayer>& row = m_rows[kind + "\n" + options];
  try {
    if (!row) {
      SettingLayer layer = LayerOfWords(options, m_path);
      if (!kind.empty()) {
        const SettingLayer named = LayerOfWords("--kind=" + kind, m_path);
        layer.insert_or_assign("kind", named.at("kind"));
      }
      row = std::make_shared<const SettingLayer>(std::move(layer));
    }
    scan.row = row;
  } catch (const UsageError& error) {
    std::string reason = error.what();
    if (reason.starts_with(m_path + ": ")) reason.erase(0, m_path.size() + 2);
    scan.fault = m_path + ":" + std::to_string(m_line) + ": " + reason;
  }
  return scan;
}
