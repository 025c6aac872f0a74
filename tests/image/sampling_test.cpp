// The walk over the analysis area beside a plain one, pixel by pixel, written from its description.
#include <gtest/gtest.h>
#if defined(__linux__)
#include <sys/mman.h>
#endif

#include <cmath>
#include <cstring>
#include <random>

#include "engine/hist/chist.h"
#include "support.h"

namespace {

struct Histograms {
  int64_t samples = 0;
  uint32_t channel[3][256] = {}, sum[768] = {};
};

Histograms PlainWalk(const Image& image, CHIST& area) {
  const int target = area.m_nSampleTargetPosi;
  const AREA& a = image.bmp.area;
  const int left = static_cast<int>(std::max<int64_t>(0, a.ptLeft.x));
  const int right = static_cast<int>(std::min<int64_t>(image.width, a.ptRight.x));
  const int top = static_cast<int>(std::max<int64_t>(0, a.ptTop.y));
  const int bottom = static_cast<int>(std::min<int64_t>(image.height, a.ptBottom.y));
  int64_t pixels = 0;
  for (int y = top; y < bottom; y++) {
    for (int x = left; x < right; x++) pixels += area.IsInnerPoint(x, y);
  }
  int blockHeight = 1;
  int blockWidth = 1;
  const bool blocks = pixels > 2 * target;
  if (blocks) {
    const double each = static_cast<double>(pixels) / target;
    blockHeight = std::max(1, static_cast<int>(std::sqrt(each)));
    blockWidth = std::max(1, static_cast<int>(each / blockHeight));
  }
  Histograms result;
  for (int y = top; y < (blocks ? bottom - blockHeight : bottom); y += blockHeight) {
    for (int x = left; x < (blocks ? right - blockWidth : right); x += blockWidth) {
      if (!area.IsInnerPoint(x, y)) continue;
      int mean[3];
      for (int c = 0; c < 3; c++) {
        int64_t sum = 0;
        for (int line = y; line < y + blockHeight; line++) {
          for (int column = x; column < x + blockWidth; column++) sum += image.Level(column, line, c);
        }
        mean[c] = static_cast<int>(static_cast<double>(sum) / (blockHeight * blockWidth) + 0.5);
        result.channel[c][mean[c]]++;
      }
      result.sum[mean[0] + mean[1] + mean[2]]++;
      result.samples++;
    }
  }
  return result;
}

// Margins are percent of the extent, half of it at each side.
TEST(Sampling, SmallAreasKeepTheirPixels) {
  const int64_t rows[][4] = {{39, 1, 5, -1}, {40, 1, 5, 1}, {100, 100, 5, 2}, {100, 100, 120, 45}, {10, 1, 0, 0}};
  for (const auto& [width, height, margin, left] : rows) { // left: -1: what the object holds
    CHIST hist;
    hist.m_nAreaRect[0] = -1;
    AREA area = {{0, 0}, {0, 0}, {width, height}, {width, height}};
    EXPECT_TRUE(hist.CalcLineEquation(&area, static_cast<int>(margin)));
    EXPECT_EQ(hist.m_nAreaRect[0], left) << width << " " << margin;
  }
}

TEST(Sampling, HistogramsAreThoseOfAPlainWalk) {
  std::mt19937 random(11);
  const auto between = [&](int low, int high) { return low + static_cast<int>(random() % unsigned(high - low + 1)); };
  int served = 0;
  for (int n = 0; n < 600; n++) {
    const bool wide = n % 5 == 0, white = n % 7 == 0; // many blocks side by side; sums filled to the brim
    Image image(between(1, wide ? 1500 : 130), between(1, wide ? 20 : 90), between(0, 2), between(0, 2) * 5);
    image.Fill([&](int x, int y, int c) { return white ? 255 : Noise(3 * (130 * y + x) + c, n); });
    // Formats that the analyses do not know are read as B G R.
    if (image.format == ZEP3_PIXEL_BGR && n % 4 == 0) image.bmp.wPixelFormat = static_cast<uint16_t>(3 + n % 9);
    const int w = image.width, h = image.height;
    // About the image, and beyond it on all sides.
    const int left = between(-20, w / 2), right = between(left + 1, w + 20);
    const int top = between(-20, h / 2), bottom = between(top + 1, h + 20);
    AREA& area = image.bmp.area;
    if (n % 3 == 0) area = {{left, top}, {left, top}, {right, bottom}, {right, bottom}};
    if (n % 3 == 1) {
      area = {{left, between(top, bottom)},
              {between(left, right), top},
              {right, between(top, bottom)},
              {between(left, right), bottom}};
    }
    if (n % 2 == 0) image.TurnUpsideDown();
    CHIST hist;
    hist.m_nSampleTargetPosi = between(1, 2000);
    Record r;
    const bool made = hist.MakeHistogram(&image.bmp, between(0, 94), &r.para);
    if (!made && n % 3 == 1) continue; // a vertical edge, or half a rectangle
    const Histograms plain = PlainWalk(image, hist);
    SCOPED_TRACE(testing::Message() << n << ", " << w << " x " << h << ", target " << hist.m_nSampleTargetPosi);
    ASSERT_EQ(made, plain.samples > 0);
    if (!made) continue;
    served++;
    ASSERT_EQ(hist.m_nPixelCount, plain.samples);
    ASSERT_EQ(std::memcmp(hist.m_nHist, plain.channel, sizeof plain.channel), 0);
    ASSERT_EQ(std::memcmp(hist.m_nHistSum, plain.sum, sizeof plain.sum), 0);
  }
  EXPECT_GT(served, 400);
}

#if defined(__linux__)

// An image of more than 4 GiB, black but for the last columns of the last tenth of its lines, which begins beyond 32
// bits of bytes. In 32-bit arithmetic the walk would come out elsewhere.
TEST(Sampling, ImagesBeyond32BitsAreReadWhereTheyLie) {
  constexpr int64_t kStride = 1 << 16, kWidth = kStride / 3, kLines = 75000, kColumns = 400;
  static_assert(kStride * kLines > int64_t{1} << 32);
  void* reserved =
      mmap(nullptr, kStride * kLines, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (reserved == MAP_FAILED) GTEST_SKIP() << "no 5 GB of addresses";
  madvise(reserved, kStride * kLines, MADV_NOHUGEPAGE); // of which each would take 2 MB
  auto* bits = static_cast<uint8_t*>(reserved);
  for (int64_t line = kLines - kLines / 10; line < kLines; line++) {
    std::memset(bits + line * kStride + 3 * (kWidth - kColumns), 180, 3 * kColumns);
  }
  Image image(1, 1);
  for (const bool bottomUp : {false, true}) {
    SetZEP3Image(&image.bmp, bits, kWidth, kLines, kStride, ZEP3_PIXEL_RGB, ZEP3_BITS_8);
    // Only the columns on the far side, so that a test reads little.
    image.bmp.area.ptLeft.x = image.bmp.area.ptTop.x = kWidth - kColumns;
    if (bottomUp) image.bmp.pBits = bits + (kLines - 1) * kStride, image.bmp.lBytesPerLine = -kStride;
    for (const int type : {ZEP3_DOC_REFLECTIVE, ZEP3_DOC_NEGATIVE}) {
      Record r(type);
      CHIST hist;
      ASSERT_TRUE(hist.MakeHistogram(&image.bmp, 0, &r.para));
      // What is neither is the one row of blocks with lines of both.
      EXPECT_LE(hist.m_nPixelCount - static_cast<int>(hist.m_nHist[0][0] + hist.m_nHist[0][180]), kColumns / 30);
      EXPECT_NEAR(hist.m_nHist[2][180] / static_cast<double>(hist.m_nPixelCount), 0.1, 0.005);
    }
  }
  munmap(reserved, kStride * kLines);
}

#endif

} // namespace
