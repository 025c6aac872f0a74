#include "engine/adaptive/block_grid.h"

#include <gtest/gtest.h>

#include "engine/adaptive/order_statistics.h"
#include "support.h"

namespace {

int Colour(int x, int y, int c) { return (7 * x + 13 * y + 50 * c + x * y) % 256; }

TEST(BlockGrid, HoldsTheMeansOfWholeBlocks) {
  struct Row {
    int width, height, side, columns, rows;
  };
  const Row rows[] = {
      {200, 150, 1, 200, 150},                                              // 30000: every pixel
      {201, 150, 2, 100, 75},                                               // one more column, left over
      {301, 203, 2, 150, 101}, {4000, 7, 1, 4000, 7}, {100000, 2, 3, 0, 0}, // no block fits
  };
  for (const Row& row : rows) {
    for (const int format : {ZEP3_PIXEL_RGB, ZEP3_PIXEL_BGR, ZEP3_PIXEL_XRGB}) {
      SCOPED_TRACE(testing::Message() << row.width << " x " << row.height << ", format " << format);
      Image image(row.width, row.height, format, 5);
      if (format == ZEP3_PIXEL_BGR) image.TurnUpsideDown();
      image.Fill(Colour);
      const BlockGrid grid = ReadBlockGrid(image.bmp, 0);
      ASSERT_EQ(grid.columns * grid.rows, row.columns * row.rows);
      for (int i = 0; i < grid.rows; i += 7) {
        for (int j = 0; j < grid.columns; j += 3) {
          for (int c = 0; c < 3; c++) {
            int sum = 0;
            for (int y = 0; y < row.side; y++) {
              for (int x = 0; x < row.side; x++) sum += Colour(j * row.side + x, i * row.side + y, c);
            }
            ASSERT_EQ(grid.level[c][grid.At(i, j)], sum / static_cast<double>(row.side * row.side));
          }
          ASSERT_TRUE(grid.inside[grid.At(i, j)]);
        }
      }
    }
  }
}

TEST(BlockGrid, LiesInTheArea) {
  Image image(400, 300);
  image.Fill(Colour);
  image.SetArea({100, 60}, {100, 60}, {200, 160}, {200, 160});
  // 5 % of 100 pixels, half of it at each side; the far corner is the last pixel.
  const BlockGrid upright = ReadBlockGrid(image.bmp, 5);
  EXPECT_EQ(upright.columns, 97);
  EXPECT_EQ(upright.rows, 97);
  EXPECT_EQ(upright.level[0][0], Colour(102, 62, 0));
  EXPECT_EQ(upright.level[2][upright.At(96, 96)], Colour(198, 158, 2));

  // A square on its corner: |x - 100| + |y - 100| <= 80, edges included.
  image.SetArea({20, 100}, {100, 20}, {180, 100}, {100, 180});
  const BlockGrid rotated = ReadBlockGrid(image.bmp, 0);
  ASSERT_EQ(rotated.columns, 160);
  for (int y = 0; y < 160; y++) {
    for (int x = 0; x < 160; x++) {
      const bool inside = std::abs(x - 80) + std::abs(y - 80) <= 80;
      ASSERT_EQ(rotated.inside[rotated.At(y, x)], inside) << x << "," << y;
    }
  }

  // Of fewer than 40 pixels the margin leaves the one in the image's corner, if that lies in the area.
  for (const LPOINT& corner : {LPOINT{10, 0}, LPOINT{0, 10}}) {
    image.SetArea(corner, corner, {corner.x + 6, corner.y + 6}, {corner.x + 6, corner.y + 6});
    EXPECT_EQ(ReadBlockGrid(image.bmp, 5).Size(), 0u);
  }

  // Vertical edges where a rotated area should have none.
  image.SetArea({20, 20}, {20, 10}, {180, 100}, {180, 110});
  EXPECT_EQ(ReadBlockGrid(image.bmp, 0).Size(), 0u);
}

TEST(OrderStatistics, LieBetweenSamples) {
  std::vector<double> odd = {5, 1, 4, 2, 3};
  std::vector<double> even = {40, 10, 30, 20};
  EXPECT_EQ(Median(odd), 3.0);
  EXPECT_EQ(Median(even), 25.0);
  EXPECT_EQ(Percentile(odd, 0.0), 1.0);
  EXPECT_EQ(Percentile(odd, 100.0), 5.0);
  EXPECT_EQ(Percentile(even, 10.0), 13.0); // place 0.3 of 0..3
  EXPECT_EQ(LargestFrom(odd, 1), 5.0);
  EXPECT_EQ(LargestFrom(odd, 4), 2.0);
}

} // namespace
