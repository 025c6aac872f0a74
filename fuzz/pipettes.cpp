// GetGrayBalance and GetGamma on any record and picked colour.
#include "records.h"
#include "target.h"

namespace {

// The record with the points of another.
HostileRecord WithPoints(const HostileRecord& record, const ZEP3_POINTS (&points)[3]) {
  HostileRecord same = record;
  std::copy_n(points, 3, same.para.ic.ch);
  return same;
}

bool IsInt32(int64_t v) { return v == static_cast<int32_t>(v); }

} // namespace

void RunTarget(Input input) {
  const HostileRecord given(input);
  const ZEP3_GrayBalance pick = {input.Field(), input.Field(), input.Field(),
                                 input.OneIn(2) ? input.Field() : input.Below(101)};
  HostileRecord record = given;
  ZEP3_HOLDS(GetGrayBalance(&record.para, pick) == 1);
  ZEP3_HOLDS(WithPoints(given, record.para.ic.ch) == record);
  for (int c = 0; c < 3; c++) {
    const ZEP3_POINTS &before = given.para.ic.ch[c], &after = record.para.ic.ch[c];
    ZEP3_HOLDS(IsInt32(after.lHlIn) && IsInt32(after.lSdIn));
    ZEP3_HOLDS(after.lSdOut == before.lSdOut && after.lGamma == before.lGamma);
    ZEP3_HOLDS(after.lHlOut == before.lHlOut || (IsInt32(after.lHlOut) && !given.IsNegative()));
  }
  HostileRecord again = given;
  ZEP3_HOLDS(GetGrayBalance(&again.para, pick) == 1 && again == record);

  int64_t colour[3] = {pick.lRed, pick.lGreen, pick.lBlue};
  record = given;
  ZEP3_HOLDS(GetGamma(colour, &record.para) == 1);
  ZEP3_HOLDS(colour[0] == pick.lRed && colour[1] == pick.lGreen && colour[2] == pick.lBlue);
  const bool moved = !(record == given);
  for (int c = 0; c < 3; c++) {
    ZEP3_POINTS expected = given.para.ic.ch[c];
    expected.lGamma = record.para.ic.ch[c].lGamma;
    ZEP3_HOLDS(std::memcmp(&expected, &record.para.ic.ch[c], sizeof expected) == 0);
    ZEP3_HOLDS(!moved || IsInt32(expected.lGamma));
  }
  ZEP3_HOLDS(WithPoints(given, record.para.ic.ch) == record);

  record = given;
  ZEP3_HOLDS(GetGrayBalance(nullptr, pick) == 0 && GetGamma(nullptr, &record.para) == 0 &&
             GetGamma(colour, nullptr) == 0 && record == given);
}
