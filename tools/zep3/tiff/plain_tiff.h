// TIFF pages that are stored plainly: not compressed, in strips, gray or R G B with whatever behind it, 8 or 16 bits.
// No decoder need stand between the file and who reads it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "tiff/tiff_layout.h"

class PendingFile;

// Pixels that a page is expected to have: the file may be another by now than the one that was looked at.
struct PlainShape {
  int64_t width, height, bands;
  bool deep;
  bool operator==(const PlainShape&) const = default;
};

// Reads lines of a page, in memory's byte order. Several threads may read at a time; the file is opened once, so that
// it is the same for all of them.
class PlainLines {
 public:
  // Null when the page is stored otherwise or of another shape. Throws Failure when the file cannot be read.
  static std::unique_ptr<PlainLines> Open(const std::string& path, TiffPlace page, const PlainShape& shape);
  virtual ~PlainLines() = default;

  virtual PlainShape Shape() const = 0;
  int64_t Samples() const { return Shape().width * Shape().bands; } // of a line
  int64_t LineBytes() const { return Samples() * (Shape().deep ? 2 : 1); }

  // Shows the lines from `begin` to before `end` to `take`, in pieces that stay in the processor's cache: in order,
  // from line `line` on `count` of them one behind the other, which it may change. Throws Failure for damage.
  using Take = std::function<void(uint8_t* first, int64_t line, int64_t count)>;
  virtual void Read(int64_t begin, int64_t end, const Take& take) const = 0;
};

// Writes page `page` of `source` into the empty file `target`: laid out as it is (in strips of moderate size), the
// pixels as `change` leaves them, with the tags that CopyTiffTags carries and the profile. `change` runs on a thread of
// its own. `go` is told the share of the work done and says whether to go on. False, with nothing written, when the
// page is stored otherwise or of another shape. Throws Failure.
bool RewritePlainTiff(const std::string& source, TiffPlace page, PendingFile& target, const PlainShape& shape,
                      const PlainLines::Take& change, const std::function<bool(double)>& go);
