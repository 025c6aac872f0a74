// The base curve: a power curve through the shadow and the highlight point of each channel.
#include "engine/common/power_curve.h"
#include "engine/common/record.h"
#include "engine/lut/channel_curve.h"
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

ChannelCurve CLUT::CurveOf(const ZEP3_PARA& para, int c, double least) const {
  const bool negative = IsNegative(para);
  const PowerCurve base = {m_dCoefA[c], m_dCoefB[c], m_dGamma[c]};
  const double hlPivot = negative ? m_dSdIn[c] : m_dHlIn[c];
  const double sdPivot = negative ? m_dHlIn[c] : m_dSdIn[c];
  return {base,
          ShoulderOf(base, para.ic.wHlCurveType, hlPivot, m_dHlOut[c], negative),
          ToeOf(base, para.ic.wSdCurveType, sdPivot, m_dSdOut[c]),
          negative,
          m_dHlIn[c],
          m_dSdIn[c],
          least};
}

void CLUT::RunBaseCurve(const ZEP3_PARA& para, double least) {
  for (int c = 0; c < 3; c++) {
    const ChannelCurve curve = CurveOf(para, c, least);
    for (int i = 0; i < 256; i++) m_dCurve[c][i] = curve.Base(i);
  }
}
