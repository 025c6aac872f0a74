// Pages made by calculation: what is found on them, and where their pixels go.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>
#include <vector>

#include "support.h"

namespace {

using Pixel = std::array<double, 3>;

constexpr int kWidth = 640, kHeight = 480;
bool IsText(int x, int y) { return x > 60 && x < 300 && y > 60 && y < 420 && y % 12 < 3 && x % 9 < 6; }
bool IsPicture(int x, int y) { return 380 <= x && x < 560 && 120 <= y && y < 300; }
// Clear of text and picture by the width of what is interpolated.
bool IsBlank(int x, int y) { return y < 50 || y > 440 || (x > 320 && x < 360) || x > 580; }
// Relative to white paper; all channels well below it, so that nothing of it is mistaken for paper.
double PictureLevel(int x, int y, int c) {
  return std::max(0.02, 0.2 + 0.1 * c + 0.3 * std::sin(x * 0.07) * std::sin(y * 0.05 + c));
}

// Paper of a colour, darker toward the right by `shade`, with text and a picture.
struct Page {
  Image scan{kWidth, kHeight};
  Record r;
  ZEP3_EVIDENCE evidence = {};
  ZEP3_SURFACE surface = {};
  std::vector<ZEP3_CELL> cells;
  std::vector<uint8_t> levels, darkest, deviation;
  std::vector<uint16_t> table = std::vector<uint16_t>(7 * ZEP3_PAGE_ENTRIES_8);

  Page(int subMode, const Pixel& paper, double shade) : r(ZEP3_DOC_REFLECTIVE, subMode) {
    r.para.lScreenGamma = 22;
    Fill([=](int x, int y, int c) {
      const double ground = paper[static_cast<size_t>(c)] * (1.0 - shade * x / kWidth);
      return ground * (IsText(x, y) ? 0.12 : IsPicture(x, y) ? PictureLevel(x, y, c) : 1.0);
    });
  }
  template <class Level>
  void Fill(Level level) {
    scan.Fill([&](int x, int y, int c) {
      return std::clamp(level(x, y, c) + (Noise(int64_t{y} * kWidth + x, c) - 127.5) / 128.0, 0.0, 255.0);
    });
  }
  int Analyse(int64_t room = -1) {
    const size_t pixels = size_t{kWidth} * kHeight;
    levels.resize(3 * pixels);
    darkest.resize(3 * pixels);
    deviation.resize(pixels);
    const ZEP3_DETAIL detail = {darkest.data(), deviation.data()};
    ZEP3_BmpInfo prescan = {};
    prescan.pBits = levels.data();
    EXPECT_EQ(MakeZEP3PagePrescan(&scan.bmp, 22, 1, &prescan, &detail), 1);
    cells.resize(static_cast<size_t>(GetZEP3SurfaceRoom(kWidth, kHeight)));
    surface = {};
    surface.lScanGamma = 22;
    surface.lWidth = kWidth;
    surface.lHeight = kHeight;
    surface.lSide = 1;
    surface.pCells = cells.data();
    surface.lRoom = room < 0 ? static_cast<int64_t>(cells.size()) : room;
    return ZEP3Page(&prescan, &r.para, &detail, &surface, &evidence);
  }
  // Step by step; in one call it is the same.
  void Finish() {
    const std::vector<uint8_t> given = scan.pixels;
    Record other(ZEP3_DOC_REFLECTIVE, r.para.wSubMode);
    other.para.lScreenGamma = r.para.lScreenGamma;
    ASSERT_EQ(FinishZEP3(&scan.bmp, 22, ZEP3_UNSET, &other.para, nullptr, nullptr), 1);
    const std::vector<uint8_t> inOneCall = scan.pixels;
    std::copy(given.begin(), given.end(), scan.pixels.begin());
    ASSERT_EQ(Analyse(), 1);
    ASSERT_EQ(MakeZEP3PageLUT(&r.para, &surface, ZEP3_PAGE_ENTRIES_8, table.data()), 1);
    ASSERT_EQ(ApplyZEP3Page(&scan.bmp, 0, 0, &surface, table.data()), 1);
    EXPECT_TRUE(scan.pixels == inOneCall && other.Points() == r.Points());
  }
  // Smallest and largest level of a channel where `where` holds.
  std::pair<int, int> Range(int c, bool where(int, int)) const {
    std::pair<int, int> range = {255, 0};
    for (int y = 0; y < kHeight; y++) {
      for (int x = 0; x < kWidth; x++) {
        if (!where(x, y)) continue;
        range = {std::min(range.first, scan.Level(x, y, c)), std::max(range.second, scan.Level(x, y, c))};
      }
    }
    return range;
  }
  bool Says(int64_t reason) const { return (evidence.lReasons & reason) != 0; }
  double Seen(const char* name) const {
    double values[ZEP3_EVIDENCE_COUNT_MAX] = {};
    EXPECT_GT(GetZEP3Evidence(&evidence, name, values), 0) << name;
    return values[0];
  }
};

TEST(Page, PaperBecomesEvenAndPicturesStay) {
  const Pixel cream = {240, 232, 205}, pink = {240, 170, 180};
  const struct {
    int subMode;
    Pixel paper;
    bool keepsColour, coloured;
  } rows[] = {{ZEP3_SUB_DOCUMENT, cream, false, false},
              {ZEP3_SUB_BACKGROUND_REMOVAL, cream, false, false},
              {ZEP3_SUB_DOCUMENT, pink, true, true},
              {ZEP3_SUB_BACKGROUND_REMOVAL, pink, false, true},
              {ZEP3_SUB_GROUND_COLOR_REMOVAL, pink, false, true}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.subMode << " " << row.paper[1]);
    Page page(row.subMode, row.paper, 0.5);
    page.Finish();
    EXPECT_EQ(page.evidence.lAnalysis, ZEP3_ANALYSIS_PAGE);
    EXPECT_TRUE(page.Says(ZEP3_REASON_UNEVEN_LIGHT) && page.Says(ZEP3_REASON_PICTURES_KEPT));
    EXPECT_EQ(page.Says(ZEP3_REASON_COLOURED_SHEET), row.coloured);
    EXPECT_FALSE(page.Says(ZEP3_REASON_WEAK_INK) || page.Says(ZEP3_REASON_NO_PAPER));
    // The picture has 180 x 180 of 640 x 480 pixels, 10.5 %; cells at its edge belong to it.
    EXPECT_NEAR(page.Seen("objects"), 0.115, 0.015);
    // Light falls to 0.51 and 0.99 of the paper's at the 2nd and 98th of evenly falling places; the picture is left
    // out.
    EXPECT_NEAR(page.Seen("uneven"), std::log(0.99 / 0.51), 0.03);
    for (int c = 0; c < 3; c++) {
      const auto [least, most] = page.Range(c, IsBlank);
      EXPECT_LE(most - least, row.keepsColour ? 6 : 3) << c;
      // A sheet that keeps its colour is brought to white in its lightest channel.
      const double expected = row.keepsColour ? 255.0 * row.paper[static_cast<size_t>(c)] / row.paper[0] : 255.0;
      EXPECT_NEAR(most, expected, row.keepsColour ? 9 : 1) << c;
      EXPECT_LE(page.Range(c, IsText).second, 60) << c;
    }
    if (row.keepsColour) continue;
    // On white paper the picture has its own levels, or with the sheet's colour; the points of pictures take a little
    // off its blackest.
    const double tint =
        row.subMode == ZEP3_SUB_BACKGROUND_REMOVAL && row.coloured ? double(row.paper[1]) / row.paper[0] : 1.0;
    double off = 0.0;
    for (int y = 130; y < 290; y++) {
      for (int x = 390; x < 550; x++) {
        off += std::abs(page.scan.Level(x, y, 1) - 255.0 * tint * PictureLevel(x, y, 1)) / (160.0 * 160.0);
      }
    }
    EXPECT_LE(off, 12.0);
  }
}

TEST(Page, WithoutPaperNothingIsEvened) {
  Page page(ZEP3_SUB_DOCUMENT, {}, 0);
  page.Fill([](int x, int y, int c) {
    return 120 + 60 * std::sin(x * 0.3 + c) * std::sin(y * 0.25) + Noise(x * 7 + y, 3) / 8;
  });
  EXPECT_EQ(page.Analyse(), 1);
  EXPECT_TRUE(page.Says(ZEP3_REASON_NO_PAPER));
  EXPECT_EQ(page.surface.lFound, ZEP3_SURFACE_NONE);
  EXPECT_EQ(MakeZEP3PageLUT(&page.r.para, &page.surface, ZEP3_PAGE_ENTRIES_8, page.table.data()), 0);
  EXPECT_EQ(ApplyZEP3Page(&page.scan.bmp, 0, 0, &page.surface, page.table.data()), 0);
}

// Whether blank or written on, at the edges or on a lid, paper lies as a sheet does; a sky does not.
TEST(Page, SkiesAreNoPaper) {
  const auto tilted = [](int x, int y) { // by 4 degrees
    const double right = (x - 320) * 0.9976 + (y - 240) * 0.0698, down = (y - 240) * 0.9976 - (x - 320) * 0.0698;
    return std::fabs(right) < 200 && std::fabs(down) < 150;
  };
  const auto strip = [](int x, int y) { // by 8 degrees
    const double right = (x - 320) * 0.9903 + (y - 240) * 0.1392, down = (y - 240) * 0.9903 - (x - 320) * 0.1392;
    return std::fabs(right) < 200 && std::fabs(down) < 50;
  };
  const auto isText = [](int x, int y) { return x > 180 && x < 460 && y > 140 && y < 340 && y % 12 < 3 && x % 9 < 6; };
  const auto roofs = [](int x, int y) { return y > 250 + 90 * std::fabs(std::sin(x * 0.02)); };
  const struct {
    const char* what;
    std::function<double(int, int, int)> level;
    bool paper;
  } rows[] = {
      {"sky above roofs",
       [&](int x, int y, int c) {
         return roofs(x, y) ? 60 + 40 * std::sin(x * 0.4) * std::sin(y * 0.3) : 160.0 + 25 * c + 0.12 * y;
       },
       false},
      {"evening sky", [](int, int y, int c) { return 235.0 - (c == 2 ? 0.25 : 0.1) * y; }, false},
      {"lid left open", [](int x, int y, int) { return 25.0 + Noise(x * 3 + y, 5) / 100; }, false},
      {"blank sheet", [](int, int, int c) { return 236.0 - 14 * c; }, true},
      {"page on a lid",
       [&](int x, int y, int c) { return !tilted(x, y)  ? 30.0
                                         : isText(x, y) ? 40.0
                                                        : 230.0 - 10 * c; }, true},
      {"blank page on a lid", [&](int x, int y, int) { return tilted(x, y) ? 228.0 : 30.0; }, true},
      {"receipt on a lid", [&](int x, int y, int) { return strip(x, y) ? 228.0 : 30.0; }, true},
      {"picture in a corner",
       [&](int x, int y, int c) {
         return x > 220 && y < 300 ? 255 * PictureLevel(x, y, c) : x > 20 && y % 12 < 3 && x % 9 < 6 ? 40.0 : 230.0;
       },
       true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Page page(ZEP3_SUB_DOCUMENT, {}, 0);
    page.Fill(row.level);
    ASSERT_EQ(page.Analyse(), 1);
    EXPECT_EQ(page.Says(ZEP3_REASON_NO_PAPER), !row.paper);
    EXPECT_EQ(page.surface.lFound, row.paper ? ZEP3_SURFACE_PAPER : ZEP3_SURFACE_NONE);
    EXPECT_FALSE(page.Says(ZEP3_REASON_NEARLY_WHITE));
  }
}

// A book on a lid: its pages lie in light that falls toward the gutter, and a picture fills the top of the second.
TEST(Page, TheOtherPageOfABookIsPaper) {
  Page page(ZEP3_SUB_BACKGROUND_REMOVAL, {}, 0);
  const auto isPicture = [](int x, int y) { return x > 310 && y < 160; };
  page.Fill([&](int x, int y, int c) {
    const bool lid = x < 30 || x > 610 || y < 30 || y > 450;
    const bool text = (x % 310 > 60 && x % 310 < 240) && y > 180 && y < 420 && y % 12 < 3 && x % 9 < 6;
    const double light = 1.0 - 0.75 * std::exp(-std::abs(x - 310) / 20.0);
    return lid ? 25.0 : 235.0 * light * (text ? 0.12 : isPicture(x, y) ? PictureLevel(x, y, c) : 1.0);
  });
  page.Finish();
  EXPECT_EQ(page.surface.lFound, ZEP3_SURFACE_PAPER);
  for (const int x : {50, 260, 360, 590}) EXPECT_GE(page.scan.Level(x, 435, 1), 250) << x;
}

// Pictures that run into the gutter of a book on a lid: the left page's meets the right page's paper there, at the
// bottom of the fold. Its sky, a quarter darker than paper and bluish, stays that.
TEST(Page, APictureInTheFoldStays) {
  Page page(ZEP3_SUB_BACKGROUND_REMOVAL, {}, 0);
  const auto isSky = [](int x, int y) { return (x < 320 && y < 180) || (x >= 320 && y > 300); };
  const Pixel sky = {0.62, 0.70, 0.78};
  const auto isText = [](int x, int y) { return x % 290 > 80 && x % 290 < 240 && y % 12 < 3 && x % 9 < 6; };
  page.Fill([&](int x, int y, int c) {
    if (x < 30 || x > 610 || y < 30 || y > 450) return 25.0;
    const double light = 1.0 - 0.65 * std::exp(-std::abs(x - 320) / 40.0);
    return 235.0 * std::pow(light, 1 / 2.2) * (isSky(x, y) ? sky[static_cast<size_t>(c)] : isText(x, y) ? 0.12 : 1.0);
  });
  page.Finish();
  EXPECT_EQ(page.surface.lFound, ZEP3_SURFACE_PAPER);
  for (const int x : {50, 200, 590}) {
    EXPECT_GE(page.scan.Level(x, x < 320 ? 435 : 45, 1), 250) << x;
    for (int c = 0; c < 3; c++) {
      EXPECT_NEAR(page.scan.Level(x, x < 320 ? 100 : 400, c), 255.0 * sky[static_cast<size_t>(c)], 15) << x << " " << c;
    }
  }
}

// A bar as high as the ground of a fold is level lies below both sides as a fold does, but with steps. On a dyed sheet
// what is gray was printed in black, and comes out gray.
TEST(Page, GrayBarsStayGray) {
  for (const Pixel& paper : {Pixel{240, 240, 240}, Pixel{248, 214, 219}}) {
    Page page(ZEP3_SUB_BACKGROUND_REMOVAL, {}, 0);
    const auto isBar = [](int x, int y) { return x >= 60 && x < 580 && y >= 20 && y < 44; };
    page.Fill([&](int x, int y, int c) {
      return paper[static_cast<size_t>(c)] * (IsText(x, y) ? 0.12 : isBar(x, y) ? 0.93 : 1.0);
    });
    page.Finish();
    for (const int x : {80, 200, 320, 440, 560}) {
      for (int c = 0; c < 3; c++) EXPECT_NEAR(page.scan.Level(x, 32, c), 0.93 * 255.0, 8.0) << paper[1] << " " << x;
    }
  }
}

// A dyed sheet whose colour has faded over two cells, as JPEG does beside strokes.
TEST(Page, SpecksOfPaperAreNoPictures) {
  Page page(ZEP3_SUB_BACKGROUND_REMOVAL, {}, 0);
  const Pixel yellow = {250, 239, 175}, faded = {245, 234, 185};
  const auto isFaded = [](int x, int y) { return x >= 400 && x < 416 && y >= 200 && y < 216; };
  page.Fill([&](int x, int y, int c) {
    return (isFaded(x, y) ? faded : yellow)[static_cast<size_t>(c)] * (IsText(x, y) ? 0.12 : 1.0);
  });
  page.Finish();
  EXPECT_GE(page.Range(2, [](int x, int y) { return x >= 380 && x < 440 && y >= 180 && y < 240; }).first, 250);
}

// Whitening takes the soft edges of a pale box: that is no lost stroke.
TEST(Page, PaleBoxesAreNoLostMarks) {
  Page page(ZEP3_SUB_BACKGROUND_REMOVAL, {}, 0);
  page.Fill([](int x, int y, int c) {
    if (y > 40 && y < 60 && IsText(x, y + 60)) return 30.0;
    const bool box = x >= 63 && x < 483 && y >= 103 && y < 303; // through the middle of cells
    return 225.0 * (!box ? 1.0 : c == 0 ? 1.05 : c == 1 ? 0.925 : 1.0);
  });
  page.Finish();
  EXPECT_TRUE(page.Says(ZEP3_REASON_PICTURES_KEPT));
  EXPECT_FALSE(page.Says(ZEP3_REASON_MARKS_LOST));
  EXPECT_EQ(page.evidence.lVerdict, ZEP3_VERDICT_GOOD);
}

// Paper that darkens toward what is lighter than that paper would be: evened by it, that would be white.
TEST(Page, WhatWouldBeWashedOutIsNotEvened) {
  Page page(ZEP3_SUB_BACKGROUND_REMOVAL, {}, 0);
  page.Fill([&](int x, int y, int c) {
    const bool picture = x >= 420 && 100 <= y && y < 380;
    const double light = 1.0 - 0.65 * std::min(x, 420) / 420.0;
    const bool dot = x % 4 < 2 && y % 4 < 2; // a quarter of each cell
    return picture ? (120.0 + 20.0 * c) * (dot ? 0.8 : 1.0) : 235.0 * light * (IsText(x, y) ? 0.12 : 1.0);
  });
  ASSERT_EQ(page.Analyse(), 1);
  EXPECT_EQ(page.evidence.lAnalysis, ZEP3_ANALYSIS_PAGE);
  EXPECT_EQ(page.surface.lFound, ZEP3_SURFACE_NONE);
  EXPECT_TRUE(page.Says(ZEP3_REASON_CLIPPING) && page.Says(ZEP3_REASON_WEAKENED));
}

// Show-through would take faint lines, a tenth below paper, with it.
TEST(Page, FaintLinesAreSpared) {
  const auto isFaint = [](int x, int y) { return x > 320 && y % 10 < 1; };
  Page page(ZEP3_SUB_BACKGROUND_REMOVAL, {}, 0);
  page.Fill([&](int x, int y, int) {
    const bool through = x > 320 && x % 8 < 2 && y % 10 > 4 && y % 10 < 9;
    return 240.0 * (IsText(x, y) ? 0.12 : isFaint(x, y) ? 0.9 : through ? 0.84 : 1.0);
  });
  page.Finish();
  EXPECT_TRUE(page.Says(ZEP3_REASON_MARKS_LOST) && page.Says(ZEP3_REASON_WEAKENED));
  EXPECT_EQ(page.evidence.lVerdict, ZEP3_VERDICT_GOOD);
  EXPECT_LE(page.Range(1, [](int x, int y) { return x > 330 && x < 630 && y == 200; }).second, 240);
}

// Weak ink comes out as dark whatever lies around the sheet.
TEST(Page, ADarkLidLeavesStrokesAsTheyAre) {
  std::vector<int64_t> shadows;
  for (const double lid : {235.0, 25.0}) {
    Page page(ZEP3_SUB_BACKGROUND_REMOVAL, {}, 0);
    page.Fill([&](int x, int y, int) {
      const bool outside = x < 42 || x > 601 || y < 41 || y > 442;    // through the middle of cells
      return outside ? lid : IsText(x, y) && y < 120 ? 110.0 : 235.0; // little of it
    });
    ASSERT_EQ(page.Analyse(), 1);
    shadows.push_back(page.r.para.ic.ch[1].lSdIn);
  }
  EXPECT_NEAR(static_cast<double>(shadows[1]), static_cast<double>(shadows[0]), 0.03 * static_cast<double>(shadows[0]));
}

// A dark copy: weak ink in coarse grain. Its strokes are darkened by a power, so that their gamma lies below that of
// the same ink without grain; the grain becomes white. Old paper is as coarse, but its ink is black: no power.
TEST(Page, StrokesOfADarkCopyAreDarkened) {
  std::vector<int64_t> gammas;
  for (const auto& [grain, ink] : {std::pair{0.0, 100.0}, {0.2, 100.0}, {0.2, 25.0}}) {
    Page page(ZEP3_SUB_BACKGROUND_REMOVAL, {}, 0);
    page.Fill([&, grain = grain, ink = ink](int x, int y, int) {
      return IsText(x, y) ? ink : 200.0 * (1.0 + grain * (Noise(int64_t{y} * kWidth + x, 4) / 255.0 - 0.5));
    });
    page.Finish();
    gammas.push_back(page.r.para.ic.ch[1].lGamma);
    double white = 0.0;
    for (int x = 340; x < 610; x++) white += page.scan.Level(x, 450, 1) >= 250 ? 1.0 / 270.0 : 0.0;
    EXPECT_GE(white, 0.95) << grain;
  }
  EXPECT_LE(gammas[1], gammas[0] - 30);
  EXPECT_GE(gammas[2], 100);
}

// A stroke of marker that is narrower than what the ground takes for strokes: its colour is not deepened as ink is.
TEST(Page, NarrowMarkerIsNotInk) {
  Page page(ZEP3_SUB_BACKGROUND_REMOVAL, {}, 0);
  const auto isMarker = [](int x, int y) { return x >= 320 && x < 600 && y >= 200 && y < 214; };
  page.Fill([&](int x, int y, int c) {
    const double ground = isMarker(x, y) ? (c == 2 ? 110.0 : 232.0) : 235.0;
    return IsText(x, y) ? 90.0 : ground;
  });
  ASSERT_EQ(page.Analyse(), 1);
  const auto lies = [&](int x, int y) {
    return page.cells[static_cast<size_t>(y / 4 * page.surface.lColumns + x / 4)].lLies;
  };
  EXPECT_EQ(lies(450, 206) & ZEP3_CELL_STROKES, 0U);
  EXPECT_NE(lies(450, 106) & ZEP3_CELL_STROKES, 0U);
  EXPECT_NE(lies(150, 206) & ZEP3_CELL_STROKES, 0U);
}

// Light lines on blue: evened in brightness, its colour and the lines' contrast as they were.
TEST(Page, ABlueprintStaysBlue) {
  Page page(ZEP3_SUB_BACKGROUND_REMOVAL, {}, 0);
  const Pixel blue = {40, 60, 120};
  const auto isLine = [](int x, int y) { return x % 40 < 1 || y % 50 < 1; };
  page.Fill([&](int x, int y, int c) {
    const double light = 1.0 - 0.4 * y / kHeight;
    return light * (isLine(x, y) ? 230.0 : blue[static_cast<size_t>(c)]);
  });
  page.Finish();
  EXPECT_TRUE(page.Says(ZEP3_REASON_REVERSE));
  EXPECT_EQ(page.surface.lFound, ZEP3_SURFACE_REVERSE);
  // Middle of the sheet's light: 0.8, at the top, in the middle and at the bottom.
  for (const int y : {75, 225, 425}) EXPECT_NEAR(page.scan.Level(20, y, 2), 0.8 * 120, 8) << y;
  EXPECT_NEAR(page.scan.Level(20, 225, 2) - page.scan.Level(20, 225, 0), 0.8 * 80, 8);
}

TEST(Page, RefusesWhatItCannotDo) {
  Page page(ZEP3_SUB_DOCUMENT, {240, 240, 240}, 0);
  EXPECT_EQ(page.Analyse(10), 0) << "no room";
  page.r.para.wSubMode = ZEP3_SUB_PHOTO;
  EXPECT_EQ(page.Analyse(), 0);
  EXPECT_EQ(GetZEP3SurfaceRoom(0, 5), 0);
  EXPECT_EQ(GetZEP3SurfaceRoom(9, 4), 3);
}

// By hand, blocks of 2 x 2 and their darkest pixel and deviation: of the mean of the channels at display levels.
TEST(Page, DetailIsOfTheBlocksThatAreLookedAt) {
  for (const int64_t bits : {ZEP3_BITS_8, ZEP3_BITS_16}) {
    for (const int format : {ZEP3_PIXEL_RGB, ZEP3_PIXEL_BGRA, ZEP3_PIXEL_GRAY}) {
      SCOPED_TRACE(testing::Message() << bits << " " << format);
      Image scan(5, 7, format, 0, bits); // 3 x 4 blocks; (2, 2) has one column
      scan.Fill([](int, int, int) { return 200; });
      const bool gray = kSamples[format] == 1;
      for (int c = gray ? 1 : 0; c < (gray ? 2 : 3); c++) {
        scan.Level(3, 2, c) = 100; // in block (1, 1): mean 175, deviation sqrt(3) * 25 = 43.3
        scan.Level(4, 5, c) = 180; // in block (2, 2): mean 190, deviation 10
        if (bits == ZEP3_BITS_16) (&scan.Level(3, 2, c))[1] = 100, (&scan.Level(4, 5, c))[1] = 180;
      }
      std::vector<uint8_t> levels(36), darkest(36, 9), deviation(12, 9);
      ZEP3_BmpInfo prescan = {};
      prescan.pBits = levels.data();
      const ZEP3_DETAIL detail = {darkest.data(), deviation.data()};
      // Linear levels of gamma 1.8 are the values themselves; gamma 2.2: 255 * (100 / 255)^(2.2 / 1.8) = 81.2, 166.7.
      ASSERT_EQ(MakeZEP3PagePrescan(&scan.bmp, ZEP3_GAMMA_SRGB, 2, &prescan, &detail), 1);
      for (int block = 0; block < 12; block++) {
        const int expected = block == 4 ? 43 : block == 8 ? 10 : 9;
        EXPECT_EQ(deviation[static_cast<size_t>(block)], expected) << block;
        EXPECT_EQ(darkest[static_cast<size_t>(3 * block + 2)], block == 4 ? 81 : block == 8 ? 167 : 9) << block;
      }
      // At gamma 1.8 display levels lie (1.8 / 2.2) (175 / 255)^(-0.182) = 0.876 as far apart: 37.9.
      ASSERT_EQ(MakeZEP3PagePrescan(&scan.bmp, ZEP3_GAMMA_LINEAR_LEVELS, 2, &prescan, &detail), 1);
      EXPECT_EQ(deviation[4], 38);
      EXPECT_EQ(darkest[12], 100);
    }
  }
}

// ---- pixels ----

// A surface that differs from cell to cell, and tables of known shape.
struct Ramps {
  ZEP3_SURFACE surface = {};
  std::vector<ZEP3_CELL> cells;
  std::vector<uint16_t> table;
  int64_t entries;

  Ramps(int64_t n, int64_t side, int64_t columns, int64_t rows) : entries(n) {
    for (int64_t i = 0; i < columns * rows; i++) {
      const auto gain = [&](int c) { return 1.0F + static_cast<float>(Noise(i, c)) / 512.0F; };
      // Mostly alike, as in pages.
      const auto lies = static_cast<uint32_t>(Noise(i, 9) < 180 ? 3 : Noise(i, 8) % 4);
      cells.push_back({{gain(1), gain(2), gain(3)}, lies});
    }
    surface.lFound = ZEP3_SURFACE_PAPER;
    surface.lSide = side;
    surface.lColumns = columns;
    surface.lRows = rows;
    surface.lLeft = 3;
    surface.lTop = -5;
    surface.pCells = cells.data();
    for (int k = 0; k < 7; k++) {
      for (int64_t i = 0; i < n; i++) table.push_back(static_cast<uint16_t>(65535.0 * Shape(k, 1.6 * At(i)) + 0.5));
    }
  }
  double At(int64_t i) const { return static_cast<double>(i) / static_cast<double>(entries - 1); }
  // Strokes, objects; white from 0.85 to 1.
  static double Shape(int k, double n) {
    if (k == 6) return std::clamp((n - 0.85) / 0.15, 0.0, 1.0);
    return std::min(1.0, k < 3 ? n * (0.8 + 0.05 * k) : 0.1 + n * 0.5);
  }
  // What a pixel becomes, 0..1, by the words of the interface: bilinear between the centres of cells.
  Pixel Expected(const Pixel& v, int64_t x, int64_t y, bool gray) const {
    const auto place = [&](int64_t at, int64_t first, int64_t cells_) {
      const double p = (static_cast<double>(at - first) + 0.5) / static_cast<double>(surface.lSide) - 0.5;
      return std::clamp(p, 0.0, static_cast<double>(cells_ - 1));
    };
    const double px = place(x, surface.lLeft, surface.lColumns), py = place(y, surface.lTop, surface.lRows);
    const auto between = [&](auto value) {
      const auto cell = [&](double r, double c) {
        return static_cast<double>(
            value(cells[static_cast<size_t>(r) * static_cast<size_t>(surface.lColumns) + static_cast<size_t>(c)]));
      };
      const double c0 = std::floor(px), r0 = std::floor(py), c1 = std::ceil(px), r1 = std::ceil(py);
      const double top = cell(r0, c0) * (1 - px + c0) + cell(r0, c1) * (px - c0);
      return top * (1 - py + r0) + (cell(r1, c0) * (1 - px + c0) + cell(r1, c1) * (px - c0)) * (py - r0);
    };
    const auto drawn = [](double share) { return std::clamp(2.0 * share - 0.8, 0.0, 1.0); };
    const double a =
        drawn(between([](const ZEP3_CELL& cell) { return (cell.lLies & ZEP3_CELL_STROKES) != 0 ? 1.0F : 0.0F; }));
    const double b =
        drawn(between([](const ZEP3_CELL& cell) { return (cell.lLies & ZEP3_CELL_WHITEN) != 0 ? 1.0F : 0.0F; }));
    Pixel n;
    for (int c = 0; c < 3; c++) {
      const auto k = static_cast<size_t>(c);
      n[k] = std::min(1.6, v[k] * between([c](const ZEP3_CELL& cell) { return cell.fGain[c]; }));
    }
    const double t = b * Shape(6, gray ? n[1] : std::min({n[0], n[1], n[2]}));
    Pixel out;
    for (int c = 0; c < 3; c++) {
      const auto k = static_cast<size_t>(c);
      const double mixed = a * Shape(c, n[k]) + (1 - a) * Shape(c + 3, n[k]);
      out[k] = mixed + t * (Shape(c, 1.0) - mixed);
    }
    return out;
  }
};

TEST(PagePixels, AreAsTheInterfaceSaysHoweverTheScanIsCut) {
  for (const int64_t bits : {ZEP3_BITS_8, ZEP3_BITS_16}) {
    const bool deep = bits == ZEP3_BITS_16;
    for (const auto& [format, side] : {std::pair{ZEP3_PIXEL_RGB, 12},
                                       {ZEP3_PIXEL_RGB, 37},
                                       {ZEP3_PIXEL_BGRA, 8},
                                       {ZEP3_PIXEL_XRGB, 600},
                                       {ZEP3_PIXEL_GRAY, 12},
                                       {ZEP3_PIXEL_GRAYA, 5}}) {
      SCOPED_TRACE(testing::Message() << bits << " " << format << " " << side);
      const Ramps ramps(deep ? ZEP3_PAGE_ENTRIES_16 : ZEP3_PAGE_ENTRIES_8, side, side > 100 ? 2 : 17, 7);
      Image scan(257, 61, format, deep ? 2 : 1, bits);
      // Mostly light, so that whole stretches are white.
      scan.Fill([](int x, int y, int c) {
        return x / 30 % 3 == 1 ? Noise(x + 300 * y, c) : 235 + Noise(300 * y + x, c) / 16;
      });
      const std::vector<uint8_t> given = scan.pixels;
      ASSERT_EQ(ApplyZEP3Page(&scan.bmp, 0, 0, &ramps.surface, ramps.table.data()), 1);
      const std::vector<uint8_t> whole = scan.pixels;
      const bool gray = kSamples[format] < 3;
      double worst = 0.0;
      for (int y = 0; y < scan.height; y++) {
        for (int x = 0; x < scan.width; x++) {
          const auto index = [&](int c) { return static_cast<size_t>(&scan.Level(x, y, c) - scan.pixels.data()); };
          Pixel v;
          for (int c = 0; c < 3; c++) v[static_cast<size_t>(c)] = given[index(c)] / 255.0;
          const Pixel expected = ramps.Expected(v, x, y, gray);
          for (int c = gray ? 1 : 0; c < (gray ? 2 : 3); c++) {
            const uint8_t* at = &whole[index(c)];
            const double got = deep ? SampleAt(at, 2) / 65535.0 : at[0] / 255.0;
            worst = std::max(worst, std::fabs(got - expected[static_cast<size_t>(c)]));
          }
        }
      }
      // Half a level, and what an entry of the table and the steepest of its slopes (white, 1 / 0.15) make of 1.6 /
      // 4096.
      EXPECT_LE(worst, deep ? 0.0008 : 0.5 / 255.0 + 0.0035);
      // Samples that are no channels stay; so do the bytes between lines.
      scan.pixels = given;
      for (const auto& [x, width] : {std::pair{0, 100}, {100, 3}, {103, 154}}) {
        for (const auto& [y, height] : {std::pair{0, 1}, {1, 59}, {60, 1}}) {
          ZEP3_BmpInfo piece = scan.bmp;
          piece.pBits += y * scan.stride + x * scan.bytes;
          piece.lWidth = width;
          piece.lHeight = height;
          ASSERT_EQ(ApplyZEP3Page(&piece, x, y, &ramps.surface, ramps.table.data()), 1);
        }
      }
      EXPECT_TRUE(scan.pixels == whole);
      for (size_t i = 0; i < given.size(); i++) {
        const auto inLine = static_cast<int>(i) % scan.stride;
        const int sample = inLine % scan.bytes / scan.depth;
        const bool isChannel =
            inLine < scan.width * scan.bytes && std::count(kSampleOf[format], kSampleOf[format] + 3, sample) > 0;
        ASSERT_TRUE(isChannel || whole[i] == given[i]) << i;
      }
    }
  }
}

// R G B takes a way of its own where the processor has one; the same pixels with a fourth sample do not.
TEST(PagePixels, AreTheSameInEveryLayout) {
  for (const auto& [side, gain] :
       {std::pair<int64_t, float>{12, 1.0F}, {36, 1.0F}, {300, 1.0F}, {7, 40.0F}, {1, 100.0F}}) {
    for (int width = 1; width < 120; width += 13) {
      SCOPED_TRACE(testing::Message() << side << " " << gain << " " << width);
      Ramps ramps(ZEP3_PAGE_ENTRIES_8, side, 9, 7);
      for (size_t i = 0; i < ramps.cells.size(); i += 3) ramps.cells[i].fGain[i % 2] *= gain;
      Image plain(width, 40), padded(width, 40, ZEP3_PIXEL_XRGB);
      const auto level = [](int x, int y, int c) {
        return x / 20 % 2 == 1 ? Noise(x + 300 * y, c) : 240 + Noise(300 * y + x, c) / 20;
      };
      plain.Fill(level);
      padded.Fill(level);
      ASSERT_EQ(ApplyZEP3Page(&plain.bmp, 2, 1, &ramps.surface, ramps.table.data()), 1);
      ASSERT_EQ(ApplyZEP3Page(&padded.bmp, 2, 1, &ramps.surface, ramps.table.data()), 1);
      for (int i = 0; i < 3 * width * 40; i++) {
        const int x = i / 3 % width, y = i / 3 / width, c = i % 3;
        ASSERT_EQ(plain.Level(x, y, c), padded.Level(x, y, c)) << x << " " << y << " " << c;
      }
    }
  }
}

// Level n of the tables is the record's own table where paper is brought to dPaper; white is as white as that.
TEST(PagePixels, TablesAreTheRecordsOwn) {
  Page page(ZEP3_SUB_BACKGROUND_REMOVAL, {200, 190, 180}, 0);
  ASSERT_EQ(page.Analyse(), 1);
  page.r.para.ic.lContrast = 20;
  ASSERT_EQ(MakeZEP3PageLUT(&page.r.para, &page.surface, ZEP3_PAGE_ENTRIES_8, page.table.data()), 1);
  for (const int64_t i : {500, 1500, 2200, 3500}) {
    for (int c = 0; c < 3; c++) {
      const double n = 1.6 * static_cast<double>(i) / 4095.0;
      const double level = 255.0 * std::pow(std::min(1.0, n * page.surface.dPaper[c]), 2.2 / 1.8);
      double display[3];
      ZEP3_PARA copy = page.r.para;
      ASSERT_EQ(MakeZEP3LUTAt(&copy, nullptr, &level, 1, display), 1);
      EXPECT_NEAR(page.table[static_cast<size_t>(c * 4096 + i)], 257.0 * std::clamp(display[c], 0.0, 255.0), 0.51);
    }
  }
  EXPECT_EQ(page.table[static_cast<size_t>(6 * 4096)], 0);
  EXPECT_EQ(page.table[static_cast<size_t>(7 * 4096 - 1)], 65535);
}

} // namespace
