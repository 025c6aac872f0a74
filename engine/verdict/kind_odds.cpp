#include "engine/verdict/kind_odds.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "engine/adaptive/order_statistics.h"
#include "engine/common/scale.h"
#include "engine/verdict/tuning.h"

using namespace verdict;

namespace {

// Means over the blocks between two shares of the picture, from its lightest to its darkest.
struct Zone {
  double from, to;
  double count = 0.0;
  double density[3] = {};

  double At(int c) const { return density[c] / count; }
};

} // namespace

double NegativeLogOdds(const View& view) {
  const std::vector<size_t>& blocks = view.picture.blocks;
  if (blocks.empty()) return 0.0;
  std::array<double, 257> density;
  for (size_t i = 0; i < density.size(); i++) {
    density[i] = Density(AtLeast(kLeastLevel, AtMost(255.0, static_cast<double>(i))));
  }
  const auto at = [&](int c, size_t block) {
    const double level = view.grid.level[c][block];
    const auto below = static_cast<size_t>(level);
    return density[below] + (density[below + 1] - density[below]) * (level - static_cast<double>(below));
  };
  std::vector<double> dark(blocks.size());
  for (size_t i = 0; i < blocks.size(); i++) dark[i] = at(0, blocks[i]) + at(1, blocks[i]) + at(2, blocks[i]);

  Zone zones[] = {{kLightest[0], kLightest[1]}, {kDark[0], kDark[1]}, {kDarkest[0], kDarkest[1]}};
  std::vector<double> samples = dark;
  for (Zone& zone : zones) {
    const double from = Percentile(samples, 100.0 * zone.from);
    const double to = Percentile(samples, 100.0 * zone.to);
    for (size_t i = 0; i < blocks.size(); i++) {
      if (dark[i] < from || dark[i] > to) continue;
      zone.count += 1.0;
      for (int c = 0; c < 3; c++) zone.density[c] += at(c, blocks[i]);
    }
    if (zone.count == 0.0) return 0.0; // between two blocks
  }
  const auto& [lightest, shadow, darkest] = zones;
  double range[3];
  double shade[3];
  double clear[3];
  for (int c = 0; c < 3; c++) {
    clear[c] = lightest.At(c);
    range[c] = darkest.At(c) - clear[c];
    shade[c] = shadow.At(c) - clear[c];
  }
  double dense[3] = {darkest.At(0), darkest.At(1), darkest.At(2)};
  std::sort(dense, dense + 3);
  const double ratio = Smallest(range) / AtLeast(kLeastRange, Largest(range));
  // The mask lies on everything; blue is denser than green, green than red.
  double mask = kMaskFrom[1];
  for (const Zone& zone : zones) {
    mask = std::min({mask, zone.At(2) - zone.At(0), kMaskGreen * (zone.At(1) - zone.At(0))});
  }
  const auto part = [](double of, const double(&from)[2]) {
    return Clamp((of - from[0]) / (from[1] - from[0]), 0.0, 1.0);
  };
  return kOdds + kOddsDarkest.Of(dense[1]) + kOddsRatio.Of(ratio) +
         kOddsShade.Of(Mean(shade) / AtLeast(kLeastRange, Mean(range))) + kOddsClear.Of(Smallest(clear)) +
         kOddsMask.Of(part(mask, kMaskFrom) * part(ratio, kMaskRatio));
}
