#include "engine/adaptive/adaptive.h"

#include "engine/adaptive/positive.h"
#include "engine/common/record.h"

namespace {

// Films know no sub-mode but restoration: any other is their normal kind.
bool IsDocument(const ZEP3_PARA& para) {
  return DocType(para) == ZEP3_DOC_REFLECTIVE && para.wSubMode != ZEP3_SUB_PHOTO &&
         para.wSubMode != ZEP3_SUB_RESTORATION;
}

} // namespace

void ProposeAdaptive(const ZEP3_BmpInfo& image, const double* colorMatrix, const CZEP& standard, ZEP3_PARA& para,
                     ZEP3_EVIDENCE& evidence) {
  (void)colorMatrix;
  if (IsDocument(para) || IsPlain(para) || IsNegative(para)) {
    evidence.lReasons = ZEP3_REASON_NOT_ADAPTIVE;
  } else if (!ProposePositive(image, standard, para, evidence)) {
    evidence.lReasons = ZEP3_REASON_TOO_LITTLE;
  }
}
