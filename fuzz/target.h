// A fuzz target is one function. libFuzzer calls it (fuzzer.cpp), and so does the replay of the corpus in ordinary
// builds (replay.cpp).
#pragma once

#include <cmath>

#include "input.h"

void RunTarget(Input input);

// A number for all that the library gave back: builds that differ in compiler or flags must come to the same.
inline uint64_t g_digest = 0xCBF29CE484222325;

template <typename Number>
void Keep(const Number* first, size_t count) {
  for (size_t i = 0; i < count; i++) {
    Number number = first[i];
    if constexpr (std::is_floating_point_v<Number>) {
      if (std::isnan(number)) number = std::numeric_limits<Number>::quiet_NaN(); // its sign means nothing
    }
    unsigned char bytes[sizeof number];
    std::memcpy(bytes, &number, sizeof number);
    for (const unsigned char byte : bytes) g_digest = (g_digest ^ byte) * 0x100000001B3; // FNV-1a
  }
}
