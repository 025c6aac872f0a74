// One frame of a roll: the roll's film with the light of the frame, and how it prints.
#pragma once

#include <algorithm>
#include <cmath>

#include "engine/common/scale.h"
#include "engine/film/film.h"
#include "engine/roll/tuning.h"

struct FrameOnRoll {
  Film film;           // base with the light that the frame lost; belief: how sure its neutral is
  double light[2];     // of the scene, log10 exposure of a neutral less daylight's, red and blue
  double slope;        // monochrome: of the common density
  double contrast;     // of the roll's print
  double range;        // natural logarithm of a full scene's
  double ownShare;     // of the frame's own lack of range that is made up for
  double whitePercent; // of the picture, which prints as ...
  double white;        // ... this exposure, relative to paper white
  double aloneShare;   // in the print, of what is found of the frame by itself, where its whites are believed
  double usualWhite;   // exposure of a usual frame's whites
  bool blank;

  // `range`: exposure range of the frame.
  double ContrastFor(double exposures) const {
    const double lacks = std::min(0.0, std::log(AtLeast(roll::kRangeLeast, exposures)) - range);
    return std::min(contrast * std::exp(-ownShare * lacks), std::max(contrast, roll::kOwnMost));
  }
};
