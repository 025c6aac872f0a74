// What moves the points before the curve is laid: defaults of unset channels, brightness and colour balance, contrast.
#include <algorithm>

#include "engine/common/record.h"
#include "engine/common/scale.h"
#include "engine/lut/clut.h"

namespace {

// Density per step of brightness or colour balance.
constexpr double kDensityStep = 0.003;

struct ChannelDefaults {
  double hlIn, hlOut, sdIn, sdOut; // linear levels
  int gamma100;
  uint16_t hlCurve, sdCurve;
};

constexpr ChannelDefaults kNegative = {30, 200, 200, 10, 150, ZEP3_HL_ROLL_OFF, ZEP3_SD_TOE};
constexpr ChannelDefaults kPhoto = {245, 245, 10, 10, 100, ZEP3_HL_NONE, ZEP3_SD_NONE};
constexpr ChannelDefaults kBackground = {230, 255, 35, 10, 107, ZEP3_HL_NONE, ZEP3_SD_NONE};
constexpr ChannelDefaults kDocument = {230, 255, 35, 10, 107, ZEP3_HL_NONE, ZEP3_SD_TOE};
constexpr ChannelDefaults kPlainDocument = {230, 255, 9, 10, 100, ZEP3_HL_NONE, ZEP3_SD_NONE};

// The sub-modes hold for every type that is not negative.
const ChannelDefaults& DefaultsOf(const ZEP3_PARA& para) {
  if (IsNegative(para)) return kNegative;
  switch (para.wSubMode) {
    case ZEP3_SUB_BACKGROUND_REMOVAL:
      return kBackground;
    case ZEP3_SUB_DOCUMENT:
    case ZEP3_SUB_GROUND_COLOR_REMOVAL:
      return IsPlain(para) ? kPlainDocument : kDocument;
    default:
      return kPhoto;
  }
}

} // namespace

void CLUT::CheckCoefOfNega(const double* coef, double* gain) const { NegaGains(coef, m_dNegaCoef, gain); }

void CLUT::SetDefaults(const ZEP3_PARA& para, int c) {
  const ChannelDefaults& d = DefaultsOf(para);
  m_dHlIn[c] = d.hlIn;
  m_dHlOut[c] = d.hlOut;
  m_dSdIn[c] = d.sdIn;
  m_dSdOut[c] = d.sdOut;
  m_dGamma[c] = d.gamma100 / 100.0;
}

void CLUT::FillUnsetChannels(ZEP3_PARA& para) {
  const ChannelDefaults& d = DefaultsOf(para);
  const double exponent = DisplayExponent(para);
  for (int c = 0; c < 3; c++) {
    ZEP3_POINTS& p = para.ic.ch[c];
    if (!IsUnset(p)) continue;
    SetDefaults(para, c);
    p.lGamma = d.gamma100;
    if (IsNegative(para)) {
      p.lHlIn = EncodeNegativeInput(d.hlIn, exponent);
      p.lSdIn = EncodeNegativeInput(d.sdIn, exponent);
      p.lHlOut = EncodeLevelInSteps(d.hlOut, exponent);
      p.lSdOut = EncodeLevelInSteps(d.sdOut, exponent);
    } else {
      p.lHlIn = EncodeLevel(d.hlIn, exponent);
      p.lSdIn = EncodeLevel(d.sdIn, exponent);
      p.lHlOut = EncodeLevel(d.hlOut, exponent); // 255 gives 65535 at every gamma
      p.lSdOut = EncodeLevel(d.sdOut, exponent);
    }
    // The curve types are the whole record's: one unset channel sets them.
    para.ic.wHlCurveType = d.hlCurve;
    para.ic.wSdCurveType = d.sdCurve;
  }
}

void CLUT::ApplyBrightnessColorBalance(const ZEP3_PARA* para, const double* coef) {
  const ZEP3_IC& ic = para->ic;
  const bool colourNegative = DocType(*para) == ZEP3_DOC_NEGATIVE;
  double gain[3] = {1.0, 1.0, 1.0};
  if (colourNegative) CheckCoefOfNega(coef, gain);
  const int64_t balance[3] = {ic.lColorBalanceR, ic.lColorBalanceG, ic.lColorBalanceB};
  for (int c = 0; c < 3; c++) {
    const double steps = static_cast<double>(ic.lBrightness) + static_cast<double>(balance[c]);
    double shift = steps * (kDensityStep * gain[c]);
    // Brighter: the points of a negative move up on the film's levels, those of the others down.
    if (!IsNegative(*para)) shift = -shift;
    m_dHlIn[c] = AtLeast(kLevelFloor, LevelOfLogLight(LogLight(m_dHlIn[c]) + shift));
    m_dSdIn[c] = AtLeast(kLevelFloor, LevelOfLogLight(LogLight(m_dSdIn[c]) + shift));
  }
}

void CLUT::ApplyContrast(const ZEP3_PARA* para) {
  if (para->ic.lContrast == 0) return;
  const double contrast = static_cast<double>(std::clamp<int64_t>(para->ic.lContrast, -99, 99));
  // No floor here: the midpoints lie inside.
  for (int c = 0; c < 3; c++) {
    const double hlIn = Density(m_dHlIn[c]);
    const double sdIn = Density(m_dSdIn[c]);
    const double hlOut = Density(m_dHlOut[c]);
    const double sdOut = Density(m_dSdOut[c]);
    const double midIn = Density((m_dHlIn[c] + m_dSdIn[c]) * 0.5);
    const double midOut = Density((m_dHlOut[c] + m_dSdOut[c]) * 0.5);
    if (contrast > 0.0) {
      m_dHlIn[c] = LevelOfDensity(hlIn - (hlIn - midIn) * contrast / 100.0);
      m_dSdIn[c] = LevelOfDensity(sdIn - (sdIn - midIn) * contrast / 100.0);
    } else {
      m_dHlOut[c] = LevelOfDensity((hlOut - midOut) * contrast / 100.0 + hlOut);
      m_dSdOut[c] = LevelOfDensity((sdOut - midOut) * contrast / 100.0 + sdOut);
    }
  }
}
