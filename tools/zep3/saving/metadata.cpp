// EXIF, IPTC and texts have another form in each format.
#include "saving/metadata.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <fstream>
#include <memory>
#include <string_view>

#include "failure.h"
#include "opening/big_endian.h"
#include "opening/blobs.h"
#include "opening/boxes.h"
#include "opening/exif_fields.h"
#include "tiff/tiff_pages.h"

namespace {

using namespace std::string_view_literals;

// ---- IPTC: bare in TIFF, a resource among others in JPEG ----

constexpr auto kResources = "Photoshop 3.0\0"sv;
constexpr auto kIptcResource = "8BIM\x04\x04"sv;

// Resources are a mark, a number, a name of even length with its own, the length of the data, and the data, padded.
std::string BareIptc(const std::string& blob) {
  if (!blob.starts_with(kResources)) return blob;
  for (size_t at = kResources.size(); at + 12 <= blob.size();) {
    const size_t data = at + 6 + (static_cast<uint8_t>(blob[at + 6]) + 2U) / 2 * 2 + 4;
    if (data > blob.size()) break;
    const uint64_t size = BigEndian(blob, data - 4, 4);
    if (size > blob.size() - data) break;
    if (blob.compare(at, kIptcResource.size(), kIptcResource) == 0) return blob.substr(data, size);
    at = data + (size + 1) / 2 * 2;
  }
  return "";
}

std::string AsResource(const std::string& iptc) {
  std::string block = std::string(kResources).append(kIptcResource).append(2, '\0');
  for (int shift = 24; shift >= 0; shift -= 8) block += static_cast<char>(iptc.size() >> shift & 0xFF);
  return block.append(iptc).append(iptc.size() % 2, '\0');
}

// ---- words of the scan's file that the image library does not read ----

bool HasJpegComment(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  file.ignore(2);
  for (std::array<unsigned char, 4> marker = {}; file.read(reinterpret_cast<char*>(marker.data()), 4);) {
    constexpr unsigned kComment = 0xFE, kScanBegins = 0xDA;
    if (marker[0] != 0xFF || marker[1] == kScanBegins) return false;
    if (marker[1] == kComment) return true;
    file.ignore((marker[2] << 8 | marker[3]) - 2);
  }
  return false;
}

// The extensions of a GIF (GIF89a, 23 to 26): a label and blocks, each behind its length, the last one empty.
std::vector<std::string> UnreadOfGif(const std::string& path) {
  constexpr int kPicture = 0x2C, kExtension = 0x21, kComment = 0xFE, kApplication = 0xFF;
  constexpr unsigned kHasColours = 0x80;
  std::ifstream file(path, std::ios::binary);
  const auto skipColours = [&](int flags) {
    const auto bits = static_cast<unsigned>(flags);
    if ((bits & kHasColours) != 0) file.ignore(3 << ((bits & 7) + 1));
  };
  const auto block = [&] {
    std::string data(static_cast<size_t>(std::max(0, file.get())), '\0');
    file.read(data.data(), static_cast<std::streamsize>(data.size()));
    return data;
  };
  std::vector<std::string> found;
  file.ignore(10); // name and size
  const int flags = file.get();
  file.ignore(2);
  skipColours(flags);
  for (int kind = file.get(); kind == kPicture || kind == kExtension; kind = file.get()) {
    const int label = kind == kExtension ? file.get() : 0;
    if (kind == kPicture) {
      file.ignore(8); // place and size
      skipColours(file.get());
      file.ignore(1);
    }
    std::string data = block();
    if (label == kComment) found.emplace_back("text");
    if (label == kApplication && data == "ICCRGBG1012") found.emplace_back("profile");
    if (label == kApplication && data == "XMP DataXMP") found.emplace_back("XMP");
    while (!data.empty() && file) data = block();
  }
  return found;
}

bool HasField(const vips::VImage& image, std::string_view begin) {
  const std::unique_ptr<char*, decltype(&g_strfreev)> fields(vips_image_get_fields(image.get_image()), g_strfreev);
  for (char** field = fields.get(); *field != nullptr; ++field) {
    if (std::string_view(*field).starts_with(begin)) return true;
  }
  return false;
}

// A JPEG fits into itself; of others the image library leaves out what is too large for a segment.
bool IsTooLarge(const Passed& passed, const Scan& scan, std::string_view to, const char* field, size_t most) {
  return to == "jpeg" && scan.Content().name != "jpeg" && BlobOf(passed.image, field).size() > most;
}

void PassIptc(Passed& passed, const Scan& scan, std::string_view to) {
  const std::string blob = BlobOf(passed.image, VIPS_META_IPTC_NAME), iptc = BareIptc(blob);
  if (to == "tiff" && !scan.IsTiff() && !iptc.empty()) {
    passed.iptc = iptc;
    passed.image = passed.image.copy();
    passed.image.remove(VIPS_META_IPTC_NAME);
  } else if (IsTooLarge(passed, scan, to, VIPS_META_IPTC_NAME, kMostInSegment)) {
    passed.lost.emplace_back("IPTC");
  } else if (to == "jpeg" && !iptc.empty() && !blob.starts_with(kResources)) {
    SetBlob(passed.image, VIPS_META_IPTC_NAME, AsResource(iptc));
  } else if (to != "tiff" && to != "jpeg" && !iptc.empty()) {
    passed.lost.emplace_back("IPTC");
  }
}

void PassExif(Passed& passed, const Scan& scan, int page, std::string_view to) {
  const bool toTiff = to == "tiff";
  if (!scan.IsTiff()) {
    passed.exif = toTiff ? BareExif(BlobOf(passed.image, VIPS_META_EXIF_NAME)) : "";
    const bool none = to == "pnm" && passed.image.get_typeof(VIPS_META_EXIF_NAME) != 0;
    if (none || IsTooLarge(passed, scan, to, VIPS_META_EXIF_NAME, kMostInSegment)) passed.lost.emplace_back("EXIF");
    return;
  }
  if (toTiff) return;
  const std::string exif = ExifOfTiff(scan.Path(), scan.Place(page), passed.lost);
  if (exif.empty()) return;
  if (to == "pnm" || !SetExif(passed.image, exif, false)) passed.lost.emplace_back("EXIF");
}

void TellTexts(Passed& passed, const Scan& scan, std::string_view to) {
  const vips::VImage& image = passed.image;
  const std::string_view from = scan.Content().name;
  const bool text = (from == "png" && to != "png" && HasField(image, "png-comment")) ||
                    (from == "jpeg" && HasJpegComment(scan.Path()));
  if (text) passed.lost.emplace_back("text");
  if (from == "pdf" && HasField(image, "pdf-")) passed.lost.emplace_back("title and other words of the document");
  if (from != "gif") return;
  for (const std::string& what : UnreadOfGif(scan.Path())) passed.lost.push_back(what);
}

} // namespace

Passed PassMetadata(const vips::VImage& image, const Scan& scan, int page, const Format& format, bool sized,
                    bool strip) {
  const std::string_view to = format.name;
  Passed passed = {image, "", "", {}};
  const int colours = image.bands() >= 3 ? 3 : 1;
  if ((to == "jpeg" || to == "pnm") && image.bands() > colours) passed.lost.emplace_back("transparency");
  if ((to == "jpeg" || to == "webp") && image.format() == VIPS_FORMAT_USHORT) passed.lost.emplace_back("8 of 16 bits");
  const bool turned = image.get_typeof(VIPS_META_ORIENTATION) != 0 && image.get_int(VIPS_META_ORIENTATION) > 1;
  if (to == "pnm" && turned) passed.lost.emplace_back("orientation");
  if (to == "pnm" && sized) passed.lost.emplace_back("resolution");
  if (to == "pnm" && image.get_typeof(VIPS_META_ICC_NAME) != 0) passed.lost.emplace_back("profile");
  if (strip) return passed;
  if (image.get_typeof(kUnreadField) != 0) passed.lost.emplace_back(image.get_string(kUnreadField));
  constexpr size_t kMostXmp = 60000; // bytes that the image library writes into JPEG
  if ((to == "pnm" && image.get_typeof(VIPS_META_XMP_NAME) != 0) ||
      IsTooLarge(passed, scan, to, VIPS_META_XMP_NAME, kMostXmp)) {
    passed.lost.emplace_back("XMP");
  }
  PassExif(passed, scan, page, to);
  PassIptc(passed, scan, to);
  if (page == 0) TellTexts(passed, scan, to); // of the whole file
  return passed;
}

std::string LostText(const std::vector<std::string>& lost, const Format& to) {
  std::string name(to.name), list;
  std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::toupper(c); });
  for (const std::string& what : lost) list += (list.empty() ? "" : ", ") + what;
  return "not passed on to the " + name + " file: " + list;
}
