// Everything that the library computes on reproducible cases, in one file, and what two such files differ in.
//   results write FILE
//   results compare FILE FILE                  nothing may differ
//   results compare --other-library FILE FILE  the math libraries must differ, the results within the limits below
// Inputs come from integer arithmetic alone, so that they are the same wherever this is built.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "record.h"
#include "zep3.h"

namespace {

// ---- what is kept ----

enum StageId : uint8_t {
  kLibrary,
  kPoints18,
  kPoints,
  kOtherFields,
  kTables,
  kTables16,
  kRotatedFields,
  kRotatedTables,
  kGivenTables,
  kGivenTables16,
  kGivenCurves,
  kMatrices,
  kGrayBalance,
  kGamma,
  kPalette,
  kLevels,
  kApplied,
  kAdaptive,
  kEvidence,
  kStages
};

enum class Values { kInteger, kByte, kWord, kDouble };

// What another math library may change: by how many steps a value may move, and how many of a million values may.
struct Stage {
  const char* name;
  Values values;
  double steps;
  double perMillion;
  // Doubles step by last places of the largest value of their case, which is at least this: in a matrix or along a
  // steep curve, small values are differences of large ones.
  double scale = 0;
};
constexpr Stage stages[kStages] = {
    // Without a limit: tells whether the library is another.
    {"the math library itself", Values::kDouble, HUGE_VAL, 1e6, 0x1p-1},
    // Read back through a power and truncated where they were whole numbers: one step of the scale at gamma 1.8, which
    // the display conversion widens to 0.6 * (25 / 65535)^-0.4, 14, at most (display gamma 3, lowest point).
    {"points at display gamma 1.8", Values::kInteger, 1, 300},
    {"points at other display gammas", Values::kInteger, 14, 300},
    {"other fields of analyses", Values::kInteger, 1, 5},
    {"tables of analyses", Values::kByte, 1, 5},
    // A tone point moves by a whole display level.
    {"16-bit tables of analyses", Values::kWord, 300, 1e4},
    // A corner that the margin moves onto a border of pixels takes one more of them or one less.
    {"fields, areas rotated", Values::kInteger, 100, 400},
    {"tables, areas rotated", Values::kByte, 3, 100},
    // From equal records equal tables, at 8 bits and at 16.
    {"tables of given records", Values::kByte, 0, 0},
    {"16-bit tables of given records", Values::kWord, 0, 0},
    {"curves of given records", Values::kDouble, 256, 1e5, 255},
    {"matrices of given records", Values::kDouble, 256, 1e5, 1},
    {"gray balance", Values::kInteger, 1, 200},
    {"pipette gamma", Values::kInteger, 0, 0},
    {"palette adjustment", Values::kInteger, 0, 0},
    {"levels to display", Values::kInteger, 0, 0},
    {"images through tables", Values::kByte, 0, 0},
    {"tables of adaptive analyses", Values::kByte, 1, 5},
    {"evidence of adaptive analyses", Values::kDouble, 256, 1e5, 1},
};
size_t Width(Values values) { return values == Values::kByte ? 1 : values == Values::kWord ? 2 : 8; }

// Sections of a stage and a count, then that many values, as they lie in memory.
class Writer {
 public:
  explicit Writer(const char* path) : m_file(path, std::ios::binary) {}
  template <class Value>
  void Put(StageId stage, const Value* values, size_t count) {
    static_assert(sizeof(Value) <= 8);
    const uint32_t head[2] = {stage, static_cast<uint32_t>(count)};
    m_file.write(reinterpret_cast<const char*>(head), sizeof head);
    m_file.write(reinterpret_cast<const char*>(values), static_cast<std::streamsize>(count * sizeof(Value)));
  }
  template <class Values>
  void Put(StageId stage, const Values& values) {
    Put(stage, std::data(values), std::size(values));
  }
  bool Finish() {
    m_file.close();
    return !m_file.fail();
  }

 private:
  std::ofstream m_file;
};

// ---- cases ----

// SplitMix64.
class Random {
 public:
  explicit Random(uint64_t seed) : m_state(seed) {}
  uint64_t Next() {
    uint64_t z = m_state += 0x9E3779B97F4A7C15u;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
  }
  int Below(int limit) { return static_cast<int>(Next() % static_cast<uint64_t>(limit)); }
  int From(int low, int high) { return low + Below(high - low + 1); }
  bool OneIn(int n) { return Below(n) == 0; }
  // A multiple of 1/64, which every double holds.
  double Fraction(int low64, int high64) { return From(low64, high64) / 64.0; }

 private:
  uint64_t m_state;
};

struct Picture {
  std::vector<uint8_t> bytes;
  ZEP3_BmpInfo bmp{};
  bool rotated = false;
};

enum Kind { kRamp, kAgainstLight, kDocument, kGray, kNoise, kFlat, kFilm, kPatches, kKinds };

int Level(Kind kind, Random& random, int x, int y, int c, int width, int height, const int (&low)[3],
          const int (&high)[3]) {
  int share = 0; // of the way from low to high, in 256ths
  switch (kind) {
    case kGray:
      c = 0;
      [[fallthrough]];
    case kRamp:
    case kFilm:
      share = (x * 200 / width + y * 40 / height + (c == 0 && kind == kGray ? x * y % 16 : random.Below(16)));
      break;
    case kAgainstLight: {
      const bool subject = x * 3 > width && x * 3 < 2 * width && y * 4 > height;
      share = subject ? 10 + random.Below(40) : 190 + random.Below(60);
      break;
    }
    case kDocument:
      share = y % 8 < 3 && x % 5 < 2 ? random.Below(50) : 235 + random.Below(20);
      break;
    case kNoise:
      share = random.Below(256);
      break;
    case kFlat:
      share = 128;
      break;
    default:
      share = (x * 7 / width * 37 + y * 5 / height * 91 + c * 29) % 256;
      break;
  }
  return low[c] + (high[c] - low[c]) * share / 256;
}

// Whether it is rotated.
bool SetArea(Random& random, AREA& area, int width, int height) {
  switch (random.Below(4)) {
    case 0: {
      const int left = random.Below(width / 4), top = random.Below(height / 4);
      const int right = random.From(width * 3 / 4, width), bottom = random.From(height * 3 / 4, height);
      area = {{left, top}, {left, top}, {right, bottom}, {right, bottom}};
      return false;
    }
    case 1: {
      // Half of the one side is (a, b), half of the other (-b, a) in another length; clipped where it leaves the image.
      const int a = random.From(width / 6, width / 3), b = random.From(1, width / 6), percent = random.From(40, 120);
      const int p = b * percent / 100 + 1, q = a * percent / 100 + 1, x = width / 2, y = height / 2;
      area = {{x - a - p, y - b + q}, {x - a + p, y - b - q}, {x + a + p, y + b - q}, {x + a - p, y + b + q}};
      return true;
    }
    default:
      area = {{0, 0}, {0, 0}, {width, height}, {width, height}};
      return false;
  }
}

Picture MakePicture(Random& random, bool film) {
  const int width = random.From(30, 130), height = random.From(30, 100), format = random.Below(3);
  const int bytes = format == ZEP3_PIXEL_XRGB ? 4 : 3, stride = width * bytes + random.Below(4);
  const Kind kind = film && !random.OneIn(3) ? kFilm : static_cast<Kind>(random.Below(kKinds));
  int low[3], high[3];
  for (int c = 0; c < 3; c++) {
    low[c] = random.From(0, 70);
    high[c] = random.From(120, 255);
  }
  if (kind == kFilm) { // the mask of colour negatives: red thinnest, blue densest
    for (int c = 0; c < 3; c++) {
      low[c] = random.From(60, 90) - 25 * c;
      high[c] = random.From(200, 235) - 50 * c;
    }
  }
  const int offset[3][3] = {{0, 1, 2}, {2, 1, 0}, {1, 2, 3}};
  Picture picture;
  picture.bytes.assign(static_cast<size_t>(stride * height), 99);
  for (int y = 0; y < height; y++) {
    for (int x = 0; x < width; x++) {
      for (int c = 0; c < 3; c++) {
        picture.bytes[static_cast<size_t>(y * stride + x * bytes + offset[format][c])] =
            static_cast<uint8_t>(Level(kind, random, x, y, c, width, height, low, high));
      }
    }
  }
  const bool bottomUp = random.OneIn(4);
  picture.bmp.pBits = picture.bytes.data() + (bottomUp ? stride * (height - 1) : 0);
  picture.bmp.lWidth = width;
  picture.bmp.lHeight = height;
  picture.bmp.lBytesPerLine = bottomUp ? -stride : stride;
  picture.bmp.lBitCount = 24;
  picture.bmp.wPixelFormat = static_cast<uint16_t>(format);
  picture.rotated = SetArea(random, picture.bmp.area, width, height);
  return picture;
}

void SetKind(Random& random, ZEP3_PARA& para) {
  para.wDocType = static_cast<uint16_t>(random.Below(4));
  para.wSubMode = static_cast<uint16_t>(random.Below(5));
  para.wDocOption = static_cast<uint16_t>(random.From(1, 2));
  para.lScreenGamma = random.OneIn(4) ? 18 : random.From(10, 30);
  // Front ends leave the level at its default: half of the cases.
  para.lCorrectLevel = random.OneIn(2) ? 4 : random.Below(10);
  para.lAgainstLight = random.OneIn(2) ? 0 : random.From(1, 10);
}

void SetUser(Random& random, ZEP3_IC& ic) {
  if (random.OneIn(2)) return;
  ic.lBrightness = random.From(-60, 60);
  ic.lContrast = random.From(-60, 60);
  ic.lColorBalanceR = random.From(-30, 30);
  ic.lColorBalanceG = random.From(-30, 30);
  ic.lColorBalanceB = random.From(-30, 30);
}

void SetTone(Random& random, ZEP3_TONE& tone) {
  if (random.OneIn(2)) return;
  tone.wPointNum = static_cast<int16_t>(random.From(2, ZEP3_TONE_POINTS));
  const int step = 255 / (tone.wPointNum - 1);
  for (int i = 0; i < tone.wPointNum; i++) {
    const int x = i + 1 == tone.wPointNum ? 255 : i * step;
    tone.ptCtrl[i] = {x, std::clamp(x + random.From(-20, 20), 0, 255)};
  }
}

// The colour matrix: a built-in one, one with other contrasts, or none.
const double* SetMatrix(Random& random, double (&matrix)[9]) {
  for (int i = 0; i < 9; i++) {
    const bool diagonal = i % 4 == 0;
    matrix[i] = diagonal ? 1 : 0;
  }
  switch (random.Below(3)) {
    case 0:
      return nullptr;
    case 1:
      return matrix;
    default:
      for (int i = 0; i < 9; i++) matrix[i] = i % 4 == 0 ? random.Fraction(45, 90) : random.Fraction(-16, 16);
      return matrix;
  }
}

Record GivenRecord(Random& random) {
  Record r;
  SetKind(random, r.para);
  SetUser(random, r.para.ic);
  SetTone(random, r.master);
  for (ZEP3_TONE& tone : r.rgb) SetTone(random, tone);
  r.para.ic.wHlCurveType = static_cast<uint16_t>(random.Below(8));
  r.para.ic.wSdCurveType = static_cast<uint16_t>(random.Below(8));
  for (ZEP3_POINTS& p : r.para.ic.ch) {
    p = {random.From(40000, 65535), random.From(0, 20000), random.From(50000, 65535), random.From(0, 10000),
         random.From(50, 250)};
  }
  // Hardly ever what an analysis gives, but defined.
  if (random.OneIn(16)) {
    const int odd[] = {-1, 0, 1, 257, 65536, 1000000, -70000, 65535};
    int64_t* fields = &r.para.ic.ch[random.Below(3)].lHlIn;
    fields[random.Below(5)] = odd[random.Below(8)];
  }
  return r;
}

// ---- the calls ----

constexpr int kAnalyses = 12000, kRecords = 14000;

void WriteLibrary(Writer& out) {
  Random random(1);
  std::vector<double> values;
  for (int i = 0; i < 20000; i++) {
    const double x = static_cast<double>(random.Next() >> 11) * 0x1p-53, y = random.Fraction(16, 256);
    for (const double v : {std::pow(x, y), std::log10(x), std::atan(64 * x), std::sin(6 * x)}) values.push_back(v);
  }
  out.Put(kLibrary, values);
}

void PutRecord(Writer& out, int returned, const Record& r, bool rotated) {
  std::vector<int64_t> points, rest = {returned};
  for (const ZEP3_POINTS& p : r.para.ic.ch) {
    points.insert(points.end(), {p.lHlIn, p.lSdIn, p.lHlOut, p.lSdOut});
    rest.push_back(p.lGamma);
  }
  rest.insert(rest.end(), {r.para.ic.wHlCurveType, r.para.ic.wSdCurveType, r.para.lSaturation, r.para.lLevelFlag});
  for (const ZEP3_TONE* tone : {&r.master, &r.rgb[0], &r.rgb[1], &r.rgb[2]}) {
    rest.push_back(tone->wPointNum);
    for (int i = 0; i < std::clamp<int>(tone->wPointNum, 0, ZEP3_TONE_POINTS); i++) {
      rest.insert(rest.end(), {tone->ptCtrl[i].x, tone->ptCtrl[i].y});
    }
  }
  out.Put(rotated ? kRotatedFields : r.para.lScreenGamma == 18 ? kPoints18 : kPoints, points);
  out.Put(rotated ? kRotatedFields : kOtherFields, rest);
}

void PutTable16(Writer& out, StageId stage, const Record& given, const double* matrix) {
  Record r = given;
  std::vector<uint16_t> table(3 * 65536);
  MakeZEP3LUT16(&r.para, matrix, table.data());
  out.Put(stage, table);
}

void PutAdaptive(Writer& out, Picture& picture, const Record& given, double* matrix) {
  Record r = given;
  ZEP3_EVIDENCE evidence;
  ZEP3Adaptive(&picture.bmp, &r.para, matrix, &evidence);
  uint8_t table[768];
  MakeZEP3LUTEx(&r.para, matrix, table);
  out.Put(kAdaptive, table);
  out.Put(kEvidence, &evidence.dConfidence, 1);
  out.Put(kEvidence, evidence.dMeasured, std::size(evidence.dMeasured));
}

void WriteAnalyses(Writer& out) {
  for (int n = 0; n < kAnalyses; n++) {
    Random random(static_cast<uint64_t>(n) << 20);
    Record r;
    SetKind(random, r.para);
    SetUser(random, r.para.ic);
    Picture picture = MakePicture(random, r.para.wDocType == ZEP3_DOC_NEGATIVE);
    double matrix[9];
    const bool none = SetMatrix(random, matrix) == nullptr;
    const int returned = ZEP3(&picture.bmp, &r.para, none && r.para.wDocType != ZEP3_DOC_NEGATIVE ? nullptr : matrix);
    PutRecord(out, returned, r, picture.rotated);
    if (!picture.rotated) PutAdaptive(out, picture, r, matrix);
    if (n % 300 == 0 && !picture.rotated) PutTable16(out, kTables16, r, matrix);
    uint8_t table[768];
    MakeZEP3LUTEx(&r.para, matrix, table);
    out.Put(picture.rotated ? kRotatedTables : kTables, table);
    if (n % 20 == 0) {
      ApplyZEP3LUT(&picture.bmp, table);
      out.Put(kApplied, picture.bytes);
    }
  }
}

void WriteGivenRecords(Writer& out) {
  double levels[64];
  for (int n = 0; n < kRecords; n++) {
    Random random(static_cast<uint64_t>(n) << 20 | 1);
    const Record given = GivenRecord(random);
    double matrix[9];
    double* coefficients = SetMatrix(random, matrix) == nullptr ? nullptr : matrix;
    if (n % 500 == 0) PutTable16(out, kGivenTables16, given, coefficients);
    if (n % 10 == 0) {
      Record r = given;
      for (double& level : levels) level = random.Fraction(0, 255 * 64);
      double display[3 * 64];
      MakeZEP3LUTAt(&r.para, coefficients, levels, 64, display);
      out.Put(kGivenCurves, display);
    }
    Record r = given;
    uint8_t table[768];
    if (n % 2 == 0) {
      MakeZEP3LUT(&r.para, table);
    } else {
      MakeZEP3LUTEx(&r.para, coefficients, table);
    }
    out.Put(kGivenTables, table);
    double converted[9];
    ColorMatrixConv(&r.para, matrix, converted);
    out.Put(kMatrices, converted);
  }
}

// The pipettes in the middle of what a table shows, so that most of them move something.
void WritePipettes(Writer& out) {
  for (int n = 0; n < kRecords; n++) {
    Random random(static_cast<uint64_t>(n) << 20 | 2);
    const Record given = GivenRecord(random);
    const int gray = random.From(30, 220);
    int64_t pick[3], target[3];
    for (int c = 0; c < 3; c++) {
      pick[c] = std::clamp(gray + random.From(-25, 25), 0, 255);
      target[c] = std::clamp<int64_t>(pick[c] + random.From(-15, 15), 0, 255);
    }
    const auto put = [&](StageId stage, int returned, const Record& r) {
      std::vector<int64_t> all = {returned};
      for (const ZEP3_POINTS& p : r.para.ic.ch) all.insert(all.end(), {p.lHlIn, p.lSdIn, p.lHlOut, p.lSdOut, p.lGamma});
      out.Put(stage, all);
    };
    Record r = given;
    int returned = GetGrayBalance(&r.para, {pick[0], pick[1], pick[2], random.From(0, 100)});
    put(kGrayBalance, returned, r);
    r = given;
    returned = GetGamma(pick, &r.para);
    put(kGamma, returned, r);
    double matrix[9];
    const double* coefficients = SetMatrix(random, matrix);
    r = given;
    returned = AdjustSpecifiedColor(&r.para, pick, target, coefficients, n % 3 == 0 ? matrix : nullptr);
    put(kPalette, returned, r);
  }
}

void WriteLevels(Writer& out) {
  Record r;
  std::vector<int64_t> levels;
  for (const int type : {ZEP3_DOC_NEGATIVE, ZEP3_DOC_REFLECTIVE}) {
    r.para.wDocType = static_cast<uint16_t>(type);
    for (r.para.lScreenGamma = 10; r.para.lScreenGamma <= 30; r.para.lScreenGamma++) {
      for (int64_t level = 0; level <= 65535; level += level % 257 == 0 || level % 257 > 249 ? 1 : 83) {
        levels.push_back(ValueOfScreenGammaConv(level, &r.para));
      }
    }
  }
  out.Put(kLevels, levels);
}

bool Write(const char* path) {
  Writer out(path);
  int64_t version[2];
  if (GetZEP3Version(&version[0], &version[1]) != 1) return false;
  WriteLibrary(out);
  WriteAnalyses(out);
  WriteGivenRecords(out);
  WritePipettes(out);
  WriteLevels(out);
  return out.Finish();
}

// ---- comparison ----

std::vector<char> Load(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

template <class Value>
Value At(const std::vector<char>& bytes, size_t place) {
  Value value;
  std::memcpy(&value, bytes.data() + place, sizeof value);
  return value;
}

// How far two values lie apart in steps; for doubles of one last place of `scale`.
double Steps(Values values, double scale, const std::vector<char>& a, const std::vector<char>& b, size_t place) {
  switch (values) {
    case Values::kByte:
      return std::abs(At<uint8_t>(a, place) - At<uint8_t>(b, place));
    case Values::kWord:
      return std::abs(At<uint16_t>(a, place) - At<uint16_t>(b, place));
    case Values::kInteger:
      return std::fabs(static_cast<double>(At<int64_t>(a, place)) - static_cast<double>(At<int64_t>(b, place)));
    default: {
      const double x = At<double>(a, place), y = At<double>(b, place);
      if (x == y || (std::isnan(x) && std::isnan(y))) return 0;
      const double steps = std::fabs(x - y) / std::exp2(std::ilogb(scale) - 52);
      return std::isnan(steps) ? HUGE_VAL : steps;
    }
  }
}

// The scale of a case's doubles.
double Largest(const std::vector<char>& bytes, size_t place, uint32_t count, double least) {
  double largest = least;
  for (uint32_t i = 0; i < count; i++) {
    const double value = std::fabs(At<double>(bytes, place + 8 * i));
    if (std::isfinite(value)) largest = std::max(largest, value);
  }
  return largest;
}

struct Tally {
  uint64_t values = 0, differing = 0, cases = 0, casesDiffering = 0;
  double steps = 0;
};

// Whether both files hold the same cases in the same order; then what differs, by stage.
bool Count(const std::vector<char>& a, const std::vector<char>& b, Tally (&tallies)[kStages]) {
  if (a.empty() || a.size() != b.size()) return false;
  for (size_t place = 0; place < a.size();) {
    const uint32_t id = At<uint32_t>(a, place), count = At<uint32_t>(a, place + 4);
    if (std::memcmp(&a[place], &b[place], 8) != 0 || id >= kStages) return false;
    place += 8;
    Tally& tally = tallies[id];
    const uint64_t before = tally.differing;
    const Stage& stage = stages[id];
    const double scale = stage.values == Values::kDouble ? Largest(a, place, count, stage.scale) : 0;
    for (uint32_t i = 0; i < count; i++, place += Width(stage.values)) {
      const double steps = Steps(stage.values, scale, a, b, place);
      tally.differing += steps > 0;
      tally.steps = std::max(tally.steps, steps);
    }
    tally.values += count;
    tally.cases++;
    tally.casesDiffering += tally.differing > before;
  }
  return true;
}

int Compare(const char* first, const char* second, bool otherLibrary) {
  Tally tallies[kStages];
  if (!Count(Load(first), Load(second), tallies)) {
    std::fprintf(stderr, "results: %s and %s hold other cases, or curves of other lengths\n", first, second);
    return 2;
  }
  bool held = true;
  uint64_t compared[4] = {};
  for (size_t s = 0; s < kStages; s++) {
    const Stage& stage = stages[s];
    const Tally& t = tallies[s];
    compared[static_cast<size_t>(stage.values)] += t.values;
    const double perMillion = 1e6 * static_cast<double>(t.differing) / static_cast<double>(t.values);
    bool ok = t.values > 0 && t.differing == 0;
    if (otherLibrary) ok = t.values > 0 && t.steps <= stage.steps && perMillion <= stage.perMillion;
    if (otherLibrary && s == kLibrary) ok = t.differing > 0;
    held = held && ok;
    if (ok && !otherLibrary) continue;
    std::printf("  %-30s %9.0f values, %4.0f differ (%6.1f in a million), in %3.0f of %5.0f cases, by %.1f%s\n",
                stage.name, static_cast<double>(t.values), static_cast<double>(t.differing), perMillion,
                static_cast<double>(t.casesDiffering), static_cast<double>(t.cases), t.steps, ok ? "" : " <- too much");
  }
  if (otherLibrary && tallies[kLibrary].differing == 0) std::printf("  both are the same math library\n");
  if (held && !otherLibrary) {
    std::printf("  equal: %.0f integers, %.0f bytes, %.0f 16-bit entries, %.0f doubles\n",
                static_cast<double>(compared[0]), static_cast<double>(compared[1]), static_cast<double>(compared[2]),
                static_cast<double>(compared[3]));
  }
  return held ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (words.size() == 2 && words[0] == "write") {
    if (Write(argv[2])) return 0;
    std::fprintf(stderr, "results: %s cannot be written\n", argv[2]);
    return 2;
  }
  if (words.size() == 3 && words[0] == "compare") return Compare(argv[2], argv[3], false);
  if (words.size() == 4 && words[0] == "compare" && words[1] == "--other-library") {
    return Compare(argv[3], argv[4], true);
  }
  std::fputs("usage: results write FILE | results compare [--other-library] FILE FILE\n", stderr);
  return 2;
}
