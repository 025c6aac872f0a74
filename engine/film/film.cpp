#include "engine/film/film.h"

#include <cmath>

#include "engine/common/scale.h"

namespace {

// Direction, in exposures of red and blue relative to green, in which incandescent light moves a neutral: black bodies
// of 3200 K against 5500 K at 640, 545 and 450 nm, over their length.
constexpr double kLampLine[2] = {0.22 / 0.380, -0.31 / 0.380};

// Monochrome film: level of the base from which a channel counts in full.
constexpr double kFullLight = 60.0;

// How far whites that deviate from a neutral by these exposures are believed, 0..1. A deviation along the line of
// incandescent light is free from open shade to a household lamp.
double Belief(double red, double blue, const WhiteTrust& trust) {
  if (red < 0.0) red = AtMost(0.0, red + trust.redFree);
  const double along = TowardLamp(red, blue);
  const double across = std::hypot(red - along * kLampLine[0], blue - along * kLampLine[1]);
  const double off = std::hypot(across, along - Clamp(along, -trust.shade, trust.lamp)) / trust.scatter;
  return 1.0 / (1.0 + off * off * off * off);
}

// Samples laid along the print.
constexpr int kAlong = 33;

// The curve of a negative's table, out^gamma = scale / level - offset, is for a given gamma a straight line in
// 1 / level. Its weighted regression on the wanted outputs (0..1).
class CurveFit {
 public:
  void Add(double level, double wanted, double weight) {
    m_reciprocal[m_count] = 1.0 / level;
    m_logWanted[m_count] = std::log(wanted);
    m_weight[m_count] = weight;
    m_count++;
  }

  struct Line {
    double scale;
    double offset;
    double error; // weighted square of the display error
  };

  // Weights make an error on the curve's scale one on the display: a display level is out^(1.8 / 2.2).
  Line Regress(double gamma) const {
    double sum = 0.0;
    double sumX = 0.0;
    double sumY = 0.0;
    double y[kSize];
    double w[kSize];
    for (int i = 0; i < m_count; i++) {
      y[i] = std::exp(gamma * m_logWanted[i]);
      w[i] = m_weight[i] * std::exp(2.0 * (1.8 / 2.2 - gamma) * m_logWanted[i]);
      sum += w[i];
      sumX += w[i] * m_reciprocal[i];
      sumY += w[i] * y[i];
    }
    const double meanX = sumX / sum;
    const double meanY = sumY / sum;
    double xx = 0.0;
    double xy = 0.0;
    double yy = 0.0;
    for (int i = 0; i < m_count; i++) {
      const double dx = m_reciprocal[i] - meanX;
      const double dy = y[i] - meanY;
      xx += w[i] * dx * dx;
      xy += w[i] * dx * dy;
      yy += w[i] * dy * dy;
    }
    const double scale = xy / xx;
    return {scale, scale * meanX - meanY, (yy - scale * xy) / (gamma * gamma)};
  }

  // The gamma of least error, by golden section on its logarithm.
  double BestGamma() const {
    constexpr double kGolden = 0.6180339887498949;
    double lo = std::log(kGammaMin);
    double hi = std::log(kGammaMax);
    double left = hi - kGolden * (hi - lo);
    double right = lo + kGolden * (hi - lo);
    double errorLeft = Regress(std::exp(left)).error;
    double errorRight = Regress(std::exp(right)).error;
    for (int i = 0; i < kSections; i++) {
      if (errorLeft < errorRight) {
        hi = right;
        right = left;
        errorRight = errorLeft;
        left = hi - kGolden * (hi - lo);
        errorLeft = Regress(std::exp(left)).error;
      } else {
        lo = left;
        left = right;
        errorLeft = errorRight;
        right = lo + kGolden * (hi - lo);
        errorRight = Regress(std::exp(right)).error;
      }
    }
    return std::exp(0.5 * (lo + hi));
  }

 private:
  static constexpr double kGammaMin = 0.3;
  static constexpr double kGammaMax = 2.2;
  static constexpr int kSections = 12; // leaves a gamma known to within 0.5 %

  static constexpr int kSize = 256 + kAlong;

  double m_reciprocal[kSize];
  double m_logWanted[kSize];
  double m_weight[kSize];
  int m_count = 0;
};

} // namespace

double FilmExposure(double density, double slope, double toe) {
  return toe * std::log(std::expm1(AtLeast(kLeastDensity, density) / slope / toe));
}

double Film::ExposureAt(int c, double logLevel) const {
  return FilmExposure(1.8 * (base[c] - logLevel), slope[c], toe) - balance[c];
}

double Film::LevelAt(int c, double exposure) const {
  const double density = slope[c] * toe * std::log1p(std::exp((exposure + balance[c]) / toe));
  return std::pow(10.0, base[c] - density / 1.8);
}

double TowardLamp(double red, double blue) { return red * kLampLine[0] + blue * kLampLine[1]; }

void BalanceWhites(Film& film, const double (&white)[3], const WhiteTrust& trust) {
  double exposure[3];
  for (int c = 0; c < 3; c++) exposure[c] = FilmExposure(white[c], film.slope[c], film.toe);
  for (int c = 0; c < 3; c++) {
    film.balance[c] = trust.balance[c] + film.belief * (exposure[c] - exposure[1] - trust.balance[c]);
  }
}

Film JudgeColourFilm(const double (&base)[3], const double (&white)[3], const FilmTraits& traits,
                     const WhiteTrust& trust) {
  Film film;
  film.toe = traits.toe;
  double exposure[3];
  for (int c = 0; c < 3; c++) {
    film.base[c] = base[c];
    exposure[c] = FilmExposure(white[c], traits.slope[c], traits.toe);
  }
  film.belief =
      Belief(exposure[0] - exposure[1] - trust.balance[0], exposure[2] - exposure[1] - trust.balance[2], trust);

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

Film JudgeMonochromeFilm(const double (&base)[3], const double (&density)[3], const FilmTraits& traits) {
  Film film;
  film.toe = traits.toe;
  film.belief = 1.0;
  double weight[3];
  MonochromeWeights(base, weight);
  double sum = 0.0;
  double common = 0.0;
  for (int c = 0; c < 3; c++) {
    sum += weight[c];
    common += weight[c] * density[c];
  }
  common /= sum;
  for (int c = 0; c < 3; c++) {
    film.base[c] = base[c];
    film.slope[c] = traits.slope[c] * density[c] / common;
    film.balance[c] = 0.0;
  }
  return film;
}

double Paper::OutputOf(double exposure) const {
  const double light = (std::pow(10.0, (exposure - white) * contrast) - flare) / (1.0 - flare);
  return std::pow(Clamp(light, 0.0, 1.0), 1.0 / 1.8);
}

double Paper::ExposureFor(double output) const {
  const double light = std::pow(output, 1.8) * (1.0 - flare) + flare;
  return white + std::log10(light) / contrast;
}

void FitPrint(const Film& film, const Paper& paper, int c, const uint32_t (&histogram)[256],
              const double (&exposure)[256], double even, ZEP3_POINTS& points) {
  // Blacks and whites of the print are left to the toe and the roll-off of the table.
  constexpr double kDarkest = 4.0 / 255.0;
  constexpr double kLightest = 248.0 / 255.0;
  CurveFit fit;
  for (int i = 0; i < 256; i++) {
    if (histogram[i] == 0) continue;
    const double wanted = paper.OutputOf(exposure[i]);
    if (kDarkest < wanted && wanted < kLightest) fit.Add(AtLeast(kLevelFloor, i), wanted, histogram[i]);
  }
  // Prints between the two keep the curve defined where the picture has hardly a level.
  for (int i = 0; i < kAlong; i++) {
    const double wanted = kDarkest + (kLightest - kDarkest) * i / (kAlong - 1);
    fit.Add(film.LevelAt(c, paper.ExposureFor(wanted)), wanted, even);
  }
  const double gamma = fit.BestGamma();
  const CurveFit::Line line = fit.Regress(gamma);
  const auto levelFor = [&](int64_t out16) {
    return line.scale / AtLeast(line.scale / 255.0, std::pow(Level8(out16) / 255.0, gamma) + line.offset);
  };
  const double sdIn = AtLeast(2.0 * kLevelFloor, levelFor(points.lSdOut));
  const double hlIn = AtMost(0.98 * sdIn, levelFor(points.lHlOut));
  points.lHlIn = ClampToLevel16(hlIn);
  points.lSdIn = ClampToLevel16(sdIn);
  points.lGamma = ToInt32(100.0 * gamma + 0.5);
}
