// The line on a terminal that tells how far a result is.
#pragma once

#include <chrono>

#include <vips/vips8>

// Shows nothing in the first second, nor where standard error is no terminal.
class Progress {
 public:
  explicit Progress(bool quiet);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Show(int percent);

  // The image, whose computation is shown and ends when the run is interrupted. It must not outlive this object.
  vips::VImage Watch(const vips::VImage& image);

 private:
  bool m_shown;
  bool m_written = false;
  std::chrono::steady_clock::time_point m_begin = std::chrono::steady_clock::now();
};
