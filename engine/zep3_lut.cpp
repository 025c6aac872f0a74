// The table builder and the colour-matrix conversion.
#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

#include "engine/common/float_environment.h"
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

int ColorMatrixConv(ZEP3_PARA* para, double* in, double* out) try {
  if (para == nullptr || in == nullptr || out == nullptr) return 0;
  const FloatEnvironment environment;
  const auto lut = std::make_unique<CLUT>(para);
  double f[3];
  lut->ApplyConvVal(para, in, f);
  double n[9];
  n[1] = in[1] * f[0] * f[1];
  n[3] = in[3] * f[0] * f[1];
  n[2] = in[2] * f[0] * f[2];
  n[6] = in[6] * f[0] * f[2];
  n[5] = in[5] * f[1] * f[2];
  n[7] = in[7] * f[1] * f[2];
  n[0] = 1.0 - n[1] - n[2];
  n[4] = 1.0 - n[3] - n[5];
  n[8] = 1.0 - n[6] - n[7];
  for (int i = 0; i < 9; i++) out[i] = n[i];
  return 1;
} catch (...) {
  return 0;
}
