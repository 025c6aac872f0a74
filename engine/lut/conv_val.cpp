// The colour-matrix conversion: channel factors from the slopes between the points in light, and the matrix through
// them.
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
      if (hlIn == 0.0 || gain[c] == 0.0) continue;
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

void ConvertMatrix(const double (&factor)[3], const double* in, double* out) {
  double n[9];
  for (int row = 0; row < 3; row++) {
    for (int column = 0; column < 3; column++) {
      // The lower channel's factor first, whichever is the row's.
      const int first = row < column ? row : column;
      const int second = row < column ? column : row;
      n[3 * row + column] = in[3 * row + column] * factor[first] * factor[second];
    }
  }
  n[0] = 1.0 - n[1] - n[2];
  n[4] = 1.0 - n[3] - n[5];
  n[8] = 1.0 - n[6] - n[7];
  for (int i = 0; i < 9; i++) out[i] = n[i];
}
