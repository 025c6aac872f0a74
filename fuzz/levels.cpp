// ValueOfScreenGammaConv on any level, and GetZEP3Version.
#include "records.h"
#include "target.h"

void RunTarget(Input input) {
  const HostileRecord given(input);
  HostileRecord record = given;
  const int64_t level = input.Field();
  const int64_t shown = ValueOfScreenGammaConv(level, &record.para);
  ZEP3_HOLDS(record == given && shown == static_cast<int32_t>(shown));
  if (given.para.lScreenGamma > 0 && 0 <= level && level <= 65535) {
    ZEP3_HOLDS(0 <= shown && shown <= 65535);
    const int64_t next =
        ValueOfScreenGammaConv(std::min<int64_t>(65535, level + 1 + input.Take<uint8_t>()), &record.para);
    ZEP3_HOLDS(given.IsNegative() ? next <= shown : next >= shown);
  }
  ZEP3_HOLDS(ValueOfScreenGammaConv(level, nullptr) == 0);
  int64_t major = level, minor = level;
  ZEP3_HOLDS(GetZEP3Version(nullptr, &minor) == 0 && GetZEP3Version(&major, nullptr) == 0 && major == level);
  ZEP3_HOLDS(GetZEP3Version(&major, &minor) == 1 && major == 3 && minor == 9);
}
