// Where the picture lies on a scan.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "engine/zep3.h"
#include "options.h"

struct Corner {
  double x, y; // pixels of the scan as it is stored, from its top left corner
};

// Top left, top right, bottom right, bottom left of a picture that lies upright or tilted by less than 45 degrees.
using Corners = std::array<Corner, 4>;

struct Frame {
  Corners corners;
  double confidence = 0;          // 0..1
  bool given = false;             // the analysis area of the user
  std::optional<Corners> paper{}; // of a print: with its white border
  int64_t pictures = 1;           // seen whole on the scan, this one among them
};

// What an analysis of the scan made small by `shrink` found, if anything.
std::optional<Frame> FrameOf(const ZEP3_EVIDENCE& evidence, int64_t shrink);

// The area that the user gives on a scan of this size; nothing where it is the whole scan.
std::optional<Frame> FrameOf(const AreaArgument& area, int64_t width, int64_t height);

// Degrees by which the frame is turned clockwise.
double TiltOf(const Corners& corners);

// Mean lengths of its sides.
double WidthOf(const Corners& corners);
double HeightOf(const Corners& corners);
