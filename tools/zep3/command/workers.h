// A pool of worker processes. A decoder that crashes on a damaged scan takes its worker along and nothing else, and the
// image library's error texts, which are the process's, stay with the scan that they are about.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

// Sent to a worker and back: texts of any bytes.
using Message = std::vector<std::string>;

// Takes the answer to a job. No answer: the worker died, `death` says how.
using TakeAnswer =
    std::function<void(const Message& job, const std::optional<Message>& answer, const std::string& death)>;

struct WorkerEvents {
  // The next job; nothing when there is none.
  std::function<std::optional<Message>()> next;
  TakeAnswer answered; // as soon as it is there
  TakeAnswer done;     // the same once more, in the order of the jobs
  // A worker tells something by the way, see TellParent.
  std::function<void(const Message& note)> note;
  // Called at least twice a second while jobs are under way.
  std::function<void()> look;
  // Asked before each job; when true, no more jobs are begun.
  std::function<bool()> stop;
  // A worker died at this job.
  std::function<void(const Message& job)> cleanUp;
};

// In a worker: sends the parent a note. Of any thread.
void TellParent(const Message& note);

// Runs `work` in up to `count` worker processes until the jobs are done. Throws UsageError when none can be started.
void RunInWorkers(int count, const std::function<Message(const Message&)>& work, const WorkerEvents& events);
