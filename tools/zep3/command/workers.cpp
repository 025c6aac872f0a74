// Messages through socket pairs, and the pool: forking, feeding, collecting answers, putting away the dead.
#include "command/workers.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <map>
#include <mutex>

#ifdef ZEP3_SANITIZED
#include <sanitizer/lsan_interface.h>
#endif
#ifdef ZEP3_COVERAGE
extern "C" void __gcov_dump();
#endif

#include "failure.h"
#include "interrupt.h"

namespace {

// ---- messages: a count of texts, then each with its length before it ----

bool WriteFully(int file, const void* data, size_t size) {
  const char* bytes = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t written = ::send(file, bytes, size, MSG_NOSIGNAL);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes += written;
    size -= static_cast<size_t>(written);
  }
  return true;
}

// `stop`: whether a signal ends the wait.
bool ReadFully(int file, void* data, size_t size, bool (*stop)()) {
  char* bytes = static_cast<char*>(data);
  while (size > 0) {
    const ssize_t got = ::read(file, bytes, size);
    if (got < 0 && errno == EINTR && !stop()) continue;
    if (got <= 0) return false;
    bytes += got;
    size -= static_cast<size_t>(got);
  }
  return true;
}

// In the count of a worker's message: it is a note by the way, and no answer.
constexpr uint64_t kIsNote = uint64_t{1} << 63;

bool Send(int file, const Message& message, bool isNote = false) {
  const uint64_t count = message.size() | (isNote ? kIsNote : 0);
  bool sent = WriteFully(file, &count, sizeof count);
  for (const std::string& text : message) {
    const uint64_t size = text.size();
    sent = sent && WriteFully(file, &size, sizeof size) && WriteFully(file, text.data(), text.size());
  }
  return sent;
}

// Bounds what a broken worker can make its parent allocate. Honest answers hold some kilobytes for each page of a scan,
// and a TIFF has at most about a million pages.
constexpr uint64_t kMostTexts = 2 << 20;
constexpr uint64_t kMostBytes = 4ULL << 30;

// Nothing when the other side has gone, or sends no proper message.
std::optional<Message> Receive(int file, bool (*stop)(), bool* isNote = nullptr) {
  uint64_t count = 0;
  uint64_t left = kMostBytes;
  if (!ReadFully(file, &count, sizeof count, stop)) return std::nullopt;
  if (isNote != nullptr) {
    *isNote = (count & kIsNote) != 0;
    count &= ~kIsNote;
  }
  if (count > kMostTexts) return std::nullopt;
  Message message(count);
  for (std::string& text : message) {
    uint64_t size = 0;
    if (!ReadFully(file, &size, sizeof size, stop) || size > left) return std::nullopt;
    left -= size;
    text.resize(size);
    if (!ReadFully(file, text.data(), text.size(), stop)) return std::nullopt;
  }
  return message;
}

// ---- workers ----

constexpr int kLook = 500; // ms

// A worker's side of its channel; its threads take turns.
int toParent = -1;
std::mutex sending;

using Clock = std::chrono::steady_clock;

// Time that a worker has after a signal to remove what it has begun. Then it is killed, and its parent removes that.
constexpr auto kGrace = std::chrono::milliseconds(500);
constexpr int kLookAtTheEnd = 20; // ms
#ifdef ZEP3_SANITIZED
constexpr int kLeaks = 23; // exit status, as the sanitizer's own
#endif

struct Worker {
  pid_t pid = -1;
  int channel = -1;
  std::optional<size_t> job; // the number of the job that it works on
};

int WaitStatus(pid_t pid) {
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) continue;
  return status;
}

// Waits for a worker that has been told to end, and kills it at `end`. Returns its wait status.
int EndAt(Clock::time_point end, pid_t pid) {
  int status = 0;
  while (::waitpid(pid, &status, WNOHANG) == 0) {
    if (Clock::now() > end) ::kill(pid, SIGKILL);
    ::usleep(1000 * kLookAtTheEnd);
  }
  return status;
}

// Ends a worker that has closed its channel or sent nonsense, and tells how it ended.
std::string HowItEnded(pid_t pid) {
  ::kill(pid, SIGKILL); // changes nothing for one that is ending
  const int status = WaitStatus(pid);
  if (WIFSIGNALED(status)) return std::string("its worker process died (") + strsignal(WTERMSIG(status)) + ")";
  return "its worker process ended with status " + std::to_string(WEXITSTATUS(status));
}

class Pool {
 public:
  Pool(int count, const std::function<Message(const Message&)>& work, const WorkerEvents& events)
      : m_workers(static_cast<size_t>(count)), m_work(work), m_events(events) {}

  ~Pool() { Dismiss(); }

  void Run() {
    while (Feed() || !m_exhausted) Collect();
    if (const int status = Dismiss(); status != 0) {
      throw std::runtime_error("a worker process ended with status " + std::to_string(status));
    }
  }

 private:
  struct Running {
    Message job;
    bool finished = false;
    std::optional<Message> answer;
    std::string death;
  };

  // Ends the workers, and returns the last exit status that is not 0 of those that wait for a job. Others are at work
  // when an exception ends the run: nobody takes their results.
  int Dismiss() {
    for (Worker& worker : m_workers) {
      if (worker.pid >= 0) ::close(worker.channel); // it sees the end of its jobs
      if (worker.job) ::kill(worker.pid, SIGTERM);
    }
    int fault = 0;
    const auto end = Clock::now() + kGrace;
    for (Worker& worker : m_workers) {
      if (worker.pid < 0) continue;
      const int status = worker.job ? EndAt(end, worker.pid) : WaitStatus(worker.pid);
      if (worker.job) m_events.cleanUp(m_running[*worker.job].job);
      if (!worker.job && WIFEXITED(status) && WEXITSTATUS(status) != 0) fault = WEXITSTATUS(status);
      worker = Worker();
    }
    return fault;
  }

  // Gives every idle worker a job. False when nothing is under way any more.
  bool Feed() {
    bool working = false;
    for (Worker& worker : m_workers) {
      // A list that arrives slowly must not hold back the answers.
      if (!worker.job && !m_exhausted && !AnswerWaits()) {
        if (worker.pid < 0 && !Start(worker)) {
          // Workers already started continue.
          if (!IsStarted()) throw UsageError(std::string("no worker process can be started: ") + std::strerror(errno));
          continue;
        }
        const std::optional<Message> job = m_events.stop() ? std::nullopt : m_events.next();
        m_exhausted = !job;
        if (job) Begin(worker, *job);
      }
      working = working || worker.job;
    }
    return working;
  }

  void Begin(Worker& worker, const Message& job) {
    const size_t number = m_next++;
    m_running[number] = {job, false, std::nullopt, ""};
    worker.job = number;
    if (!Send(worker.channel, job)) Lost(worker);
  }

  bool IsStarted() const {
    return std::any_of(m_workers.begin(), m_workers.end(), [](const Worker& worker) { return worker.pid >= 0; });
  }

  bool Start(Worker& worker) {
    int channel[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, channel) != 0) return false;
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid < 0) {
      const int reason = errno;
      ::close(channel[0]);
      ::close(channel[1]);
      errno = reason;
      return false;
    }
    if (pid == 0) {
      // A parent that is killed tells nobody: its worker gives up what it works on.
      ::prctl(PR_SET_PDEATHSIG, SIGTERM);
      CatchSignalsAsWorker();
      if (::getppid() != parent) ::_exit(0);
      ::close(channel[0]);
      for (const Worker& other : m_workers) {
        if (other.pid >= 0) ::close(other.channel);
      }
      toParent = channel[1];
      // Signals do not end this wait: the parent decides when there are no more jobs.
      while (const std::optional<Message> job = Receive(channel[1], [] { return false; })) {
        const Message answer = m_work(*job);
        const std::lock_guard lock(sending);
        if (!Send(channel[1], answer)) break;
      }
#ifdef ZEP3_SANITIZED
      if (__lsan_do_recoverable_leak_check() != 0) ::_exit(kLeaks); // only exit() does it unasked
#endif
#ifdef ZEP3_COVERAGE
      __gcov_dump(); // likewise
#endif
      ::_exit(0); // the parent's buffers and objects are the parent's
    }
    ::close(channel[1]);
    worker.pid = pid;
    worker.channel = channel[0];
    return true;
  }

  std::vector<pollfd> Channels() const {
    std::vector<pollfd> channels;
    for (const Worker& worker : m_workers) channels.push_back({worker.job ? worker.channel : -1, POLLIN, 0});
    return channels;
  }

  bool AnswerWaits() const {
    std::vector<pollfd> channels = Channels();
    return ::poll(channels.data(), channels.size(), 0) > 0;
  }

  // Asks the workers that have a job to give it up, and ends those that have not in time. At each look: a signal that
  // comes just before a worker begins to wait for input does not end that.
  void Stop() {
    m_end = m_end.value_or(Clock::now() + kGrace);
    for (const Worker& worker : m_workers) {
      if (worker.job) ::kill(worker.pid, Clock::now() < *m_end ? SIGTERM : SIGKILL);
    }
  }

  // Waits for an answer and takes those that are there. Without a worker at work (they died) there is none to wait for.
  void Collect() {
    std::vector<pollfd> channels = Channels();
    const bool working =
        std::any_of(m_workers.begin(), m_workers.end(), [](const Worker& worker) { return worker.job; });
    // With a limit, so that a signal which comes just before is seen by the next look.
    const int ready = ::poll(channels.data(), channels.size(), !working ? 0 : m_end ? kLookAtTheEnd : kLook);
    if (m_events.look) m_events.look();
    if (m_events.stop()) Stop(); // the signal may have been for this process alone
    if (ready <= 0) return;
    for (size_t i = 0; i < channels.size(); i++) {
      if (channels[i].revents == 0) continue;
      Worker& worker = m_workers[i];
      bool isNote = false;
      std::optional<Message> answer = Receive(worker.channel, IsInterrupted, &isNote);
      if (!answer) {
        Lost(worker);
        continue;
      }
      if (isNote) {
        if (m_events.note) m_events.note(*answer);
        continue;
      }
      Running& running = m_running[*worker.job];
      running.answer = std::move(answer);
      worker.job.reset();
      Take(running);
    }
    Report();
  }

  void Lost(Worker& worker) {
    ::close(worker.channel);
    Running& running = m_running[*worker.job];
    running.death = HowItEnded(worker.pid);
    m_events.cleanUp(running.job);
    worker = Worker();
    Take(running);
    Report();
  }

  void Take(Running& running) {
    running.finished = true;
    if (m_events.answered) m_events.answered(running.job, running.answer, running.death);
  }

  void Report() {
    while (!m_running.empty() && m_running.begin()->second.finished) {
      const Running running = std::move(m_running.begin()->second);
      m_running.erase(m_running.begin());
      m_events.done(running.job, running.answer, running.death);
    }
  }

  std::vector<Worker> m_workers;
  const std::function<Message(const Message&)>& m_work;
  const WorkerEvents& m_events;
  std::map<size_t, Running> m_running; // by the jobs' order
  size_t m_next = 0;
  bool m_exhausted = false;
  std::optional<Clock::time_point> m_end; // interrupted: until when workers have time
};

} // namespace

void TellParent(const Message& note) {
  const std::lock_guard lock(sending);
  Send(toParent, note, true);
}

void RunInWorkers(int count, const std::function<Message(const Message&)>& work, const WorkerEvents& events) {
  Pool(count, work, events).Run();
}
