// One text for each field; what comes back is checked, for a worker may have met anything.
#include "command/messages.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "interrupt.h"

namespace {

// Throws when the message is no outcome.
Outcome ToOutcome(const Message& message) {
  const int status = std::stoi(message.at(0));
  if (status < 0 || status >= static_cast<int>(std::size(kStatusNames))) throw std::out_of_range("no status");
  Outcome outcome = {static_cast<Status>(status), message.at(1), message.at(2), std::stod(message.at(3))};
  outcome.verdict = std::stoll(message.at(4));
  outcome.pages = message.at(5);
  if (!nlohmann::ordered_json::accept(outcome.pages)) throw std::invalid_argument("no JSON");
  const auto found = message.begin() + 7;
  const auto frames =
      found + static_cast<std::ptrdiff_t>(std::min<size_t>(std::stoull(message.at(6)), message.size() - 7));
  outcome.found.assign(found, frames);
  outcome.frames.assign(frames, message.end());
  return outcome;
}

} // namespace

Message ToMessage(const Job& job) { return {job.scan, job.result, job.refusal, job.named ? "1" : ""}; }

Job ToJob(const Message& message) { return {message.at(0), message.at(1), message.at(2), !message.at(3).empty(), ""}; }

Message ToMessage(const Outcome& outcome) {
  Message message = {std::to_string(static_cast<int>(outcome.status)),
                     outcome.message,
                     outcome.text,
                     std::to_string(outcome.seconds),
                     std::to_string(outcome.verdict),
                     outcome.pages,
                     std::to_string(outcome.found.size())};
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
  if (!answer) return {Status::kFailed, death};
  try {
    return ToOutcome(*answer);
  } catch (const std::exception&) {
    return {Status::kFailed, "its worker process gave an answer that is none"};
  }
}
