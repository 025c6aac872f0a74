// CGRYBLNCE: what a picked colour does to a completed record, and the primitives that run colours backwards through
// tables and matrices.
//
// Levels are linear (0..255 as doubles), at least 0.1; those of negatives, which the record gives inverted, are levels
// of the film here. The record must hold a completed analysis: only the palette adjustment looks for unset fields.
#pragma once

#include <cstdint>

#include "engine/common/nega_gain.h"
#include "engine/common/power_curve.h"
#include "engine/zep3.h"

class CGRYBLNCE {
 public:
  explicit CGRYBLNCE(ZEP3_PARA* para);

  // ---- pipettes ----

  // gray_balance.cpp: moves the input points so that the picked colour becomes a common gray. Writes lHlIn and lSdIn
  // and, for originals that are not negatives, lHlOut where a highlight would leave the scale. False in every case.
  bool GBIntensity(ZEP3_PARA* para, ZEP3_GrayBalance gb);
  // pipette_gamma.cpp: sets the gammas so that the picked colour (three display levels) becomes gray, or nothing when
  // it does not lie inside every channel's range or would come out below a channel's shadow output. False in every
  // case.
  bool MakePipetteGmm(const int64_t* plColor, ZEP3_PARA* para);

  // ---- colour conversion (colour_conversion.cpp) ----

  // Replaces each channel of the colour by the fractional input level that a rising table of 256 outputs maps to it;
  // the last matching segment counts. bMaster: all channels in the first table, else channel c in table c. Above the
  // table 254.9; anywhere else without a segment (below it, and on its very top), and for levels below 0.1, 0.1.
  void ConvNewColor(const double* pdLut, double* pdColor, bool bMaster);
  // The same for falling tables, one per channel. Below the table 254.9; its last output belongs to the last segment.
  void ConvNewColorNega(const double* pdLut, double* pdColor);
  // Solves matrix * out = color (3x3, row-major). False, with nothing written, for a determinant below 0.01 or not a
  // number: nearly singular and orientation-reversing matrices are refused.
  bool ConvInverseMatrix(const double* pdMatrix, const int64_t* plColor, double* pdOut);
  // The three density gains of colour negatives that a colour matrix (or null) stands for.
  void CheckCoefOfNega(const double* pdMatrix, double* pdCoef) const;

  // ---- palette adjustment (palette_colour.cpp) ----

  // Moves the input points so that the displayed colour source becomes target (three display levels each), by at most
  // two stops a call. Written: lHlIn and lSdIn of each channel that moves and lHlOut where a highlight would leave the
  // scale. matrix: 3x3, applied behind the tables, or null. False, with nothing written, where one of the colours has
  // no scan level or the points would not stay in order; see AdjustSpecifiedColor. FBP serves positive film and
  // reflective originals, Nega negatives, each refuses the others.
  bool ConvPaletteColorFBP(ZEP3_PARA* para, const int64_t* source, const int64_t* target, const double* matrix);
  // negaCoef: the colour matrix whose diagonal gives the gains of colour negatives, or null for gains of 1.
  bool ConvPaletteColorNega(ZEP3_PARA* para, const int64_t* source, const int64_t* target, const double* negaCoef,
                            const double* matrix);

  // ---- members, all by channel ----

  double m_dNegaCoef[3] = {kFilmGain[0], kFilmGain[1], kFilmGain[2]}; // built-in density gains of colour negatives
  double m_dCoefA[3] = {}; // offset of the power curve out = B * (in - A)^(1 / gamma)
  double m_dCoefB[3] = {}; // scale of the power curve
  double m_dSdOut[3];      // shadow output
  double m_dSdIn[3];       // shadow input
  double m_dHlIn[3];       // highlight input
  double m_dHlOut[3];      // highlight output
  double m_dGamma[3];      // gamma

 private:
  // The channel's curve from `lo` to `hi` for its shadow and highlight output; 0 everywhere when its offset lies above
  // `hi`.
  PowerCurve CurveThrough(int c, double lo, double hi, double gamma) const;
  // Its curve through the points; those of negatives rise from the highlight to the shadow input.
  PowerCurve CurveOf(int c, double gamma, bool negative) const;
  // Where the channel's curve through `sd` and a highlight input `hl` above the scale stands at its top, times `unit`.
  double OutputAtTop(int c, double sd, double hl, double unit) const;
  // What the palette adjustments of all types share.
  bool MovePoints(ZEP3_PARA* para, const int64_t* source, const int64_t* target, const double* negaCoef,
                  const double* matrix);
};

// Linear input levels into the record.
void WriteInputs(ZEP3_POINTS& points, double hl, double sd, double displayExponent, bool negative);

// What the inverse look-ups give for a value without a segment: above the table, and anywhere else.
inline constexpr double kLevelAbove = 254.9;
inline constexpr double kLevelNotFound = 0.1;

// The gray that three outputs are brought to: green counts three times.
inline double CommonGray(const double (&out)[3]) { return (out[0] + 3.0 * out[1] + out[2]) / 5.0; }
