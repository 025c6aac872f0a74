#include "engine/page/figures.h"

#include "engine/page/between_cells.h"
#include "engine/page/histogram.h"

namespace page {
namespace {

double LightOf(double level) { return std::pow(std::max(level, 0.0), kGamma); }
double LevelOf(double light) { return std::pow(std::clamp(light, 0.0, 1.0), 1.0 / kGamma); }
double WithoutVeil(double level, double veil) { return LevelOf((LightOf(level) - veil) / (1.0 - veil)); }

// Pixels of a cell that are looked at: two, on its diagonal.
constexpr int kSamples = 2;

Colour GainOf(const Colour& paper) {
  Colour gain;
  for (size_t c = 0; c < 3; c++) gain[c] = 1.0F / std::max(paper[c], kSurfaceLeast);
  return gain;
}

// Calls visit(x, y, gain, sample's place among kSamples * cells) for the pixels that are looked at.
template <class Visit>
void ForEachSample(const Grid<Colour>& gains, Visit visit) {
  BetweenCells between(gains.rows, gains.columns, kCell, int64_t{gains.columns} * kCell);
  std::array<std::vector<float>, 3> gain;
  for (auto& line : gain) line.resize(static_cast<size_t>(gains.columns) * kCell);
  for (int row = 0; row < gains.rows; row++) {
    for (int sample = 0; sample < kSamples; sample++) {
      const int in = 1 + 2 * sample, y = row * kCell + in;
      for (size_t c = 0; c < 3; c++) between.Line(y, [&](size_t at) { return gains.cells[at][c]; }, gain[c].data());
      for (int column = 0; column < gains.columns; column++) {
        const int x = column * kCell + in;
        const auto i = static_cast<size_t>(x);
        visit(x, y, Colour{gain[0][i], gain[1][i], gain[2][i]},
              kSamples * gains.Index(row, column) + static_cast<size_t>(sample));
      }
    }
  }
}

float SmallestOf(const Colour& v) { return std::min({v[0], v[1], v[2]}); }
float LargestOf(const Colour& v) { return std::max({v[0], v[1], v[2]}); }

} // namespace

Figures MeasureFigures(const Planes& planes, const Levels& levels, const Ground& ground, const Paper& paper,
                       const Surface& surface) {
  const int rows = paper.known.rows, columns = paper.known.columns;
  constexpr float kMost = 2.0F;
  const auto levelOf = [&](const uint8_t* plane, int x, int y, const Colour& gain) {
    const uint8_t* pixel = plane + 3 * planes.At(x, y);
    Colour v;
    for (size_t c = 0; c < 3; c++) v[c] = levels.level[pixel[c]] * gain[c];
    return v;
  };
  Grid<Colour> gains(rows, columns);
  for (size_t i = 0; i < gains.Size(); i++) gains.cells[i] = GainOf(surface.level.cells[i]);

  Figures figures;
  struct Sample {
    float least, most, black; // of the channels; of the darkest pixel of the block the largest
  };
  std::vector<Sample> samples(kSamples * gains.Size());
  Histogram onPaper(0.0F, kMost), deviation(0.0F, 0.5F), blacks(0.0F, kMost);
  ForEachSample(gains, [&](int x, int y, const Colour& gain, size_t at) {
    const Colour v = levelOf(planes.mean, x, y, gain);
    Sample& sample = samples[at];
    sample = {SmallestOf(v), LargestOf(v), 0.0F};
    sample.black = planes.darkest == nullptr ? sample.most : LargestOf(levelOf(planes.darkest, x, y, gain));
    blacks.Add(sample.black);
    if (paper.known.cells[at / kSamples] == 0) return;
    onPaper.Add(sample.least);
    if (planes.deviation == nullptr) return;
    deviation.Add(static_cast<float>(planes.deviation[planes.At(x, y)]) / 255.0F * Mean(gain));
  });
  figures.centre = onPaper.Percentile(50.0);
  figures.noise = std::hypot(onPaper.Percentile(84.0) - figures.centre, deviation.Percentile(50.0));
  figures.darkest = blacks.Percentile(0.2);

  size_t known = 0, objects = 0;
  const double lit = figures.centre - std::max(kLitInk, kNoises * figures.noise);
  Histogram strokes(0.0F, kMost);
  Grid<float> lowest(rows, columns);
  for (int row = 0; row < rows; row++) {
    for (int column = 0; column < columns; column++) {
      const size_t at = lowest.Index(row, column);
      const int pixel = ground.darkestPixel.cells[at];
      const int x = column * kCell + pixel % kCell, y = row * kCell + pixel / kCell;
      lowest.cells[at] = SmallestOf(levelOf(planes.mean, x, y, gains.cells[at]));
      objects += paper.object.cells[at];
      known += paper.known.cells[at];
      if (paper.known.cells[at] != 0 && double{lowest.cells[at]} < lit) strokes.Add(lowest.cells[at]);
    }
  }
  figures.known = static_cast<double>(known) / static_cast<double>(lowest.Size());
  figures.objects = static_cast<double>(objects) / static_cast<double>(lowest.Size());
  figures.strokes = strokes.Samples() > 20 ? strokes.Percentile(15.0) : kUsualInk;

  // Away from ink what is left shows through the paper, or stains it.
  const auto edge = static_cast<float>(1.0 - kInkEdge * (1.0 - figures.strokes));
  Mask inked(rows, columns);
  for (size_t i = 0; i < inked.Size(); i++) inked.cells[i] = lowest.cells[i] < edge;
  inked = Grown(inked);
  Histogram far(0.0F, kMost), ink(0.0F, kMost);
  for (size_t i = 0; i < samples.size(); i++) {
    if (paper.known.cells[i / kSamples] == 0) continue;
    if (inked.cells[i / kSamples] == 0) far.Add(samples[i].least);
    if (samples[i].most < edge) ink.Add(samples[i].black);
  }
  figures.deep = figures.centre - (far.Samples() >= 100 ? far : onPaper).Percentile(6.0);
  figures.ink = ink.Samples() > 20 ? ink.Percentile(10.0) : kUsualDarkest;

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
