// The pre-scan, the scan's own tables, and a finished picture in one call.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <vector>

#include "engine/common/convert.h"
#include "engine/common/float_environment.h"
#include "engine/common/record.h"
#include "engine/finish/block_detail.h"
#include "engine/finish/box_means.h"
#include "engine/finish/scan_levels.h"
#include "engine/finish/shrunk_area.h"
#include "engine/image/pixels.h"
#include "engine/zep3.h"

namespace {

// Pixels of the pre-scan's longer side, at most.
constexpr int64_t kPrescanSide = 1250;

// Share of chroma that a unit of the proposed saturation adds.
constexpr double kChromaPerSaturation = 0.005;

bool IsScan(const ZEP3_BmpInfo& scan) {
  const auto isSide = [](int64_t side) { return 0 < side && side <= INT32_MAX; };
  const bool depth = scan.lBitCount == ZEP3_BITS_8 || scan.lBitCount == ZEP3_BITS_16;
  return depth && isSide(scan.lWidth) && isSide(scan.lHeight) && IsScanAddressable(scan);
}

// Pixels of the scan's layout as linear levels R G B.
template <class Sample>
class ToLinear {
 public:
  ToLinear(const PixelLayout& layout, int64_t gamma)
      : m_layout(layout), m_level(LinearLevels(int64_t{1} << (8 * sizeof(Sample)), gamma)) {}
  void Convert(const Sample* from, int64_t pixels, uint8_t* to) const {
    for (int64_t i = 0; i < pixels; i++, from += m_layout.samples, to += 3) {
      to[0] = m_level[from[m_layout.red]];
      to[1] = m_level[from[m_layout.green]];
      to[2] = m_level[from[m_layout.blue]];
    }
  }

  const uint8_t* Levels() const { return m_level.data(); } // by value

 private:
  PixelLayout m_layout;
  std::vector<uint8_t> m_level;
};

// The scan is read once for both. `detail`: null where it is not wanted.
template <class Sample, class Sum>
void WritePrescan(const ZEP3_BmpInfo& scan, int64_t gamma, int64_t shrink, uint8_t* out, const ZEP3_DETAIL* detail) {
  const PixelLayout layout = ScanLayoutOf(scan);
  const ToLinear<Sample> toLinear(layout, gamma);
  std::optional<BlockDetail<Sample>> details;
  if (detail != nullptr) {
    details.emplace(scan.lWidth, layout, shrink, gamma, toLinear.Levels(), detail->pDarkest, detail->pDeviation);
  }
  const auto forEachLine = [&](auto take) {
    for (int64_t y = 0; y < scan.lHeight; y++) {
      const auto* line = reinterpret_cast<const Sample*>(scan.pBits + y * scan.lBytesPerLine);
      take(line);
      if (details) details->Add(line);
    }
    if (details) details->Finish();
  };
  if (shrink == 1) {
    forEachLine([&](const Sample* line) {
      toLinear.Convert(line, scan.lWidth, out);
      out += 3 * scan.lWidth;
    });
    return;
  }
  const int64_t pixels = Blocks(scan.lWidth, shrink) * Blocks(scan.lHeight, shrink);
  std::vector<Sample> means(static_cast<size_t>(pixels * layout.samples));
  BoxMeans<Sample, Sum> boxes(scan.lWidth * layout.samples, layout.samples, layout.samples, shrink, means.data());
  forEachLine([&](const Sample* line) { boxes.Add(line); });
  boxes.Finish();
  toLinear.Convert(means.data(), pixels, out);
}

int MakePrescan(const ZEP3_BmpInfo* scan, int64_t gamma, int64_t shrink, ZEP3_BmpInfo* prescan,
                const ZEP3_DETAIL* detail) {
  if (scan == nullptr || prescan == nullptr || prescan->pBits == nullptr) return 0;
  if (!IsScanGamma(gamma) || shrink < 1 || !IsScan(*scan)) return 0;
  const FloatEnvironment environment;
  WithBoxTypes(scan->lBitCount == ZEP3_BITS_16, shrink, [&]<class Sample, class Sum>(Sample, Sum) {
    WritePrescan<Sample, Sum>(*scan, gamma, shrink, prescan->pBits, detail);
  });
  const int64_t width = Blocks(scan->lWidth, shrink);
  const int64_t height = Blocks(scan->lHeight, shrink);
  SetZEP3Image(prescan, prescan->pBits, width, height, 0, ZEP3_PIXEL_RGB, ZEP3_BITS_8);
  prescan->area = ShrunkArea(*scan, shrink);
  return 1;
}

// As FinishZEP3 is told.
bool IsAdaptive(int64_t lAdaptive, const ZEP3_PARA& para) {
  if (lAdaptive != ZEP3_UNSET) return lAdaptive != 0;
  const ZEP3_KIND* kind = FindZEP3KindOf(&para);
  return kind != nullptr && kind->wAdaptive != 0;
}

// Places in the pre-scan become places in the scan.
void ToScan(int64_t shrink, ZEP3_EVIDENCE& evidence) {
  for (int i = 0; i < 4; i++) {
    for (double& v : evidence.dWindow[i]) v *= static_cast<double>(shrink);
    for (double& v : evidence.dPaper[i]) v *= static_cast<double>(shrink);
  }
}

// The analysis of a page, from its pre-scan on, and what that needs.
class PageFinish {
 public:
  PageFinish(const ZEP3_BmpInfo& scan, int64_t gamma, int64_t shrink) : m_scan(scan), m_gamma(gamma), m_shrink(shrink) {
    const int64_t width = Blocks(scan.lWidth, shrink), height = Blocks(scan.lHeight, shrink);
    m_darkest.resize(static_cast<size_t>(3 * width * height));
    m_deviation.resize(static_cast<size_t>(width * height));
    m_cells.resize(static_cast<size_t>(GetZEP3SurfaceRoom(width, height)));
  }

  int Analyse(ZEP3_BmpInfo& prescan, ZEP3_PARA& para, ZEP3_EVIDENCE& seen) {
    const ZEP3_DETAIL detail = {m_darkest.data(), m_deviation.data()};
    m_surface.lScanGamma = m_gamma;
    m_surface.lWidth = m_scan.lWidth;
    m_surface.lHeight = m_scan.lHeight;
    m_surface.lSide = m_shrink;
    m_surface.pCells = m_cells.data();
    m_surface.lRoom = static_cast<int64_t>(m_cells.size());
    if (MakeZEP3PagePrescan(&m_scan, m_gamma, m_shrink, &prescan, &detail) == 0) return 0;
    return ZEP3Page(&prescan, &para, &detail, &m_surface, &seen);
  }

  bool HasPaper() const { return m_surface.lFound != ZEP3_SURFACE_NONE; }

  int Apply(const ZEP3_PARA& para) const {
    const int64_t entries = m_scan.lBitCount == ZEP3_BITS_16 ? ZEP3_PAGE_ENTRIES_16 : ZEP3_PAGE_ENTRIES_8;
    std::vector<uint16_t> table(static_cast<size_t>(7 * entries));
    if (MakeZEP3PageLUT(&para, &m_surface, entries, table.data()) == 0) return 0;
    return ApplyZEP3Page(&m_scan, 0, 0, &m_surface, table.data());
  }

 private:
  const ZEP3_BmpInfo& m_scan;
  int64_t m_gamma, m_shrink;
  std::vector<uint8_t> m_darkest, m_deviation;
  std::vector<ZEP3_CELL> m_cells;
  ZEP3_SURFACE m_surface = {};
};

} // namespace

int64_t GetZEP3PrescanShrink(int64_t lWidth, int64_t lHeight) {
  return std::max<int64_t>(1, Blocks(std::max(lWidth, lHeight), kPrescanSide));
}

int64_t GetZEP3ScanGamma(int64_t lScanGamma, int64_t lAdaptive, const ZEP3_PARA* para) {
  if (lScanGamma != ZEP3_GAMMA_SRGB_CURVE) return lScanGamma;
  const bool curve = para != nullptr && IsAdaptive(lAdaptive, *para) && IsPicture(*para) && !IsPlain(*para);
  return curve ? ZEP3_GAMMA_SRGB_CURVE : ZEP3_GAMMA_SRGB;
}

int MakeZEP3PagePrescan(const ZEP3_BmpInfo* scan, int64_t lScanGamma, int64_t lShrink, ZEP3_BmpInfo* prescan,
                        const ZEP3_DETAIL* detail) try {
  if (detail == nullptr || detail->pDarkest == nullptr || detail->pDeviation == nullptr || lScanGamma <= 0) return 0;
  return MakePrescan(scan, lScanGamma, lShrink, prescan, detail);
} catch (...) { // out of memory: an exception must not reach a C caller
  return 0;
}

int MakeZEP3Prescan(const ZEP3_BmpInfo* scan, int64_t lScanGamma, int64_t lShrink, ZEP3_BmpInfo* prescan) try {
  return MakePrescan(scan, lScanGamma, lShrink, prescan, nullptr);
} catch (...) { // out of memory: an exception must not reach a C caller
  return 0;
}

double GetZEP3Chroma(const ZEP3_PARA* para) {
  if (para == nullptr) return 1.0;
  if (para->wDocType == ZEP3_DOC_NEGATIVE_BW) return 0.0;
  const FloatEnvironment environment;
  return std::max(0.0, 1.0 + kChromaPerSaturation * static_cast<double>(para->lSaturation));
}

int FinishZEP3(const ZEP3_BmpInfo* scan, int64_t lScanGamma, int64_t lAdaptive, ZEP3_PARA* para, double* pdColorMatrix,
               ZEP3_EVIDENCE* evidence) try {
  if (scan == nullptr || para == nullptr || !IsScanGamma(lScanGamma) || !IsScan(*scan)) return 0;
  const int64_t shrink = GetZEP3PrescanShrink(scan->lWidth, scan->lHeight);
  std::vector<uint8_t> levels(static_cast<size_t>(3 * Blocks(scan->lWidth, shrink) * Blocks(scan->lHeight, shrink)));
  const int64_t entries = scan->lBitCount == ZEP3_BITS_16 ? 65536 : 256;
  std::vector<uint16_t> table(static_cast<size_t>(3 * entries));
  ZEP3_BmpInfo prescan = {};
  prescan.pBits = levels.data();
  const bool adaptive = IsAdaptive(lAdaptive, *para);
  int64_t gamma = GetZEP3ScanGamma(lScanGamma, adaptive, para);
  std::optional<PageFinish> page;
  if (adaptive && IsPage(*para) && !IsPlain(*para)) page.emplace(*scan, gamma, shrink);
  double identity[9] = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0};
  double* const matrix = pdColorMatrix != nullptr ? pdColorMatrix : identity;
  ZEP3_EVIDENCE seen = {};
  const auto analyse = [&] {
    if (page) return page->Analyse(prescan, *para, seen);
    if (MakeZEP3Prescan(scan, gamma, shrink, &prescan) == 0) return 0;
    return adaptive ? ZEP3Adaptive(&prescan, para, matrix, &seen) : ZEP3(&prescan, para, matrix);
  };
  const ZEP3_PARA asked = *para;
  int found = analyse();
  if (found != 0 && gamma == ZEP3_GAMMA_SRGB_CURVE && seen.lAnalysis == ZEP3_ANALYSIS_STANDARD) {
    // The scan says too little: the standard analysis decided, and has its own way of taking values.
    gamma = ZEP3_GAMMA_SRGB;
    *para = asked;
    found = analyse();
  }
  if (found != 0 && evidence != nullptr && (!adaptive || HasUserValues(*para)))
    found = JudgeZEP3(&prescan, para, pdColorMatrix, &seen);
  if (evidence != nullptr) {
    ToScan(shrink, seen);
    *evidence = seen;
  }
  if (found == 0) return 0;
  if (page && page->HasPaper()) return page->Apply(*para);

  const double chroma = GetZEP3Chroma(para);
  ZEP3_PARA copy = *para; // the table builder writes into it
  if (MakeZEP3ScanLUT(&copy, pdColorMatrix, gamma, entries, table.data()) == 0) return 0;
  return ApplyZEP3ScanLUT(scan, table.data(), chroma);
} catch (...) {
  return 0;
}
