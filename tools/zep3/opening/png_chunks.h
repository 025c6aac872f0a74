// The chunks of a PNG before its pixels.
#pragma once

#include <array>
#include <cstdint>
#include <istream>
#include <string>

// Calls take(name, position, bytes of data) for each chunk before the first IDAT; the position is that of its length.
// Returns the position of the first IDAT, or -1 where there is none.
template <typename Take>
int64_t WalkPngHead(std::istream& png, Take take) {
  png.ignore(8); // the signature
  int64_t position = 8;
  for (std::array<unsigned char, 8> chunk; png.read(reinterpret_cast<char*>(chunk.data()), chunk.size());) {
    const std::string name(chunk.begin() + 4, chunk.end());
    const int64_t size = int64_t{chunk[0]} << 24 | chunk[1] << 16 | chunk[2] << 8 | chunk[3];
    if (name == "IDAT") return position;
    png.ignore(size + 4); // and its checksum
    if (png.gcount() < size + 4) return -1;
    take(name, position, size);
    position += 12 + size;
  }
  return -1;
}
