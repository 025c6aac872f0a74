#include "scanning/scanner_tables.h"

#include <sane/saneopts.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <vector>

namespace {

constexpr const char* kTableNames[] = {SANE_NAME_GAMMA_VECTOR_R, SANE_NAME_GAMMA_VECTOR_G, SANE_NAME_GAMMA_VECTOR_B};
constexpr size_t kMostEntries = 65536;

// Entries of the table, or 0 where the option takes no such.
size_t EntriesOf(const Device& device, const char* name) {
  const SANE_Int number = device.Settable(name);
  if (number == 0) return 0;
  const SANE_Option_Descriptor& option = *device.Descriptor(number);
  const bool numbers = option.type == SANE_TYPE_INT || option.type == SANE_TYPE_FIXED;
  if (!numbers || option.constraint_type != SANE_CONSTRAINT_RANGE) return 0;
  const size_t entries = static_cast<size_t>(option.size) / sizeof(SANE_Word);
  return entries >= 2 && entries <= kMostEntries && option.constraint.range->max > option.constraint.range->min
             ? entries
             : 0;
}

// Means of the parts of a page, so many each way, red, green, blue; through tables or as they are.
constexpr int64_t kParts = 16;
using PartMeans = std::array<double, kParts * kParts * 3>;

PartMeans MeansOf(const ScannedPage& page, const Tables* tables) {
  PartMeans sums = {}, counts = {};
  for (int64_t y = 0; y < page.lines; y++) {
    const uint8_t* sample = page.Line(y);
    for (int64_t x = 0; x < page.width; x++) {
      const int64_t part = y * kParts / page.lines * kParts + x * kParts / page.width;
      for (size_t c = 0; c < 3; c++, sample++) {
        const size_t at = static_cast<size_t>(part) * 3 + c;
        sums[at] += tables == nullptr ? *sample : ToByte((*tables)[c][*sample]);
        counts[at]++;
      }
    }
  }
  for (size_t i = 0; i < sums.size(); i++) sums[i] /= std::max(counts[i], 1.0);
  return sums;
}

double Distance(const PartMeans& a, const PartMeans& b) {
  double sum = 0;
  for (size_t i = 0; i < a.size(); i++) sum += std::abs(a[i] - b[i]);
  return sum / static_cast<double>(a.size());
}

} // namespace

bool OpenTables(Device& device) {
  if (device.Settable(SANE_NAME_CUSTOM_GAMMA) != 0) device.SetText(SANE_NAME_CUSTOM_GAMMA, "yes");
  const bool takes = std::all_of(std::begin(kTableNames), std::end(kTableNames),
                                 [&](const char* name) { return EntriesOf(device, name) > 0; });
  if (!takes) CloseTables(device);
  return takes;
}

void LoadTables(Device& device, const Correction& correction) {
  for (size_t c = 0; c < std::size(kTableNames); c++) {
    const size_t entries = EntriesOf(device, kTableNames[c]);
    if (entries == 0) device.Refuse(std::string(kTableNames[c]) + ": is no table any more");
    const std::vector<uint16_t> table = MakeTables(correction, entries)[c];
    const SANE_Int number = device.Settable(kTableNames[c]);
    const SANE_Range& range = *device.Descriptor(number)->constraint.range;
    const double step = static_cast<double>(int64_t{range.max} - range.min) / 65535;
    std::vector<SANE_Word> words;
    for (const uint16_t value : table) words.push_back(static_cast<SANE_Word>(range.min + std::llround(value * step)));
    device.SetWords(number, std::move(words));
  }
}

void CloseTables(Device& device) {
  if (device.Settable(SANE_NAME_CUSTOM_GAMMA) != 0) device.SetText(SANE_NAME_CUSTOM_GAMMA, "no");
}

bool IsThroughTables(const ScannedPage& scan, const ScannedPage& prescan, const Tables& tables) {
  constexpr double kNoise = 3;    // levels, between two scans of one thing
  constexpr double kShare = 0.25; // of what the tables change: fine detail that a pre-scan has lost goes another way
  const PartMeans is = MeansOf(scan, nullptr), before = MeansOf(prescan, nullptr);
  return Distance(is, MeansOf(prescan, &tables)) <= std::max(kNoise, kShare * Distance(is, before));
}
