// The head of a PNM file, and a reader that turns its text into binary.
#include "opening/pnm.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>

#include "failure.h"

namespace {

// On each side, as libvips.
constexpr int64_t kLongestSide = 10'000'000;

// The next number of a head; false when there is none.
bool ReadNumber(std::istream& file, int64_t& number) {
  while ((file >> std::ws).peek() == '#') file.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
  return file && std::isdigit(file.peek()) && file >> number;
}

int64_t PixelBytes(const PnmHead& head) {
  return head.kind == '4' ? (head.width + 7) / 8 * head.height : head.Values() * (head.IsDeep() ? 2 : 1);
}

class PnmText : public ByteStream {
 public:
  PnmText(const std::string& path, const PnmHead& head) : m_head(head), m_file(std::fopen(path.c_str(), "rbe")) {
    if (m_file == nullptr || std::fseek(m_file.get(), static_cast<long>(head.begin), SEEK_SET) != 0) {
      throw Failure("cannot be opened", Cause::kUnreadable);
    }
    m_ready = head.kind == '3' ? "P6\n" : "P5\n";
    m_ready += std::to_string(head.width) + " " + std::to_string(head.height) + "\n";
    m_ready += std::to_string(head.kind == '1' ? 255 : head.largest) + "\n";
  }

  int64_t Read(uint8_t* to, int64_t size) override {
    if (m_taken == m_ready.size()) Prepare();
    const size_t count = std::min(m_ready.size() - m_taken, static_cast<size_t>(size));
    std::copy_n(m_ready.begin() + static_cast<std::ptrdiff_t>(m_taken), count, to);
    m_taken += count;
    return static_cast<int64_t>(count);
  }

  // How many values there are, up to those that there should be.
  int64_t Count() {
    while (m_done < m_head.Values() && Next() >= 0) m_done++;
    return m_done;
  }

  [[noreturn]] void FailAtEnd() const {
    throw Failure("ends after " + std::to_string(m_done) + " of " + std::to_string(m_head.Values()) + " values",
                  Cause::kUnreadable);
  }

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  int Get() {
    if (m_at == m_have) {
      m_have = std::fread(m_text, 1, sizeof m_text, m_file.get());
      m_at = 0;
      if (m_have == 0) return EOF;
    }
    return static_cast<unsigned char>(m_text[m_at++]);
  }

  // The next value, held within what 16 bits hold; -1 at the end.
  int Next() {
    int c = Get();
    while (c == '#' || std::isspace(c)) {
      if (c == '#') {
        while (c != '\n' && c != EOF) c = Get();
      } else {
        c = Get();
      }
    }
    if (c == EOF) return -1;
    int value = 0;
    do {
      if (!std::isdigit(c))
        throw Failure("has no number where value " + std::to_string(m_done + 1) + " should be", Cause::kUnreadable);
      value = std::min(10 * value + c - '0', 65535);
      if (m_head.kind == '1') return value; // digits need nothing between them
      c = Get();
    } while (c != EOF && c != '#' && !std::isspace(c));
    if (c == '#') m_at--;
    return value;
  }

  // The next lot of binary values.
  void Prepare() {
    m_ready.clear();
    m_taken = 0;
    constexpr int64_t kLot = 1 << 15;
    for (int64_t left = std::min(kLot, m_head.Values() - m_done); left > 0; left--) {
      int value = Next();
      if (value < 0) FailAtEnd();
      if (m_head.kind == '1') value = value == 0 ? 255 : 0;
      if (m_head.IsDeep()) m_ready += static_cast<char>(value >> 8);
      m_ready += static_cast<char>(m_head.IsDeep() ? value & 255 : std::min(value, 255));
      m_done++;
    }
  }

  PnmHead m_head;
  std::unique_ptr<std::FILE, Close> m_file;
  char m_text[1 << 16];
  size_t m_at = 0, m_have = 0;
  std::string m_ready; // binary
  size_t m_taken = 0;  // of it
  int64_t m_done = 0;  // values
};

} // namespace

PnmHead ReadPnmHead(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  PnmHead head;
  file.ignore(1).get(head.kind);
  bool good = ReadNumber(file, head.width) && ReadNumber(file, head.height);
  if (head.kind != '1' && head.kind != '4') good = good && ReadNumber(file, head.largest) && head.largest > 0;
  good = good && std::isspace(file.get());
  head.begin = file.tellg();
  if (good && (head.width == 0 || head.height == 0)) throw Failure("has no pixels", Cause::kUnreadable);
  if (good && head.largest > 65535) {
    throw Failure("has values to " + std::to_string(head.largest) + "; the correction is for 8 or 16 bits");
  }
  if (!good || head.width > kLongestSide || head.height > kLongestSide) {
    throw Failure("has a damaged head: width, height and largest value cannot be read", Cause::kUnreadable);
  }
  return head;
}

void CheckPnmLength(const std::string& path, const PnmHead& head) {
  const auto size = static_cast<int64_t>(std::filesystem::file_size(path));
  const int64_t bytes = PixelBytes(head);
  if (!head.IsText()) {
    if (size - head.begin >= bytes) return;
    throw Failure(
        "ends after " + std::to_string(size - head.begin) + " of " + std::to_string(bytes) + " bytes of pixels",
        Cause::kUnreadable);
  }
  // A digit a value, and all but those of bitmaps something between.
  const int64_t least = head.kind == '1' ? head.Values() : 2 * head.Values() - 1;
  if (size - head.begin >= least) return;
  PnmText text(path, head);
  text.Count();
  text.FailAtEnd();
}

std::unique_ptr<ByteStream> OpenPnmText(const std::string& path, const PnmHead& head) {
  return std::make_unique<PnmText>(path, head);
}
