// What the calls take of the heap: nothing of the image's size; and what they do when there is none left.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <new>
#include <vector>

#include "engine/lut/clut.h"
#include "support.h"

namespace {
size_t g_taken = 0;
size_t g_most = 0;
int g_left = -1;             // requests that are still met; below 0: all
constexpr size_t kHead = 16; // before each block its size, and the alignment kept
} // namespace

void* operator new(size_t size) {
  if (g_left == 0) throw std::bad_alloc();
  if (g_left > 0) g_left--;
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

// The sanitizers have forms of their own, which would not call the above.
void* operator new[](size_t size) { return operator new(size); }
void* operator new[](size_t size, const std::nothrow_t&) noexcept try {
  return operator new(size);
} catch (const std::bad_alloc&) {
  return nullptr;
}
void operator delete[](void* block) noexcept { operator delete(block); }
void operator delete[](void* block, size_t) noexcept { operator delete(block); }

namespace {

// The most that an analysis has at a time.
size_t MostOf(int width, int height, int format, int docType, bool adaptive = false) {
  Image image(width, height, format);
  image.Fill([](int x, int y, int c) { return 40 + c * 20 + (x + y) % 100; });
  Record r(docType);
  double matrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  const size_t before = g_taken;
  g_most = before;
  EXPECT_EQ(adaptive ? ZEP3Adaptive(&image.bmp, &r.para, matrix, nullptr) : ZEP3(&image.bmp, &r.para, matrix), 1);
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

// Blocks number 30000 at most, whatever the image holds: levels, densities and what is made of them.
TEST(Memory, OfAnAdaptiveAnalysisIsBounded) {
  for (const int type : {ZEP3_DOC_REFLECTIVE, ZEP3_DOC_NEGATIVE}) {
    EXPECT_LE(MostOf(2000, 1500, ZEP3_PIXEL_RGB, type, true), MostOf(2000, 1500, ZEP3_PIXEL_RGB, type) + 30000 * 96);
  }
}

// The first request fails, the second, and so on, until there are enough. Whatever is missing, a call answers 0, and
// has given back what it had.
TEST(Memory, WithoutItCallsFailAndKeepWhatTheyShould) {
  Image image(300, 200);
  image.Fill([](int x, int y, int c) { return 40 + c * 20 + (x + y) % 100; });
  double matrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  double out[9], display[3] = {100};
  int64_t pick[3] = {120, 110, 100};
  const int64_t wanted[3] = {130, 110, 100};
  const double level = 100;
  std::vector<uint8_t> table(768);
  std::vector<uint16_t> deep(3 * 65536);
  struct Row {
    const char* name;
    int least;   // requests
    char writes; // when it fails: 'n' nothing, 'a' what a failed analysis leaves, 'r' the record in part
    std::function<int(Record&)> call;
  };
  const Row rows[] = {
      {"ZEP3", 10, 'a', [&](Record& r) { return ZEP3(&image.bmp, &r.para, matrix); }},
      {"ZEP3Adaptive", 20, 'a', [&](Record& r) { return ZEP3Adaptive(&image.bmp, &r.para, matrix, nullptr); }},
      {"MakeZEP3LUT", 1, 'n', [&](Record& r) { return MakeZEP3LUT(&r.para, table.data()); }},
      {"MakeZEP3LUTEx", 1, 'n', [&](Record& r) { return MakeZEP3LUTEx(&r.para, matrix, table.data()); }},
      {"MakeZEP3LUT16", 1, 'n', [&](Record& r) { return MakeZEP3LUT16(&r.para, matrix, deep.data()); }},
      {"MakeZEP3ScanLUT", 1, 'n', [&](Record& r) { return MakeZEP3ScanLUT(&r.para, matrix, 22, 256, deep.data()); }},
      {"FinishZEP3", 20, 'r', [&](Record& r) { return FinishZEP3(&image.bmp, 22, 1, &r.para, matrix, nullptr); }},
      {"MakeZEP3LUTAt", 1, 'n', [&](Record& r) { return MakeZEP3LUTAt(&r.para, matrix, &level, 1, display); }},
      {"MakeZEP3LUTAt in place", 2, 'n', [&](Record& r) { return MakeZEP3LUTAt(&r.para, matrix, display, 1, display); }},
      {"ApplyZEP3LUT", 0, 'n', [&](Record&) { return ApplyZEP3LUT(&image.bmp, table.data()); }},
      {"ColorMatrixConv", 1, 'n', [&](Record& r) { return ColorMatrixConv(&r.para, matrix, out); }},
      {"GetGrayBalance", 0, 'n',
       [&](Record& r) {
         return GetGrayBalance(&r.para, {120, 110, 100, 50});
       }},
      {"GetGamma", 0, 'n', [&](Record& r) { return GetGamma(pick, &r.para); }},
      {"AdjustSpecifiedColor", 2, 'n',
       [&](Record& r) { return AdjustSpecifiedColor(&r.para, pick, wanted, matrix, nullptr); }},
  };
  // More points than any record holds.
  std::vector<double> line(41);
  g_left = 0;
  EXPECT_FALSE(CLUT::Spline(line.data(), line.data(), 40, 0.0, 0.0, line.data()));
  g_left = -1;
  for (const Row& row : rows) {
    for (int enough = 0;; enough++) {
      SCOPED_TRACE(testing::Message() << row.name << " with " << enough << " requests met");
      Record r(ZEP3_DOC_NEGATIVE);
      r.SetPoints({54157, 11813, 53721, 4630, 150});
      r.para.lAgainstLight = 8;
      const Record::Bytes before = r.AllBytes();
      const std::vector<uint8_t> tableBefore = table, pixelsBefore = image.pixels;
      const size_t taken = g_taken;
      g_left = enough;
      const int answer = row.call(r);
      const bool refused = g_left == 0 && answer == 0;
      g_left = -1;
      ASSERT_EQ(g_taken, taken);
      if (!refused) {
        EXPECT_EQ(answer, 1);
        EXPECT_GE(enough, row.least);
        break;
      }
      if (row.writes == 'a') {
        EXPECT_EQ(r.para.lLevelFlag, 0);
        EXPECT_EQ(r.outMaster.wPointNum, 2);
      }
      if (row.writes == 'n') {
        EXPECT_EQ(r.AllBytes(), before);
      }
      EXPECT_EQ(table, tableBefore);
      EXPECT_EQ(image.pixels, pixelsBefore);
    }
  }
}

} // namespace
