// Channel factors of the colour-matrix conversion, from the slopes between the points in light.
#include <cmath>

#include "engine/common/record.h"
#include "engine/common/scale.h"
#include "engine/lut/clut.h"

void CLUT::ApplyConvVal(const ZEP3_PARA* para, const double* coef, double* factor) {
  ApplyBrightnessColorBalance(para, coef);
  ApplyContrast(para);
  for (int c = 0; c < 3; c++) {
    if (IsUnset(para->ic.ch[c])) SetDefaults(*para, c);
  }

  double gain[3];
  CheckCoefOfNega(coef, gain);
  double slope[3] = {};
  bool known[3] = {};
  for (int c = 0; c < 3; c++) {
    if (DocType(*para) == ZEP3_DOC_NEGATIVE_BW) {
      slope[c] = 1.0;
      known[c] = true;
      continue;
    }
    const double hlIn = 255.0 * Light(m_dHlIn[c]);
    const double sdIn = 255.0 * Light(m_dSdIn[c]);
    double run = hlIn - sdIn;
    if (DocType(*para) == ZEP3_DOC_NEGATIVE) {
      // Of a point, which is 0.1 at least, the light is above 0.
      if (hlIn == 0.0 || gain[c] == 0.0) continue; // GCOVR_EXCL_BR_LINE
      run = (std::pow(sdIn / hlIn, 1.0 / gain[c]) - 1.0) * hlIn;
    }
    if (run == 0.0) continue;
    slope[c] = (255.0 * Light(m_dHlOut[c]) - 255.0 * Light(m_dSdOut[c])) / run;
    known[c] = true;
  }

  // A channel without a slope takes no part.
  int flattest = -1;
  for (int c = 0; c < 3; c++) {
    if (known[c] && (flattest < 0 || slope[c] < slope[flattest])) flattest = c;
  }
  for (int c = 0; c < 3; c++) factor[c] = known[c] ? slope[flattest] / slope[c] : 1.0;
}
