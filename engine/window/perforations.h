// Film tells itself by its perforations: holes of one size at one pitch along the picture.
#pragma once

#include "engine/adaptive/block_grid.h"
#include "engine/window/rectangles.h"

// Whether holes that let the light through lie in a row beside one of the picture's sides. `grid` holds blocks of an
// upright area of the image; corners are pixels of the image.
bool HasPerforations(const BlockGrid& grid, const Corners& corners);
