// Gray balance: a density shift of each channel's input points that brings the picked colour to a common gray.
#include "engine/common/record.h"
#include "engine/common/scale.h"
#include "engine/graybalance/cgryblnce.h"

namespace {

// What the picked level shows: of a negative through its mirrored domain, which ends at 255.
double ShownByNegative(const PowerCurve& curve, double mirrored) {
  return mirrored > curve.a ? AtMost(255.0, curve.Unlimited(AtLeast(kLevelFloor, mirrored))) : 0.0;
}

// Of the others. The curve must start below the level as picked and as raised to the floor: one that starts in between
// gives 0.
double ShownByPositive(const PowerCurve& curve, double level, double raised) {
  return level > curve.a && raised > curve.a ? curve.Unlimited(raised) : 0.0;
}

} // namespace

bool CGRYBLNCE::GBIntensity(ZEP3_PARA* para, ZEP3_GrayBalance gb) {
  const bool negative = IsNegative(*para);
  const double toLinear = LinearExponent(*para);
  const double toDisplay = DisplayExponent(*para);
  const int64_t pick[3] = {gb.lRed, gb.lGreen, gb.lBlue};

  // Where the picked colour stands in each channel, and what the current curve makes of it.
  PowerCurve curve[3];
  double picked[3];
  double out[3];
  for (int c = 0; c < 3; c++) {
    curve[c] = CurveOf(c, m_dGamma[c], negative);
    const double level = LinearLevel(AtLeast(0.1, static_cast<double>(pick[c])), toLinear, negative);
    picked[c] = AtLeast(kLevelFloor, level);
    out[c] = negative ? ShownByNegative(curve[c], Mirrored(picked[c], m_dSdIn[c], m_dHlIn[c]))
                      : ShownByPositive(curve[c], level, picked[c]);
  }
  const double gray = CommonGray(out);

  for (int c = 0; c < 3; c++) {
    // The input that the current curve maps to the gray; for negatives back on the film's side. The others have no
    // floor here: a gray below all that a channel's curve gives has no input, and its points become no number.
    double target = curve[c].InputFor(gray);
    if (negative) {
      target = LevelOfLogLight(LogLight(m_dSdIn[c]) - LogLight(AtLeast(kLevelFloor, target)) + LogLight(m_dHlIn[c]));
    }
    const double shift = -(LogLight(picked[c]) - LogLight(target)) * static_cast<double>(gb.lIntensity) / 100.0;
    double hl = AtLeast(kLevelFloor, LevelOfLogLight(LogLight(m_dHlIn[c]) - shift));
    const double sd = Clamp(LevelOfLogLight(LogLight(m_dSdIn[c]) - shift), kLevelFloor, 255.0);

    ZEP3_POINTS& p = para->ic.ch[c];
    if (!negative && hl > 255.0) {
      // The highlight input stops at the top of the scale; its output falls to where the shifted curve is there.
      p.lHlOut = ToInt32(OutputAtTop(c, sd, hl, 257.0));
      hl = 255.0;
    }
    WriteInputs(p, hl, sd, toDisplay, negative);
  }
  return false;
}
