// Bounds on pixels and memory, and libvips' loaders that are closed.
#include "opening/admission.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <fstream>

#include <vips/vips8>

#include "failure.h"

namespace {

// A text for ParseAmount() of three digits or more, rounded up so that it suffices.
std::string InUnits(int64_t amount, int64_t kilo) {
  if (amount < 1000 * kilo) return std::to_string(amount);
  const bool millions = amount >= 1000 * kilo * kilo;
  const int64_t unit = millions ? kilo * kilo : kilo;
  return std::to_string((amount + unit - 1) / unit) + (millions ? "M" : "K");
}

constexpr int64_t kMebi = 1 << 20;

// Memory of the program beside the decoder: pages that are held (192 MB), lines on their way, libraries. Each thread
// adds its stack and heap.
constexpr int64_t kOwnMemory = 640 * kMebi;
constexpr int64_t kThreadMemory = 32 * kMebi;

// Bytes that the process may write to and has asked for; what RLIMIT_DATA counts. -1 where that is not to be had.
int64_t DataBytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmData:")) return std::stoll(line.substr(7)) * 1024;
  }
  return -1;
}

} // namespace

bool Admission::AlsoReads(std::string_view format) const {
  return std::any_of(alsoRead.begin(), alsoRead.end(), [&](const Format* each) { return each->name == format; });
}

void CheckPixels(const Admission& admission, int64_t width, int64_t height) {
  constexpr int64_t kEndless = INT64_MAX / 2;
  const int64_t pixels = height > 0 && width > kEndless / height ? kEndless : width * height;
  if (pixels <= admission.maxPixels) return;
  throw Failure("has " + std::to_string(width) + " x " + std::to_string(height) + " pixels, more than --max-pixels " +
                InUnits(admission.maxPixels, 1000) + " allows; --max-pixels " + InUnits(pixels, 1000) + " opens it");
}

void CheckMemory(const Admission& admission, const std::string& what, int64_t bytes) {
  if (bytes <= admission.maxMemory) return;
  throw Failure("is " + what + ", to decode which takes " + InUnits(bytes, 1024) +
                " of memory, more than --max-memory " + InUnits(admission.maxMemory, 1024) + " allows; --max-memory " +
                InUnits(bytes, 1024) + " opens it");
}

void BlockOtherLoaders(const Admission& admission) {
  vips_block_untrusted_set(TRUE);
  vips_operation_block_set("VipsForeignLoad", TRUE);
  const auto open = [](const Format& format) {
    vips_operation_block_set(std::string(format.loaderClass).c_str(), FALSE);
  };
  for (const Format& format : Formats()) open(format);
  for (const Format* format : admission.alsoRead) open(*format);
}

MemoryBound::MemoryBound(const Admission& admission) {
  ::getrlimit(RLIMIT_DATA, &m_before);
  const int64_t now = DataBytes();
  const int64_t most = now + admission.maxMemory + kOwnMemory + kThreadMemory * vips_concurrency_get();
  rlimit bound = m_before;
  bound.rlim_cur = std::min(bound.rlim_cur, static_cast<rlim_t>(most));
  if (now >= 0) ::setrlimit(RLIMIT_DATA, &bound);
}

MemoryBound::~MemoryBound() { ::setrlimit(RLIMIT_DATA, &m_before); }

int64_t ParseAmount(const std::string& text, int64_t kilo) {
  int64_t amount = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, amount);
  int64_t unit = 1;
  constexpr std::string_view kUnits = "KMG";
  const size_t power = rest + 1 == end ? kUnits.find(*rest) : std::string_view::npos;
  for (size_t i = 0; power != std::string_view::npos && i <= power; i++) unit *= kilo;
  const bool whole = rest == end || power != std::string_view::npos;
  // Far beyond what any machine holds, and safe to be multiplied.
  if (error != std::errc() || !whole || amount <= 0 || amount > INT64_MAX / 1024 / unit) {
    throw UsageError("'" + text + "': expected a number with K, M or G behind it, such as 4000M");
  }
  return amount * unit;
}
