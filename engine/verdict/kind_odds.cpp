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
  const auto& [lightest, shade, darkest] = zones;
  // Of the channel that has least of it: others may lack their light.
  double range[3];
  for (int c = 0; c < 3; c++) range[c] = darkest.At(c) - lightest.At(c);
  const int c = static_cast<int>(std::min_element(range, range + 3) - range);
  const double least = AtLeast(kLeastRange, range[c]);
  const double clearest = std::min({lightest.At(0), lightest.At(1), lightest.At(2)});
  return kOdds + kOddsRange * least + kOddsShade * (shade.At(c) - lightest.At(c)) / least + kOddsClear * clearest;
}
