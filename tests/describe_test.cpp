// What the library says of itself and of what it is given.
#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <string>

#include "support.h"

namespace {

TEST(Describe, KindsAreFoundByNameAndByRecord) {
  std::set<std::string> names;
  Record r;
  for (int64_t i = 0; const ZEP3_KIND* kind = GetZEP3Kind(i); i++) {
    names.insert(kind->pName);
    EXPECT_EQ(FindZEP3Kind(kind->pName), kind);
    ASSERT_EQ(SetZEP3Kind(&r.para, kind->pName), 1);
    EXPECT_EQ(FindZEP3KindOf(&r.para), kind);
  }
  EXPECT_EQ(names.size(), 11u);
  EXPECT_EQ(GetZEP3Kind(-1), nullptr);
  EXPECT_EQ(FindZEP3Kind("Photo"), nullptr);
  EXPECT_EQ(FindZEP3Kind(nullptr), nullptr);
  // Films know no sub-mode but restoration; what has no calculator is no kind.
  const Record odd(ZEP3_DOC_POSITIVE, 7), page(ZEP3_DOC_REFLECTIVE, 7), unknown(9);
  EXPECT_STREQ(FindZEP3KindOf(&odd.para)->pName, "slide");
  EXPECT_EQ(FindZEP3KindOf(&page.para), nullptr);
  EXPECT_EQ(FindZEP3KindOf(&unknown.para), nullptr);
  EXPECT_EQ(SetZEP3Kind(&r.para, "unknown") + SetZEP3Kind(nullptr, "photo"), 0);
}

TEST(Describe, EveryReasonHasItsOwnWords) {
  int64_t all = 0;
  std::set<std::string> words;
  for (int64_t i = 0; const ZEP3_REASON* reason = GetZEP3Reason(i); i++) {
    EXPECT_EQ(all & reason->lBit, 0);
    all |= reason->lBit;
    words.insert({reason->pCode, reason->pText, reason->pSentence});
  }
  EXPECT_EQ(all, 2 * ZEP3_REASON_UNEVEN_FADING - 1) << "every bit up to the last";
  EXPECT_EQ(words.size(), 3 * 18u);
}

TEST(Describe, MeasurementsAreReachedByNameWhereTheyAreMade) {
  for (int64_t analysis = ZEP3_ANALYSIS_STANDARD; analysis <= ZEP3_ANALYSIS_NEGATIVE_BW; analysis++) {
    ZEP3_EVIDENCE evidence = {};
    evidence.lAnalysis = analysis;
    double next = 1.25;
    for (int64_t i = 0; const ZEP3_EVIDENCE_ITEM* item = GetZEP3EvidenceItem(i); i++) {
      const double given[ZEP3_EVIDENCE_COUNT_MAX] = {next, next + 1, next + 2};
      const int64_t count = (item->lAnalyses >> analysis & 1) != 0 ? item->lCount : 0;
      EXPECT_EQ(SetZEP3Evidence(&evidence, item->pName, given), count) << item->pName;
      next += static_cast<double>(count);
    }
    // No number lies where another does.
    double expected = 1.25, values[ZEP3_EVIDENCE_COUNT_MAX];
    for (int64_t i = 0; const ZEP3_EVIDENCE_ITEM* item = GetZEP3EvidenceItem(i); i++) {
      const int64_t count = GetZEP3Evidence(&evidence, item->pName, values);
      for (int64_t k = 0; k < count; k++) EXPECT_EQ(values[k], expected++) << item->pName;
    }
    EXPECT_EQ(expected, next);
    EXPECT_EQ(next == 1.25, analysis == ZEP3_ANALYSIS_STANDARD);
    EXPECT_EQ(GetZEP3Evidence(&evidence, "unknown", values) + GetZEP3Evidence(nullptr, "trimmed", values), 0);
  }
}

// Each change with the words of what is wrong; none: nothing is.
TEST(Check, SaysWhatIsWrong) {
  struct Case {
    Image image{200, 150};
    Record r;
    ZEP3_BmpInfo& bmp = image.bmp;
    ZEP3_PARA& p = r.para;
    ZEP3_POINTS& red = p.ic.ch[0];
    double m[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    bool noImage = false, noRecord = false, noMatrix = false;
  };
  constexpr int kA = 1 << ZEP3_CALL_ANALYSE, kT = 1 << ZEP3_CALL_TABLES, kP = 1 << ZEP3_CALL_APPLY,
                kF = 1 << ZEP3_CALL_FINISH;
  const struct {
    int calls;
    const char* words;
    void (*change)(Case&);
  } rows[] = {
      {kA | kP | kF, "image is null", [](Case& c) { c.noImage = true; }},
      {kA | kP | kF, "lBitCount", [](Case& c) { c.bmp.lBitCount = 32; }},
      {kA | kP | kF, "wPixelFormat", [](Case& c) { c.bmp.wPixelFormat = 7; }},
      {kA | kP | kF, "below 1", [](Case& c) { c.bmp.lHeight = 0; }},
      {kA | kP | kF, "2147483647", [](Case& c) { c.bmp.lWidth = int64_t{1} << 31; }},
      {kA | kP | kF, "pixels are null", [](Case& c) { c.bmp.pBits = nullptr; }},
      {kA | kP | kF, "lBytesPerLine", [](Case& c) { c.bmp.lBytesPerLine = 599; }},
      {kA | kP | kF | kT, "", [](Case&) {}},
      {kP, "", [](Case& c) { c.bmp.wPixelFormat = ZEP3_PIXEL_GRAYA, c.noRecord = true; }},
      {kA, "as B G R", [](Case& c) { c.bmp.wPixelFormat = ZEP3_PIXEL_RGBA; }},
      {kA, "too narrow", // in blocks that are wider than it
       [](Case& c) {
         c.bmp.lWidth = 1, c.bmp.lHeight = 100000, c.bmp.area = {{}, {}, {1, 100000}, {1, 100000}};
       }},
      {kA | kF, "out of order",
       [](Case& c) {
         c.bmp.area.ptLeft = c.bmp.area.ptTop = {300, 9};
       }},
      {kA | kF, "vertical edge",
       [](Case& c) {
         c.bmp.area = {{0, 50}, {90, 0}, {90, 50}, {50, 90}};
       }},
      {kA | kF, "no pixel",
       [](Case& c) {
         c.bmp.area = {{300, 0}, {300, 0}, {400, 9}, {400, 9}};
       }},
      {kA | kF | kT, "record is null", [](Case& c) { c.noRecord = true; }},
      {kA | kF, "pOutMasterTone", [](Case& c) { c.p.pOutRGBTone = nullptr; }},
      {kA | kF, "wDocType", [](Case& c) { c.p.wDocType = 4; }},
      {kA | kF, "wSubMode", [](Case& c) { c.p.wSubMode = 5; }},
      {kA | kF | kT, "lScreenGamma", [](Case& c) { c.p.lScreenGamma = 0; }},
      {kA | kF, "strength", [](Case& c) { c.p.lCorrectLevel = ZEP3_UNSET; }},
      {kA | kF | kT, "diagonal", [](Case& c) { c.p.wDocType = 0, c.m[8] = -1, c.m[0] = std::nan(""); }},
      {kA, "needs a colour matrix", [](Case& c) { c.p.wDocType = ZEP3_DOC_NEGATIVE, c.noMatrix = true; }},
      {kF, "", [](Case& c) { c.p.wDocType = ZEP3_DOC_NEGATIVE, c.noMatrix = true; }},
      {kT, "no number", [](Case& c) { c.red.lHlIn = INT32_MIN; }},
      {kT, "0..65535", [](Case& c) { c.red.lSdOut = 65536; }},
      {kT, "gamma", [](Case& c) { c.red.lGamma = 0; }},
      {kT, "output points are equal", [](Case& c) { c.red.lHlOut = 4630; }},
      {kT, "input points are equal", [](Case& c) { c.red.lHlIn = 4630; }},
      {kT, "", [](Case& c) { c.red.lHlIn = ZEP3_UNSET; }},
      {kT, "single point", [](Case& c) { c.r.master.wPointNum = 1; }},
      {kT, "0..255", [](Case& c) { c.r.rgb[2].ptCtrl[1].y = 256; }},
      {kT, "do not rise", [](Case& c) { c.r.rgb[1].ptCtrl[1].x = 0; }},
      {kT, "", [](Case& c) { c.p.ic.pMasterTone = c.p.ic.pRGBTone = nullptr, c.noImage = true; }},
      {1 << 7, "ZEP3_CALL_", [](Case&) {}},
  };
  for (const auto& row : rows) {
    for (int call = 0; call < 8; call++) {
      if ((row.calls >> call & 1) == 0) continue;
      Case c;
      c.r.SetPoints(kPhotoPoints);
      row.change(c);
      const char* wrong =
          CheckZEP3(call, c.noImage ? nullptr : &c.bmp, c.noRecord ? nullptr : &c.p, c.noMatrix ? nullptr : c.m);
      const std::string said = wrong == nullptr ? "" : wrong;
      EXPECT_NE(said.find(row.words), std::string::npos) << call << ": \"" << said << "\" for " << row.words;
      EXPECT_EQ(said.empty(), *row.words == '\0') << call << ": " << said;
    }
  }
}

} // namespace
