// Signal handlers: a flag, and a timer that wakes the calls that wait.
#include "interrupt.h"

#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <csignal>

namespace {

constexpr int kWake = 100'000; // us

// For a worker that has lost its parent; a parent ends a slow worker much earlier.
constexpr unsigned kWorkersLast = 3; // s

// Set by a signal handler, read by threads.
std::atomic<bool> interrupted = false;
std::atomic<bool> isWorker = false;
static_assert(std::atomic<bool>::is_always_lock_free);

void Interrupt(int) {
  if (interrupted.exchange(true)) return;
  if (isWorker) {
    ::alarm(kWorkersLast);
  } else {
    const itimerval often = {{0, kWake}, {0, kWake}};
    ::setitimer(ITIMER_REAL, &often, nullptr);
  }
}

} // namespace

void CatchSignals() {
  struct sigaction action = {};
  action.sa_handler = Interrupt;
  // Without SA_RESTART, so that a signal ends every wait.
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction before = {};
    ::sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN) ::sigaction(signal, &action, nullptr); // nohup and background jobs ignore some
  }
  action.sa_handler = [](int) {};
  ::sigaction(SIGALRM, &action, nullptr);
  // A terminal that changes its size ends the wait for workers, so that the line of progress is drawn anew; nothing
  // else.
  action.sa_flags = SA_RESTART;
  ::sigaction(SIGWINCH, &action, nullptr);
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGXFSZ, SIG_IGN);
}

void CatchSignalsAsWorker() {
  isWorker = true;
  ::signal(SIGALRM, SIG_DFL);
  if (interrupted) ::alarm(kWorkersLast); // timers are not inherited
}

bool IsInterrupted() { return interrupted; }
