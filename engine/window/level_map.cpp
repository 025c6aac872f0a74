#include "engine/window/level_map.h"

#include <algorithm>

#include "engine/common/reached.h"
#include "engine/window/tuning.h"

namespace {

// The blocks that are reached from the scan's edge over even ones: lid, mount, holder, light table; in a picture that
// fills the scan an even sky.
void MarkGround(LevelMap& map) {
  const int step = std::max(kGroundStep, kGroundNoise * map.noise);
  const auto even = [&](int a, int l) {
    const LevelMap::Cell& cell = map.At(a, l);
    return (a == 0 || Apart(cell, map.At(a - 1, l)) <= step) &&
           (a + 1 == map.across || Apart(cell, map.At(a + 1, l)) <= step) &&
           (l == 0 || Apart(cell, map.At(a, l - 1)) <= step) &&
           (l + 1 == map.along || Apart(cell, map.At(a, l + 1)) <= step);
  };
  const std::vector<uint8_t> ground = ReachedFromEdge(map.across, map.along, even);
  for (size_t i = 0; i < ground.size(); i++) map.cells[i].ground = ground[i];
}

} // namespace

void MeasureNoise(LevelMap& map) {
  std::vector<int16_t> steps;
  for (int l = 0; l + 1 < map.along; l += 2) {
    for (int a = 0; a < map.across; a += 2)
      steps.push_back(static_cast<int16_t>(Apart(map.At(a, l), map.At(a, l + 1))));
  }
  if (steps.empty()) return;
  const auto quarter = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 4);
  std::nth_element(steps.begin(), quarter, steps.end());
  map.noise = std::min<int>(*quarter, kMostNoise);
}

LevelMap::Cell MedianOf(std::span<const LevelMap::Cell> cells) {
  LevelMap::Cell median = {};
  std::vector<int16_t> samples(cells.size());
  const auto half = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
  for (int c = 0; c < 3; c++) {
    for (size_t i = 0; i < cells.size(); i++) samples[i] = cells[i].level[c];
    std::nth_element(samples.begin(), half, samples.end());
    median.level[c] = *half;
  }
  return median;
}

LevelMap MapOf(const BlockGrid& grid) {
  LevelMap map;
  map.across = grid.columns;
  map.along = grid.rows;
  map.cells.resize(grid.Size());
  for (size_t i = 0; i < map.cells.size(); i++) {
    for (int c = 0; c < 3; c++) {
      map.cells[i].level[c] = static_cast<int16_t>(grid.level[c][i] * LevelMap::kUnit + 0.5);
    }
  }
  MeasureNoise(map);
  MarkGround(map);
  return map;
}

LevelMap Turned(const LevelMap& map) {
  LevelMap turned;
  turned.across = map.along;
  turned.along = map.across;
  turned.noise = map.noise;
  turned.cells.resize(map.cells.size());
  for (int l = 0; l < map.along; l++) {
    for (int a = 0; a < map.across; a++) turned.At(l, a) = map.At(a, l);
  }
  return turned;
}
