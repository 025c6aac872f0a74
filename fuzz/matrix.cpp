// ColorMatrixConv on any record and matrix.
#include <cmath>

#include "records.h"
#include "target.h"

void RunTarget(Input input) {
  const HostileRecord given(input);
  const std::array<double, 9> matrix = input.Matrix();

  HostileRecord record = given;
  std::array<double, 9> in = matrix, out;
  out.fill(123);
  ZEP3_HOLDS(ColorMatrixConv(&record.para, in.data(), out.data()) == 1);
  ZEP3_HOLDS(record == given && std::memcmp(in.data(), matrix.data(), sizeof matrix) == 0);
  ZEP3_HOLDS(ColorMatrixConv(&record.para, in.data(), in.data()) == 1);
  ZEP3_HOLDS(std::memcmp(in.data(), out.data(), sizeof out) == 0);
  for (size_t row = 0; row < 9; row += 3) {
    const double size = std::abs(out[row]) + std::abs(out[row + 1]) + std::abs(out[row + 2]);
    if (size < 1e6) ZEP3_HOLDS(std::abs(out[row] + out[row + 1] + out[row + 2] - 1) < 1e-9);
  }
  out.fill(123);
  ZEP3_HOLDS(ColorMatrixConv(nullptr, in.data(), out.data()) == 0 &&
             ColorMatrixConv(&record.para, nullptr, out.data()) == 0 &&
             ColorMatrixConv(&record.para, in.data(), nullptr) == 0 && out[0] == 123);
}
