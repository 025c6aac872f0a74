#include "engine/window/window.h"

#include <algorithm>
#include <cmath>

#include "engine/window/tuning.h"

namespace {

// Chance that a rectangle of so many nats is the window.
double ChanceOf(double score) { return 1.0 / (1.0 + std::exp(-(score - kEvenScore) / kScoreScatter)); }

// Sides of a picture that lie clearly within those of its sheet.
int SidesBetween(const Corners& picture, const Corners& sheet) {
  const double least = kBorderLeast * std::min(picture.Width(), picture.Height());
  const double inward[kSideCount] = {0.5 * (picture.y[0] - sheet.y[0] + picture.y[1] - sheet.y[1]),
                                     0.5 * (sheet.y[2] - picture.y[2] + sheet.y[3] - picture.y[3]),
                                     0.5 * (picture.x[0] - sheet.x[0] + picture.x[3] - sheet.x[3]),
                                     0.5 * (sheet.x[1] - picture.x[1] + sheet.x[2] - picture.x[2])};
  return static_cast<int>(std::count_if(inward, inward + kSideCount, [&](double side) { return side > least; }));
}

} // namespace

Window FindWindow(const ZEP3_BmpInfo& image, const BlockGrid& grid, Material material) {
  Window window;
  if (grid.rows < kFewestRowsOfGrid || grid.columns < kFewestRowsOfGrid) return window;
  const SideLines lines = FindSideLines(grid);
  const std::vector<Rectangle> rectangles = FindRectangles(lines, material);
  const Choice choice = ChooseWindow(lines.map, material, rectangles);
  if (choice.picture == nullptr) return window;
  const GridPlace place = {static_cast<double>(grid.left), static_cast<double>(grid.top),
                           static_cast<double>(grid.side)};
  const FineSearch search(image, place, material, lines.map);
  window.found = true;
  window.confidence = ChanceOf(choice.likeliest);
  window.frames = CountFrames(rectangles, *choice.picture);
  const FineRectangle picture = search.Refine(*choice.picture);
  window.corners = picture.innermost;
  std::copy_n(picture.strip, kSideCount, window.strip);
  if (material == Material::kPrint) {
    window.paper = choice.sheet == choice.picture ? picture.likeliest : search.Refine(*choice.sheet).likeliest;
    window.bordered = SidesBetween(window.corners, window.paper) >= kSheetRims;
    if (!window.bordered) window.paper = {};
  }
  return window;
}
