// Palette adjustment: a density shift of each channel's input points that gives a displayed colour other levels.
//
// Both colours are run backwards to the scan levels that show them. Multiplying both input points of a channel by q
// stretches its curve by q along the input, shoulder and toe included (of the power curve, a becomes a * q and b
// b * q^(-1 / gamma); the mirrored input of a negative grows by q, too): a level then shows what level / q showed
// before. So q is the source's scan level over the target's. Hard clips do not stretch: beyond such a point the result
// is near the target only.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "engine/common/record.h"
#include "engine/common/scale.h"
#include "engine/graybalance/cgryblnce.h"
#include "engine/lut/clut.h"

namespace {

// Density that one call moves a channel by at most: two stops, so that one pick does not destroy a picture. A second
// call goes on.
constexpr double kShiftMax = 0.6;
// How far look-ups stay off the ends of a table: a value on its very top has no segment and would turn white into
// black.
constexpr double kInset = 0.001;

struct Tables {
  double master[256];
  double rgb[768];
  double curve[768];
};

bool IsOnScale(const ZEP3_POINTS& p) { return HasLevelsOnScale(p) && IsLevel16(p.lGamma); }

bool IsInOrder(const ZEP3_POINTS& p) { return IsOnScale(p) && p.lSdIn < p.lHlIn && p.lSdOut < p.lHlOut; }

// Brings a value to what the table gives. False when there is no way back: the table is level or not finite, or does
// not run in its direction from one extreme to the other. Otherwise every value between them has a segment.
bool ClampInto(const double* table, bool falling, double& v) {
  if (!std::isfinite(v)) return false;
  int lowest = 0;
  int highest = 0;
  for (int i = 0; i < 256; i++) {
    if (!std::isfinite(table[i])) return false;
    if (table[i] < table[lowest]) lowest = i;
    if (table[i] > table[highest]) highest = i;
  }
  const double bottom = table[lowest] + kInset;
  const double top = table[highest] - kInset;
  if ((highest < lowest) != falling || !(bottom < top)) return false;
  v = Clamp(v, bottom, top);
  return true;
}

} // namespace

bool CGRYBLNCE::ConvPaletteColorFBP(ZEP3_PARA* para, const int64_t* source, const int64_t* target,
                                    const double* matrix) {
  if (DocType(*para) != ZEP3_DOC_POSITIVE && DocType(*para) != ZEP3_DOC_REFLECTIVE) return false;
  return MovePoints(para, source, target, nullptr, matrix);
}

bool CGRYBLNCE::ConvPaletteColorNega(ZEP3_PARA* para, const int64_t* source, const int64_t* target,
                                     const double* negaCoef, const double* matrix) {
  if (!IsNegative(*para)) return false;
  return MovePoints(para, source, target, negaCoef, matrix);
}

bool CGRYBLNCE::MovePoints(ZEP3_PARA* para, const int64_t* source, const int64_t* target, const double* negaCoef,
                           const double* matrix) {
  if (para->lScreenGamma <= 0) return false;
  for (const ZEP3_POINTS& p : para->ic.ch) {
    if (!IsOnScale(p)) return false;
  }
  int64_t shown[3];
  int64_t wanted[3];
  for (int c = 0; c < 3; c++) {
    shown[c] = std::clamp<int64_t>(source[c], 0, 255);
    wanted[c] = std::clamp<int64_t>(target[c], 0, 255);
  }
  if (std::equal(shown, shown + 3, wanted)) return true;

  const bool negative = IsNegative(*para);
  const auto tables = std::make_unique<Tables>();
  CLUT::MakeToneCurvLUT(&para->ic, tables->master, tables->rgb);
  ZEP3_PARA copy = *para; // the build writes into its record
  const auto lut = std::make_unique<CLUT>(&copy);
  lut->MakeLUT(&copy, negaCoef, false);
  std::memcpy(tables->curve, lut->m_dCurve, sizeof tables->curve);

  const auto toScan = [&](const int64_t(&color)[3], double(&level)[3]) {
    for (int c = 0; c < 3; c++) level[c] = static_cast<double>(color[c]);
    if (matrix != nullptr && !ConvInverseMatrix(matrix, color, level)) return false;
    for (double& v : level) {
      if (!ClampInto(tables->master, false, v)) return false;
    }
    ConvNewColor(tables->master, level, true);
    for (int c = 0; c < 3; c++) {
      if (!ClampInto(tables->rgb + 256 * c, false, level[c])) return false;
    }
    ConvNewColor(tables->rgb, level, false);
    for (int c = 0; c < 3; c++) {
      if (!ClampInto(tables->curve + 256 * c, negative, level[c])) return false;
    }
    if (negative) {
      ConvNewColorNega(tables->curve, level);
    } else {
      ConvNewColor(tables->curve, level, false);
    }
    return true;
  };
  double from[3];
  double to[3];
  if (!toScan(shown, from) || !toScan(wanted, to)) return false;

  double gain[3] = {1.0, 1.0, 1.0};
  if (DocType(*para) == ZEP3_DOC_NEGATIVE) CheckCoefOfNega(negaCoef, gain);
  const double toDisplay = DisplayExponent(*para);
  ZEP3_POINTS moved[3];
  for (int c = 0; c < 3; c++) {
    // A source that is clipped on its way to the display says nothing about the scan. kLevelAbove occurs only for a
    // curve that reaches its top in one step and falls again at its end.
    if (from[c] == kLevelNotFound || from[c] == kLevelAbove) return false;
    if (!(gain[c] > 0.0)) return false;
    const double limit = kShiftMax * gain[c];
    const double shift = Clamp(1.8 * std::log10(from[c] / to[c]), -limit, limit);
    ZEP3_POINTS& p = moved[c] = para->ic.ch[c];
    if (shift != 0.0) { // else not even by the rounding of a way there and back
      const double q = std::pow(10.0, shift / 1.8);
      double hl = AtLeast(kLevelFloor, m_dHlIn[c] * q);
      const double sd = Clamp(m_dSdIn[c] * q, kLevelFloor, 255.0);
      // A negative's highlight lies below its shadow on the film: above the scale it is out of order.
      if (!negative && hl > 255.0) {
        // Unlike gray balance, the output goes back in display gamma.
        p.lHlOut = EncodeLevel(OutputAtTop(c, sd, hl, 1.0), toDisplay);
        hl = 255.0;
      }
      WriteInputs(p, hl, sd, toDisplay, negative);
    }
    if (!IsInOrder(p)) return false;
  }
  std::copy(moved, moved + 3, para->ic.ch);
  return true;
}
