// The compressor marks the last block and does not say where that begins, nor at which bit of the last byte it ends. So
// the codes are walked through. Of each only the length matters: nothing is unpacked.
#include "saving/deflate_join.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <vector>

#include <glib.h>

namespace {

using Lengths = std::vector<uint8_t>; // of codes, in bits, by symbol; 0: has none

[[noreturn]] void FailDamaged() { throw std::runtime_error("deflated data are damaged"); }

// What a table of codes has for the next bits: how many belong to the symbol, and a flag.
constexpr uint8_t kBits = 0x1F, kMatch = 0x20, kEnd = 0x40;

bool IsLiteral(uint8_t entry) { return entry != 0 && entry <= kBits; }

// Bits are counted from the lowest of the first byte. Behind the end are eight bytes more.
class Bits {
 public:
  explicit Bits(const std::string& padded) : m_bytes(padded.data()), m_end(8 * (padded.size() - sizeof(uint64_t))) {}

  uint64_t Position() const { return m_position; }
  void Skip(uint64_t bits) {
    m_position += bits;
    if (m_position > m_end) FailDamaged();
  }
  // At least 57 are the stream's.
  uint64_t Next() const {
    uint64_t bits = 0;
    std::memcpy(&bits, m_bytes + m_position / 8, sizeof bits);
    return GUINT64_FROM_LE(bits) >> m_position % 8;
  }
  uint32_t Take(int count) {
    const auto value = static_cast<uint32_t>(Next() & ((uint64_t{1} << count) - 1));
    Skip(static_cast<uint64_t>(count));
    return value;
  }
  void SkipToByte() { Skip((8 - m_position % 8) % 8); }

 private:
  const char* m_bytes;
  uint64_t m_end, m_position = 0;
};

// Prefix codes, looked up by as many bits as the longest has.
template <typename Entry>
class Codes {
 public:
  // entryOf(symbol, bits of its code) is what the table shall hold; 0 is for codes that there are not.
  template <typename EntryOf>
  Codes(const Lengths& lengths, EntryOf entryOf) {
    std::array<unsigned, 16> count = {}, next = {};
    for (const uint8_t length : lengths) count[length] += length > 0;
    for (size_t length = 1; length < next.size(); length++) next[length] = (next[length - 1] + count[length - 1]) << 1;
    while (m_most > 1 && count[m_most] == 0) m_most--;
    m_entries.assign(size_t{1} << m_most, Entry{0});
    for (size_t symbol = 0; symbol < lengths.size(); symbol++) {
      const unsigned length = lengths[symbol];
      if (length == 0) continue;
      const size_t code = Reversed(next[length]++, length);
      for (size_t at = code; at < m_entries.size(); at += size_t{1} << length) m_entries[at] = entryOf(symbol, length);
    }
  }
  Entry operator[](uint64_t bits) const { return m_entries[bits & (m_entries.size() - 1)]; }

 private:
  static size_t Reversed(unsigned code, unsigned length) {
    size_t reversed = 0;
    for (; length > 0; length--, code >>= 1) reversed = reversed << 1 | (code & 1);
    return reversed;
  }

  size_t m_most = 15;
  std::vector<Entry> m_entries;
};

// Extra bits of lengths (symbols from 257) and of distances.
unsigned ExtraOfLength(size_t symbol) {
  return symbol < 265 || symbol >= 285 ? 0 : static_cast<unsigned>(symbol - 261) / 4;
}
unsigned ExtraOfDistance(size_t symbol) { return symbol < 4 ? 0 : static_cast<unsigned>(symbol - 2) / 2; }

constexpr size_t kEndOfBlock = 256;

// Of literals and lengths.
Codes<uint8_t> SymbolCodes(const Lengths& lengths) {
  return {lengths, [](size_t symbol, unsigned bits) {
            const unsigned flag = symbol < kEndOfBlock ? 0 : symbol == kEndOfBlock ? kEnd : kMatch;
            return static_cast<uint8_t>((bits + ExtraOfLength(symbol)) | flag);
          }};
}

Codes<uint8_t> DistanceCodes(const Lengths& lengths) {
  return {lengths, [](size_t symbol, unsigned bits) { return static_cast<uint8_t>(bits + ExtraOfDistance(symbol)); }};
}

// The lengths of the codes of literals, lengths and distances, as a block begins with them.
void ReadLengths(Bits& bits, Lengths& symbols, Lengths& distances) {
  const size_t symbolCount = bits.Take(5) + 257, distanceCount = bits.Take(5) + 1, lengthCount = bits.Take(4) + 4;
  constexpr uint8_t kOrder[] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};
  Lengths ofLengths(std::size(kOrder));
  for (size_t i = 0; i < lengthCount; i++) ofLengths[kOrder[i]] = static_cast<uint8_t>(bits.Take(3));
  const Codes<uint16_t> codes(
      ofLengths, [](size_t symbol, unsigned length) { return static_cast<uint16_t>(symbol << 4 | length); });
  Lengths all;
  while (all.size() < symbolCount + distanceCount) {
    const uint16_t entry = codes[bits.Next()];
    if (entry == 0) FailDamaged();
    bits.Skip(entry & 0xF);
    const auto symbol = static_cast<uint8_t>(entry >> 4);
    if (symbol == 16 && all.empty()) FailDamaged();
    if (symbol < 16) all.push_back(symbol);
    if (symbol == 16) all.insert(all.end(), 3 + bits.Take(2), uint8_t{all.back()});
    if (symbol == 17) all.insert(all.end(), 3 + bits.Take(3), uint8_t{0});
    if (symbol == 18) all.insert(all.end(), 11 + bits.Take(7), uint8_t{0});
  }
  const auto middle = all.begin() + static_cast<std::ptrdiff_t>(symbolCount);
  symbols.assign(all.begin(), middle);
  distances.assign(middle, middle + static_cast<std::ptrdiff_t>(distanceCount));
}

void SkipSymbols(Bits& bits, const Codes<uint8_t>& symbols, const Codes<uint8_t>& distances) {
  for (;;) {
    uint64_t next = bits.Next();
    unsigned used = 0;
    uint8_t entry = symbols[next];
    // Two literals and what follows them have at most 50 bits.
    for (int left = 2; left > 0 && IsLiteral(entry); left--) {
      used += entry;
      next >>= entry;
      entry = symbols[next];
    }
    if (entry == 0) FailDamaged();
    bits.Skip(used + (entry & kBits));
    if ((entry & kEnd) != 0) return;
    if ((entry & kMatch) == 0) continue;
    const uint8_t distance = distances[bits.Next()];
    if (distance == 0) FailDamaged();
    bits.Skip(distance);
  }
}

void SkipStored(Bits& bits) {
  bits.SkipToByte();
  const uint32_t size = bits.Take(16);
  if ((bits.Take(16) ^ size) != 0xFFFF) FailDamaged();
  bits.Skip(uint64_t{8} * size);
}

void SkipFixed(Bits& bits) {
  Lengths symbols(288, 8);
  std::fill(symbols.begin() + 144, symbols.begin() + 256, uint8_t{9});
  std::fill(symbols.begin() + 256, symbols.begin() + 280, uint8_t{7});
  SkipSymbols(bits, SymbolCodes(symbols), DistanceCodes(Lengths(30, 5)));
}

void SkipDynamic(Bits& bits) {
  Lengths symbols, distances;
  ReadLengths(bits, symbols, distances);
  SkipSymbols(bits, SymbolCodes(symbols), DistanceCodes(distances));
}

// Bits from the beginning.
struct Places {
  uint64_t lastBlock, end;
};

Places FindPlaces(const std::string& padded) {
  Bits bits(padded);
  for (;;) {
    const uint64_t begin = bits.Position();
    const bool last = bits.Take(1) != 0;
    const uint32_t kind = bits.Take(2);
    if (kind == 0) SkipStored(bits);
    if (kind == 1) SkipFixed(bits);
    if (kind == 2) SkipDynamic(bits);
    if (kind == 3) FailDamaged();
    if (last) return {begin, bits.Position()};
  }
}

} // namespace

void LeaveOpen(std::string& deflated) {
  deflated.append(sizeof(uint64_t), '\0');
  const Places places = FindPlaces(deflated);
  const auto byteOf = [&](uint64_t bit) -> char& { return deflated[static_cast<size_t>(bit / 8)]; };
  byteOf(places.lastBlock) = static_cast<char>(byteOf(places.lastBlock) & ~(1 << places.lastBlock % 8));
  byteOf(places.end) = static_cast<char>(byteOf(places.end) & ((1 << places.end % 8) - 1));
  // A stored block of no bytes: three bits of 0, and 0 up to the next byte.
  deflated.resize(static_cast<size_t>((places.end + 3 + 7) / 8), '\0');
  deflated.append("\0\0\xFF\xFF", 4);
}
