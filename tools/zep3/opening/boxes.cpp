// Every length is checked against the file's; boxes of more than some megabytes hold no words.
#include "opening/boxes.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <functional>
#include <string_view>

#include "opening/big_endian.h"
#include "opening/blobs.h"
#include "opening/exif_fields.h"

namespace {

using namespace std::string_view_literals;

constexpr int64_t kMostBytes = 16 << 20; // of a box that is read

using Take = std::function<void(const std::string& type, const std::string& data)>;

// The boxes of a file, of which others are passed over. Ends where a length leads out of the file.
void WalkFile(const std::string& path, const Take& take) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  const auto end = static_cast<int64_t>(file.tellg());
  for (int64_t at = 0; at + 8 <= end;) {
    std::string head(16, '\0');
    file.clear();
    file.seekg(at);
    file.read(head.data(), 16);
    const std::string type = head.substr(4, 4);
    auto length = static_cast<int64_t>(BigEndian(head, 0, 4));
    const int64_t before = length == 1 ? 16 : 8;
    if (length == 1) length = static_cast<int64_t>(std::min<uint64_t>(BigEndian(head, 8, 8), INT64_MAX));
    if (length == 0) length = end - at; // the last one
    if (length < before || length > end - at) return;
    const bool read = type == "jp2h" || type == "uuid" || type == "Exif" || type == "xml " || type == "brob";
    if (read && length <= kMostBytes) {
      std::string data(static_cast<size_t>(length - before), '\0');
      file.clear();
      file.seekg(at + before);
      file.read(data.data(), static_cast<std::streamsize>(data.size()));
      if (!file) return;
      take(type, data);
    }
    at += length;
  }
}

// The boxes within a box.
void Walk(std::string_view boxes, const Take& take) {
  for (size_t at = 0; at + 8 <= boxes.size();) {
    const uint64_t length = BigEndian(boxes, at, 4);
    if (length < 8 || length > boxes.size() - at) return;
    take(std::string(boxes.substr(at + 4, 4)), std::string(boxes.substr(at + 8, length - 8)));
    at += length;
  }
}

// Points per metre, down and across: each a ratio and a power of ten.
void TakeResolution(vips::VImage& image, std::string_view data) {
  if (data.size() < 10) return;
  const auto number = [&](size_t at, size_t power) {
    const auto under = static_cast<double>(BigEndian(data, at + 2, 2));
    const auto exponent = static_cast<int8_t>(data[power]);
    return under == 0 ? 0 : static_cast<double>(BigEndian(data, at, 2)) / under * std::pow(10.0, exponent) / 1000;
  };
  const double down = number(0, 8), across = number(4, 9);
  if (!(down > 0) || !(across > 0) || down > 1e6 || across > 1e6) return;
  image = image.copy(vips::VImage::option()->set("xres", across)->set("yres", down));
  image.set(VIPS_META_RESOLUTION_UNIT, "in");
}

void TakeHead(vips::VImage& image, const std::string& data) {
  Walk(data, [&](const std::string& type, const std::string& inner) {
    constexpr char kIccRestricted = 2, kIcc = 3;
    if (type == "colr" && inner.size() > 3 && (inner[0] == kIccRestricted || inner[0] == kIcc))
      SetBlob(image, VIPS_META_ICC_NAME, inner.substr(3)); // behind method, precedence and approximation
    if (type != "res ") return;
    // Of the capture; of the display where there is no other.
    for (const char* which : {"resd", "resc"}) {
      Walk(inner, [&](const std::string& kind, const std::string& numbers) {
        if (kind == which) TakeResolution(image, numbers);
      });
    }
  });
}

} // namespace

void AddWhatBoxesTell(vips::VImage& image, const std::string& path) {
  constexpr auto kExif = "JpgTiffExif->JP2"sv;
  constexpr auto kIptc = "\x33\xC7\xA4\xD2\xB8\x1D\x47\x23\xA0\xBA\xF1\xA3\xE0\x97\xAD\x38"sv;
  constexpr auto kXmp = "\xBE\x7A\xCF\xCB\x97\xA9\x42\xE8\x9C\x71\x99\x94\x91\xE3\xAF\xAC"sv;
  std::string exif, unread;
  const auto miss = [&](const char* what) {
    if (unread.find(what) == std::string::npos) unread.append(unread.empty() ? "" : ", ").append(what);
  };
  bool turns = false; // in JPEG XL the stream says how the picture is turned
  WalkFile(path, [&](const std::string& type, const std::string& data) {
    const std::string rest = data.substr(std::min<size_t>(16, data.size()));
    if (type == "jp2h") TakeHead(image, data);
    turns = turns || type == "jp2h";
    if (type == "Exif" || (type == "uuid" && data.starts_with(kExif))) exif = type == "Exif" ? data : rest;
    if (type == "uuid" && data.starts_with(kIptc)) SetBlob(image, VIPS_META_IPTC_NAME, rest);
    if (type == "uuid" && data.starts_with(kXmp)) SetBlob(image, VIPS_META_XMP_NAME, rest);
    if (type == "xml " && data.find("<x:xmpmeta") != std::string::npos) SetBlob(image, VIPS_META_XMP_NAME, data);
    // Compressed: the type of the box comes first.
    if (type == "brob" && data.starts_with("Exif")) miss("EXIF");
    if (type == "brob" && data.starts_with("xml ")) miss("XMP");
  });
  if (const std::string bare = BareExif(exif); !bare.empty() && !SetExif(image, bare, turns)) miss("EXIF");
  if (unread.empty()) return;
  image = image.copy();
  image.set(kUnreadField, unread.c_str());
}
