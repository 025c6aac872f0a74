// The walk over the pixels of the analysis area: every pixel of a small area, block means of a large one.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "engine/common/convert.h"
#include "engine/common/image.h"
#include "engine/hist/chist.h"

class AreaSampler {
 public:
  // `hist` holds the area's inside test and must outlive the sampler, as must the image. `target` is the number of
  // samples aimed at: up to twice as many pixels are taken one by one.
  AreaSampler(const CHIST& hist, const ZEP3_BmpInfo& image, int target);

  // Whether every pixel of the scan rectangle has an address: pixels not null, lines that do not overlap, offsets
  // within the address space. An empty rectangle is readable.
  bool IsReadable() const;

  // Calls visit(r, g, b) for every sample, line by line; returns their number.
  template <class Visit>
  int64_t VisitSamples(Visit visit) const {
    if (!m_bBlocks) return VisitPixels(visit);
    return VisitBlocks(visit);
  }

 private:
  const uint8_t* Pixel(int64_t x, int64_t y) const {
    return m_image.pBits + (y * m_image.lBytesPerLine + x * m_pixel.bytes);
  }
  PixelSpan InnerSpan(int y) const { return m_hist.InnerSpan(y, m_columns); }

  template <class Visit>
  int64_t VisitPixels(Visit visit) const {
    int64_t samples = 0;
    for (int y = m_lines.begin; y < m_lines.end; y++) {
      const PixelSpan span = InnerSpan(y);
      if (span.begin >= span.end) continue;
      const uint8_t* p = Pixel(span.begin, y);
      for (int x = span.begin; x < span.end; x++, p += m_pixel.bytes)
        visit(p[m_pixel.red], p[m_pixel.green], p[m_pixel.blue]);
      samples += span.end - span.begin;
    }
    return samples;
  }

  // Blocks of m_nBlockHeight lines by m_nBlockWidth columns. A block that would end on the far edge of the scan
  // rectangle is not taken, and only its top left pixel is tested for lying inside the area.
  template <class Visit>
  int64_t VisitBlocks(Visit visit) const {
    const double pixels = static_cast<double>(m_nBlockHeight) * static_cast<double>(m_nBlockWidth);
    const auto mean = [pixels](uint64_t sum) { return ToInt32(static_cast<double>(sum) / pixels + 0.5); };
    const int64_t perLine = Steps(m_columns, m_nBlockWidth);
    std::vector<uint64_t> sums(static_cast<size_t>(3 * perLine));
    int64_t samples = 0;
    for (int64_t y = m_lines.begin; y < m_lines.end - m_nBlockHeight; y += m_nBlockHeight) {
      const PixelSpan inside = InnerSpan(static_cast<int>(y));
      const int64_t first = CeilDivide(int64_t{inside.begin} - m_columns.begin, m_nBlockWidth);
      const int64_t last = std::min(perLine, CeilDivide(int64_t{inside.end} - m_columns.begin, m_nBlockWidth));
      if (first >= last) continue;
      // Line by line over all blocks: the image is read in the order in which it lies in memory.
      std::fill(sums.begin(), sums.end(), 0);
      for (int64_t line = y; line < y + m_nBlockHeight; line++) {
        const uint8_t* p = Pixel(m_columns.begin + first * m_nBlockWidth, line);
        for (int64_t block = first; block < last; block++) {
          uint64_t* sum = &sums[static_cast<size_t>(3 * block)];
          for (int64_t x = 0; x < m_nBlockWidth; x++, p += m_pixel.bytes) {
            sum[0] += p[m_pixel.red];
            sum[1] += p[m_pixel.green];
            sum[2] += p[m_pixel.blue];
          }
        }
      }
      for (int64_t block = first; block < last; block++) {
        const uint64_t* sum = &sums[static_cast<size_t>(3 * block)];
        visit(mean(sum[0]), mean(sum[1]), mean(sum[2]));
      }
      samples += last - first;
    }
    return samples;
  }

  static int64_t CeilDivide(int64_t n, int64_t step) { return n <= 0 ? 0 : (n + step - 1) / step; }
  // The number of starts begin, begin + step, ... that lie before end - step.
  static int64_t Steps(PixelSpan span, int64_t step) { return CeilDivide(span.end - step - span.begin, step); }

  const CHIST& m_hist;
  const ZEP3_BmpInfo& m_image;
  PixelLayout m_pixel;
  PixelSpan m_columns{0, 0}; // scan rectangle: the raw corners clipped to the image, far ends excluded
  PixelSpan m_lines{0, 0};
  bool m_bBlocks = false;
  int64_t m_nBlockHeight = 1;
  int64_t m_nBlockWidth = 1;
};
