// The blocks that an adaptive analysis decides on.
#include "engine/adaptive/block_grid.h"

#include <gtest/gtest.h>

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

TEST(BlockGrid, LiesInTheArea) {
  Image image(400, 300);
  image.Fill(Colour);
  image.bmp.area = {{100, 60}, {100, 60}, {200, 160}, {200, 160}};
  // 5 % of 100 pixels, half of it at each side; the far corner is the last pixel.
  const BlockGrid upright = ReadBlockGrid(image.bmp, 5);
  EXPECT_EQ(upright.Size(), 97u * 97u);
  EXPECT_EQ(upright.level[2][upright.At(96, 96)], Colour(198, 158, 2));

  // A square on its corner: |x - 100| + |y - 100| <= 80, edges included.
  image.bmp.area = {{20, 100}, {100, 20}, {180, 100}, {100, 180}};
  const BlockGrid rotated = ReadBlockGrid(image.bmp, 0);
  ASSERT_EQ(rotated.columns, 160);
  for (int i = 0; i < 160 * 160; i++) {
    ASSERT_EQ(rotated.inside[rotated.At(i / 160, i % 160)], std::abs(i % 160 - 80) + std::abs(i / 160 - 80) <= 80) << i;
  }
  // Vertical edges where a rotated area should have none.
  image.bmp.area = {{20, 20}, {20, 10}, {180, 100}, {180, 110}};
  EXPECT_EQ(ReadBlockGrid(image.bmp, 0).Size(), 0u);
}

} // namespace
