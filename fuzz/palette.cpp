// AdjustSpecifiedColor on any record, colours and matrices.
#include "records.h"
#include "target.h"

void RunTarget(Input input) {
  const HostileRecord given(input);
  int64_t source[3], target[3];
  for (int64_t* colour : {source, target}) {
    for (int c = 0; c < 3; c++) colour[c] = input.OneIn(4) ? input.Field() : input.Below(256);
  }
  const std::array<double, 9> film = input.Matrix(), colours = input.Matrix();
  const double* filmMatrix = input.OneIn(3) ? nullptr : film.data();
  const double* colourMatrix = input.OneIn(3) ? nullptr : colours.data();

  HostileRecord record = given;
  const int result = AdjustSpecifiedColor(&record.para, source, target, filmMatrix, colourMatrix);
  ZEP3_HOLDS(result == 0 || result == 1);
  ZEP3_HOLDS(record.HasTonesOf(given));
  HostileRecord again = given;
  ZEP3_HOLDS(AdjustSpecifiedColor(&again.para, source, target, filmMatrix, colourMatrix) == result && again == record);
  if (record == given) return;
  // What moved lies in order and on the scale, and only points moved.
  ZEP3_HOLDS(result == 1);
  HostileRecord expected = given;
  for (int c = 0; c < 3; c++) {
    ZEP3_POINTS& p = expected.para.ic.ch[c];
    const ZEP3_POINTS& moved = record.para.ic.ch[c];
    ZEP3_HOLDS(0 <= moved.lSdIn && moved.lSdIn < moved.lHlIn && moved.lHlIn <= 65535);
    ZEP3_HOLDS(moved.lHlOut == p.lHlOut ||
               (!given.IsNegative() && moved.lSdOut < moved.lHlOut && moved.lHlOut <= 65535));
    p.lHlIn = moved.lHlIn;
    p.lSdIn = moved.lSdIn;
    p.lHlOut = moved.lHlOut;
  }
  ZEP3_HOLDS(expected == record);
}
