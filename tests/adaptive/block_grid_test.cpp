// The blocks that an adaptive analysis decides on.
#include "engine/adaptive/block_grid.h"

#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <vector>

#include "engine/hist/chist.h"
#include "support.h"

namespace {

int Colour(int x, int y, int c) { return (7 * x + 13 * y + 50 * c + x * y) % 256; }

TEST(BlockGrid, HoldsTheMeansOfWholeBlocks) {
  const struct {
    int width, height, side, columns, rows;
  } cases[] = {{200, 150, 1, 200, 150}, // 30000: every pixel
               {201, 150, 2, 100, 75},  // one more column, left over
               {100000, 2, 3, 0, 0}};   // no block fits
  for (const auto& [width, height, side, columns, rows] : cases) {
    for (const int format : {ZEP3_PIXEL_BGR, ZEP3_PIXEL_XRGB}) {
      Image image(width, height, format, 5);
      if (format == ZEP3_PIXEL_BGR) image.TurnUpsideDown();
      image.Fill(Colour);
      const BlockGrid grid = ReadBlockGrid(image.bmp, 0);
      ASSERT_EQ(grid.columns * grid.rows, columns * rows);
      for (int block = 0; block < grid.columns * grid.rows; block += 17) {
        const int i = block / grid.columns, j = block % grid.columns;
        for (int c = 0; c < 3; c++) {
          int sum = 0;
          for (int n = 0; n < side * side; n++) sum += Colour(j * side + n % side, i * side + n / side, c);
          ASSERT_EQ(grid.level[c][grid.At(i, j)], sum / static_cast<double>(side * side)) << width << " " << block;
        }
      }
    }
  }
}

AREA Upright(int left, int top, int right, int bottom) {
  return {{left, top}, {left, top}, {right, bottom}, {right, bottom}};
}

// The samples of the one and the blocks of the other do not depend on how they are read: sides and beginnings differ.
TEST(BlockGrid, ReadOnTheWayIsTheSame) {
  const struct {
    const char* what;
    int width, height, type, target; // samples aimed at
    AREA area;
    bool together;
  } cases[] = {
      {"all", 900, 700, ZEP3_DOC_REFLECTIVE, 900, Upright(0, 0, 900, 700), true},
      {"a negative", 900, 700, ZEP3_DOC_NEGATIVE, 400, Upright(0, 0, 900, 700), true},
      {"a part", 900, 700, ZEP3_DOC_REFLECTIVE, 300, Upright(101, 53, 788, 611), true},
      {"turned", 900, 700, ZEP3_DOC_REFLECTIVE, 300, {{20, 400}, {400, 10}, {890, 300}, {500, 690}}, true},
      {"beyond the image", 900, 700, ZEP3_DOC_POSITIVE, 300, Upright(450, 300, 1200, 900), true},
      {"lines beyond 16 bits", 900, 1700, ZEP3_DOC_POSITIVE, 12, Upright(0, 0, 900, 1700), true},
      {"small blocks", 900, 700, ZEP3_DOC_POSITIVE, 10000, Upright(0, 0, 900, 700), false},
  };
  for (const auto& row : cases) {
    for (const int format : {ZEP3_PIXEL_BGR, ZEP3_PIXEL_XRGB}) {
      SCOPED_TRACE(row.what);
      Image image(row.width, row.height, format, 5);
      if (format == ZEP3_PIXEL_BGR) image.TurnUpsideDown();
      image.Fill(Colour);
      image.bmp.area = row.area;
      Record r(row.type);
      CHIST alone, both;
      for (CHIST* hist : {&alone, &both}) hist->m_nSampleTargetPosi = hist->m_nSampleTargetNega = row.target;
      BlockGridReader reader(image.bmp, 5);
      both.TakeAlong(&reader);
      ASSERT_TRUE(alone.MakeHistogram(&image.bmp, 5, &r.para));
      ASSERT_TRUE(both.MakeHistogram(&image.bmp, 5, &r.para));
      EXPECT_EQ(std::memcmp(alone.m_nHist, both.m_nHist, sizeof alone.m_nHist), 0);
      EXPECT_EQ(std::memcmp(alone.m_nHistSum, both.m_nHistSum, sizeof alone.m_nHistSum), 0);
      EXPECT_EQ(alone.m_nPixelCount, both.m_nPixelCount);
      const BlockGrid expected = ReadBlockGrid(image.bmp, 5);
      ASSERT_GT(expected.Size(), 0u);
      if (row.together) image.Fill([](int, int, int) { return 0; }); // what has been read is not read again
      const BlockGrid grid = reader.Grid();
      EXPECT_EQ(grid.inside, expected.inside);
      for (int c = 0; c < 3; c++) EXPECT_EQ(grid.level[c], expected.level[c]);
    }
  }
}

TEST(BlockGrid, KnowsPicturesByTheLevelsThatTell) {
  const struct {
    const char* what;
    int type;
    int level[3]; // of some columns, in percent, by channel; the others have 120
    int percent[3];
    bool usable;
  } cases[] = {
      {"night", ZEP3_DOC_REFLECTIVE, {0, 0, 0}, {60, 60, 60}, true},
      {"hardly a light", ZEP3_DOC_REFLECTIVE, {0, 0, 0}, {70, 70, 70}, false},
      {"snow", ZEP3_DOC_POSITIVE, {254, 254, 254}, {100, 100, 100}, true},
      {"bare light", ZEP3_DOC_POSITIVE, {255, 255, 255}, {70, 70, 70}, false},
      {"white paper", ZEP3_DOC_REFLECTIVE, {255, 255, 255}, {100, 100, 100}, true},
      {"under water", ZEP3_DOC_POSITIVE, {0, 0, 0}, {94, 0, 0}, true},
      {"a lamp without blue", ZEP3_DOC_NEGATIVE, {0, 0, 0}, {0, 0, 100}, false},
      {"monochrome by such a lamp", ZEP3_DOC_NEGATIVE_BW, {0, 0, 0}, {0, 100, 100}, true},
  };
  for (const auto& row : cases) {
    Image image(200, 150);
    image.Fill([&](int x, int, int c) { return x < 2 * row.percent[c] ? row.level[c] : 120; });
    const BlockGrid grid = ReadBlockGrid(image.bmp, 0);
    std::vector<size_t> blocks(grid.Size());
    std::iota(blocks.begin(), blocks.end(), size_t{0});
    EXPECT_EQ(HaveUsableLevels(grid, blocks, static_cast<int16_t>(row.type)), row.usable) << row.what;
  }
}

} // namespace
