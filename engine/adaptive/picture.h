// The blocks of a scan that show the picture.
#pragma once

#include <cstddef>
#include <vector>

#include "engine/adaptive/block_grid.h"
#include "engine/adaptive/evidence.h"
#include "engine/window/window.h"

struct Picture {
  Window window;              // not looked for in a rotated area, which somebody has laid around the picture
  std::vector<size_t> blocks; // line by line
  double trimmed = 0.0;       // share 0..1 of the area's blocks that lie outside of the window
};

// Those in the window; without one all that the area has inside. `known`: as for LookAt.
Picture FindPicture(const ZEP3_BmpInfo& image, const BlockGrid& grid, Material material, const ZEP3_EVIDENCE* known);

// Writes window, share left out and the reason into an evidence.
void TellWindow(const Picture& picture, ZEP3_EVIDENCE& evidence, Measured& measured);
