// The ways from a double to an integer.
#include "engine/common/convert.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(Convert, TruncatesTowardZeroAndIsDefinedEverywhere) {
  const std::pair<double, int32_t> rows[] = {{2.999, 2}, {-2.999, -2}, {-0.9, 0}, {2147483647.9, INT32_MAX}};
  for (const auto& [v, expected] : rows) EXPECT_EQ(ToInt32(v), expected) << v;
  for (const double v : {2147483648.0, -2147483648.9, -2147483649.0, 1e300, kInfinity, -kInfinity, kNaN}) {
    EXPECT_EQ(ToInt32(v), INT32_MIN) << v;
  }
}

TEST(Convert, InputPointsStayOnTheScale) {
  const std::pair<double, int32_t> rows[] = {{0.0999, 25},   {-1e300, 25},   {0.1, 25},
                                             {0.11, 28},     {255.0, 65535}, {255.1, 65535},
                                             {1e300, 65535}, {10.5, 2698},   {kNaN, INT32_MIN}};
  for (const auto& [level, expected] : rows) EXPECT_EQ(ClampToLevel16(level), expected) << level;
}

} // namespace
