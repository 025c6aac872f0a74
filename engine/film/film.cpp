// The film's curve both ways, and what the whites of a frame say about it.
#include "engine/film/film.h"

#include <algorithm>
#include <cmath>

#include "engine/common/scale.h"

namespace {

// Monochrome film: level of the base from which a channel counts in full.
constexpr double kFullLight = 60.0;

} // namespace

double FilmExposure(double density, double slope, double toe) {
  return toe * std::log(std::expm1(AtLeast(kLeastDensity, density) / slope / toe));
}

double LogLevelWith(double light, double level) {
  const double least = AtLeast(kLeastLevel, level);
  return std::log10(light == 0.0 ? least : 255.0 * std::pow(Light(least) + light, kInverseGamma));
}

double LevelWithout(double light, double logLevel) {
  const double level = std::pow(10.0, logLevel);
  return light == 0.0 ? level : 255.0 * std::pow(AtLeast(Light(kLeastLevel), Light(level) - light), kInverseGamma);
}

double Film::ExposureAt(int c, double logLevel) const {
  return FilmExposure(1.8 * (base[c] - logLevel), slope[c], toe[c]) - balance[c];
}

double Film::LevelAt(int c, double exposure) const {
  const double density = slope[c] * toe[c] * std::log1p(std::exp((exposure + balance[c]) / toe[c]));
  return LevelWithout(lost, base[c] - density / 1.8);
}

double WhiteBelief(double red, double blue, const WhiteTrust& trust) {
  if (red < 0.0) red = AtMost(0.0, red + trust.redFree);
  const double along = TowardLamp(red, blue);
  const double across = std::hypot(red - along * kLampLine[0], blue - along * kLampLine[1]);
  const double off = std::hypot(across, along - Clamp(along, -trust.shade, trust.lamp)) / trust.scatter;
  return 1.0 / (1.0 + off * off * off * off);
}

double TowardLamp(double red, double blue) { return red * kLampLine[0] + blue * kLampLine[1]; }

void BalanceWhites(Film& film, const double (&white)[3], const WhiteTrust& trust) {
  double exposure[3];
  for (int c = 0; c < 3; c++) exposure[c] = FilmExposure(white[c], film.slope[c], film.toe[c]);
  for (int c = 0; c < 3; c++) {
    film.balance[c] = trust.balance[c] + film.belief * (exposure[c] - exposure[1] - trust.balance[c]);
  }
}

Film JudgeColourFilm(const FilmSeen& seen, const FilmTraits& traits, const WhiteTrust& trust) {
  const double(&white)[3] = seen.white;
  Film film;
  std::fill_n(film.toe, 3, traits.toe);
  double exposure[3];
  for (int c = 0; c < 3; c++) {
    film.base[c] = seen.base[c];
    exposure[c] = FilmExposure(white[c], traits.slope[c], traits.toe);
  }
  film.belief =
      WhiteBelief(exposure[0] - exposure[1] - trust.balance[0], exposure[2] - exposure[1] - trust.balance[2], trust);

  // Whites of unequal density: in part the channel's contrast is another than the film's.
  const auto logContrast = [&](int c) { return std::log(white[c] / traits.slope[c]); };
  const double believed = trust.slopeSure + (1.0 - trust.slopeSure) * film.belief;
  for (int c = 0; c < 3; c++) {
    const double change =
        Clamp(trust.slopeShare * (logContrast(c) - logContrast(1)), -trust.slopeLimit, trust.slopeLimit);
    film.slope[c] = traits.slope[c] * std::exp(change * believed);
  }
  // What then is left is the light's.
  BalanceWhites(film, white, trust);
  return film;
}

void MonochromeWeights(const double (&base)[3], double (&weight)[3]) {
  for (int c = 0; c < 3; c++) {
    const double light = AtMost(1.0, std::pow(10.0, base[c]) / kFullLight);
    weight[c] = light * light;
  }
}

Film JudgeMonochromeFilm(const FilmSeen& seen, const FilmTraits& traits) {
  const double(&density)[3] = seen.white;
  Film film;
  std::fill_n(film.toe, 3, traits.toe);
  film.belief = 1.0;
  double weight[3];
  MonochromeWeights(seen.base, weight);
  double sum = 0.0;
  double common = 0.0;
  for (int c = 0; c < 3; c++) {
    sum += weight[c];
    common += weight[c] * density[c];
  }
  common /= sum;
  for (int c = 0; c < 3; c++) {
    film.base[c] = seen.base[c];
    film.slope[c] = traits.slope[c] * density[c] / common;
    film.balance[c] = 0.0;
  }
  return film;
}
