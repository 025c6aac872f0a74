#include "engine/lut/sampler.h"

#include "engine/common/record.h"
#include "engine/common/scale.h"

CurveSampler::CurveSampler(const CLUT& lut, const ZEP3_PARA& para)
    : m_lut(lut), m_negative(IsNegative(para)), m_displayExponent(DisplayExponent(para)) {
  for (int c = 0; c < 3; c++) {
    m_base[c] = lut.BaseCurveOf(c);
    m_hl[c] = lut.HlShapeOf(para, c);
    m_sd[c] = lut.SdShapeOf(para, c);
  }
  CLUT::MakeToneCurvLUT(&para.ic, m_master, m_rgb);
}

double CurveSampler::At(int c, double level) const {
  if (!m_negative && level < kLevelFloor) level = 0.0;
  const double x = m_lut.InputOf(level, c, m_negative);
  double y = m_base[c].At(m_lut.BaseInputOf(level, c, m_negative, kLevelFloor));
  y = m_sd[c].At(x, m_hl[c].At(x, y));
  return CLUT::MapThrough(m_master, CLUT::MapThrough(m_rgb + 256 * c, DisplayLevel(y, m_displayExponent)));
}
