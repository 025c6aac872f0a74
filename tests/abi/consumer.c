/* The header alone, in C and in C++: an analysis and its tables, as a front end takes them. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zep3.h"

enum { kWidth = 160, kHeight = 120, kDarkest = 60, kLightest = 190 };

static int Fail(const char* what) {
  fprintf(stderr, "%s\n", what);
  return 1;
}

int main(void) {
  int64_t major = 0;
  int64_t minor = 0;
  if (GetZEP3Version(&major, &minor) != 1 || major != 3 || minor != 9) return Fail("another version");

  static uint8_t pixels[kHeight * kWidth * 3];
  for (int i = 0; i < kHeight * kWidth; i++) {
    memset(pixels + 3 * i, kDarkest + i % kWidth * (kLightest - kDarkest) / (kWidth - 1), 3);
  }
  ZEP3_BmpInfo image;
  SetZEP3Image(&image, pixels, kWidth, kHeight, 0, ZEP3_PIXEL_RGB, ZEP3_BITS_8);
  ZEP3_PARA para;
  ZEP3_TONE master;
  ZEP3_TONE rgb[3];
  ResetZEP3(&para, &master, rgb);
  para.lScreenGamma = 18; /* display levels are linear levels, so that points can be looked up in a table */

  uint8_t table[768];
  if (ZEP3(&image, &para, NULL) != 1 || MakeZEP3LUT(&para, table) != 1) return Fail("no correction");
  for (int c = 0; c < 3; c++) {
    const uint8_t* t = table + 256 * c;
    const ZEP3_POINTS* p = &para.ic.ch[c];
    for (int i = 1; i < 256; i++) {
      if (t[i] < t[i - 1]) return Fail("a table falls");
    }
    if (abs(t[p->lHlIn / 257] - (int)(p->lHlOut / 257)) > 2) return Fail("the highlight point is not met");
    if (t[kLightest] - t[kDarkest] <= kLightest - kDarkest) return Fail("a flat picture gained no contrast");
    if (memcmp(t, table, 256) != 0) return Fail("a gray picture became coloured");
  }
  return 0;
}
