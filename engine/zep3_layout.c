/* Compiled as C: the records are binary interface, so their sizes and offsets are checked at build time. */
#include <stddef.h>

#include "engine/zep3.h"

#define SIZE(record, bytes) _Static_assert(sizeof(record) == (bytes), #record " changed its size")
#define FIELD(record, field, offset) _Static_assert(offsetof(record, field) == (offset), #record "." #field " moved")

SIZE(LPOINT, 16);
FIELD(LPOINT, x, 0x00);
FIELD(LPOINT, y, 0x08);

SIZE(AREA, 64);
FIELD(AREA, ptLeft, 0x00);
FIELD(AREA, ptTop, 0x10);
FIELD(AREA, ptRight, 0x20);
FIELD(AREA, ptBottom, 0x30);

SIZE(ZEP3_TONE, 264);
FIELD(ZEP3_TONE, wPointNum, 0x00);
FIELD(ZEP3_TONE, ptCtrl, 0x08);

SIZE(ZEP3_POINTS, 40);
FIELD(ZEP3_POINTS, lHlIn, 0x00);
FIELD(ZEP3_POINTS, lSdIn, 0x08);
FIELD(ZEP3_POINTS, lHlOut, 0x10);
FIELD(ZEP3_POINTS, lSdOut, 0x18);
FIELD(ZEP3_POINTS, lGamma, 0x20);

SIZE(ZEP3_IC, 184);
FIELD(ZEP3_IC, ch[0], 0x00);
FIELD(ZEP3_IC, ch[1], 0x28);
FIELD(ZEP3_IC, ch[2], 0x50);
FIELD(ZEP3_IC, wHlCurveType, 0x78);
FIELD(ZEP3_IC, wSdCurveType, 0x7A);
FIELD(ZEP3_IC, lBrightness, 0x80);
FIELD(ZEP3_IC, lContrast, 0x88);
FIELD(ZEP3_IC, lColorBalanceR, 0x90);
FIELD(ZEP3_IC, lColorBalanceG, 0x98);
FIELD(ZEP3_IC, lColorBalanceB, 0xA0);
FIELD(ZEP3_IC, pMasterTone, 0xA8);
FIELD(ZEP3_IC, pRGBTone, 0xB0);

SIZE(ZEP3_PARA, 248);
FIELD(ZEP3_PARA, wDocType, 0x00);
FIELD(ZEP3_PARA, wSubMode, 0x02);
FIELD(ZEP3_PARA, wDocOption, 0x04);
FIELD(ZEP3_PARA, wReserved, 0x06);
FIELD(ZEP3_PARA, lScreenGamma, 0x08);
FIELD(ZEP3_PARA, ic, 0x10);
FIELD(ZEP3_PARA, lSaturation, 0xC8);
FIELD(ZEP3_PARA, lLevelFlag, 0xD0);
FIELD(ZEP3_PARA, lCorrectLevel, 0xD8);
FIELD(ZEP3_PARA, lAgainstLight, 0xE0);
FIELD(ZEP3_PARA, pOutMasterTone, 0xE8);
FIELD(ZEP3_PARA, pOutRGBTone, 0xF0);

SIZE(ZEP3_BmpInfo, 112);
FIELD(ZEP3_BmpInfo, pBits, 0x00);
FIELD(ZEP3_BmpInfo, lWidth, 0x08);
FIELD(ZEP3_BmpInfo, lHeight, 0x10);
FIELD(ZEP3_BmpInfo, lBytesPerLine, 0x18);
FIELD(ZEP3_BmpInfo, lBitCount, 0x20);
FIELD(ZEP3_BmpInfo, area, 0x28);
FIELD(ZEP3_BmpInfo, wPixelFormat, 0x68);

SIZE(ZEP3_GrayBalance, 32);
FIELD(ZEP3_GrayBalance, lRed, 0x00);
FIELD(ZEP3_GrayBalance, lGreen, 0x08);
FIELD(ZEP3_GrayBalance, lBlue, 0x10);
FIELD(ZEP3_GrayBalance, lIntensity, 0x18);
