// Percentages from libvips, after the first second.
#include "saving/progress.h"

#include <unistd.h>

#include <cstdio>

#include "interrupt.h"

namespace {

void ShowPercent(VipsImage* image, VipsProgress* state, void* progress) {
  if (IsInterrupted()) vips_image_set_kill(image, TRUE);
  static_cast<Progress*>(progress)->Show(state->percent);
}

} // namespace

Progress::Progress(bool quiet) : m_shown(!quiet && ::isatty(STDERR_FILENO)) {}

Progress::~Progress() {
  if (m_written) std::fprintf(stderr, "\r\033[K");
}

void Progress::Show(int percent) {
  if (!m_shown || std::chrono::steady_clock::now() - m_begin < std::chrono::seconds(1)) return;
  std::fprintf(stderr, "\rzep3: writing, %d %% ", percent);
  m_written = true;
}

vips::VImage Progress::Watch(const vips::VImage& image) {
  vips_image_set_progress(image.get_image(), TRUE);
  g_signal_connect(image.get_image(), "eval", G_CALLBACK(ShowPercent), this);
  return image;
}
