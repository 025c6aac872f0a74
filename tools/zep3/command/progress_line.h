// The one line on a terminal that tells how far a run is. Only the process that also says the messages writes it.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

// How far a pass over scans is.
struct PassState {
  std::string what;              // before the counts: nothing, or "looked at "
  size_t done = 0;               // scans, with those that needed no work
  std::optional<size_t> total{}; // absent: not known yet
  double perSecond = 0;          // of those that needed work; 0: not known yet
  std::string scan{};            // the last one
};

// Columns of a terminal that a text takes, or more: wide characters count two, and so does what is wide in some fonts.
size_t ColumnsOf(std::string_view text);

// The line, in at most so many columns: "12 of 345, 3.2/s, 1 min 44 s left: ...er/017.tif". A name is cut in front.
std::string ProgressText(const PassState& pass, size_t columns);

class ProgressLine {
 public:
  // `wanted`: and standard error is a terminal.
  explicit ProgressLine(bool wanted);
  ~ProgressLine() { Clear(); }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  // Counts a scan of a pass; a new `what` begins a new pass. `worked`: it took its time.
  void Count(const std::string& what, bool worked, std::optional<size_t> total, const std::string& scan);
  // Of a single result, in percent; `what` is done to it.
  void ShowPercent(const std::string& what, const std::string& percent);
  // Now and then, and when the terminal has changed its size.
  void Refresh();
  // Before a message, which may be followed by the line again.
  void Clear();

 private:
  using Clock = std::chrono::steady_clock;
  void Draw(const std::string& text);

  bool m_wanted;
  bool m_shown = false;
  size_t m_columns = 0; // when it was drawn
  Clock::time_point m_begin = Clock::now(), m_drawn{};
  size_t m_worked = 0;
  PassState m_pass;
};
