// Scans drawn around a picture whose place is known: what the analysis says of its window.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <numbers>

#include "engine/window/perforations.h"
#include "support.h"

namespace {

constexpr int kWidth = 480, kHeight = 420; // blocks of 3 pixels

// Colours of all kinds, in squares of 12 pixels.
int Picture(double u, double v, int c) {
  const int64_t place = std::lround(std::floor(u / 12)) + 100 * std::lround(std::floor(v / 12));
  return 40 + c + Noise(place, 9) * 100 / 255 + Noise(place, 3 + c) * 30 / 255;
}

// The same on film with a clear base.
constexpr int kBase[3] = {200, 150, 110};
int Film(double u, double v, int c) { return kBase[c] * Picture(u, v, c) / 200; }

// Level at a point, pixels from the scan's middle in the turned original.
using Original = std::function<int(double u, double v, int c)>;

std::unique_ptr<Image> Scan(const Original& original, double degrees) {
  auto scan = std::make_unique<Image>(kWidth, kHeight);
  const double turn = degrees * std::numbers::pi / 180, across = std::cos(turn), down = std::sin(turn);
  scan->Fill([&](int x, int y, int c) {
    const double dx = x + 0.5 - kWidth / 2, dy = y + 0.5 - kHeight / 2;
    return original(across * dx + down * dy, across * dy - down * dx, c);
  });
  return scan;
}

bool Within(double u, double v, double width, double height) {
  return std::fabs(u) < width / 2 && std::fabs(v) < height / 2;
}

// By how many pixels a told corner misses that of a rectangle around the middle, at most.
double Miss(const double (&told)[4][2], double degrees, double width, double height) {
  constexpr int kSign[4][2] = {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}};
  const double turn = degrees * std::numbers::pi / 180, across = std::cos(turn), down = std::sin(turn);
  double miss = 0;
  for (int i = 0; i < 4; i++) {
    const double u = kSign[i][0] * width / 2, v = kSign[i][1] * height / 2;
    miss = std::max(miss, std::hypot(told[i][0] - kWidth / 2 - across * u + down * v,
                                     told[i][1] - kHeight / 2 - across * v - down * u));
  }
  return miss;
}

// A strip of film: clear from edge to edge of 165 pixels, holes, and frames at every 130 pixels.
Original Strip(double beside, double frame) {
  return [=](double u, double v, int c) {
    const double place = std::remainder(u, 130.0);
    if (std::fabs(v) > 82) return static_cast<int>(beside);
    if (std::fabs(v) > 64 && std::fabs(v) < 76 && std::fabs(std::remainder(u, 23.0)) < 5) return 252;
    return Within(place, v, frame, 100) ? Film(u, v, c) : kBase[c];
  };
}

TEST(Window, IsThePictureWhateverLiesAroundIt) {
  const struct {
    const char* name;
    int type;
    double degrees, width, height;
    int frames;
    double border; // of the paper around it, pixels
    Original original;
  } cases[] = {
      {"mount with round corners, turned by more than 5 degrees", 1, 5.5, 300, 200, 1, 0,
       [](double u, double v, int c) {
         const double x = std::max(0.0, std::fabs(u) - 138), y = std::max(0.0, std::fabs(v) - 88);
         return std::hypot(x, y) < 12 ? Picture(u, v, c) : 9;
       }},
      {"holder with falling light", 0, -2, 320, 230, 1, 0,
       [](double u, double v, int c) {
         const double light = 1 - 0.25 * std::hypot(u, v) / 300;
         return static_cast<int>(light * (Within(u, v, 320, 230)   ? Film(u, v, c)
                                          : Within(u, v, 344, 250) ? kBase[c]
                                                                   : 8));
       }},
      {"print without a border on a white lid, with a shadow", 2, -3, 260, 180, 1, 0,
       [](double u, double v, int c) {
         if (Within(u, v, 260, 180)) return Picture(u, v, c);
         return Within(u - 2, v - 2, 260, 180) ? 180 : 240;
       }},
      {"print with a border on a black lid", 2, 1.5, 260, 180, 1, 15,
       [](double u, double v, int c) {
         return Within(u, v, 260, 180) ? Picture(u, v, c) : Within(u, v, 290, 210) ? 225 - 3 * c : 12;
       }},
      {"strip on a light table: the frame in the middle of three", 0, 3, 116, 100, 3, 0, Strip(250, 116)},
      {"strip in a holder", 0, -4, 116, 100, 3, 0, Strip(6, 116)},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    const Analysed result(*Scan(test.original, test.degrees), true, test.type);
    ASSERT_TRUE(result.Says(ZEP3_REASON_BORDER_REMOVED));
    EXPECT_GT(result.evidence.dWindowConfidence, 0.5);
    EXPECT_LT(Miss(result.evidence.dWindow, test.degrees, test.width, test.height), 3.0);
    EXPECT_EQ(result.evidence.lFrames, test.frames);
    if (test.border > 0) {
      const double across = test.width + 2 * test.border, down = test.height + 2 * test.border;
      EXPECT_LT(Miss(result.evidence.dPaper, test.degrees, across, down), 3.0);
    } else {
      EXPECT_EQ(result.evidence.dPaper[2][0], 0.0);
    }
  }
}

TEST(Window, PerforationsAreHolesInARow) {
  const auto stripWith = [](const std::function<bool(double)>& isHole) -> Original {
    return [isHole](double u, double v, int c) {
      if (std::fabs(v) > 82) return 20;
      if (std::fabs(v) > 64 && std::fabs(v) < 76 && isHole(u)) return 252;
      return Within(u, v, 116, 100) ? Film(u, v, c) : kBase[c];
    };
  };
  const auto hole = [](double u) { return std::fabs(std::remainder(u, 15.3)) < 4; };
  const struct {
    const char* what;
    Original original;
    bool perforated;
  } cases[] = {
      {"film", stripWith(hole), true},
      {"film without holes", stripWith([](double) { return false; }), false},
      {"a slit", stripWith([](double u) { return std::fabs(u) < 90; }), false},
      {"every third one missing", stripWith([&](double u) { return hole(u) && std::lround(u / 15.3) % 3 != 0; }),
       false},
      {"fence on and around a picture", [](double u, double, int) { return std::remainder(u, 15.3) < 0 ? 30 : 220; },
       false},
  };
  for (const auto& test : cases) {
    for (const double degrees : {0.0, 3.5}) {
      SCOPED_TRACE(testing::Message() << test.what << " " << degrees);
      const auto scan = Scan(test.original, degrees);
      const double turn = degrees * std::numbers::pi / 180;
      Corners corners;
      for (int i = 0; i < 4; i++) {
        const double u = i == 1 || i == 2 ? 58 : -58, v = i < 2 ? -50 : 50;
        corners.x[i] = kWidth / 2 + std::cos(turn) * u - std::sin(turn) * v;
        corners.y[i] = kHeight / 2 + std::cos(turn) * v + std::sin(turn) * u;
      }
      EXPECT_EQ(HasPerforations(ReadBlockGrid(scan->bmp, 0), corners), test.perforated);
    }
  }
}

// A dark or light edge of a picture is no frame.
TEST(Window, APictureThatFillsTheScanHasNone) {
  const Original originals[] = {
      Picture,
      [](double u, double v, int c) { return v < -90 ? 225 - 8 * c : Picture(u, v, c); },     // sky
      [](double u, double v, int c) { return u * u + v * v < 22500 ? Picture(u, v, c) : 6; }, // a face by night
      [](double u, double v, int) { return 60 + static_cast<int>(u / 8 + v / 16); },
      [](double, double, int) { return 245; },
  };
  for (const Original& original : originals) {
    for (const int type : {0, 1, 2, 3}) {
      const Analysed result(*Scan(original, 0), true, type);
      EXPECT_FALSE(result.Says(ZEP3_REASON_BORDER_REMOVED)) << &original - originals << " " << type;
      EXPECT_EQ(result.evidence.dWindowConfidence + double(result.evidence.lFrames), 0.0);
    }
  }
}

} // namespace
