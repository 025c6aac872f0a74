#include "engine/page/figures.h"

#include "engine/page/between_cells.h"
#include "engine/page/histogram.h"

namespace page {
namespace {

double LightOf(double level) { return std::pow(std::max(level, 0.0), kGamma); }
double LevelOf(double light) { return std::pow(std::clamp(light, 0.0, 1.0), 1.0 / kGamma); }
double WithoutVeil(double level, double veil) { return LevelOf((LightOf(level) - veil) / (1.0 - veil)); }

// Calls visit(x, y, gain[3], index of the pixel's cell) for the pixels of whole cells.
template <class Visit>
void ForEachPixel(const Surface& surface, Visit visit) {
  const Grid<Colour>& level = surface.level;
  const int width = level.columns * kCell;
  BetweenCells between(level.rows, level.columns, kCell, width);
  std::array<std::vector<float>, 3> gain;
  for (auto& line : gain) line.resize(static_cast<size_t>(width));
  std::array<std::vector<float>, 3> cellGain;
  for (size_t c = 0; c < 3; c++) {
    cellGain[c].resize(level.Size());
    for (size_t i = 0; i < level.Size(); i++) cellGain[c][i] = 1.0F / std::max(level.cells[i][c], kSurfaceLeast);
  }
  for (int y = 0; y < level.rows * kCell; y++) {
    for (size_t c = 0; c < 3; c++) {
      between.Line(y, [&](size_t at) { return cellGain[c][at]; }, gain[c].data());
    }
    for (int x = 0; x < width; x++) {
      const auto i = static_cast<size_t>(x);
      visit(x, y, Colour{gain[0][i], gain[1][i], gain[2][i]}, level.Index(y / kCell, x / kCell));
    }
  }
}

} // namespace

Figures MeasureFigures(const Planes& planes, const Levels& levels, const Paper& paper, const Surface& surface) {
  const int rows = paper.known.rows, columns = paper.known.columns;
  const int width = columns * kCell, height = rows * kCell;
  const auto levelOf = [&](const uint8_t* plane, int x, int y, const Colour& gain) {
    const uint8_t* pixel = plane + 3 * planes.At(x, y);
    Colour v;
    for (size_t c = 0; c < 3; c++) v[c] = levels.plain[pixel[c]] * gain[c];
    return v;
  };
  const auto smallest = [](const Colour& v) { return std::min({v[0], v[1], v[2]}); };
  const auto largest = [](const Colour& v) { return std::max({v[0], v[1], v[2]}); };
  constexpr float kMost = 2.0F;

  Figures figures;
  Grid<float> least(height, width), most(height, width), black(height, width);
  Grid<float> lowest(rows, columns, kMost);
  Histogram onPaper(0.0F, kMost), deviation(0.0F, 0.5F), blacks(0.0F, kMost);
  ForEachPixel(surface, [&](int x, int y, const Colour& gain, size_t cell) {
    const Colour v = levelOf(planes.mean, x, y, gain);
    const float m = smallest(v);
    least.At(y, x) = m;
    most.At(y, x) = largest(v);
    black.At(y, x) = planes.darkest == nullptr ? largest(v) : largest(levelOf(planes.darkest, x, y, gain));
    blacks.Add(black.At(y, x));
    lowest.cells[cell] = std::min(lowest.cells[cell], m);
    if (paper.known.cells[cell] == 0) return;
    onPaper.Add(m);
    if (planes.deviation != nullptr) deviation.Add(static_cast<float>(planes.deviation[planes.At(x, y)]) / 255.0F * Mean(gain));
  });
  figures.centre = onPaper.Percentile(50.0);
  figures.noise = std::hypot(onPaper.Percentile(84.0) - figures.centre, deviation.Percentile(50.0));
  figures.darkest = blacks.Percentile(0.2);

  size_t known = 0, objects = 0;
  const double lit = figures.centre - std::max(kLitInk, kNoises * figures.noise);
  Histogram strokes(0.0F, kMost);
  for (size_t i = 0; i < lowest.Size(); i++) {
    objects += paper.object.cells[i];
    known += paper.known.cells[i];
    if (paper.known.cells[i] != 0 && lowest.cells[i] < lit) strokes.Add(lowest.cells[i]);
  }
  figures.known = static_cast<double>(known) / static_cast<double>(lowest.Size());
  figures.objects = static_cast<double>(objects) / static_cast<double>(lowest.Size());
  figures.strokes = strokes.Samples() > 20 ? strokes.Percentile(15.0) : kUsualInk;

  // Away from ink: what is left shows through the paper, or stains it.
  const auto edge = static_cast<float>(1.0 - kInkEdge * (1.0 - figures.strokes));
  Mask inked(height, width);
  for (size_t i = 0; i < inked.Size(); i++) inked.cells[i] = least.cells[i] < edge;
  for (int i = 1; i < kFarFromInk; i++) {
    const Mask before = inked;
    for (int y = 0; y < height; y++) {
      for (int x = 0; x < width; x++) {
        const int any = before.Near(y - 1, x) | before.Near(y + 1, x) | before.Near(y, x - 1) | before.Near(y, x + 1);
        if (any != 0) inked.At(y, x) = 1;
      }
    }
  }
  Histogram far(0.0F, kMost), ink(0.0F, kMost);
  for (int y = 0; y < height; y++) {
    for (int x = 0; x < width; x++) {
      if (paper.known.At(y / kCell, x / kCell) == 0) continue;
      if (inked.At(y, x) == 0) far.Add(least.At(y, x));
      if (most.At(y, x) < edge) ink.Add(black.At(y, x));
    }
  }
  figures.deep = figures.centre - (far.Samples() >= 500 ? far : onPaper).Percentile(6.0);
  figures.ink = ink.Samples() > 50 ? ink.Percentile(10.0) : kUsualDarkest;

  const double centre = figures.centre;
  figures.veil = std::clamp(kVeilShare * LightOf(figures.darkest / centre) - kBlack, 0.0, kVeilMost);
  figures.strokesVeil =
      std::max(figures.veil, std::min(kInkVeilShare * LightOf(figures.ink / centre) - kBlack, kInkVeilMost));
  const double stretch = 1.0 / (centre * (1.0 - figures.strokesVeil));
  const double depth = std::max({kDepthNoises * figures.noise * stretch, kDepthDeep * figures.deep * stretch, kDepthLeast});
  const double weak = std::clamp(1.0 - WithoutVeil(figures.strokes / centre, figures.strokesVeil), 0.1, 1.0);
  figures.whiteTo = 1.0 - std::clamp(depth, kDepthLeast, std::min(kDepthMost, kDepthInk * weak));
  figures.whiteFrom = figures.whiteTo - std::max(kRampLeast, 1.0 - figures.whiteTo);
  return figures;
}

bool HasPaper(const Figures& figures) {
  return figures.known >= kPaperLeast && (figures.known >= kPaperNoisyLeast || figures.noise <= kNoisy);
}

} // namespace page
