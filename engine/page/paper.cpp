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

// How far a number lies below both that stand `reach` away. Takes the larger of that and of `folds`.
void TakeFolds(const float* v, std::ptrdiff_t reach, float* __restrict folds, size_t n) {
  const float *before = v - reach, *behind = v + reach;
  for (size_t i = 0; i < n; i++) folds[i] = std::max(folds[i], std::min(before[i], behind[i]) - v[i]);
}

struct Edges {
  Grid<float> edge; // in the worst channel and direction
  Grid<float> fold; // of brightness, in the worse direction
};

// A slope of any steepness gives about 0; the edge of a box or a picture its whole contrast. At the bottom of a fold
// any jump is foretold by the slopes that meet there: what lies on one side would run into what lies on the other.
Edges FindEdges(const Grid<Colour>& ln) {
  constexpr int kReach = 2 * kClosed + 1; // the ground of a fold is level over twice kClosed
  constexpr size_t kLanes = sizeof(Colour) / sizeof(float);
  const Grid<Colour> wide = Extended(ln, kReach);
  const auto line = static_cast<std::ptrdiff_t>(kLanes) * wide.columns;
  Edges found = {Grid<float>(ln.rows, ln.columns), Grid<float>(ln.rows, ln.columns)};
  std::vector<float> edges(kLanes * static_cast<size_t>(ln.columns)), folds(edges.size());
  for (int row = 0; row < ln.rows; row++) {
    std::fill(edges.begin(), edges.end(), 0.0F);
    std::fill(folds.begin(), folds.end(), 0.0F);
    const float* from = Numbers(wide, row + kReach) + kReach * kLanes;
    for (const std::ptrdiff_t step : {static_cast<std::ptrdiff_t>(kLanes), line}) {
      TakeEdges(from, step, edges.data(), edges.size());
      TakeFolds(from, kReach * step, folds.data(), folds.size());
    }
    for (int column = 0; column < ln.columns; column++) {
      const size_t at = kLanes * static_cast<size_t>(column);
      found.edge.At(row, column) = std::max({edges[at], edges[at + 1], edges[at + 2]});
      found.fold.At(row, column) = folds[at + 3];
    }
  }
  return found;
}

// The smallest upright box around cells.
struct Box {
  int top, bottom, left, right;
  double Cells() const { return static_cast<double>(bottom - top) * (right - left); }
};

Box BoxAround(std::span<const uint32_t> cells, const Mask& grid) {
  Box box = {grid.rows, 0, grid.columns, 0};
  for (const uint32_t at : cells) {
    const int row = static_cast<int>(at) / grid.columns, column = static_cast<int>(at) % grid.columns;
    box = {std::min(box.top, row), std::max(box.bottom, row + 1), std::min(box.left, column),
           std::max(box.right, column + 1)};
  }
  return box;
}

// The parts of a mask that run along a good share of the grid, as a gutter does.
Mask LongParts(const Mask& mask) {
  const Regions parts = Connected(mask);
  Mask longOnes(mask.rows, mask.columns);
  for (size_t label = 1; label < parts.Labels(); label++) {
    const std::span<const uint32_t> cells = parts.Cells(label);
    const Box box = BoxAround(cells, mask);
    if (box.bottom - box.top < kFoldLeast * mask.rows && box.right - box.left < kFoldLeast * mask.columns) continue;
    for (const uint32_t at : cells) longOnes.cells[at] = 1;
  }
  return longOnes;
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
// of its colour, written on, and unlike a box that is printed on the paper it does not border on it with a step. A
// blank one borders on it without any.
bool IsSheet(const Ground& ground, const Regions& regions, size_t label, const Mask& paper, const Colour& main) {
  const std::span<const uint32_t> cells = regions.Cells(label);
  const auto inked = std::count_if(cells.begin(), cells.end(), [&](uint32_t at) { return ground.HoldsInk(at); });
  const bool blank = static_cast<double>(inked) < kSheetInk * static_cast<double>(cells.size());
  Colour off = MedianColour(ground, cells);
  for (size_t c = 0; c < 3; c++) off[c] -= main[c];
  const float level = Mean(off);
  if (std::fabs(level) > kSheetLevel) return false;
  for (size_t c = 0; c < 3; c++) {
    if (std::fabs(off[c] - level) > kSheetTint) return false;
  }
  constexpr int kAcross = 4; // cells that an edge may be wide
  constexpr int kWays[4][2] = {{0, 1}, {0, -1}, {1, 0}, {-1, 0}};
  size_t border = 0, met = 0, stepped = 0;
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
        met++;
        stepped += std::fabs(ground.ln.cells[at][3] - ground.ln.cells[other][3]) > kForetold ? 1 : 0;
        break;
      }
    }
  }
  const auto shareOf = [&](size_t count) { return static_cast<double>(count) / static_cast<double>(border); };
  if (blank && shareOf(met) < kBlankSheetMet) return false;
  return shareOf(stepped) < (blank ? kBlankSheetStepped : kSheetStepped);
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
size_t Outlined(const Grid<int32_t>& label, int32_t of, const Box& box) {
  const std::vector<uint8_t> reached =
      ReachedFromEdge(box.right - box.left, box.bottom - box.top,
                      [&](int column, int row) { return label.At(box.top + row, box.left + column) != of; });
  return static_cast<size_t>(std::count(reached.begin(), reached.end(), 0));
}

void Fill(Mask& mask, const Box& box) {
  for (int row = box.top; row < box.bottom; row++)
    std::fill_n(&mask.At(row, box.left), box.right - box.left, uint8_t{1});
}

// Whether most of these cells lie in a box.
bool HoldsMost(const Box& box, std::span<const uint32_t> cells, int columns) {
  const auto within = std::count_if(cells.begin(), cells.end(), [&](uint32_t at) {
    const int row = static_cast<int>(at) / columns, column = static_cast<int>(at) % columns;
    return box.top <= row && row < box.bottom && box.left <= column && column < box.right;
  });
  return 2 * static_cast<size_t>(within) > cells.size();
}

// Whether a few cells are hardly other than the paper around them.
bool IsSpeck(const Ground& ground, const Mask& paper, std::span<const uint32_t> cells, const Box& box) {
  constexpr int kAround = 2; // cells
  Colour sum = {};
  float count = 0.0F;
  for (int row = std::max(box.top - kAround, 0); row < std::min(box.bottom + kAround, paper.rows); row++) {
    for (int column = std::max(box.left - kAround, 0); column < std::min(box.right + kAround, paper.columns);
         column++) {
      if (paper.At(row, column) == 0) continue;
      for (size_t c = 0; c < 3; c++) sum[c] += ground.ln.At(row, column)[c];
      count++;
    }
  }
  return std::all_of(cells.begin(), cells.end(), [&](uint32_t at) {
    for (size_t c = 0; c < 3; c++) {
      if (std::fabs(count * ground.ln.cells[at][c] - sum[c]) >= count * kForetoldSmall) return false;
    }
    return true;
  });
}

// Specks become paper: JPEG keeps colour more coarsely than strokes, so that a dyed sheet's fades beside them, within a
// cell or two. `components`: of what is not paper.
void AddSpecks(const Ground& ground, const Regions& components, Mask& paper) {
  for (size_t label = 1; label < components.Labels(); label++) {
    const std::span<const uint32_t> cells = components.Cells(label);
    if (cells.size() > kSmall || !IsSpeck(ground, paper, cells, BoxAround(cells, paper))) continue;
    for (const uint32_t at : cells) paper.cells[at] = 1;
  }
}

// What is not paper, and pictures as whole boxes. Those that run off the scan are added to the sheet. What surrounds
// the paper's main region is no picture, but a lid or a frame. `components`: of what is not paper, specks among them.
Mask FindObjects(const Mask& paper, const Regions& components, std::span<const uint32_t> main, Mask& sheet) {
  Mask other = Inverted(paper);
  sheet = paper;
  for (size_t label = 1; label < components.Labels(); label++) {
    const std::span<const uint32_t> cells = components.Cells(label);
    if (cells.size() < kObject) continue;
    const Box box = BoxAround(cells, paper);
    const auto outlined = static_cast<double>(Outlined(components.label, static_cast<int32_t>(label), box));
    if (outlined <= kObjectShare * box.Cells() || HoldsMost(box, main, paper.columns)) continue;
    Fill(other, box);
    if (outlined > kPictureFilled * box.Cells()) Fill(sheet, box);
  }
  return other;
}

// Adds the bottoms of folds between paper and paper. False when there are none.
bool AddFolds(const Mask& fold, Mask& paper) {
  constexpr int kAcross = 8; // cells from the bottom of a fold to where it is none
  const Mask before = paper;
  const auto isPaper = [&](int row, int column, int down, int across) {
    for (int i = 1; i <= kAcross; i++) {
      const int r = row + i * down, c = column + i * across;
      if (r < 0 || r >= paper.rows || c < 0 || c >= paper.columns) return false;
      if (before.At(r, c) != 0) return true;
      if (fold.At(r, c) == 0) return false;
    }
    return false;
  };
  for (int row = 0; row < paper.rows; row++) {
    for (int column = 0; column < paper.columns; column++) {
      if (fold.At(row, column) == 0) continue;
      const bool between = (isPaper(row, column, 0, -1) && isPaper(row, column, 0, 1)) ||
                           (isPaper(row, column, -1, 0) && isPaper(row, column, 1, 0));
      if (between) paper.At(row, column) = 1;
    }
  }
  return paper.cells != before.cells;
}

bool IsAtEdge(uint32_t at, const Mask& grid) {
  const int row = static_cast<int>(at) / grid.columns, column = static_cast<int>(at) % grid.columns;
  return row == 0 || column == 0 || row == grid.rows - 1 || column == grid.columns - 1;
}

float MeanLight(const Ground& ground, std::span<const uint32_t> cells) {
  float sum = 0.0F;
  for (const uint32_t at : cells) sum += ground.ln.cells[at][3];
  return sum / static_cast<float>(std::max<size_t>(cells.size(), 1));
}

// Large regions that lie around everything, at the edges of the scan, darker than the paper's main region: the lid.
// Empty where there is none. What lies on a light ground may as well be film on a light table.
Mask FindLid(const Ground& ground, const Regions& regions, size_t main, const Mask& paper) {
  const float light = MeanLight(ground, regions.Cells(main));
  Mask lid(paper.rows, paper.columns);
  for (size_t label = 1; label < regions.Labels(); label++) {
    const std::span<const uint32_t> cells = regions.Cells(label);
    if (static_cast<double>(cells.size()) < kLidLeast * static_cast<double>(paper.Size())) continue;
    const bool reaches = std::any_of(cells.begin(), cells.end(), [&](uint32_t at) { return IsAtEdge(at, paper); });
    if (paper.cells[cells[0]] != 0 || !reaches || MeanLight(ground, cells) >= light) continue;
    for (const uint32_t at : cells) lid.cells[at] = 1;
  }
  return ShareOfBorder(lid) < kLidBorder ? Mask() : lid;
}

// Paper, objects and what is known, from cells that have no edge and are not the bottom of a fold.
void Lay(const Ground& ground, const Mask& smooth, const Mask& fold, Paper& found) {
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
    if (AddFolds(fold, found.paper)) addForetold();
  }
  found.lid = FindLid(ground, regions, main, found.paper);
  const Regions components = Connected(Inverted(found.paper));
  AddSpecks(ground, components, found.paper);
  found.object = FindObjects(found.paper, components, regions.Cells(main), found.sheet);
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
  Mask edge(ground.ln.rows, ground.ln.columns), fold = edge;
  const Edges edges = FindEdges(ground.ln);
  for (size_t i = 0; i < edge.Size(); i++) {
    edge.cells[i] = edges.edge.cells[i] >= found.step;
    fold.cells[i] = !ground.reverse && edges.fold.cells[i] >= kFold;
  }
  fold = LongParts(Grown(fold)); // a line without gaps
  for (size_t i = 0; i < fold.Size(); i++) {
    const float most = std::min(kFoldRough, std::max(found.step, kFoldStepped * edges.fold.cells[i]));
    if (edges.edge.cells[i] >= most) fold.cells[i] = 0;
  }
  const auto smooth = [&] {
    Mask cells(edge.rows, edge.columns);
    for (size_t i = 0; i < cells.Size(); i++) cells.cells[i] = edge.cells[i] == 0 && fold.cells[i] == 0;
    return cells;
  };
  Lay(ground, smooth(), fold, found);
  found.leak = LeakOf(ground, found.known);
  if (found.leak <= kLeakMost) return found;
  // A picture's edge is soft somewhere. With wider edges the gap is closed.
  for (int i = 0; i < kLeakWidth; i++) edge = Grown(edge);
  Lay(ground, smooth(), fold, found);
  found.leak = LeakOf(ground, found.known);
  return found;
}

} // namespace page
