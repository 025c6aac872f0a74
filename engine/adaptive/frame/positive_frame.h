// Where on the scan of a print or slide the picture lies: mount, holder and what lies beside the original left out.
#pragma once

#include "engine/adaptive/block_grid.h"
#include "engine/adaptive/positive/tuning.h"

Frame FindPositiveFrame(const BlockGrid& grid, const PositiveMaterial& material);
