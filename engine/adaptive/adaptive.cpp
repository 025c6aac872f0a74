// Which originals have an adaptive analysis, and why the standard one stands where it does.
#include "engine/adaptive/adaptive.h"

#include "engine/adaptive/negative/propose.h"
#include "engine/adaptive/positive/propose.h"
#include "engine/common/record.h"

void ProposeAdaptive(const View& view, const double* colorMatrix, const CZEP& standard, bool usable,
                     const ZEP3_SHARED* shared, ZEP3_PARA& para, ZEP3_EVIDENCE& evidence) {
  if (!IsPicture(para) || IsPlain(para)) {
    evidence.lReasons = usable ? ZEP3_REASON_NOT_ADAPTIVE : ZEP3_REASON_DEFAULTS;
    return;
  }
  // A holder or bare light makes the levels of a scan unusable, but not the picture within; nor does a lamp without
  // blue make a monochrome picture so.
  Measured measured;
  const bool proposed = IsNegative(para)
                            ? ProposeNegative(view, colorMatrix, standard, usable, shared, para, evidence, measured)
                            : ProposePositive(view, standard, usable, shared, para, evidence, measured);
  if (proposed) {
    SetMeasured(evidence, measured);
  } else {
    evidence.lReasons = usable ? ZEP3_REASON_TOO_LITTLE : ZEP3_REASON_DEFAULTS;
  }
}
