// Steps on one channel's points, or on all three, that several calculators take alike. Points are 16-bit integers,
// linear level times 257; a step that goes through them truncates there.
#pragma once

#include <cstdint>

#include "engine/common/convert.h"
#include "engine/common/power_curve.h"
#include "engine/common/record.h"
#include "engine/zep3.h"

inline void SetOutputs(ZEP3_IC& ic, int64_t hlOut, int64_t sdOut) {
  for (ZEP3_POINTS& p : ic.ch) {
    p.lHlOut = hlOut;
    p.lSdOut = sdOut;
  }
}

// What the calculators of negatives fix: shaped ends, outputs 200 and 10.
inline void SetNegativeHeader(ZEP3_IC& ic) {
  ic.wHlCurveType = ZEP3_HL_ROLL_OFF;
  ic.wSdCurveType = ZEP3_SD_TOE;
  SetOutputs(ic, 51400, 2570);
}

// The shadow curve of reflective and positive originals: a toe, unless the plain handling is asked for.
inline uint16_t ShadowCurveType(const ZEP3_PARA& para) { return IsPlain(para) ? ZEP3_SD_NONE : ZEP3_SD_TOE; }

// A 16-bit highlight multiplied by a gain, truncated, and raised to the lowest highlight input (8-bit level).
inline int64_t GainedHighlight(int64_t hl16, double gain, int lowest) {
  const int64_t gained = ToLevel16(Level8(hl16) * gain);
  return lowest > Level8(gained) ? lowest * 257 : gained;
}

// The gamma (times 100) of the straight line through the points, seen from the highlight:
// (hlIn / hlOut) * ((hlOut - sdOut) / (hlIn - sdIn)), rounded.
inline int32_t SlopeGamma(const ZEP3_POINTS& p) {
  const double highlights = static_cast<double>(p.lHlIn) / static_cast<double>(p.lHlOut);
  const double spans = static_cast<double>(p.lHlOut - p.lSdOut) / static_cast<double>(p.lHlIn - p.lSdIn);
  return ToInt32(highlights * spans * 100.0 + 0.5);
}

// The input points at which the curve reaches the channel's output points.
inline void ReadBackInputs(ZEP3_POINTS& p, const PowerCurve& curve) {
  p.lHlIn = ClampToLevel16(curve.InputFor(Level8(p.lHlOut)));
  p.lSdIn = ClampToLevel16(curve.InputFor(Level8(p.lSdOut)));
}

// Lays the channel's curve (with its stored gamma) from the input points to the reference outputs, and moves the input
// points to where that curve reaches the real outputs. References inside the outputs spread the inputs outwards. Equal
// to the outputs, they may still move a point by one through the truncation.
inline void MatchToReferences(ZEP3_POINTS& p, double hlRef, double sdRef, NearOffset guard) {
  const double gamma = static_cast<double>(p.lGamma) / 100.0;
  ReadBackInputs(p, MatchCurve(Level8(p.lSdIn), Level8(p.lHlIn), hlRef / sdRef, hlRef, gamma, guard));
}
