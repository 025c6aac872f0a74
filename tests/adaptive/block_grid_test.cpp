// The blocks that an adaptive analysis decides on.
#include "engine/adaptive/block_grid.h"

#include <gtest/gtest.h>

#include "support.h"

namespace {

int Colour(int x, int y, int c) { return (7 * x + 13 * y + 50 * c + x * y) % 256; }

TEST(BlockGrid, HoldsTheMeansOfWholeBlocks) {
  const struct {
    int width, height, side, columns, rows;
  } rows[] = {{200, 150, 1, 200, 150}, // 30000: every pixel
              {201, 150, 2, 100, 75},  // one more column, left over
              {100000, 2, 3, 0, 0}};   // no block fits
  for (const auto& row : rows) {
    for (const int format : {ZEP3_PIXEL_BGR, ZEP3_PIXEL_XRGB}) {
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
            for (int n = 0; n < row.side * row.side; n++) {
              sum += Colour(j * row.side + n % row.side, i * row.side + n / row.side, c);
            }
            ASSERT_EQ(grid.level[c][grid.At(i, j)], sum / static_cast<double>(row.side * row.side));
          }
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
  for (int i = 0; i < 160 * 160; i++) {
    ASSERT_EQ(rotated.inside[rotated.At(i / 160, i % 160)], std::abs(i % 160 - 80) + std::abs(i / 160 - 80) <= 80) << i;
  }
  // Vertical edges where a rotated area should have none.
  image.SetArea({20, 20}, {20, 10}, {180, 100}, {180, 110});
  EXPECT_EQ(ReadBlockGrid(image.bmp, 0).Size(), 0u);
}

} // namespace
