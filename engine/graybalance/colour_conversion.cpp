// Running colours backwards: through rising and falling tables, and through a colour matrix.
#include "engine/graybalance/cgryblnce.h"

namespace {

// `outside` says that the value lies beyond the table's last entry. A level below 0.1 counts as not found, too.
double Substitute(double level, bool outside) {
  if (!(level < kLevelNotFound)) return level;
  return outside ? kLevelAbove : kLevelNotFound;
}

double InverseRising(const double* table, double v) {
  double level = 0.0;
  for (int i = 0; i < 255; i++) {
    if (table[i] <= v && table[i + 1] > v) level = i + (v - table[i]) / (table[i + 1] - table[i]);
  }
  return Substitute(level, table[255] < v);
}

double InverseFalling(const double* table, double v) {
  double level = 0.0;
  for (int i = 0; i < 255; i++) {
    if (table[i] > v && v >= table[i + 1]) level = i + (table[i] - v) / (table[i] - table[i + 1]);
  }
  return Substitute(level, v < table[255]);
}

} // namespace

void CGRYBLNCE::ConvNewColor(const double* pdLut, double* pdColor, bool bMaster) {
  for (int c = 0; c < 3; c++) pdColor[c] = InverseRising(bMaster ? pdLut : pdLut + 256 * c, pdColor[c]);
}

void CGRYBLNCE::ConvNewColorNega(const double* pdLut, double* pdColor) {
  for (int c = 0; c < 3; c++) pdColor[c] = InverseFalling(pdLut + 256 * c, pdColor[c]);
}

bool CGRYBLNCE::ConvInverseMatrix(const double* pdMatrix, const int64_t* plColor, double* pdOut) {
  const double* m = pdMatrix;
  const double det = m[3] * m[7] * m[2] + m[0] * m[4] * m[8] + m[6] * m[1] * m[5] - m[0] * m[7] * m[5] -
                     m[4] * m[6] * m[2] - m[8] * m[3] * m[1];
  if (!(det >= 0.01)) return false; // also when it is not a number
  const double r = static_cast<double>(plColor[0]);
  const double g = static_cast<double>(plColor[1]);
  const double b = static_cast<double>(plColor[2]);
  const double adjugate[3][3] = {
      {m[4] * m[8] - m[7] * m[5], m[7] * m[2] - m[8] * m[1], m[1] * m[5] - m[4] * m[2]},
      {m[6] * m[5] - m[8] * m[3], m[8] * m[0] - m[6] * m[2], m[2] * m[3] - m[5] * m[0]},
      {m[3] * m[7] - m[4] * m[6], m[6] * m[1] - m[0] * m[7], m[0] * m[4] - m[3] * m[1]},
  };
  for (int i = 0; i < 3; i++) pdOut[i] = (adjugate[i][0] * r + adjugate[i][1] * g + adjugate[i][2] * b) / det;
  return true;
}

void CGRYBLNCE::CheckCoefOfNega(const double* pdMatrix, double* pdCoef) const {
  NegaGains(pdMatrix, m_dNegaCoef, pdCoef);
}
