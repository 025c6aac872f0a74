// The finished curves between the whole levels, for scans of more than 8 bits.
#pragma once

#include "engine/lut/channel_curve.h"
#include "engine/lut/clut.h"

class CurveSampler {
 public:
  // Builds the curves of a record, which MakeLUT completes, with its user curves. coef: as for MakeLUT.
  CurveSampler(ZEP3_PARA* para, const double* coef);

  // The display level 0..255 of a linear level 0..255. At whole levels it is what MakeLUT leaves in m_dCurve.
  double At(int c, double level) const;

 private:
  ChannelCurve m_curve[3];
  double m_displayExponent;
  double m_master[256];
  double m_rgb[768];
  bool m_hasMaster;
  bool m_hasRgb[3];
};
