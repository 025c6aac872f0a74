// The paper of a page as a surface: the level that blank paper has, or would have, at every place. What is divided by
// it lies on even, white paper.
#pragma once

#include "engine/page/grid.h"
#include "engine/page/ground.h"
#include "engine/page/paper.h"
#include "engine/page/planes.h"

namespace page {

struct Surface {
  Grid<Colour> level; // of paper, 0..1
  Mask whiten;        // cells where what is nearly paper becomes white
  Mask strokes;       // cells of paper that have strokes alone on them, no object beside them
};

Surface MeasureSurface(const Planes& planes, const Levels& levels, const Ground& ground, const Paper& paper);

} // namespace page
