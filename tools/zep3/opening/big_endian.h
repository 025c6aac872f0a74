// Numbers in files, the high byte first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// A number of `width` bytes; as far as they are there.
inline uint64_t BigEndian(std::string_view bytes, size_t at, size_t width) {
  uint64_t number = 0;
  for (size_t i = at; i < at + width && i < bytes.size(); i++) number = number << 8 | static_cast<uint8_t>(bytes[i]);
  return number;
}
