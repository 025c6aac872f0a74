// Construction from a record, the channel curves, and input points back into the record.
#include "engine/graybalance/cgryblnce.h"

#include <cmath>

#include "engine/common/record.h"
#include "engine/common/scale.h"

CGRYBLNCE::CGRYBLNCE(ZEP3_PARA* para) {
  const double exponent = LinearExponent(*para);
  const bool inverted = IsNegative(*para);
  for (int c = 0; c < 3; c++) {
    const ZEP3_POINTS& p = para->ic.ch[c];
    m_dHlIn[c] = DecodePoint(p.lHlIn, exponent, inverted);
    m_dSdIn[c] = DecodePoint(p.lSdIn, exponent, inverted);
    m_dHlOut[c] = DecodePoint(p.lHlOut, exponent, false);
    m_dSdOut[c] = DecodePoint(p.lSdOut, exponent, false);
    m_dGamma[c] = static_cast<double>(p.lGamma) / 100.0;
  }
}

PowerCurve CGRYBLNCE::CurveThrough(int c, double lo, double hi, double gamma) const {
  const double sdOut = m_dSdOut[c] == 0.0 ? kLevelFloor : m_dSdOut[c];
  return MatchCurve(lo, hi, m_dHlOut[c] / sdOut, m_dHlOut[c], gamma, NearOffset::kZeroScale);
}

PowerCurve CGRYBLNCE::CurveOf(int c, double gamma, bool negative) const {
  return negative ? CurveThrough(c, m_dHlIn[c], m_dSdIn[c], gamma) : CurveThrough(c, m_dSdIn[c], m_dHlIn[c], gamma);
}

double CGRYBLNCE::OutputAtTop(int c, double sd, double hl, double unit) const {
  const PowerCurve curve = CurveThrough(c, sd, hl, m_dGamma[c]);
  return unit * curve.b * std::pow(255.0 - curve.a, 1.0 / m_dGamma[c]);
}

void WriteInputs(ZEP3_POINTS& points, double hl, double sd, double displayExponent, bool negative) {
  points.lHlIn = negative ? EncodeNegativeInput(hl, displayExponent) : EncodeLevelInSteps(hl, displayExponent);
  points.lSdIn = negative ? EncodeNegativeInput(sd, displayExponent) : EncodeLevelInSteps(sd, displayExponent);
}
