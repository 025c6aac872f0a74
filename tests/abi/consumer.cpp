// The header alone in C++: built against by tests, with the standard that older callers use.
#include "zep3.h"

#include <type_traits>

static_assert(std::is_trivially_copyable<ZEP3_PARA>::value && std::is_standard_layout<ZEP3_PARA>::value, "a record");

int main() {
  ZEP3_PARA para = {};
  para.lScreenGamma = 22;
  para.wDocType = ZEP3_DOC_NEGATIVE;
  return ValueOfScreenGammaConv(65535, &para) == 0 ? 0 : 1;
}
