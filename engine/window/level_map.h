// Blocks of an image as the search for its window sees them: levels in sixteenths, in lines that side lines cross.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "engine/adaptive/block_grid.h"

struct LevelMap {
  static constexpr int kUnit = 16; // of a level

  struct Cell {
    int16_t level[3];
    int16_t ground; // 1: hangs together with the scan's edge by small steps
  };

  int across = 0; // cells of a row: a side line has one place in each row
  int along = 0;  // rows
  int noise = 0;  // sixteenths by which neighbours in even places differ
  std::vector<Cell> cells;

  size_t Place(int a, int l) const {
    return static_cast<size_t>(l) * static_cast<size_t>(across) + static_cast<size_t>(a);
  }
  const Cell& At(int a, int l) const { return cells[Place(a, l)]; }
  Cell& At(int a, int l) { return cells[Place(a, l)]; }
};

// The largest difference of a channel.
inline int Apart(const LevelMap::Cell& p, const LevelMap::Cell& q) {
  const int red = std::abs(p.level[0] - q.level[0]);
  const int green = std::abs(p.level[1] - q.level[1]);
  const int blue = std::abs(p.level[2] - q.level[2]);
  const int two = red > green ? red : green;
  return two > blue ? two : blue;
}

// Of each channel; of an even number of cells the higher one of the two in the middle. Needs a cell.
LevelMap::Cell MedianOf(std::span<const LevelMap::Cell> cells);

// Sets the noise.
void MeasureNoise(LevelMap& map);

// The grid's rows as the map's, the ground marked: left and right sides cross them.
LevelMap MapOf(const BlockGrid& grid);

// Rows for columns: top and bottom sides cross them.
LevelMap Turned(const LevelMap& map);
