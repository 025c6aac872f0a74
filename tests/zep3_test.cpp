// The exported calls as a caller meets them.
#include "engine/zep3.h"

#include <gtest/gtest.h>

#include "support.h"

namespace {

// A soft ramp with noise: usable for every kind of original.
void FillPicture(Image& image) {
  image.Fill(
      [&](int x, int y, int c) { return 40 + x * 150 / image.width + Noise(3 * (y * image.width + x) + c, 5) / 8; });
}

TEST(ScreenGamma, ConvertsLevels) {
  struct Row {
    int64_t level, plain, inverted;
  };
  const Row rows[] = {{2570, 4630, 60904}, {62965, 63424, 2110}, {65535, 65535, 0},
                      {0, 0, 65535},       {7710, 11377, 54157}, {51400, 53721, 11813}};
  for (const Row& row : rows) {
    for (const int type : {0, 1, 2, 3, 4}) {
      Record r(type);
      EXPECT_EQ(ValueOfScreenGammaConv(row.level, &r.para), type == 0 || type == 3 ? row.inverted : row.plain);
    }
  }
  Record r;
  EXPECT_EQ(ValueOfScreenGammaConv(-1, &r.para), INT32_MIN) << "the power of a negative number";
}

TEST(Analysis, EveryKindOfOriginalIsServed) {
  // The types beyond the last take the defaults.
  const int rows[][2] = {{0, 0}, {0, 2}, {1, 0}, {1, 2}, {2, 0}, {2, 1}, {2, 2},
                         {2, 3}, {2, 4}, {2, 5}, {3, 0}, {3, 2}, {5, 0}};
  Image image(120, 90);
  FillPicture(image);
  double matrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row[0] << " " << row[1]);
    Record r(row[0], row[1]);
    r.para.lCorrectLevel = 2; // below every reference: no tone curve
    r.para.lLevelFlag = 9;
    r.outMaster.wPointNum = 7;
    r.outRgb[2].ptCtrl[1] = {3, 3};
    EXPECT_EQ(ZEP3(&image.bmp, &r.para, matrix), 1);
    EXPECT_EQ(r.para.lLevelFlag, 0);
    EXPECT_EQ(r.outMaster.wPointNum, 2);
    EXPECT_EQ(r.outRgb[2].ptCtrl[1].x, 255);
  }
  // Nothing ran for an unknown sub-mode: the caller's points are converted as they stand.
  Record r(ZEP3_DOC_REFLECTIVE, 7);
  r.SetPoints({62965, 2570, -1, 0, 123});
  ASSERT_EQ(ZEP3(&image.bmp, &r.para, nullptr), 1);
  Record expected;
  expected.SetPoints({63424, 4630, INT32_MIN, 0, 123});
  EXPECT_EQ(r.Points(), expected.Points());
}

TEST(Analysis, UnusableImagesGetTheDefaults) {
  struct Row {
    int type, subMode, level; // gray level of the whole image
    ZEP3_POINTS points;
  };
  const ZEP3_POINTS negative = {54157, 11813, 53721, 4630, 150};
  const ZEP3_POINTS photo = {63424, 4630, 63424, 4630, 100};
  const Row rows[] = {{2, 0, 0, photo}, {1, 0, 250, photo}, {3, 0, 255, negative}, {0, 0, 2, negative}};
  for (const Row& row : rows) {
    Image image(40, 40);
    image.Fill([&](int, int, int) { return row.level; });
    Record r(row.type, row.subMode, ZEP3_OPTION_PLAIN);
    r.para.lAgainstLight = 40; // not for default points
    ASSERT_EQ(ZEP3(&image.bmp, &r.para, nullptr), 1);
    Record expected(row.type);
    expected.SetPoints(row.points);
    if (row.type == 0) {
      // Outputs are never inverted, and the type outside 0..3 below does not invert inputs either.
      EXPECT_EQ(r.para.ic.ch[1].lHlOut, 53721);
    }
    EXPECT_EQ(r.Points(), expected.Points()) << row.type;
  }
  Image black(40, 40);
  black.Fill([](int, int, int) { return 0; });
  Record unknown(5);
  ASSERT_EQ(ZEP3(&black.bmp, &unknown.para, nullptr), 1);
  EXPECT_EQ(unknown.para.ic.ch[0].lHlIn, 11377) << "the negative set, not inverted";
}

TEST(Analysis, UserCurvesThatShareTheRecordsAreReset) {
  Image image(60, 60);
  FillPicture(image);
  Record r;
  r.para.pOutMasterTone = &r.master;
  r.master.ptCtrl[1] = {255, 100};
  ASSERT_EQ(ZEP3(&image.bmp, &r.para, nullptr), 1);
  EXPECT_EQ(r.master.ptCtrl[1].y, 255);
}

// Equal channels give equal points and tables: no calculator treats gray pictures in colour.
TEST(Analysis, GrayPicturesStayGray) {
  Image image(200, 150);
  image.Fill([&](int x, int y, int) { return 30 + x + Noise(y * 200 + x, 3) / 16; });
  for (const int type : {1, 2, 3}) {
    for (const int subMode : {0, 1, 2, 3, 4}) {
      for (const int64_t level : {0, 1, 4, 6, 9}) {
        Record r(type, subMode);
        r.para.lCorrectLevel = level;
        ASSERT_EQ(ZEP3(&image.bmp, &r.para, nullptr), 1);
        std::array<uint8_t, 768> table;
        ASSERT_EQ(MakeZEP3LUT(&r.para, table.data()), 1);
        for (size_t i = 0; i < 256; i++) {
          ASSERT_EQ(table[i], table[256 + i]) << type << " " << subMode << " " << level;
          ASSERT_EQ(table[i], table[512 + i]);
        }
      }
    }
  }
}

TEST(Calls, NullsGiveZeroAndWriteNothing) {
  Image image(40, 40);
  FillPicture(image);
  Record r;
  uint8_t table[768] = {42};
  int64_t pick[3] = {100, 100, 100};
  double matrix[9] = {};
  int64_t version = 77;
  EXPECT_EQ(ZEP3(nullptr, &r.para, nullptr), 0);
  EXPECT_EQ(ZEP3(&image.bmp, nullptr, nullptr), 0);
  EXPECT_EQ(GetZEP3Version(nullptr, &version) + GetZEP3Version(&version, nullptr), 0);
  EXPECT_EQ(version, 77);
  EXPECT_EQ(ValueOfScreenGammaConv(2570, nullptr), 0);
  EXPECT_EQ(MakeZEP3LUT(nullptr, table) + MakeZEP3LUT(&r.para, nullptr) + MakeZEP3LUTEx(nullptr, matrix, table), 0);
  EXPECT_EQ(table[0], 42);
  EXPECT_EQ(ColorMatrixConv(nullptr, matrix, matrix) + ColorMatrixConv(&r.para, nullptr, matrix), 0);
  EXPECT_EQ(ColorMatrixConv(&r.para, matrix, nullptr), 0);
  EXPECT_EQ(GetGrayBalance(nullptr, {1, 2, 3, 4}) + GetGamma(nullptr, &r.para) + GetGamma(pick, nullptr), 0);
  EXPECT_EQ(AdjustSpecifiedColor(nullptr, pick, pick, matrix, matrix), 0);
  r.SetPoints({63424, 4630, 63424, 4630, 100});
  EXPECT_EQ(AdjustSpecifiedColor(&r.para, nullptr, pick, matrix, matrix), 0);
  EXPECT_EQ(AdjustSpecifiedColor(&r.para, pick, nullptr, matrix, matrix), 0);
  for (const bool master : {false, true}) {
    Record broken;
    broken.para.lLevelFlag = 5;
    (master ? broken.para.pOutMasterTone : broken.para.pOutRGBTone) = nullptr;
    EXPECT_EQ(ZEP3(&image.bmp, &broken.para, nullptr), 0);
    EXPECT_EQ(broken.para.lLevelFlag, 5);
  }
}

} // namespace
