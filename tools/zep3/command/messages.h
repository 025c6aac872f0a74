// Jobs and outcomes as messages between this process and its workers.
#pragma once

#include <optional>
#include <string>

#include "command/plan.h"
#include "command/workers.h"
#include "job/outcome.h"
#include "log.h"

Message ToMessage(const Job& job);
Message ToMessage(const Outcome& outcome);

Job ToJob(const Message& message);

// What a worker tells by the way.
Message NoteOf(Told what, const std::string& text);
// Calls told(what, text); of a message that is no note, nothing.
void TakeNote(const Message& note, const Listener& told);

// The outcome in a worker's answer; a failure when there is none, or it makes no sense.
Outcome OutcomeOf(const std::optional<Message>& answer, const std::string& death);
