#include "engine/window/window.h"

#include <cmath>

#include "engine/window/tuning.h"

namespace {

// Chance that a rectangle of so many nats is the window.
double ChanceOf(double score) { return 1.0 / (1.0 + std::exp(-(score - kEvenScore) / kScoreScatter)); }

} // namespace

Window FindWindow(const ZEP3_BmpInfo& image, const BlockGrid& grid, Material material) {
  Window window;
  if (grid.rows < kFewestRowsOfGrid || grid.columns < kFewestRowsOfGrid) return window;
  const SideLines lines = FindSideLines(grid);
  const std::vector<Rectangle> rectangles = FindRectangles(lines, material);
  double likeliest = 0.0;
  const Rectangle* chosen = ChooseWindow(lines.map, material, rectangles, likeliest);
  if (chosen == nullptr) return window;
  const GridPlace place = {static_cast<double>(grid.left), static_cast<double>(grid.top),
                           static_cast<double>(grid.side)};
  window.found = true;
  window.corners = ToPixels(chosen->corners, place);
  window.confidence = ChanceOf(likeliest);
  window.frames = 1;
  Refine(image, place, material, lines.map, *chosen, window.corners, window.strip);
  return window;
}
