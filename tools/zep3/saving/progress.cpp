// Percentages from libvips, after the first second.
#include "saving/progress.h"

#include "interrupt.h"
#include "log.h"

namespace {

void ShowPercent(VipsImage* image, VipsProgress* state, void* progress) {
  if (IsInterrupted()) vips_image_set_kill(image, TRUE);
  static_cast<Progress*>(progress)->Show(state->percent);
}

} // namespace

void Progress::Show(int percent) {
  if (m_quiet || percent == m_last || std::chrono::steady_clock::now() - m_begin < std::chrono::seconds(1)) return;
  m_last = percent;
  SayPercent(percent);
}

vips::VImage Progress::Watch(const vips::VImage& image) {
  vips_image_set_progress(image.get_image(), TRUE);
  g_signal_connect(image.get_image(), "eval", G_CALLBACK(ShowPercent), this);
  return image;
}
