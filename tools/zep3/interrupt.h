// The end of a run that the user asks for by a signal: SIGINT, SIGTERM or SIGHUP.
#pragma once

// From now on signals are kept in mind, but for those that are ignored already. Every call that waits is woken, again
// and again: a signal that comes just before a call is seen, too. Writing to where nobody reads, or beyond what a file
// may hold, fails instead of ending the process.
void CatchSignals();

// In a worker process: one that has not come to an end by itself some time after a signal is ended.
void CatchSignalsAsWorker();

bool IsInterrupted();
