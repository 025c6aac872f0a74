// The pipettes, and the palette adjustment.
#include <memory>

#include "engine/common/float_environment.h"
#include "engine/common/record.h"
#include "engine/graybalance/cgryblnce.h"
#include "engine/zep3.h"

int GetGrayBalance(ZEP3_PARA* para, ZEP3_GrayBalance gb) try {
  if (para == nullptr) return 0;
  const FloatEnvironment environment;
  std::make_unique<CGRYBLNCE>(para)->GBIntensity(para, gb);
  return 1;
} catch (...) { // out of memory: an exception must not reach a C caller
  return 0;
}

int GetGamma(int64_t* plColor, ZEP3_PARA* para) try {
  if (plColor == nullptr || para == nullptr) return 0;
  const FloatEnvironment environment;
  std::make_unique<CGRYBLNCE>(para)->MakePipetteGmm(plColor, para);
  return 1;
} catch (...) {
  return 0;
}

int AdjustSpecifiedColor(ZEP3_PARA* para, const int64_t* plSource, const int64_t* plTarget, const double* pdNegaCoef,
                         const double* pdColorMatrix) try {
  if (para == nullptr || plSource == nullptr || plTarget == nullptr) return 0;
  if (para->ic.pMasterTone == nullptr || para->ic.pRGBTone == nullptr) return 0;
  const FloatEnvironment environment;
  const auto palette = std::make_unique<CGRYBLNCE>(para);
  const bool moved = IsNegative(*para)
                         ? palette->ConvPaletteColorNega(para, plSource, plTarget, pdNegaCoef, pdColorMatrix)
                         : palette->ConvPaletteColorFBP(para, plSource, plTarget, pdColorMatrix);
  return moved ? 1 : 0;
} catch (...) {
  return 0;
}
