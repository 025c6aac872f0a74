// The pre-scan, the scan's own tables, and a finished picture in one call.
#include <algorithm>
#include <cmath>
#include <cstdint>
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
  ToLinear(const PixelLayout& layout, int64_t gamma) : m_layout(layout), m_level(kEntries) {
    for (int64_t i = 0; i < kEntries; i++) {
      m_level[static_cast<size_t>(i)] = static_cast<uint8_t>(ToInt32(LevelOfValue(i, kEntries, gamma) + 0.5));
    }
  }
  void Convert(const Sample* from, int64_t pixels, uint8_t* to) const {
    for (int64_t i = 0; i < pixels; i++, from += m_layout.samples, to += 3) {
      to[0] = m_level[from[m_layout.red]];
      to[1] = m_level[from[m_layout.green]];
      to[2] = m_level[from[m_layout.blue]];
    }
  }

  const uint8_t* Levels() const { return m_level.data(); } // by value

 private:
  static constexpr int64_t kEntries = int64_t{1} << (8 * sizeof(Sample));
  PixelLayout m_layout;
  std::vector<uint8_t> m_level;
};

template <class Sample, class Sum>
void WritePrescan(const ZEP3_BmpInfo& scan, int64_t gamma, int64_t shrink, uint8_t* out) {
  const PixelLayout layout = ScanLayoutOf(scan);
  const ToLinear<Sample> toLinear(layout, gamma);
  const auto line = [&](int64_t y) { return reinterpret_cast<const Sample*>(scan.pBits + y * scan.lBytesPerLine); };
  if (shrink == 1) {
    for (int64_t y = 0; y < scan.lHeight; y++, out += 3 * scan.lWidth) toLinear.Convert(line(y), scan.lWidth, out);
    return;
  }
  const int64_t pixels = Blocks(scan.lWidth, shrink) * Blocks(scan.lHeight, shrink);
  std::vector<Sample> means(static_cast<size_t>(pixels * layout.samples));
  BoxMeans<Sample, Sum> boxes(scan.lWidth * layout.samples, layout.samples, layout.samples, shrink, means.data());
  for (int64_t y = 0; y < scan.lHeight; y++) boxes.Add(line(y));
  boxes.Finish();
  toLinear.Convert(means.data(), pixels, out);
}

template <class Sample>
void WriteDetail(const ZEP3_BmpInfo& scan, int64_t gamma, int64_t shrink, const ZEP3_DETAIL& detail) {
  const ToLinear<Sample> toLinear(kRgb, gamma);
  BlockDetail<Sample> blocks(scan.lWidth, ScanLayoutOf(scan), shrink, gamma, toLinear.Levels(), detail.pDarkest,
                             detail.pDeviation);
  for (int64_t y = 0; y < scan.lHeight; y++) {
    blocks.Add(reinterpret_cast<const Sample*>(scan.pBits + y * scan.lBytesPerLine));
  }
  blocks.Finish();
}

// Places in the pre-scan become places in the scan.
void ToScan(int64_t shrink, ZEP3_EVIDENCE& evidence) {
  for (int i = 0; i < 4; i++) {
    for (double& v : evidence.dWindow[i]) v *= static_cast<double>(shrink);
    for (double& v : evidence.dPaper[i]) v *= static_cast<double>(shrink);
  }
}

int FinishPage(const ZEP3_BmpInfo& scan, int64_t gamma, int64_t shrink, ZEP3_BmpInfo& prescan, ZEP3_PARA& para,
               ZEP3_EVIDENCE* evidence) {
  const int64_t width = Blocks(scan.lWidth, shrink), height = Blocks(scan.lHeight, shrink);
  std::vector<uint8_t> darkest(static_cast<size_t>(3 * width * height)), deviation(static_cast<size_t>(width * height));
  const ZEP3_DETAIL detail = {darkest.data(), deviation.data()};
  std::vector<ZEP3_CELL> cells(static_cast<size_t>(GetZEP3SurfaceRoom(width, height)));
  ZEP3_SURFACE surface = {};
  surface.lScanGamma = gamma;
  surface.lWidth = scan.lWidth;
  surface.lHeight = scan.lHeight;
  surface.lSide = shrink;
  surface.pCells = cells.data();
  surface.lRoom = static_cast<int64_t>(cells.size());
  const bool deep = scan.lBitCount == ZEP3_BITS_16;
  const int64_t entries = deep ? int64_t{ZEP3_PAGE_ENTRIES_16} : int64_t{ZEP3_PAGE_ENTRIES_8};
  std::vector<uint16_t> table(static_cast<size_t>(7 * entries));
  ZEP3_EVIDENCE seen = {};
  if (MakeZEP3PagePrescan(&scan, gamma, shrink, &prescan, &detail) == 0) return 0;
  if (ZEP3Page(&prescan, &para, &detail, &surface, &seen) == 0) return 0;
  if (evidence != nullptr && HasUserValues(para) && JudgeZEP3(&prescan, &para, nullptr, &seen) == 0) return 0;
  if (evidence != nullptr) {
    ToScan(shrink, seen);
    *evidence = seen;
  }
  if (surface.lFound != ZEP3_SURFACE_NONE) {
    return MakeZEP3PageLUT(&para, &surface, entries, table.data()) &&
           ApplyZEP3Page(&scan, 0, 0, &surface, table.data());
  }
  const int64_t plain = deep ? 65536 : 256;
  ZEP3_PARA copy = para; // the table builder writes into it
  table.resize(static_cast<size_t>(3 * plain));
  if (MakeZEP3ScanLUT(&copy, nullptr, gamma, plain, table.data()) == 0) return 0;
  return ApplyZEP3ScanLUT(&scan, table.data(), 1.0);
}

} // namespace

int64_t GetZEP3PrescanShrink(int64_t lWidth, int64_t lHeight) {
  return std::max<int64_t>(1, Blocks(std::max(lWidth, lHeight), kPrescanSide));
}

int MakeZEP3PagePrescan(const ZEP3_BmpInfo* scan, int64_t lScanGamma, int64_t lShrink, ZEP3_BmpInfo* prescan,
                        const ZEP3_DETAIL* detail) try {
  if (detail == nullptr || detail->pDarkest == nullptr || detail->pDeviation == nullptr) return 0;
  if (MakeZEP3Prescan(scan, lScanGamma, lShrink, prescan) == 0) return 0;
  const FloatEnvironment environment;
  WithBoxTypes(scan->lBitCount == ZEP3_BITS_16, lShrink,
               [&]<class Sample, class Sum>(Sample, Sum) { WriteDetail<Sample>(*scan, lScanGamma, lShrink, *detail); });
  return 1;
} catch (...) { // out of memory: an exception must not reach a C caller
  return 0;
}

int MakeZEP3Prescan(const ZEP3_BmpInfo* scan, int64_t lScanGamma, int64_t lShrink, ZEP3_BmpInfo* prescan) try {
  if (scan == nullptr || prescan == nullptr || prescan->pBits == nullptr) return 0;
  if (lScanGamma <= 0 || lShrink < 1 || !IsScan(*scan)) return 0;
  const FloatEnvironment environment;
  const bool deep = scan->lBitCount == ZEP3_BITS_16;
  WithBoxTypes(deep, lShrink, [&]<class Sample, class Sum>(Sample, Sum) {
    WritePrescan<Sample, Sum>(*scan, lScanGamma, lShrink, prescan->pBits);
  });
  const int64_t width = Blocks(scan->lWidth, lShrink);
  const int64_t height = Blocks(scan->lHeight, lShrink);
  SetZEP3Image(prescan, prescan->pBits, width, height, 0, ZEP3_PIXEL_RGB, ZEP3_BITS_8);
  prescan->area = ShrunkArea(*scan, lShrink);
  return 1;
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
  if (scan == nullptr || para == nullptr || lScanGamma <= 0 || !IsScan(*scan)) return 0;
  const int64_t shrink = GetZEP3PrescanShrink(scan->lWidth, scan->lHeight);
  std::vector<uint8_t> levels(static_cast<size_t>(3 * Blocks(scan->lWidth, shrink) * Blocks(scan->lHeight, shrink)));
  const int64_t entries = scan->lBitCount == ZEP3_BITS_16 ? 65536 : 256;
  std::vector<uint16_t> table(static_cast<size_t>(3 * entries));
  ZEP3_BmpInfo prescan = {};
  prescan.pBits = levels.data();
  const ZEP3_KIND* kind = FindZEP3KindOf(para);
  const bool adaptive = lAdaptive == ZEP3_UNSET ? kind != nullptr && kind->wAdaptive != 0 : lAdaptive != 0;
  if (adaptive && IsPage(*para) && !IsPlain(*para)) {
    return FinishPage(*scan, lScanGamma, shrink, prescan, *para, evidence);
  }
  if (MakeZEP3Prescan(scan, lScanGamma, shrink, &prescan) == 0) return 0;
  double identity[9] = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0};
  double* const matrix = pdColorMatrix != nullptr ? pdColorMatrix : identity;
  ZEP3_EVIDENCE seen = {};
  int found = adaptive ? ZEP3Adaptive(&prescan, para, matrix, &seen) : ZEP3(&prescan, para, matrix);
  if (found != 0 && evidence != nullptr && (!adaptive || HasUserValues(*para)))
    found = JudgeZEP3(&prescan, para, pdColorMatrix, &seen);
  if (evidence != nullptr) {
    ToScan(shrink, seen);
    *evidence = seen;
  }
  if (found == 0) return 0;

  const double chroma = GetZEP3Chroma(para);
  ZEP3_PARA copy = *para; // the table builder writes into it
  if (MakeZEP3ScanLUT(&copy, pdColorMatrix, lScanGamma, entries, table.data()) == 0) return 0;
  return ApplyZEP3ScanLUT(scan, table.data(), chroma);
} catch (...) {
  return 0;
}
