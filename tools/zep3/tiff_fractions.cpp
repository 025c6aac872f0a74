#include "tiff_fractions.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <map>
#include <span>

#include "failure.h"

namespace {

constexpr uint64_t kRational = 5;
constexpr uint64_t kSignedRational = 10;
constexpr uint64_t kEntriesMost = 4096; // of a directory; real ones have some dozens
constexpr uint64_t kValuesMost = 65536; // of a tag

// Where a tag's fractions lie in the file.
struct Fractions {
  uint64_t count = 0;
  uint64_t offset = 0;
};

// A TIFF file by its bytes: classic or BigTIFF, either byte order.
class RawTiff {
 public:
  RawTiff(const std::string& path, std::ios::openmode mode) : m_file(path, mode | std::ios::binary) {
    std::array<uint8_t, 4> head = {};
    Read(0, head);
    m_bigEndian = head[0] == 'M';
    m_big = (m_bigEndian ? head[3] : head[2]) == 43;
  }

  // By tag.
  std::map<uint64_t, Fractions> Find(uint64_t directory) {
    std::map<uint64_t, Fractions> found;
    const uint64_t countSize = m_big ? 8 : 2;
    const uint64_t entrySize = m_big ? 20 : 12;
    const uint64_t entries = std::min(Number(directory, countSize), kEntriesMost);
    for (uint64_t i = 0; i < entries && m_file; i++) {
      const uint64_t entry = directory + countSize + i * entrySize;
      const uint64_t type = Number(entry + 2, 2);
      const uint64_t count = Number(entry + 4, m_big ? 8 : 4);
      if ((type != kRational && type != kSignedRational) || count == 0 || count > kValuesMost) continue;
      // One fraction has eight bytes: in a BigTIFF it lies in the entry itself.
      const uint64_t place = entry + (m_big ? 12 : 8);
      found[Number(entry, 2)] = {count, m_big && count == 1 ? place : Number(place, m_big ? 8 : 4)};
    }
    return found;
  }

  // Numerators and denominators in turn, in memory's order.
  std::vector<uint32_t> ReadNumbers(const Fractions& fractions) {
    std::vector<uint32_t> numbers;
    for (uint64_t i = 0; i < 2 * fractions.count && m_file; i++) {
      numbers.push_back(static_cast<uint32_t>(Number(fractions.offset + 4 * i, 4)));
    }
    return numbers;
  }

  void WriteNumbers(const Fractions& fractions, const std::vector<uint32_t>& numbers) {
    m_file.seekp(static_cast<std::streamoff>(fractions.offset));
    for (const uint32_t number : numbers) {
      for (int i = 0; i < 4; i++) m_file.put(static_cast<char>(number >> 8 * (m_bigEndian ? 3 - i : i)));
    }
  }

  bool Good() const { return m_file.good(); }
  bool Flush() { return m_file.flush().good(); }
  void Forget() { m_file.clear(); }

 private:
  bool Read(uint64_t offset, std::span<uint8_t> bytes) {
    m_file.seekg(static_cast<std::streamoff>(offset));
    return static_cast<bool>(
        m_file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size())));
  }

  // 0 where the file ends before.
  uint64_t Number(uint64_t offset, uint64_t size) {
    std::array<uint8_t, 8> bytes = {};
    if (!Read(offset, std::span(bytes).first(size))) return 0;
    uint64_t number = 0;
    for (uint64_t i = 0; i < size; i++) number |= uint64_t{bytes[m_bigEndian ? size - 1 - i : i]} << 8 * i;
    return number;
  }

  std::fstream m_file;
  bool m_bigEndian = false;
  bool m_big = false;
};

} // namespace

void CopyFractions(const std::string& source, const std::string& target,
                   const std::vector<std::pair<uint64_t, uint64_t>>& directories) {
  RawTiff from(source, std::ios::in);
  RawTiff to(target, std::ios::in | std::ios::out);
  for (const auto& [fromDirectory, toDirectory] : directories) {
    const auto sources = from.Find(fromDirectory);
    for (const auto& [tag, place] : to.Find(toDirectory)) {
      const auto found = sources.find(tag);
      if (found == sources.end() || found->second.count != place.count) continue;
      const std::vector<uint32_t> numbers = from.ReadNumbers(found->second);
      if (from.Good()) to.WriteNumbers(place, numbers);
    }
    from.Forget(); // a directory that ends early does not keep the next one from being read
  }
  if (!to.Flush()) throw Failure("TIFF file " + target + " cannot be written");
}
