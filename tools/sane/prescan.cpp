#include "prescan.h"

#include <sane/saneopts.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <initializer_list>
#include <string_view>
#include <utility>
#include <vector>

namespace {

constexpr double kLongerSide = 1250; // pixels of the engine's pre-scan

bool HoldsAny(std::string text, std::initializer_list<std::string_view> parts) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return std::any_of(parts.begin(), parts.end(),
                     [&](std::string_view part) { return text.find(part) != std::string::npos; });
}

// The lowest value of an option that is not below `least`, as the scanner takes it. Nothing where it is not below
// `present`.
std::optional<double> LowestFrom(const SANE_Option_Descriptor& option, double least, double present) {
  const double scale = option.type == SANE_TYPE_FIXED ? 1 << SANE_FIXED_SCALE_SHIFT : 1;
  double lowest = present;
  if (option.constraint_type == SANE_CONSTRAINT_WORD_LIST) {
    for (SANE_Word i = 1; i <= option.constraint.word_list[0]; i++) {
      const double value = option.constraint.word_list[i] / scale;
      if (value >= least) lowest = std::min(lowest, value);
    }
  } else if (option.constraint_type == SANE_CONSTRAINT_RANGE) {
    const SANE_Range& range = *option.constraint.range;
    const double quant = range.quant > 0 ? range.quant / scale : 1 / scale;
    const double low = range.min / scale;
    lowest = least <= low ? low : low + std::ceil((least - low) / quant) * quant;
  } else {
    lowest = std::ceil(least);
  }
  if (lowest >= present) return std::nullopt;
  return lowest;
}

// Puts options back to what they were. Some scanners move others along with the resolution.
class KeptOptions {
 public:
  explicit KeptOptions(Device& device) : m_device(device) {
    for (const char* name : {SANE_NAME_SCAN_RESOLUTION, SANE_NAME_SCAN_X_RESOLUTION, SANE_NAME_SCAN_Y_RESOLUTION,
                             SANE_NAME_SCAN_TL_X, SANE_NAME_SCAN_TL_Y, SANE_NAME_SCAN_BR_X, SANE_NAME_SCAN_BR_Y}) {
      if (const SANE_Int option = device.Settable(name)) m_kept.emplace_back(option, device.Bytes(option));
    }
  }
  void PutBack() {
    for (const auto& [option, bytes] : m_kept) {
      if (m_device.Bytes(option) != bytes) m_device.SetBytes(option, bytes);
    }
  }

 private:
  Device& m_device;
  std::vector<std::pair<SANE_Int, std::vector<unsigned char>>> m_kept;
};

} // namespace

bool IsFeeder(const Device& device) {
  return HoldsAny(device.Text(SANE_NAME_SCAN_SOURCE).value_or(""), {"feeder", "adf", "duplex"});
}

bool LooksTwice(const Device& device) {
  if (IsFeeder(device)) return false;
  if (const std::optional<std::string> source = device.Text(SANE_NAME_SCAN_SOURCE)) {
    return HoldsAny(*source,
                    {"flatbed", "platen", "glass", "transparen", "tpu", "film", "negative", "positive", "slide"});
  }
  return HoldsAny(device.Type(), {"flatbed", "film", "virtual"});
}

bool TakeLowPage(Device& device, ScannedPage& page, const std::function<bool()>& stops) {
  SANE_Parameters whole = {};
  const std::optional<double> present = device.Number(SANE_NAME_SCAN_RESOLUTION);
  const SANE_Int resolution = device.Settable(SANE_NAME_SCAN_RESOLUTION);
  if (!present || resolution == 0 || device.Sane().getParameters(device.Handle(), &whole) != SANE_STATUS_GOOD)
    return false;
  const double longer = std::max(whole.pixels_per_line, whole.lines);
  if (longer <= kLongerSide || whole.lines < 1) return false;
  const std::optional<double> low =
      LowestFrom(*device.Descriptor(resolution), *present * kLongerSide / longer, *present);
  if (!low) return false;
  KeptOptions kept(device);
  try {
    device.SetNumber(SANE_NAME_SCAN_RESOLUTION, *low);
    for (const char* name : {SANE_NAME_SCAN_X_RESOLUTION, SANE_NAME_SCAN_Y_RESOLUTION}) {
      if (device.Settable(name) != 0) device.SetNumber(name, *low);
    }
    ReadPage(device, page, nullptr, stops);
  } catch (...) {
    device.Cancel();
    kept.PutBack();
    throw;
  }
  device.Cancel();
  kept.PutBack();
  return true;
}
