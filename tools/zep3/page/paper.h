// The paper of a page as a surface, by which the page is evened.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "engine/zep3.h"

// A value that can be copied: of the record everything but where its cells lie.
struct PaperSurface {
  ZEP3_SURFACE figures = {};
  std::vector<ZEP3_CELL> cells;  // none: from a file that tells the figures alone
  std::vector<uint8_t> pictures; // of each cell whether it belongs to one, see FindPictures; none: not sought

  // For the calls of the library; of use as long as this object.
  ZEP3_SURFACE Record() const;

  // By what the values of red, green and blue are multiplied at a place of the scan.
  std::array<double, 3> GainAt(double x, double y) const;

  // The same on a picture of the page that has `width` x `height` pixels and is `across` and `down` times as large,
  // such as the pre-scan or a thumbnail. On the pre-scan, and at the same size, these are the same cells.
  PaperSurface Scaled(int64_t width, int64_t height, double across, double down) const;
};
