// Lines become differences from what the lines around them foretell, and one zlib stream (RFC 1950) of many pieces.
#include "saving/png_pixels.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include <libdeflate.h>
#include <zlib.h>

#include "failure.h"
#include "opening/big_endian.h"
#include "saving/deflate_join.h"
#include "saving/in_order.h"
#include "saving/lines.h"

namespace {

constexpr size_t kPiece = 1 << 20; // bytes of lines

using Bytes = std::vector<uint8_t>;

enum class Filter : uint8_t { kNone = 0, kPaeth = 4 };

// What foretells best of the value to the left, above, and above the left one.
uint8_t Foretold(int left, int above, int corner) {
  const int toLeft = std::abs(above - corner), toAbove = std::abs(left - corner);
  const int toCorner = std::abs(left + above - 2 * corner);
  const int other = toAbove <= toCorner ? above : corner;
  return static_cast<uint8_t>(toLeft <= toAbove && toLeft <= toCorner ? left : other);
}

// Writes the number of the filter and the line.
void FilterLine(Filter filter, const uint8_t* line, const uint8_t* above, size_t size, size_t pixel, uint8_t* out) {
  *out++ = static_cast<uint8_t>(filter);
  if (filter == Filter::kNone) {
    std::copy_n(line, size, out);
    return;
  }
  for (size_t i = 0; i < pixel; i++) out[i] = static_cast<uint8_t>(line[i] - above[i]);
  for (size_t i = pixel; i < size; i++) {
    out[i] = static_cast<uint8_t>(line[i] - Foretold(line[i - pixel], above[i], above[i - pixel]));
  }
}

class Deflater {
 public:
  explicit Deflater(int level) : m_compressor(libdeflate_alloc_compressor(level)) {
    if (m_compressor == nullptr) throw Failure("not enough memory for the compression");
  }
  // A whole stream.
  std::string operator()(const uint8_t* bytes, size_t size) const {
    std::string packed(libdeflate_deflate_compress_bound(m_compressor.get(), size), '\0');
    packed.resize(libdeflate_deflate_compress(m_compressor.get(), bytes, size, packed.data(), packed.size()));
    return packed;
  }

 private:
  struct Free {
    void operator()(libdeflate_compressor* compressor) const { libdeflate_free_compressor(compressor); }
  };
  std::unique_ptr<libdeflate_compressor, Free> m_compressor;
};

// Lines behind one another, the one above the first before them.
struct Lines {
  size_t line, pixel; // bytes
  Bytes bytes;

  size_t Count() const { return bytes.size() / line - 1; }
  Bytes Filtered(Filter filter, size_t begin, size_t end) const {
    Bytes out((end - begin) * (line + 1));
    for (size_t y = begin; y < end; y++) {
      const uint8_t* above = bytes.data() + y * line;
      FilterLine(filter, above + line, above, line, pixel, out.data() + (y - begin) * (line + 1));
    }
    return out;
  }
};

// A way to pack.
struct Manner {
  Filter filter;
  int level;
};

// Differences of scans are noise, in which a longer search finds no more; what is drawn repeats itself, to the byte.
constexpr Manner kScanned = {Filter::kPaeth, 1}, kDrawn = {Filter::kNone, 7};

// By packing some lines from the middle both ways.
Manner MannerFor(const Lines& lines) {
  constexpr size_t kTried = 32768;     // bytes
  constexpr double kWorthWhile = 0.98; // of the size; where it is wrong, packing as drawn loses less
  const size_t count = std::clamp<size_t>(kTried / lines.line, 1, lines.Count());
  const size_t begin = (lines.Count() - count) / 2;
  const auto size = [&](const Manner& manner) {
    const Bytes tried = lines.Filtered(manner.filter, begin, begin + count);
    return static_cast<double>(Deflater(manner.level)(tried.data(), tried.size()).size());
  };
  return size(kScanned) < kWorthWhile * size(kDrawn) ? kScanned : kDrawn;
}

// A part of the zlib stream.
struct Piece {
  std::string packed;
  uint32_t sum; // Adler-32 of what is packed
  size_t size;  // of that, in bytes
};

Piece Pack(const Lines& lines, bool last) {
  const Manner manner = MannerFor(lines);
  const Bytes filtered = lines.Filtered(manner.filter, 0, lines.Count());
  Piece piece = {Deflater(manner.level)(filtered.data(), filtered.size()),
                 libdeflate_adler32(1, filtered.data(), filtered.size()), filtered.size()};
  if (!last) LeaveOpen(piece.packed);
  return piece;
}

std::string BigEndianOf(uint32_t number) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift & 0xFF);
  return bytes;
}

void WriteChunk(const std::string& name, const std::string& data, PendingFile& to) {
  const std::string named = name + data;
  const std::string chunk = BigEndianOf(static_cast<uint32_t>(data.size())) + named +
                            BigEndianOf(libdeflate_crc32(0, named.data(), named.size()));
  if (to.Write(chunk.data(), chunk.size()) < 0) to.Check();
}

// Takes lines in order, and writes chunks.
class PixelWriter {
 public:
  PixelWriter(const vips::VImage& image, PendingFile& to)
      : m_to(to),
        m_deep(image.format() == VIPS_FORMAT_USHORT),
        m_linesLeft(image.height()),
        m_line(VIPS_IMAGE_SIZEOF_LINE(image.get_image())),
        m_pixel(VIPS_IMAGE_SIZEOF_PEL(image.get_image())),
        m_above(m_line),
        m_pieces(static_cast<int64_t>(std::max(kPiece, m_line)), [this](const Piece& piece) { Write(piece); }) {}

  void Take(const uint8_t* line) {
    if (m_lines == nullptr) {
      m_lines = std::make_shared<Lines>(Lines{m_line, m_pixel, m_above});
      m_lines->bytes.reserve(m_line + std::max(kPiece, m_line));
    }
    m_lines->bytes.insert(m_lines->bytes.end(), line, line + m_line);
    if (m_deep) HighBytesFirst(m_lines->bytes.data() + m_lines->bytes.size() - m_line);
    m_linesLeft--;
    if (m_linesLeft > 0 && m_lines->bytes.size() + m_line <= kPiece) return;
    m_above.assign(m_lines->bytes.end() - static_cast<std::ptrdiff_t>(m_line), m_lines->bytes.end());
    m_pieces.Begin([lines = std::move(m_lines), last = m_linesLeft == 0] { return Pack(*lines, last); });
  }

  void Finish() {
    m_pieces.Finish();
    WriteChunk("IEND", "", m_to);
  }

 private:
  void HighBytesFirst(uint8_t* line) const {
    for (size_t i = 0; i < m_line; i += 2) {
      uint16_t value = 0;
      std::memcpy(&value, line + i, 2);
      value = GUINT16_TO_BE(value);
      std::memcpy(line + i, &value, 2);
    }
  }

  void Write(const Piece& piece) {
    // A window of 32 KB; the second number makes the first two bytes a multiple of 31.
    const std::string begin = m_begun ? "" : "\x78\x5E";
    m_sum = static_cast<uint32_t>(adler32_combine(m_sum, piece.sum, static_cast<z_off_t>(piece.size)));
    m_left -= piece.size;
    WriteChunk("IDAT", begin + piece.packed + (m_left == 0 ? BigEndianOf(m_sum) : ""), m_to);
    m_begun = true;
  }

  PendingFile& m_to;
  bool m_deep;
  int64_t m_linesLeft;
  size_t m_line, m_pixel; // bytes
  Bytes m_above;
  std::shared_ptr<Lines> m_lines;
  InOrder<Piece> m_pieces;
  bool m_begun = false;
  uint32_t m_sum = 1; // Adler-32 of nothing
  uint64_t m_left = static_cast<uint64_t>(m_linesLeft) * (m_line + 1);
};

// The head's first chunk, which is of the picture's shape.
struct PngShape {
  uint64_t width, height, bits, kind, interlace;
};

PngShape ShapeOf(std::string_view head) {
  return {BigEndian(head, 16, 4), BigEndian(head, 20, 4), BigEndian(head, 24, 1), BigEndian(head, 25, 1),
          BigEndian(head, 28, 1)};
}

int Channels(uint64_t kind) {
  constexpr int kChannels[] = {1, 0, 3, 0, 2, 0, 4}; // of a palette none: it is not written so
  return kind < std::size(kChannels) ? kChannels[kind] : 0;
}

} // namespace

bool FitsPngHead(const vips::VImage& image, const std::string& head) {
  const PngShape shape = ShapeOf(head);
  const bool deep = image.format() == VIPS_FORMAT_USHORT;
  if (!deep && image.format() != VIPS_FORMAT_UCHAR) return false;
  // Of other colours libvips would make these.
  const VipsInterpretation space = image.interpretation();
  const bool asStored = deep ? space == VIPS_INTERPRETATION_RGB16 || space == VIPS_INTERPRETATION_GREY16
                             : space == VIPS_INTERPRETATION_sRGB || space == VIPS_INTERPRETATION_B_W;
  return asStored && shape.interlace == 0 && shape.bits == (deep ? 16u : 8u) && Channels(shape.kind) == image.bands() &&
         shape.width == static_cast<uint64_t>(image.width()) && shape.height == static_cast<uint64_t>(image.height());
}

void WritePngPixels(const vips::VImage& image, PendingFile& to) {
  PixelWriter writer(image, to);
  ForEachLine(image, [&](const uint8_t* line) { writer.Take(line); });
  writer.Finish();
}
