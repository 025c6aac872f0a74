// The part of a page that becomes the result: its place, and its pixels.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <vips/vips8>

#include "options.h"
#include "page/frame.h"

// A rectangle on a scan, turned clockwise about its top left corner.
struct Cut {
  double x = 0, y = 0;          // of that corner, pixels from the scan's; whole numbers where nothing is turned
  double width = 0, height = 0; // pixels; whole numbers
  double degrees = 0;           // 0: pixels come out as they are

  // The same on a page that shows the same, such as a thumbnail.
  Cut Scaled(double across, double down) const;
};

// What --crop cuts out of a scan of this size. Throws Failure where the margin leaves nothing.
Cut CutOf(const Frame& frame, const CropOptions& options, int64_t width, int64_t height);

// Pixels of a page that lie in the cut, as `change`, which is given the page, leaves them. What is turned goes through
// memory, or where it is large through a file in the folder for temporary files, which `watch` is told about; beyond
// the page it repeats the page's edge. Profile, resolution and all else of the header stay.
vips::VImage CutOut(const vips::VImage& page, const Cut& cut,
                    const std::function<vips::VImage(const vips::VImage&)>& change,
                    const std::function<vips::VImage(const vips::VImage&)>& watch);
