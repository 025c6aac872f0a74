#include "scanned_page.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int64_t kFirstLines = 1024; // of a page that does not say how many it has
constexpr size_t kBuffer = 256 << 10; // bytes

int OpenNameless() {
  const char* const folder = std::getenv("TMPDIR");
  std::string name = std::string(folder != nullptr && *folder != '\0' ? folder : "/tmp") + "/zep3-page-XXXXXX";
  const int file = ::mkostemp(name.data(), O_CLOEXEC);
  if (file < 0) {
    const std::string why = std::strerror(errno);
    throw ScannerFault(name + ": " + why, SANE_STATUS_NO_MEM);
  }
  ::unlink(name.c_str());
  return file;
}

// Puts the bytes of a frame, however they are cut, to their places in the page.
class Frame {
 public:
  Frame(const SANE_Parameters& frame, ScannedPage& page)
      : m_page(page),
        m_line(static_cast<size_t>(frame.bytes_per_line)),
        m_planar(IsColourFrame(frame.format)),
        m_channel(m_planar ? static_cast<size_t>(frame.format - SANE_FRAME_RED) : 0) {}

  void Take(const SANE_Byte* bytes, size_t count) {
    while (count > 0) {
      const size_t part = std::min(count, m_line.size() - m_filled);
      std::memcpy(m_line.data() + m_filled, bytes, part);
      bytes += part;
      count -= part;
      m_filled += part;
      if (m_filled == m_line.size()) PutLine();
    }
  }
  // Whole lines; what a scanner leaves of one is none.
  int64_t Lines() const { return m_lines; }

 private:
  void PutLine() {
    m_page.MakeRoom(m_lines + 1);
    uint8_t* const to = m_page.Line(m_lines++);
    m_filled = 0;
    if (!m_planar) {
      std::memcpy(to, m_line.data(), static_cast<size_t>(m_page.BytesPerLine()));
      return;
    }
    const size_t sample = static_cast<size_t>(m_page.depth / 8);
    for (size_t x = 0; x < static_cast<size_t>(m_page.width); x++)
      std::memcpy(to + (3 * x + m_channel) * sample, m_line.data() + x * sample, sample);
  }

  ScannedPage& m_page;
  std::vector<uint8_t> m_line;
  size_t m_filled = 0;
  int64_t m_lines = 0;
  bool m_planar;
  size_t m_channel;
};

} // namespace

void ScannedPage::MakeRoom(int64_t forLines) {
  const int64_t needed = forLines * BytesPerLine();
  if (needed <= m_size) return;
  const int64_t size = std::max(needed, m_size + m_size / 2);
  if (m_file < 0) m_file = OpenNameless();
  // A map of a file with holes would end the process where the disk is full.
  if (const int error = ::posix_fallocate(m_file, 0, size); error != 0)
    throw ScannerFault(std::string("a scanned page does not fit on the disk of $TMPDIR: ") + std::strerror(error),
                       SANE_STATUS_NO_MEM);
  void* const map = m_bytes == nullptr
                        ? ::mmap(nullptr, static_cast<size_t>(size), PROT_READ | PROT_WRITE, MAP_SHARED, m_file, 0)
                        : ::mremap(m_bytes, static_cast<size_t>(m_size), static_cast<size_t>(size), MREMAP_MAYMOVE);
  if (map == MAP_FAILED) throw ScannerFault(std::string("a scanned page: ") + std::strerror(errno), SANE_STATUS_NO_MEM);
  m_bytes = static_cast<uint8_t*>(map);
  m_size = size;
}

void ScannedPage::Clear() {
  if (m_bytes != nullptr) ::munmap(m_bytes, static_cast<size_t>(m_size));
  if (m_file >= 0) ::close(m_file);
  m_bytes = nullptr;
  m_size = 0;
  m_file = -1;
  width = lines = 0;
  channels = depth = 0;
}

std::string FaultOfFrame(const SANE_Parameters& frame) {
  const bool known = frame.format == SANE_FRAME_GRAY || frame.format == SANE_FRAME_RGB || IsColourFrame(frame.format);
  if (!known) return "sends frames of type " + std::to_string(frame.format) + ", which are no pixels";
  if (frame.depth != 8 && frame.depth != 16 && !(frame.depth == 1 && frame.format == SANE_FRAME_GRAY))
    return "sends " + std::to_string(frame.depth) + " bits a sample; 8 and 16 are read, and 1 of black and white";
  if (frame.pixels_per_line < 1) return "sends lines without pixels";
  const int64_t channels = frame.format == SANE_FRAME_RGB ? 3 : 1;
  const int64_t bits = int64_t{frame.pixels_per_line} * channels * frame.depth;
  if (int64_t{frame.bytes_per_line} * 8 < bits)
    return "sends lines of " + std::to_string(frame.bytes_per_line) + " bytes, too few for " +
           std::to_string(frame.pixels_per_line) + " pixels";
  return "";
}

void ReadPage(const Device& device, ScannedPage& page, const PageProgress& progress,
              const std::function<bool()>& stops) {
  device.Check(device.Sane().start(device.Handle()));
  ReadStartedPage(device, page, progress, stops);
}

void ReadStartedPage(const Device& device, ScannedPage& page, const PageProgress& progress,
                     const std::function<bool()>& stops) {
  const SaneLibrary& sane = device.Sane();
  std::vector<SANE_Byte> buffer(kBuffer);
  page.Clear();
  for (int frames = 1;; frames++) {
    SANE_Parameters frame = {};
    device.Check(sane.getParameters(device.Handle(), &frame));
    if (const std::string fault = FaultOfFrame(frame); !fault.empty()) device.Refuse(fault);
    if (frames == 1) {
      page.width = frame.pixels_per_line;
      page.channels = frame.format == SANE_FRAME_GRAY ? 1 : 3;
      page.depth = frame.depth;
      page.MakeRoom(frame.lines > 0 ? frame.lines : kFirstLines);
    } else if (frame.pixels_per_line != page.width || frame.depth != page.depth || !IsColourFrame(frame.format)) {
      device.Refuse("sends frames of different sizes for one page");
    }
    Frame lines(frame, page);
    const double bytes = static_cast<double>(frame.bytes_per_line) * frame.lines;
    const double parts = IsColourFrame(frame.format) ? 3 : 1;
    for (double done = 0;;) {
      SANE_Int count = 0;
      if (stops()) device.Cancel();
      const SANE_Status status =
          sane.read(device.Handle(), buffer.data(), static_cast<SANE_Int>(buffer.size()), &count);
      if (stops()) throw ScannerFault(device.Name() + ": cancelled", SANE_STATUS_CANCELLED);
      if (status == SANE_STATUS_EOF) break;
      device.Check(status);
      lines.Take(buffer.data(), static_cast<size_t>(std::max(count, 0)));
      done += count;
      if (progress)
        progress(frame.lines > 0 ? std::optional(std::min(1.0, (frames - 1 + done / bytes) / parts)) : std::nullopt);
    }
    page.lines = frames == 1 ? lines.Lines() : std::min(page.lines, lines.Lines());
    if (frame.last_frame || frame.format == SANE_FRAME_GRAY || frame.format == SANE_FRAME_RGB) break;
    device.Check(sane.start(device.Handle()));
  }
  if (page.lines == 0) throw ScannerFault(device.Name() + ": sent no picture", SANE_STATUS_IO_ERROR);
}
