#include "scan.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>

#include "failure.h"

namespace {

FileState CheckFile(const std::string& path) {
  struct stat file = {};
  if (::stat(path.c_str(), &file) != 0) throw Failure(std::strerror(errno));
  if (S_ISDIR(file.st_mode)) throw Failure("is a folder; -r takes the scans in it");
  if (!S_ISREG(file.st_mode)) throw Failure("is no regular file");
  if (file.st_size == 0) throw Failure("is empty");
  if (!std::ifstream(path, std::ios::binary)) throw Failure(std::strerror(errno));
  return StateOf(file);
}

// "II" or "MM", then 42, or 43 for BigTIFF.
bool LooksLikeTiff(const std::string& path) {
  std::array<char, 4> head = {};
  std::ifstream(path, std::ios::binary).read(head.data(), head.size());
  const bool little = head[0] == 'I' && head[1] == 'I' && (head[2] == 42 || head[2] == 43) && head[3] == 0;
  const bool big = head[0] == 'M' && head[1] == 'M' && head[2] == 0 && (head[3] == 42 || head[3] == 43);
  return little || big;
}

// libvips takes a PNM file of no width or height for one of a single pixel.
bool IsEmptyPnm(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  file.ignore(2);
  int64_t size[2] = {1, 1};
  for (int64_t& side : size) {
    while ((file >> std::ws).peek() == '#') file.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    file >> side;
  }
  return file && (size[0] == 0 || size[1] == 0);
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

void CheckMode(const vips::VImage& image) {
  const VipsInterpretation space = image.interpretation();
  if (space == VIPS_INTERPRETATION_CMYK) throw Failure("is a CMYK picture; convert it to RGB first");
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
    if (!line.empty() && reason.find(line) == std::string::npos) reason += (reason.empty() ? "" : "; ") + line;
    begin = end + 1;
  }
  return reason.empty() ? "unknown error of the image library" : reason;
}

Scan::Scan(const std::string& name) {
  const NameWithOptions parts = SplitOptions(name);
  m_path = parts.name;
  m_options = parts.options;
  m_file = CheckFile(m_path);
  const char* loader = vips_foreign_find_load(m_path.c_str());
  vips_error_clear();
  if (LooksLikeTiff(m_path))
    m_layouts = ReadTiffLayouts(m_path); // says what is wrong with a damaged one better than a guess at its format
  if (loader == nullptr || (IsTiff() && !std::string(loader).starts_with("VipsForeignLoadTiff")))
    throw Failure("is no image that can be read");
  m_loader = vips_nickname_find(g_type_from_name(loader));
  // Tables of numbers and text are images to libvips; to nobody else.
  if (m_loader.starts_with("csv") || m_loader.starts_with("matrix")) throw Failure("is no image that can be read");
  if (m_loader.starts_with("ppm") && IsEmptyPnm(m_path)) throw Failure("has no pixels");
  const size_t page = m_options.find("page=");
  const bool onePage = page != std::string::npos;
  try {
    const vips::VImage header = Load({{"access", "sequential"}});
    if (onePage) {
      const char* digits = m_options.c_str() + page + 5;
      const size_t length = std::strspn(digits, "0123456789");
      if (length == 0 || length > 6 || std::strchr(",]", digits[length]) == nullptr) {
        throw Failure(m_options + ": page= takes the number of a page, from 0");
      }
      m_firstPage = std::atoi(digits);
    } else if (header.get_typeof(VIPS_META_N_PAGES) != 0) {
      m_pages = std::max(1, header.get_int(VIPS_META_N_PAGES));
    }
  } catch (const vips::VError& error) {
    throw Failure(LibraryReason(error));
  }
  if (IsTiff()) m_pages = onePage ? 1 : static_cast<int>(m_layouts.size());
}

void Scan::CheckUnchanged() const {
  if (StateOf(m_path) != m_file) throw Failure("was changed while it was read");
}

vips::VImage Scan::Head(int page) const {
  std::vector<std::pair<std::string, std::string>> options = {{"access", "sequential"}, {"fail-on", "error"}};
  if (IsTiff()) options.emplace_back("page", std::to_string(FilePage(page)));
  const vips::VImage image = Load(options);
  CheckMode(image);
  return image;
}

vips::VImage Scan::Open(int page) const {
  vips::VImage image = Head(page);
  TakeResolutionFromExif(image);
  return image;
}

vips::VImage Scan::Load(const std::vector<std::pair<std::string, std::string>>& options) const {
  // By the loader that is known: new_from_file would open the file once for each that there is.
  vips::VImage image;
  vips::VImage::call_option_string(m_loader.c_str(), JoinOptions(options, m_options).c_str(),
                                   vips::VImage::option()->set("filename", m_path.c_str())->set("out", &image));
  return image;
}
