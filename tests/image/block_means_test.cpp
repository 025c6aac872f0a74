// Block means: the plain formula, whatever the block's shape and the way it is summed.
#include "engine/image/block_means.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

// Blocks of every size that is summed and divided in the short way: their sums on, before and behind every rounding
// border.
TEST(BlockMeans, SmallBlocksRoundAsTheFormulaDoes) {
  constexpr int64_t kBlocks = 3 * 255;
  for (int64_t pixels = 1; pixels <= 257; pixels++) {
    int64_t columns = 16;
    while (pixels % columns != 0) columns--;
    const int64_t stride = 3 * columns * kBlocks;
    std::vector<uint8_t> image(static_cast<size_t>(stride * pixels / columns));
    std::vector<int64_t> sums;
    for (int64_t block = 0; block < kBlocks; block++) {
      // Red has the sum, green what is missing to white, blue nothing.
      int64_t left = std::clamp((2 * (block / 3) + 1) * pixels / 2 + block % 3 - 1, int64_t{0}, 255 * pixels);
      sums.push_back(left);
      for (int64_t i = 0; i < pixels; i++) {
        uint8_t* p = &image[static_cast<size_t>(i / columns * stride + 3 * (block * columns + i % columns))];
        p[0] = static_cast<uint8_t>(std::min<int64_t>(left, 255));
        p[1] = static_cast<uint8_t>(255 - p[0]);
        left -= p[0];
      }
    }
    BlockMeans means(kRgb, pixels / columns, columns, kBlocks);
    means.Read(image.data(), stride, kBlocks);
    for (int64_t block = 0; block < kBlocks; block++) {
      uint8_t mean[4];
      means.Means(block, 1, mean);
      const auto plain = [&](int64_t sum) { return static_cast<int>(double(sum) / double(pixels) + 0.5); };
      const int64_t sum = sums[static_cast<size_t>(block)];
      ASSERT_EQ(mean[0], plain(sum)) << pixels << ", " << sum;
      ASSERT_EQ(mean[1], plain(255 * pixels - sum)) << pixels << ", " << sum;
      ASSERT_EQ(mean[2], 0);
    }
  }
}

} // namespace
