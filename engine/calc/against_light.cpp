// Backlight: a dark subject before a bright background. The histogram of what the record would display is split into a
// dark and a bright class; where the two stand apart as in a backlit picture, one tone curve for all channels lifts the
// dark class toward a mid-tone and leaves white where it is. Display levels, 0..255.
#include <algorithm>
#include <cmath>

#include "engine/calc/czep.h"
#include "engine/calc/steps/ramp.h"
#include "engine/common/convert.h"
#include "engine/common/record.h"
#include "engine/common/scale.h"
#include "engine/hist/chist.h"
#include "engine/lut/clut.h"

namespace {

// Share of the samples below which a side of the cut is no class: stray pixels.
constexpr double kClassMin = 1e-4;
// Brings the largest value of t * (1 - t)^3, at t = 1/4, to 1.
constexpr double kLiftPeak = 256.0 / 27.0;

// The lift, t = level / 255: 0 at both ends, 1 at level 64, and without slope at white.
//   B(t) = t * (1 - t)^3 * 256 / 27;  f(t) = t + amount * B(t)
double Lift(double t) { return t * ((1.0 - t) * (1.0 - t) * (1.0 - t)) * kLiftPeak; }
double LiftSlope(double t) { return (1.0 - t) * (1.0 - t) * (1.0 - 4.0 * t) * kLiftPeak; }

// A backlight level that asks for a correction. Its low 32 bits decide, read as signed; a negative 64-bit value asks
// for none either. How strong it is, the whole value says.
bool IsBacklightLevel(int64_t level) { return level > 0 && static_cast<int32_t>(static_cast<uint32_t>(level)) > 0; }

// Whether the points describe a curve to judge by.
bool HasCurve(const ZEP3_PARA& para) {
  if (para.lScreenGamma <= 0) return false;
  for (const ZEP3_POINTS& p : para.ic.ch) {
    if (!HasLevelsOnScale(p) || p.lGamma <= 0) return false;
  }
  return true;
}

} // namespace

bool CZEP::CalcAgainstLight(int64_t level) {
  if (!IsBacklightLevel(level) || m_pPara->pOutRGBTone == nullptr) return false;
  // Lifting the dark class of a page would turn its text gray; of an unknown kind of original no points were measured.
  if (!HasCurve(*m_pPara) || !IsPicture(*m_pPara)) return false;
  double histogram[256];
  AgainstLightHistogram(histogram);
  const Backlight light = AgainstLightJudge(histogram, level);
  if (!(light.amount >= m_dAgainstAmountMin)) return false;
  AgainstLightCurve(light);
  return true;
}

void CZEP::AgainstLightHistogram(double (&histogram)[256]) const {
  // A copy, because automatic curve types are resolved in the record given.
  ZEP3_PARA para = *m_pPara;
  CLUT lut(&para);
  lut.MakeLUTForAgainstLight(&para);
  const double exponent = DisplayExponent(para);
  std::fill(histogram, histogram + 256, 0.0);
  for (int c = 0; c < 3; c++) {
    for (int i = 0; i < 256; i++) {
      const double shown = DisplayLevel(AtMost(255.0, lut.m_dCurve[c][i]), exponent);
      // What is no number counts as black, as in a table.
      const int bin = std::clamp(ToInt32(shown + 0.5), 0, 255);
      // The histogram as scanned: that is what the table acts on.
      histogram[bin] += kChannelWeight[c] * m_pHist->m_nHistOrg[c][i];
    }
  }
}

CZEP::Backlight CZEP::AgainstLightJudge(const double (&histogram)[256], int64_t level) const {
  double mass = 0.0;
  double sum = 0.0;
  double squares = 0.0;
  for (int v = 0; v < 256; v++) {
    mass += histogram[v];
    sum += histogram[v] * v;
    squares += histogram[v] * v * v;
  }
  if (!(mass > 0.0)) return {};
  const double mean = sum / mass;
  const double variance = squares / mass - mean * mean;

  // The cut with the largest variance between the classes (Otsu 1979, A Threshold Selection Method from Gray-Level
  // Histograms, equation 14); the first of equals.
  double between = 0.0;
  double share = 0.0;
  double dark = 0.0;
  double bright = 0.0;
  double below = 0.0;
  double belowSum = 0.0;
  for (int v = 0; v < 255; v++) {
    below += histogram[v];
    belowSum += histogram[v] * v;
    const double w = below / mass;
    if (w < kClassMin || 1.0 - w < kClassMin) continue;
    const double lower = belowSum / below;
    const double upper = (sum - belowSum) / (mass - below);
    const double b = w * (1.0 - w) * (upper - lower) * (upper - lower);
    if (!(b > between)) continue;
    between = b;
    share = w;
    dark = lower;
    bright = upper;
  }
  if (!(between > 0.0) || !(variance > 0.0)) return {}; // one level, or two that rounding makes one

  const double evidence = RampUp(share, m_dAgainstDarkShareLow, m_dAgainstDarkShareHigh) *
                          RampDown(share, m_dAgainstDarkOnlyLow, m_dAgainstDarkOnlyHigh) *
                          RampUp(bright - dark, m_dAgainstGapLow, m_dAgainstGapHigh) *
                          RampDown(dark, m_dAgainstDarkLow, m_dAgainstDarkHigh) *
                          RampUp(bright, m_dAgainstBrightLow, m_dAgainstBrightHigh) *
                          RampUp(between / variance, m_dAgainstSplitLow, m_dAgainstSplitHigh);
  const double strength = std::min(1.0, static_cast<double>(level) * m_dAgainstLevelStep);
  const double t = std::clamp(dark, 1.0, 254.0) / 255.0;
  const double wanted = std::clamp((m_dAgainstTarget - dark) / (255.0 * Lift(t)), 0.0, m_dAgainstAmountMax);
  return {.amount = strength * evidence * wanted, .darkShare = share, .darkLevel = t};
}

void CZEP::AgainstLightCurve(const Backlight& light) {
  const double a = light.amount;
  ZEP3_TONE* tone = m_pPara->pOutRGBTone;
  for (int c = 0; c < 3; c++) {
    tone[c].wPointNum = 6;
    tone[c].ptCtrl[0] = {0, 0};
    for (int i = 0; i < 4; i++) {
      const double t = m_nAgainstX[i] / 255.0;
      tone[c].ptCtrl[1 + i] = {m_nAgainstX[i], ToInt32(255.0 * (t + a * Lift(t)) + 0.5)};
    }
    tone[c].ptCtrl[5] = {255, 255};
  }

  // Lifting takes chroma: a small difference of the channels at t is scaled by f'(t) while the level is scaled by
  // f(t) / t, which is more, because f(t) / t falls.
  const double t = light.darkLevel;
  const double chroma = t * (1.0 + a * LiftSlope(t)) / (t + a * Lift(t));
  const double add = (1.0 - chroma) * 100.0 * light.darkShare * m_dAgainstSatScale;
  const int64_t before = m_pPara->lSaturation;
  const double after =
      std::min(m_dAgainstSatMax, static_cast<double>(CLUT::UCRound(static_cast<double>(before) + add)));
  m_pPara->lSaturation = std::max<int64_t>(before, ToInt32(after));
  m_pPara->lLevelFlag = m_pPara->lLevelFlag == 1 ? 3 : 2;
}
