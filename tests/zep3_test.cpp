// The exported calls as a caller meets them.
#include "engine/zep3.h"

#include <gtest/gtest.h>

#include "support.h"

namespace {

TEST(ScreenGamma, ConvertsLevels) {
  struct Row {
    int64_t level, plain, inverted;
  };
  const Row rows[] = {{2570, 4630, 60904}, {62965, 63424, 2110}, {65535, 65535, 0},
                      {0, 0, 65535},       {7710, 11377, 54157}, {51400, 53721, 11813}};
  for (const int type : {0, 1, 2, 3, 4}) {
    Record r(type);
    for (const Row& row : rows) {
      EXPECT_EQ(ValueOfScreenGammaConv(row.level, &r.para), r.IsFilm() ? row.inverted : row.plain) << type;
    }
    EXPECT_EQ(ValueOfScreenGammaConv(-1, &r.para), INT32_MIN) << "the power of a negative number";
  }
}

TEST(Analysis, EveryKindIsServedFromAFreshStart) {
  // The types beyond the last take the defaults.
  const int rows[][2] = {{0, 0}, {0, 2}, {1, 0}, {1, 2}, {2, 0}, {2, 1},
                         {2, 2}, {2, 3}, {2, 4}, {3, 0}, {3, 2}, {5, 0}};
  Image image(120, 90);
  FillPicture(image);
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row[0] << " " << row[1]);
    Record r(row[0], row[1]);
    r.para.pOutMasterTone = &r.master; // the user's, which an analysis resets
    r.para.lCorrectLevel = 2;          // below every reference: no tone curve
    r.para.lLevelFlag = 9;
    r.master.wPointNum = 7;
    r.outRgb[2].ptCtrl[1] = {3, 3};
    EXPECT_EQ(ZEP3(&image.bmp, &r.para, kIdentity), 1);
    EXPECT_EQ(r.para.lLevelFlag, 0);
    EXPECT_EQ(r.master.wPointNum, 2);
    EXPECT_EQ(r.outRgb[2].ptCtrl[1].x, 255);
  }
}

TEST(Calls, NullsGiveZeroAndWriteNothing) {
  Image image(40, 40);
  Record r;
  uint8_t table[768] = {42};
  int64_t pick[3] = {100, 100, 100};
  double m[9] = {};
  int64_t version = 77;
  r.para.lLevelFlag = 5;
  r.SetPoints(kPhotoPoints);
  const auto before = r.Bytes();
  EXPECT_EQ(ZEP3(nullptr, nullptr, m) + ZEP3(&image.bmp, nullptr, m) + ZEP3Adaptive(&image.bmp, nullptr, m, nullptr),
            0);
  EXPECT_EQ(GetZEP3Version(nullptr, &version) + GetZEP3Version(&version, nullptr), 0);
  EXPECT_EQ(version, 77);
  EXPECT_EQ(ValueOfScreenGammaConv(2570, nullptr), 0);
  EXPECT_EQ(MakeZEP3LUT(nullptr, table) + MakeZEP3LUT(&r.para, nullptr) + MakeZEP3LUTEx(nullptr, m, table), 0);
  EXPECT_EQ(table[0], 42);
  EXPECT_EQ(
      ColorMatrixConv(nullptr, m, m) + ColorMatrixConv(&r.para, nullptr, m) + ColorMatrixConv(&r.para, m, nullptr), 0);
  EXPECT_EQ(GetGrayBalance(nullptr, {1, 2, 3, 4}) + GetGamma(nullptr, &r.para) + GetGamma(pick, nullptr), 0);
  EXPECT_EQ(AdjustSpecifiedColor(nullptr, pick, pick, m, m) + AdjustSpecifiedColor(&r.para, nullptr, pick, m, m) +
                AdjustSpecifiedColor(&r.para, pick, nullptr, m, m),
            0);
  EXPECT_EQ(r.Bytes(), before);
  for (const bool master : {false, true}) {
    Record broken;
    broken.para.lLevelFlag = 5;
    (master ? broken.para.pOutMasterTone : broken.para.pOutRGBTone) = nullptr;
    EXPECT_EQ(ZEP3(&image.bmp, &broken.para, nullptr), 0);
    EXPECT_EQ(broken.para.lLevelFlag, 5);
  }
  EXPECT_EQ(ZEP3(nullptr, &r.para, nullptr), 0);
}

} // namespace
