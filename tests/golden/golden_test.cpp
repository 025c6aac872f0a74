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

using Values = std::vector<double>;

struct Case {
  std::string name;
  std::map<std::string, Values> input;    // by key; repeated keys are appended
  std::map<std::string, Values> expected; // without the "="
  std::set<std::string> edge;             // values that another mathematical library may move by one

  bool Has(const std::string& key) const { return input.count(key) > 0; }
  std::vector<int64_t> Integers(const std::string& key) const { return {input.at(key).begin(), input.at(key).end()}; }
  Values Doubles(const std::string& key) const { return Has(key) ? input.at(key) : Values(); }
};

// A number; or a table, in hexadecimal.
void Append(Values& values, const std::string& word) {
  if (word.size() < 512) {
    values.push_back(std::stod(word));
    return;
  }
  for (size_t i = 0; i < 512; i += 2) values.push_back(std::stoi(word.substr(i, 2), nullptr, 16));
}

std::vector<Case> ReadCases(const std::string& file) {
  std::ifstream in(std::string(ZEP3_GOLDEN_DIR) + "/" + file);
  std::vector<Case> cases;
  for (std::string line; std::getline(in, line);) {
    std::istringstream words(line.substr(0, line.find('#')));
    std::string key, word;
    if (!(words >> key)) continue;
    if (key == "case") {
      words >> cases.emplace_back().name;
      continue;
    }
    Case& c = cases.back();
    while (words >> word) {
      if (key == "edge")
        c.edge.insert(word);
      else
        Append(key[0] == '=' ? c.expected[key.substr(1)] : c.input[key], word);
    }
  }
  return cases;
}

constexpr const char* kChannels[] = {"red", "green", "blue"};

void FillTone(const Case& c, const char* key, ZEP3_TONE& tone) {
  if (!c.Has(key)) return;
  const auto values = c.Integers(key);
  tone.wPointNum = static_cast<int16_t>(values[0]);
  for (size_t i = 1; i + 1 < values.size(); i += 2) tone.ptCtrl[i / 2] = {values[i], values[i + 1]};
}

std::unique_ptr<Record> RecordOf(const Case& c) {
  const auto kind = c.Has("kind") ? c.Integers("kind") : std::vector<int64_t>{2, 0, 2};
  auto r = std::make_unique<Record>(int(kind[0]), int(kind[1]), int(kind[2]));
  ZEP3_PARA& p = r->para;
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
  FillTone(c, "master", r->master);
  for (int i = 0; i < 3; i++) FillTone(c, kChannels[i], r->rgb[i]);
  return r;
}

// What the record and the call gave, under the keys of the rows.
struct Result {
  std::map<std::string, Values> values;

  void TakeRecord(const Record& r) {
    const auto points = r.Points();
    values["points"].assign(points.begin(), points.end());
    values["curves"] = {double(r.para.ic.wHlCurveType), double(r.para.ic.wSdCurveType)};
    values["saturation"] = {double(r.para.lSaturation)};
    values["flag"] = {double(r.para.lLevelFlag)};
    Values& tone = values["master"];
    tone = {double(r.outMaster.wPointNum)};
    for (int i = 0; i < r.outMaster.wPointNum; i++) {
      tone.push_back(double(r.outMaster.ptCtrl[i].x));
      tone.push_back(double(r.outMaster.ptCtrl[i].y));
    }
  }
  void TakeTables(const uint8_t* table) {
    for (int c = 0; c < 3; c++) values[kChannels[c]].assign(table + 256 * c, table + 256 * (c + 1));
  }
};

// Every expected value; doubles of a matrix to 1e-14, all others exactly, or within 1 where the row says so.
void Check(const Case& c, Result& result) {
  ASSERT_FALSE(c.expected.empty());
  for (const auto& [key, expected] : c.expected) {
    ASSERT_TRUE(result.values.count(key)) << key;
    const Values& actual = result.values[key];
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

using Method = bool (CZEP::*)();

Method MethodOf(const ZEP3_PARA& p) {
  constexpr Method kReflective[] = {&CZEP::CalcParamFBPhoto, &CZEP::CalcParamFBDoc, &CZEP::CalcRestorationFBP,
                                    &CZEP::CalcBackgroundRemove, &CZEP::CalcGroundColorRemove};
  const bool faded = p.wSubMode == ZEP3_SUB_RESTORATION;
  if (p.wDocType == ZEP3_DOC_NEGATIVE_BW) return faded ? &CZEP::CalcRestorationNegaBW : &CZEP::CalcParamNegaBW;
  if (p.wDocType == ZEP3_DOC_NEGATIVE) return &CZEP::CalcRestorationNega;
  return p.wDocType == ZEP3_DOC_POSITIVE && !faded ? &CZEP::CalcParamPosi : kReflective[p.wSubMode];
}

Result RunCalculator(const Case& c) {
  const auto r = RecordOf(c);
  CHIST hist;
  const std::pair<const char*, double*> statistics[] = {
      {"min0", hist.m_pdHistMin[0]}, {"min1", hist.m_pdHistMin[1]},    {"max0", hist.m_pdHistMax[0]},
      {"max1", hist.m_pdHistMax[1]}, {"max2", hist.m_pdHistMax[2]},    {"nega1", hist.m_pdNegaMin[1]},
      {"ave", hist.m_pdHistAve},     {"range3", &hist.m_dAnlRange[3]}, {"slopes", hist.m_dAnlSlope}};
  for (const auto& [name, row] : statistics) {
    std::ranges::copy(c.Doubles(name), row);
  }
  const auto spans = c.Integers("hist"); // channel, lowest, highest; repeated
  for (size_t k = 0; k < spans.size(); k += 3) {
    for (int64_t i = spans[k + 1]; i <= spans[k + 2]; i++) {
      hist.m_nHistOrg[spans[k]][i] = uint32_t(1 + (i * 7 + spans[k] * 13) % 11);
    }
  }
  // Negatives read the histograms as first built, whatever the working ones hold.
  std::memcpy(hist.m_nHist, hist.m_nHistOrg, sizeof hist.m_nHist);
  for (auto& channel : hist.m_nHist) {
    if (r->IsFilm()) std::ranges::fill(channel, 3u);
  }
  r->para.lSaturation = 777; // what an earlier analysis left
  r->para.lLevelFlag = 9;
  CZEP zep;
  zep.SetParam(&hist, &r->para);
  const bool normal = r->para.wDocType == ZEP3_DOC_NEGATIVE && r->para.wSubMode != ZEP3_SUB_RESTORATION;
  Result result;
  result.values["return"] = {double(normal ? zep.CalcParamNega(c.Has("matrix") ? c.Doubles("matrix").data() : nullptr)
                                           : (zep.*MethodOf(r->para))())};
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
TEST(Golden, Negatives) { RunFile("negatives.txt", 44, RunCalculator); }
TEST(Golden, Tables) { RunFile("tables.txt", 27, RunTables); }
TEST(Golden, Pipette) { RunFile("pipette.txt", 21, RunPipette); }

} // namespace
