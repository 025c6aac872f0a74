// Checks of a file before libvips sees it, and of each page before it is decoded.
#include "opening/scan.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <webp/decode.h>

#include "failure.h"
#include "files/output.h"
#include "log.h"
#include "opening/blobs.h"
#include "opening/boxes.h"
#include "opening/image_library.h"
#include "opening/png_chunks.h"
#include "opening/tiff_page_stream.h"
#include "opening/to_rgb.h"

namespace {

// Bytes that decoding WebP takes, for each pixel.
constexpr int64_t kWebpPixel = 8;

// JPEG 2000 in TIFF as microscopes write it: this and the next two codes.
constexpr uint16_t kAperioJpeg2000 = 33003;

FileState CheckFile(const std::string& path) {
  struct stat file = {};
  if (::stat(path.c_str(), &file) != 0) throw Failure(std::strerror(errno), Cause::kUnreadable);
  if (S_ISDIR(file.st_mode)) throw Failure("is a folder; -r takes the scans in it", Cause::kUnreadable);
  if (!S_ISREG(file.st_mode)) throw Failure("is no regular file", Cause::kUnreadable);
  if (file.st_size == 0) throw Failure("is empty", Cause::kUnreadable);
  if (!std::ifstream(path, std::ios::binary)) throw Failure(std::strerror(errno), Cause::kUnreadable);
  return StateOf(file);
}

std::string HeadOf(const std::string& path, size_t size) {
  std::string head(size, '\0');
  std::ifstream file(path, std::ios::binary);
  file.read(head.data(), static_cast<std::streamsize>(size));
  head.resize(static_cast<size_t>(file.gcount()));
  return head;
}

// The number in "[page=3]".
int PageOption(const std::string& options) {
  const char* digits = options.c_str() + options.find("page=") + 5;
  const size_t length = std::strspn(digits, "0123456789");
  if (options.find("page=") == std::string::npos || length == 0 || length > 6 ||
      std::strchr(",]", digits[length]) == nullptr) {
    throw Failure(options + ": page= takes the number of a page, from 0");
  }
  return std::atoi(digits);
}

// Some loaders leave the resolution in EXIF alone, from where savers would replace it by a default.
void TakeResolutionFromExif(vips::VImage& image) {
  if (image.xres() != 1.0 || image.yres() != 1.0) return;
  const auto number = [&](const char* field) {
    int over = 0;
    int under = 0;
    const bool there = image.get_typeof(field) != 0;
    const bool read = there && std::sscanf(image.get_string(field), "%d/%d", &over, &under) == 2 && under > 0;
    return read ? static_cast<double>(over) / under : 0;
  };
  const double x = number("exif-ifd0-XResolution");
  const double y = number("exif-ifd0-YResolution");
  if (x <= 0 || y <= 0) return;
  const bool centimetres =
      image.get_typeof("exif-ifd0-ResolutionUnit") != 0 && image.get_string("exif-ifd0-ResolutionUnit")[0] == '3';
  const double perMillimetre = centimetres ? 10 : 25.4;
  image = image.copy(vips::VImage::option()->set("xres", x / perMillimetre)->set("yres", y / perMillimetre));
}

// What the loader of HEIF hands out ends with the image that it loads, which pages in memory outlive. It has XMP as one
// of the file's items, unnamed.
void OwnWhatHeifTells(vips::VImage& image) {
  for (const char* name : {VIPS_META_ICC_NAME, VIPS_META_EXIF_NAME}) {
    if (const std::string bytes = BlobOf(image, name); !bytes.empty()) SetBlob(image, name, bytes);
  }
  constexpr int kItems = 8; // that are looked at
  for (int i = 0; i < kItems; i++) {
    const std::string name = "heif-mime-" + std::to_string(i), item = BlobOf(image, name.c_str());
    if (item.find("<x:xmpmeta") != std::string::npos) SetBlob(image, VIPS_META_XMP_NAME, item);
    if (!item.empty()) image.remove(name.c_str());
  }
  vips_autorot_remove_angle(image.get_image()); // libheif has turned it as the file wants
}

void CheckMode(const vips::VImage& image) {
  const VipsInterpretation space = image.interpretation();
  const bool deep = image.format() == VIPS_FORMAT_USHORT;
  const bool levels = deep || image.format() == VIPS_FORMAT_UCHAR;
  const bool colours = space == VIPS_INTERPRETATION_sRGB || space == VIPS_INTERPRETATION_RGB ||
                       space == VIPS_INTERPRETATION_RGB16 || space == VIPS_INTERPRETATION_B_W ||
                       space == VIPS_INTERPRETATION_GREY16 || space == VIPS_INTERPRETATION_MULTIBAND;
  if (!levels || !colours) {
    throw Failure(std::string("holds ") + vips_enum_nick(VIPS_TYPE_BAND_FORMAT, image.format()) + " values (" +
                  vips_enum_nick(VIPS_TYPE_INTERPRETATION, space) +
                  "); the correction is for RGB and gray of 8 or 16 bits");
  }
}

} // namespace

std::string LibraryReason(const vips::VError& error) {
  std::string reason;
  std::string text = error.what();
  vips_error_clear();
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find('\n', begin), text.size());
    const std::string line = text.substr(begin, end - begin);
    if (line.starts_with(kOwnReason)) return line.substr(kOwnReason.size()); // what others add is no more than that
    if (!line.empty() && reason.find(line) == std::string::npos) reason += (reason.empty() ? "" : "; ") + line;
    begin = end + 1;
  }
  // libpng's reasons come as warnings.
  const std::string told = TakeLibraryWarnings();
  if (!told.empty() && (reason.empty() || reason.ends_with("libpng read error"))) {
    reason += (reason.empty() ? "" : ", ") + told;
  }
  return reason.empty() ? "unknown error of the image library" : reason;
}

Scan::Scan(const std::string& name, const Admission& admission) : m_admission(admission) {
  // Decoders complain of scans that come out well, and the next one is not to blame.
  vips_error_clear();
  TakeLibraryWarnings();
  const MemoryBound bound(admission);
  const NameWithOptions parts = SplitOptions(name == "-" ? SpoolStandardInput() : name);
  m_path = parts.name;
  m_options = parts.options;
  m_file = CheckFile(m_path);
  m_format = FormatOfContent(HeadOf(m_path, kFormatHead));
  if (m_format == nullptr) {
    throw Failure("is no image that can be read: no TIFF, PNG, JPEG, WebP or PNM by its content", Cause::kUnreadable);
  }
  const std::string content(m_format->name);
  if (IsOnDemand(*m_format)) {
    if (!admission.AlsoReads(content)) {
      throw Failure("is a " + content + " file by its content; --also-read " + content + " opens it");
    }
    const Format* byName = AnyFormatOfName(m_path);
    if (byName != nullptr && byName != m_format) {
      throw Failure("is a " + content + " file by its content, though its name says " + std::string(byName->name) +
                    "; rename it");
    }
  }
  LoadModulesFor(*m_format, admission);
  for (const char* key : {"filename", "source"}) {
    if (HasOption(m_options, key)) throw Failure(m_options + ": " + key + " is no option for a scan");
  }
  const bool onePage = HasOption(m_options, "page");
  if (onePage) m_firstPage = PageOption(m_options);
  try {
    if (content == "tiff") {
      m_layouts = ReadTiffLayouts(m_path);
      const auto count = static_cast<int>(m_layouts.size());
      if (m_firstPage >= count) throw Failure("does not contain page " + std::to_string(m_firstPage));
      m_pages = onePage ? 1 : count;
      return;
    }
    if (content == "png") CheckPng();
    if (content == "webp") CheckWebp();
    if (content == "pnm" && std::toupper(HeadOf(m_path, 2).back()) != 'F') {
      m_pnm = ReadPnmHead(m_path);
      CheckPixels(m_admission, m_pnm.width, m_pnm.height);
      CheckPnmLength(m_path, m_pnm);
    }
    const vips::VImage header = Load(0, {{"access", "sequential"}});
    const bool levels = content == "jp2"; // of resolution: libvips calls them pages
    if (!onePage && !levels && header.get_typeof(VIPS_META_N_PAGES) != 0) {
      m_pages = std::max(1, header.get_int(VIPS_META_N_PAGES));
    }
  } catch (const vips::VError& error) {
    throw Failure(LibraryReason(error), Cause::kUnreadable);
  }
}

// libpng unpacks texts and profile when the head is read, and keeps more than one copy.
void Scan::CheckPng() const {
  constexpr int64_t kMostOfOne = 50 << 20; // bytes, as libvips allows
  constexpr int64_t kMostPacking = 1032;   // times, of deflate
  std::ifstream file(m_path, std::ios::binary);
  int64_t unpacked = 0;
  WalkPngHead(file, [&](const std::string& name, int64_t, int64_t size) {
    if (name == "zTXt" || name == "iTXt" || name == "iCCP") unpacked += std::min(kMostOfOne, kMostPacking * size);
  });
  CheckMemory(m_admission, "a PNG with packed texts", 2 * unpacked);
}

// libvips makes room for a picture when it reads the head.
void Scan::CheckWebp() const {
  const std::string head = HeadOf(m_path, 64);
  WebPBitstreamFeatures features = {};
  WebPGetFeatures(reinterpret_cast<const uint8_t*>(head.data()), head.size(), &features); // may want more: has the size
  CheckPixels(m_admission, features.width, features.height);
  CheckMemory(m_admission, "a WebP file", int64_t{features.width} * features.height * kWebpPixel);
}

// libvips decodes one compression by another library than libtiff.
void Scan::CheckTiffPage(const TiffLayout& layout) const {
  CheckPixels(m_admission, layout.width, layout.height);
  const bool jpeg2000 = layout.compression >= kAperioJpeg2000 && layout.compression <= kAperioJpeg2000 + 2;
  if (jpeg2000 && !m_admission.AlsoReads("jp2")) throw Failure("holds JPEG 2000; --also-read jp2 opens it");
}

// Bounds the memory of decoders that hold more than a few lines. How much they hold was measured.
void Scan::CheckDecoder(const vips::VImage& header, int page) const {
  CheckPixels(m_admission, header.width(), header.height());
  const int64_t pixels = int64_t{header.width()} * header.height();
  const auto pixel = static_cast<int64_t>(VIPS_IMAGE_SIZEOF_PEL(header.get_image())); // bytes
  const std::string_view name = m_format->name;
  if (name == "tiff") {
    // Rows of tiles, two of them; strips, decoded and sorted, but for large ones, which are read line by line.
    const TiffLayout& layout = Layout(page);
    const bool byLine = layout.rowsPerStrip > 128 && !layout.separatePlanes && !layout.luminanceChroma;
    const int64_t lines = layout.tiled ? layout.tileHeight : byLine ? 1 : layout.rowsPerStrip;
    CheckMemory(m_admission, "a TIFF page in large pieces", 2 * lines * header.width() * pixel);
  }
  const bool interlaced = header.get_typeof("interlaced") != 0;
  if (name == "png" && interlaced) CheckMemory(m_admission, "an interlaced PNG", pixels * pixel);
  // Coefficients of 16 bits.
  if (name == "jpeg" && interlaced) CheckMemory(m_admission, "a progressive JPEG", pixels * header.bands() * 2);
  if (name == "webp") CheckMemory(m_admission, "a WebP file", pixels * kWebpPixel);
  if (name == "jp2") CheckMemory(m_admission, "a JPEG 2000 file", pixels * header.bands() * 4);
  if (name == "jxl") CheckMemory(m_admission, "a JPEG XL file", pixels * pixel * 3);
  if (name == "heif") CheckMemory(m_admission, "a HEIF file", pixels * pixel * 4);
  if (name == "gif") CheckMemory(m_admission, "a GIF file", pixels * 8);
}

void Scan::CheckUnchanged() const {
  if (StateOf(m_path) != m_file) throw Failure("was changed while it was read", Cause::kUnreadable);
  m_fault->Check();
}

vips::VImage Scan::Head(int page) const {
  const MemoryBound bound(m_admission);
  if (IsTiff()) CheckTiffPage(Layout(page));
  vips::VImage image = Load(page, {{"access", "sequential"}, {"fail-on", "error"}});
  CheckDecoder(image, page);
  image = ToRgb(image, IsTiff() ? Layout(page).bitsPerSample : image.format() == VIPS_FORMAT_USHORT ? 16 : 8);
  // Drawn on white, so that nothing shines through.
  if (m_format->name == "pdf" && image.bands() == 4) image = image.extract_band(0, vips::VImage::option()->set("n", 3));
  CheckMode(image);
  if (m_format->name == "jp2" || m_format->name == "jxl") AddWhatBoxesTell(image, m_path);
  if (m_format->name == "heif") OwnWhatHeifTells(image);
  return image;
}

vips::VImage Scan::Open(int page) const {
  vips::VImage image = Head(page);
  TakeResolutionFromExif(image);
  return image;
}

vips::VImage Scan::Load(int page, Options options) const {
  if (m_pnm.kind != 0 && m_pnm.IsText()) return LoadStream(OpenPnmText(m_path, m_pnm), options);
  if (IsTiff()) {
    // libvips counts the pages whenever it opens a file.
    const bool alone = m_layouts.size() > 1 && !HasOption(m_options, "page") && !HasOption(m_options, "n");
    if (alone) return LoadStream(OpenTiffPage(m_path, Place(page)), options);
    options.emplace_back("page", std::to_string(FilePage(page)));
  } else if (m_pages > 1) {
    options.emplace_back("page", std::to_string(page));
  }
  if (m_format->name == "pdf") options.emplace_back("dpi", std::to_string(m_admission.pdfDpi));
  // The loader is known: new_from_file would let every loader look at the file.
  vips::VImage image;
  vips::VImage::call_option_string(std::string(m_format->loader).c_str(), JoinOptions(options, m_options).c_str(),
                                   vips::VImage::option()->set("filename", m_path.c_str())->set("out", &image));
  return image;
}

vips::VImage Scan::LoadStream(std::unique_ptr<ByteStream> stream, const Options& options) const {
  vips::VImage image;
  vips::VImage::call_option_string(
      (std::string(m_format->loader) + "_source").c_str(), JoinOptions(options, m_options).c_str(),
      vips::VImage::option()->set("source", ToSource(std::move(stream), m_fault))->set("out", &image));
  return image;
}
