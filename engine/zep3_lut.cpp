// The table builder and the colour-matrix conversion.
#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

#include "engine/common/float_environment.h"
#include "engine/finish/scan_levels.h"
#include "engine/lut/clut.h"
#include "engine/lut/sampler.h"
#include "engine/zep3.h"

int MakeZEP3LUT(ZEP3_PARA* para, uint8_t* table) { return MakeZEP3LUTEx(para, nullptr, table); }

int MakeZEP3LUTEx(ZEP3_PARA* para, double* pdColorMatrix, uint8_t* table) try {
  if (para == nullptr || table == nullptr) return 0;
  const FloatEnvironment environment;
  const auto lut = std::make_unique<CLUT>(para);
  lut->MakeLUT(para, pdColorMatrix, true);
  for (const auto& curve : lut->m_dCurve) {
    for (const double y : curve) *table++ = static_cast<uint8_t>(CLUT::UCRound(y));
  }
  return 1;
} catch (...) { // out of memory: an exception must not reach a C caller
  return 0;
}

int MakeZEP3LUT16(ZEP3_PARA* para, const double* pdColorMatrix, uint16_t* table) try {
  if (para == nullptr || table == nullptr) return 0;
  const FloatEnvironment environment;
  const auto sampler = std::make_unique<CurveSampler>(para, pdColorMatrix);
  for (int c = 0; c < 3; c++) {
    for (int i = 0; i < 65536; i++) {
      *table++ = static_cast<uint16_t>(std::clamp(CLUT::UCRound(257.0 * sampler->At(c, i / 257.0)), 0, 65535));
    }
  }
  return 1;
} catch (...) {
  return 0;
}

int MakeZEP3LUTAt(ZEP3_PARA* para, const double* pdColorMatrix, const double* levels, int64_t count,
                  double* display) try {
  if (para == nullptr || levels == nullptr || display == nullptr || count < 0) return 0;
  std::vector<double> own; // of levels that the results would overwrite
  const std::less<const double*> below;
  if (below(levels, display + 3 * count) && below(display, levels + count)) {
    own.assign(levels, levels + count);
    levels = own.data();
  }
  const FloatEnvironment environment;
  const auto sampler = std::make_unique<CurveSampler>(para, pdColorMatrix);
  for (int c = 0; c < 3; c++) {
    for (int64_t i = 0; i < count; i++) *display++ = sampler->At(c, std::clamp(levels[i], 0.0, 255.0));
  }
  return 1;
} catch (...) {
  return 0;
}

int MakeZEP3ScanLUT(ZEP3_PARA* para, const double* pdColorMatrix, int64_t lScanGamma, int64_t lEntries,
                    uint16_t* table) try {
  if (para == nullptr || table == nullptr || !IsScanGamma(lScanGamma) || lEntries < 2 || lEntries > 65536) return 0;
  const FloatEnvironment environment;
  std::vector<double> levels(static_cast<size_t>(lEntries));
  for (int64_t i = 0; i < lEntries; i++) levels[static_cast<size_t>(i)] = LevelOfValue(i, lEntries, lScanGamma);
  const auto sampler = std::make_unique<CurveSampler>(para, pdColorMatrix);
  for (int c = 0; c < 3; c++) {
    for (const double level : levels) {
      const double display = sampler->At(c, level);
      *table++ = display > 0.0 ? static_cast<uint16_t>(std::min(257.0 * display + 0.5, 65535.0)) : uint16_t{0};
    }
  }
  return 1;
} catch (...) {
  return 0;
}

int ColorMatrixConv(ZEP3_PARA* para, double* in, double* out) try {
  if (para == nullptr || in == nullptr || out == nullptr) return 0;
  const FloatEnvironment environment;
  const auto lut = std::make_unique<CLUT>(para);
  double factor[3];
  lut->ApplyConvVal(para, in, factor);
  ConvertMatrix(factor, in, out);
  return 1;
} catch (...) {
  return 0;
}
