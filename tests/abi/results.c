/* What the library makes of a scan, as text that can be compared between systems: for every kind and both analyses the
   tables, and a digest of the finished pixels at 8 and 16 bits. Usage: results WIDTH HEIGHT RGB.raw */
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zep3.h"

/* FNV-1a of values, low byte first on every machine. */
static uint64_t Digest(const void* samples, size_t count, int64_t bits) {
  uint64_t digest = UINT64_C(14695981039346656037);
  for (size_t i = 0; i < count; i++) {
    const uint16_t value = bits == ZEP3_BITS_16 ? ((const uint16_t*)samples)[i] : ((const uint8_t*)samples)[i];
    digest = (digest ^ (value & 255)) * UINT64_C(1099511628211);
    digest = (digest ^ (value >> 8)) * UINT64_C(1099511628211);
  }
  return digest;
}

static int Print(const ZEP3_KIND* kind, int64_t adaptive, void* pixels, int64_t width, int64_t height, int64_t bits) {
  ZEP3_PARA para;
  ZEP3_TONE master, rgb[3];
  ResetZEP3(&para, &master, rgb);
  SetZEP3Kind(&para, kind->pName);
  ZEP3_BmpInfo scan;
  SetZEP3Image(&scan, pixels, width, height, 0, ZEP3_PIXEL_RGB, bits);
  ZEP3_EVIDENCE evidence;
  if (!FinishZEP3(&scan, ZEP3_GAMMA_SRGB, adaptive, &para, NULL, &evidence)) return 0;
  uint8_t table[768];
  if (!MakeZEP3LUT(&para, table)) return 0;
  const int depth = bits == ZEP3_BITS_16 ? 16 : 8;
  printf("%s %d %d pixels %016" PRIx64 "\n", kind->pName, (int)adaptive, depth,
         Digest(pixels, (size_t)(3 * width * height), bits));
  printf("%s %d %d reasons %" PRIx64 " verdict %d\n", kind->pName, (int)adaptive, depth, (uint64_t)evidence.lReasons,
         (int)evidence.lVerdict);
  printf("%s %d %d table", kind->pName, (int)adaptive, depth);
  for (int i = 0; i < 768; i++) printf(" %d", table[i]);
  putchar('\n');
  return 1;
}

int main(int argc, char** argv) {
  const int64_t width = argc == 4 ? atoi(argv[1]) : 0, height = argc == 4 ? atoi(argv[2]) : 0;
  if (width < 1 || height < 1) return 2;
  const size_t samples = (size_t)(3 * width * height);
  uint8_t *scan = malloc(samples), *copy = malloc(samples);
  uint16_t* deep = malloc(2 * samples);
  FILE* file = fopen(argv[3], "rb");
  int done = file != NULL && scan != NULL && copy != NULL && deep != NULL && fread(scan, 1, samples, file) == samples;
  const ZEP3_KIND* kind;
  for (int64_t i = 0; done && (kind = GetZEP3Kind(i)) != NULL; i++) {
    for (int64_t adaptive = 0; done && adaptive <= 1; adaptive++) {
      memcpy(copy, scan, samples);
      done = Print(kind, adaptive, copy, width, height, ZEP3_BITS_8);
    }
    for (size_t s = 0; s < samples; s++) deep[s] = (uint16_t)(257 * scan[s]);
    done = done && Print(kind, 1, deep, width, height, ZEP3_BITS_16);
  }
  if (file != NULL) fclose(file);
  free(scan);
  free(copy);
  free(deep);
  return done ? 0 : 1;
}
