// Sums of lines two columns at a time, sums of columns four channels at a time.
#include "engine/image/block_means.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <utility>

namespace {

// The sum of 257 bytes always fits 16 bits: 257 * 255 = 65535.
constexpr int64_t kBytesAtOnce = kMostLines;
// Sums kept for each pixel: four. A pixel of three bytes drags the first byte of the next one along.
constexpr int64_t kSums = 4;

// ---- lines ----

// How many lines are read in step. More lines mean fewer passes over the sums; more than 16 streams outrun the
// prefetcher of current processors.
constexpr size_t kLinesInStep = 16;

using AddLines = void (*)(const uint8_t* first, int64_t stride, int64_t bytes, uint16_t* sums);

// Which of two bytes that are read as one number is its low byte.
constexpr int kLow = std::endian::native == std::endian::little ? 0 : 1;

inline uint16_t Pair(const uint8_t* bytes) {
  uint16_t pair = 0;
  std::memcpy(&pair, bytes, sizeof pair);
  return pair;
}

// Adds the lines number kLine... to the sums, or starts the sums with them. Two bytes side by side are read as one
// 16-bit number p, so that no byte has to be widened: `both` adds up p, `high` adds up p >> 8, and the sum of the low
// bytes is both - 256 * high. An example, three lines with the bytes (1, 2), (3, 4), (255, 255), the second byte high:
// both = 513 + 1027 + 65535 = 67075, kept as 67075 - 65536 = 1539; high = 2 + 4 + 255 = 261; low = 1539 - 256 * 261
// = -65277, kept as 259 = 1 + 3 + 255. The fold expressions over the comma run both additions once for each line.
// Compilers vectorise the loop if __restrict tells them that the sums overlap no line: they do not check 16 lines at
// run time.
template <bool kStart, int... kLine>
void AddLinesInStep(const uint8_t* first, int64_t stride, int64_t bytes, uint16_t* __restrict sums) {
  for (int64_t i = 0; i < bytes / 2; i++) {
    const uint8_t* p = first + 2 * i;
    uint16_t both = 0;
    uint16_t high = 0;
    ((both = static_cast<uint16_t>(both + Pair(p + kLine * stride)),
      high = static_cast<uint16_t>(high + (Pair(p + kLine * stride) >> 8))),
     ...);
    const auto low = static_cast<uint16_t>(both - (high << 8));
    uint16_t* sum = sums + 2 * i;
    sum[kLow] = static_cast<uint16_t>((kStart ? 0 : sum[kLow]) + low);
    sum[1 - kLow] = static_cast<uint16_t>((kStart ? 0 : sum[1 - kLow]) + high);
  }
  if (bytes % 2 != 0) {
    uint16_t& sum = sums[bytes - 1];
    if (kStart) sum = 0;
    ((sum = static_cast<uint16_t>(sum + first[kLine * stride + bytes - 1])), ...);
  }
}

template <bool kStart, int... kLine>
constexpr AddLines Adder(std::integer_sequence<int, kLine...>) {
  return AddLinesInStep<kStart, kLine...>;
}

// By the number of lines.
template <bool kStart, int... kLines>
constexpr std::array<AddLines, sizeof...(kLines)> Adders(std::integer_sequence<int, kLines...>) {
  return {Adder<kStart>(std::make_integer_sequence<int, kLines>())...};
}
constexpr auto kStarters = Adders<true>(std::make_integer_sequence<int, kLinesInStep + 1>());
constexpr auto kContinuers = Adders<false>(std::make_integer_sequence<int, kLinesInStep + 1>());

} // namespace

void SumLines(const uint8_t* first, int64_t stride, int64_t lines, int64_t bytes, uint16_t* sums) {
  const auto passes = static_cast<int64_t>((static_cast<size_t>(lines) + kLinesInStep - 1) / kLinesInStep);
  for (int64_t pass = 0, done = 0; pass < passes; pass++) {
    const int64_t now = (lines - done) / (passes - pass);
    (pass == 0 ? kStarters : kContinuers)[static_cast<size_t>(now)](first + done * stride, stride, bytes, sums);
    done += now;
  }
}

namespace {

// ---- columns ----

// A pixel's four sums as the quarters of one 64-bit number. Adding such numbers adds the quarters, as long as each sum
// fits 16 bits.
inline uint64_t Quarters(const uint16_t* column) {
  uint64_t quarters = 0;
  std::memcpy(&quarters, column, sizeof quarters);
  return quarters;
}

// Narrow blocks: the column count is a template argument, so the loop unrolls.
constexpr int kFewColumns = 16;

using SumBlocks = void (*)(const uint16_t* column, int64_t blocks, uint16_t* sums);

template <int kPixel, int... kColumn>
void SumNarrowBlocks(const uint16_t* column, int64_t blocks, uint16_t* sums) {
  for (int64_t block = 0; block < blocks; block++, column += kPixel * sizeof...(kColumn), sums += kSums) {
    const uint64_t quarters = (Quarters(column + kColumn * kPixel) + ... + uint64_t{0});
    std::memcpy(sums, &quarters, sizeof quarters);
  }
}

template <int kPixel, int... kColumn>
constexpr SumBlocks Summer(std::integer_sequence<int, kColumn...>) {
  return SumNarrowBlocks<kPixel, kColumn...>;
}

// By the number of columns.
template <int kPixel, int... kColumns>
constexpr std::array<SumBlocks, sizeof...(kColumns)> Summers(std::integer_sequence<int, kColumns...>) {
  return {Summer<kPixel>(std::make_integer_sequence<int, kColumns>())...};
}
constexpr auto kOfThreeBytes = Summers<3>(std::make_integer_sequence<int, kFewColumns + 1>());
constexpr auto kOfFourBytes = Summers<4>(std::make_integer_sequence<int, kFewColumns + 1>());

} // namespace

// A mean is sum / pixels + 0.5, truncated. The exact values lie 1 / pixels apart, whole numbers among them or half that
// far away. So a quarter of 1 / pixels on top changes no result, and it keeps what a multiplication by 1 / pixels
// rounds off from doing so: in double precision less than 2^-43, which a quarter is at 2^41 pixels; in single
// precision, used up to 257 pixels, less than 2^-14 beside a quarter of 2^-10.
BlockMeans::BlockMeans(const PixelLayout& pixel, int64_t lines, int64_t columns, int64_t blocks)
    : m_bytes(pixel.samples),
      m_lines(lines),
      m_columns(columns),
      m_linesAtOnce(std::min(lines, kBytesAtOnce)),
      m_columnsAtOnce(kBytesAtOnce / m_linesAtOnce),
      m_perPixel(1.0 / (static_cast<double>(lines) * static_cast<double>(columns))),
      m_halfAndMore(0.5 + 0.25 * m_perPixel),
      m_column(static_cast<size_t>(blocks * columns * m_bytes + kSums - m_bytes)) {
  if (lines > kBytesAtOnce) m_carried.resize(static_cast<size_t>(blocks * kSums));
}

void BlockMeans::Read(const uint8_t* topLeft, int64_t stride, int64_t blocks) {
  std::fill(m_carried.begin(), m_carried.end(), 0);
  for (int64_t left = m_lines;;) {
    const int64_t lines = std::min(left, m_linesAtOnce);
    SumLines(topLeft, stride, lines, blocks * m_columns * m_bytes, m_column.data());
    left -= lines;
    if (left == 0) return;
    topLeft += lines * stride;
    Carry(blocks);
  }
}

void BlockMeans::Start() {
  std::fill(m_carried.begin(), m_carried.end(), 0);
  m_linesAdded = 0;
}

void BlockMeans::Add(const uint16_t* sums, int64_t lines, int64_t blocks) {
  const int64_t size = blocks * m_columns * m_bytes;
  if (m_linesAdded + lines > m_linesAtOnce) {
    Carry(blocks);
    m_linesAdded = 0;
  }
  uint16_t* const column = m_column.data();
  if (m_linesAdded == 0) {
    std::copy_n(sums, size, column);
  } else {
    for (int64_t i = 0; i < size; i++) column[i] = static_cast<uint16_t>(column[i] + sums[i]);
  }
  m_linesAdded += lines;
}

void BlockMeans::Carry(int64_t blocks) {
  for (int64_t block = 0; block < blocks; block++) SumColumns(block, &m_carried[static_cast<size_t>(block * kSums)]);
}

void BlockMeans::SumColumns(int64_t block, uint64_t* sums) const {
  const uint16_t* column = &m_column[static_cast<size_t>(block * m_columns * m_bytes)];
  for (int64_t left = m_columns; left > 0; left -= m_columnsAtOnce) {
    uint64_t quarters = 0;
    for (int64_t x = 0; x < m_columnsAtOnce && x < left; x++, column += m_bytes) quarters += Quarters(column);
    uint16_t some[kSums];
    std::memcpy(some, &quarters, sizeof some);
    for (int64_t i = 0; i < kSums; i++) sums[i] += some[i];
  }
}

void BlockMeans::Sums(int64_t block, uint64_t* sums) const {
  std::fill_n(sums, kSums, 0);
  if (!m_carried.empty()) std::copy_n(&m_carried[static_cast<size_t>(block * kSums)], kSums, sums);
  SumColumns(block, sums);
}

void BlockMeans::Means(int64_t first, int64_t blocks, uint8_t* means) const {
  const int64_t values = blocks * kSums;
  if (m_columns <= kFewColumns && m_lines * m_columns <= kBytesAtOnce) {
    uint16_t sums[kMostMeans * kSums];
    const auto& summers = m_bytes == 3 ? kOfThreeBytes : kOfFourBytes;
    const uint16_t* column = &m_column[static_cast<size_t>(first * m_columns * m_bytes)];
    summers[static_cast<size_t>(m_columns)](column, blocks, sums);
    const auto perPixel = static_cast<float>(m_perPixel);
    const auto half = static_cast<float>(m_halfAndMore);
    for (int64_t i = 0; i < values; i++) {
      means[i] = static_cast<uint8_t>(static_cast<int32_t>(static_cast<float>(sums[i]) * perPixel + half));
    }
    return;
  }
  for (int64_t i = 0; i < values; i += kSums) {
    uint64_t sums[kSums];
    Sums(first + i / kSums, sums);
    for (int64_t c = 0; c < kSums; c++) {
      const auto sum = static_cast<double>(static_cast<int64_t>(sums[c]));
      means[i + c] = static_cast<uint8_t>(static_cast<int32_t>(sum * m_perPixel + m_halfAndMore));
    }
  }
}
