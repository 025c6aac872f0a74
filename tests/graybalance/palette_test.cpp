// The palette adjustment: a displayed colour becomes another.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>

#include "engine/common/record.h"
#include "engine/common/scale.h"
#include "engine/graybalance/cgryblnce.h"
#include "engine/lut/clut.h"
#include "support.h"

namespace {

constexpr double kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
constexpr ZEP3_POINTS kPrint = {63424, 4630, 63424, 4630, 100};
constexpr ZEP3_POINTS kFilm = {54157, 11813, 53721, 4630, 150};

bool IsFilm(int type) { return type == 0 || type == 3; }

// Automatic curve types: none for prints, roll-off and toe for negatives.
void Complete(Record& r) { r.SetPoints(IsFilm(r.para.wDocType) ? kFilm : kPrint); }

TEST(Palette, WorkedExamples) {
  struct Row {
    int type;
    int64_t source[3], target[3];
    const double* matrix;
    ZEP3_POINTS expected[3];
  };
  const ZEP3_POINTS limited = {33847, 2470, 63424, 4630, 100};
  const Row rows[] = {
      {2,
       {100, 120, 140},
       {110, 120, 130},
       kIdentity,
       {{57658, 4209, 63424, 4630, 100}, kPrint, {65535, 4986, 60853, 4630, 100}}},
      {0,
       {100, 120, 140},
       {110, 120, 130},
       nullptr,
       {{53078, 6719, 53721, 4630, 150}, kFilm, {55046, 16013, 53721, 4630, 150}}},
      {3,
       {100, 120, 140},
       {110, 120, 130},
       kIdentity,
       {{53078, 6719, 53721, 4630, 150}, kFilm, {55046, 16013, 53721, 4630, 150}}},
      {2, {60, 60, 60}, {200, 200, 200}, nullptr, {limited, limited, limited}},
      // The limit of colour negatives follows the gains, here those of film, and only theirs.
      {0,
       {200, 200, 200},
       {60, 60, 60},
       kIdentity,
       {{58680, 33171, 53721, 4630, 150}, {59347, 36319, 53721, 4630, 150}, {59497, 37026, 53721, 4630, 150}}},
      {3,
       {200, 200, 200},
       {60, 60, 60},
       kIdentity,
       {{59462, 36865, 53721, 4630, 150}, {59462, 36865, 53721, 4630, 150}, {59462, 36865, 53721, 4630, 150}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(&row - rows);
    Record r(row.type);
    Complete(r);
    ASSERT_EQ(AdjustSpecifiedColor(&r.para, row.source, row.target, row.matrix, row.matrix), 1);
    Record expected;
    for (int c = 0; c < 3; c++) expected.para.ic.ch[c] = row.expected[c];
    EXPECT_EQ(r.Points(), expected.Points());
  }
}

// On a print that keeps its levels 60 is level 43.5 of the scan, 255 * (60 / 255)^(2.2 / 1.8).
TEST(Palette, ASecondCallGoesOnFromTheLimit) {
  Record r;
  Complete(r);
  const int64_t target[3] = {200, 200, 200};
  for (const int shown : {60, 112, 200}) {
    std::array<uint8_t, 768> table;
    ASSERT_EQ(MakeZEP3LUT(&r.para, table.data()), 1);
    EXPECT_NEAR((table[43] + table[44]) / 2.0, shown, 1);
    const int64_t source[3] = {shown, shown, shown};
    ASSERT_EQ(AdjustSpecifiedColor(&r.para, source, target, nullptr, nullptr), 1);
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
  const double nan = std::numeric_limits<double>::quiet_NaN();
  struct Call {
    Record r;
    int64_t source[3] = {100, 120, 140};
    int64_t target[3] = {110, 120, 130};
    double coef[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    double matrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    explicit Call(int type) : r(type) { Complete(r); }
    ZEP3_POINTS& Green() { return r.para.ic.ch[1]; }
  };
  struct Row {
    const char* why;
    int type;
    std::function<void(Call&)> spoil;
  };
  const Row rows[] = {
      {"not set", 2, [](Call& k) { k.Green().lSdOut = -1; }},
      {"above the scale", 2, [](Call& k) { k.r.para.ic.ch[0].lHlIn = 65536; }},
      {"gamma 0", 2, [](Call& k) { k.Green().lGamma = 0; }},
      {"outputs swapped", 0, [](Call& k) { std::swap(k.Green().lSdOut, k.Green().lHlOut); }},
      {"screen gamma 0", 2, [](Call& k) { k.r.para.lScreenGamma = 0; }},
      {"type above", 2, [](Call& k) { k.r.para.wDocType = 4; }},
      {"no master curve", 2, [](Call& k) { k.r.para.ic.pMasterTone = nullptr; }},
      {"falling master curve", 2, [](Call& k) { k.r.master.ptCtrl[0].y = 255, k.r.master.ptCtrl[1].y = 0; }},
      {"singular matrix", 2, [](Call& k) { k.matrix[0] = 0; }},
      {"colour behind the matrix not a number", 3, [](Call& k) { k.matrix[4] = k.matrix[8] = 1e200; }},
      {"gain 0", 0, [](Call& k) { k.coef[0] = 0; }},
      {"gain not a number", 0, [=](Call& k) { k.coef[8] = nan; }},
      {"darker than the scan shows", 2, [](Call& k) { k.source[1] = 0; }},
      {"shadow pushed to the highlight at the top", 2,
       [](Call& k) {
         k.Green().lHlIn = 65500;
         k.Green().lSdIn = 65000;
         k.source[1] = 255;
         k.target[1] = 0;
       }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    Call k(row.type);
    ASSERT_EQ(AdjustSpecifiedColor(&k.r.para, k.source, k.target, k.coef, k.matrix), 1) << "in order as it stands";
    Call spoilt(row.type);
    row.spoil(spoilt);
    const ZEP3_PARA before = spoilt.r.para;
    EXPECT_EQ(AdjustSpecifiedColor(&spoilt.r.para, spoilt.source, spoilt.target, spoilt.coef, spoilt.matrix), 0);
    EXPECT_EQ(std::memcmp(&spoilt.r.para, &before, sizeof before), 0);
  }
}

// What the tables show of a scan level, nothing rounded.
struct Forward {
  double curve[768], rgb[768], master[256];

  Forward(const Record& r, const double* coef) {
    ZEP3_PARA copy = r.para;
    CLUT lut(&copy);
    lut.MakeLUT(&copy, coef, false);
    std::memcpy(curve, lut.m_dCurve, sizeof curve);
    CLUT::MakeToneCurvLUT(&r.para.ic, master, rgb);
  }
  double Show(int c, double scan) const {
    return CLUT::MapThrough(master, CLUT::MapThrough(rgb + 256 * c, CLUT::MapThrough(curve + 256 * c, scan)));
  }
};

TEST(Palette, TheSourcesScanLevelShowsTheTarget) {
  std::mt19937 random(5);
  const auto between = [&](int lo, int hi) {
    return lo + static_cast<int>(random() % static_cast<unsigned>(hi - lo + 1));
  };
  int met[4] = {};
  int stopped = 0; // highlights at the top of the scale
  for (int n = 0; n < 240; n++) {
    SCOPED_TRACE(n);
    const int type = n % 4;
    const bool film = IsFilm(type);
    Record r(type);
    const double toDisplay = DisplayExponent(r.para);
    const auto input = [&](int level) {
      return film ? EncodeNegativeInput(level, toDisplay) : EncodeLevel(level, toDisplay);
    };
    for (ZEP3_POINTS& p : r.para.ic.ch) {
      p = {input(film ? between(30, 60) : between(190, 250)), input(film ? between(120, 200) : between(4, 30)),
           EncodeLevel(between(200, 250), toDisplay), EncodeLevel(between(4, 15), toDisplay),
           film ? between(100, 150) : between(80, 130)};
    }
    r.para.ic.lBrightness = between(-30, 0);
    for (ZEP3_TONE* tone : {&r.master, &r.rgb[0], &r.rgb[1], &r.rgb[2]}) {
      *tone = {3, {{0, 0}, {between(100, 150), between(110, 145)}, {255, 255}}};
    }
    double coef[9] = {};
    for (int i = 0; i < 3; i++) coef[4 * i] = between(80, 120) / 100.0;
    int64_t source[3], target[3];
    for (int c = 0; c < 3; c++) {
      source[c] = between(50, 205);
      target[c] = std::clamp<int64_t>(source[c] + between(-30, 30), 40, 215);
    }
    const Forward old(r, coef);
    CGRYBLNCE g(&r.para);
    const auto scan = [&](const int64_t* color, double* level) {
      for (int c = 0; c < 3; c++) level[c] = static_cast<double>(color[c]);
      g.ConvNewColor(old.master, level, true);
      g.ConvNewColor(old.rgb, level, false);
      film ? g.ConvNewColorNega(old.curve, level) : g.ConvNewColor(old.curve, level, false);
    };
    double from[3], to[3];
    scan(source, from);
    scan(target, to);
    // Not every colour can be shown, and one call moves a channel by a limited density.
    bool within = true;
    for (int c = 0; c < 3; c++) {
      const double q = from[c] / to[c];
      within &= std::abs(old.Show(c, from[c]) - double(source[c])) < 1e-6 &&
                std::abs(old.Show(c, to[c]) - double(target[c])) < 1e-6 &&
                std::abs(1.8 * std::log10(q)) < 0.6 * (type == 0 ? coef[4 * c] : 1.0) &&
                !(film && g.m_dSdIn[c] * q > 255.0);
      stopped += within && !film && g.m_dHlIn[c] * q > 255.0;
    }
    if (!within) continue;
    ZEP3_PARA expected = r.para;
    ASSERT_EQ(AdjustSpecifiedColor(&r.para, source, target, coef, nullptr), 1);
    const Forward shown(r, coef);
    for (int c = 0; c < 3; c++) {
      EXPECT_NEAR(shown.Show(c, from[c]), double(target[c]), 0.1) << type << " " << c;
      ZEP3_POINTS& p = expected.ic.ch[c];
      p.lHlIn = r.para.ic.ch[c].lHlIn;
      p.lSdIn = r.para.ic.ch[c].lSdIn;
      if (!film) p.lHlOut = r.para.ic.ch[c].lHlOut;
    }
    EXPECT_EQ(std::memcmp(&r.para, &expected, sizeof expected), 0) << "nothing else is written";
    met[type]++;
  }
  for (const int count : met) EXPECT_GT(count, 25);
  EXPECT_GT(stopped, 20);
}

} // namespace
