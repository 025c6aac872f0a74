/* The steps of a correction one by one, as a front end takes them that scans first and applies later: pre-scan,
   analysis, tables, pixels. Usage: tables WIDTH HEIGHT <rgb.raw >corrected.raw */
#include <stdio.h>
#include <stdlib.h>

#include "zep3.h"

static int Fail(const char* what) {
  fprintf(stderr, "tables: %s\n", what);
  return 1;
}

static int Run(ZEP3_BmpInfo* scan, uint8_t* levels, int64_t shrink) {
  /* The record, with the tone curves that the analysis proposes and the table builder takes. */
  ZEP3_PARA para;
  ZEP3_TONE master;
  ZEP3_TONE rgb[3];
  ResetZEP3(&para, &master, rgb);
  SetZEP3Kind(&para, "photo");

  /* The analysis reads linear levels; the scan is encoded as sRGB. Of a scan that says too little the standard analysis
     decides, which takes sRGB its own way: then once more. */
  ZEP3_BmpInfo prescan;
  prescan.pBits = levels;
  ZEP3_EVIDENCE evidence;
  int64_t gamma = GetZEP3ScanGamma(ZEP3_GAMMA_SRGB_CURVE, 1, &para);
  for (;;) {
    if (!MakeZEP3Prescan(scan, gamma, shrink, &prescan)) return Fail("out of memory");
    if (!ZEP3Adaptive(&prescan, &para, NULL, &evidence)) {
      const char* why = CheckZEP3(ZEP3_CALL_ANALYSE, &prescan, &para, NULL);
      return Fail(why != NULL ? why : "out of memory");
    }
    if (gamma == ZEP3_GAMMA_SRGB || evidence.lAnalysis != ZEP3_ANALYSIS_STANDARD) break;
    gamma = ZEP3_GAMMA_SRGB;
  }
  const ZEP3_REASON* reason;
  for (int64_t i = 0; (reason = GetZEP3Reason(i)) != NULL; i++) {
    if (evidence.lReasons & reason->lBit) fprintf(stderr, "%s: %s\n", reason->pCode, reason->pSentence);
  }
  double dyeLeft[ZEP3_EVIDENCE_COUNT_MAX];
  if (GetZEP3Evidence(&evidence, "dyeLeft", dyeLeft) == 3) {
    fprintf(stderr, "dye left: %.2f %.2f %.2f\n", dyeLeft[0], dyeLeft[1], dyeLeft[2]);
  }

  /* Here the user may change brightness, contrast, balance and curves in the record. */

  /* Photos ask for no saturation, so that bytes through tables are all there is; ApplyZEP3ScanLUT takes both. */
  uint16_t fine[3 * 256];
  uint8_t table[3 * 256];
  if (!MakeZEP3ScanLUT(&para, NULL, gamma, 256, fine)) return Fail("out of memory");
  for (int i = 0; i < 3 * 256; i++) table[i] = (uint8_t)((fine[i] + 128) / 257);
  return ApplyZEP3LUT(scan, table) ? 0 : Fail("the image was refused");
}

int main(int argc, char** argv) {
  const long width = argc > 2 ? strtol(argv[1], NULL, 10) : 0;
  const long height = argc > 2 ? strtol(argv[2], NULL, 10) : 0;
  if (width < 1 || height < 1 || width > 100000 || height > 100000) {
    fputs("usage: tables WIDTH HEIGHT <rgb.raw >corrected.raw\n", stderr);
    return 2;
  }
  const size_t bytes = (size_t)width * (size_t)height * 3;
  const int64_t shrink = GetZEP3PrescanShrink(width, height);
  uint8_t* pixels = malloc(bytes);
  uint8_t* levels = malloc((size_t)((width + shrink - 1) / shrink) * (size_t)((height + shrink - 1) / shrink) * 3);
  int status = 0;
  if (pixels == NULL || levels == NULL || fread(pixels, 1, bytes, stdin) != bytes) {
    status = Fail("standard input holds fewer than WIDTH x HEIGHT pixels");
  } else {
    ZEP3_BmpInfo scan;
    SetZEP3Image(&scan, pixels, width, height, 0, ZEP3_PIXEL_RGB, ZEP3_BITS_8);
    status = Run(&scan, levels, shrink);
  }
  if (status == 0 && (fwrite(pixels, 1, bytes, stdout) != bytes || fflush(stdout) != 0)) {
    status = Fail("standard output cannot be written");
  }
  free(levels);
  free(pixels);
  return status;
}
