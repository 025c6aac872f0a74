// By libvips' sink, which hands out stripes of full width.
#include "saving/lines.h"

#include <exception>

namespace {

struct Work {
  const std::function<void(const uint8_t*)>& take;
  std::exception_ptr fault;
};

// Exceptions may not pass through libvips.
int TakeLines(VipsRegion* region, VipsRect* area, void* with) {
  auto* work = static_cast<Work*>(with);
  try {
    for (int y = area->top; y < VIPS_RECT_BOTTOM(area); y++) work->take(VIPS_REGION_ADDR(region, 0, y));
    return 0;
  } catch (...) {
    work->fault = std::current_exception();
    return -1;
  }
}

} // namespace

void ForEachLine(const vips::VImage& image, const std::function<void(const uint8_t*)>& take) {
  Work work = {take, nullptr};
  const int done = vips_sink_disc(image.get_image(), TakeLines, &work);
  if (work.fault != nullptr) std::rethrow_exception(work.fault);
  if (done != 0) throw vips::VError();
}
