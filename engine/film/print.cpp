// The print on paper, and the regression that fits the curve of a table to it.
#include "engine/film/print.h"

#include <cmath>

#include "engine/common/convert.h"
#include "engine/common/scale.h"

namespace {

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

  // The regression runs on y = out^gamma, the error that counts is that of the display level out^(1.8 / 2.2). A small
  // error dy is a display error of (1.8 / 2.2) * out^(1.8 / 2.2 - gamma) * dy / gamma: its square gives the weights,
  // and the division by gamma^2 that makes the errors of different gammas comparable.
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
