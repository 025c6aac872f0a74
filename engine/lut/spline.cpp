// The natural cubic spline through a tone curve's control points (tridiagonal solution for its second derivatives, e.g.
// de Boor, A Practical Guide to Splines, chapter IV).
#include <algorithm>
#include <memory>
#include <new>

#include "engine/common/scale.h"
#include "engine/lut/clut.h"

namespace {

// End slopes above this ask for a natural end, with no curvature.
constexpr double kNaturalAbove = 9.9e29;
constexpr double kNatural = 1e30;

// The spline at v, by its segment from point `lo` to the next.
inline double Between(const double* x, const double* y, const double* y2, int lo, double v) {
  const int hi = lo + 1;
  const double h = x[hi] - x[lo];
  const double a = (x[hi] - v) / h;
  const double b = (v - x[lo]) / h;
  return a * y[lo] + b * y[hi] + ((a * a * a - a) * y2[lo] + (b * b * b - b) * y2[hi]) * (h * h) / 6.0;
}

} // namespace

bool CLUT::Spline(const double* x, const double* y, int n, double yp1, double ypn, double* y2) {
  if (n < 2) {
    if (n == 1) y2[1] = 0.0;
    return true;
  }
  // A tone curve's points fit here, so that its table never fails.
  double few[ZEP3_TONE_POINTS + 1];
  const bool fits = n <= ZEP3_TONE_POINTS;
  const auto size = static_cast<size_t>(n) + 1;
  const std::unique_ptr<double[]> many(fits ? nullptr : new (std::nothrow) double[size]);
  double* u = fits ? few : many.get();
  if (u == nullptr) return false;

  if (yp1 > kNaturalAbove) {
    y2[1] = u[1] = 0.0;
  } else {
    y2[1] = -0.5;
    u[1] = (3.0 / (x[2] - x[1])) * ((y[2] - y[1]) / (x[2] - x[1]) - yp1);
  }
  for (int i = 2; i <= n - 1; i++) {
    const double sig = (x[i] - x[i - 1]) / (x[i + 1] - x[i - 1]);
    const double p = sig * y2[i - 1] + 2.0;
    y2[i] = (sig - 1.0) / p;
    const double bend = (y[i + 1] - y[i]) / (x[i + 1] - x[i]) - (y[i] - y[i - 1]) / (x[i] - x[i - 1]);
    u[i] = (6.0 * bend / (x[i + 1] - x[i - 1]) - sig * u[i - 1]) / p;
  }
  double qn = 0.0;
  double un = 0.0;
  if (!(ypn > kNaturalAbove)) {
    qn = 0.5;
    un = (3.0 / (x[n] - x[n - 1])) * (ypn - (y[n] - y[n - 1]) / (x[n] - x[n - 1]));
  }
  y2[n] = (un - qn * u[n - 1]) / (qn * y2[n - 1] + 1.0);
  for (int k = n - 1; k >= 1; k--) y2[k] = y2[k] * y2[k + 1] + u[k];
  return true;
}

bool CLUT::CalcApproximateValue(const double* x, const double* y, const double* y2, int n, double v, double* out) {
  if (n < 2) {
    *out = n == 1 ? y[1] : 0.0;
    return true;
  }
  int lo = 1;
  int hi = n;
  while (hi - lo > 1) {
    const int k = (hi + lo) / 2;
    (x[k] > v ? hi : lo) = k;
  }
  *out = Between(x, y, y2, lo, v);
  return true;
}

bool CLUT::GetGammaCurve(const double* x, const double* y, int n, double* table) {
  if (table == nullptr || n < 1) return false;
  if (n > ZEP3_TONE_POINTS) n = ZEP3_TONE_POINTS;
  double y2[ZEP3_TONE_POINTS + 1];
  Spline(x, y, n, kNatural, kNatural, y2); // cannot fail: so few points take no memory
  if (n == 1) std::fill_n(table, 256, Clamp(y[1], 0.0, 255.0));
  // Segment by segment: within one the levels differ in nothing but the level.
  for (int lo = 1, i = 0; n > 1 && i < 256;) {
    while (lo < n - 1 && !(x[lo + 1] > i)) lo++;
    int end = i + 1;
    while (end < 256 && (lo == n - 1 || x[lo + 1] > end)) end++;
    for (; i < end; i++) table[i] = Clamp(Between(x, y, y2, lo, i), 0.0, 255.0);
  }
  // The flat ends are the points' outputs as they stand.
  for (int i = 0; i < 256 && i < x[1]; i++) table[i] = y[1];
  for (int i = 255; i >= 0 && i > x[n]; i--) table[i] = y[n];
  return true;
}
