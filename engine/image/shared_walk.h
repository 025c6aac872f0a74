// Two walks over the blocks of one image, for which each line is read once: at 100 megapixels a read is what an
// analysis costs.
#pragma once

#include <cstdint>

#include "engine/image/block_means.h"
#include "engine/image/pixels.h"

// Rows of blocks, one below the other.
struct BlockRows {
  int64_t left = 0, top = 0; // pixels of the image: where they begin
  int64_t side = 1;          // lines of a row
  int64_t rows = 0;
  int64_t columns = 0, blocks = 0; // pixels and blocks of a row
  BlockMeans* means = nullptr;     // of such rows

  // Is called for each row in turn, when `means` has it.
  virtual void Take(int64_t row) = 0;

 protected:
  ~BlockRows() = default;
};

// Who walks beside another.
class Companion {
 public:
  // Its rows, before the first is read; null where it has none. The image has been accepted by then.
  virtual BlockRows* Rows() = 0;

 protected:
  ~Companion() = default;
};

// `image` can be read where the rows lie.
void WalkTogether(const ZEP3_BmpInfo& image, BlockRows& one, BlockRows& other);
