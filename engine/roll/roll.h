// Rolls of film: what the frames share, which of them belong, and how one of them prints.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/roll/frame_on_roll.h"
#include "engine/zep3.h"

// From the observations with the numbers of `order`, in which they are summed; at least one, all of one kind, which
// `shared` holds with the number of frames. Writes the members of those. False where too few belong.
bool SolveRoll(const ZEP3_OBSERVATION* seen, const std::vector<size_t>& order, ZEP3_SHARED& shared, int64_t* member);

// How a frame prints on a film that was solved. Returns whether it belongs, ZEP3_MEMBER_...
int64_t PlaceOnRoll(const ZEP3_OBSERVATION& seen, const ZEP3_SHARED& shared, FrameOnRoll& place);
