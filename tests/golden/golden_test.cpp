// Runs the golden rows: text files with input records and the results that compute.py, a separate computation, expects.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "engine/calc/czep.h"
#include "engine/hist/chist.h"
#include "support.h"

namespace {

using Words = std::vector<std::string>;

struct Case {
  std::string name;
  std::map<std::string, Words> input;    // key -> words behind it; repeated keys are appended
  std::map<std::string, Words> expected; // without the "="
  std::set<std::string> edge;            // values that another mathematical library may move by one

  bool Has(const std::string& key) const { return input.count(key) > 0; }
  template <class Number>
  std::vector<Number> Numbers(const std::string& key, Number (*read)(const std::string&)) const {
    std::vector<Number> values;
    for (const std::string& word : input.at(key)) values.push_back(read(word));
    return values;
  }
  std::vector<int64_t> Integers(const std::string& key) const {
    return Numbers<int64_t>(key, [](const std::string& word) -> int64_t { return std::stoll(word); });
  }
  std::vector<double> Doubles(const std::string& key) const {
    return Numbers<double>(key, [](const std::string& word) { return std::stod(word); });
  }
};

std::vector<Case> ReadCases(const std::string& file) {
  std::ifstream in(std::string(ZEP3_GOLDEN_DIR) + "/" + file);
  std::vector<Case> cases;
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream words(line.substr(0, line.find('#')));
    std::string key, word;
    if (!(words >> key)) continue;
    if (key == "case") cases.emplace_back();
    Case& c = cases.back();
    Words* values = key[0] == '=' ? &c.expected[key.substr(1)] : &c.input[key];
    while (words >> word) {
      if (key == "case") c.name = word;
      if (key == "edge") c.edge.insert(word);
      values->push_back(word);
    }
  }
  return cases;
}

void FillTone(ZEP3_TONE& tone, const std::vector<int64_t>& values) {
  tone.wPointNum = static_cast<int16_t>(values[0]);
  for (size_t i = 1; i + 1 < values.size(); i += 2) tone.ptCtrl[i / 2] = {values[i], values[i + 1]};
}

std::unique_ptr<Record> RecordOf(const Case& c) {
  auto r = std::make_unique<Record>();
  ZEP3_PARA& p = r->para;
  if (c.Has("kind")) {
    p.wDocType = static_cast<uint16_t>(c.Integers("kind")[0]);
    p.wSubMode = static_cast<uint16_t>(c.Integers("kind")[1]);
    p.wDocOption = static_cast<uint16_t>(c.Integers("kind")[2]);
  }
  if (c.Has("screen")) p.lScreenGamma = c.Integers("screen")[0];
  if (c.Has("level")) p.lCorrectLevel = c.Integers("level")[0];
  if (c.Has("points")) std::memcpy(p.ic.ch, c.Integers("points").data(), sizeof p.ic.ch);
  if (c.Has("curves")) {
    p.ic.wHlCurveType = static_cast<uint16_t>(c.Integers("curves")[0]);
    p.ic.wSdCurveType = static_cast<uint16_t>(c.Integers("curves")[1]);
  }
  if (c.Has("user")) std::memcpy(&p.ic.lBrightness, c.Integers("user").data(), 5 * sizeof(int64_t));
  p.ic.pMasterTone = c.Has("master") ? &r->master : nullptr;
  p.ic.pRGBTone = c.Has("red") ? r->rgb : nullptr;
  if (c.Has("master")) FillTone(r->master, c.Integers("master"));
  const char* names[3] = {"red", "green", "blue"};
  for (int i = 0; i < 3; i++) {
    if (c.Has(names[i])) FillTone(r->rgb[i], c.Integers(names[i]));
  }
  return r;
}

// What the record and the call gave, under the keys of the rows.
struct Result {
  std::map<std::string, std::vector<double>> values;

  void TakeRecord(const Record& r) {
    const auto points = r.Points();
    values["points"].assign(points.begin(), points.end());
    values["curves"] = {double(r.para.ic.wHlCurveType), double(r.para.ic.wSdCurveType)};
    values["saturation"] = {double(r.para.lSaturation)};
    values["flag"] = {double(r.para.lLevelFlag)};
    std::vector<double>& tone = values["master"];
    tone = {double(r.outMaster.wPointNum)};
    for (int i = 0; i < r.outMaster.wPointNum; i++) {
      tone.push_back(double(r.outMaster.ptCtrl[i].x));
      tone.push_back(double(r.outMaster.ptCtrl[i].y));
    }
  }
  void TakeTables(const uint8_t* table) {
    const char* names[3] = {"red", "green", "blue"};
    for (int c = 0; c < 3; c++) values[names[c]].assign(table + 256 * c, table + 256 * (c + 1));
  }
};

// Every expected value; doubles of a matrix to 1e-14, all others exactly, or within 1 where the row says so.
void Check(const Case& c, Result& result) {
  ASSERT_FALSE(c.expected.empty());
  for (const auto& [key, words] : c.expected) {
    ASSERT_TRUE(result.values.count(key)) << key;
    const std::vector<double>& actual = result.values[key];
    std::vector<double> expected;
    if (key == "red" || key == "green" || key == "blue") {
      for (size_t i = 0; i + 1 < words.at(0).size(); i += 2) {
        expected.push_back(double(std::stoi(words[0].substr(i, 2), nullptr, 16)));
      }
      ASSERT_EQ(expected.size(), 256u);
    } else {
      for (const std::string& word : words) expected.push_back(std::stod(word));
    }
    ASSERT_EQ(actual.size(), expected.size()) << key;
    const double tolerance = key == "matrix" ? 1e-14 : c.edge.count(key) ? 1.0 : 0.0;
    for (size_t i = 0; i < expected.size(); i++) ASSERT_NEAR(actual[i], expected[i], tolerance) << key << " " << i;
  }
  // No five-point curve expected: the identity stays.
  if (!c.expected.count("master")) {
    EXPECT_EQ(result.values["master"][0], 2.0);
  }
}

Result RunScan(const Case& c) {
  const auto r = RecordOf(c);
  const auto size = c.Integers("image");
  const auto range = c.Integers("range");
  const auto area = c.Integers("area");
  const int64_t seed = c.Integers("seed")[0];
  Image image{int(size[0]), int(size[1]), int(size[2]), int(size[3])};
  image.Fill([&](int x, int y, int ch) {
    const int64_t n = int64_t{y} * image.width + x;
    const int64_t level = x * 255 / (image.width - 1) + Noise(n * 3 + ch, seed);
    return range[size_t(2 * ch)] + (range[size_t(2 * ch + 1)] - range[size_t(2 * ch)]) * (level / 2) / 255;
  });
  std::memcpy(&image.bmp.area, area.data(), sizeof(AREA));
  Result result;
  result.values["return"] = {double(ZEP3(&image.bmp, &r->para, nullptr))};
  result.TakeRecord(*r);
  return result;
}

void FillStatistics(CHIST& hist, const Case& c, std::initializer_list<std::pair<const char*, double*>> rows) {
  for (const auto& [name, row] : rows) {
    const auto values = c.Doubles(name);
    std::copy(values.begin(), values.end(), row);
  }
  const auto spans = c.Integers("hist"); // channel, lowest, highest; repeated
  for (size_t k = 0; k < spans.size(); k += 3) {
    for (int64_t i = spans[k + 1]; i <= spans[k + 2]; i++) {
      hist.m_nHistOrg[spans[k]][i] = uint32_t(1 + (i * 7 + spans[k] * 13) % 11);
    }
  }
}

Result RunCalculator(const Case& c) {
  const auto r = RecordOf(c);
  CHIST hist;
  FillStatistics(hist, c,
                 {{"max0", hist.m_pdHistMax[0]},
                  {"max1", hist.m_pdHistMax[1]},
                  {"max2", hist.m_pdHistMax[2]},
                  {"min1", hist.m_pdHistMin[1]},
                  {"range3", &hist.m_dAnlRange[3]},
                  {"slopes", hist.m_dAnlSlope}});
  // Negatives read the histograms as first built, whatever the working ones hold.
  if (r->para.wDocType != ZEP3_DOC_NEGATIVE_BW) std::memcpy(hist.m_nHist, hist.m_nHistOrg, sizeof hist.m_nHist);
  r->para.lSaturation = 777; // what an earlier analysis left
  r->para.lLevelFlag = 9;
  CZEP zep;
  zep.SetParam(&hist, &r->para);
  bool (CZEP::*const reflective[5])() = {&CZEP::CalcParamFBPhoto, &CZEP::CalcParamFBDoc, &CZEP::CalcRestorationFBP,
                                         &CZEP::CalcBackgroundRemove, &CZEP::CalcGroundColorRemove};
  auto method = reflective[r->para.wSubMode];
  if (r->para.wDocType == ZEP3_DOC_NEGATIVE_BW) method = &CZEP::CalcParamNegaBW;
  if (r->para.wDocType == ZEP3_DOC_POSITIVE && r->para.wSubMode != ZEP3_SUB_RESTORATION) method = &CZEP::CalcParamPosi;
  Result result;
  result.values["return"] = {double((zep.*method)())};
  result.TakeRecord(*r);
  return result;
}

Result RunNegative(const Case& c) {
  const auto r = RecordOf(c);
  CHIST hist;
  FillStatistics(hist, c,
                 {{"min0", hist.m_pdHistMin[0]},
                  {"min1", hist.m_pdHistMin[1]},
                  {"max0", hist.m_pdHistMax[0]},
                  {"max1", hist.m_pdHistMax[1]},
                  {"nega1", hist.m_pdNegaMin[1]},
                  {"ave", hist.m_pdHistAve}});
  // The working histograms are those of the corrected image: of no use for the film.
  for (auto& channel : hist.m_nHist) std::fill(std::begin(channel), std::end(channel), 3u);
  r->para.lSaturation = 777; // what an earlier analysis left
  r->para.lLevelFlag = 9;
  CZEP zep;
  zep.SetParam(&hist, &r->para);
  Result result;
  const bool faded = r->para.wSubMode == ZEP3_SUB_RESTORATION;
  result.values["return"] = {double(r->para.wDocType == ZEP3_DOC_NEGATIVE_BW ? zep.CalcRestorationNegaBW()
                                    : faded
                                        ? zep.CalcRestorationNega()
                                        : zep.CalcParamNega(c.Has("matrix") ? c.Doubles("matrix").data() : nullptr))};
  result.TakeRecord(*r);
  return result;
}

Result RunTables(const Case& c) {
  const auto r = RecordOf(c);
  r->para.lSaturation = 12;
  uint8_t table[768];
  Result result;
  result.values["return"] = {double(c.Has("matrix") ? MakeZEP3LUTEx(&r->para, c.Doubles("matrix").data(), table)
                                                    : MakeZEP3LUT(&r->para, table))};
  result.TakeRecord(*r);
  result.TakeTables(table);
  return result;
}

Result RunPipette(const Case& c) {
  const auto r = RecordOf(c);
  Result result;
  if (c.Has("gray")) {
    const auto pick = c.Integers("gray");
    result.values["return"] = {double(GetGrayBalance(&r->para, {pick[0], pick[1], pick[2], pick[3]}))};
  } else if (c.Has("gamma")) {
    auto pick = c.Integers("gamma");
    result.values["return"] = {double(GetGamma(pick.data(), &r->para))};
  } else {
    auto& out = result.values["matrix"];
    out.resize(9);
    result.values["return"] = {double(ColorMatrixConv(&r->para, c.Doubles("matrix").data(), out.data()))};
  }
  result.TakeRecord(*r);
  return result;
}

void RunFile(const std::string& file, size_t least, Result (*run)(const Case&)) {
  const std::vector<Case> cases = ReadCases(file);
  ASSERT_GE(cases.size(), least);
  for (const Case& c : cases) {
    SCOPED_TRACE(file + ": " + c.name);
    Result result = run(c);
    Check(c, result);
  }
}

TEST(Golden, Scans) { RunFile("scans.txt", 38, RunScan); }
TEST(Golden, Calculators) { RunFile("calculators.txt", 42, RunCalculator); }
TEST(Golden, Negatives) { RunFile("negatives.txt", 44, RunNegative); }
TEST(Golden, Tables) { RunFile("tables.txt", 27, RunTables); }
TEST(Golden, Pipette) { RunFile("pipette.txt", 21, RunPipette); }

} // namespace
