// For each format, what the last bytes and the stored sizes must be.
#include "saving/check_whole.h"

#include <algorithm>
#include <sstream>
#include <string>

#include "failure.h"
#include "tiff/tiff_directory.h"
#include "tiff/tiff_handle.h"

namespace {

// Fewer where the file has not so many.
std::string ReadAt(PendingFile& file, uint64_t position, size_t size) {
  std::string bytes(size, 0);
  file.Seek(static_cast<int64_t>(position), SEEK_SET);
  bytes.resize(static_cast<size_t>(std::max<int64_t>(0, file.Read(bytes.data(), size))));
  return bytes;
}

std::string End(PendingFile& file, size_t size) {
  return file.Size() < size ? "" : ReadAt(file, file.Size() - size, size);
}

std::string MissingOfTiff(PendingFile& file) {
  const TiffHandle tiff(file, "rmc");
  for (unsigned page = 1;; page++) {
    const bool tiled = TIFFIsTiled(tiff) != 0;
    const uint32_t blocks = tiled ? TIFFNumberOfTiles(tiff) : TIFFNumberOfStrips(tiff);
    const bool copied = LayoutOf(tiff).IsBilevel(); // as it was, where strips may be left out
    for (uint32_t block = 0; block < blocks; block++) {
      const uint64_t offset = TIFFGetStrileOffset(tiff, block);
      const uint64_t bytes = TIFFGetStrileByteCount(tiff, block);
      if ((bytes > 0 || copied) && offset <= file.Size() && bytes <= file.Size() - offset) continue;
      return (tiled ? "tile " : "strip ") + std::to_string(block) + " of page " + std::to_string(page);
    }
    TaggedFile tags(tiff);
    for (const auto& [tag, entry] : tags.PageDirectory()) {
      if (!tags.Data(entry)) return "tag " + std::to_string(tag) + " of page " + std::to_string(page);
    }
    // libtiff takes the end of the file for the last page.
    if (tags.NextLink() + tags.OffsetBytes() > file.Size()) return "the end of page " + std::to_string(page);
    if (TIFFLastDirectory(tiff) != 0) return "";
    if (TIFFReadDirectory(tiff) == 0) return "page " + std::to_string(page + 1);
  }
}

std::string MissingOfWebp(PendingFile& file) {
  const std::string head = ReadAt(file, 0, 12);
  if (head.size() < 12 || head.compare(0, 4, "RIFF") != 0 || head.compare(8, 4, "WEBP") != 0) return "its head";
  uint64_t size = 0; // behind itself
  for (int i = 7; i >= 4; i--) size = size << 8 | static_cast<uint8_t>(head[static_cast<size_t>(i)]);
  return size + 8 <= file.Size() ? "" : "its end";
}

std::string MissingOfPnm(PendingFile& file) {
  const std::string head = ReadAt(file, 0, 1024);
  std::istringstream text(head);
  const auto number = [&] {
    while ((text >> std::ws).peek() == '#') text.ignore(1024, '\n');
    double value = 0;
    text >> value;
    return value;
  };
  const std::string kind{static_cast<char>(text.get()), static_cast<char>(text.get())};
  const double width = number();
  const double height = number();
  const double most = kind == "P4" ? 1 : number();
  if (!text) return "its head";
  double line = 0; // bytes
  if (kind == "P4") line = static_cast<double>((static_cast<int64_t>(width) + 7) / 8);
  if (kind == "P5") line = width * (most > 255 ? 2 : 1);
  if (kind == "P6") line = 3 * width * (most > 255 ? 2 : 1);
  const double begin = static_cast<double>(text.tellg()) + 1; // text, in other kinds, is of any length
  return begin + line * height <= static_cast<double>(file.Size()) ? "" : "its end";
}

std::string Missing(PendingFile& file, const Format& format) {
  using namespace std::string_literals;
  if (format.name == "tiff") return MissingOfTiff(file);
  if (format.name == "webp") return MissingOfWebp(file);
  if (format.name == "pnm") return MissingOfPnm(file);
  const std::string end = format.name == "png" ? "\0\0\0\0IEND\xAE\x42\x60\x82"s : "\xFF\xD9"s;
  return End(file, end.size()) == end ? "" : "its end";
}

} // namespace

void CheckWhole(PendingFile& file, const Format& format) {
  const std::string missing = Missing(file, format);
  if (!missing.empty())
    throw Failure(file.Name() + ": was not written whole, " + missing + " is missing", Cause::kDisk);
}
