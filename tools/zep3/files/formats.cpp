// The tables of formats, and options of libvips in brackets behind a name.
#include "files/formats.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>

#include "did_you_mean.h"
#include "failure.h"

namespace {

using namespace std::string_view_literals;

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

template <typename Predicate>
const Format* Find(const std::vector<Format>& formats, Predicate predicate) {
  const auto found = std::find_if(formats.begin(), formats.end(), predicate);
  return found == formats.end() ? nullptr : &*found;
}

template <typename Predicate>
const Format* FindInAll(Predicate predicate) {
  const Format* written = Find(Formats(), predicate);
  return written != nullptr ? written : Find(FormatsOnDemand(), predicate);
}

// A predicate for the extension of a name.
auto HasExtensionOf(const std::string& name) {
  return [extension = Lower(std::filesystem::path(name).extension().string())](const Format& format) {
    return std::find(format.extensions.begin(), format.extensions.end(), extension) != format.extensions.end();
  };
}

// ---- first bytes ----

// 42: TIFF, 43: BigTIFF, in the byte order that the first letters tell.
bool HoldsTiff(std::string_view head) {
  const std::string_view begin = head.substr(0, 4);
  return begin == "II*\0"sv || begin == "II+\0"sv || begin == "MM\0*"sv || begin == "MM\0+"sv;
}

bool HoldsPng(std::string_view head) { return head.starts_with("\x89PNG\r\n\x1a\n"); }

bool HoldsJpeg(std::string_view head) { return head.starts_with("\xff\xd8\xff"); }

bool HoldsWebp(std::string_view head) {
  return head.size() >= 12 && head.starts_with("RIFF") && head.substr(8, 4) == "WEBP";
}

// PF and Pf hold floating point: known, to be refused by that.
bool HoldsPnm(std::string_view head) {
  const bool magic = head.size() >= 3 && head[0] == 'P' && "123456Ff"sv.find(head[1]) != std::string_view::npos;
  return magic && (head[2] == '#' || std::isspace(static_cast<unsigned char>(head[2])) != 0);
}

// A file of boxes or a bare stream.
bool HoldsJpeg2000(std::string_view head) {
  return head.starts_with("\0\0\0\x0cjP  \r\n\x87\n"sv) || head.starts_with("\xff\x4f\xff\x51");
}

bool HoldsJpegXl(std::string_view head) {
  return head.starts_with("\0\0\0\x0cJXL \r\n\x87\n"sv) || head.starts_with("\xff\x0a");
}

// HEIC and AVIF, by the brand of the file.
bool HoldsHeif(std::string_view head) {
  constexpr std::array brands = {"heic"sv, "heix"sv, "heim"sv, "heis"sv, "hevc"sv,
                                 "hevm"sv, "hevs"sv, "mif1"sv, "msf1"sv, "avif"sv};
  return head.size() >= 12 && head.substr(4, 4) == "ftyp" &&
         std::find(brands.begin(), brands.end(), head.substr(8, 4)) != brands.end();
}

bool HoldsGif(std::string_view head) { return head.starts_with("GIF87a") || head.starts_with("GIF89a"); }

bool HoldsPdf(std::string_view head) { return head.starts_with("%PDF-"); }

} // namespace

const std::vector<Format>& Formats() {
  static const std::vector<Format> formats = {
      {"tiff", "tiffload", "VipsForeignLoadTiff", {".tif", ".tiff"}, HoldsTiff},
      {"png", "pngload", "VipsForeignLoadPng", {".png"}, HoldsPng},
      {"jpeg", "jpegload", "VipsForeignLoadJpeg", {".jpg", ".jpeg", ".jpe"}, HoldsJpeg},
      {"webp", "webpload", "VipsForeignLoadWebp", {".webp"}, HoldsWebp},
      {"pnm", "ppmload", "VipsForeignLoadPpm", {".pnm", ".ppm", ".pgm"}, HoldsPnm},
  };
  return formats;
}

const std::vector<Format>& FormatsOnDemand() {
  static const std::vector<Format> formats = {
      {"jp2", "jp2kload", "VipsForeignLoadJp2k", {".jp2", ".j2k", ".jpc", ".j2c", ".jpt"}, HoldsJpeg2000},
      {"jxl", "jxlload", "VipsForeignLoadJxl", {".jxl"}, HoldsJpegXl},
      {"heif", "heifload", "VipsForeignLoadHeif", {".heic", ".heif", ".avif"}, HoldsHeif},
      {"gif", "gifload", "VipsForeignLoadNsgif", {".gif"}, HoldsGif},
      {"pdf", "pdfload", "VipsForeignLoadPdf", {".pdf"}, HoldsPdf},
  };
  return formats;
}

const Format* FormatOfName(const std::string& name) { return Find(Formats(), HasExtensionOf(name)); }

const Format* AnyFormatOfName(const std::string& name) { return FindInAll(HasExtensionOf(name)); }

const Format* FormatOfContent(std::string_view head) {
  return FindInAll([&](const Format& format) { return format.holds(head); });
}

bool IsOnDemand(const Format& format) {
  const std::vector<Format>& formats = FormatsOnDemand();
  return &format >= formats.data() && &format < formats.data() + formats.size();
}

std::vector<const Format*> ParseFormatsOnDemand(const std::string& text) {
  std::vector<const Format*> asked;
  for (size_t begin = 0; begin <= text.size();) {
    const size_t end = std::min(text.find(',', begin), text.size());
    const std::string name = text.substr(begin, end - begin);
    const Format* format = Find(FormatsOnDemand(), [&](const Format& each) { return each.name == name; });
    if (format == nullptr) {
      std::vector<std::string> names;
      for (const Format& each : FormatsOnDemand()) names.emplace_back(each.name);
      throw UsageError(ExpectedOneOf(name, names) +
                       (NearestWord(name, names).empty() ? ", or several with commas between" : ""));
    }
    asked.push_back(format);
    begin = end + 1;
  }
  return asked;
}

NameWithOptions SplitOptions(const std::string& text) {
  const size_t open = text.rfind('[');
  std::error_code ignored;
  if (!text.ends_with(']') || open == std::string::npos || open == 0 || std::filesystem::exists(text, ignored)) {
    return {text, ""};
  }
  return {text.substr(0, open), text.substr(open)};
}

bool HasOption(const std::string& options, const std::string& key) {
  // Keys stand between a bracket or comma and a comma, bracket or '='. libvips takes '_' for '-', and blanks around.
  std::string keys;
  for (const char c : options) {
    if (c != ' ') keys += c == '_' ? '-' : c == '[' || c == ']' || c == '=' ? ',' : c;
  }
  return keys.find(std::string(",").append(key).append(",")) != std::string::npos;
}

std::string JoinOptions(const std::vector<std::pair<std::string, std::string>>& own, const std::string& user) {
  const std::string given = user.empty() ? "" : user.substr(1, user.size() - 2);
  std::string joined;
  for (const auto& [key, value] : own) {
    if (!HasOption(user, key)) joined += (joined.empty() ? "" : ",") + key + "=" + value;
  }
  if (!given.empty()) joined += (joined.empty() ? "" : ",") + given;
  return "[" + joined + "]";
}
