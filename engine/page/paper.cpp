#include "engine/page/paper.h"

#include "engine/page/order.h"
#include "engine/page/tuning.h"

namespace page {
namespace {

// How far the change across a cell lies outside of what the changes before and behind it foretell, in the worst channel
// and direction. A slope or a fold of any steepness gives about 0; the edge of a box or a picture its whole contrast.
Grid<float> Edges(const Grid<Colour>& ln) {
  constexpr int kReach = 3;
  const Grid<Colour> wide = Extended(ln, kReach);
  Grid<float> edges(ln.rows, ln.columns);
  for (int row = 0; row < ln.rows; row++) {
    for (int column = 0; column < ln.columns; column++) {
      float most = 0.0F;
      const auto along = [&](int rowStep, int columnStep) {
        const auto at = [&](int i) -> const Colour& {
          return wide.At(row + kReach + i * rowStep, column + kReach + i * columnStep);
        };
        for (size_t c = 0; c < 3; c++) {
          const float before = at(-1)[c] - at(-3)[c], here = at(1)[c] - at(-1)[c], behind = at(3)[c] - at(1)[c];
          most = std::max({most, here - std::max({before, behind, 0.0F}), std::min({before, behind, 0.0F}) - here});
        }
      };
      along(0, 1);
      along(1, 0);
      edges.At(row, column) = most;
    }
  }
  return edges;
}

// The usual change from a cell to the next.
float UsualChange(const Grid<Colour>& ln) {
  std::vector<float> changes;
  for (int row = 0; row < ln.rows; row++) {
    for (int column = 0; column + 1 < ln.columns; column++) {
      float most = 0.0F;
      for (size_t c = 0; c < 3; c++)
        most = std::max(most, std::fabs(ln.At(row, column + 1)[c] - ln.At(row, column)[c]));
      changes.push_back(most);
    }
  }
  return MedianOf(changes);
}

// The region that is most likely the paper; 0 without any.
size_t MainRegion(const Ground& ground, const Regions& regions) {
  size_t main = 0;
  double best = 0.0;
  for (size_t label = 1; label < regions.cells.size(); label++) {
    const std::vector<uint32_t>& cells = regions.cells[label];
    const auto size = static_cast<double>(cells.size());
    double inked = 0.0, light = 0.0;
    for (const uint32_t at : cells) {
      const float ln = ground.lnMean.cells[at];
      inked += ground.darkest.cells[at] < ln - kInk ? 1.0 : 0.0;
      light += double{std::exp(ln)};
    }
    double score = size * (kBlankCounts + std::min(1.0, kInkCounts * inked / size));
    if (!ground.reverse) score *= std::pow(light / size, kLightCounts);
    if (score > best) {
      best = score;
      main = label;
    }
  }
  return main;
}

// Adds what the surface foretells. False when nothing large was added.
bool AddForetold(const Ground& ground, const Regions& regions, Mask& paper, std::vector<uint8_t>& added) {
  const Grid<Colour> surface = Filled(ground.ln, paper);
  Grid<float> off(paper.rows, paper.columns), tint = off;
  for (size_t i = 0; i < off.Size(); i++) {
    Colour d;
    for (size_t c = 0; c < 3; c++) d[c] = ground.ln.cells[i][c] - surface.cells[i][c];
    const float mean = Mean(d);
    for (const float v : d) {
      off.cells[i] = std::max(off.cells[i], std::fabs(v));
      tint.cells[i] = std::max(tint.cells[i], std::fabs(v - mean));
    }
  }
  bool grew = false;
  std::vector<float> samples;
  const auto median = [&](const Grid<float>& of, const std::vector<uint32_t>& cells) {
    samples.clear();
    for (const uint32_t at : cells) samples.push_back(of.cells[at]);
    return MedianOf(samples);
  };
  for (size_t label = 1; label < regions.cells.size(); label++) {
    const std::vector<uint32_t>& cells = regions.cells[label];
    if (added[label] != 0) continue;
    const float most = cells.size() > kSmall ? kForetold : kForetoldSmall;
    if (median(off, cells) >= most || median(tint, cells) >= kForetoldTint) continue;
    for (const uint32_t at : cells) paper.cells[at] = 1;
    added[label] = 1;
    grew = true;
  }
  for (size_t i = 0; i < paper.Size(); i++) {
    if (regions.label.cells[i] == 0 && off.cells[i] < kForetold && tint.cells[i] < kForetoldTint) paper.cells[i] = 1;
  }
  return grew;
}

// Cells of a box around a component that its outline holds: what cannot be reached from the box's sides.
size_t Outlined(const Grid<int32_t>& label, int32_t of, int top, int bottom, int left, int right) {
  Mask reached(bottom - top, right - left);
  std::vector<uint32_t> open;
  size_t outside = 0;
  const auto reach = [&](int row, int column) {
    if (row < 0 || column < 0 || row >= reached.rows || column >= reached.columns) return;
    uint8_t& there = reached.At(row, column);
    if (there != 0 || label.At(top + row, left + column) == of) return;
    there = 1;
    outside++;
    open.push_back(static_cast<uint32_t>(reached.Index(row, column)));
  };
  for (int row = 0; row < reached.rows; row++) {
    reach(row, 0);
    reach(row, reached.columns - 1);
  }
  for (int column = 0; column < reached.columns; column++) {
    reach(0, column);
    reach(reached.rows - 1, column);
  }
  while (!open.empty()) {
    const int row = static_cast<int>(open.back()) / reached.columns,
              column = static_cast<int>(open.back()) % reached.columns;
    open.pop_back();
    reach(row - 1, column);
    reach(row + 1, column);
    reach(row, column - 1);
    reach(row, column + 1);
  }
  return reached.Size() - outside;
}

Mask FindObjects(const Mask& paper) {
  Mask other(paper.rows, paper.columns);
  for (size_t i = 0; i < other.Size(); i++) other.cells[i] = paper.cells[i] == 0;
  const Regions components = Connected(other);
  for (size_t label = 1; label < components.cells.size(); label++) {
    const std::vector<uint32_t>& cells = components.cells[label];
    if (cells.size() < kObject) continue;
    int top = paper.rows, bottom = 0, left = paper.columns, right = 0;
    for (const uint32_t at : cells) {
      const int row = static_cast<int>(at) / paper.columns, column = static_cast<int>(at) % paper.columns;
      top = std::min(top, row);
      bottom = std::max(bottom, row + 1);
      left = std::min(left, column);
      right = std::max(right, column + 1);
    }
    const double box = double(bottom - top) * (right - left);
    const auto outlined = Outlined(components.label, static_cast<int32_t>(label), top, bottom, left, right);
    if (static_cast<double>(outlined) <= kObjectShare * box) continue;
    for (int row = top; row < bottom; row++) std::fill_n(&other.At(row, left), right - left, uint8_t{1});
  }
  return other;
}

} // namespace

Paper FindPaper(const Ground& ground) {
  Paper found;
  found.step = std::clamp(kGrainSteps * UsualChange(ground.ln), kStep, kStepMost);
  Mask smooth(ground.ln.rows, ground.ln.columns);
  const Grid<float> edges = Edges(ground.ln);
  for (size_t i = 0; i < smooth.Size(); i++) smooth.cells[i] = edges.cells[i] < found.step;
  const Regions regions = Connected(smooth);
  found.paper = Mask(smooth.rows, smooth.columns);
  const size_t main = MainRegion(ground, regions);
  std::vector<uint8_t> added(regions.cells.size());
  if (main != 0) {
    for (const uint32_t at : regions.cells[main]) found.paper.cells[at] = 1;
    added[main] = 1;
    for (int round = 0; round < kRounds; round++) {
      if (!AddForetold(ground, regions, found.paper, added)) break;
    }
  }
  found.object = FindObjects(found.paper);
  found.known = found.paper;
  size_t known = 0;
  for (size_t i = 0; i < found.known.Size(); i++) {
    if (found.object.cells[i] != 0) found.known.cells[i] = 0;
    known += found.known.cells[i];
  }
  if (static_cast<double>(known) < kLeastKnown * static_cast<double>(found.known.Size())) found.known = found.paper;
  return found;
}

} // namespace page
