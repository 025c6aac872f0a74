#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <functional>

#include "engine/calc/czep.h"
#include "engine/hist/chist.h"
#include "support.h"

namespace {

TEST(SetDefault, PointsAndCurvesByKindOfOriginal) {
  struct Row {
    int type, subMode;
    ZEP3_POINTS points; // lHlIn 0: left alone
    int hl, sd;
  };
  const ZEP3_POINTS negative = {7710, 51400, 51400, 2570, 150};
  const ZEP3_POINTS photo = {62965, 2570, 62965, 2570, 100};
  const ZEP3_POINTS document = {59110, 8995, 65535, 2570, 107};
  const Row rows[] = {
      {0, 0, negative, 2, 5}, {0, 2, negative, 2, 5}, {1, 0, photo, 1, 4},    {1, 1, document, 1, 5},
      {1, 2, {}, 1, 4},       {2, 0, photo, 1, 4},    {2, 1, document, 1, 5}, {2, 3, document, 1, 4},
      {2, 4, {}, 1, 4},       {3, 1, negative, 2, 5}, {5, 0, negative, 2, 5}, {0xFFFF, 0, negative, 2, 5},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "type " << row.type << " sub-mode " << row.subMode);
    Record asked(row.type, row.subMode);
    Record linked; // the record that is written is the linked one
    const auto before = asked.Points();
    CZEP zep;
    zep.SetParam(nullptr, &linked.para);
    zep.SetDefault(&asked.para);
    EXPECT_EQ(asked.Points(), before);
    Record expected;
    if (row.points.lHlIn != 0) expected.SetPoints(row.points);
    EXPECT_EQ(linked.Points(), expected.Points());
    EXPECT_EQ(linked.para.ic.wHlCurveType, row.hl);
    EXPECT_EQ(linked.para.ic.wSdCurveType, row.sd);
  }
}

TEST(LimitHlinSdin, KeepsTheEnds) {
  CZEP zep;
  const double rows[][2] = {{0.0, 0.1}, {0.1, 0.1}, {17.5, 17.5}, {255.0, 255.0}, {300.0, 255.0}, {-1.0, 0.1}};
  for (const auto& row : rows) EXPECT_EQ(zep.LimitHlinSdin(row[0]), row[1]);
}

// Statistics of a neutral picture: every channel alike, nothing at the clips.
void FillNeutral(CHIST& hist) {
  for (int c = 0; c < 4; c++) {
    const double scale = c == 3 ? 3.0 : 1.0;
    hist.m_pdHistMax[0][c] = 240.0 * scale;
    hist.m_pdHistMax[1][c] = 230.0 * scale;
    hist.m_pdHistMax[2][c] = 200.0 * scale;
    hist.m_pdHistMin[1][c] = 20.0 * scale;
  }
  hist.m_dAnlRange[3] = 630.0;
  for (int c = 0; c < 3; c++) {
    for (int i = 15; i < 245; i++) hist.m_nHist[c][i] = hist.m_nHistOrg[c][i] = 10;
  }
  hist.m_nPixelCount = 2300;
}

using Method = bool (CZEP::*)();
const Method kCalculators[] = {&CZEP::CalcParamFBPhoto,      &CZEP::CalcParamFBDoc, &CZEP::CalcBackgroundRemove,
                               &CZEP::CalcGroundColorRemove, &CZEP::CalcParamPosi,  &CZEP::CalcParamNegaBW,
                               &CZEP::CalcRestorationFBP};

// Whatever the level, integers stay in 32 bits, nothing is read out of bounds (the sanitizers look on), and equal
// channels get equal points.
TEST(Calculators, TakeEveryLevelAndKeepNeutralPicturesNeutral) {
  for (const Method method : kCalculators) {
    for (const int64_t level :
         {INT64_MIN, int64_t{-1}, int64_t{0}, int64_t{1}, int64_t{4}, int64_t{5}, int64_t{7}, int64_t{9}, INT64_MAX}) {
      for (const int option : {1, 2}) {
        Record r(ZEP3_DOC_REFLECTIVE, 0, option);
        r.para.lCorrectLevel = level;
        CHIST hist;
        FillNeutral(hist);
        CZEP zep;
        zep.SetParam(&hist, &r.para);
        EXPECT_TRUE((zep.*method)());
        const auto points = r.Points();
        for (size_t i = 0; i < 15; i++) {
          EXPECT_EQ(points[i], points[i % 5]);
          EXPECT_EQ(points[i], static_cast<int32_t>(points[i]));
        }
        // An ordinary level leaves a usable correction.
        if (level >= 0 && level <= 9) {
          const ZEP3_POINTS& p = r.para.ic.ch[0];
          const bool negative = method == &CZEP::CalcParamNegaBW;
          EXPECT_LT(negative ? p.lHlIn : p.lSdIn, negative ? p.lSdIn : p.lHlIn);
          EXPECT_GE(p.lGamma, 50);
          EXPECT_LE(p.lGamma, 200);
        }
      }
    }
  }
}

// Constants that decide nothing as they are, set so that they do.
TEST(Calculators, FollowTheirTuning) {
  const auto gammaOf = [](Method method, const std::function<void(CZEP&)>& tune) {
    Record r(ZEP3_DOC_REFLECTIVE);
    CHIST hist;
    FillNeutral(hist);
    CZEP zep;
    tune(zep);
    zep.SetParam(&hist, &r.para);
    EXPECT_TRUE((zep.*method)());
    return r.para.ic.ch[0].lGamma;
  };
  const auto asItIs = [](CZEP&) {};
  EXPECT_NE(gammaOf(&CZEP::CalcParamFBPhoto, asItIs), 100);
  EXPECT_EQ(gammaOf(&CZEP::CalcParamFBPhoto, [](CZEP& zep) { zep.m_dFBPhotoGammaMin = 9.0; }), 100);
  // Means above the band are pulled down to it.
  EXPECT_LT(gammaOf(&CZEP::CalcRestorationFBP, [](CZEP& zep) { zep.m_dRestFBPMeanHigh = zep.m_dRestFBPMeanLow; }),
            gammaOf(&CZEP::CalcRestorationFBP, asItIs));
}

TEST(Restoration, AnEmptyChannelHasAMeanAllTheSame) {
  Record r(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION);
  CHIST hist;
  FillNeutral(hist);
  std::fill_n(hist.m_nHistOrg[2], 256, 0u);
  std::fill_n(hist.m_nHist[2], 256, 0u);
  CZEP zep;
  zep.SetParam(&hist, &r.para);
  ASSERT_TRUE(zep.CalcRestorationFBP());
  for (const ZEP3_POINTS& p : r.para.ic.ch) EXPECT_GT(p.lGamma, 0);
}

// Far below the levels in use the references turn negative: what is not a number must not pass for the highest score.
TEST(Restoration, AScoreThatIsNoNumberIsNotCapped) {
  Record r(ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION);
  r.para.lCorrectLevel = -80;
  CHIST hist;
  FillNeutral(hist);
  CZEP zep;
  zep.SetParam(&hist, &r.para);
  ASSERT_TRUE(zep.CalcRestorationFBP());
  EXPECT_EQ(r.para.lSaturation, INT32_MIN);
}

} // namespace
