// Lines from libvips gathered into strips for libtiff.
#include "saving/tiff_strips.h"

#include <algorithm>
#include <exception>
#include <vector>

#include "page/box_mean.h"
#include "tiff/plain_tiff.h"
#include "tiff/tiff_handle.h"
#include "tiff/tiff_pages.h"

namespace {

constexpr int64_t kMegabyte = 1 << 20;

// As the file has them, so that its tags fit the pixels of the image.
bool HasSamplesOf(const vips::VImage& image, const TiffHandle& tiff, const TiffLayout& layout) {
  const bool whole = image.format() == VIPS_FORMAT_UCHAR || image.format() == VIPS_FORMAT_USHORT;
  const PlainShape stored = {layout.width, layout.height, layout.samplesPerPixel, layout.bitsPerSample == 16};
  return whole && ShapeOf(image) == stored && HasPlainSamples(tiff, layout);
}

// Takes lines in order, and writes a strip as soon as it is full.
class Strips {
 public:
  Strips(const TiffHandle& to, int64_t rows, int64_t lineBytes, int64_t height)
      : m_to(to), m_lineBytes(lineBytes), m_left(height), m_rows(rows) {
    m_strip.reserve(static_cast<size_t>(rows * lineBytes));
  }

  void Take(const uint8_t* line) {
    m_strip.insert(m_strip.end(), line, line + m_lineBytes);
    m_left--;
    if (static_cast<int64_t>(m_strip.size()) < m_rows * m_lineBytes && m_left > 0) return;
    const auto size = static_cast<tmsize_t>(m_strip.size());
    if (TIFFWriteEncodedStrip(m_to, m_number++, m_strip.data(), size) != size) m_to.FailToWrite();
    m_strip.clear();
  }

 private:
  const TiffHandle& m_to;
  int64_t m_lineBytes, m_left, m_rows;
  uint32_t m_number = 0;
  std::vector<uint8_t> m_strip;
};

} // namespace

bool WriteTiffStrips(const Scan& scan, int page, const vips::VImage& image, PendingFile& to) {
  {
    const TiffHandle from(scan.Path(), scan.Place(page));
    TiffLayout layout = LayoutOf(from);
    const bool deflate = layout.compression == COMPRESSION_ADOBE_DEFLATE || layout.compression == COMPRESSION_DEFLATE;
    if (layout.tiled || layout.separatePlanes || !deflate) return false;
    if (!HasSamplesOf(image, from, layout)) return false;
    const int64_t lineBytes = static_cast<int64_t>(VIPS_IMAGE_SIZEOF_LINE(image.get_image()));
    const bool big = layout.big || layout.height * lineBytes > kLargestClassic;
    if (layout.rowsPerStrip * lineBytes > kLargestStrip) {
      layout.rowsPerStrip = static_cast<uint32_t>(std::max<int64_t>(1, kMegabyte / lineBytes));
    }
    const TiffHandle tiff(to, big ? "wl8" : "wl");
    SetLayout(from, layout, tiff);
    // Deflate has had two numbers; the older one is not written any more.
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
    CopyProfile(from, tiff);
    struct Work {
      Strips strips;
      std::exception_ptr fault;
    } work = {{tiff, layout.rowsPerStrip, lineBytes, layout.height}, nullptr};
    // Called for stripes of full width, in order, while the next are computed. Exceptions may not pass through libvips.
    const auto take = [](VipsRegion* region, VipsRect* area, void* with) {
      auto* into = static_cast<Work*>(with);
      try {
        for (int y = area->top; y < VIPS_RECT_BOTTOM(area); y++) into->strips.Take(VIPS_REGION_ADDR(region, 0, y));
        return 0;
      } catch (...) {
        into->fault = std::current_exception();
        return -1;
      }
    };
    const int done = vips_sink_disc(image.get_image(), take, &work);
    if (work.fault != nullptr) std::rethrow_exception(work.fault);
    if (done != 0) throw vips::VError();
    if (TIFFWriteDirectory(tiff) == 0) tiff.FailToWrite();
  }
  CopyTiffTags(scan.Path(), scan.Place(page), to);
  return true;
}
