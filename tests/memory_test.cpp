// What the calls take of the heap: nothing of the image's size; and what they do when there is none left.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <new>
#include <vector>

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
void* operator new(size_t size, const std::nothrow_t&) noexcept try {
  return operator new(size);
} catch (const std::bad_alloc&) {
  return nullptr;
}
void* operator new[](size_t size, const std::nothrow_t& none) noexcept { return operator new(size, none); }
void operator delete[](void* block) noexcept { operator delete(block); }
void operator delete[](void* block, size_t) noexcept { operator delete(block); }

namespace {

// The most that an analysis has at a time.
size_t MostOf(int width, int height, int format, int docType, bool adaptive = false) {
  Image image(width, height, format);
  FillPicture(image);
  Record r(docType);
  const size_t before = g_taken;
  g_most = before;
  EXPECT_EQ(adaptive ? ZEP3Adaptive(&image.bmp, &r.para, kIdentity, nullptr) : ZEP3(&image.bmp, &r.para, kIdentity), 1);
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
  FillPicture(image);
  double out[9], display[3] = {100};
  int64_t pick[3] = {120, 110, 100};
  const int64_t wanted[3] = {130, 110, 100};
  std::vector<uint8_t> table(768);
  double* m = kIdentity;
  ZEP3_EVIDENCE evidence = {};
  Record film(ZEP3_DOC_NEGATIVE);
  ZEP3_OBSERVATION seen[2];
  ZEP3_SHARED shared;
  int64_t member[2];
  for (ZEP3_OBSERVATION& one : seen) ASSERT_EQ(ObserveZEP3(&image.bmp, &film.para, m, &one), 1);
  ASSERT_EQ(SolveZEP3Shared(seen, 2, &shared, member), 1);
  struct Row {
    const char* name;
    int least;   // requests
    bool writes; // into the record when it fails
    std::function<int(ZEP3_PARA*)> call;
  };
  const Row rows[] = {
      {"ZEP3", 10, true, [&](ZEP3_PARA* p) { return ZEP3(&image.bmp, p, m); }},
      {"ZEP3Adaptive", 20, true, [&](ZEP3_PARA* p) { return ZEP3Adaptive(&image.bmp, p, m, nullptr); }},
      {"ObserveZEP3", 10, false, [&](ZEP3_PARA* p) { return ObserveZEP3(&image.bmp, p, m, seen); }},
      {"SolveZEP3Shared", 5, false, [&](ZEP3_PARA*) { return SolveZEP3Shared(seen, 2, &shared, member); }},
      {"ZEP3Shared", 20, true, [&](ZEP3_PARA* p) { return ZEP3Shared(&image.bmp, p, m, &shared, nullptr); }},
      // From here on the image is another one.
      {"FinishZEP3", 20, true, [&](ZEP3_PARA* p) { return FinishZEP3(&image.bmp, 22, 1, p, m, nullptr); }},
      {"FinishZEP3, a page", 60, true,
       [&](ZEP3_PARA* p) {
         p->wDocType = ZEP3_DOC_REFLECTIVE;
         p->wSubMode = ZEP3_SUB_DOCUMENT;
         return FinishZEP3(&image.bmp, 22, 1, p, m, nullptr);
       }},
      {"JudgeZEP3", 10, false, [&](ZEP3_PARA* p) { return JudgeZEP3(&image.bmp, p, m, &evidence); }},
      {"MakeZEP3LUTEx", 1, false, [&](ZEP3_PARA* p) { return MakeZEP3LUTEx(p, m, table.data()); }},
      {"the same in place", 2, false, [&](ZEP3_PARA* p) { return MakeZEP3LUTAt(p, m, display, 1, display); }},
      {"ApplyZEP3LUT", 0, false, [&](ZEP3_PARA*) { return ApplyZEP3LUT(&image.bmp, table.data()); }},
      {"ColorMatrixConv", 1, false, [&](ZEP3_PARA* p) { return ColorMatrixConv(p, m, out); }},
      {"AdjustSpecifiedColor", 2, false,
       [&](ZEP3_PARA* p) { return AdjustSpecifiedColor(p, pick, wanted, m, nullptr); }},
  };
  for (const Row& row : rows) {
    bool refused = true;
    for (int enough = 0; refused; enough++) {
      SCOPED_TRACE(testing::Message() << row.name << " with " << enough << " requests met");
      Record r(ZEP3_DOC_NEGATIVE);
      r.SetPoints(kFilmPoints);
      r.para.lAgainstLight = 8;
      const auto before = r.Bytes();
      const std::vector<uint8_t> tableBefore = table, pixelsBefore = image.pixels;
      const size_t taken = g_taken;
      g_left = enough;
      const int answer = row.call(&r.para);
      refused = g_left == 0 && answer == 0;
      g_left = -1;
      ASSERT_EQ(g_taken, taken);
      if (!refused) {
        EXPECT_EQ(answer, 1);
        EXPECT_GE(enough, row.least);
        continue;
      }
      EXPECT_TRUE(row.writes || r.Bytes() == before);
      EXPECT_TRUE(table == tableBefore && image.pixels == pixelsBefore);
    }
  }
}

} // namespace
