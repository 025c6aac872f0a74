// Range checks and exposure judgements. Expected values are worked out by hand from the constants.
#include <gtest/gtest.h>

#include "engine/calc/czep.h"

namespace {

// Three channels' values, all alike or one by one.
struct Triple {
  double v[3];
  Triple(double all = 0.0) : v{all, all, all} {}
  Triple(double r, double g, double b) : v{r, g, b} {}
  double operator[](int i) const { return v[i]; }
};

void ExpectNear(const double* actual, const Triple& expected, const char* what) {
  for (int i = 0; i < 3; i++) EXPECT_NEAR(actual[i], expected[i], 1e-12) << what << " " << i;
}

TEST(RangeBalance, RaisesNarrowRangesInOrder) {
  struct Row {
    const char* why;
    Triple range, a, b, expected;
  };
  const Row rows[] = {
      {"green to 0.81 of red", {1, 0.2, 1}, {}, {}, {1, 0.81, 1}},
      {"blue to 0.81 of the raised green, above 0.73 of red", {1, 0.95, 0.1}, {}, {}, {1, 0.95, 0.7695}},
      {"blue lifts green, green lifts red, blue lifts red", {0.1, 0.1, 1}, {}, {}, {0.59, 0.66, 1}},
      // Penalty 0.4 * 1.25 = 0.5 on red: 0.16 of the green that blue has lifted to 0.66, above 0.09 of blue.
      {"red sees green as blue left it", {0.01, 0.1, 1}, {}, {1.25, 0, 0}, {0.1056, 0.66, 1}},
      // Penalty 0.4 * 0.5 + 0.33 * 1 = 0.53: green gets 0.28 of red, then 0.13 of blue, which is less.
      {"penalties lower a channel's own shares", {1, 0.2, 0.2}, {0, 1, 0}, {0, 0.5, 0}, {1, 0.28, 0.73}},
  };
  for (const Row& row : rows) {
    double lower[3];
    const double upper[3] = {2, 2.5, 3};
    Triple expected;
    for (int i = 0; i < 3; i++) lower[i] = upper[i] - row.range[i], expected.v[i] = upper[i] - row.expected[i];
    CZEP().RangeBalanceIntensity(lower, upper, row.a.v, row.b.v);
    ExpectNear(lower, expected, row.why);
  }
}

TEST(RangeNarrow, WidensBelowTheTarget) {
  struct Row {
    const char* why;
    Triple range, mid, share;
    double a, b, c;
    Triple lower, upper;
  };
  const Row rows[] = {
      {"above the target", {0.5, 0.4, 0.6}, 0.1, 1, 0, 0, 0.5, 0, {0.5, 0.4, 0.6}},
      // Mean 0.3 below the knee 0.375: target 0.425, common part 0.125, split at the middle.
      {"equal ranges", 0.3, 0.15, 0.2, 0, 0, 0.4, -0.0625, 0.3625},
      {"the share goes below at least", 0.3, 0.15, {0.5, 0.7, 0.9}, 0, 0, 0.4, -0.0875, 0.3375},
      // On the knee: mean 0.425, target 0.425 + 0.05^2 * 5 = 0.4375; common part 0.0125.
      {"on the knee", 0.425, 0, 1, 0, 0, 0, -0.0125, 0.425},
      // Target lowered by 0.1 * 0.5 + 0.2 * 0.25 = 0.1 to 0.375, knee 0.275: 0.325 + 0.025^2 * 5 = 0.328125.
      {"cuts lower the target", 0.3, 0, 1, 0.5, 0.25, 0, -0.028125, 0.3},
      // Target 0.425, blend 0.625: widths 0.371875, 0.425, 0.478125; own parts 0.09375, 0.046875, 0; common 0.078125.
      {"own part by c", {0.2, 0.3, 0.4}, 0, 1, 0, 0, 0.4, {-0.134375, -0.10625, -0.078125}, {0.2375, 0.31875, 0.4}},
  };
  for (const Row& row : rows) {
    double lower[3] = {};
    double upper[3] = {row.range[0], row.range[1], row.range[2]};
    CZEP().CheckRangeNarrow(lower, upper, row.mid.v, row.share.v, row.a, row.b, row.c);
    ExpectNear(lower, row.lower, row.why);
    ExpectNear(upper, row.upper, row.why);
  }
}

TEST(RangeWide, CompressesEqualisesAndLifts) {
  struct Row {
    const char* why;
    Triple range;
    double a, b, c, d, e, f;
    Triple own, above, expected; // above: lower points above the reference at entry; expected: final ranges
  };
  const Row rows[] = {
      {"knee: 0.75 - 0.2^2 * 1.25", 0.75, 0, 0, 0, 0, 0, 0, 0, 0, 0.7},
      {"fixed target", 1.2, 0, 0, 0, 0, 0, 0, 0, 0, 0.75},
      // Target 0.75, scaled 0.6, 0.75, 0.9; spread 0.3 -> 1, mean 1 -> 1; strength capped at 0.4.
      {"unequal ranges pull together", {0.8, 1, 1.2}, 0, 0, 0, 0, 0, 0, 0, 0, {0.66, 0.75, 0.84}},
      // The same at strength (1 - 0.5) * (1 - 0.25) - 0.05 = 0.325; c and f count half.
      {"b and d weaken", {0.8, 1, 1.2}, 0, 0.5, 0, 0.25, 0, 0, 0, 0, {0.64875, 0.75, 0.85125}},
      {"d and half of f weaken", {0.8, 1, 1.2}, 0, 0, 0, 0.5, 0, 0.5, 0, 0, {0.64875, 0.75, 0.85125}},
      // c counts half: 1 * (1 - 0.25) * (1 - 0.5) - 0.05 = 0.325.
      {"c counts half", {0.8, 1, 1.2}, 0, 0, 0.5, 0, 0.5, 0, 0, 0, {0.64875, 0.75, 0.85125}},
      // Mean 0.4: only the least strength 0.25 - 0.05 = 0.2 acts; 0.2 -> 0.24 would grow and keeps half: 0.22.
      {"a growing channel keeps its share", {0.2, 0.4, 0.6}, 0.25, 0, 0, 0, 0, 0, {0.5, 1, 1}, 0, {0.22, 0.4, 0.56}},
      // Allowance 1 * 0.06 * 0.4 = 0.024; lower points 0.004 above the reference: 0.02 is lifted.
      {"lift", 0.4, 0, 0, 0, 0, 0, 1, 0, 0.004, 0.38},
      {"lift of points below the reference", 0.4, 0, 0, 0, 0, 0, 1, 0, -0.3, 0.376},
      // Spread 0.06 of 0.12: half of 0.024.
      {"lift falls with the spread", 0.4, 0, 0, 0, 0, 0, 1, 0, {-0.06, -0.03, -0.0}, 0.388},
  };
  for (const Row& row : rows) {
    double lower[3];
    double reference[3];
    Triple expected;
    const double upper[3] = {2, 2.25, 2.5};
    for (int i = 0; i < 3; i++) {
      lower[i] = upper[i] - row.range[i];
      reference[i] = lower[i] - row.above[i];
      expected.v[i] = upper[i] - row.expected[i];
    }
    EXPECT_TRUE(CZEP().CheckRangeWide(lower, upper, row.a, row.b, row.c, row.own.v, row.d, row.e, row.f, reference));
    ExpectNear(lower, expected, row.why);
  }
}

TEST(RangeNarrowForBW, MovesTheEndThatTheGreenLevelNames) {
  // Every ratio is 1.25 and is to become 2.5: lower points would halve, upper points would double.
  struct Row {
    const char* why;
    double before, lower, upper; // upper points at entry; both after
  };
  const Row rows[] = {{"at 60 the upper points", 60, 48, 120},
                      {"at 100 the lower points", 100, 40, 100},
                      {"at 80 half of both", 80, 48, 120},
                      {"at 70 a quarter and three quarters", 70, 49, 122.5}};
  for (const Row& row : rows) {
    double lower[3];
    double upper[3];
    for (int i = 0; i < 3; i++) upper[i] = row.before, lower[i] = row.before / 1.25;
    CZEP().CheckRangeNarrowForBW(lower, upper, 2.5);
    ExpectNear(lower, row.lower, row.why);
    ExpectNear(upper, row.upper, row.why);
  }
  double lower[3] = {40, 40, 40};
  double upper[3] = {80, 80, 80};
  CZEP().CheckRangeNarrowForBW(lower, upper, 2.0);
  ExpectNear(lower, 40, "a sufficient ratio changes nothing");
}

TEST(Exposure, OverFromDensePiledUpEnds) {
  struct Row {
    Triple ref, diff, weight;
  };
  const Row rows[] = {{{1.3, 1.0, 1.2}, {0.02, 0.0, 0.01}, {1, 1, 1}},
                      {{1.45, 1.5, 1.3}, {0.0, 0.0, 0.05}, {0, 0, 0}},
                      {{1.375, 1.375, 1.3}, {0.035, 0.0, 0.035}, {0.25, 0.5, 0.5}}};
  for (const Row& row : rows) {
    double val[3], weight[3], diff[3];
    for (int i = 0; i < 3; i++) val[i] = row.ref[i] + row.diff[i];
    const double mean = CZEP().ExposureOver(row.ref.v, val, weight, diff);
    for (int i = 0; i < 3; i++) EXPECT_NEAR(weight[i], row.weight[i], 1e-9);
    EXPECT_NEAR(mean, (row.weight[0] + row.weight[1] + row.weight[2]) / 3.0, 1e-9);
    for (int i = 0; i < 3; i++) EXPECT_NEAR(diff[i], row.diff[i], 1e-12);
  }
}

TEST(Exposure, UnderIsLedByTheNarrowestChannel) {
  struct Row {
    const char* why;
    Triple a, diff1, diff2, weight;
  };
  const Row rows[] = {
      // The weights are (a - 2) / 0.15, at most 1.
      {"equal ranges keep their weights", {2.25, 2.125, 2.0}, {0, 0, 0}, {0.5, 0.5, 0.5}, {1, 5.0 / 6.0, 0}},
      {"differences weaken", {2.25, 2.25, 2.25}, {0.012, 0.021, 0.03}, {0.5, 0.5, 0.5}, {1, 0.5, 0}},
      // Blue is narrowest and has 5/6. Red: 0.6 * 1 > 0.5. Green: (0.5 / 0.75 + 0.4) * 5/6.
      {"wider ones fall to its weight or near it",
       {2.25, 2.25, 2.125},
       {0, 0, 0},
       {1.0, 0.75, 0.5},
       {5.0 / 6.0, 8.0 / 9.0, 5.0 / 6.0}},
  };
  for (const Row& row : rows) {
    double b[3], c[3], weight[3], diff1[3], diff2[3];
    for (int i = 0; i < 3; i++) b[i] = row.a[i] - row.diff1[i], c[i] = row.a[i] - row.diff2[i];
    const double mean = CZEP().ExposureUnder(row.a.v, b, weight, c, diff1, diff2);
    EXPECT_NEAR(mean, (row.weight[0] + row.weight[1] + row.weight[2]) / 3.0, 1e-9) << row.why;
    for (int i = 0; i < 3; i++) EXPECT_NEAR(weight[i], row.weight[i], 1e-9) << row.why << " " << i;
    ExpectNear(diff1, row.diff1, row.why);
    ExpectNear(diff2, row.diff2, row.why);
  }
}

} // namespace
