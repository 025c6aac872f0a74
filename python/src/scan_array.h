// Arrays of numpy as images of the library.
#pragma once

#include <pybind11/numpy.h>

#include "engine/zep3.h"

// An array as an image, and what keeps its pixels alive.
struct ScanArray {
  pybind11::array array;
  ZEP3_BmpInfo image = {};

  bool IsDeep() const { return image.lBitCount == ZEP3_BITS_16; }
};

// An array to be read: the array itself where its pixels lie one beside the other, whatever its lines do, else a copy.
// Throws TypeError for other numbers than uint8 and uint16, ValueError for other shapes than (height, width) and
// (height, width, 1 to 4).
ScanArray ToRead(const pybind11::array& array);

// An array of the result: `out`, or a new one where it is none, with the pixels of `scan`. Throws as ToRead, and
// ValueError for an `out` of another shape or type, that cannot be written, or whose pixels do not lie one beside the
// other.
ScanArray CopyToWrite(const pybind11::array& scan, const pybind11::object& out);
