// The engine's box means, fed by libvips' stripes or by threads that read the file.
#include "page/box_mean.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <optional>
#include <thread>
#include <vector>

#include "engine/finish/block_detail.h"
#include "engine/finish/box_means.h"
#include "engine/finish/scan_levels.h"

namespace {

// What a scan is made small into: means, and where they are wanted the details, of all its lines of blocks.
template <typename T, typename Sum>
class Small {
 public:
  Small(const PlainShape& shape, int bands, int64_t side, Detail* detail)
      : m_shape(shape),
        m_bands(bands),
        m_side(side),
        m_detail(detail),
        m_width(Blocks(shape.width, side)),
        m_height(Blocks(shape.height, side)),
        m_means(static_cast<size_t>(m_width * m_height * bands)) {
    if (detail == nullptr) return;
    m_linear = LinearLevels(int64_t{1} << (8 * sizeof(T)), detail->gamma);
    detail->darkest.assign(static_cast<size_t>(3 * m_width * m_height), 0);
    detail->deviation.assign(static_cast<size_t>(m_width * m_height), 0);
  }

  int64_t Height() const { return m_height; } // lines of blocks

  // A part of the work: lines of the scan, from the first of a line of blocks.
  class Part {
   public:
    Part(Small& small, int64_t firstBlockLine)
        : m_means(small.m_shape.width * small.m_shape.bands, small.m_shape.bands, small.m_bands, small.m_side,
                  small.m_means.data() + firstBlockLine * small.m_width * small.m_bands) {
      if (small.m_detail == nullptr) return;
      const auto samples = static_cast<int>(small.m_shape.bands);
      const PixelLayout layout = small.m_bands == 3 ? PixelLayout{samples, 0, 1, 2} : PixelLayout{samples, 0, 0, 0};
      m_detail.emplace(small.m_shape.width, layout, small.m_side, small.m_detail->gamma, small.m_linear.data(),
                       small.m_detail->darkest.data(), small.m_detail->deviation.data(), firstBlockLine);
    }
    void Add(const T* line) {
      m_means.Add(line);
      if (m_detail) m_detail->Add(line);
    }
    void Finish() {
      m_means.Finish();
      if (m_detail) m_detail->Finish();
    }

   private:
    BoxMeans<T, Sum> m_means;
    std::optional<BlockDetail<T>> m_detail;
  };

  vips::VImage Means() const {
    return vips::VImage(vips_image_new_from_memory_copy(m_means.data(), m_means.size() * sizeof(T),
                                                        static_cast<int>(m_width), static_cast<int>(m_height), m_bands,
                                                        sizeof(T) == 2 ? VIPS_FORMAT_USHORT : VIPS_FORMAT_UCHAR));
  }

 private:
  PlainShape m_shape;
  int m_bands;
  int64_t m_side;
  Detail* m_detail; // null: none
  int64_t m_width, m_height;
  std::vector<T> m_means;
  std::vector<uint8_t> m_linear;
};

// Room for an image and its metadata.
vips::VImage MemoryFor(const vips::VImage& image) {
  const vips::VImage memory(vips_image_new_memory());
  VipsImage* to = memory.get_image();
  if (vips_image_pipelinev(to, VIPS_DEMAND_STYLE_ANY, image.get_image(), nullptr) != 0 ||
      vips_image_write_prepare(to) != 0) {
    throw vips::VError();
  }
  vips_image_remove(to, VIPS_META_SEQUENTIAL); // it can be read again
#ifdef MADV_HUGEPAGE
  // Taking ordinary pages one by one costs three times as much as writing them.
  const auto page = static_cast<uintptr_t>(::sysconf(_SC_PAGESIZE));
  const auto begin = (reinterpret_cast<uintptr_t>(VIPS_IMAGE_ADDR(to, 0, 0)) + page - 1) / page * page;
  const auto end = reinterpret_cast<uintptr_t>(VIPS_IMAGE_ADDR(to, 0, 0)) + VIPS_IMAGE_SIZEOF_IMAGE(to);
  if (begin < end) ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE); // a hint: it may fail
#endif
  return memory;
}

} // namespace

vips::VImage BoxMean(const vips::VImage& image, int bands, int64_t side, vips::VImage* held, Detail* detail) {
  const vips::VImage memory = held != nullptr ? MemoryFor(image) : vips::VImage(nullptr);
  vips::VImage result = WithBoxTypes(image.format() == VIPS_FORMAT_USHORT, side, [&]<typename T, typename Sum>(T, Sum) {
    Small<T, Sum> small(ShapeOf(image), bands, side, detail);
    struct Work {
      typename Small<T, Sum>::Part part;
      VipsImage* copy; // null: none
    } work = {{small, 0}, held != nullptr ? memory.get_image() : nullptr};
    // Called for stripes of full width, in order, while the next are decoded.
    const auto take = [](VipsRegion* region, VipsRect* area, void* to) {
      auto* with = static_cast<Work*>(to);
      for (int y = area->top; y < VIPS_RECT_BOTTOM(area); y++) {
        VipsPel* line = VIPS_REGION_ADDR(region, 0, y);
        with->part.Add(reinterpret_cast<const T*>(line));
        if (with->copy != nullptr && vips_image_write_line(with->copy, y, line) != 0) return -1;
      }
      return 0;
    };
    if (vips_sink_disc(image.get_image(), take, &work) != 0) throw vips::VError();
    work.part.Finish();
    return small.Means();
  });
  if (held != nullptr) *held = memory;
  return result;
}

vips::VImage BoxMeanOfPlainTiff(const std::string& path, TiffPlace page, const PlainShape& shape, int bands,
                                int64_t side, Detail* detail) {
  const auto lines = PlainLines::Open(path, page, shape);
  if (lines == nullptr) return vips::VImage(nullptr);
  return WithBoxTypes(shape.deep, side, [&]<typename T, typename Sum>(T, Sum) {
    Small<T, Sum> small(shape, bands, side, detail);
    const int64_t height = small.Height();
    // Each thread takes its share of the lines of blocks.
    const int64_t count = std::clamp<int64_t>(vips_concurrency_get(), 1, height);
    std::vector<std::exception_ptr> faults(static_cast<size_t>(count));
    std::vector<std::thread> threads;
    for (int64_t i = 0; i < count; i++) {
      threads.emplace_back([&, i] {
        try {
          const int64_t begin = height * i / count;
          const int64_t end = height * (i + 1) / count;
          typename Small<T, Sum>::Part part(small, begin);
          lines->Read(begin * side, std::min(end * side, shape.height),
                      [&](const uint8_t* first, int64_t, int64_t number) {
                        for (int64_t line = 0; line < number; line++) {
                          part.Add(reinterpret_cast<const T*>(first + line * lines->LineBytes()));
                        }
                      });
          part.Finish();
        } catch (...) {
          faults[static_cast<size_t>(i)] = std::current_exception();
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    for (const std::exception_ptr& fault : faults) {
      if (fault != nullptr) std::rethrow_exception(fault);
    }
    return small.Means();
  });
}

PlainShape ShapeOf(const vips::VImage& image) {
  return {image.width(), image.height(), image.bands(), image.format() == VIPS_FORMAT_USHORT};
}
