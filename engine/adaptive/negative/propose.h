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
// `shared`: null, or the film that the frame shares with others.
bool ProposeNegative(const View& view, const double* colorMatrix, const CZEP& standard, bool usable,
                     const ZEP3_SHARED* shared, ZEP3_PARA& para, ZEP3_EVIDENCE& evidence, Measured& measured);

// Density contrasts of the channels that a record's colour matrix tells, relative to the film's own: 1 where it tells
// none, or the kind has no use for it.
void MatrixContrasts(const ZEP3_PARA& para, const double* colorMatrix, double (&contrast)[3]);
