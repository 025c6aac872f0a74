// Block means: the plain formula, whatever the block's shape and the way it is summed.
#include "engine/image/block_means.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

// Means of the blocks side by side in `lines` lines, four bytes to a block.
std::vector<uint8_t> MeansOf(const std::vector<uint8_t>& pixels, const PixelLayout& layout, int64_t stride,
                             int64_t lines, int64_t columns, int64_t blocks) {
  BlockMeans means(layout, lines, columns, blocks);
  means.Read(pixels.data(), stride, blocks);
  std::vector<uint8_t> all(static_cast<size_t>(4 * blocks));
  for (int64_t first = 0; first < blocks; first += BlockMeans::kMostMeans) {
    means.Means(first, std::min(blocks - first, BlockMeans::kMostMeans), &all[static_cast<size_t>(4 * first)]);
  }
  return all;
}

int PlainMean(int64_t sum, int64_t pixels) {
  return static_cast<int>(static_cast<double>(sum) / static_cast<double>(pixels) + 0.5);
}

// Blocks of every size that is summed and divided in the short way: their sums on, before and behind every rounding
// border.
TEST(BlockMeans, SmallBlocksRoundAsTheFormulaDoes) {
  for (int64_t pixels = 1; pixels <= 257; pixels++) {
    int64_t columns = 16;
    while (pixels % columns != 0) columns--;
    const int64_t lines = pixels / columns;
    std::vector<int64_t> sums;
    for (int64_t border = 1; border <= 255; border++) {
      for (int64_t off = -1; off <= 1; off++)
        sums.push_back(std::clamp((2 * border - 1) * pixels / 2 + off, int64_t{0}, 255 * pixels));
    }
    const auto blocks = static_cast<int64_t>(sums.size());
    const int64_t stride = 3 * columns * blocks;
    std::vector<uint8_t> image(static_cast<size_t>(stride * lines));
    for (int64_t block = 0; block < blocks; block++) {
      // Red has the sum, green what is missing to white, blue nothing.
      int64_t left = sums[static_cast<size_t>(block)];
      for (int64_t i = 0; i < pixels; i++) {
        uint8_t* p = &image[static_cast<size_t>(i / columns * stride + 3 * (block * columns + i % columns))];
        p[0] = static_cast<uint8_t>(std::min<int64_t>(left, 255));
        p[1] = static_cast<uint8_t>(255 - p[0]);
        left -= p[0];
      }
    }
    const std::vector<uint8_t> means = MeansOf(image, kRgb, stride, lines, columns, blocks);
    for (int64_t block = 0; block < blocks; block++) {
      const int64_t sum = sums[static_cast<size_t>(block)];
      const uint8_t* mean = &means[static_cast<size_t>(4 * block)];
      ASSERT_EQ(mean[0], PlainMean(sum, pixels)) << sum << " of " << pixels;
      ASSERT_EQ(mean[1], PlainMean(255 * pixels - sum, pixels)) << sum << " of " << pixels;
      ASSERT_EQ(mean[2], 0);
    }
  }
}

TEST(BlockMeans, AllShapesLayoutsAndContents) {
  struct Shape {
    int64_t lines, columns, blocks;
  };
  const Shape shapes[] = {{1, 2, 700}, {2, 3, 257}, {15, 17, 20}, {16, 17, 20}, {17, 40, 9},
                          {57, 58, 5}, {257, 1, 9}, {258, 2, 9},  {600, 3, 4},  {2, 300, 3}};
  std::mt19937 random(7);
  for (const Shape& shape : shapes) {
    for (const PixelLayout& layout : {kRgb, kXrgb}) {
      for (const bool white : {false, true}) { // white fills every sum to its brim
        SCOPED_TRACE(testing::Message() << shape.lines << " x " << shape.columns << ", " << layout.samples << " bytes");
        const int64_t line = shape.columns * shape.blocks * layout.samples;
        const int64_t stride = line + 5;
        std::vector<uint8_t> image(static_cast<size_t>(stride * (shape.lines - 1) + line), 255);
        if (!white) std::generate(image.begin(), image.end(), [&] { return static_cast<uint8_t>(random()); });
        const auto means = MeansOf(image, layout, stride, shape.lines, shape.columns, shape.blocks);
        for (int64_t block = 0; block < shape.blocks; block++) {
          for (const int channel : {layout.red, layout.green, layout.blue}) {
            int64_t sum = 0;
            for (int64_t y = 0; y < shape.lines; y++) {
              for (int64_t x = block * shape.columns; x < (block + 1) * shape.columns; x++) {
                sum += image[static_cast<size_t>(y * stride + x * layout.samples + channel)];
              }
            }
            ASSERT_EQ(means[static_cast<size_t>(4 * block + channel)], PlainMean(sum, shape.lines * shape.columns));
          }
        }
      }
    }
  }
}

} // namespace
