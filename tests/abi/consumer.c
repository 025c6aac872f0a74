/* The header alone in C: the records can be filled and the library answers. */
#include "zep3.h"

int main(void) {
  int64_t major = 0;
  int64_t minor = 0;
  ZEP3_PARA para = {0};
  para.wDocType = ZEP3_DOC_REFLECTIVE;
  para.lScreenGamma = 18;
  if (GetZEP3Version(&major, &minor) != 1 || major != 3 || minor != 9) return 1;
  return ValueOfScreenGammaConv(2570, &para) == 2570 ? 0 : 1;
}
