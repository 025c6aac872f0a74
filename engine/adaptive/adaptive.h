// The adaptive analysis, which runs after the standard one.
#pragma once

#include "engine/adaptive/view.h"
#include "engine/zep3.h"

class CZEP;

// Completes a record anew that the standard calculator of the kind (`usable`) or the default points have completed:
// points and gammas (linear level times 257) and curve types; for faded prints and slides lSaturation, for monochrome
// negatives the level tone curve. Leaves the record alone, and notes the reason, where the kind has no adaptive
// analysis or the image too little to decide from. `evidence` must hold zeros; `colorMatrix` (nine doubles, row-major,
// or null) is read for colour negatives; `shared`: null, or what the scan shares with others of its kind.
void ProposeAdaptive(const View& view, const double* colorMatrix, const CZEP& standard, bool usable,
                     const ZEP3_SHARED* shared, ZEP3_PARA& para, ZEP3_EVIDENCE& evidence);
