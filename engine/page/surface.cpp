#include "engine/page/surface.h"

#include "engine/page/histogram.h"

namespace page {
namespace {

// Half of a cell's pixels, as on a chess board.
template <class Visit>
void ForEachPixel(const Planes& planes, int row, int column, Visit visit) {
  for (int y = 0; y < kCell; y++) {
    const uint8_t* pixel = planes.mean + 3 * planes.At(column * kCell + y % 2, row * kCell + y);
    for (int x = 0; x < kCell; x += 2, pixel += 6) visit(pixel);
  }
}

template <class Visit>
void ForEachCell(const Mask& mask, Visit visit) {
  for (int row = 0; row < mask.rows; row++) {
    for (int column = 0; column < mask.columns; column++) {
      if (mask.At(row, column) != 0) visit(row, column);
    }
  }
}

} // namespace

Surface MeasureSurface(const Planes& planes, const Levels& levels, const Ground& ground, const Paper& paper) {
  const int rows = ground.ln.rows, columns = ground.ln.columns;
  const Grid<float>& ln = ground.lnMean;

  // What choosing the lightest adds to the ground, by grain: measured on cells without ink.
  Mask blank = paper.known;
  size_t blanks = 0;
  for (size_t i = 0; i < blank.Size(); i++) {
    if (ground.darkest.cells[i] <= ln.cells[i] - 3.0F * paper.step) blank.cells[i] = 0;
    blanks += blank.cells[i];
  }
  if (blanks < 50) blank = paper.known;
  Histogram above(-0.5F, 0.5F);
  ForEachCell(blank, [&](int row, int column) {
    ForEachPixel(planes, row, column, [&](const uint8_t* pixel) { above.Add(ln.At(row, column) - levels.LogOfPixel(pixel)); });
  });
  const auto bias = static_cast<float>(above.Percentile(50.0));
  Histogram spread(0.0F, 0.5F);
  ForEachCell(blank, [&](int row, int column) {
    ForEachPixel(planes, row, column,
                 [&](const uint8_t* pixel) { spread.Add(std::fabs(ln.At(row, column) - levels.LogOfPixel(pixel) - bias)); });
  });
  const float grain = kSigmas * static_cast<float>(spread.Percentile(50.0));
  const float band = std::max(kBandLeast, kBandGrains * grain);

  // Paper's own pixels. The band is narrow and has two sides: faint ink, 10 to 20 % darker, must not darken the paper.
  struct Sum {
    Colour level = {};
    float count = 0.0F;
  };
  Grid<Sum> sums(rows, columns);
  ForEachCell(paper.known, [&](int row, int column) {
    Sum& sum = sums.At(row, column);
    ForEachPixel(planes, row, column, [&](const uint8_t* pixel) {
      if (std::fabs(levels.LogOfPixel(pixel) - (ln.At(row, column) - bias)) >= band) return;
      for (size_t c = 0; c < 3; c++) sum.level[c] += levels.level[pixel[c]];
      sum.count += 1.0F;
    });
  });
  Grid<Colour> local(rows, columns);
  ForEachCell(paper.known, [&](int row, int column) {
    Sum sum;
    for (int r = std::max(row - 1, 0); r <= std::min(row + 1, rows - 1); r++) {
      for (int c = std::max(column - 1, 0); c <= std::min(column + 1, columns - 1); c++) {
        for (size_t i = 0; i < 3; i++) sum.level[i] += sums.At(r, c).level[i];
        sum.count += sums.At(r, c).count;
      }
    }
    for (size_t c = 0; c < 3; c++) {
      local.At(row, column)[c] = sum.count >= kEnough ? std::max(sum.level[c] / sum.count, kDarkest)
                                                      : std::exp(ground.ln.At(row, column)[c] - bias);
    }
  });
  const Grid<Colour> filled = Filled(local, paper.known);

  Surface surface = {Grid<Colour>(rows, columns), paper.known, paper.known};
  Grid<float> channel(rows, columns);
  for (size_t c = 0; c < 3; c++) {
    for (size_t i = 0; i < channel.Size(); i++) channel.cells[i] = filled.cells[i][c];
    Blur(channel, kSmooth);
    for (size_t i = 0; i < channel.Size(); i++) surface.level.cells[i][c] = channel.cells[i];
  }

  Mask large(rows, columns);
  for (size_t i = 0; i < large.Size(); i++) large.cells[i] = paper.known.cells[i] == 0;
  for (const std::vector<uint32_t>& cells : Connected(large).cells) {
    if (cells.size() >= kSmall) continue;
    for (const uint32_t at : cells) large.cells[at] = 0;
  }
  const Mask beside = Grown(large);
  for (size_t i = 0; i < large.Size(); i++) {
    if (beside.cells[i] != 0) surface.strokes.cells[i] = 0;
  }
  return surface;
}

} // namespace page
