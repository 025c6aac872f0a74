/* A roll of scans finished together. Usage: roll KIND WIDTH HEIGHT SCAN.raw...
   Each file holds R G B, 8 bits, sRGB; the result is written beside it as SCAN.raw.finished. */
#include <stdio.h>
#include <stdlib.h>

#include "zep3.h"

static int64_t width, height;

static int Fail(const char* name, const char* what) {
  fprintf(stderr, "roll: %s: %s\n", name, what);
  return 1;
}

static int Prepare(const ZEP3_BmpInfo* scan, int64_t gamma, ZEP3_BmpInfo* prescan) {
  return MakeZEP3Prescan(scan, gamma, GetZEP3PrescanShrink(width, height), prescan);
}

/* Reads a scan and makes its pre-scan; both buffers are the caller's to free. */
static int Open(const char* name, ZEP3_BmpInfo* scan, ZEP3_BmpInfo* prescan) {
  const size_t bytes = (size_t)width * (size_t)height * 3;
  uint8_t* pixels = malloc(bytes);
  prescan->pBits = malloc(bytes);
  SetZEP3Image(scan, pixels, width, height, 0, ZEP3_PIXEL_RGB, ZEP3_BITS_8);
  FILE* file = fopen(name, "rb");
  const int read = file != NULL && pixels != NULL && fread(pixels, 1, bytes, file) == bytes;
  if (file != NULL) fclose(file);
  return read && Prepare(scan, ZEP3_GAMMA_SRGB_CURVE, prescan);
}

static int Write(const char* name, const ZEP3_BmpInfo* scan) {
  char path[4096];
  if (snprintf(path, sizeof path, "%s.finished", name) >= (int)sizeof path) return 0;
  const size_t bytes = (size_t)width * (size_t)height * 3;
  FILE* file = fopen(path, "wb");
  const int written = file != NULL && fwrite(scan->pBits, 1, bytes, file) == bytes;
  return (file == NULL || fclose(file) == 0) && written;
}

/* With what the scans share, or, where that is null, by itself. */
static int Analyse(ZEP3_BmpInfo* prescan, ZEP3_PARA* para, double* film, const ZEP3_SHARED* shared,
                   ZEP3_EVIDENCE* evidence) {
  return shared != NULL ? ZEP3Shared(prescan, para, film, shared, evidence)
                        : ZEP3Adaptive(prescan, para, film, evidence);
}

/* One of the two passes over all scans. `shared` is null in the first; then `seen` is written. */
static int Pass(char** names, int count, const char* kind, const ZEP3_SHARED* shared, ZEP3_OBSERVATION* seen) {
  double film[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  for (int i = 0; i < count; i++) {
    ZEP3_PARA para;
    ZEP3_TONE master, rgb[3];
    ResetZEP3(&para, &master, rgb);
    SetZEP3Kind(&para, kind);
    ZEP3_BmpInfo scan, prescan;
    int done = Open(names[i], &scan, &prescan);
    if (done && seen != NULL) {
      done = ObserveZEP3(&prescan, &para, film, &seen[i]);
    } else if (done) {
      uint16_t table[3 * 256];
      int64_t gamma = ZEP3_GAMMA_SRGB_CURVE;
      ZEP3_EVIDENCE evidence;
      done = Analyse(&prescan, &para, film, shared, &evidence);
      if (done && evidence.lAnalysis == ZEP3_ANALYSIS_STANDARD) { /* which takes sRGB its own way */
        gamma = ZEP3_GAMMA_SRGB;
        done = Prepare(&scan, gamma, &prescan) && Analyse(&prescan, &para, film, shared, &evidence);
      }
      const double chroma = GetZEP3Chroma(&para);
      done = done && MakeZEP3ScanLUT(&para, film, gamma, 256, table) && ApplyZEP3ScanLUT(&scan, table, chroma) &&
             Write(names[i], &scan);
    }
    free(scan.pBits);
    free(prescan.pBits);
    if (!done) return Fail(names[i], "cannot be read, finished or written");
  }
  return 0;
}

int main(int argc, char** argv) {
  width = argc > 4 ? strtol(argv[2], NULL, 10) : 0;
  height = argc > 4 ? strtol(argv[3], NULL, 10) : 0;
  if (width < 1 || height < 1 || width > 30000 || height > 30000 || FindZEP3Kind(argv[1]) == NULL) {
    fputs("usage: roll KIND WIDTH HEIGHT SCAN.raw...\n", stderr);
    return 2;
  }
  const int count = argc - 4;
  char** names = argv + 4;
  ZEP3_OBSERVATION* seen = calloc((size_t)count, sizeof *seen);
  int64_t* member = calloc((size_t)count, sizeof *member);
  ZEP3_SHARED shared;
  int status = seen == NULL || member == NULL ? Fail(argv[1], "out of memory") : 0;
  if (status == 0) status = Pass(names, count, argv[1], NULL, seen);
  if (status == 0) {
    const int together = SolveZEP3Shared(seen, count, &shared, member);
    if (!together) fputs("too few belong together: each by itself\n", stderr);
    for (int i = 0; together && i < count; i++) {
      if (member[i] == ZEP3_MEMBER_ODD) fprintf(stderr, "%s does not belong\n", names[i]);
      if (member[i] == ZEP3_MEMBER_BLANK) fprintf(stderr, "%s is blank\n", names[i]);
    }
    status = Pass(names, count, argv[1], together ? &shared : NULL, NULL);
  }
  free(seen);
  free(member);
  return status;
}
