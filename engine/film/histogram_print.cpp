// Ends and exposures from histograms, and the paper for them.
#include "engine/film/histogram_print.h"

#include <cmath>

#include "engine/common/scale.h"
#include "engine/hist/level_bounds.h"

namespace {

// Mean exposure of a usual picture, relative to its whites.
constexpr double kUsualMean = -0.9;
// Exposure range of the flattest picture that is told from the film.
constexpr double kRangeMin = 0.05;
// How far the contrast of a print follows an unusual range.
constexpr double kContrastMin = 0.7;
constexpr double kContrastMax = 2.0;
// How far whites may lie from those of normally exposed film to count: about three stops.
constexpr double kWhiteMax = 1.0;

struct Exposures {
  double at[3][256]; // where there are samples
  double white;      // of the densest channel's whites
  double black;      // of its blacks
  double mean;       // over all samples and channels, relative to white; the usual one without samples
};

Exposures ExposuresOf(const Film& film, const FilmEnds& ends, const uint32_t (&histogram)[3][256]) {
  Exposures x;
  double white[3];
  double black[3];
  double sum = 0.0;
  uint64_t samples = 0;
  for (int c = 0; c < 3; c++) {
    white[c] = film.ExposureAt(c, ends.dense[c]);
    black[c] = film.ExposureAt(c, ends.black[c]);
    for (int i = 0; i < 256; i++) {
      if (histogram[c][i] == 0) continue;
      x.at[c][i] = film.ExposureAt(c, LogLevel(i));
      sum += histogram[c][i] * x.at[c][i];
      samples += histogram[c][i];
    }
  }
  x.white = Largest(white);
  x.black = Largest(black);
  x.mean = samples > 0 ? sum / static_cast<double>(samples) - x.white : kUsualMean;
  return x;
}

Paper PaperFor(const Exposures& x, const PrintRule& rule) {
  const double range = AtLeast(kRangeMin, x.white - x.black);
  const double unusual = Clamp(std::pow(rule.rangeNormal / range, rule.rangeShare), kContrastMin, kContrastMax);
  return {.white = x.white + rule.white - rule.whitePull * Clamp(x.white - rule.whiteNormal, -kWhiteMax, kWhiteMax) +
                   rule.meanShare * (x.mean - kUsualMean),
          .contrast = rule.contrast * unusual,
          .flare = rule.flare};
}

} // namespace

FilmEnds MeasureFilmEnds(const CHIST& hist, int16_t docType, double rangeMin, double rangeDefault) {
  const LevelBounds bounds = BoundsOf(hist, docType);
  FilmEnds ends;
  for (int c = 0; c < 3; c++) {
    const bool clearFound = hist.m_pdHistMax[0][c] >= bounds.low[c];
    ends.clear[c] = LogLevel(clearFound ? hist.m_pdHistMax[0][c] : bounds.high);
    ends.black[c] = clearFound ? AtMost(ends.clear[c], LogLevel(hist.m_pdHistMax[1][c])) : ends.clear[c];
    // Both fractions: the first alone sees dust, the second misses small whites.
    const bool denseFound = hist.m_pdHistMin[0][c] >= bounds.low[c] && hist.m_pdHistMin[1][c] >= bounds.low[c];
    ends.dense[c] = denseFound ? 0.5 * (LogLevel(hist.m_pdHistMin[0][c]) + LogLevel(hist.m_pdHistMin[1][c]))
                               : ends.clear[c] - rangeDefault;
    ends.dense[c] = AtMost(ends.clear[c] - rangeMin, ends.dense[c]);
  }
  return ends;
}

FilmSeen FilmEnds::Seen() const {
  FilmSeen seen;
  for (int c = 0; c < 3; c++) {
    seen.base[c] = clear[c];
    seen.white[c] = 1.8 * (clear[c] - dense[c]);
  }
  return seen;
}

void PrintFilm(const Film& film, const FilmEnds& ends, const PrintRule& rule, const uint32_t (&histogram)[3][256],
               ZEP3_IC& ic) {
  const Exposures x = ExposuresOf(film, ends, histogram);
  const Paper paper = PaperFor(x, rule);
  for (int c = 0; c < 3; c++) FitPrint(film, paper, c, histogram[c], x.at[c], 1.0, ic.ch[c]);
}
