// The parameter record: kind of original, unset channels, identity curves.
#pragma once

#include <cmath>
#include <cstdint>

#include "engine/zep3.h"

inline int16_t DocType(const ZEP3_PARA& para) { return static_cast<int16_t>(para.wDocType); }

// The types whose input points are stored inverted. A type outside 0..3 is none of them.
inline bool IsNegative(const ZEP3_PARA& para) {
  return DocType(para) == ZEP3_DOC_NEGATIVE || DocType(para) == ZEP3_DOC_NEGATIVE_BW;
}

// Whether the original is a picture of a known kind rather than a page.
inline bool IsPicture(const ZEP3_PARA& para) {
  switch (DocType(para)) {
    case ZEP3_DOC_NEGATIVE:
    case ZEP3_DOC_POSITIVE:
    case ZEP3_DOC_NEGATIVE_BW:
      return true; // films know no sub-mode but restoration
    case ZEP3_DOC_REFLECTIVE:
      return para.wSubMode == ZEP3_SUB_PHOTO || para.wSubMode == ZEP3_SUB_RESTORATION;
    default:
      return false;
  }
}

// Whether it is a document.
inline bool IsPage(const ZEP3_PARA& para) {
  return DocType(para) == ZEP3_DOC_REFLECTIVE &&
         (para.wSubMode == ZEP3_SUB_DOCUMENT || para.wSubMode == ZEP3_SUB_BACKGROUND_REMOVAL ||
          para.wSubMode == ZEP3_SUB_GROUND_COLOR_REMOVAL);
}

inline bool IsPlain(const ZEP3_PARA& para) { return para.wDocOption == ZEP3_OPTION_PLAIN; }

// Whether the record asks for anything beyond what an analysis proposes.
inline bool HasUserValues(const ZEP3_PARA& para) {
  const ZEP3_IC& ic = para.ic;
  return ic.lBrightness != 0 || ic.lContrast != 0 || ic.lColorBalanceR != 0 || ic.lColorBalanceG != 0 ||
         ic.lColorBalanceB != 0 || ic.pMasterTone != para.pOutMasterTone || ic.pRGBTone != para.pOutRGBTone;
}

// One unset field makes the whole channel unset.
inline bool IsUnset(const ZEP3_POINTS& p) {
  return p.lGamma == ZEP3_UNSET || p.lHlIn == ZEP3_UNSET || p.lHlOut == ZEP3_UNSET || p.lSdIn == ZEP3_UNSET ||
         p.lSdOut == ZEP3_UNSET;
}

inline bool IsLevel16(int64_t v) { return 0 <= v && v <= 65535; }

// Whether the four points, leaving the gamma aside, are 16-bit levels.
inline bool HasLevelsOnScale(const ZEP3_POINTS& p) {
  return IsLevel16(p.lHlIn) && IsLevel16(p.lSdIn) && IsLevel16(p.lHlOut) && IsLevel16(p.lSdOut);
}

// A share of the way from one value to another, rounded; and of all five of a channel.
inline int64_t Between(int64_t from, int64_t to, double share) {
  return from + std::llround(share * static_cast<double>(to - from));
}

inline ZEP3_POINTS PointsBetween(const ZEP3_POINTS& from, const ZEP3_POINTS& to, double share) {
  return {Between(from.lHlIn, to.lHlIn, share), Between(from.lSdIn, to.lSdIn, share),
          Between(from.lHlOut, to.lHlOut, share), Between(from.lSdOut, to.lSdOut, share),
          Between(from.lGamma, to.lGamma, share)};
}

// Writes the identity into the record: count and points in use, nothing else.
inline void SetIdentity(ZEP3_TONE& tone) {
  tone.wPointNum = 2;
  tone.ptCtrl[0] = {0, 0};
  tone.ptCtrl[1] = {255, 255};
}
