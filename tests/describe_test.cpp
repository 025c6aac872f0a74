// What the library says of itself and of what it is given.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
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
    EXPECT_EQ(std::string(reason->pSentence).back(), '.');
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
    double expected = 1.25;
    for (int64_t i = 0; const ZEP3_EVIDENCE_ITEM* item = GetZEP3EvidenceItem(i); i++) {
      double values[ZEP3_EVIDENCE_COUNT_MAX];
      const int64_t count = GetZEP3Evidence(&evidence, item->pName, values);
      for (int64_t k = 0; k < count; k++) EXPECT_EQ(values[k], expected++) << item->pName;
    }
    EXPECT_EQ(expected, next);
    EXPECT_EQ(next == 1.25, analysis == ZEP3_ANALYSIS_STANDARD);
    double value;
    EXPECT_EQ(GetZEP3Evidence(&evidence, "unknown", &value) + GetZEP3Evidence(nullptr, "trimmed", &value), 0);
  }
}

// Each change with the words of what is wrong; none: nothing is.
TEST(Check, SaysWhatIsWrong) {
  struct Case {
    Image image{200, 150};
    Record r;
    ZEP3_BmpInfo* bmp = &image.bmp;
    ZEP3_PARA* para = &r.para;
    double matrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    double* given = matrix;
  };
  struct Row {
    const char* words;
    std::function<void(Case&)> change;
  };
  const auto expect = [](int64_t call, const Row& row) {
    Case c;
    row.change(c);
    const char* wrong = CheckZEP3(call, c.bmp, c.para, c.given);
    const std::string said = wrong == nullptr ? "" : wrong;
    EXPECT_NE(said.find(row.words), std::string::npos) << call << ": \"" << said << "\" for " << row.words;
    EXPECT_EQ(said.empty(), *row.words == '\0') << call << ": " << said;
  };
  const Row images[] = {
      {"image is null", [](Case& c) { c.bmp = nullptr; }},
      {"lBitCount", [](Case& c) { c.image.bmp.lBitCount = 32; }},
      {"wPixelFormat", [](Case& c) { c.image.bmp.wPixelFormat = 7; }},
      {"below 1", [](Case& c) { c.image.bmp.lHeight = 0; }},
      {"2147483647", [](Case& c) { c.image.bmp.lWidth = int64_t{1} << 31; }},
      {"pixels are null", [](Case& c) { c.image.bmp.pBits = nullptr; }},
      {"lBytesPerLine", [](Case& c) { c.image.bmp.lBytesPerLine = 599; }},
      {"", [](Case&) {}},
  };
  for (const Row& row : images) {
    for (const int64_t call : {ZEP3_CALL_ANALYSE, ZEP3_CALL_APPLY, ZEP3_CALL_FINISH}) expect(call, row);
  }
  const Row analyses[] = {
      {"record is null", [](Case& c) { c.para = nullptr; }},
      {"pOutMasterTone", [](Case& c) { c.r.para.pOutRGBTone = nullptr; }},
      {"wDocType", [](Case& c) { c.r.para.wDocType = 4; }},
      {"wSubMode", [](Case& c) { c.r.para.wSubMode = 5; }},
      {"lScreenGamma", [](Case& c) { c.r.para.lScreenGamma = 0; }},
      {"strength", [](Case& c) { c.r.para.lCorrectLevel = ZEP3_UNSET; }},
      {"out of order",
       [](Case& c) {
         c.image.SetArea({9, 9}, {9, 9}, {5, 5}, {5, 5});
       }},
      {"vertical edge",
       [](Case& c) {
         c.image.SetArea({0, 50}, {90, 0}, {90, 50}, {50, 90});
       }},
      {"no pixel",
       [](Case& c) {
         c.image.SetArea({300, 0}, {300, 0}, {400, 9}, {400, 9});
       }},
      {"diagonal", [](Case& c) { c.r.para.wDocType = ZEP3_DOC_NEGATIVE, c.matrix[4] = -1; }},
  };
  for (const Row& row : analyses) {
    for (const int64_t call : {ZEP3_CALL_ANALYSE, ZEP3_CALL_FINISH}) expect(call, row);
  }
  const auto withoutMatrix = [](Case& c) { c.r.para.wDocType = ZEP3_DOC_NEGATIVE, c.given = nullptr; };
  expect(ZEP3_CALL_ANALYSE, {"needs a colour matrix", withoutMatrix});
  expect(ZEP3_CALL_FINISH, {"", withoutMatrix});
  expect(ZEP3_CALL_ANALYSE, {"as B G R", [](Case& c) { c.image.bmp.wPixelFormat = ZEP3_PIXEL_RGBA; }});
  expect(ZEP3_CALL_ANALYSE, {"too narrow", [](Case& c) {
                               c.image.bmp.lWidth = 1; // in blocks that are wider than it
                               c.image.bmp.lHeight = 100000;
                               c.image.SetArea({0, 0}, {0, 0}, {1, 100000}, {1, 100000});
                             }});
  expect(ZEP3_CALL_APPLY, {"", [](Case& c) { c.image.bmp.wPixelFormat = ZEP3_PIXEL_GRAYA, c.para = nullptr; }});

  const ZEP3_POINTS good = {63424, 4630, 63424, 4630, 100};
  const Row tables[] = {
      {"record is null", [](Case& c) { c.para = nullptr; }},
      {"lScreenGamma", [](Case& c) { c.r.para.lScreenGamma = -22; }},
      {"no number", [](Case& c) { c.r.para.ic.ch[1].lHlIn = INT32_MIN; }},
      {"0..65535", [](Case& c) { c.r.para.ic.ch[2].lSdOut = 65536; }},
      {"gamma", [](Case& c) { c.r.para.ic.ch[0].lGamma = 0; }},
      {"output points are equal", [](Case& c) { c.r.para.ic.ch[0].lHlOut = 4630; }},
      {"input points are equal", [](Case& c) { c.r.para.ic.ch[0].lHlIn = 4630; }},
      {"", [](Case& c) { c.r.para.ic.ch[0].lHlIn = ZEP3_UNSET; }},
      {"single point", [](Case& c) { c.r.master.wPointNum = 1; }},
      {"0..255", [](Case& c) { c.r.rgb[2].ptCtrl[1].y = 256; }},
      {"do not rise", [](Case& c) { c.r.rgb[1].ptCtrl[1].x = 0; }},
      {"", [](Case& c) { c.r.para.ic.pMasterTone = nullptr, c.r.para.ic.pRGBTone = nullptr, c.bmp = nullptr; }},
      {"diagonal", [](Case& c) { c.r.para.wDocType = ZEP3_DOC_NEGATIVE, c.matrix[8] = std::nan(""); }},
  };
  for (const Row& row : tables) {
    expect(ZEP3_CALL_TABLES, {row.words, [&](Case& c) {
                                c.r.SetPoints(good);
                                row.change(c);
                              }});
  }
  expect(77, {"ZEP3_CALL_", [](Case&) {}});
}

} // namespace
