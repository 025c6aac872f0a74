// The clipped scan rectangle, and the size of the blocks.
#include "engine/image/sampling.h"

#include <cmath>

#include "engine/common/convert.h"

namespace {

PixelSpan Clip(int64_t from, int64_t to, int64_t size) {
  const auto clamp = [](int64_t v) { return static_cast<int>(std::clamp<int64_t>(v, 0, INT32_MAX)); };
  const PixelSpan span{clamp(from), clamp(std::min(to, size))};
  return span.begin < span.end ? span : PixelSpan{0, 0};
}

} // namespace

ScanRectangle ScanRectangleOf(const ZEP3_BmpInfo& image) {
  ScanRectangle scan = {Clip(image.area.ptLeft.x, image.area.ptRight.x, image.lWidth),
                        Clip(image.area.ptTop.y, image.area.ptBottom.y, image.lHeight)};
  // Lines without columns are not walked: there can be two thousand million.
  if (scan.columns.begin == scan.columns.end) scan.lines = {0, 0};
  return scan;
}

AreaSampler::AreaSampler(const AreaShape& area, const ZEP3_BmpInfo& image, int target)
    : m_area(area), m_image(image), m_pixel(LayoutOf(image)) {
  const ScanRectangle scan = ScanRectangleOf(image);
  m_columns = scan.columns;
  m_lines = scan.lines;
  if (!IsReadable()) return;

  const int64_t pixels = area.InnerCount(m_columns, m_lines);
  m_bBlocks = pixels > 2 * static_cast<int64_t>(target);
  if (!m_bBlocks) return;

  const double pixelsPerSample = static_cast<double>(pixels) / target;
  m_nBlockHeight = ToInt32(std::sqrt(pixelsPerSample));
  if (m_nBlockHeight < 1) m_nBlockHeight = 1;
  m_nBlockWidth = ToInt32(pixelsPerSample / static_cast<double>(m_nBlockHeight));
  if (m_nBlockWidth < 1) m_nBlockWidth = 1;
}

bool AreaSampler::IsReadable() const {
  if (m_columns.begin == m_columns.end || m_lines.begin == m_lines.end) return true;
  return IsAddressable(m_image, m_pixel.samples, m_columns.end, m_lines.begin, m_lines.end);
}

int64_t AreaSampler::CountSamples() const {
  if (!m_bBlocks) return m_area.InnerCount(m_columns, m_lines);
  int64_t samples = 0;
  ForEachRowOfBlocks([&](int64_t, int64_t first, int64_t last) { samples += last - first; });
  return samples;
}
