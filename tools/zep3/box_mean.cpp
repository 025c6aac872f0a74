#include "box_mean.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <thread>
#include <vector>

#include "engine/finish/box_means.h"
#include "plain_tiff.h"

namespace {

// Calls the function with the types that a sample and a column of `side` of them need.
template <typename Function>
vips::VImage WithTypes(bool deep, int64_t side, Function function) {
  return WithBoxTypes(deep, side, function);
}

template <typename T, typename Sum>
using Columns = BoxMeans<T, Sum>;

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

template <typename T>
vips::VImage ToImage(const std::vector<T>& means, int64_t width, int64_t height, int64_t bands) {
  return vips::VImage(vips_image_new_from_memory_copy(means.data(), means.size() * sizeof(T), static_cast<int>(width),
                                                      static_cast<int>(height), static_cast<int>(bands),
                                                      sizeof(T) == 2 ? VIPS_FORMAT_USHORT : VIPS_FORMAT_UCHAR));
}

} // namespace

vips::VImage BoxMean(const vips::VImage& image, int bands, int64_t side, vips::VImage* held) {
  const vips::VImage memory = held != nullptr ? MemoryFor(image) : vips::VImage(nullptr);
  vips::VImage result = WithTypes(image.format() == VIPS_FORMAT_USHORT, side, [&]<typename T, typename Sum>(T, Sum) {
    const int64_t width = Blocks(image.width(), side);
    const int64_t height = Blocks(image.height(), side);
    std::vector<T> means(static_cast<size_t>(width * height * bands));
    struct Work {
      Columns<T, Sum> columns;
      VipsImage* copy; // null: none
    } work = {{int64_t{image.width()} * image.bands(), image.bands(), bands, side, means.data()},
              held != nullptr ? memory.get_image() : nullptr};
    // Called for stripes of full width, in order, while the next are decoded.
    const auto take = [](VipsRegion* region, VipsRect* area, void* to) {
      auto* with = static_cast<Work*>(to);
      for (int y = area->top; y < VIPS_RECT_BOTTOM(area); y++) {
        VipsPel* line = VIPS_REGION_ADDR(region, 0, y);
        with->columns.Add(reinterpret_cast<const T*>(line));
        if (with->copy != nullptr && vips_image_write_line(with->copy, y, line) != 0) return -1;
      }
      return 0;
    };
    if (vips_sink_disc(image.get_image(), take, &work) != 0) throw vips::VError();
    work.columns.Finish();
    return ToImage(means, width, height, bands);
  });
  if (held != nullptr) *held = memory;
  return result;
}

vips::VImage BoxMeanOfPlainTiff(const std::string& path, TiffPlace page, int bands, int64_t side) {
  const auto lines = PlainLines::Open(path, page);
  if (lines == nullptr) return vips::VImage(nullptr);
  return WithTypes(lines->IsDeep(), side, [&]<typename T, typename Sum>(T, Sum) {
    const int64_t width = Blocks(lines->Samples() / lines->Bands(), side);
    const int64_t height = Blocks(lines->Height(), side);
    std::vector<T> means(static_cast<size_t>(width * height * bands));
    // Each thread takes its share of the lines of blocks.
    const int64_t count = std::clamp<int64_t>(vips_concurrency_get(), 1, height);
    std::vector<std::exception_ptr> faults(static_cast<size_t>(count));
    std::vector<std::thread> threads;
    for (int64_t i = 0; i < count; i++) {
      threads.emplace_back([&, i] {
        try {
          const int64_t begin = height * i / count;
          const int64_t end = height * (i + 1) / count;
          Columns<T, Sum> columns(lines->Samples(), lines->Bands(), bands, side, means.data() + begin * width * bands);
          lines->Read(begin * side, std::min(end * side, lines->Height()), [&](const uint8_t* first, int64_t number) {
            for (int64_t line = 0; line < number; line++) {
              columns.Add(reinterpret_cast<const T*>(first + line * lines->LineBytes()));
            }
          });
          columns.Finish();
        } catch (...) {
          faults[static_cast<size_t>(i)] = std::current_exception();
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    for (const std::exception_ptr& fault : faults) {
      if (fault != nullptr) std::rethrow_exception(fault);
    }
    return ToImage(means, width, height, bands);
  });
}
