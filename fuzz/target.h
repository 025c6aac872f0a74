// A fuzz target is one function. libFuzzer calls it (fuzzer.cpp), and so does the replay of the corpus in ordinary
// builds (replay.cpp).
#pragma once

#include "input.h"

void RunTarget(Input input);
