// What the engine's calls cost, beside what bounds them.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "engine/adaptive/block_grid.h"
#include "engine/hist/chist.h"
#include "engine/lut/apply.h"
#include "engine/window/window.h"
#include "engine/zep3.h"
#include "pairs.h"
#include "peers.h"
#include "scans.h"
#include "support.h"

// ---- the calls of pow that a table takes ----

namespace {
std::vector<std::pair<double, double>>* g_powCalls = nullptr;
} // namespace

extern "C" {
double __real_pow(double x, double y);
// The linker leads every call of pow here.
double __wrap_pow(double x, double y);
double __wrap_pow(double x, double y) {
  if (g_powCalls != nullptr) g_powCalls->emplace_back(x, y);
  return __real_pow(x, y);
}
}

namespace {

struct Kind {
  const char* name;
  int docType, subMode;
};
constexpr Kind kPhoto = {"photo", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_PHOTO};
constexpr Kind kSlide = {"slide", ZEP3_DOC_POSITIVE, ZEP3_SUB_PHOTO};
constexpr Kind kNegative = {"colour negative", ZEP3_DOC_NEGATIVE, ZEP3_SUB_PHOTO};
constexpr Kind kMonochrome = {"monochrome negative", ZEP3_DOC_NEGATIVE_BW, ZEP3_SUB_PHOTO};

const char* FormatName(int format) {
  return format == ZEP3_PIXEL_RGB ? "R G B" : format == ZEP3_PIXEL_XRGB ? "x R G B" : "B G R";
}

// ---- the loops that anyone would write first ----

struct Histograms {
  uint32_t channel[3][256];
  uint32_t sum[768];

  void Count(int r, int g, int b) {
    channel[0][r]++;
    channel[1][g]++;
    channel[2][b]++;
    sum[r + g + b]++;
  }
  bool operator==(const CHIST& hist) const {
    return std::memcmp(channel, hist.m_nHist, sizeof channel) == 0 &&
           std::memcmp(sum, hist.m_nHistSum, sizeof sum) == 0;
  }
};

// Pixels R G B one by one.
void CountPixels(const ZEP3_BmpInfo& bmp, Histograms& histograms) {
  histograms = {};
  for (int64_t y = 0; y < bmp.lHeight; y++) {
    const uint8_t* p = bmp.pBits + y * bmp.lBytesPerLine;
    for (int64_t x = 0; x < bmp.lWidth; x++, p += 3) histograms.Count(p[0], p[1], p[2]);
  }
}

// Blocks one by one.
void CountBlocks(const ZEP3_BmpInfo& bmp, int target, Histograms& histograms) {
  histograms = {};
  const double ratio = static_cast<double>(bmp.lWidth * bmp.lHeight) / target;
  const auto height = static_cast<int64_t>(std::sqrt(ratio));
  const auto width = static_cast<int64_t>(ratio / static_cast<double>(height));
  const auto pixels = static_cast<double>(height * width);
  for (int64_t top = 0; top < bmp.lHeight - height; top += height) {
    for (int64_t left = 0; left < bmp.lWidth - width; left += width) {
      int64_t sum[3] = {};
      for (int64_t y = top; y < top + height; y++) {
        const uint8_t* p = bmp.pBits + y * bmp.lBytesPerLine + 3 * left;
        for (int64_t x = 0; x < width; x++, p += 3) {
          for (int c = 0; c < 3; c++) sum[c] += p[c];
        }
      }
      const auto mean = [&](int c) { return static_cast<int>(static_cast<double>(sum[c]) / pixels + 0.5); };
      histograms.Count(mean(0), mean(1), mean(2));
    }
  }
}

// ---- rows ----

// An image, a record and a histogram object that live as long as the row is measured.
struct Bench {
  Scan scan;
  Record record;
  CHIST hist;
  Histograms histograms = {};
  double matrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

  Bench(const Size& size, const Kind& kind, int format = ZEP3_PIXEL_RGB)
      : scan(size, format), record(kind.docType, kind.subMode) {}

  bool MakeHistogram(int margin) { return hist.MakeHistogram(&scan.bmp, margin, &record.para); }
  bool Analyse() { return ZEP3(&scan.bmp, &record.para, matrix) == 1; }
};

// MakeHistogram beside a loop that counts into bench->histograms.
Sides BesideLoop(const std::shared_ptr<Bench>& bench, const Work& loop) {
  loop();
  const bool equal = bench->MakeHistogram(0) && bench->histograms == bench->hist;
  return {loop, [=] { bench->MakeHistogram(0); }, equal ? "" : "histograms differ"};
}

void AddBlockMeans() {
  struct Case {
    const char* name;
    Size size;
    Kind kind;
    int format;
    double most;
  };
  const Case cases[] = {
      {"100 MP", kHundredMegapixels, kPhoto, ZEP3_PIXEL_RGB, 1.15},
      {"100 MP", kHundredMegapixels, kPhoto, ZEP3_PIXEL_BGR, 1.15},
      {"100 MP", kHundredMegapixels, kPhoto, ZEP3_PIXEL_XRGB, 1.15},
      {"100 MP", kHundredMegapixels, kMonochrome, ZEP3_PIXEL_RGB, 1.15},
      {"12 MP", kTwelveMegapixels, kPhoto, ZEP3_PIXEL_RGB, 1.5},
      {"12 MP", kTwelveMegapixels, kPhoto, ZEP3_PIXEL_XRGB, 1.5},
      {"12 MP", kTwelveMegapixels, kMonochrome, ZEP3_PIXEL_RGB, 1.5},
  };
  for (const Case& c : cases) {
    const std::string work = std::string("block means, ") + c.name + ", " + FormatName(c.format) + ", " + c.kind.name;
    AddRow(work, "MakeHistogram", "read once", {Goal::kRatio, c.most}, [=] {
      auto bench = std::make_shared<Bench>(c.size, c.kind, c.format);
      return Sides{[=] { ReadOnce(bench->scan); }, [=] { bench->MakeHistogram(0); },
                   bench->MakeHistogram(0) ? "" : "MakeHistogram fails"};
    });
  }
  for (const auto& [name, size] : {std::pair{"100 MP", kHundredMegapixels}, std::pair{"12 MP", kTwelveMegapixels}}) {
    const Size sides = size;
    AddRow(std::string("block means of both analyses, ") + name, "MakeHistogram and grid", "read once",
           {Goal::kRatio, sides.width == kHundredMegapixels.width ? 1.3 : 2.0}, [=] {
             auto bench = std::make_shared<Bench>(sides, kPhoto);
             const auto both = [=] {
               BlockGridReader reader(bench->scan.bmp, 5);
               bench->hist.TakeAlong(&reader);
               const bool made = bench->MakeHistogram(5);
               bench->hist.TakeAlong(nullptr);
               return made && reader.Grid().Size() > 0;
             };
             return Sides{[=] { ReadOnce(bench->scan); }, [=] { both(); }, both() ? "" : "MakeHistogram fails"};
           });
  }
  struct Cached {
    const char* name;
    Size size;
    double most; // ms
  };
  for (const Cached& c : {Cached{"1 MP in cache", kMegapixel, 0.3}, Cached{"0.26 MP in cache", kInCache, 0.15}}) {
    const std::string work = std::string("block means, ") + c.name;
    AddRow(work, "MakeHistogram", "read once", {Goal::kTime, c.most}, [=] {
      auto bench = std::make_shared<Bench>(c.size, kPhoto);
      return Sides{[=] { ReadOnce(bench->scan); }, [=] { bench->MakeHistogram(0); }, ""};
    });
    AddRow(work, "MakeHistogram", "block by block", {Goal::kRatio, 0.2}, [=] {
      auto bench = std::make_shared<Bench>(c.size, kPhoto);
      return BesideLoop(bench,
                        [=] { CountBlocks(bench->scan.bmp, bench->hist.m_nSampleTargetPosi, bench->histograms); });
    });
  }
}

void AddEveryPixel() {
  AddRow("every pixel, 59,780", "MakeHistogram", "plain loop, four tables", {Goal::kRatio, 1.0}, [] {
    auto bench = std::make_shared<Bench>(kEveryPixel, kPhoto);
    return BesideLoop(bench, [=] { CountPixels(bench->scan.bmp, bench->histograms); });
  });
}

void AddArea() {
  struct Case {
    const char* name;
    Size size;
    bool rotated;
  };
  const Case cases[] = {{"rectangle, 100 MP", kHundredMegapixels, false},
                        {"rotated, 100 MP", kHundredMegapixels, true},
                        {"rotated, 12 MP", kTwelveMegapixels, true}};
  for (const Case& c : cases) {
    AddRow(std::string("pixels in the area, ") + c.name, "InnerCount", "read once", {Goal::kRatio, 0.1}, [=] {
      auto bench = std::make_shared<Bench>(c.size, kPhoto);
      if (c.rotated) bench->scan.RotateArea();
      const bool valid = bench->hist.CalcLineEquation(&bench->scan.bmp.area, 5);
      const PixelSpan columns = {0, static_cast<int>(c.size.width)};
      const PixelSpan lines = {0, static_cast<int>(c.size.height)};
      const auto count = [=] { benchmark::DoNotOptimize(bench->hist.Area().InnerCount(columns, lines)); };
      return Sides{[=] { ReadOnce(bench->scan); }, count, valid ? "" : "area refused"};
    });
  }
}

void AddAnalysis() {
  for (const auto& [name, size] : {std::pair{"100 MP", kHundredMegapixels}, std::pair{"12 MP", kTwelveMegapixels},
                                   std::pair{"1.5 MP", kPrescan}}) {
    const Size sides = size;
    AddRow(std::string("whole analysis, ") + name, "colour negative", "slide", {Goal::kRatio, 1.15}, [=] {
      auto negative = std::make_shared<Bench>(sides, kNegative);
      // The same pixels: two images would lie differently in memory.
      auto slide = std::make_shared<Record>(kSlide.docType, kSlide.subMode);
      return Sides{[=] { ZEP3(&negative->scan.bmp, &slide->para, nullptr); }, [=] { negative->Analyse(); },
                   negative->Analyse() ? "" : "ZEP3 fails"};
    });
  }
  const Kind kinds[] = {kPhoto,
                        {"document", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_DOCUMENT},
                        {"faded print", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION},
                        {"background removal", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_BACKGROUND_REMOVAL},
                        {"ground-colour removal", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_GROUND_COLOR_REMOVAL},
                        kSlide,
                        kNegative,
                        {"faded colour negative", ZEP3_DOC_NEGATIVE, ZEP3_SUB_RESTORATION},
                        kMonochrome,
                        {"faded monochrome negative", ZEP3_DOC_NEGATIVE_BW, ZEP3_SUB_RESTORATION}};
  for (const Kind& kind : kinds) {
    AddRow(std::string("behind the histograms, 1.5 MP, ") + kind.name, "ZEP3", "MakeHistogram",
           {Goal::kDifference, 0.2}, [=] {
             auto bench = std::make_shared<Bench>(kPrescan, kind);
             bench->record.para.lCorrectLevel = 8; // with a tone curve
             bench->record.para.lAgainstLight = 8; // and the backlight correction
             return Sides{[=] { bench->MakeHistogram(bench->hist.m_nAreaMargin); }, [=] { bench->Analyse(); },
                          bench->Analyse() ? "" : "ZEP3 fails"};
           });
  }
}

void AddAdaptive() {
  const Kind kinds[] = {kPhoto,      {"faded print", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION},
                        kSlide,      {"faded slide", ZEP3_DOC_POSITIVE, ZEP3_SUB_RESTORATION},
                        kNegative,   {"faded colour negative", ZEP3_DOC_NEGATIVE, ZEP3_SUB_RESTORATION},
                        kMonochrome, {"faded monochrome negative", ZEP3_DOC_NEGATIVE_BW, ZEP3_SUB_RESTORATION}};
  // The goal: 5 ms for the analysis, 5 for the picture's window and the check of the result.
  for (const Kind& kind : kinds) {
    AddRow(std::string("adaptive analysis, 1.5 MP, ") + kind.name, "ZEP3Adaptive", "ZEP3", {Goal::kDifference, 10.0},
           [=] {
             auto bench = std::make_shared<Bench>(kPrescan, kind);
             const auto adaptive = [=] {
               ZEP3_EVIDENCE evidence;
               ZEP3Adaptive(&bench->scan.bmp, &bench->record.para, bench->matrix, &evidence);
               return evidence.lAnalysis != ZEP3_ANALYSIS_STANDARD;
             };
             return Sides{[=] { bench->Analyse(); }, adaptive, adaptive() ? "" : "falls back to ZEP3"};
           });
  }
}

// A sheet in a light that falls to two thirds, lines of text, a picture; every sample with grain.
void FillPage(Scan& scan) {
  const ZEP3_BmpInfo& bmp = scan.bmp;
  const int64_t unit = std::max<int64_t>(1, bmp.lWidth / 1000);
  uint32_t noise = 1;
  for (int64_t y = 0; y < bmp.lHeight; y++) {
    uint8_t* p = bmp.pBits + y * bmp.lBytesPerLine;
    for (int64_t x = 0; x < bmp.lWidth; x++) {
      const int64_t u = x / unit, v = y / unit;
      const bool text = u > 100 && u < 600 && v > 100 && v % 14 < 4 && (u * 7 + v / 14 * 3) % 11 < 4;
      const bool picture = u > 650 && u < 900 && v > 200 && v < 500;
      const int64_t level = (text ? 40 : picture ? 60 + (u * v) % 90 : 235) * (3 * bmp.lWidth - x) / (3 * bmp.lWidth);
      for (int c = 0; c < 3; c++) {
        noise = noise * 1664525 + 1013904223;
        *p++ = static_cast<uint8_t>(level + (noise >> 29));
      }
    }
  }
}

// A page, its surface and its tables.
struct PageBench {
  Scan scan;
  Record record{ZEP3_DOC_REFLECTIVE, ZEP3_SUB_BACKGROUND_REMOVAL};
  std::vector<uint8_t> levels, darkest, deviation;
  std::vector<ZEP3_CELL> cells;
  std::vector<uint16_t> table = std::vector<uint16_t>(7 * ZEP3_PAGE_ENTRIES_8);
  ZEP3_BmpInfo prescan = {};
  ZEP3_DETAIL detail = {};
  ZEP3_SURFACE surface = {};
  bool found = false;

  explicit PageBench(Size size) : scan(size) {
    FillPage(scan);
    const int64_t shrink = GetZEP3PrescanShrink(scan.bmp.lWidth, scan.bmp.lHeight);
    const auto blocks = [&](int64_t side) { return static_cast<size_t>((side + shrink - 1) / shrink); };
    const size_t pixels = blocks(scan.bmp.lWidth) * blocks(scan.bmp.lHeight);
    levels.resize(3 * pixels);
    darkest.resize(3 * pixels);
    deviation.resize(pixels);
    prescan.pBits = levels.data();
    detail = {darkest.data(), deviation.data()};
    MakeZEP3PagePrescan(&scan.bmp, ZEP3_GAMMA_SRGB, shrink, &prescan, &detail);
    cells.resize(static_cast<size_t>(GetZEP3SurfaceRoom(prescan.lWidth, prescan.lHeight)));
    surface.lScanGamma = ZEP3_GAMMA_SRGB;
    surface.lWidth = scan.bmp.lWidth;
    surface.lHeight = scan.bmp.lHeight;
    surface.pCells = cells.data();
    surface.lRoom = static_cast<int64_t>(cells.size());
    found = Analyse() && MakeZEP3PageLUT(&record.para, &surface, ZEP3_PAGE_ENTRIES_8, table.data()) != 0;
  }
  bool Analyse() {
    surface.lSide = GetZEP3PrescanShrink(scan.bmp.lWidth, scan.bmp.lHeight);
    ZEP3_EVIDENCE evidence;
    return ZEP3Page(&prescan, &record.para, &detail, &surface, &evidence) != 0 && surface.lFound == ZEP3_SURFACE_PAPER;
  }
};

void AddPages() {
  AddRow("page and its surface, 1.5 MP", "ZEP3Page", "read once", {Goal::kTime, 15.0}, [] {
    auto page = std::make_shared<PageBench>(kPrescan);
    return Sides{[=] { ReadOnce(page->scan); }, [=] { page->Analyse(); }, page->found ? "" : "no paper found"};
  });
  AddRow("page evened, 100 MP, R G B", "copy and ApplyZEP3Page", "copy", {}, [] {
    auto page = std::make_shared<PageBench>(kHundredMegapixels);
    const auto given =
        std::make_shared<std::vector<uint8_t>>(page->scan.bmp.pBits, page->scan.bmp.pBits + page->scan.Bytes());
    // A page that is white already would cost less: both sides begin with the scan.
    const auto again = [=] { std::copy(given->begin(), given->end(), page->scan.bmp.pBits); };
    return Sides{again,
                 [=] {
                   again();
                   ApplyZEP3Page(&page->scan.bmp, 0, 0, &page->surface, page->table.data());
                 },
                 page->found ? "" : "no paper found"};
  });
}

// In a frame as dark as a mount or a holder.
void AddWindow() {
  for (const auto& [name, material] : {std::pair{"print", Material::kPrint}, std::pair{"slide", Material::kSlide},
                                       std::pair{"negative", Material::kNegative}}) {
    const Material of = material;
    AddRow(std::string("picture's window, 1.5 MP, ") + name, "FindWindow", "read once", {Goal::kDifference, 5.0}, [=] {
      auto bench = std::make_shared<Bench>(kPrescan, kPhoto);
      const ZEP3_BmpInfo& bmp = bench->scan.bmp;
      for (int64_t y = 0; y < bmp.lHeight; y++) {
        for (int64_t x = 0; x < bmp.lWidth; x++) {
          const bool inside = std::llabs(2 * x - bmp.lWidth) < 1000 && std::llabs(2 * y - bmp.lHeight) < 700;
          if (!inside) std::memset(bmp.pBits + y * bmp.lBytesPerLine + 3 * x, 8, 3);
        }
      }
      auto grid = std::make_shared<BlockGrid>(ReadBlockGrid(bmp, 0));
      const auto find = [=] { return FindWindow(bench->scan.bmp, *grid, of).found; };
      return Sides{[=] { ReadOnce(bench->scan); }, find, find() ? "" : "finds no window"};
    });
  }
}

// ---- tables ----

void AddTables() {
  for (const Kind& kind : {kPhoto, kNegative}) {
    for (const bool curves : {false, true}) {
      const std::string work = std::string("tables, ") + kind.name + (curves ? ", four curves" : ", no curves");
      AddRow(work, "MakeZEP3LUT", "its calls of pow", {Goal::kRatio, curves ? 1.6 : 1.2}, [=] {
        struct State {
          Record record;
          std::vector<std::pair<double, double>> calls;
          uint8_t table[768];
          explicit State(const Kind& k) : record(k.docType, k.subMode) {}
        };
        auto state = std::make_shared<State>(kind);
        Bench analysed(kPrescan, kind);
        const bool found = analysed.Analyse();
        ZEP3_PARA& para = state->record.para;
        std::memcpy(para.ic.ch, analysed.record.para.ic.ch, sizeof para.ic.ch);
        if (curves) {
          for (ZEP3_TONE* tone :
               {&state->record.master, &state->record.rgb[0], &state->record.rgb[1], &state->record.rgb[2]}) {
            tone->wPointNum = 5;
            const LPOINT points[5] = {{0, 0}, {60, 50}, {128, 130}, {200, 210}, {255, 255}};
            std::copy(points, points + 5, tone->ptCtrl);
          }
        } else {
          para.ic.pMasterTone = nullptr;
          para.ic.pRGBTone = nullptr;
        }
        const auto make = [=] { MakeZEP3LUT(&state->record.para, state->table); };
        make(); // resolves the record's automatic settings
        g_powCalls = &state->calls;
        make();
        g_powCalls = nullptr;
        const auto pows = [=] {
          double sum = 0;
          for (const auto& [x, y] : state->calls) sum += std::pow(x, y);
          benchmark::DoNotOptimize(sum);
        };
        return Sides{pows, make, found ? "" : "ZEP3 fails"};
      });
    }
  }
}

// A permutation of the levels, so that repeating it keeps the image as varied as it is.
std::vector<uint8_t> Permutation() {
  std::vector<uint8_t> table(768);
  for (size_t i = 0; i < table.size(); i++) table[i] = static_cast<uint8_t>(i * 167 + i / 256 * 31);
  return table;
}

void AddApplying() {
  struct Case {
    const char* name;
    Size size;
    int format;
  };
  const Case cases[] = {{"100 MP", kHundredMegapixels, ZEP3_PIXEL_RGB},
                        {"100 MP", kHundredMegapixels, ZEP3_PIXEL_BGR},
                        {"100 MP", kHundredMegapixels, ZEP3_PIXEL_XRGB},
                        {"0.26 MP in cache", kInCache, ZEP3_PIXEL_RGB}};
  for (const Case& c : cases) {
    AddRow(std::string("tables applied, ") + c.name + ", " + FormatName(c.format), "ApplyZEP3LUT", "changed in place",
           {Goal::kRatio, 1.2}, [=] {
             auto scan = std::make_shared<Scan>(c.size, c.format);
             auto table = std::make_shared<std::vector<uint8_t>>(Permutation());
             return Sides{[=] { ModifyInPlace(*scan); }, [=] { ApplyZEP3LUT(&scan->bmp, table->data()); },
                          ApplyPermuted() != nullptr ? "" : "this processor has no 256-entry byte permutes"};
           });
  }
  AddRow("tables applied, 12 MP, without byte permutes", "ApplyPlain", "plain loop", {Goal::kRatio, 1.1}, [] {
    auto scan = std::make_shared<Scan>(kTwelveMegapixels);
    auto table = std::make_shared<std::vector<uint8_t>>(Permutation());
    const auto plain = [=] {
      uint8_t* p = scan->bmp.pBits;
      const uint8_t* lut = table->data();
      for (const uint8_t* end = p + scan->Bytes(); p < end; p += 3) {
        p[0] = lut[p[0]];
        p[1] = lut[256 + p[1]];
        p[2] = lut[512 + p[2]];
      }
    };
    const auto ours = [=] {
      ApplyPlain<uint8_t>(scan->bmp.pBits, scan->bmp.lWidth * scan->bmp.lHeight, LayoutOf(scan->bmp), table->data());
    };
    return Sides{plain, ours, ""};
  });
}

} // namespace

int main(int argc, char** argv) {
  AddBlockMeans();
  AddEveryPixel();
  AddArea();
  AddAnalysis();
  AddAdaptive();
  AddPages();
  AddWindow();
  AddTables();
  AddApplying();
  AddPeers();
  return RunRows(argc, argv);
}
