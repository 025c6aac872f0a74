// The base curve: a power curve through the shadow and the highlight point of each channel.
#include "engine/common/power_curve.h"
#include "engine/common/record.h"
#include "engine/lut/clut.h"

void CLUT::CalcParamAB(const ZEP3_PARA* para) {
  const bool negative = IsNegative(*para);
  for (int c = 0; c < 3; c++) {
    const double lo = negative ? m_dHlIn[c] : m_dSdIn[c];
    const double hi = negative ? m_dSdIn[c] : m_dHlIn[c];
    const double sdOut = m_dSdOut[c] == 0.0 ? kLevelFloor : m_dSdOut[c];
    const PowerCurve curve = MatchCurve(lo, hi, m_dHlOut[c] / sdOut, m_dHlOut[c], m_dGamma[c], NearOffset::kFloor);
    m_dCoefA[c] = curve.a;
    m_dCoefB[c] = curve.b;
  }
}

PowerCurve CLUT::BaseCurveOf(int c) const { return {m_dCoefA[c], m_dCoefB[c], m_dGamma[c]}; }

double CLUT::BaseInputOf(double level, int c, bool negative, double least) const {
  return negative ? NegaToPosi(level, c) : AtLeast(least, level);
}

void CLUT::RunBaseCurve(bool negative, double least) {
  for (int c = 0; c < 3; c++) {
    const PowerCurve curve = BaseCurveOf(c);
    double input[256]; // apart from the curve: between calls of pow the divisions would wait for each other
    for (int i = 0; i < 256; i++) input[i] = BaseInputOf(i, c, negative, least);
    for (int i = 0; i < 256; i++) m_dCurve[c][i] = curve.At(input[i]);
  }
}
