#include "scanning/page_names.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "failure.h"
#include "files/output.h"

namespace fs = std::filesystem;

namespace {

constexpr int kMostPages = 1'000'000; // larger numbers are dates and the like

bool Exists(const fs::path& path) {
  std::error_code ignored;
  return fs::exists(fs::symlink_status(path, ignored));
}

} // namespace

PageNames::PageNames(const Options& options) : m_options(options), m_number(options.scanner.start.value_or(-1)) {
  const std::string& output = options.output;
  std::error_code ignored;
  if (output.ends_with('/') || fs::is_directory(output, ignored)) {
    m_many = true;
    m_before = (fs::path(output) / "").string();
    m_behind = options.format == nullptr ? ".tif" : options.format->extensions.front();
    return;
  }
  const size_t percent = output.find('%');
  if (percent == std::string::npos) return;
  size_t end = percent + 1;
  while (end < output.size() && std::isdigit(static_cast<unsigned char>(output[end])) != 0) end++;
  const std::string digits = output.substr(percent + 1, end - percent - 1);
  if (end == output.size() || output[end] != 'd' || digits.size() > 2 || output.find('%', end) != std::string::npos)
    throw UsageError("'" + output + "': the place of the page's number is one %d or %03d");
  m_many = true;
  m_before = output.substr(0, percent);
  m_behind = output.substr(end + 1);
  m_digits = digits.empty() ? 1 : std::stoul(digits);
}

std::string PageNames::NameOf(int number) const {
  std::string digits = std::to_string(number);
  digits.insert(0, m_digits - std::min(m_digits, digits.size()), '0');
  return m_before + digits + m_behind;
}

// Behind the last of the folder: pages of a stack do not go into gaps between others.
int PageNames::NumberBehind(const fs::path& folder, const std::string& before, const std::string& behind) {
  int last = 0;
  std::error_code ignored;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, ignored)) {
    const std::string name = entry.path().filename().string();
    if (name.size() <= before.size() + behind.size() || !name.starts_with(before) || !name.ends_with(behind)) continue;
    const char* const end = name.data() + name.size() - behind.size();
    int number = 0;
    const auto [rest, error] = std::from_chars(name.data() + before.size(), end, number);
    if (error == std::errc() && rest == end && number < kMostPages) last = std::max(last, number);
  }
  return last + 1;
}

std::string PageNames::RawName() const {
  return m_result == "-" ? "scan.tif" : fs::path(m_result).stem().string() + ".tif";
}

std::string PageNames::Next(const fs::path& raw) {
  const auto taken = [&] {
    return (!m_options.overwrite && m_result != "-" && Exists(m_result)) ||
           (!m_options.overwrite && !raw.empty() && Exists(raw / RawName()));
  };
  if (!m_many) {
    m_result = m_options.output;
    if (taken()) {
      throw UsageError((Exists(m_result) ? m_result : (raw / RawName()).string()) +
                       " exists; nothing was scanned; --overwrite replaces it");
    }
    return m_result;
  }
  if (m_number < 0) {
    const fs::path place = m_before;
    m_number = m_options.overwrite ? 1 : NumberBehind(FolderOf(place), place.filename().string(), m_behind);
    if (!raw.empty() && !m_options.overwrite)
      m_number = std::max(m_number, NumberBehind(raw, place.filename().string(), ".tif"));
  }
  do {
    m_result = NameOf(m_number++);
  } while (taken());
  return m_result;
}
