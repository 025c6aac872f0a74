// The adaptive analysis of negatives, colour and monochrome, unfaded and faded.
#pragma once

#include "engine/adaptive/evidence.h"
#include "engine/adaptive/view.h"
#include "engine/zep3.h"

class CZEP;

// Writes points (linear level times 257), gammas, curve types and evidence; for unfaded monochrome negatives also the
// level tone curve. False, with nothing written, where the image holds too little to decide from, and where the scan
// has unusable levels (not `usable`) and so has the picture itself. The view's image and `para` have been through the
// standard analysis; `colorMatrix` (nine doubles, row-major, or null) is read for colour negatives that are not faded.
bool ProposeNegative(const View& view, const double* colorMatrix, const CZEP& standard, bool usable, ZEP3_PARA& para,
                     ZEP3_EVIDENCE& evidence, Measured& measured);
