#include "engine/page/paper.h"

#include <optional>

#include "engine/common/reached.h"
#include "engine/page/tuning.h"

namespace page {
namespace {

// How far `here`, the change across a number, lies outside of what the changes before and behind it foretell; the
// numbers stand `step` apart. Takes the larger of that and of `edges`.
void TakeEdges(const float* v, std::ptrdiff_t step, float* __restrict edges, size_t n) {
  const float *v3 = v - 3 * step, *v1 = v - step, *w1 = v + step, *w3 = v + 3 * step;
  for (size_t i = 0; i < n; i++) {
    const float before = v1[i] - v3[i], here = w1[i] - v1[i], behind = w3[i] - w1[i];
    const float most = std::max(std::max(before, behind), 0.0F), least = std::min(std::min(before, behind), 0.0F);
    edges[i] = std::max(edges[i], std::max(here - most, least - here));
  }
}

// In the worst channel and direction. A slope or a fold of any steepness gives about 0; the edge of a box or a picture
// its whole contrast.
Grid<float> Edges(const Grid<Colour>& ln) {
  constexpr int kReach = 3;
  constexpr size_t kLanes = sizeof(Colour) / sizeof(float);
  const Grid<Colour> wide = Extended(ln, kReach);
  Grid<float> edges(ln.rows, ln.columns);
  std::vector<float> lanes(kLanes * static_cast<size_t>(ln.columns));
  for (int row = 0; row < ln.rows; row++) {
    std::fill(lanes.begin(), lanes.end(), 0.0F);
    const float* from = Numbers(wide, row + kReach) + kReach * kLanes;
    TakeEdges(from, kLanes, lanes.data(), lanes.size());
    TakeEdges(from, static_cast<std::ptrdiff_t>(kLanes) * wide.columns, lanes.data(), lanes.size());
    for (int column = 0; column < ln.columns; column++) {
      const float* v = &lanes[kLanes * static_cast<size_t>(column)];
      edges.At(row, column) = std::max({v[0], v[1], v[2]});
    }
  }
  return edges;
}

// The upper one of two in the middle; reorders the samples; 0 without any.
float MedianOf(std::vector<float>& samples) {
  if (samples.empty()) return 0.0F;
  const auto half = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
  std::nth_element(samples.begin(), half, samples.end());
  return *half;
}

Colour MedianColour(const Ground& ground, std::span<const uint32_t> cells) {
  Colour colour = {};
  std::vector<float> samples;
  for (size_t c = 0; c < 3; c++) {
    samples.clear();
    for (const uint32_t at : cells) samples.push_back(ground.ln.cells[at][c]);
    colour[c] = MedianOf(samples);
  }
  return colour;
}

// The usual change from a cell to the next, in every second line.
float UsualChange(const Grid<Colour>& ln) {
  std::vector<float> changes;
  changes.reserve(ln.Size() / 2 + static_cast<size_t>(ln.columns));
  for (int row = 0; row < ln.rows; row += 2) {
    const Colour* line = &ln.At(row, 0);
    for (int i = 0; i + 1 < ln.columns; i++) {
      const Colour &a = line[i], &b = line[i + 1];
      changes.push_back(std::max({std::fabs(b[0] - a[0]), std::fabs(b[1] - a[1]), std::fabs(b[2] - a[2])}));
    }
  }
  return MedianOf(changes);
}

// The region that is most likely the paper; 0 without any.
size_t MainRegion(const Ground& ground, const Regions& regions) {
  size_t main = 0;
  double best = 0.0;
  for (size_t label = 1; label < regions.Labels(); label++) {
    const std::span<const uint32_t> cells = regions.Cells(label);
    const auto size = static_cast<double>(cells.size());
    double inked = 0.0, light = 0.0;
    for (const uint32_t at : cells) {
      inked += ground.HoldsInk(at) ? 1.0 : 0.0;
      light += static_cast<double>(std::exp(ground.ln.cells[at][3]));
    }
    const double ink = std::min(1.0, kInkCounts * inked / size);
    double score = size * (kBlankCounts + ink);
    if (!ground.reverse) score *= std::pow(light / size, kLightCounts + kBlankLightCounts * (1.0 - ink));
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
    if (paper.cells[i] != 0) continue;
    const Colour &a = ground.ln.cells[i], &b = surface.cells[i];
    const Colour d = {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
    const float mean = Mean(d);
    off.cells[i] = std::max({std::fabs(d[0]), std::fabs(d[1]), std::fabs(d[2])});
    tint.cells[i] = std::max({std::fabs(d[0] - mean), std::fabs(d[1] - mean), std::fabs(d[2] - mean)});
  }
  bool grew = false;
  std::vector<float> samples;
  const auto median = [&](const Grid<float>& of, std::span<const uint32_t> cells) {
    samples.clear();
    for (const uint32_t at : cells) samples.push_back(of.cells[at]);
    return MedianOf(samples);
  };
  for (size_t label = 1; label < regions.Labels(); label++) {
    const std::span<const uint32_t> cells = regions.Cells(label);
    if (added[label] != 0) continue;
    const float most = cells.size() > kSmall ? kForetold : kForetoldSmall;
    if (median(off, cells) >= most || median(tint, cells) >= kForetoldTint) continue;
    for (const uint32_t at : cells) paper.cells[at] = 1;
    added[label] = 1;
    grew = true;
  }
  for (size_t i = 0; i < paper.Size(); i++) {
    if (paper.cells[i] == 0 && regions.label.cells[i] == 0 && off.cells[i] < kForetold && tint.cells[i] < kForetoldTint)
      paper.cells[i] = 1;
  }
  return grew;
}

// A large region as a sheet beside the paper: the other page of a book, beyond the gutter. It is as light as the paper,
// of its colour, written on, and unlike a box that is printed on the paper it does not border on it with a step.
bool IsSheet(const Ground& ground, const Regions& regions, size_t label, const Mask& paper, const Colour& main) {
  const std::span<const uint32_t> cells = regions.Cells(label);
  const auto inked = std::count_if(cells.begin(), cells.end(), [&](uint32_t at) { return ground.HoldsInk(at); });
  if (static_cast<double>(inked) < kSheetInk * static_cast<double>(cells.size())) return false;
  Colour off = MedianColour(ground, cells);
  for (size_t c = 0; c < 3; c++) off[c] -= main[c];
  const float level = Mean(off);
  if (std::fabs(level) > kSheetLevel) return false;
  for (size_t c = 0; c < 3; c++) {
    if (std::fabs(off[c] - level) > kSheetTint) return false;
  }
  constexpr int kAcross = 4; // cells that an edge may be wide
  constexpr int kWays[4][2] = {{0, 1}, {0, -1}, {1, 0}, {-1, 0}};
  size_t border = 0, stepped = 0;
  for (const uint32_t at : cells) {
    const int row = static_cast<int>(at) / paper.columns, column = static_cast<int>(at) % paper.columns;
    for (const auto& way : kWays) {
      for (int i = 1; i <= kAcross; i++) {
        const int r = row + i * way[0], c = column + i * way[1];
        if (r < 0 || r >= paper.rows || c < 0 || c >= paper.columns) break;
        const size_t other = paper.Index(r, c);
        if (regions.label.cells[other] == static_cast<int32_t>(label)) break;
        border += i == 1 ? 1 : 0;
        if (paper.cells[other] == 0) continue;
        stepped += std::fabs(ground.ln.cells[at][3] - ground.ln.cells[other][3]) > kForetold ? 1 : 0;
        break;
      }
    }
  }
  return static_cast<double>(stepped) < kSheetStepped * static_cast<double>(border);
}

// Adds the sheets beside the paper. False when there are none.
bool AddSheets(const Ground& ground, const Regions& regions, size_t main, Mask& paper, std::vector<uint8_t>& added) {
  std::optional<Colour> level; // wanted on few pages, and medians take their time
  bool any = false;
  for (size_t label = 1; label < regions.Labels(); label++) {
    const auto cells = static_cast<double>(regions.Cells(label).size());
    if (added[label] != 0 || cells < kSheetLeast * static_cast<double>(paper.Size())) continue;
    if (!level) level = MedianColour(ground, regions.Cells(main));
    if (!IsSheet(ground, regions, label, paper, *level)) continue;
    for (const uint32_t at : regions.Cells(label)) paper.cells[at] = 1;
    added[label] = 1;
    any = true;
  }
  return any;
}

// Cells of a box around a component that its outline holds: what cannot be reached from the box's sides.
size_t Outlined(const Grid<int32_t>& label, int32_t of, int top, int bottom, int left, int right) {
  const std::vector<uint8_t> reached = ReachedFromEdge(
      right - left, bottom - top, [&](int column, int row) { return label.At(top + row, left + column) != of; });
  return static_cast<size_t>(std::count(reached.begin(), reached.end(), 0));
}

Mask FindObjects(const Mask& paper) {
  Mask other(paper.rows, paper.columns);
  for (size_t i = 0; i < other.Size(); i++) other.cells[i] = paper.cells[i] == 0;
  const Regions components = Connected(other);
  for (size_t label = 1; label < components.Labels(); label++) {
    const std::span<const uint32_t> cells = components.Cells(label);
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

// Paper, objects and what is known, from cells that have no edge.
void Lay(const Ground& ground, const Mask& smooth, Paper& found) {
  const Regions regions = Connected(smooth);
  found.paper = Mask(smooth.rows, smooth.columns);
  const size_t main = MainRegion(ground, regions);
  std::vector<uint8_t> added(regions.Labels());
  if (main != 0) {
    for (const uint32_t at : regions.Cells(main)) found.paper.cells[at] = 1;
    added[main] = 1;
    const auto addForetold = [&] {
      for (int round = 0; round < kRounds; round++) {
        if (!AddForetold(ground, regions, found.paper, added)) break;
      }
    };
    addForetold();
    if (!ground.reverse && AddSheets(ground, regions, main, found.paper, added)) addForetold();
  }
  found.object = FindObjects(found.paper);
  found.known = found.paper;
  size_t known = 0;
  for (size_t i = 0; i < found.known.Size(); i++) {
    if (found.object.cells[i] != 0) found.known.cells[i] = 0;
    known += found.known.cells[i];
  }
  if (static_cast<double>(known) < kLeastKnown * static_cast<double>(found.known.Size())) found.known = found.paper;
}

// Steps within what was taken for paper: even on both sides, with another level on each. Cells of them, over the side
// of a square page.
double LeakOf(const Ground& ground, const Mask& known) {
  constexpr int kNear = 3, kFar = 6; // cells from the step
  const auto isStep = [&](int row, int column, int down, int across) {
    const auto at = [&](int i) { return known.Index(row + i * down, column + i * across); };
    for (const int i : {-kFar, -kNear, kNear, kFar}) {
      if (known.cells[at(i)] == 0) return false;
    }
    const auto ln = [&](int i) { return ground.ln.cells[at(i)][3]; };
    const float change = std::fabs(ln(kNear) - ln(-kNear)), even = kLeakEven * change;
    return change > kLeakStep && std::fabs(ln(-kNear) - ln(-kFar)) < even && std::fabs(ln(kNear) - ln(kFar)) < even;
  };
  size_t steps = 0;
  for (int row = kFar; row < known.rows - kFar; row++) {
    for (int column = kFar; column < known.columns - kFar; column++) {
      steps += isStep(row, column, 0, 1) || isStep(row, column, 1, 0) ? 1 : 0;
    }
  }
  return static_cast<double>(steps) / std::sqrt(static_cast<double>(known.Size()));
}

} // namespace

Paper FindPaper(const Ground& ground) {
  Paper found;
  found.step = std::clamp(kGrainSteps * UsualChange(ground.ln), kStep, kStepMost);
  Mask smooth(ground.ln.rows, ground.ln.columns);
  const Grid<float> edges = Edges(ground.ln);
  for (size_t i = 0; i < smooth.Size(); i++) smooth.cells[i] = edges.cells[i] < found.step;
  Lay(ground, smooth, found);
  found.leak = LeakOf(ground, found.known);
  if (found.leak <= kLeakMost) return found;
  // A picture's edge is soft somewhere. With wider edges the gap is closed.
  Mask edge(smooth.rows, smooth.columns);
  for (size_t i = 0; i < edge.Size(); i++) edge.cells[i] = smooth.cells[i] == 0;
  for (int i = 0; i < kLeakWidth; i++) edge = Grown(edge);
  for (size_t i = 0; i < edge.Size(); i++) smooth.cells[i] = edge.cells[i] == 0;
  Lay(ground, smooth, found);
  found.leak = LeakOf(ground, found.known);
  return found;
}

} // namespace page
