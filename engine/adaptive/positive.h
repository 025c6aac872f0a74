// Prints and slides: the estimate of what happened to them, laid into a record.
#pragma once

#include "engine/zep3.h"

class CZEP;

// For reflective photos, faded prints and positive film. False, with nothing written, when the
// image holds too little to decide from.
bool ProposePositive(const ZEP3_BmpInfo& image, const CZEP& standard, ZEP3_PARA& para, ZEP3_EVIDENCE& evidence);
