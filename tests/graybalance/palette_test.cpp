// The palette adjustment: a displayed colour becomes another.
#include <gtest/gtest.h>

#include "support.h"

namespace {

// Automatic curve types: none for prints, roll-off and toe for negatives.
void Complete(Record& r) { r.SetPoints(r.IsFilm() ? kFilmPoints : kPhotoPoints); }

TEST(Palette, WorkedExamples) {
  struct Row {
    int type;
    int64_t source[3], target[3];
    int64_t hlIn[3], sdIn[3], blueHlOut; // of the other channels as before
  };
  const Row rows[] = {
      {2, {100, 120, 140}, {110, 120, 130}, {57658, 63424, 65535}, {4209, 4630, 4986}, 60853},
      {0, {100, 120, 140}, {110, 120, 130}, {53078, 54157, 55046}, {6719, 11813, 16013}, 53721},
      {3, {100, 120, 140}, {110, 120, 130}, {53078, 54157, 55046}, {6719, 11813, 16013}, 53721},
      {2, {60, 60, 60}, {200, 200, 200}, {33847, 33847, 33847}, {2470, 2470, 2470}, 63424}, // limited
      // The limit of colour negatives follows the gains, here those of film, and only theirs.
      {0, {200, 200, 200}, {60, 60, 60}, {58680, 59347, 59497}, {33171, 36319, 37026}, 53721},
      {3, {200, 200, 200}, {60, 60, 60}, {59462, 59462, 59462}, {36865, 36865, 36865}, 53721},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(&row - rows);
    Record r(row.type), expected(row.type);
    Complete(r);
    Complete(expected);
    ASSERT_EQ(AdjustSpecifiedColor(&r.para, row.source, row.target, kIdentity, kIdentity), 1);
    for (int c = 0; c < 3; c++) expected.para.ic.ch[c].lHlIn = row.hlIn[c], expected.para.ic.ch[c].lSdIn = row.sdIn[c];
    expected.para.ic.ch[2].lHlOut = row.blueHlOut;
    EXPECT_EQ(r.Points(), expected.Points());
  }
}

// Behind a matrix that shows green as red, blue as green and red as blue, colours are those of the tables so turned.
TEST(Palette, ColoursGoBackThroughTheMatrix) {
  const double turn[9] = {0, 1, 0, 0, 0, 1, 1, 0, 0};
  const int64_t source[3] = {100, 120, 140}, target[3] = {110, 125, 130};
  const int64_t tableSource[3] = {140, 100, 120}, tableTarget[3] = {130, 110, 125};
  for (const int type : {0, 2}) {
    Record turned(type), plain(type);
    Complete(turned);
    Complete(plain);
    ASSERT_EQ(AdjustSpecifiedColor(&turned.para, source, target, nullptr, turn), 1);
    ASSERT_EQ(AdjustSpecifiedColor(&plain.para, tableSource, tableTarget, nullptr, nullptr), 1);
    EXPECT_EQ(turned.Points(), plain.Points());
  }
}

} // namespace
