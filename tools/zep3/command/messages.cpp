// One text for each field; what comes back is checked, for a worker may have met anything.
#include "command/messages.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "interrupt.h"

namespace {

constexpr std::ptrdiff_t kFields = 14; // of an outcome, before its lists

// Throws when the message is no outcome.
Outcome ToOutcome(const Message& message) {
  const int status = std::stoi(message.at(0));
  if (status < 0 || status >= static_cast<int>(std::size(kStatusNames))) throw std::out_of_range("no status");
  Outcome outcome = {static_cast<Status>(status), message.at(1), message.at(2), std::stod(message.at(3))};
  outcome.verdict = std::stoll(message.at(4));
  outcome.pages = message.at(5);
  if (!nlohmann::ordered_json::accept(outcome.pages)) throw std::invalid_argument("no JSON");
  const int cause = std::stoi(message.at(6));
  if (cause < 0 || cause >= static_cast<int>(std::size(kCauseNames))) throw std::out_of_range("no cause");
  outcome.cause = static_cast<Cause>(cause);
  outcome.size = std::stoll(message.at(7));
  outcome.time = std::stoll(message.at(8));
  outcome.resultSize = std::stoll(message.at(9));
  outcome.kind = message.at(10);
  const int made = std::stoi(message.at(12));
  if (made < 0 || made >= static_cast<int>(std::size(kMadeNames))) throw std::out_of_range("no such result");
  outcome.made = static_cast<Made>(made);
  outcome.pageCount = std::stoi(message.at(13));
  const auto found = message.begin() + kFields;
  const auto frames =
      found + static_cast<std::ptrdiff_t>(std::min<size_t>(std::stoull(message.at(11)), message.size() - kFields));
  outcome.found.assign(found, frames);
  outcome.frames.assign(frames, message.end());
  return outcome;
}

} // namespace

Message ToMessage(const Job& job) {
  Message message = {job.scan, job.result,  job.refusal, job.named ? "1" : "",
                     job.made, job.sidecar, job.Told(),  job.settled ? job.settled->elsewhere : ""};
  if (job.settled) message.insert(message.end(), job.settled->words.begin(), job.settled->words.end());
  return message;
}

Job ToJob(const Message& message) {
  Job job = {message.at(0), message.at(1), message.at(2), !message.at(3).empty(), "",
             nullptr,       message.at(5), message.at(4)};
  auto settled = std::make_shared<Settled>();
  settled->told = message.at(6);
  settled->elsewhere = message.at(7);
  settled->words.assign(message.begin() + 8, message.end());
  job.settled = settled;
  return job;
}

Message ToMessage(const Outcome& outcome) {
  Message message = {std::to_string(static_cast<int>(outcome.status)),
                     outcome.message,
                     outcome.text,
                     std::to_string(outcome.seconds),
                     std::to_string(outcome.verdict),
                     outcome.pages,
                     std::to_string(static_cast<int>(outcome.cause)),
                     std::to_string(outcome.size),
                     std::to_string(outcome.time),
                     std::to_string(outcome.resultSize),
                     outcome.kind,
                     std::to_string(outcome.found.size()),
                     std::to_string(static_cast<int>(outcome.made)),
                     std::to_string(outcome.pageCount)};
  for (const auto* texts : {&outcome.found, &outcome.frames})
    message.insert(message.end(), texts->begin(), texts->end());
  return message;
}

Message NoteOf(Told what, const std::string& text) { return {what == Told::kPercent ? "percent" : "", text}; }

void TakeNote(const Message& note, const Listener& told) {
  if (note.size() == 2) told(note[0].empty() ? Told::kMessage : Told::kPercent, note[1]);
}

Outcome OutcomeOf(const std::optional<Message>& answer, const std::string& death) {
  if (!answer && IsInterrupted()) return {Status::kInterrupted, "interrupted"};
  Outcome crashed = {Status::kFailed, death};
  crashed.cause = Cause::kCrashed;
  if (!answer) return crashed;
  try {
    return ToOutcome(*answer);
  } catch (const std::exception&) {
    crashed.message = "its worker process gave an answer that is none";
    return crashed;
  }
}
