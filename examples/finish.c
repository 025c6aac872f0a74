/* A scan finished in one call. Usage: finish KIND WIDTH HEIGHT <rgb.raw >finished.raw */
#include <stdio.h>
#include <stdlib.h>

#include "zep3.h"

static int Fail(const char* what) {
  fprintf(stderr, "finish: %s\n", what);
  return 1;
}

int main(int argc, char** argv) {
  ZEP3_PARA para;
  ZEP3_TONE master;
  ZEP3_TONE rgb[3];
  ResetZEP3(&para, &master, rgb);
  const long width = argc == 4 ? strtol(argv[2], NULL, 10) : 0;
  const long height = argc == 4 ? strtol(argv[3], NULL, 10) : 0;
  if (width < 1 || height < 1 || width > 100000 || height > 100000 || !SetZEP3Kind(&para, argv[1])) {
    fputs("usage: finish KIND WIDTH HEIGHT <rgb.raw >finished.raw\nKIND is one of\n", stderr);
    const ZEP3_KIND* kind;
    for (int64_t i = 0; (kind = GetZEP3Kind(i)) != NULL; i++) fprintf(stderr, "  %-18s %s\n", kind->pName, kind->pText);
    return 2;
  }
  const size_t bytes = (size_t)width * (size_t)height * 3;
  uint8_t* pixels = malloc(bytes);
  if (pixels == NULL || fread(pixels, 1, bytes, stdin) != bytes) {
    free(pixels);
    return Fail("standard input holds fewer than WIDTH x HEIGHT pixels");
  }

  ZEP3_BmpInfo scan;
  SetZEP3Image(&scan, pixels, width, height, 0, ZEP3_PIXEL_RGB, ZEP3_BITS_8);
  para.ic.lBrightness = 0; /* what the user adds goes here */
  ZEP3_EVIDENCE evidence;
  int status = 0;
  if (!FinishZEP3(&scan, ZEP3_GAMMA_SRGB_CURVE, ZEP3_UNSET, &para, NULL, &evidence)) {
    const char* why = CheckZEP3(ZEP3_CALL_FINISH, &scan, &para, NULL);
    status = Fail(why != NULL ? why : "out of memory");
  } else if (fwrite(pixels, 1, bytes, stdout) != bytes || fflush(stdout) != 0) {
    status = Fail("standard output cannot be written");
  } else {
    const ZEP3_REASON* reason;
    for (int64_t i = 0; (reason = GetZEP3Reason(i)) != NULL; i++) {
      if (evidence.lReasons & reason->lBit) fprintf(stderr, "%s\n", reason->pSentence);
    }
  }
  free(pixels);
  return status;
}
