#include "scans.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <new>

Scan::Scan(const Size& size, int format) {
  const int bytes = format == ZEP3_PIXEL_XRGB ? 4 : 3;
  bmp.lWidth = size.width;
  bmp.lHeight = size.height;
  bmp.lBytesPerLine = size.width * bytes;
  bmp.lBitCount = 24;
  bmp.wPixelFormat = static_cast<uint16_t>(format);
  bmp.area.ptRight = bmp.area.ptBottom = {size.width, size.height};
  m_memory.reset(std::malloc(static_cast<size_t>(Bytes())));
  if (m_memory == nullptr) throw std::bad_alloc();
  bmp.pBits = static_cast<uint8_t*>(m_memory.get());
  uint32_t random = 1;
  uint8_t* p = bmp.pBits;
  for (int64_t y = 0; y < size.height; y++) {
    for (int64_t i = 0; i < bmp.lBytesPerLine; i++) {
      random = random * 1664525 + 1013904223; // Numerical Recipes, chapter 7
      // A triangle wave across and down, by a third shifted from channel to channel.
      const int64_t slope = (i * 300 / bmp.lBytesPerLine + y * 300 / size.height + i % bytes * 50) % 300;
      *p++ = static_cast<uint8_t>(50 + (slope < 150 ? slope : 300 - slope) + (random >> 28));
    }
  }
}

void Scan::RotateArea() {
  bmp.area.ptLeft = {0, bmp.lHeight * 55 / 100};
  bmp.area.ptTop = {bmp.lWidth * 45 / 100, 0};
  bmp.area.ptRight = {bmp.lWidth, bmp.lHeight * 45 / 100};
  bmp.area.ptBottom = {bmp.lWidth * 55 / 100, bmp.lHeight};
}

void ReadOnce(const Scan& scan) {
  uint64_t seen = 0;
  const int64_t words = scan.Bytes() / 8;
  for (int64_t i = 0; i < words; i++) {
    uint64_t word = 0;
    std::memcpy(&word, scan.bmp.pBits + 8 * i, sizeof word);
    seen ^= word;
  }
  benchmark::DoNotOptimize(seen);
}

void ModifyInPlace(const Scan& scan) {
  const int64_t words = scan.Bytes() / 8;
  for (int64_t i = 0; i < words; i++) {
    uint64_t word = 0;
    std::memcpy(&word, scan.bmp.pBits + 8 * i, sizeof word);
    word ^= 0x0101010101010101;
    std::memcpy(scan.bmp.pBits + 8 * i, &word, sizeof word);
  }
  benchmark::ClobberMemory();
}
