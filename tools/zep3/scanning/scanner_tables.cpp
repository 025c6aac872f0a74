#include "scanning/scanner_tables.h"

#include <sane/saneopts.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "page/tables.h"

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
