// Every call but the analyses (analysis.cpp), on any record and image. The first byte chooses which.
#include <cmath>
#include <vector>

#include "records.h"
#include "target.h"

namespace {

bool IsInt32(int64_t v) { return v == static_cast<int32_t>(v); }

// The record with the points of another.
HostileRecord WithPoints(const HostileRecord& record, const ZEP3_POINTS (&points)[3]) {
  HostileRecord same = record;
  std::copy_n(points, 3, same.para.ic.ch);
  return same;
}

// ---- tables ----

// Everything but what stands for unset channels, and the saturation.
void CheckWhatIsWritten(const HostileRecord& before, const HostileRecord& after) {
  HostileRecord expected = before;
  bool unset = false;
  for (int c = 0; c < 3; c++) {
    const ZEP3_POINTS& p = before.para.ic.ch[c];
    const bool channelUnset = p.lHlIn == ZEP3_UNSET || p.lSdIn == ZEP3_UNSET || p.lHlOut == ZEP3_UNSET ||
                              p.lSdOut == ZEP3_UNSET || p.lGamma == ZEP3_UNSET;
    if (channelUnset) expected.para.ic.ch[c] = after.para.ic.ch[c];
    unset = unset || channelUnset;
  }
  const ZEP3_IC& ic = before.para.ic;
  if (unset || ic.wHlCurveType == ZEP3_HL_AUTO) expected.para.ic.wHlCurveType = after.para.ic.wHlCurveType;
  if (unset || ic.wSdCurveType == ZEP3_SD_AUTO) expected.para.ic.wSdCurveType = after.para.ic.wSdCurveType;
  expected.para.lSaturation = 0;
  ZEP3_HOLDS(expected == after);
}

// Whether an integer is a display level times `scale`, rounded. Written so that last places do not matter.
bool IsRounded(double display, double scale, int entry) { return std::abs(display * scale - entry) <= 0.5 + 1e-6; }

void Tables(Input& input) {
  const HostileRecord given(input);
  std::array<double, 9> matrix = input.Matrix();
  double* coefficients = input.OneIn(3) ? nullptr : matrix.data();
  const bool deep = input.OneIn(32); // three times 65536 entries take their time

  const auto table = std::make_unique<uint8_t[]>(768);
  HostileRecord record = given;
  ZEP3_HOLDS(MakeZEP3LUTEx(&record.para, coefficients, table.get()) == 1);
  CheckWhatIsWritten(given, record);
  Keep(table.get(), 768);
  record.Keep();

  constexpr size_t kLevels = 264;
  double levels[kLevels];
  for (int i = 0; i < 256; i++) levels[i] = i;
  for (size_t i = 256; i < kLevels; i++) levels[i] = input.Real();
  const auto display = std::make_unique<double[]>(3 * kLevels);
  HostileRecord again = given;
  ZEP3_HOLDS(MakeZEP3LUTAt(&again.para, coefficients, levels, kLevels, display.get()) == 1 && again == record);
  Keep(display.get(), 3 * kLevels);
  for (size_t i = 0; i < 3 * 256; i++) {
    const double d = display[kLevels * (i / 256) + i % 256];
    if (std::isnan(d)) ZEP3_HOLDS(table[i] == 0);
    if (d >= 0 && d <= 255) ZEP3_HOLDS(IsRounded(d, 1, table[i]));
  }

  const int64_t gamma = 1 + input.Below(50);
  const auto own = std::make_unique<uint16_t[]>(3 * 256);
  again = given;
  ZEP3_HOLDS(MakeZEP3ScanLUT(&again.para, coefficients, gamma, 256, own.get()) == 1 && again == record);
  Keep(own.get(), 3 * 256);
  if (!deep) return;
  const auto fine = std::make_unique<uint16_t[]>(3 * 65536);
  again = given;
  ZEP3_HOLDS(MakeZEP3LUT16(&again.para, coefficients, fine.get()) == 1 && again == record);
  Keep(fine.get(), 3 * 65536);
  for (size_t i = 0; i < 3 * 256; i++) {
    const double d = display[kLevels * (i / 256) + i % 256];
    const uint16_t entry = fine[65536 * (i / 256) + 257 * (i % 256)];
    // Held within 0..65535; beyond 32 bits as what is not a number.
    if (!(std::abs(d * 257) < INT32_MAX)) {
      ZEP3_HOLDS(entry == 0);
    } else {
      ZEP3_HOLDS(IsRounded(std::fmin(255, std::fmax(0, d)), 257, entry));
    }
  }
}

void Matrix(Input& input) {
  const HostileRecord given(input);
  std::array<double, 9> in = input.Matrix(), out;
  HostileRecord record = given;
  ZEP3_HOLDS(ColorMatrixConv(&record.para, in.data(), out.data()) == 1);
  ZEP3_HOLDS(ColorMatrixConv(&record.para, in.data(), in.data()) == 1 && record == given);
  ZEP3_HOLDS(std::memcmp(in.data(), out.data(), sizeof out) == 0);
  Keep(out.data(), out.size());
  for (size_t row = 0; row < 9; row += 3) {
    const double size = std::abs(out[row]) + std::abs(out[row + 1]) + std::abs(out[row + 2]);
    if (size < 1e6) ZEP3_HOLDS(std::abs(out[row] + out[row + 1] + out[row + 2] - 1) < 1e-9);
  }
  const int64_t shown = ValueOfScreenGammaConv(input.Field(), &record.para);
  ZEP3_HOLDS(record == given && IsInt32(shown));
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
  for (int c = 0; c < 3; c++) {
    const ZEP3_POINTS &before = given.para.ic.ch[c], &after = record.para.ic.ch[c];
    ZEP3_HOLDS(IsInt32(after.lHlIn) && IsInt32(after.lSdIn));
    ZEP3_HOLDS(after.lSdOut == before.lSdOut && after.lGamma == before.lGamma);
    ZEP3_HOLDS(after.lHlOut == before.lHlOut || (IsInt32(after.lHlOut) && !given.IsNegative()));
  }
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
  ZEP3_HOLDS(result == 1);
  HostileRecord expected = given;
  for (int c = 0; c < 3; c++) {
    ZEP3_POINTS& p = expected.para.ic.ch[c];
    const ZEP3_POINTS& moved = record.para.ic.ch[c];
    ZEP3_HOLDS(0 <= moved.lSdIn && moved.lSdIn < moved.lHlIn && moved.lHlIn <= 65535);
    ZEP3_HOLDS(moved.lHlOut == p.lHlOut ||
               (!given.IsNegative() && moved.lSdOut < moved.lHlOut && moved.lHlOut <= 65535));
    p.lHlIn = moved.lHlIn;
    p.lSdIn = moved.lSdIn;
    p.lHlOut = moved.lHlOut;
  }
  ZEP3_HOLDS(expected == record);
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
  int result = 0;
  if (input.OneIn(2)) {
    result = ApplyZEP3ScanLUT(&bmp, table.data(), chroma);
  } else {
    result = bmp.lBitCount == ZEP3_BITS_16 ? ApplyZEP3LUT16(&bmp, table.data()) : ApplyZEP3LUT(&bmp, bytes.data());
  }
  const bool taken = bmp.lBitCount == ZEP3_BITS_8 || bmp.lBitCount == ZEP3_BITS_16;
  const bool sized = bmp.lWidth >= 0 && bmp.lHeight >= 0 && bmp.lWidth <= INT32_MAX && bmp.lHeight <= INT32_MAX;
  if (!taken || !sized || image.MustBeRefused()) ZEP3_HOLDS(result == 0);
  const bool known = bmp.wPixelFormat <= ZEP3_PIXEL_GRAYA;
  if (result == 0 && known && !std::isnan(chroma)) ZEP3_HOLDS(CheckZEP3(ZEP3_CALL_APPLY, &bmp, nullptr, nullptr));
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
  constexpr void (*kCalls[])(Input&) = {Tables, Matrix, Pipettes, Palette, Apply, Chain};
  kCalls[input.Below(std::size(kCalls))](input);
}
