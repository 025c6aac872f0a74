// Rectangles that may be the picture's window, by what their sides show.
#pragma once

#include <array>
#include <vector>

#include "engine/window/side_lines.h"

enum SideName { kTop, kBottom, kLeft, kRight };
inline constexpr int kSideCount = 4;

// Of the original. What is known of it weighs the evidence.
enum class Material { kNegative, kSlide, kPrint };

// Top left, top right, bottom right, bottom left.
struct Corners {
  double x[4];
  double y[4];

  double Width() const { return 0.5 * (x[1] - x[0] + x[2] - x[3]); }
  double Height() const { return 0.5 * (y[3] - y[0] + y[2] - y[1]); }
};

struct Rectangle {
  Corners corners; // places of blocks; whole numbers are their middles
  std::array<int, kSideCount> line;
  std::array<SideTraits, kSideCount> side;
  double least = 0.0;       // nats: the weakest side's score
  double score = 0.0;       // nats
  bool onOwnGround = false; // what lies around it is a part of the picture
};

// The lines of the four sides of a grid, the scan's own edges last.
struct SideLines {
  LevelMap map; // upright
  std::vector<Line> line[kSideCount];
};

SideLines FindSideLines(const BlockGrid& grid);

// All that have a height and width, at most two sides on the scan's edges, and sides that lean the same way; the
// likelier ones by their sides, best first.
std::vector<Rectangle> FindRectangles(const SideLines& lines, Material material);

struct Choice {
  const Rectangle* picture = nullptr; // null without any that is likely
  const Rectangle* sheet = nullptr;   // around it, with an even border between them; else the same
  double likeliest = 0.0;             // nats, of the best of all
};

// The one that holds the picture: the innermost of those that are hardly less likely than the best.
Choice ChooseWindow(const LevelMap& map, Material material, const std::vector<Rectangle>& rectangles);

// Those as large as the picture that are seen whole beside it, and itself.
int CountFrames(const std::vector<Rectangle>& rectangles, const Rectangle& picture);

// How the inside of a rectangle stands to what is outside of each side.
void LookInside(const LevelMap& map, Material material, Rectangle& rectangle);

// Nats for a side's being one of a window.
double SideScore(const SideTraits& side, Material material);
