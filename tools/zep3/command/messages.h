// Jobs and outcomes as messages between this process and its workers.
#pragma once

#include <optional>
#include <string>

#include "command/plan.h"
#include "command/workers.h"
#include "job/outcome.h"

Message ToMessage(const Job& job);
Message ToMessage(const Outcome& outcome);

Job ToJob(const Message& message);

// The outcome in a worker's answer; a failure when there is none, or it makes no sense.
Outcome OutcomeOf(const std::optional<Message>& answer, const std::string& death);
