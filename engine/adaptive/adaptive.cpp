#include "engine/adaptive/adaptive.h"

#include "engine/adaptive/negative.h"
#include "engine/common/record.h"

void ProposeAdaptive(const ZEP3_BmpInfo& image, const double* colorMatrix, const CZEP& standard, ZEP3_PARA& para,
                     ZEP3_EVIDENCE& evidence) {
  (void)standard;
  if (!IsNegative(para) || IsPlain(para)) {
    evidence.lReasons = ZEP3_REASON_NOT_ADAPTIVE;
    return;
  }
  if (!ProposeNegative(image, colorMatrix, para, evidence)) evidence.lReasons = ZEP3_REASON_TOO_LITTLE;
}
