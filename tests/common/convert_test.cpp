// The ways from a double to an integer.
#include "engine/common/convert.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(Convert, TruncatesTowardZeroAndIsDefinedEverywhere) {
  const struct {
    double v;
    int32_t expected;
  } rows[] = {{2.999, 2},
              {-2.999, -2},
              {-0.9, 0},
              {2147483647.9, INT32_MAX},
              {2147483648.0, INT32_MIN},
              {-2147483648.9, INT32_MIN},
              {-2147483649.0, INT32_MIN},
              {1e300, INT32_MIN},
              {kInfinity, INT32_MIN},
              {-kInfinity, INT32_MIN},
              {kNaN, INT32_MIN}};
  for (const auto& row : rows) EXPECT_EQ(ToInt32(row.v), row.expected) << row.v;
}

TEST(Convert, InputPointsStayOnTheScale) {
  const struct {
    double level;
    int32_t expected;
  } rows[] = {{0.0999, 25},   {-1e300, 25},   {0.1, 25},    {0.11, 28},       {255.0, 65535},
              {255.1, 65535}, {1e300, 65535}, {10.5, 2698}, {kNaN, INT32_MIN}};
  for (const auto& row : rows) EXPECT_EQ(ClampToLevel16(row.level), row.expected) << row.level;
}

} // namespace
