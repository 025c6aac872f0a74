// Calculators whose method is still being settled. Each refuses and writes nothing, so that the analysis fails cleanly.
#include "engine/calc/czep.h"

bool CZEP::CalcAgainstLight(int64_t /*level*/) { return false; }
