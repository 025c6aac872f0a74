// The palette adjustment: a displayed colour becomes another.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

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

TEST(Palette, RefusalsWriteNothing) {
  struct Call {
    Record r;
    int64_t source[3] = {100, 120, 140}, target[3] = {110, 120, 130};
    double coef[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1}, matrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    ZEP3_POINTS& green = r.para.ic.ch[1];
    explicit Call(int type) : r(type) { Complete(r); }
    int Run() { return AdjustSpecifiedColor(&r.para, source, target, coef, matrix); }
  };
  struct Row {
    const char* why;
    int type;
    std::function<void(Call&)> spoil;
  };
  const Row rows[] = {
      {"not set", 2, [](Call& k) { k.green.lSdOut = -1; }},
      {"above the scale", 2, [](Call& k) { k.r.para.ic.ch[0].lHlIn = 65536; }},
      {"gamma 0", 2, [](Call& k) { k.green.lGamma = 0; }},
      {"outputs swapped", 0, [](Call& k) { std::swap(k.green.lSdOut, k.green.lHlOut); }},
      {"screen gamma 0", 2, [](Call& k) { k.r.para.lScreenGamma = 0; }},
      {"type above", 2, [](Call& k) { k.r.para.wDocType = 4; }},
      {"no master curve", 2, [](Call& k) { k.r.para.ic.pMasterTone = nullptr; }},
      {"falling master curve", 2, [](Call& k) { k.r.master.ptCtrl[0].y = 255, k.r.master.ptCtrl[1].y = 0; }},
      {"singular matrix", 2, [](Call& k) { k.matrix[0] = 0; }},
      {"colour behind the matrix not a number", 3, [](Call& k) { k.matrix[4] = k.matrix[8] = 1e200; }},
      {"gain 0", 0, [](Call& k) { k.coef[0] = 0; }},
      {"gain not a number", 0, [](Call& k) { k.coef[8] = std::nan(""); }},
      {"darker than the scan shows", 2, [](Call& k) { k.source[1] = 0; }},
      {"shadow pushed to the highlight", 2,
       [](Call& k) { k.green.lHlIn = 65500, k.green.lSdIn = 65000, k.source[1] = 255, k.target[1] = 0; }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    EXPECT_EQ(Call(row.type).Run(), 1) << "in order as it stands";
    Call spoilt(row.type);
    row.spoil(spoilt);
    const auto before = spoilt.r.Bytes();
    EXPECT_EQ(spoilt.Run(), 0);
    EXPECT_EQ(spoilt.r.Bytes(), before);
  }
}

} // namespace
