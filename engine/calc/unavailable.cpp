// Calculators whose method is still being settled. Each refuses and writes nothing, so that the analysis fails cleanly.
#include "engine/calc/czep.h"

bool CZEP::CalcParamNega(double* /*colorMatrix*/) { return false; }

bool CZEP::CalcRestorationNega() { return false; }

bool CZEP::CalcRestorationNegaBW() { return false; }
