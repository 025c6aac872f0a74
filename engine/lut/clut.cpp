// Construction from a record, and the build of the three curves as a list of its stages.
#include "engine/lut/clut.h"

#include "engine/common/record.h"
#include "engine/common/scale.h"

CLUT::CLUT(ZEP3_PARA* para) {
  const double exponent = LinearExponent(*para);
  const bool inverted = IsNegative(*para);
  for (int c = 0; c < 3; c++) {
    const ZEP3_POINTS& p = para->ic.ch[c];
    if (IsUnset(p)) {
      SetDefaults(*para, c);
      continue;
    }
    m_dHlIn[c] = DecodePoint(p.lHlIn, exponent, inverted);
    m_dSdIn[c] = DecodePoint(p.lSdIn, exponent, inverted);
    m_dHlOut[c] = DecodePoint(p.lHlOut, exponent, false);
    m_dSdOut[c] = DecodePoint(p.lSdOut, exponent, false);
    m_dGamma[c] = static_cast<double>(p.lGamma) / 100.0;
  }
}

bool CLUT::MakeLUT(ZEP3_PARA* para, const double* coef, bool withTone) {
  ApplyBrightnessColorBalance(para, coef);
  ApplyContrast(para);
  para->lSaturation = 0;
  // After the user's values: an unset channel ignores them.
  FillUnsetChannels(*para);
  CalcParamAB(para);
  RunBaseCurve(*para, kLevelFloor);
  CalcHlCurve(para);
  CalcSdCurve(para);

  const double exponent = DisplayExponent(*para);
  for (auto& curve : m_dCurve) ToDisplayLevels(curve, exponent);
  if (withTone) {
    if (para->ic.pRGBTone != nullptr) ApplyRGBTone(para->ic.pRGBTone);
    if (para->ic.pMasterTone != nullptr) ApplyMasterTone(para->ic.pMasterTone);
  }
  return true;
}

bool CLUT::MakeLUTForAgainstLight(ZEP3_PARA* para) {
  CalcParamAB(para);
  RunBaseCurve(*para, 0.0);
  if (IsNegative(*para)) {
    CalcHlCurve(para);
    CalcSdCurve(para);
  }
  return true;
}
