#include "engine/page/surface.h"

#include "engine/page/histogram.h"

namespace page {
namespace {

// Half of a cell's pixels, as on a chess board.
template <class Visit>
void ForEachPixel(const Planes& planes, int row, int column, Visit visit) {
  for (int y = 0; y < kCell; y++) {
    const uint8_t* pixel = planes.Mean(column * kCell + y % 2, row * kCell + y);
    for (int x = 0; x < kCell; x += 2, pixel += 6) visit(pixel);
  }
}

// What choosing the lightest adds to the ground, by grain, and the grain: measured on cells without ink.
struct Grain {
  float bias, deviation; // ln
};

Grain MeasureGrain(const Planes& planes, const Levels& levels, const Ground& ground, const Paper& paper) {
  Mask blank = paper.known;
  size_t blanks = 0;
  for (size_t i = 0; i < blank.Size(); i++) {
    if (ground.darkest.cells[i] <= ground.ln.cells[i][3] - 3.0F * paper.step) blank.cells[i] = 0;
    blanks += blank.cells[i];
  }
  if (blanks < 50) blank = paper.known;
  Histogram above(-0.5F, 0.5F);
  for (int row = 0; row < blank.rows; row++) {
    for (int column = 0; column < blank.columns; column++) {
      if (blank.At(row, column) == 0) continue;
      const float ln = ground.ln.At(row, column)[3];
      for (int i = 0; i < kCell; i++) {
        const uint8_t* pixel = planes.Mean(column * kCell + i, row * kCell + i);
        above.Add(ln - levels.LogOf(Levels::SumOf(pixel)));
      }
    }
  }
  const double bias = above.Percentile(50.0);
  return {static_cast<float>(bias), kSigmas * static_cast<float>(above.Around(bias).Percentile(50.0))};
}

// Sums of paper's pixels: 16 bits each for R, G, B and, highest, their number. Three by three cells' fit: 72 bytes.
using Sums = uint64_t;
float SumOf(Sums sums, size_t of) { return static_cast<float>((sums >> (16 * of)) & 0xFFFF); }

// Paper's own pixels. The band is narrow and has two sides: faint ink, 10 to 20 % darker, must not darken the paper.
Grid<Sums> SumPaper(const Planes& planes, const Levels& levels, const Ground& ground, const Paper& paper,
                    const Grain& grain) {
  const float band = std::max(kBandLeast, kBandGrains * grain.deviation);
  Grid<Sums> sums(paper.known.rows, paper.known.columns);
  for (int row = 0; row < sums.rows; row++) {
    for (int column = 0; column < sums.columns; column++) {
      if (paper.known.At(row, column) == 0) continue;
      const float middle = ground.ln.At(row, column)[3] - grain.bias;
      Sums sum = 0;
      ForEachPixel(planes, row, column, [&](const uint8_t* pixel) {
        const Sums one = Sums{pixel[0]} | Sums{pixel[1]} << 16 | Sums{pixel[2]} << 32 | Sums{1} << 48;
        const bool within = std::fabs(levels.LogOf(Levels::SumOf(pixel)) - middle) < band;
        sum += one & (0 - static_cast<Sums>(within));
      });
      sums.At(row, column) = sum;
    }
  }
  return sums;
}

// Of three cells each way.
Grid<Sums> Gathered(const Grid<Sums>& sums) {
  Grid<Sums> across = sums;
  const auto columns = static_cast<size_t>(sums.columns);
  const auto add = [](const Sums* from, Sums* __restrict to, size_t n) {
    for (size_t i = 0; i < n; i++) to[i] += from[i];
  };
  for (int row = 0; row < sums.rows; row++) {
    add(&sums.At(row, 0), &across.At(row, 0) + 1, columns - 1);
    add(&sums.At(row, 0) + 1, &across.At(row, 0), columns - 1);
  }
  Grid<Sums> gathered = across;
  for (int row = 0; row < sums.rows; row++) {
    if (row > 0) add(&across.At(row - 1, 0), &gathered.At(row, 0), columns);
    if (row + 1 < sums.rows) add(&across.At(row + 1, 0), &gathered.At(row, 0), columns);
  }
  return gathered;
}

// The display level of a mean of linear ones.
float LevelOfMean(const Levels& levels, float mean) {
  const auto whole = static_cast<size_t>(mean);
  const float below = levels.level[whole], above = levels.level[std::min<size_t>(whole + 1, 255)];
  return below + (mean - static_cast<float>(whole)) * (above - below);
}

} // namespace

Surface MeasureSurface(const Planes& planes, const Levels& levels, const Ground& ground, const Paper& paper) {
  const int rows = ground.ln.rows, columns = ground.ln.columns;
  const Grain grain = MeasureGrain(planes, levels, ground, paper);
  const Grid<Sums> sums = Gathered(SumPaper(planes, levels, ground, paper, grain));
  Grid<Colour> local(rows, columns);
  for (size_t i = 0; i < local.Size(); i++) {
    if (paper.known.cells[i] == 0) continue;
    const float count = SumOf(sums.cells[i], 3);
    for (size_t c = 0; c < 3; c++) {
      local.cells[i][c] = count >= kEnough ? std::max(LevelOfMean(levels, SumOf(sums.cells[i], c) / count), kDarkest)
                                           : std::exp(ground.ln.cells[i][c] - grain.bias);
    }
  }
  Surface surface = {Filled(local, paper.known), paper.known, paper.known};
  Blur(surface.level, kSmooth);

  Mask large = Inverted(paper.known);
  const Regions regions = Connected(large);
  for (size_t label = 1; label < regions.Labels(); label++) {
    if (regions.Cells(label).size() >= kSmall) continue;
    for (const uint32_t at : regions.Cells(label)) large.cells[at] = 0;
  }
  const Mask beside = Grown(large);
  for (size_t i = 0; i < large.Size(); i++) {
    if (beside.cells[i] != 0 || ground.marked.cells[i] != 0) surface.strokes.cells[i] = 0;
  }
  return surface;
}

} // namespace page
