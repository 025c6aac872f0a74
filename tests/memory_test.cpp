// What an analysis takes of the heap: nothing of the image's size.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>

#include "support.h"

namespace {
size_t g_taken = 0;
size_t g_most = 0;
constexpr size_t kHead = 16; // before each block its size, and the alignment kept
} // namespace

void* operator new(size_t size) {
  auto* head = static_cast<size_t*>(std::malloc(size + kHead));
  if (head == nullptr) throw std::bad_alloc();
  *head = size;
  g_taken += size;
  g_most = std::max(g_most, g_taken);
  return reinterpret_cast<char*>(head) + kHead;
}
void operator delete(void* block) noexcept {
  if (block == nullptr) return;
  auto* head = reinterpret_cast<size_t*>(static_cast<char*>(block) - kHead);
  g_taken -= *head;
  std::free(head);
}
void operator delete(void* block, size_t) noexcept { operator delete(block); }

namespace {

// The most that an analysis has at a time.
size_t MostOf(int width, int height, int format, int docType) {
  Image image(width, height, format);
  image.Fill([](int x, int y, int c) { return 40 + c * 20 + (x + y) % 100; });
  Record r(docType);
  double matrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  const size_t before = g_taken;
  g_most = before;
  EXPECT_EQ(ZEP3(&image.bmp, &r.para, matrix), 1);
  EXPECT_EQ(g_taken, before);
  return g_most - before;
}

TEST(Memory, OfAnAnalysisGrowsWithTheWidthAlone) {
  for (const int format : {ZEP3_PIXEL_RGB, ZEP3_PIXEL_XRGB}) {
    for (const int type : {ZEP3_DOC_REFLECTIVE, ZEP3_DOC_NEGATIVE}) {
      SCOPED_TRACE(testing::Message() << "format " << format << ", type " << type);
      const size_t narrow = MostOf(2000, 300, format, type);
      EXPECT_LE(narrow, size_t{8} * 2000 + 120'000); // with the objects and the samples of a negative
      EXPECT_LE(MostOf(9000, 300, format, type), narrow + 8 * 7000);
      EXPECT_LE(MostOf(2000, 1300, format, type), narrow + 64);
    }
  }
}

} // namespace
