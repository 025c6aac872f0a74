// Text made fit for a terminal, and GLib's messages kept or said.
#include "log.h"

#include <glib.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <utility>

namespace {

// The first warnings of a file say what is wrong.
constexpr size_t kKeptWarnings = 200; // bytes

std::mutex warningsMutex; // decoders have threads
std::string warnings;
std::atomic<bool> warningsDropped = false;

Listener listener; // of a worker

void KeepWarning(std::string message) {
  message.resize(std::min(message.size(), kKeptWarnings));
  const std::lock_guard lock(warningsMutex);
  if (warnings.size() > kKeptWarnings || warnings.find(message) != std::string::npos) return;
  warnings += (warnings.empty() ? "" : ", ") + message;
}

bool IsShown(gunichar c) {
  const bool turns =
      (c >= 0x202a && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069) || c == 0x200e || c == 0x200f || c == 0x61c;
  const bool endsLine = c == 0x2028 || c == 0x2029;
  return g_unichar_iscntrl(c) == 0 && !turns && !endsLine;
}

} // namespace

std::string Printable(std::string_view text) {
  std::string shown;
  for (size_t at = 0; at < text.size();) {
    const gunichar c = g_utf8_get_char_validated(text.data() + at, static_cast<gssize>(text.size() - at));
    const bool valid = c < static_cast<gunichar>(-2) && c != 0;
    const auto length = valid ? static_cast<size_t>(g_unichar_to_utf8(c, nullptr)) : 1;
    char escape[16] = "";
    if (!valid || c < 0x80) {
      std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned char>(text[at]));
    } else {
      std::snprintf(escape, sizeof escape, "\\u{%x}", c);
    }
    shown += valid && IsShown(c) ? text.substr(at, length) : std::string_view(escape);
    at += length;
  }
  return shown;
}

void Say(const std::string& message) {
  if (listener) return listener(Told::kMessage, message);
  // One write a message: several processes may share the terminal.
  const std::string line = "zep3: " + Printable(message) + '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

void SayPercent(int percent) {
  if (listener) listener(Told::kPercent, std::to_string(percent));
}

void SendMessagesTo(Listener to) { listener = std::move(to); }

void RouteLibraryMessages(bool verbose) {
  const GLogFunc take = [](const gchar* domain, GLogLevelFlags level, const gchar* message, gpointer shown) {
    // Below warnings libraries talk to their own developers.
    if ((level & G_LOG_LEVEL_MASK) > G_LOG_LEVEL_WARNING) return;
    if ((level & G_LOG_FLAG_FATAL) == 0 && warningsDropped) return;
    KeepWarning(message);
    if (shown == nullptr && (level & G_LOG_FLAG_FATAL) == 0) return;
    Say(std::string(domain == nullptr ? "library" : domain) + ": " + message);
  };
  static const bool kShown = true;
  g_log_set_default_handler(take, verbose ? const_cast<bool*>(&kShown) : nullptr);
}

WithoutLibraryWarnings::WithoutLibraryWarnings() { warningsDropped = true; }
WithoutLibraryWarnings::~WithoutLibraryWarnings() { warningsDropped = false; }

std::string TakeLibraryWarnings() {
  const std::lock_guard lock(warningsMutex);
  return std::exchange(warnings, "");
}
