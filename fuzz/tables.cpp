// MakeZEP3LUT, MakeZEP3LUTEx, MakeZEP3LUTAt and MakeZEP3LUT16 on any record, and what holds between them.
#include <cmath>

#include "records.h"
#include "target.h"

namespace {

constexpr size_t kLevels16 = 65536;

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

} // namespace

void RunTarget(Input input) {
  const HostileRecord given(input);
  std::array<double, 9> matrix = input.Matrix();
  double* coefficients = input.OneIn(3) ? nullptr : matrix.data();
  const bool deep = input.OneIn(32); // three times 65536 entries take their time

  // Every byte is written, and nothing else is.
  const auto table = std::make_unique<uint8_t[]>(768), second = std::make_unique<uint8_t[]>(768);
  std::fill_n(table.get(), 768, uint8_t{0xAA});
  std::fill_n(second.get(), 768, uint8_t{0x55});
  HostileRecord record = given;
  ZEP3_HOLDS(MakeZEP3LUTEx(&record.para, coefficients, table.get()) == 1);
  CheckWhatIsWritten(given, record);
  HostileRecord again = given;
  ZEP3_HOLDS(MakeZEP3LUTEx(&again.para, coefficients, second.get()) == 1 && again == record);
  ZEP3_HOLDS(std::equal(table.get(), table.get() + 768, second.get()));
  if (coefficients == nullptr) {
    again = given;
    ZEP3_HOLDS(MakeZEP3LUT(&again.para, second.get()) == 1 && again == record);
    ZEP3_HOLDS(std::equal(table.get(), table.get() + 768, second.get()));
  }

  double levels[256 + 8];
  for (int i = 0; i < 256; i++) levels[i] = i;
  for (int i = 256; i < 264; i++) levels[i] = input.Real();
  const auto display = std::make_unique<double[]>(3 * 264);
  again = given;
  ZEP3_HOLDS(MakeZEP3LUTAt(&again.para, coefficients, levels, 264, display.get()) == 1 && again == record);
  for (size_t c = 0; c < 3; c++) {
    for (size_t i = 0; i < 256; i++) {
      const double d = display[264 * c + i];
      const uint8_t byte = table[256 * c + i];
      if (std::isnan(d)) ZEP3_HOLDS(byte == 0);
      if (d >= 0 && d <= 255) ZEP3_HOLDS(IsRounded(d, 1, byte));
    }
  }

  if (deep) {
    const auto deepTable = std::make_unique<uint16_t[]>(3 * kLevels16);
    again = given;
    ZEP3_HOLDS(MakeZEP3LUT16(&again.para, coefficients, deepTable.get()) == 1 && again == record);
    for (size_t c = 0; c < 3; c++) {
      for (size_t i = 0; i < 256; i++) {
        const double d = display[264 * c + i];
        const uint16_t entry = deepTable[kLevels16 * c + 257 * i];
        // Held within 0..65535; beyond 32 bits as what is not a number.
        if (!(std::abs(d * 257) < INT32_MAX)) {
          ZEP3_HOLDS(entry == 0);
        } else {
          ZEP3_HOLDS(IsRounded(std::fmin(255, std::fmax(0, d)), 257, entry));
        }
      }
    }
  }

  // With a null nothing is written.
  again = given;
  ZEP3_HOLDS(MakeZEP3LUTEx(nullptr, coefficients, second.get()) == 0 &&
             MakeZEP3LUTEx(&again.para, coefficients, nullptr) == 0 && MakeZEP3LUT(&again.para, nullptr) == 0 &&
             MakeZEP3LUT16(&again.para, coefficients, nullptr) == 0 &&
             MakeZEP3LUTAt(&again.para, coefficients, nullptr, 1, display.get()) == 0 &&
             MakeZEP3LUTAt(&again.para, coefficients, levels, -1 - input.Below(9), display.get()) == 0 &&
             again == given);
}
