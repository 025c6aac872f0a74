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
  memset(&image, 0, sizeof image);
  image.pBits = pixels;
  image.lWidth = kWidth;
  image.lHeight = kHeight;
  image.lBytesPerLine = kWidth * 3;
  image.lBitCount = 24;
  image.area.ptRight.x = image.area.ptBottom.x = kWidth;
  image.area.ptRight.y = image.area.ptBottom.y = kHeight;

  ZEP3_TONE master;
  ZEP3_TONE rgb[3];
  memset(&master, 0, sizeof master);
  memset(rgb, 0, sizeof rgb);
  ZEP3_PARA para;
  memset(&para, 0, sizeof para);
  para.wDocType = ZEP3_DOC_REFLECTIVE;
  para.wDocOption = ZEP3_OPTION_NORMAL;
  para.lScreenGamma = 18; /* display levels are linear levels, so that points can be looked up in a table */
  para.lCorrectLevel = 4;
  para.pOutMasterTone = para.ic.pMasterTone = &master;
  para.pOutRGBTone = para.ic.pRGBTone = rgb;

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
