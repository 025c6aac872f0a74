#include "command/progress_line.h"

#include <glib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>

#include "log.h"

namespace {

constexpr size_t kUsualColumns = 80;
constexpr const char* kCut = "..."; // in place of a name's beginning
constexpr const char* kProgram = "zep3: ";
constexpr auto kSeldom = std::chrono::milliseconds(100); // between two drawings

// Of the terminal, but for the last one, behind which some begin a new line.
size_t Columns() {
  winsize size = {};
  const bool known = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return (known ? size.ws_col : kUsualColumns) - 1;
}

size_t ColumnsOf(gunichar c) {
  constexpr gunichar kAsEmoji = 0xfe0f; // widens the character before it
  if (c == kAsEmoji) return 1;
  if (g_unichar_iszerowidth(c) != 0) return 0;
  return g_unichar_iswide_cjk(c) != 0 ? 2 : 1; // counts what is wide in Asian fonts alone, too
}

// The end of a text of valid UTF-8, in at most so many columns.
std::string End(const std::string& text, size_t columns) {
  const char* begin = text.data() + text.size();
  for (size_t taken = 0; begin > text.data();) {
    const char* before = g_utf8_prev_char(begin);
    taken += ColumnsOf(g_utf8_get_char(before));
    if (taken > columns) break;
    begin = before;
  }
  return begin;
}

std::string Duration(double seconds) {
  const auto whole = static_cast<long>(std::ceil(seconds));
  if (whole < 60) return std::to_string(whole) + " s";
  if (whole < 3600) return std::to_string(whole / 60) + " min " + std::to_string(whole % 60) + " s";
  return std::to_string(whole / 3600) + " h " + std::to_string(whole % 3600 / 60) + " min";
}

std::string Rate(double perSecond) {
  char text[32];
  std::snprintf(text, sizeof text, perSecond < 10 ? "%.2g/s" : "%.0f/s", perSecond);
  return text;
}

} // namespace

size_t ColumnsOf(std::string_view text) {
  const std::string shown = Printable(text);
  size_t columns = 0;
  for (const char* at = shown.data(); *at != '\0'; at = g_utf8_next_char(at)) columns += ColumnsOf(g_utf8_get_char(at));
  return columns;
}

std::string ProgressText(const PassState& pass, size_t columns) {
  std::string text = kProgram + pass.what + std::to_string(pass.done);
  text += pass.total ? " of " + std::to_string(*pass.total) : " done";
  if (pass.perSecond > 0) {
    text += ", " + Rate(pass.perSecond);
    const bool more = pass.total && *pass.total > pass.done;
    if (more) text += ", " + Duration(static_cast<double>(*pass.total - pass.done) / pass.perSecond) + " left";
  }
  if (text.size() > columns) return text.substr(0, columns);
  const std::string name = Printable(pass.scan);
  const size_t room = columns - text.size(), cut = std::string_view(kCut).size();
  constexpr size_t kLeast = 8; // columns of a name that are worth showing
  if (name.empty() || room < 2 + cut + kLeast) return text;
  text += ": ";
  return text + (ColumnsOf(name) <= room - 2 ? name : kCut + End(name, room - 2 - cut));
}

ProgressLine::ProgressLine(bool wanted) : m_wanted(wanted && ::isatty(STDERR_FILENO) != 0) {}

void ProgressLine::Count(const std::string& what, bool worked, std::optional<size_t> total, const std::string& scan) {
  if (!m_wanted) return;
  const Clock::time_point now = Clock::now();
  if (m_pass.done == 0 || what != m_pass.what) {
    m_pass = {what};
    m_worked = 0;
  }
  m_pass.done++;
  m_pass.total = total;
  m_pass.scan = scan;
  // What was finished before says nothing of the time that the others take.
  if (worked) m_worked++;
  if (m_worked == 0) m_begin = now;
  const double seconds = std::chrono::duration<double>(now - m_begin).count();
  m_pass.perSecond = seconds > 1 ? static_cast<double>(m_worked) / seconds : 0;
  if (now - m_drawn >= kSeldom || !m_shown) Draw(ProgressText(m_pass, Columns()));
}

void ProgressLine::ShowPercent(const std::string& what, const std::string& percent) {
  if (m_wanted) Draw(kProgram + what + ", " + percent + " %");
}

void ProgressLine::Refresh() {
  if (m_shown && m_pass.done > 0 && (Columns() != m_columns || Clock::now() - m_drawn >= kSeldom))
    Draw(ProgressText(m_pass, Columns()));
}

// One write: nothing comes in between.
void ProgressLine::Draw(const std::string& text) {
  const std::string line = "\r" + text + "\033[K";
  std::fwrite(line.data(), 1, line.size(), stderr);
  m_shown = true;
  m_drawn = Clock::now();
  m_columns = Columns();
}

void ProgressLine::Clear() {
  if (m_shown) std::fputs("\r\033[K", stderr);
  m_shown = false;
}
