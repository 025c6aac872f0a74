// The curves of a record, evaluated level by level, and the user's curves on top.
#include "engine/lut/sampler.h"

#include <memory>

#include "engine/common/scale.h"

CurveSampler::CurveSampler(ZEP3_PARA* para, const double* coef) : m_displayExponent(DisplayExponent(*para)) {
  const auto lut = std::make_unique<CLUT>(para);
  lut->MakeLUT(para, coef, false);
  for (int c = 0; c < 3; c++) m_curve[c] = lut->CurveOf(*para, c, kLevelFloor);
  const ZEP3_IC& ic = para->ic;
  // Not the identity where there is none: it would hold within its ends what a display gamma below 0 throws beyond
  // them.
  m_hasMaster = CLUT::ToneTable(ic.pMasterTone, m_master);
  for (int c = 0; c < 3; c++) {
    m_hasRgb[c] = CLUT::ToneTable(ic.pRGBTone == nullptr ? nullptr : &ic.pRGBTone[c], m_rgb + 256 * c);
  }
}

double CurveSampler::At(int c, double level) const {
  double display = DisplayLevel(m_curve[c].At(level), m_displayExponent);
  if (m_hasRgb[c]) display = CLUT::MapThrough(m_rgb + 256 * c, display);
  return m_hasMaster ? CLUT::MapThrough(m_master, display) : display;
}
