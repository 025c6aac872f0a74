#include "engine/page/figures.h"

#include "engine/finish/block_detail.h"
#include "engine/page/histogram.h"
#include "engine/page/light.h"
#include "engine/zep3.h"

namespace page {
namespace {

// Pixels of a cell that are looked at: the two on its diagonal that lie next to its centre, for which its own gain will
// do. Of their blocks the scan's finer detail is known (finish/block_detail.h).
constexpr int kSamples = 2;
static_assert(kCell == kCellBlocks && IsLookedAt(1, 1) && IsLookedAt(2, 2));

Colour GainOf(const Colour& paper) {
  Colour gain = {};
  for (size_t c = 0; c < 3; c++) gain[c] = 1.0F / std::max(paper[c], kSurfaceLeast);
  return gain;
}

// So many levels below paper are white.
void SetWhite(Figures& figures, double depth) {
  figures.whiteTo = 1.0 - depth;
  figures.whiteFrom = figures.whiteTo - std::max(kRampLeast, depth);
}

// Whether whitening leaves less than half of what a level of strokes lies below paper; paper 1.
bool Fades(const Figures& figures, double level) {
  const double darkened = WithoutVeil(LightOf(level), figures.strokesVeil);
  const double t = Ramp(darkened, figures.whiteFrom, figures.whiteTo);
  return (1.0 - darkened) * (1.0 - t * t * (3.0 - 2.0 * t)) < 0.5 * (1.0 - level);
}

// The level of strokes from which on they fade.
double FadingFrom(const Figures& figures) {
  double stays = 0.0, fades = 1.0;
  for (int i = 0; i < 20; i++) {
    const double level = 0.5 * (stays + fades);
    (Fades(figures, level) ? fades : stays) = level;
  }
  return fades;
}

// A cell whose ground is lighter than its paper in every channel, and that holds something, too: a blank one is a lid.
bool IsWashed(const Ground& ground, size_t at, const Colour& gain, double centre) {
  const Colour& ln = ground.ln.cells[at];
  if (ground.darkest.cells[at] > ln[3] - kWashedDetail) return false;
  for (size_t c = 0; c < 3; c++) {
    if (static_cast<double>(std::exp(ln[c]) * gain[c]) < kWashedLevel * centre) return false;
  }
  return true;
}

float SmallestOf(const Colour& v) { return std::min({v[0], v[1], v[2]}); }
float LargestOf(const Colour& v) { return std::max({v[0], v[1], v[2]}); }

} // namespace

Figures MeasureFigures(const Planes& planes, const Levels& levels, const Ground& ground, const Paper& paper,
                       const Surface& surface) {
  const int rows = paper.known.rows, columns = paper.known.columns;
  constexpr float kMost = 2.0F;
  const auto levelOf = [&](const uint8_t* pixel, const Colour& gain) {
    Colour v = {};
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
  for (int row = 0; row < rows; row++) {
    for (int column = 0; column < columns; column++) {
      const size_t at = gains.Index(row, column);
      const Colour& gain = gains.cells[at];
      for (int i = 0; i < kSamples; i++) {
        const int x = column * kCell + 1 + i, y = row * kCell + 1 + i;
        const Colour v = levelOf(planes.Mean(x, y), gain);
        Sample& sample = samples[kSamples * at + static_cast<size_t>(i)];
        sample = {SmallestOf(v), LargestOf(v), 0.0F};
        sample.black = planes.darkest == nullptr ? sample.most : LargestOf(levelOf(planes.Darkest(x, y), gain));
        blacks.Add(sample.black);
        if (paper.known.cells[at] == 0) continue;
        onPaper.Add(sample.least);
        if (planes.deviation == nullptr) continue;
        deviation.Add(static_cast<float>(planes.Deviation(x, y)) / 255.0F * Mean(gain));
      }
    }
  }
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
      lowest.cells[at] = SmallestOf(levelOf(planes.Mean(x, y), gains.cells[at]));
      objects += paper.object.cells[at];
      known += paper.known.cells[at];
      if (surface.strokes.cells[at] != 0 && static_cast<double>(lowest.cells[at]) < lit) strokes.Add(lowest.cells[at]);
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
    // Not beside a lid or a picture: what reaches into the cell is no ink.
    if (samples[i].most < edge && surface.strokes.cells[i / kSamples] != 0) ink.Add(samples[i].black);
  }
  figures.deep = figures.centre - (far.Samples() >= 100 ? far : onPaper).Percentile(6.0);
  figures.ink = ink.Samples() > 20 ? ink.Percentile(10.0) : kUsualDarkest;

  const double centre = figures.centre;
  figures.veil = std::clamp(kVeilShare * LightOf(figures.darkest / centre) - kBlack, 0.0, kVeilMost);
  figures.strokesVeil =
      std::max(figures.veil, std::min(kInkVeilShare * LightOf(figures.ink / centre) - kBlack, kInkVeilMost));
  const double coarse = Ramp(figures.noise, kCoarseFrom, kCoarse) * Ramp(figures.strokes, kCoarseInkFrom, kCoarseInk);
  figures.strokesPower = 1.0 + kCoarsePower * coarse;
  const double noises = kDepthNoises + coarse * (kDepthNoisesCoarse - kDepthNoises);
  const double stretch = 1.0 / (centre * (1.0 - figures.strokesVeil));
  const double depth = std::max({noises * figures.noise * stretch, kDepthDeep * figures.deep * stretch, kDepthLeast});
  const double weak = std::clamp(1.0 - WithoutVeil(LightOf(figures.strokes / centre), figures.strokesVeil), 0.1, 1.0);
  SetWhite(figures, std::clamp(depth, kDepthLeast, std::min(kDepthMost, kDepthInk * weak)));

  Histogram inks(0.0F, kMost);
  size_t washed = 0;
  for (size_t i = 0; i < lowest.Size(); i++) {
    if (paper.known.cells[i] == 0) {
      washed += IsWashed(ground, i, gains.cells[i], centre) ? 1 : 0;
    } else if (surface.strokes.cells[i] != 0 && static_cast<double>(lowest.cells[i]) < lit) {
      inks.Add(lowest.cells[i]); // of marker and of what lies beside pictures no stroke is lost
    }
  }
  figures.washed = ground.reverse ? 0.0 : static_cast<double>(washed) / static_cast<double>(lowest.Size());
  const auto faded = [&] { return ground.reverse ? 0.0 : inks.ShareAbove(FadingFrom(figures) * centre); };
  figures.faded = faded();
  if (figures.faded > kFadedMost) {
    SetWhite(figures, kDepthLeast);
    figures.spared = true;
    figures.faded = faded();
  }
  return figures;
}

Checks CheckResult(const Figures& figures) {
  Checks checks;
  if (figures.faded > kFadedMost) {
    checks.failed |= ZEP3_REASON_MARKS_LOST;
  } else if (figures.spared) {
    checks.mended |= ZEP3_REASON_MARKS_LOST;
  }
  if (figures.washed > kWashedMost) checks.mended |= ZEP3_REASON_CLIPPING; // without the surface nothing is washed
  if (checks.mended != 0) checks.mended |= ZEP3_REASON_WEAKENED;
  return checks;
}

bool HasPaper(const Figures& figures) {
  return figures.known >= kPaperLeast && (figures.known >= kPaperNoisyLeast || figures.noise <= kNoisy);
}

} // namespace page
