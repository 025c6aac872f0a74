// The parameter record: kind of original, unset channels, identity curves.
#pragma once

#include <cstdint>

#include "engine/zep3.h"

inline int16_t DocType(const ZEP3_PARA& para) { return static_cast<int16_t>(para.wDocType); }

// The types whose input points are stored inverted. A type outside 0..3 is none of them.
inline bool IsNegative(const ZEP3_PARA& para) {
  return DocType(para) == ZEP3_DOC_NEGATIVE || DocType(para) == ZEP3_DOC_NEGATIVE_BW;
}

inline bool IsPlain(const ZEP3_PARA& para) { return para.wDocOption == ZEP3_OPTION_PLAIN; }

// One unset field makes the whole channel unset.
inline bool IsUnset(const ZEP3_POINTS& p) {
  return p.lGamma == ZEP3_UNSET || p.lHlIn == ZEP3_UNSET || p.lHlOut == ZEP3_UNSET || p.lSdIn == ZEP3_UNSET ||
         p.lSdOut == ZEP3_UNSET;
}

// A backlight level that asks for a correction. Its low 32 bits decide, read as signed; a negative 64-bit value asks
// for none either. How strong it is, the whole value says.
inline bool IsBacklightLevel(int64_t level) {
  return level > 0 && static_cast<int32_t>(static_cast<uint32_t>(level)) > 0;
}

// Writes the identity into the record: count and points in use, nothing else.
inline void SetIdentity(ZEP3_TONE& tone) {
  tone.wPointNum = 2;
  tone.ptCtrl[0] = {0, 0};
  tone.ptCtrl[1] = {255, 255};
}
