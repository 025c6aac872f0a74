// Palette adjustment: its method is still being settled. Each call refuses and writes nothing.
#include "engine/graybalance/cgryblnce.h"

bool CGRYBLNCE::ConvPaletteColorFBP(ZEP3_PARA* /*para*/, const int64_t* /*source*/, const int64_t* /*target*/,
                                    const double* /*matrix*/) {
  return false;
}

bool CGRYBLNCE::ConvPaletteColorNega(ZEP3_PARA* /*para*/, const int64_t* /*source*/, const int64_t* /*target*/,
                                     const double* /*negaCoef*/, const double* /*matrix*/) {
  return false;
}
