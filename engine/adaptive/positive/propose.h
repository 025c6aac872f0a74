// Prints and slides: the estimate of what happened to them, laid into a record.
#pragma once

#include "engine/adaptive/evidence.h"
#include "engine/adaptive/view.h"
#include "engine/zep3.h"

class CZEP;

// For reflective photos, faded prints and positive film. False, with nothing written, where the image holds too little
// to decide from, and where the scan has unusable levels (not `usable`) and so has the picture itself.
// `shared`: null, or what the original shares with others of its box.
bool ProposePositive(const View& view, const CZEP& standard, bool usable, const ZEP3_SHARED* shared, ZEP3_PARA& para,
                     ZEP3_EVIDENCE& evidence, Measured& measured);
