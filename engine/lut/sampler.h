// The finished curves between the whole levels, for scans of more than 8 bits.
#pragma once

#include "engine/common/power_curve.h"
#include "engine/lut/clut.h"
#include "engine/lut/shapes.h"

class CurveSampler {
 public:
  // Builds the curves of a record, which MakeLUT completes, with its user curves. coef: as for MakeLUT.
  CurveSampler(ZEP3_PARA* para, const double* coef);

  // The display level 0..255 of a linear level 0..255. At whole levels it is what MakeLUT leaves in m_dCurve; below 0.1
  // originals that are not negatives are as at level 0.
  double At(int c, double level) const;

 private:
  CLUT m_lut;
  bool m_negative;
  double m_displayExponent;
  PowerCurve m_base[3];
  HighlightShape m_hl[3];
  ShadowShape m_sd[3];
  double m_master[256];
  double m_rgb[768];
  bool m_hasMaster;
  bool m_hasRgb[3];
};
