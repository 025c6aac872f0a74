#include "formats.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace {

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

template <typename Predicate>
const Format* Find(Predicate predicate) {
  const auto found = std::find_if(Formats().begin(), Formats().end(), predicate);
  return found == Formats().end() ? nullptr : &*found;
}

} // namespace

const std::vector<Format>& Formats() {
  static const std::vector<Format> formats = {
      {"tiff", "tiffload", {".tif", ".tiff"}},         {"png", "pngload", {".png"}},
      {"jpeg", "jpegload", {".jpg", ".jpeg", ".jpe"}}, {"webp", "webpload", {".webp"}},
      {"pnm", "ppmload", {".pnm", ".ppm", ".pgm"}},
  };
  return formats;
}

const Format* FormatOfName(const std::string& name) {
  const std::string extension = Lower(std::filesystem::path(name).extension().string());
  return Find([&](const Format& format) {
    return std::find(format.extensions.begin(), format.extensions.end(), extension) != format.extensions.end();
  });
}

const Format* FormatOfLoader(const std::string& loader) {
  return Find([&](const Format& format) { return loader.starts_with(format.loader); });
}

NameWithOptions SplitOptions(const std::string& text) {
  const size_t open = text.rfind('[');
  std::error_code ignored;
  if (!text.ends_with(']') || open == std::string::npos || open == 0 || std::filesystem::exists(text, ignored)) {
    return {text, ""};
  }
  return {text.substr(0, open), text.substr(open)};
}

std::string JoinOptions(const std::vector<std::pair<std::string, std::string>>& own, const std::string& user) {
  const std::string given = user.empty() ? "" : user.substr(1, user.size() - 2);
  // Keys stand between a comma and a comma or '='. libvips takes '_' for '-'.
  std::string keys = "," + given + ",";
  std::replace(keys.begin(), keys.end(), '_', '-');
  std::replace(keys.begin(), keys.end(), '=', ',');
  std::string joined;
  for (const auto& [key, value] : own) {
    const bool replaced = keys.find("," + key + ",") != std::string::npos;
    if (!replaced) joined += (joined.empty() ? "" : ",") + key + "=" + value;
  }
  if (!given.empty()) joined += (joined.empty() ? "" : ",") + given;
  return "[" + joined + "]";
}
