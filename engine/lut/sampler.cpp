#include "engine/lut/sampler.h"

#include "engine/common/record.h"
#include "engine/common/scale.h"

CurveSampler::CurveSampler(ZEP3_PARA* para, const double* coef)
    : m_lut(para), m_negative(IsNegative(*para)), m_displayExponent(DisplayExponent(*para)) {
  m_lut.MakeLUT(para, coef, false);
  for (int c = 0; c < 3; c++) {
    m_base[c] = m_lut.BaseCurveOf(c);
    m_hl[c] = m_lut.HlShapeOf(*para, c);
    m_sd[c] = m_lut.SdShapeOf(*para, c);
  }
  const ZEP3_IC& ic = para->ic;
  // Not the identity where there is none: it would hold within its ends what a display gamma below 0 throws beyond
  // them.
  m_hasMaster = CLUT::ToneTable(ic.pMasterTone, m_master);
  for (int c = 0; c < 3; c++) {
    m_hasRgb[c] = CLUT::ToneTable(ic.pRGBTone == nullptr ? nullptr : &ic.pRGBTone[c], m_rgb + 256 * c);
  }
}

double CurveSampler::At(int c, double level) const {
  if (!m_negative && level < kLevelFloor) level = 0.0;
  const double x = m_lut.InputOf(level, c, m_negative);
  double y = m_base[c].At(m_lut.BaseInputOf(level, c, m_negative, kLevelFloor));
  y = m_sd[c].At(x, m_hl[c].At(x, y));
  double display = DisplayLevel(y, m_displayExponent);
  if (m_hasRgb[c]) display = CLUT::MapThrough(m_rgb + 256 * c, display);
  return m_hasMaster ? CLUT::MapThrough(m_master, display) : display;
}
