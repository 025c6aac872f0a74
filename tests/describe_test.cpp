// What the library says of itself and of what it is given.
#include <gtest/gtest.h>

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
  const Record odd(ZEP3_DOC_POSITIVE, 7), page(ZEP3_DOC_REFLECTIVE, 7);
  EXPECT_STREQ(FindZEP3KindOf(&odd.para)->pName, "slide");
  EXPECT_EQ(FindZEP3KindOf(&page.para), nullptr);
  EXPECT_EQ(SetZEP3Kind(&r.para, "unknown"), 0);
}

TEST(Describe, EveryReasonHasItsOwnWords) {
  int64_t all = 0;
  std::set<std::string> words;
  for (int64_t i = 0; const ZEP3_REASON* reason = GetZEP3Reason(i); i++) {
    EXPECT_EQ(all & reason->lBit, 0);
    all |= reason->lBit;
    words.insert({reason->pCode, reason->pText, reason->pSentence});
  }
  EXPECT_EQ(all, 2 * ZEP3_REASON_BASE - 1) << "every bit up to the last";
  EXPECT_EQ(words.size(), 3 * 38u);
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
    double* matrix = m;
  };
  constexpr int kA = ZEP3_CALL_ANALYSE, kT = ZEP3_CALL_TABLES, kP = ZEP3_CALL_APPLY, kF = ZEP3_CALL_FINISH;
  const struct {
    int call;
    const char* words;
    void (*change)(Case&);
  } rows[] = {
      {kA, "", [](Case&) {}},
      {kA, "lBitCount", [](Case& c) { c.bmp.lBitCount = 32; }},
      {kF, "wPixelFormat", [](Case& c) { c.bmp.wPixelFormat = 7; }},
      {kP, "2147483647", [](Case& c) { c.bmp.lWidth = int64_t{1} << 31; }},
      {kF, "lBytesPerLine", [](Case& c) { c.bmp.lBytesPerLine = 599; }},
      {kP, "", [](Case& c) { c.bmp.wPixelFormat = ZEP3_PIXEL_GRAYA; }},
      {kA, "as B G R", [](Case& c) { c.bmp.wPixelFormat = ZEP3_PIXEL_RGBA; }},
      {kA, "too narrow", [](Case& c) { SetZEP3Image(&c.bmp, c.bmp.pBits, 1, 100000, 3, 0, ZEP3_BITS_8); }},
      {kF, "out of order", [](Case& c) { c.bmp.area.ptLeft.x = 300; }},
      {kA, "vertical edge", [](Case& c) { c.bmp.area.ptLeft.y = 50; }},
      {kF, "pOutMasterTone", [](Case& c) { c.p.pOutRGBTone = nullptr; }},
      {kA, "wDocType", [](Case& c) { c.p.wDocType = 4; }},
      {kT, "lScreenGamma", [](Case& c) { c.p.lScreenGamma = 0; }},
      {kA, "strength", [](Case& c) { c.p.lCorrectLevel = ZEP3_UNSET; }},
      {kA, "needs a colour matrix", [](Case& c) { c.p.wDocType = ZEP3_DOC_NEGATIVE, c.matrix = nullptr; }},
      {kF, "", [](Case& c) { c.p.wDocType = ZEP3_DOC_NEGATIVE, c.matrix = nullptr; }},
      {kT, "no number", [](Case& c) { c.red.lHlIn = INT32_MIN; }},
      {kT, "0..65535", [](Case& c) { c.red.lSdOut = 65536; }},
      {kT, "input points are equal", [](Case& c) { c.red.lHlIn = 4630; }},
      {kT, "", [](Case& c) { c.red.lHlIn = ZEP3_UNSET; }},
      {kT, "0..255", [](Case& c) { c.r.rgb[2].ptCtrl[1].y = 256; }},
      {kT, "do not rise", [](Case& c) { c.r.rgb[1].ptCtrl[1].x = 0; }},
      {kT, "", [](Case& c) { c.p.ic.pMasterTone = c.p.ic.pRGBTone = nullptr; }},
      {7, "ZEP3_CALL_", [](Case&) {}},
  };
  for (const auto& row : rows) {
    Case c;
    c.r.SetPoints(kPhotoPoints);
    row.change(c);
    const char* wrong = CheckZEP3(row.call, &c.bmp, &c.p, c.matrix);
    const std::string said = wrong == nullptr ? "" : wrong;
    EXPECT_NE(said.find(row.words), std::string::npos) << "\"" << said << "\" for " << row.words;
    EXPECT_EQ(said.empty(), *row.words == '\0') << said;
  }
  EXPECT_NE(CheckZEP3(kP, nullptr, nullptr, nullptr), nullptr);
  EXPECT_NE(CheckZEP3(kT, nullptr, nullptr, nullptr), nullptr);
}

} // namespace
