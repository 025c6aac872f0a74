// The engine's parameter record together with the tone records that it points to, as one value that can be copied.
#pragma once

#include "engine/zep3.h"

// In the order of the engine.
inline constexpr const char* kChannelNames[] = {"red", "green", "blue"};

struct Record {
  ZEP3_PARA para;
  ZEP3_TONE master;
  ZEP3_TONE rgb[3];

  // The starting record of ResetZEP3, with the tone records of this object.
  Record();
  Record(const Record& other) { *this = other; }
  Record& operator=(const Record& other);
};

// Whether the adaptive analysis of the record's kind is that of pages.
inline bool IsPageKind(const ZEP3_PARA& para) {
  return para.wDocType == ZEP3_DOC_REFLECTIVE &&
         (para.wSubMode == ZEP3_SUB_DOCUMENT || para.wSubMode == ZEP3_SUB_BACKGROUND_REMOVAL ||
          para.wSubMode == ZEP3_SUB_GROUND_COLOR_REMOVAL);
}

// The name of the record's kind of original; empty where the library has none for it.
inline const char* KindName(const Record& record) {
  const ZEP3_KIND* kind = FindZEP3KindOf(&record.para);
  return kind == nullptr ? "" : kind->pName;
}
