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

double CLUT::NegaToPosi(double x, int c) const { return Mirrored(AtLeast(kLevelFloor, x), m_dSdIn[c], m_dHlIn[c]); }

void CLUT::RunBaseCurve(bool negative, double least) {
  for (int c = 0; c < 3; c++) {
    const PowerCurve curve = {m_dCoefA[c], m_dCoefB[c], m_dGamma[c]};
    for (int i = 0; i < 256; i++) {
      m_dCurve[c][i] = curve.At(AtLeast(negative ? 0.0 : least, InputOf(i, c, negative)));
    }
  }
}
