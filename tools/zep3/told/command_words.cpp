#include "told/command_words.h"

#include "told/evidence.h"

namespace {

// A word as a shell takes it.
std::string Quoted(const std::string& word) {
  constexpr const char* kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_@%+=:,./-";
  if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) return word;
  std::string quoted = "'";
  for (const char c : word) {
    if (c == '\'') quoted += "'\\'";
    quoted += c;
  }
  quoted += '\'';
  return quoted;
}

} // namespace

std::string CommandFor(const std::string& scan, const Options& options, const ZEP3_KIND& kind, bool adaptive) {
  std::string command = std::string("zep3 -k ") + kind.pName;
  if (adaptive != (kind.wAdaptive != 0)) command += " --analysis " + std::string(MethodName(adaptive));
  for (const std::string& word : options.given) command.append(" ").append(Quoted(word));
  return command.append(" ").append(Quoted(scan));
}
