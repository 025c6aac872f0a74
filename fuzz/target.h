// A fuzz target is one function. libFuzzer calls it (fuzzer.cpp), and so does the replay of the corpus in ordinary
// builds (replay.cpp).
#pragma once

#include "input.h"

void RunTarget(Input input);

// The bytes that an input has at most; more brings nothing new.
inline constexpr size_t kMostInput = 4096;
