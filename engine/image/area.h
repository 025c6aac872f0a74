// The analysis area: validation, margin, edge lines, and which pixels lie inside. Pixels; y grows downwards.
#pragma once

#include <algorithm>
#include <cstdint>

#include "engine/zep3.h"

// The pixels begin..end-1 of a line; empty when begin >= end.
struct PixelSpan {
  int begin;
  int end;
};

// The pixels of the span from `first` to `last`, inclusive.
inline PixelSpan Within(PixelSpan span, int first, int last) {
  span.begin = std::max(span.begin, first);
  if (last < span.end) span.end = last + 1;
  return span;
}

struct AreaShape {
  // Validates the area, shrinks it by `margin` percent of its extent (above 90: 90; 0 or less: none) and sets `rotated`
  // and either `rect` or the four edge lines. A rectangle of less than 40 pixels with a margin leaves `rect` as it is.
  // False when the corners are out of order or an edge of a rotated area is vertical after the shrinking, which moves
  // one that was vertical before.
  bool Lay(const AREA& area, int margin);
  // The validation alone; sets `rotated`.
  bool Check(const AREA& area);

  // Pixels on an edge lie inside.
  bool Contains(int x, int y) const;
  // The pixels of line y inside the area, within `row`.
  PixelSpan InnerSpan(int y, PixelSpan row) const;
  // The number of pixels inside the area among the given columns and lines.
  int64_t InnerCount(PixelSpan columns, PixelSpan lines) const;

  bool rotated = false;
  int rect[4] = {}; // of an upright area: left, right, top, bottom, all inclusive
  // Of a rotated one: y = slope * x + intercept of the edges upper left, upper right, lower right, lower left.
  double slope[4] = {};
  double intercept[4] = {};

 private:
  bool IsBeyondEdge(int edge, int x, int y) const;
};

// The area as an upright rectangle without a margin: what a rectangle that is too small for its margin keeps.
AreaShape Unshrunk(const AREA& area);

// The line through two points. Equal x (as 32 bits): slope and intercept 0, false.
bool LineThrough(const LPOINT& a, const LPOINT& b, double& slope, double& intercept);

// (x, y) turned by the angle of a cosine and sine; `direction` below 0: by minus the angle.
void Rotate(double x, double y, double cosine, double sine, int direction, double& outX, double& outY);
