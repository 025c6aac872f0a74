// From the bytes that a fuzzer hands over to arguments: each read takes what it needs, and behind the end all is zero.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <string_view>

// A property that must hold for every input. Ends the process: a fuzzer keeps the input, a test fails.
#define ZEP3_HOLDS(condition)                                                            \
  do {                                                                                   \
    if (!(condition)) {                                                                  \
      std::fprintf(stderr, "%s:%d: %s does not hold\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                      \
    }                                                                                    \
  } while (false)

// Runs a step of the program. False when it refuses with a `Refusal`, whose message must hold `words`.
template <typename Refusal, typename Step>
bool IsTaken(Step step, std::string_view words = "") {
  try {
    step();
    return true;
  } catch (const Refusal& refusal) {
    const std::string_view message = refusal.what();
    ZEP3_HOLDS(!message.empty() && message.find(words) != std::string_view::npos);
    return false;
  }
}

class Input {
 public:
  Input(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}

  template <typename Number>
  Number Take() {
    Number number = {};
    const size_t count = std::min(sizeof number, m_size);
    if (count > 0) std::memcpy(&number, m_data, count);
    Skip(count);
    return number;
  }

  int Below(int limit) { return Take<uint8_t>() % limit; }
  bool OneIn(int count) { return Below(count) == count - 1; } // false behind the end

  double Share() { return Take<uint8_t>() / 255.0; }

  // A field of a record: an edge, something of a level's size, or any 64 bits.
  int64_t Field() {
    constexpr int64_t kEdges[] = {
        0,         1,         -1,         2,          4,         22,        18,        100,
        255,       256,       257,        2570,       4630,      11377,     54157,     62965,
        63424,     65535,     65536,      -65536,     -255,      INT32_MAX, INT32_MIN, int64_t{INT32_MAX} + 1,
        INT64_MAX, INT64_MIN, 4294967296, 4294967295, 1LL << 52, 1LL << 53, 39,        40};
    const int kind = Take<uint8_t>();
    if (kind < 96) return kEdges[kind % std::size(kEdges)];
    if (kind < 192) return Take<uint16_t>();
    if (kind < 240) return Take<int16_t>();
    return Take<int64_t>();
  }

  double Real() {
    constexpr double kInfinite = std::numeric_limits<double>::infinity();
    constexpr double kEdges[] = {0,      1,     -1,        0.5,        1e300,
                                 -0.0,   255,   kInfinite, -kInfinite, std::numeric_limits<double>::quiet_NaN(),
                                 1e-300, 5e-324};
    const int kind = Take<uint8_t>();
    if (kind < 64) return kEdges[static_cast<size_t>(kind) % std::size(kEdges)];
    if (kind < 224) return Take<int16_t>() / 4096.0;
    return Take<double>();
  }

  std::array<double, 9> Matrix() {
    std::array<double, 9> matrix = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    if (OneIn(2)) {
      for (double& m : matrix) m = Real();
    }
    return matrix;
  }

  // What is left.
  std::string_view Text() const { return {reinterpret_cast<const char*>(m_data), m_size}; }

 private:
  void Skip(size_t count) {
    m_data += count;
    m_size -= count;
  }

  const uint8_t* m_data;
  size_t m_size;
};
