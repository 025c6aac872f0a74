#include "interrupt.h"

#include <csignal>

namespace {
volatile std::sig_atomic_t interrupted = 0;
}

void Interrupt() { interrupted = 1; }

bool IsInterrupted() { return interrupted != 0; }
