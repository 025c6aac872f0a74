/*
 * The records and codes are binary interface, checked at build time: compiled here as C, and by tests as C++. Callers
 * keep records in arrays and in files, and pass codes as plain numbers.
 */
#include <assert.h>
#include <stdalign.h>
#include <stddef.h>

#include "engine/zep3.h"

#define RECORD(record, bytes) \
  static_assert(sizeof(record) == (bytes) && alignof(record) == 8, #record " changed its size or alignment")
#define FIELD(record, field, offset, bytes)                                                    \
  static_assert(offsetof(record, field) == (offset) && sizeof(((record*)0)->field) == (bytes), \
                #record "." #field " moved or changed its size")
#define CODE(code, value) static_assert((code) == (value), #code " changed its value")

RECORD(LPOINT, 16);
FIELD(LPOINT, x, 0x00, 8);
FIELD(LPOINT, y, 0x08, 8);

RECORD(AREA, 64);
FIELD(AREA, ptLeft, 0x00, 16);
FIELD(AREA, ptTop, 0x10, 16);
FIELD(AREA, ptRight, 0x20, 16);
FIELD(AREA, ptBottom, 0x30, 16);

RECORD(ZEP3_TONE, 264);
FIELD(ZEP3_TONE, wPointNum, 0x00, 2);
FIELD(ZEP3_TONE, ptCtrl, 0x08, 256);

RECORD(ZEP3_POINTS, 40);
FIELD(ZEP3_POINTS, lHlIn, 0x00, 8);
FIELD(ZEP3_POINTS, lSdIn, 0x08, 8);
FIELD(ZEP3_POINTS, lHlOut, 0x10, 8);
FIELD(ZEP3_POINTS, lSdOut, 0x18, 8);
FIELD(ZEP3_POINTS, lGamma, 0x20, 8);

RECORD(ZEP3_IC, 184);
FIELD(ZEP3_IC, ch[0], 0x00, 40);
FIELD(ZEP3_IC, ch[1], 0x28, 40);
FIELD(ZEP3_IC, ch[2], 0x50, 40);
FIELD(ZEP3_IC, wHlCurveType, 0x78, 2);
FIELD(ZEP3_IC, wSdCurveType, 0x7A, 2);
FIELD(ZEP3_IC, lBrightness, 0x80, 8);
FIELD(ZEP3_IC, lContrast, 0x88, 8);
FIELD(ZEP3_IC, lColorBalanceR, 0x90, 8);
FIELD(ZEP3_IC, lColorBalanceG, 0x98, 8);
FIELD(ZEP3_IC, lColorBalanceB, 0xA0, 8);
FIELD(ZEP3_IC, pMasterTone, 0xA8, 8);
FIELD(ZEP3_IC, pRGBTone, 0xB0, 8);

RECORD(ZEP3_PARA, 248);
FIELD(ZEP3_PARA, wDocType, 0x00, 2);
FIELD(ZEP3_PARA, wSubMode, 0x02, 2);
FIELD(ZEP3_PARA, wDocOption, 0x04, 2);
FIELD(ZEP3_PARA, wReserved, 0x06, 2);
FIELD(ZEP3_PARA, lScreenGamma, 0x08, 8);
FIELD(ZEP3_PARA, ic, 0x10, 184);
FIELD(ZEP3_PARA, lSaturation, 0xC8, 8);
FIELD(ZEP3_PARA, lLevelFlag, 0xD0, 8);
FIELD(ZEP3_PARA, lCorrectLevel, 0xD8, 8);
FIELD(ZEP3_PARA, lAgainstLight, 0xE0, 8);
FIELD(ZEP3_PARA, pOutMasterTone, 0xE8, 8);
FIELD(ZEP3_PARA, pOutRGBTone, 0xF0, 8);

RECORD(ZEP3_BmpInfo, 112);
FIELD(ZEP3_BmpInfo, pBits, 0x00, 8);
FIELD(ZEP3_BmpInfo, lWidth, 0x08, 8);
FIELD(ZEP3_BmpInfo, lHeight, 0x10, 8);
FIELD(ZEP3_BmpInfo, lBytesPerLine, 0x18, 8);
FIELD(ZEP3_BmpInfo, lBitCount, 0x20, 8);
FIELD(ZEP3_BmpInfo, area, 0x28, 64);
FIELD(ZEP3_BmpInfo, wPixelFormat, 0x68, 2);

RECORD(ZEP3_GrayBalance, 32);
FIELD(ZEP3_GrayBalance, lRed, 0x00, 8);
FIELD(ZEP3_GrayBalance, lGreen, 0x08, 8);
FIELD(ZEP3_GrayBalance, lBlue, 0x10, 8);
FIELD(ZEP3_GrayBalance, lIntensity, 0x18, 8);

CODE(ZEP3_DOC_NEGATIVE, 0);
CODE(ZEP3_DOC_POSITIVE, 1);
CODE(ZEP3_DOC_REFLECTIVE, 2);
CODE(ZEP3_DOC_NEGATIVE_BW, 3);

CODE(ZEP3_SUB_PHOTO, 0);
CODE(ZEP3_SUB_DOCUMENT, 1);
CODE(ZEP3_SUB_RESTORATION, 2);
CODE(ZEP3_SUB_BACKGROUND_REMOVAL, 3);
CODE(ZEP3_SUB_GROUND_COLOR_REMOVAL, 4);

CODE(ZEP3_OPTION_PLAIN, 1);
CODE(ZEP3_OPTION_NORMAL, 2);

CODE(ZEP3_HL_HARD_CLIP, 0);
CODE(ZEP3_HL_NONE, 1);
CODE(ZEP3_HL_ROLL_OFF, 2);
CODE(ZEP3_HL_AUTO, 6);

CODE(ZEP3_SD_HARD_CLIP, 3);
CODE(ZEP3_SD_NONE, 4);
CODE(ZEP3_SD_TOE, 5);
CODE(ZEP3_SD_AUTO, 7);

CODE(ZEP3_PIXEL_RGB, 0);
CODE(ZEP3_PIXEL_BGR, 1);
CODE(ZEP3_PIXEL_XRGB, 2);

CODE(ZEP3_UNSET, -1);
CODE(ZEP3_TONE_POINTS, 16);
