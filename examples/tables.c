/* From pixels to three tables, and back through them. Usage: tables WIDTH HEIGHT <rgb.raw >corrected.raw */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zep3.h"

int main(int argc, char** argv) {
  const long width = argc > 2 ? strtol(argv[1], NULL, 10) : 0;
  const long height = argc > 2 ? strtol(argv[2], NULL, 10) : 0;
  if (width < 1 || height < 1 || width > 100000 || height > 100000) {
    fputs("usage: tables WIDTH HEIGHT <rgb.raw >corrected.raw\n", stderr);
    return 2;
  }
  const size_t bytes = (size_t)width * (size_t)height * 3;
  uint8_t* pixels = malloc(bytes);
  if (pixels == NULL || fread(pixels, 1, bytes, stdin) != bytes) {
    fputs("tables: standard input holds fewer than WIDTH x HEIGHT pixels\n", stderr);
    return 1;
  }

  /* Where the analysis writes the tone curves that it proposes, and where the table builder finds them. */
  ZEP3_TONE master;
  ZEP3_TONE rgb[3];
  memset(&master, 0, sizeof master);
  memset(rgb, 0, sizeof rgb);

  ZEP3_PARA para;
  memset(&para, 0, sizeof para);
  para.wDocType = ZEP3_DOC_REFLECTIVE;
  para.wSubMode = ZEP3_SUB_PHOTO;
  para.wDocOption = ZEP3_OPTION_NORMAL;
  para.lScreenGamma = 22;
  para.lCorrectLevel = 4;
  para.ic.wHlCurveType = ZEP3_HL_AUTO;
  para.ic.wSdCurveType = ZEP3_SD_AUTO;
  para.pOutMasterTone = para.ic.pMasterTone = &master;
  para.pOutRGBTone = para.ic.pRGBTone = rgb;

  ZEP3_BmpInfo image;
  memset(&image, 0, sizeof image);
  image.pBits = pixels;
  image.lWidth = width;
  image.lHeight = height;
  image.lBytesPerLine = width * 3;
  image.lBitCount = 24;
  image.wPixelFormat = ZEP3_PIXEL_RGB;
  image.area.ptRight.x = image.area.ptBottom.x = width;
  image.area.ptRight.y = image.area.ptBottom.y = height;

  uint8_t table[768];
  if (!ZEP3(&image, &para, NULL) || !MakeZEP3LUT(&para, table)) {
    fputs("tables: the image cannot be analysed\n", stderr);
    return 1;
  }
  for (uint8_t* p = pixels; p != pixels + bytes; p += 3) {
    p[0] = table[p[0]];
    p[1] = table[256 + p[1]];
    p[2] = table[512 + p[2]];
  }
  const int written = fwrite(pixels, 1, bytes, stdout) == bytes && fflush(stdout) == 0;
  free(pixels);
  if (!written) fputs("tables: standard output cannot be written\n", stderr);
  return written ? 0 : 1;
}
