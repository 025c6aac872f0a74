#include <cstddef>
#include <cstdint>

#include "target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  RunTarget(Input(data, size));
  return 0;
}
