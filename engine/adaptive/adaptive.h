// The adaptive analysis: what it makes of an image after the standard one.
#pragma once

#include "engine/zep3.h"

class CZEP;

// Replaces points and gammas (linear level times 257), curve types, of faded prints and slides lSaturation and of
// monochrome negatives the level tone curve in a record that the standard calculator of the kind (`usable`) or the
// default points have completed; leaves it alone, with the reason, where the kind has no adaptive analysis or the image
// too little to decide from. `evidence` holds zeros before. `image` has been accepted by the standard analysis;
// `colorMatrix` (nine doubles, row-major, or null) is read for colour negatives.
void ProposeAdaptive(const ZEP3_BmpInfo& image, const double* colorMatrix, const CZEP& standard, bool usable,
                     ZEP3_PARA& para, ZEP3_EVIDENCE& evidence);
