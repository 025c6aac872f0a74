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

// The name of the record's kind of original; empty where the library has none for it.
inline const char* KindName(const Record& record) {
  const ZEP3_KIND* kind = FindZEP3KindOf(&record.para);
  return kind == nullptr ? "" : kind->pName;
}
