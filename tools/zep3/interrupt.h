// The end of a run that the user asks for by a signal.
#pragma once

// Ends the work at hand soon; called from a signal handler.
void Interrupt();
bool IsInterrupted();
