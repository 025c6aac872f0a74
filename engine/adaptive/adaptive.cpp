#include "engine/adaptive/adaptive.h"

#include "engine/common/record.h"

void ProposeAdaptive(const ZEP3_BmpInfo& image, const double* colorMatrix, const CZEP& standard, ZEP3_PARA& para,
                     ZEP3_EVIDENCE& evidence) {
  (void)image, (void)colorMatrix, (void)standard, (void)para;
  evidence.lReasons = ZEP3_REASON_NOT_ADAPTIVE;
}
