// A result that is there: whether it is what this command would make, by what the state of the run or its sidecar says.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "command/plan.h"
#include "files/file_state.h"
#include "job/outcome.h"
#include "options.h"

struct Finished {
  Made made = Made::kElsewhere;
  std::string how;   // in words: what is not as asked
  std::string pages; // as of Outcome
  std::string kind;
};

// `scan`: its file now. What cannot be read counts as nothing.
Finished LookAtFinished(const Job& job, const FileTime& scan);

// The fields of records and sidecars that tell what a result was made of and by.
nlohmann::ordered_json OriginOf(const Job& job, const FileTime& scan);
