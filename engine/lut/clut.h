// CLUT: from a completed record to three working curves of 256 output levels, and to the values derived from its
// points.
//
// Points are linear levels (0..255 as doubles), decoded from the record to at least 0.1; those of negatives, which the
// record gives inverted, are levels of the film here. An object serves one call: MakeLUT, ApplyConvVal and
// MakeLUTForAgainstLight adjust the members in place.
#pragma once

#include <cstdint>

#include "engine/common/convert.h"
#include "engine/common/nega_gain.h"
#include "engine/common/scale.h"
#include "engine/zep3.h"

struct ChannelCurve;

class CLUT {
 public:
  // Decodes the points of the record; an unset channel takes the defaults of the kind of original.
  explicit CLUT(ZEP3_PARA* para);

  // ---- tables (clut.cpp) ----

  // Builds m_dCurve: display level 0..255 by linear level. coef: 3x3 colour matrix or null; its diagonal counts,
  // for colour negatives alone. withTone: apply the record's user curves. Writes defaults of unset channels and
  // resolved curve types into the record and clears its lSaturation. Always true.
  bool MakeLUT(ZEP3_PARA* para, const double* coef, bool withTone);
  // The bare base curve on linear levels; for negatives with highlight and shadow shaping, which resolves automatic
  // curve types in the record. Always true.
  bool MakeLUTForAgainstLight(ZEP3_PARA* para);
  // Rounds half away from zero.
  static int32_t UCRound(double v) { return ToInt32(v + (v > 0.0 ? 0.5 : -0.5)); }

  // ---- stages of MakeLUT, in their order ----

  // points.cpp: density shifts of the input points by the user's brightness and colour balance.
  void ApplyBrightnessColorBalance(const ZEP3_PARA* para, const double* coef);
  // points.cpp: moves input (contrast up) or output points (contrast down) toward their midpoint, in density.
  void ApplyContrast(const ZEP3_PARA* para);
  // base_curve.cpp: offset and scale of the power curve through the points.
  void CalcParamAB(const ZEP3_PARA* para);
  // shaping.cpp: highlight end by wHlCurveType, resolved in the record when automatic. Always true.
  bool CalcHlCurve(ZEP3_PARA* para);
  // shaping.cpp: shadow end by wSdCurveType, likewise. Always true.
  bool CalcSdCurve(ZEP3_PARA* para);

  // base_curve.cpp: the channel's curve after CalcParamAB, for the curve types that the record holds. `least`: see
  // there.
  ChannelCurve CurveOf(const ZEP3_PARA& para, int c, double least) const;
  // base_curve.cpp: maps an input level of a negative into the domain of its inverted points.
  double NegaToPosi(double x, int c) const { return MirroredLevel(x, m_dSdIn[c], m_dHlIn[c]); }
  // points.cpp: the three density gains that a colour matrix stands for.
  void CheckCoefOfNega(const double* coef, double* gain) const;

  // ---- curve through control points (spline.cpp); arrays are 1-based, x strictly rising ----

  // Second derivatives y2[1..n] of the cubic spline; an end slope above 9.9e29 means a natural end. False only when its
  // work array cannot be had.
  static bool Spline(const double* x, const double* y, int n, double yp1, double ypn, double* y2);
  // The spline at v; with fewer than two points their output, or 0. Always true.
  static bool CalcApproximateValue(const double* x, const double* y, const double* y2, int n, double v, double* out);
  // 256 entries of the natural spline, clamped to 0..255 and flat outside of the points. At most the first 16 points; a
  // single point gives a constant; the flat ends are not clamped. False, with the table untouched, when the table is
  // null or n is below 1.
  static bool GetGammaCurve(const double* x, const double* y, int n, double* table);

  // ---- user tone curves (tone.cpp) ----

  // Maps m_dCurve through the master curve, or each channel through its own of three. A record without points: no
  // change.
  void ApplyMasterTone(const ZEP3_TONE* master);
  void ApplyRGBTone(const ZEP3_TONE* rgb);
  // The curve of one record, 256 entries; false, with the table untouched, when it holds none or is null. A point that
  // does not lie to the right of the one kept before it is left out, so that the spline never divides by zero.
  static bool ToneTable(const ZEP3_TONE* tone, double* table);
  // The curves themselves: 256 entries, and 3 * 256 red, green, blue. No curve is the identity. Always true.
  static bool MakeToneCurvLUT(const ZEP3_IC* ic, double* master, double* rgb);
  // A level through a table of 256, interpolated linearly; what is not a number stays so and indexes nothing.
  static double MapThrough(const double* table, double v);

  // ---- conversion values (conv_val.cpp) ----

  // Channel factors of the colour-matrix conversion, after brightness, colour balance and contrast: the smallest slope
  // over the channel's own, so 1 for the flattest channel and less for steeper ones. A channel without a slope has 1.
  void ApplyConvVal(const ZEP3_PARA* para, const double* coef, double* factor);

  // ---- members, all by channel ----

  double m_dNegaCoef[3] = {kFilmGain[0], kFilmGain[1], kFilmGain[2]}; // built-in density gains of colour negatives
  double m_dCurve[3][256] = {};                                       // working curve: output level by input level
  double m_dCoefA[3] = {}; // offset of the base curve out = B * (in - A)^(1 / gamma)
  double m_dCoefB[3] = {}; // scale of the base curve
  double m_dSdOut[3];      // shadow output
  double m_dSdIn[3];       // shadow input
  double m_dHlIn[3];       // highlight input
  double m_dHlOut[3];      // highlight output
  double m_dGamma[3];      // gamma of the base curve

 private:
  void SetDefaults(const ZEP3_PARA& para, int c);
  void FillUnsetChannels(ZEP3_PARA& para);
  void RunBaseCurve(const ZEP3_PARA& para, double least);
};

// conv_val.cpp: a colour matrix (nine doubles, row-major) through the channel factors: off-diagonal entries times the
// factors of the two channels that they mix, diagonal entries such that each row sums to 1. in and out may be the same.
void ConvertMatrix(const double (&factor)[3], const double* in, double* out);
