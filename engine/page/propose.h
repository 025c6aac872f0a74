// The adaptive analysis of a page: its points, its evidence, its paper as a surface.
#pragma once

#include <optional>

#include "engine/adaptive/evidence.h"
#include "engine/page/figures.h"
#include "engine/zep3.h"

namespace page {

// Where the surface goes. `detail` and `surface` may be null.
struct Request {
  const ZEP3_DETAIL* detail = nullptr;
  ZEP3_SURFACE* surface = nullptr;
};

// Completes the record of a page with points (linear level times 257), gammas and curve types, and the surface where it
// is asked for, unless it would wash something out. Nothing, with the record as it was, where no paper is found or the
// area holds too little.
std::optional<Checks> Propose(const ZEP3_BmpInfo& image, const Request& request, ZEP3_PARA& para,
                              ZEP3_EVIDENCE& evidence, Measured& measured);

} // namespace page
