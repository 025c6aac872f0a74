// Block means: the plain formula, whatever the block's shape and the way it is summed.
#include "engine/image/block_means.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

struct Blocks {
  int64_t lines, columns, count; // of a block; blocks side by side
};

// The blocks of an image of exactly their bytes, beside the plain formula.
void ExpectPlainMeans(const std::vector<uint8_t>& image, const PixelLayout& layout, int64_t stride, const Blocks& b) {
  BlockMeans means(layout, b.lines, b.columns, b.count);
  means.Read(image.data(), stride, b.count);
  std::vector<uint8_t> all(static_cast<size_t>(4 * b.count));
  for (int64_t first = 0; first < b.count; first += BlockMeans::kMostMeans) {
    means.Means(first, std::min(b.count - first, BlockMeans::kMostMeans), &all[static_cast<size_t>(4 * first)]);
  }
  for (int64_t block = 0; block < b.count; block++) {
    for (const int channel : {layout.red, layout.green, layout.blue}) {
      int64_t sum = 0;
      for (int64_t i = 0; i < b.lines * b.columns; i++) {
        const int64_t x = block * b.columns + i % b.columns;
        sum += image[static_cast<size_t>(i / b.columns * stride + x * layout.samples + channel)];
      }
      const auto mean = static_cast<int>(static_cast<double>(sum) / static_cast<double>(b.lines * b.columns) + 0.5);
      ASSERT_EQ(all[static_cast<size_t>(4 * block + channel)], mean) << b.lines << " x " << b.columns << ", " << sum;
    }
  }
}

// Blocks of every size that is summed and divided in the short way: their sums on, before and behind every rounding
// border.
TEST(BlockMeans, SmallBlocksRoundAsTheFormulaDoes) {
  for (int64_t pixels = 1; pixels <= 257; pixels++) {
    int64_t columns = 16;
    while (pixels % columns != 0) columns--;
    constexpr int64_t kBlocks = 3 * 255;
    const int64_t stride = 3 * columns * kBlocks;
    std::vector<uint8_t> image(static_cast<size_t>(stride * pixels / columns));
    for (int64_t block = 0; block < kBlocks; block++) {
      // Red has the sum, green what is missing to white, blue nothing.
      int64_t left = std::clamp((2 * (block / 3) + 1) * pixels / 2 + block % 3 - 1, int64_t{0}, 255 * pixels);
      for (int64_t i = 0; i < pixels; i++) {
        uint8_t* p = &image[static_cast<size_t>(i / columns * stride + 3 * (block * columns + i % columns))];
        p[0] = static_cast<uint8_t>(std::min<int64_t>(left, 255));
        p[1] = static_cast<uint8_t>(255 - p[0]);
        left -= p[0];
      }
    }
    ASSERT_NO_FATAL_FAILURE(ExpectPlainMeans(image, kRgb, stride, {pixels / columns, columns, kBlocks}));
  }
}

TEST(BlockMeans, AllShapesLayoutsAndContents) {
  const Blocks shapes[] = {{1, 2, 700}, {2, 3, 257}, {15, 17, 20}, {16, 17, 20}, {17, 40, 9},
                           {57, 58, 5}, {257, 1, 9}, {258, 2, 9},  {600, 3, 4},  {2, 300, 3}};
  std::mt19937 random(7);
  for (const Blocks& shape : shapes) {
    for (const PixelLayout& layout : {kRgb, kXrgb}) {
      for (const bool white : {false, true}) { // white fills every sum to its brim
        const int64_t line = shape.columns * shape.count * layout.samples;
        std::vector<uint8_t> image(static_cast<size_t>((line + 5) * (shape.lines - 1) + line), 255);
        if (!white) std::generate(image.begin(), image.end(), [&] { return static_cast<uint8_t>(random()); });
        ExpectPlainMeans(image, layout, line + 5, shape);
      }
    }
  }
}

} // namespace
