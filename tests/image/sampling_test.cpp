// The walk over the analysis area beside a plain one, pixel by pixel, written from its description.
#include <gtest/gtest.h>
#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>
#endif

#include <cmath>
#include <cstring>
#include <random>

#include "engine/hist/chist.h"
#include "support.h"

namespace {

class Draw {
 public:
  explicit Draw(unsigned seed) : m_random(seed) {}
  int Below(int limit) { return static_cast<int>(m_random() % static_cast<unsigned>(limit)); }
  int Between(int low, int high) { return low + Below(high - low + 1); }

 private:
  std::mt19937 m_random;
};

bool IsRotated(const AREA& a) { return a.ptLeft.x != a.ptTop.x || a.ptLeft.y != a.ptTop.y; }

// Twice the area of the triangle a, b, p: above 0 when p lies to the right of the way from a to b (y grows downwards).
int64_t Side(const LPOINT& a, const LPOINT& b, int64_t x, int64_t y) {
  return (b.x - a.x) * (y - a.y) - (b.y - a.y) * (x - a.x);
}

// Whether a pixel lies in the area; of a rotated one (without margin) by exact integers. -1: exactly on an edge, where
// the engine's edge line is rounded.
int Inside(const AREA& a, int margin, int64_t x, int64_t y) {
  if (IsRotated(a)) {
    const int64_t sides[] = {Side(a.ptLeft, a.ptTop, x, y), Side(a.ptTop, a.ptRight, x, y),
                             Side(a.ptRight, a.ptBottom, x, y), Side(a.ptBottom, a.ptLeft, x, y)};
    const int64_t least = *std::min_element(std::begin(sides), std::end(sides));
    return least == 0 ? -1 : least > 0;
  }
  const int64_t w = a.ptRight.x - a.ptLeft.x;
  const int64_t h = a.ptBottom.y - a.ptTop.y;
  const bool tiny = w * h < 40;
  const int64_t dx = tiny ? 0 : w * margin / 200;
  const int64_t dy = tiny ? 0 : h * margin / 200;
  return a.ptLeft.x + dx <= x && x <= a.ptRight.x - dx && a.ptTop.y + dy <= y && y <= a.ptBottom.y - dy;
}

struct Histograms {
  int64_t samples = 0;
  uint32_t channel[3][256] = {}, sum[768] = {};
};

template <class IsInner>
Histograms PlainWalk(const Image& image, int target, IsInner inner) {
  const AREA& a = image.bmp.area;
  const int left = static_cast<int>(std::max<int64_t>(0, a.ptLeft.x));
  const int right = static_cast<int>(std::min<int64_t>(image.width, a.ptRight.x));
  const int top = static_cast<int>(std::max<int64_t>(0, a.ptTop.y));
  const int bottom = static_cast<int>(std::min<int64_t>(image.height, a.ptBottom.y));
  int64_t pixels = 0;
  for (int y = top; y < bottom; y++) {
    for (int x = left; x < right; x++) pixels += inner(x, y);
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
      if (!inner(x, y)) continue;
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

TEST(Sampling, HistogramsAreThoseOfAPlainWalk) {
  Draw draw(11);
  int served = 0;
  int onEdges = 0;
  for (int n = 0; n < 600; n++) {
    Image image(draw.Between(1, 130), draw.Between(1, 90), draw.Below(5), draw.Below(3) * 5);
    image.Fill([&](int x, int y, int c) { return Noise(3 * (130 * y + x) + c, n); });
    const int w = image.width;
    const int h = image.height;
    // About the image, and beyond it on all sides.
    const int left = draw.Between(-20, w / 2), right = draw.Between(left + 1, w + 20);
    const int top = draw.Between(-20, h / 2), bottom = draw.Between(top + 1, h + 20);
    if (n % 3 == 0) image.SetArea({left, top}, {left, top}, {right, bottom}, {right, bottom});
    if (n % 3 == 1) {
      image.SetArea({left, draw.Between(top, bottom)}, {draw.Between(left, right), top},
                    {right, draw.Between(top, bottom)}, {draw.Between(left, right), bottom});
    }
    const AREA area = image.bmp.area;
    if (n % 2 == 0) image.TurnUpsideDown();
    CHIST hist;
    hist.m_nSampleTargetPosi = draw.Between(1, 2000);
    const int margin = IsRotated(area) ? 0 : draw.Below(95);
    Record r;
    const bool made = hist.MakeHistogram(&image.bmp, margin, &r.para);
    if (!made && n % 3 == 1) continue; // a vertical edge, or half a rectangle
    const Histograms plain = PlainWalk(image, hist.m_nSampleTargetPosi, [&](int x, int y) {
      const int inside = Inside(area, std::min(margin, 90), x, y);
      onEdges += inside < 0;
      return inside < 0 ? hist.IsInnerPoint(x, y) : inside > 0;
    });
    SCOPED_TRACE(testing::Message() << "case " << n << ", " << w << " x " << h << ", target "
                                    << hist.m_nSampleTargetPosi << ", margin " << margin);
    ASSERT_EQ(made, plain.samples > 0);
    if (!made) continue;
    served++;
    ASSERT_EQ(hist.m_nPixelCount, plain.samples);
    ASSERT_EQ(std::memcmp(hist.m_nHist, plain.channel, sizeof plain.channel), 0);
    ASSERT_EQ(std::memcmp(hist.m_nHistSum, plain.sum, sizeof plain.sum), 0);
  }
  EXPECT_GT(served, 400);
  EXPECT_GT(onEdges, 40);
}

#if defined(__linux__)

// An image of more than 4 GiB by mappings of one small file of gray lines: level 60, and 180 in the last tenth, which
// begins beyond 32 bits of bytes. In 32-bit arithmetic the walk would come out elsewhere.
TEST(Sampling, ImagesBeyond32BitsAreReadWhereTheyLie) {
  constexpr int64_t kStride = 1 << 16, kWidth = kStride / 3, kPiece = 1000; // lines of a mapping
  constexpr int64_t kPieces = 75, kLines = kPiece * kPieces, kBytes = kStride * kLines;
  static_assert(kBytes > int64_t{1} << 32);
  void* reserved = mmap(nullptr, kBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (reserved == MAP_FAILED) GTEST_SKIP() << "no 5 GB of addresses";
  auto* bits = static_cast<uint8_t*>(reserved);
  const int files[2] = {memfd_create("dark", 0), memfd_create("bright", 0)};
  for (const int bright : {0, 1}) {
    const std::vector<uint8_t> piece(kStride * kPiece, bright ? 180 : 60);
    ASSERT_EQ(write(files[bright], piece.data(), piece.size()), static_cast<ssize_t>(piece.size()));
  }
  // The bright tenth, 7.5 pieces: piece 67 is split.
  for (int64_t line = 0; line < kLines; line += kPiece / 2) {
    const int bright = line >= kLines - kLines / 10;
    ASSERT_NE(mmap(bits + line * kStride, kStride * kPiece / 2, PROT_READ, MAP_PRIVATE | MAP_FIXED, files[bright], 0),
              MAP_FAILED);
  }
  Image image(1, 1);
  image.bmp.pBits = bits;
  image.bmp.lWidth = kWidth;
  image.bmp.lHeight = kLines;
  image.bmp.lBytesPerLine = kStride;
  for (const bool bottomUp : {false, true}) {
    // Only the columns on the far side, so that a test reads little.
    image.SetArea({kWidth - 400, 0}, {kWidth - 400, 0}, {kWidth, kLines}, {kWidth, kLines});
    if (bottomUp) {
      image.bmp.pBits = bits + (kLines - 1) * kStride;
      image.bmp.lBytesPerLine = -kStride;
    }
    for (const int type : {ZEP3_DOC_REFLECTIVE, ZEP3_DOC_NEGATIVE}) {
      Record r(type);
      CHIST hist;
      ASSERT_TRUE(hist.MakeHistogram(&image.bmp, 0, &r.para));
      // What is neither is the one row of blocks with lines of both.
      EXPECT_LE(hist.m_nPixelCount - static_cast<int>(hist.m_nHist[0][60] + hist.m_nHist[0][180]), 400 / 30);
      EXPECT_NEAR(hist.m_nHist[2][180] / static_cast<double>(hist.m_nPixelCount), 0.1, 0.005);
    }
  }
  munmap(reserved, kBytes);
  for (const int file : files) close(file);
}

#endif

} // namespace
