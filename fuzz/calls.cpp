// Every call but the analyses (analysis.cpp), on any record and image. The first byte chooses which.
#include <cmath>
#include <cstring>
#include <vector>

#include "records.h"
#include "target.h"

namespace {

// The record with the points of another.
HostileRecord WithPoints(const HostileRecord& record, const ZEP3_POINTS (&points)[3]) {
  HostileRecord same = record;
  std::copy_n(points, 3, same.para.ic.ch);
  return same;
}

// ---- tables ----

void Tables(Input& input) {
  const HostileRecord given(input);
  std::array<double, 9> matrix = input.Matrix();
  double* coefficients = input.OneIn(3) ? nullptr : matrix.data();
  const bool deep = input.OneIn(32); // three times 65536 entries take their time

  const auto table = std::make_unique<uint8_t[]>(768);
  HostileRecord record = given;
  ZEP3_HOLDS(MakeZEP3LUTEx(&record.para, coefficients, table.get()) == 1);
  Keep(table.get(), 768);
  record.Keep();
  // Everything but what stands for unset channels and automatic curves, and the saturation.
  HostileRecord expected = WithPoints(given, record.para.ic.ch);
  expected.para.ic.wHlCurveType = record.para.ic.wHlCurveType;
  expected.para.ic.wSdCurveType = record.para.ic.wSdCurveType;
  expected.para.lSaturation = 0;
  ZEP3_HOLDS(expected == record);

  constexpr size_t kLevels = 264;
  double levels[kLevels];
  for (size_t i = 0; i < kLevels; i++) levels[i] = i < 256 ? static_cast<double>(i) : input.Real();
  const auto display = std::make_unique<double[]>(3 * kLevels);
  HostileRecord again = given;
  ZEP3_HOLDS(MakeZEP3LUTAt(&again.para, coefficients, levels, kLevels, display.get()) == 1 && again == record);
  Keep(display.get(), 3 * kLevels);
  // Bytes are the display levels rounded; written so that last places do not matter.
  for (size_t i = 0; i < 3 * 256; i++) {
    const double d = display[kLevels * (i / 256) + i % 256];
    if (d >= 0 && d <= 255) ZEP3_HOLDS(std::abs(d - table[i]) <= 0.5 + 1e-6);
  }

  if (!deep) return;
  const auto own = std::make_unique<uint16_t[]>(3 * 65536);
  again = given;
  ZEP3_HOLDS(MakeZEP3LUT16(&again.para, coefficients, own.get()) == 1 && again == record);
  Keep(own.get(), 3 * 65536);
  again = given;
  const int64_t gamma = 1 + input.Below(50);
  ZEP3_HOLDS(MakeZEP3ScanLUT(&again.para, coefficients, gamma, 256, own.get()) == 1 && again == record);
  Keep(own.get(), 3 * 256);
}

void Matrix(Input& input) {
  const HostileRecord given(input);
  std::array<double, 9> in = input.Matrix(), out;
  HostileRecord record = given;
  ZEP3_HOLDS(ColorMatrixConv(&record.para, in.data(), out.data()) == 1);
  ZEP3_HOLDS(ColorMatrixConv(&record.para, in.data(), in.data()) == 1);
  ZEP3_HOLDS(std::memcmp(in.data(), out.data(), sizeof out) == 0);
  Keep(out.data(), out.size());
  const int64_t shown = ValueOfScreenGammaConv(input.Field(), &record.para);
  ZEP3_HOLDS(record == given && shown == static_cast<int32_t>(shown));
  Keep(&shown, 1);
}

// ---- picked colours ----

void Pipettes(Input& input) {
  const HostileRecord given(input);
  const ZEP3_GrayBalance pick = {input.Field(), input.Field(), input.Field(),
                                 input.OneIn(2) ? input.Field() : input.Below(101)};
  HostileRecord record = given;
  ZEP3_HOLDS(GetGrayBalance(&record.para, pick) == 1 && WithPoints(given, record.para.ic.ch) == record);
  record.Keep();
  int64_t colour[3] = {pick.lRed, pick.lGreen, pick.lBlue};
  record = given;
  ZEP3_HOLDS(GetGamma(colour, &record.para) == 1);
  record.Keep();
  HostileRecord expected = given;
  for (int c = 0; c < 3; c++) expected.para.ic.ch[c].lGamma = record.para.ic.ch[c].lGamma;
  ZEP3_HOLDS(expected == record);
}

void Palette(Input& input) {
  const HostileRecord given(input);
  int64_t source[3], target[3];
  for (int64_t* colour : {source, target}) {
    for (int c = 0; c < 3; c++) colour[c] = input.OneIn(4) ? input.Field() : input.Below(256);
  }
  const std::array<double, 9> film = input.Matrix(), colours = input.Matrix();
  const double* filmMatrix = input.OneIn(3) ? nullptr : film.data();
  const double* colourMatrix = input.OneIn(3) ? nullptr : colours.data();
  HostileRecord record = given;
  const int result = AdjustSpecifiedColor(&record.para, source, target, filmMatrix, colourMatrix);
  record.Keep();
  ZEP3_HOLDS(result == 0 || result == 1);
  if (record == given) return;
  // What moved lies in order and on the scale, and only points moved.
  ZEP3_HOLDS(result == 1 && WithPoints(given, record.para.ic.ch) == record);
  for (const ZEP3_POINTS& moved : record.para.ic.ch) {
    ZEP3_HOLDS(0 <= moved.lSdIn && moved.lSdIn < moved.lHlIn && moved.lHlIn <= 65535);
  }
}

// ---- pixels ----

// Whole images in buffers of exactly their size, of any layout and depth.
void Apply(Input& input) {
  HostileImage image(input, true);
  const ZEP3_BmpInfo& bmp = image.bmp;
  std::vector<uint16_t> table(3 * (bmp.lBitCount == ZEP3_BITS_16 ? 65536 : 256));
  for (size_t i = 0; i < table.size(); i++) table[i] = static_cast<uint16_t>(i * 40503 + input.Take<uint8_t>());
  std::vector<uint8_t> bytes(table.begin(), table.end());
  const double chroma = input.OneIn(2) ? 1.0 : input.Real();
  const bool deep = bmp.lBitCount == ZEP3_BITS_16;
  const int result = input.OneIn(2) ? ApplyZEP3ScanLUT(&bmp, table.data(), chroma)
                     : deep         ? ApplyZEP3LUT16(&bmp, table.data())
                                    : ApplyZEP3LUT(&bmp, bytes.data());
  const bool taken = bmp.lBitCount == ZEP3_BITS_8 || bmp.lBitCount == ZEP3_BITS_16;
  const bool sized = bmp.lWidth >= 0 && bmp.lHeight >= 0 && bmp.lWidth <= INT32_MAX && bmp.lHeight <= INT32_MAX;
  if (!taken || !sized || image.MustBeRefused()) ZEP3_HOLDS(result == 0);
  const bool known = bmp.wPixelFormat <= ZEP3_PIXEL_GRAYA;
  if (result == 0 && known && !std::isnan(chroma)) ZEP3_HOLDS(CheckZEP3(ZEP3_CALL_APPLY, &bmp, nullptr, nullptr));
  image.Keep();
}

// ---- pages ----

// Any surface, also one that no analysis would give: what is taken of it stays within the cells and the tables.
void Page(Input& input) {
  const HostileRecord given(input);
  HostileImage image(input, true);
  const ZEP3_BmpInfo& bmp = image.bmp;
  const auto length = [&] { return input.OneIn(8) ? input.Field() : 1 + input.Below(40); };
  ZEP3_SURFACE surface = {};
  surface.lFound = input.OneIn(8) ? input.Field() : 1 + input.Below(2);
  surface.lScanGamma = input.OneIn(4) ? input.Field() : int64_t{ZEP3_GAMMA_SRGB};
  surface.lLeft = input.OneIn(2) ? input.Field() : 0;
  surface.lTop = input.OneIn(2) ? input.Field() : 0;
  surface.lSide = length();
  surface.lColumns = 1 + input.Below(9);
  surface.lRows = 1 + input.Below(9);
  for (double* v : {&surface.dPaper[0], &surface.dPaper[2], &surface.dObjectTint[1], &surface.dObjectShadow,
                    &surface.dObjectGamma, &surface.dWhiteFrom, &surface.dWhiteTo}) {
    *v = input.OneIn(4) ? input.Real() : input.Share();
  }
  const auto cells = std::make_unique<ZEP3_CELL[]>(static_cast<size_t>(surface.lColumns * surface.lRows));
  for (int64_t i = 0; i < surface.lColumns * surface.lRows; i++) {
    for (float& gain : cells[static_cast<size_t>(i)].fGain) {
      gain = input.OneIn(8) ? static_cast<float>(input.Real()) : static_cast<float>(2.0 * input.Share());
    }
    cells[static_cast<size_t>(i)].lLies = input.Take<uint8_t>();
  }
  surface.pCells = input.OneIn(16) ? nullptr : cells.get();
  const bool deep = bmp.lBitCount == ZEP3_BITS_16;
  const int64_t entries = deep ? int64_t{ZEP3_PAGE_ENTRIES_16} : int64_t{ZEP3_PAGE_ENTRIES_8};
  const auto table = std::make_unique<uint16_t[]>(static_cast<size_t>(7 * entries));
  // The sixteen-bit tables of a record take their time.
  const bool own = input.OneIn(deep ? 32 : 2);
  if (own) {
    HostileRecord record = given;
    MakeZEP3PageLUT(&record.para, &surface, entries, table.get());
    ZEP3_HOLDS(record == given);
  } else {
    const auto step = input.Take<uint16_t>();
    for (int64_t i = 0; i < 7 * entries; i++) table[static_cast<size_t>(i)] = static_cast<uint16_t>(i * step);
  }
  const int64_t x = input.OneIn(2) ? input.Field() : 0, y = input.OneIn(2) ? input.Field() : 0;
  HostileImage again = image;
  const int result = ApplyZEP3Page(&bmp, x, y, &surface, table.get());
  ZEP3_HOLDS(result == ApplyZEP3Page(&again.bmp, x, y, &surface, table.get()) && image == again);
  const bool found = surface.lFound == ZEP3_SURFACE_PAPER || surface.lFound == ZEP3_SURFACE_REVERSE;
  if (!found || surface.pCells == nullptr || surface.lSide < 1 || image.MustBeRefused()) ZEP3_HOLDS(result == 0);
  image.Keep();
}

// One record and image through everything, one call after the other: the results are the same when all of it is done
// again, whatever was done in between.
struct Results {
  HostileRecord record;
  HostileImage image;
  ZEP3_EVIDENCE evidence = {};
  std::array<uint8_t, 768> table = {};

  Results(const HostileRecord& given, const HostileImage& seen, std::array<double, 9> matrix,
          const ZEP3_GrayBalance& pick, bool adaptive)
      : record(given), image(seen) {
    ZEP3_PARA& para = record.para;
    const int finished = FinishZEP3(&image.bmp, 22, adaptive, &para, matrix.data(), &evidence);
    const bool known = image.bmp.wPixelFormat <= ZEP3_PIXEL_GRAYA;
    if (finished == 0 && known && given.IsServed()) {
      ZEP3_HOLDS(CheckZEP3(ZEP3_CALL_FINISH, &image.bmp, &given.para, matrix.data()) && image == seen);
    }
    GetGrayBalance(&para, pick);
    int64_t colour[3] = {pick.lRed, pick.lGreen, pick.lBlue};
    GetGamma(colour, &para);
    const int64_t gray[3] = {colour[1], colour[1], colour[1]};
    AdjustSpecifiedColor(&para, colour, gray, matrix.data(), nullptr);
    CheckZEP3(ZEP3_CALL_TABLES, nullptr, &para, matrix.data());
    ZEP3_HOLDS(MakeZEP3LUTEx(&para, matrix.data(), table.data()) == 1);
  }
  bool operator==(const Results& other) const {
    return record == other.record && image == other.image && table == other.table &&
           std::memcmp(&evidence, &other.evidence, sizeof evidence) == 0;
  }
};

void Chain(Input& input) {
  const HostileRecord given(input);
  const HostileImage image(input, true);
  const std::array<double, 9> matrix = input.Matrix();
  const ZEP3_GrayBalance pick = {input.Field(), input.Field(), input.Field(), input.Below(101)};
  const bool adaptive = input.OneIn(2);
  const Results first(given, image, matrix, pick, adaptive);
  const HostileRecord other(input);
  const HostileImage otherImage(input, true);
  Results(other, otherImage, input.Matrix(), pick, !adaptive);
  ZEP3_HOLDS(Results(given, image, matrix, pick, adaptive) == first);
  first.record.Keep();
  first.image.Keep();
  Keep(first.table.data(), first.table.size());
  Keep(first.evidence.dMeasured, std::size(first.evidence.dMeasured));
}

} // namespace

void RunTarget(Input input) {
  constexpr void (*kCalls[])(Input&) = {Tables, Matrix, Pipettes, Palette, Apply, Chain, Page};
  kCalls[input.Below(std::size(kCalls))](input);
}
