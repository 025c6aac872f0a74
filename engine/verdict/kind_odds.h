// Whether a scan can show a negative at all.
#pragma once

#include "engine/adaptive/view.h"

// The odds that a scan shows a negative, as a natural logarithm: 3 is twenty to one for it, -3 against. Film has little
// range of density, its darkest parts (the scene's whites) are many, and nothing in it is as clear as paper or a
// slide's white; the mask of colour film is orange. 0 without a picture.
double NegativeLogOdds(const View& view);
