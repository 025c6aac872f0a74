// Tells how far a result is.
#pragma once

#include <chrono>

#include <vips/vips8>

// Tells nothing in the first second.
class Progress {
 public:
  explicit Progress(bool quiet) : m_quiet(quiet) {}
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Show(int percent);

  // The image, whose computation is shown and ends when the run is interrupted. It must not outlive this object.
  vips::VImage Watch(const vips::VImage& image);

 private:
  bool m_quiet;
  int m_last = -1;
  std::chrono::steady_clock::time_point m_begin = std::chrono::steady_clock::now();
};
