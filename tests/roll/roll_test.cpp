// Rolls of film that a test exposes and scans itself, and boxes of faded prints: what they share, and who belongs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numeric>
#include <vector>

#include "support.h"

namespace {

constexpr int kWidth = 180, kHeight = 120;

// Slopes, toes and balance that the engine does not take for usual.
struct Film {
  double slope[3] = {0.60, 0.60, 0.70};
  double toe[3] = {0.205, 0.185, 0.165};
  double base[3] = {205, 180, 150};
  double balance[3] = {-0.06, 0.0, 0.08};

  int Level(double exposure, int c) const {
    const double density = slope[c] * toe[c] * std::log1p(std::exp((exposure + balance[c]) / toe[c]));
    return static_cast<int>(base[c] * std::pow(10.0, -density / 1.8) + 0.5);
  }
};

// Gray steps over three decades, whose lightest has the exposure `white`; of `red` cloth the right three quarters.
std::unique_ptr<Image> Frame(const Film& film, double white, bool red = false) {
  auto scan = std::make_unique<Image>(kWidth, kHeight);
  scan->Fill([&](int x, int y, int c) {
    const double gray = -3.0 * ((x + 7 * y) % kWidth) / kWidth;
    const double cloth[3] = {-0.35, -1.0, -0.9};
    return film.Level(white + (red && 4 * x > kWidth ? cloth[c] + 0.2 * std::sin(0.1 * x + 0.2 * y) : gray), c);
  });
  return scan;
}

// A wedge up to a black, whose dyes faded to `dye` on a base with stain; of a scene that is gray, or all `yellow` by
// this density.
constexpr double kStained[3] = {0.06, 0.10, 0.18};
std::unique_ptr<Image> FadedPrint(const double (&dye)[3], double darkest, double yellow = 0.0) {
  auto scan = std::make_unique<Image>(kWidth, kHeight);
  scan->Fill([&](int x, int y, int c) {
    const double scene = darkest * ((x + 3 * y) % kWidth) / kWidth + (c == 2 ? yellow : 0.0);
    const double density = kStained[c] + dye[c] * scene;
    return static_cast<int>(255.0 * std::pow(10.0, -density / 1.8) + 0.5);
  });
  return scan;
}

ZEP3_OBSERVATION Observed(const Image& image, int type, int subMode = 0) {
  const Record r(type, subMode);
  ZEP3_OBSERVATION seen;
  std::memset(&seen, 0x7F, sizeof seen);
  EXPECT_EQ(ObserveZEP3(&image.bmp, &r.para, kIdentity, &seen), 1);
  return seen;
}

struct Solved {
  ZEP3_SHARED shared = {};
  std::vector<int64_t> member;
  bool ok;

  explicit Solved(const std::vector<ZEP3_OBSERVATION>& seen) : member(seen.size(), 99) {
    ok = SolveZEP3Shared(seen.data(), static_cast<int64_t>(seen.size()), &shared, member.data()) == 1;
  }
  // Base, slopes against green, balance.
  bool IsFilmOf(const Solved& other, double tolerance) const {
    bool same = true;
    for (int c = 0; c < 3; c++) {
      same = same && std::fabs(std::log(shared.dBase[c] / other.shared.dBase[c])) < tolerance &&
             std::fabs(std::log(shared.dSlope[c] / other.shared.dSlope[c])) < tolerance &&
             std::fabs(shared.dBalance[c] - other.shared.dBalance[c]) < tolerance;
    }
    return same;
  }
};

struct Finished : Analysed {
  Finished(const Image& image, const ZEP3_SHARED& shared, int type, int subMode = 0)
      : Analysed(image, true, type, subMode) {
    ZEP3_BmpInfo bmp = image.bmp;
    EXPECT_EQ(ZEP3Shared(&bmp, &r.para, kIdentity, &shared, &evidence), 1);
    ZEP3_PARA copy = r.para;
    EXPECT_EQ(MakeZEP3LUTEx(&copy, kIdentity, table.data()), 1);
  }
  // Display levels between the channels of a gray of this exposure.
  int Tint(const Film& film, double exposure) const {
    int rgb[3];
    for (int c = 0; c < 3; c++) rgb[c] = At(film.Level(exposure, c), c);
    return std::max({rgb[0], rgb[1], rgb[2]}) - std::min({rgb[0], rgb[1], rgb[2]});
  }
};

constexpr double kWhites[] = {0.9, 1.4, 1.7, 2.0, 2.2, 2.5, 2.8, 3.1};

const std::vector<ZEP3_OBSERVATION>& SomeRoll(int type = 0) {
  static std::vector<ZEP3_OBSERVATION> seen[4];
  if (seen[type].empty()) {
    for (const double white : kWhites) seen[type].push_back(Observed(*Frame(Film(), white), type));
  }
  return seen[type];
}

TEST(Rolls, FramesOfOneFilmTellItsAxis) {
  const Film film;
  const Solved roll(SomeRoll());
  ASSERT_TRUE(roll.ok);
  EXPECT_EQ(roll.shared.lMembers, 8);
  for (int c = 0; c < 3; c++) {
    EXPECT_NEAR(roll.shared.dBase[c], film.base[c], 0.03 * film.base[c]);
    EXPECT_NEAR(std::log(roll.shared.dSlope[c] / roll.shared.dSlope[1] * film.slope[1] / film.slope[c]), 0.0, 0.05);
  }
  // The finished grays are gray, at all exposures alike. The film's unusual balance alone would tint them by 40.
  for (const double white : kWhites) {
    const Finished frame(*Frame(film, white), roll.shared, 0);
    EXPECT_TRUE(frame.Says(ZEP3_REASON_SHARED));
    for (const double below : {0.2, 0.75, 1.2}) EXPECT_LE(frame.Tint(film, white - below), 14) << white << " " << below;
  }
}

TEST(Rolls, TheOrderOfTheFramesIsNothing) {
  for (const int type : {0, 3}) {
    std::vector<ZEP3_OBSERVATION> seen = SomeRoll(type);
    seen[2] = seen[5]; // two alike
    const Solved first(seen);
    ASSERT_TRUE(first.ok);
    for (int turn = 1; turn < 8; turn += 3) {
      std::rotate(seen.begin(), seen.begin() + turn, seen.end());
      std::swap(seen[0], seen[3]);
      const Solved again(seen);
      EXPECT_EQ(std::memcmp(&again.shared, &first.shared, sizeof first.shared), 0);
    }
  }
}

TEST(Rolls, RedClothKeepsItsHue) {
  const Film film;
  std::vector<ZEP3_OBSERVATION> seen = SomeRoll();
  const auto red = Frame(film, 2.0, true);
  seen[3] = Observed(*red, 0);
  const Solved roll(seen);
  ASSERT_TRUE(roll.ok);
  EXPECT_TRUE(roll.IsFilmOf(Solved(SomeRoll()), 0.02));
  EXPECT_EQ(roll.member[3], ZEP3_MEMBER);
  const Finished frame(*red, roll.shared, 0);
  EXPECT_LE(frame.Tint(film, 1.25), 30);
}

// Odd ones, blanks and what is no observation change nothing for the others, and are told.
TEST(Rolls, WhatDoesNotBelongIsLeftOut) {
  const Film film;
  Film lighter;
  for (double& level : lighter.base) level = std::min(254.0, 1.25 * level);
  Image clear(kWidth, kHeight), leader(kWidth, kHeight);
  clear.Fill([&](int, int, int c) { return static_cast<int>(film.base[c]); });
  leader.Fill([&](int, int, int c) { return film.Level(3.8, c); });
  ZEP3_OBSERVATION broken = Observed(*Frame(film, 2.0), 0);
  broken.dBand[4][1] = std::numeric_limits<double>::quiet_NaN();
  const Solved clean(SomeRoll());
  const struct {
    const char* name;
    ZEP3_OBSERVATION seen;
    int64_t member;
  } cases[] = {{"another film", Observed(*Frame(lighter, 2.0), 0), ZEP3_MEMBER_ODD},
               {"blank", Observed(clear, 0), ZEP3_MEMBER_BLANK},
               {"wholly exposed", Observed(leader, 0), ZEP3_MEMBER_BLANK},
               {"no number", broken, ZEP3_MEMBER_BLANK}};
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    std::vector<ZEP3_OBSERVATION> seen = SomeRoll();
    seen.push_back(test.seen);
    const Solved roll(seen);
    ASSERT_TRUE(roll.ok);
    EXPECT_EQ(roll.member.back(), test.member);
    EXPECT_EQ(roll.shared.lMembers, 8);
    EXPECT_TRUE(roll.IsFilmOf(clean, 0.01));
  }
  // A blank is printed black and stretched to nothing; a stranger as by itself.
  const Finished blank(clear, clean.shared, 0);
  EXPECT_TRUE(blank.Says(ZEP3_REASON_BLANK));
  EXPECT_LE(blank.At(static_cast<int>(film.base[1]), 1), 40);
  const auto stranger = Frame(lighter, 2.0);
  const Finished other(*stranger, clean.shared, 0);
  EXPECT_TRUE(other.Says(ZEP3_REASON_ODD));
  EXPECT_EQ(other.r.Points(), Analysed(*stranger, true, 0).r.Points());
}

TEST(Rolls, TooFewOrMixedAreRefused) {
  const Film film;
  const std::vector<ZEP3_OBSERVATION> colour = SomeRoll(), silver = SomeRoll(3);
  const auto solves = [](std::vector<ZEP3_OBSERVATION> seen) {
    const Solved solved(seen);
    const ZEP3_SHARED zeros = {};
    EXPECT_TRUE(solved.ok || std::memcmp(&solved.shared, &zeros, sizeof zeros) == 0);
    return solved.ok;
  };
  EXPECT_FALSE(solves({colour[0]}));
  EXPECT_TRUE(solves({colour[0], colour[1]}));
  EXPECT_FALSE(solves({silver[0], silver[1], silver[2]}));
  EXPECT_TRUE(solves({silver[0], silver[1], silver[2], silver[3]}));
  EXPECT_FALSE(solves({colour[0], colour[1], silver[2]}));
  Record photo(ZEP3_DOC_REFLECTIVE), bw(3);
  ZEP3_OBSERVATION seen;
  ZEP3_SHARED shared = Solved(colour).shared;
  auto frame = Frame(film, 2.0);
  EXPECT_EQ(ObserveZEP3(&frame->bmp, &photo.para, kIdentity, &seen), 0); // unfaded prints share nothing
  EXPECT_EQ(ZEP3Shared(&frame->bmp, &bw.para, kIdentity, &shared, nullptr), 0);
  Record negative(0);
  shared.dSlope[1] = 0.0;
  EXPECT_EQ(ZEP3Shared(&frame->bmp, &negative.para, kIdentity, &shared, nullptr), 0);
}

TEST(Boxes, OneOriginalRepeatedIsAsAlone) {
  const auto print = FadedPrint({0.6, 0.8, 0.7}, 2.0);
  const Solved box(std::vector<ZEP3_OBSERVATION>(8, Observed(*print, 2, 2)));
  ASSERT_TRUE(box.ok);
  EXPECT_EQ(box.shared.lMembers, 8);
  const Finished together(*print, box.shared, 2, 2);
  EXPECT_TRUE(together.Says(ZEP3_REASON_SHARED));
  // No box is solved to be more equal than usual; the search on such a one would not end.
  ZEP3_SHARED narrow = box.shared;
  narrow.dScatter = 0.5;
  Record record(2, 2);
  ZEP3_BmpInfo bmp = print->bmp;
  EXPECT_EQ(ZEP3Shared(&bmp, &record.para, kIdentity, &narrow, nullptr), 0);
  const Analysed alone(*print, true, 2, 2);
  for (size_t i = 0; i < alone.table.size(); i++) EXPECT_NEAR(together.table[i], alone.table[i], 6) << i;
}

// Prints that never lay together: nothing is taken from the others, but what they say of the usual.
TEST(Boxes, UnequalOriginalsAreFinishedAsAlone) {
  constexpr double kDyes[][3] = {{0.95, 0.95, 0.9}, {0.45, 0.8, 0.75}, {0.8, 0.85, 0.5}, {0.6, 0.6, 0.9},
                                 {0.9, 0.55, 0.6},  {0.5, 0.9, 0.5},   {0.7, 0.7, 0.7},  {0.85, 0.6, 0.9}};
  std::vector<ZEP3_OBSERVATION> seen;
  for (const auto& dye : kDyes) seen.push_back(Observed(*FadedPrint(dye, 2.0), 2, 2));
  const Solved box(seen);
  ASSERT_TRUE(box.ok);
  EXPECT_GT(box.shared.dScatter, 4.0);
  for (const auto& dye : kDyes) {
    const auto print = FadedPrint(dye, 2.0);
    const Finished together(*print, box.shared, 2, 2);
    const Analysed alone(*print, true, 2, 2);
    int most = 0;
    for (size_t i = 0; i < alone.table.size(); i++) most = std::max(most, std::abs(together.table[i] - alone.table[i]));
    EXPECT_LE(most, 12) << dye[0] << " " << dye[1] << " " << dye[2];
  }
}

// A print that faded otherwise stays in a box that is sure of itself, and leaves one that hardly holds. One that does
// not hold at all asks nothing of it.
TEST(Boxes, ThatHardlyHoldLetGoSooner) {
  constexpr double kDye[3] = {0.75, 0.88, 0.8};
  std::vector<ZEP3_OBSERVATION> seen;
  for (int i = 0; i < 8; i++) seen.push_back(Observed(*FadedPrint(kDye, 1.9 + 0.03 * i), 2, 2));
  Solved box(seen);
  ASSERT_TRUE(box.ok);
  ASSERT_LT(box.shared.dScatter, 1.5);
  const auto other = FadedPrint({0.42, 0.77, 0.8}, 2.0);
  const Analysed alone(*other, true, 2, 2);
  constexpr struct {
    double scatter;
    int64_t reason;
  } kCases[] = {{1.0, ZEP3_REASON_SHARED}, {2.0, ZEP3_REASON_ODD}, {60.0, ZEP3_REASON_SHARED}};
  for (const auto& c : kCases) {
    box.shared.dScatter = c.scatter;
    const Finished together(*other, box.shared, 2, 2);
    EXPECT_TRUE(together.Says(c.reason)) << c.scatter;
    EXPECT_EQ(together.table == alone.table, c.scatter > 1.0) << c.scatter;
  }
}

// A foggy scene with yellow light among others: by itself it is taken for fresher, and its blue for the freshest.
TEST(Boxes, LendAFoggySceneTheirHistory) {
  constexpr double kDye[3] = {0.6, 0.8, 0.7};
  std::vector<ZEP3_OBSERVATION> seen;
  for (int i = 0; i < 7; i++) seen.push_back(Observed(*FadedPrint(kDye, 1.9 + 0.03 * i), 2, 2));
  const auto fog = FadedPrint(kDye, 1.0, 0.2);
  seen.push_back(Observed(*fog, 2, 2));
  const Solved box(seen);
  ASSERT_TRUE(box.ok);
  const auto apart = [&](const double(&dye)[3]) {
    double squares = 0.0;
    for (int c = 0; c < 3; c++) squares += std::pow(std::log(dye[c] / kDye[c]), 2.0);
    return std::sqrt(squares);
  };
  EXPECT_LT(apart(box.shared.dDye), 0.15);
  const Finished together(*fog, box.shared, 2, 2);
  const Analysed alone(*fog, true, 2, 2);
  EXPECT_LT(apart(together.Seen().positive.dyeLeft), 0.6 * apart(alone.Seen().positive.dyeLeft));
}

} // namespace
