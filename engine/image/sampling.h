// The walk over the pixels of the analysis area: every pixel of a small area, block means of a large one.
#pragma once

#include <algorithm>
#include <cstdint>

#include "engine/image/area.h"
#include "engine/image/block_means.h"
#include "engine/image/pixels.h"
#include "engine/image/shared_walk.h"

// Before a short loop: four rounds at a time, for counting is so little work that going round costs beside it.
#ifdef __GNUC__
#define ZEP3_UNROLL _Pragma("GCC unroll 4")
#else
#define ZEP3_UNROLL
#endif

// The raw corners of the analysis area clipped to the image, far ends excluded.
struct ScanRectangle {
  PixelSpan columns;
  PixelSpan lines;
};
ScanRectangle ScanRectangleOf(const ZEP3_BmpInfo& image);

class AreaSampler {
 public:
  // The image must outlive the sampler. `target` is the number of samples aimed at: up to twice as many pixels are
  // taken one by one.
  AreaSampler(const AreaShape& area, const ZEP3_BmpInfo& image, int target);

  // Whether every pixel of the scan rectangle has an address: pixels not null, lines that do not overlap, offsets
  // within the address space. An empty rectangle is readable.
  bool IsReadable() const;

  // The number of samples, without a look at a pixel.
  int64_t CountSamples() const;

  // Calls visit(r, g, b) for every sample, line by line; returns their number. A `companion` may be taken along, where
  // that saves a read of memory; it may be null.
  template <class Visit>
  int64_t VisitSamples(Visit visit, Companion* companion = nullptr) const {
    if (!m_bBlocks) return VisitPixels(visit);
    if (companion == nullptr || m_nBlockHeight < kWorthSharing) return VisitBlocks(visit);
    BlockRows* const others = companion->Rows();
    return others == nullptr ? VisitBlocks(visit) : VisitBlocksWith(*others, visit);
  }

 private:
  // Lines of a block. Sums of few lines take as long to be added twice as the lines to be read again.
  static constexpr int64_t kWorthSharing = 16;

  const uint8_t* Pixel(int64_t x, int64_t y) const {
    return m_image.pBits + (y * m_image.lBytesPerLine + x * m_pixel.samples);
  }
  PixelSpan InnerSpan(int y) const { return m_area.InnerSpan(y, m_columns); }

  template <class Visit>
  int64_t VisitPixels(Visit visit) const {
    // Known when compiled, a layout costs nothing.
    if (m_pixel == kRgb) return VisitPixelsAs<kRgb>(visit);
    if (m_pixel == kXrgb) return VisitPixelsAs<kXrgb>(visit);
    return VisitPixelsAs<kBgr>(visit);
  }

  template <PixelLayout kPixel, class Visit>
  int64_t VisitPixelsAs(Visit visit) const {
    int64_t samples = 0;
    for (int y = m_lines.begin; y < m_lines.end; y++) {
      const PixelSpan span = InnerSpan(y);
      if (span.begin >= span.end) continue;
      const uint8_t* p = Pixel(span.begin, y);
      ZEP3_UNROLL
      for (int x = span.begin; x < span.end; x++, p += kPixel.samples) {
        visit(p[kPixel.red], p[kPixel.green], p[kPixel.blue]);
      }
      samples += span.end - span.begin;
    }
    return samples;
  }

  // Blocks of m_nBlockHeight lines by m_nBlockWidth columns. A block that would end on the far edge of the scan
  // rectangle is not taken, and only its top left pixel is tested for lying inside the area.
  template <class Visit>
  int64_t VisitBlocks(Visit visit) const {
    const int64_t perLine = Steps(m_columns, m_nBlockWidth);
    if (perLine == 0 || Steps(m_lines, m_nBlockHeight) == 0) return 0;
    BlockMeans blocks(m_pixel, m_nBlockHeight, m_nBlockWidth, perLine);
    int64_t samples = 0;
    ForEachRowOfBlocks([&](int64_t y, int64_t first, int64_t last) {
      blocks.Read(Pixel(m_columns.begin + first * m_nBlockWidth, y), m_image.lBytesPerLine, last - first);
      VisitMeans(blocks, 0, last - first, visit);
      samples += last - first;
    });
    return samples;
  }

  template <class TakeRow>
  struct RowsFor final : BlockRows {
    explicit RowsFor(TakeRow with) : take(with) {}
    void Take(int64_t row) override { take(row); }
    TakeRow take;
  };

  // The same samples, while the rows of another walk are read.
  template <class Visit>
  int64_t VisitBlocksWith(BlockRows& others, Visit visit) const {
    const int64_t perLine = Steps(m_columns, m_nBlockWidth);
    BlockMeans blocks(m_pixel, m_nBlockHeight, m_nBlockWidth, perLine);
    int64_t samples = 0;
    const auto take = [&](int64_t row) {
      const BlockSpan span = BlocksOfRow(m_lines.begin + row * m_nBlockHeight, perLine);
      if (span.first >= span.last) return;
      VisitMeans(blocks, span.first, span.last - span.first, visit);
      samples += span.last - span.first;
    };
    RowsFor rows(take);
    rows.left = m_columns.begin;
    rows.top = m_lines.begin;
    rows.side = m_nBlockHeight;
    rows.rows = Steps(m_lines, m_nBlockHeight);
    rows.columns = perLine * m_nBlockWidth;
    rows.blocks = perLine;
    rows.means = &blocks;
    WalkTogether(m_image, rows, others);
    return samples;
  }

  template <class Visit>
  void VisitMeans(const BlockMeans& blocks, int64_t first, int64_t count, Visit visit) const {
    uint8_t means[4 * BlockMeans::kMostMeans];
    for (int64_t block = 0; block < count; block += BlockMeans::kMostMeans) {
      const int64_t now = std::min(count - block, BlockMeans::kMostMeans);
      blocks.Means(first + block, now, means);
      ZEP3_UNROLL
      for (const uint8_t* p = means; p < means + 4 * now; p += 4) {
        visit(p[m_pixel.red], p[m_pixel.green], p[m_pixel.blue]);
      }
    }
  }

  // row(y, first, last): the blocks first..last-1 of a line of them lie inside the area.
  template <class Row>
  void ForEachRowOfBlocks(Row row) const {
    const int64_t perLine = Steps(m_columns, m_nBlockWidth);
    for (int64_t y = m_lines.begin; y < m_lines.end - m_nBlockHeight; y += m_nBlockHeight) {
      const BlockSpan span = BlocksOfRow(y, perLine);
      if (span.first < span.last) row(y, span.first, span.last);
    }
  }

  struct BlockSpan {
    int64_t first, last; // the end is not in it
  };
  // Of the blocks that begin on line y those inside the area.
  BlockSpan BlocksOfRow(int64_t y, int64_t perLine) const {
    const PixelSpan inside = InnerSpan(static_cast<int>(y));
    return {CeilDivide(int64_t{inside.begin} - m_columns.begin, m_nBlockWidth),
            std::min(perLine, CeilDivide(int64_t{inside.end} - m_columns.begin, m_nBlockWidth))};
  }

  static int64_t CeilDivide(int64_t n, int64_t step) { return n <= 0 ? 0 : (n + step - 1) / step; }
  // The number of starts begin, begin + step, ... that lie before end - step.
  static int64_t Steps(PixelSpan span, int64_t step) { return CeilDivide(span.end - step - span.begin, step); }

  const AreaShape m_area;
  const ZEP3_BmpInfo& m_image;
  PixelLayout m_pixel;
  PixelSpan m_columns{0, 0}; // the scan rectangle
  PixelSpan m_lines{0, 0};
  bool m_bBlocks = false;
  int64_t m_nBlockHeight = 1;
  int64_t m_nBlockWidth = 1;
};
