// The adaptive analysis of negatives, colour and monochrome, unfaded and faded.
#pragma once

#include "engine/adaptive/evidence.h"
#include "engine/zep3.h"

class CZEP;

// Writes points (linear level times 257), gammas and curve types, of unfaded monochrome negatives the level tone curve,
// and the evidence. False, with nothing written, where the image holds too little to decide from, or the picture itself
// has unusable levels where the scan has (not `usable`). `image` and `para` have been through the standard analysis;
// `colorMatrix` (nine doubles, row-major, or null) is read for colour negatives that are not faded.
bool ProposeNegative(const ZEP3_BmpInfo& image, const double* colorMatrix, const CZEP& standard, bool usable,
                     ZEP3_PARA& para, ZEP3_EVIDENCE& evidence, Measured& measured);
