// Chunks of PNG passed from file to file, and the unit of a JPEG's EXIF set to none.
#include "saving/carried.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string_view>

#include "opening/png_chunks.h"

namespace {

bool Is(const Scan& scan, std::string_view format) {
  return scan.FileFormat() != nullptr && scan.FileFormat()->name == format;
}

// Numbers of TIFF in one of its two byte orders, as far as they lie within the bytes.
class TiffNumbers {
 public:
  TiffNumbers(std::string& bytes, size_t begin) : m_bytes(bytes), m_begin(begin), m_little(bytes[begin] == 'I') {}

  uint32_t Get(size_t at, size_t size) const {
    uint32_t value = 0;
    for (size_t i = 0; Holds(at, size) && i < size; i++)
      value = value << 8 | static_cast<uint8_t>(m_bytes[Byte(at, size, i)]);
    return value;
  }
  void Set(size_t at, size_t size, uint32_t value) {
    for (size_t i = size; Holds(at, size) && i > 0; i--, value >>= 8)
      m_bytes[Byte(at, size, i - 1)] = static_cast<char>(value);
  }

 private:
  bool Holds(size_t at, size_t size) const { return at + size <= m_bytes.size() - m_begin; }
  // Of a number's bytes the i-th from the highest.
  size_t Byte(size_t at, size_t size, size_t i) const { return m_begin + at + (m_little ? size - 1 - i : i); }

  std::string& m_bytes;
  size_t m_begin;
  bool m_little;
};

// In the TIFF that EXIF is and that begins there.
void TakeUnit(std::string& exif, size_t begin) {
  TiffNumbers numbers(exif, begin);
  const size_t directory = numbers.Get(4, 4);
  for (size_t entry = directory + 2, left = numbers.Get(directory, 2); left > 0; entry += 12, left--) {
    const uint32_t tag = numbers.Get(entry, 2);
    if (tag == 0x128) numbers.Set(entry + 8, 2, 1); // ResolutionUnit: none
    if (tag != 0x11A && tag != 0x11B) continue;     // XResolution, YResolution: a ratio
    numbers.Set(numbers.Get(entry + 8, 4), 4, 1);
    numbers.Set(numbers.Get(entry + 8, 4) + 4, 4, 1);
  }
}

std::string ReadPart(PendingFile& file, int64_t at, size_t size) {
  std::string bytes(size, '\0');
  file.Seek(at, SEEK_SET);
  bytes.resize(static_cast<size_t>(std::max<int64_t>(0, file.Read(bytes.data(), bytes.size()))));
  return bytes;
}

} // namespace

std::string PngChunkOf(const Scan& scan, const PngChunkKind& kind) {
  if (!Is(scan, "png")) return "";
  std::ifstream file(scan.Path(), std::ios::binary);
  int64_t found = -1;
  WalkPngHead(file, [&](const std::string& chunk, int64_t position, int64_t bytes) {
    if (chunk == kind.name && bytes == kind.size) found = position;
  });
  if (found < 0) return "";
  std::string whole(static_cast<size_t>(12 + kind.size), '\0');
  file.clear();
  file.seekg(found);
  file.read(whole.data(), static_cast<std::streamsize>(whole.size()));
  return whole;
}

bool HasResolution(const vips::VImage& image, const Scan& scan, const std::string& phys) {
  const std::string_view format = scan.Content().name;
  const bool exif = image.get_typeof("exif-ifd0-XResolution") != 0;
  if (format == "pdf") return true;                                     // as it is drawn
  if (format == "png") return exif || (!phys.empty() && phys[16] == 1); // in metres
  const bool told = image.get_typeof(VIPS_META_RESOLUTION_UNIT) != 0;
  return told || (exif && format != "jpeg"); // without a unit EXIF's is that of none
}

bool PngHead::Add(const void* bytes, size_t size) {
  m_behind.append(static_cast<const char*>(bytes), size);
  std::istringstream stream(m_behind);
  std::string head = m_behind.substr(0, 8);
  const int64_t pixels = WalkPngHead(stream, [&](const std::string& chunk, int64_t position, int64_t data) {
    if (chunk == kPhys.name && !m_sized) return;
    head.append(m_behind, static_cast<size_t>(position), static_cast<size_t>(12 + data));
    if (chunk == "IHDR") head += m_chunks;
  });
  if (pixels < 0) return false; // not there yet
  m_head = std::move(head);
  m_behind.erase(0, static_cast<size_t>(pixels));
  m_whole = true;
  return true;
}

void TakeUnitFromJpeg(PendingFile& file) {
  constexpr size_t kBegin = 12; // of the TIFF that EXIF is, behind markers, length and name
  std::string head = ReadPart(file, 0, 4 + 65536);
  if (head.size() <= kBegin || head.compare(0, 4, "\xFF\xD8\xFF\xE1") != 0 || head.compare(6, 4, "Exif") != 0) return;
  TakeUnit(head, kBegin);
  file.Seek(0, SEEK_SET);
  file.Write(head.data(), head.size());
}

void TakeUnitFromWebp(PendingFile& file) {
  const auto end = static_cast<int64_t>(file.Size());
  for (int64_t at = 12; at + 8 <= end;) { // behind "RIFF", size, "WEBP"
    std::string head = ReadPart(file, at, 8);
    TiffNumbers numbers(head = "II" + head, 0); // as its length is stored
    const int64_t size = numbers.Get(6, 4);
    if (head.compare(2, 4, "EXIF") == 0 && size <= end - at - 8) {
      constexpr size_t kName = 6;
      std::string exif = ReadPart(file, at + 8, static_cast<size_t>(size));
      if (exif.size() <= kName || exif.compare(0, 4, "Exif") != 0) return;
      TakeUnit(exif, kName);
      file.Seek(at + 8, SEEK_SET);
      file.Write(exif.data(), exif.size());
      return;
    }
    at += 8 + size + size % 2;
  }
}
