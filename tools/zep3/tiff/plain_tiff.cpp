// Reads by pread, several threads at a time; writes one batch of strips while the next is read.
#include "tiff/plain_tiff.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <future>
#include <utility>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include "failure.h"
#include "tiff/tiff_handle.h"
#include "tiff/tiff_pages.h"

namespace {

class PlainTiffLines : public PlainLines {
 public:
  PlainTiffLines(const std::string& path, TiffPlace page) : m_tiff(path, page), m_layout(LayoutOf(m_tiff)) {}

  bool IsPlain() const {
    return HasPlainSamples(m_tiff, m_layout) && HasLines() && !m_layout.tiled && !m_layout.separatePlanes &&
           m_layout.compression == COMPRESSION_NONE &&
           m_tiff.Get<uint16_t>(TIFFTAG_FILLORDER, FILLORDER_MSB2LSB) == FILLORDER_MSB2LSB && HasAllStrips();
  }

  PlainShape Shape() const override {
    return {m_layout.width, m_layout.height, m_layout.samplesPerPixel, m_layout.bitsPerSample == 16};
  }

  void Read(int64_t begin, int64_t end, const Take& take) const override {
    std::vector<uint8_t> piece;
    ReadPieces(
        begin, end,
        [&](size_t size) {
          piece.resize(size);
          return piece.data();
        },
        take);
  }
  // The same into a buffer for all lines; `take` changes them there.
  void ReadInto(uint8_t* lines, int64_t begin, int64_t end, const Take& take) const {
    ReadPieces(
        begin, end, [&](size_t size) { return std::exchange(lines, lines + size); }, take);
  }

  const TiffHandle& Handle() const { return m_tiff; }
  const TiffLayout& Layout() const { return m_layout; }

 private:
  // The fields may hold anything: a line must fit into the file, and the number of bytes into 64 bits.
  bool HasLines() const {
    struct stat file = {};
    if (m_layout.rowsPerStrip == 0 || Samples() == 0 || ::fstat(TIFFFileno(m_tiff), &file) != 0) return false;
    return LineBytes() <= file.st_size && m_layout.height <= INT64_MAX / LineBytes();
  }

  // Pages with missing or short strips are left to the decoder, which has better messages.
  bool HasAllStrips() const {
    const int64_t rows = m_layout.rowsPerStrip;
    for (int64_t line = 0; line < m_layout.height; line += rows) {
      const auto strip = static_cast<uint32_t>(line / rows);
      const auto bytes = static_cast<uint64_t>(std::min(rows, m_layout.height - line) * LineBytes());
      if (TIFFGetStrileOffset(m_tiff, strip) == 0 || TIFFGetStrileByteCount(m_tiff, strip) < bytes) return false;
    }
    return true;
  }

  // Small enough to be worked on in the processor's cache.
  static constexpr int64_t kPiece = 256 << 10;

  // room(size): where the next bytes go.
  template <typename Room>
  void ReadPieces(int64_t begin, int64_t end, Room room, const Take& take) const {
    const int64_t linesAtATime = std::max<int64_t>(1, kPiece / LineBytes());
    for (int64_t line = begin; line < end;) {
      const int64_t count = std::min(linesAtATime, end - line);
      uint8_t* const to = room(static_cast<size_t>(count * LineBytes()));
      for (int64_t done = 0; done < count;) done += ReadOfStrip(line + done, count - done, to + done * LineBytes());
      take(to, line, count);
      line += count;
    }
  }

  // As many lines as the first one's strip holds, at most so many: how many.
  int64_t ReadOfStrip(int64_t line, int64_t most, uint8_t* to) const {
    const int64_t strip = line / m_layout.rowsPerStrip, inStrip = line - strip * m_layout.rowsPerStrip;
    const int64_t count = std::min<int64_t>(m_layout.rowsPerStrip - inStrip, most);
    const uint64_t offset = TIFFGetStrileOffset(m_tiff, static_cast<uint32_t>(strip));
    if (!ReadAt(offset + static_cast<uint64_t>(inStrip * LineBytes()), static_cast<size_t>(count * LineBytes()), to)) {
      m_tiff.Fail("ends before line " + std::to_string(line + count) + " of " + std::to_string(m_layout.height));
    }
    return count;
  }

  // False at the end of the file.
  bool ReadAt(uint64_t offset, size_t size, uint8_t* to) const {
    for (size_t done = 0; done < size;) {
      const ssize_t now = ::pread(TIFFFileno(m_tiff), to + done, size - done, static_cast<off_t>(offset + done));
      if (now < 0 && errno == EINTR) continue;
      if (now < 0) m_tiff.Fail(std::string("cannot be read, ") + std::strerror(errno));
      if (now == 0) return false;
      done += static_cast<size_t>(now);
    }
    if (Shape().deep && TIFFIsByteSwapped(m_tiff)) {
      TIFFSwabArrayOfShort(reinterpret_cast<uint16_t*>(to), static_cast<tmsize_t>(size / 2));
    }
    return true;
  }

  TiffHandle m_tiff;
  TiffLayout m_layout;
};

// Decoded bytes that are read while as many are written.
constexpr int64_t kBatch = 2 << 20;

void WriteStrips(const TiffHandle& to, int64_t firstStrip, int64_t stripBytes, std::vector<uint8_t>& lines) {
  const auto size = static_cast<int64_t>(lines.size());
  for (int64_t done = 0; done < size; done += stripBytes, firstStrip++) {
    const int64_t now = std::min(stripBytes, size - done);
    if (TIFFWriteEncodedStrip(to, static_cast<uint32_t>(firstStrip), lines.data() + done, now) != now) {
      to.FailToWrite();
    }
  }
}

} // namespace

std::unique_ptr<PlainLines> PlainLines::Open(const std::string& path, TiffPlace page, const PlainShape& shape) {
  auto lines = std::make_unique<PlainTiffLines>(path, page);
  if (!lines->IsPlain() || lines->Shape() != shape) return nullptr;
  return lines;
}

bool RewritePlainTiff(const std::string& source, TiffPlace page, PendingFile& target, const PlainShape& shape,
                      const PlainLines::Take& change, const std::function<bool(double)>& go) {
  const PlainTiffLines from(source, page);
  if (!from.IsPlain() || from.Shape() != shape) return false;
  if (!from.Layout().big && shape.height * from.LineBytes() > kLargestClassic) return false;
  TiffLayout layout = from.Layout();
  if (layout.rowsPerStrip * from.LineBytes() > kLargestStrip) {
    layout.rowsPerStrip = static_cast<uint32_t>(std::max<int64_t>(1, kBatch / from.LineBytes()));
  }
  const int64_t rows = layout.rowsPerStrip;
  const int64_t stripBytes = rows * from.LineBytes();
  {
    const bool bigEndian = TIFFIsBigEndian(from.Handle()) != 0;
    const TiffHandle to(target, (std::string("w") + (bigEndian ? "b" : "l") + (layout.big ? "8" : "")).c_str());
    SetLayout(from.Handle(), layout, to);
    CopyProfile(from.Handle(), to);
    const int64_t linesAtOnce = rows * std::max<int64_t>(1, kBatch / stripBytes);
    std::vector<uint8_t> batches[2];
    const auto read = [&](int64_t begin, std::vector<uint8_t>& lines) {
      const int64_t end = std::min(begin + linesAtOnce, shape.height);
      lines.resize(static_cast<size_t>((end - begin) * from.LineBytes()));
      from.ReadInto(lines.data(), begin, end, change);
    };
    std::future<void> reading = std::async(std::launch::async, read, 0, std::ref(batches[0]));
    for (int64_t begin = 0, batch = 0; begin < shape.height; batch = 1 - batch) {
      reading.get();
      const int64_t end = std::min(begin + linesAtOnce, shape.height);
      if (end < shape.height) reading = std::async(std::launch::async, read, end, std::ref(batches[1 - batch]));
      WriteStrips(to, begin / rows, stripBytes, batches[batch]);
      begin = end;
      if (!go(static_cast<double>(begin) / static_cast<double>(shape.height))) throw Failure("interrupted");
    }
    if (TIFFWriteDirectory(to) == 0) to.FailToWrite();
  }
  CopyTiffTags(source, page, target);
  return true;
}
