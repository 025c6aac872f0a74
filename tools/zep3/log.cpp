#include "log.h"

#include <glib.h>

#include <cstdio>

void Say(const std::string& message) {
  // One write a message: several processes may share the terminal.
  const std::string line = "zep3: " + message + '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

void RouteLibraryMessages(bool verbose) {
  const GLogFunc say = [](const gchar* domain, GLogLevelFlags level, const gchar* message, gpointer) {
    // Below warnings libraries talk to their own developers.
    if ((level & G_LOG_LEVEL_MASK) > G_LOG_LEVEL_WARNING) return;
    Say(std::string(domain == nullptr ? "library" : domain) + ": " + message);
  };
  const GLogFunc drop = [](const gchar*, GLogLevelFlags, const gchar*, gpointer) {};
  g_log_set_default_handler(verbose ? say : drop, nullptr);
}
