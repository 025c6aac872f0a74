// Pipette gamma: the gammas that bring the picked colour to a common gray, found by a few rounds of
//   gamma <- gamma * log10((out - S) / (H - S)) / log10((gray - S) / (H - S))
// with S and H the channel's output shadow and highlight, out the output of the picked colour under the current gamma.
#include <cmath>

#include "engine/common/record.h"
#include "engine/common/scale.h"
#include "engine/graybalance/cgryblnce.h"

namespace {

constexpr int kRounds = 3;
constexpr double kGammaFloor = 0.1;

} // namespace

bool CGRYBLNCE::MakePipetteGmm(const int64_t* plColor, ZEP3_PARA* para) {
  const bool negative = IsNegative(*para);
  const double toLinear = LinearExponent(*para);

  double in[3];
  for (int c = 0; c < 3; c++) {
    const double picked = AtLeast(kLevelFloor, LinearLevel(static_cast<double>(plColor[c]), toLinear, negative));
    const double lo = negative ? m_dHlIn[c] : m_dSdIn[c];
    const double hi = negative ? m_dSdIn[c] : m_dHlIn[c];
    if (lo >= picked || picked >= hi) return false;
    in[c] = negative ? Mirrored(picked, m_dHlIn[c], m_dSdIn[c]) : picked;
  }

  // Evaluates the channel's curve with a gamma; the members hold the last curve laid.
  const auto outputWith = [&](int c, double gamma) {
    const PowerCurve curve = CurveOf(c, gamma, negative);
    m_dCoefA[c] = curve.a;
    m_dCoefB[c] = curve.b;
    if (curve.a >= in[c]) return 0.0;
    return negative ? AtMost(255.0, curve.Unlimited(in[c])) : curve.Unlimited(in[c]);
  };
  double out[3];
  for (int c = 0; c < 3; c++) out[c] = outputWith(c, m_dGamma[c]);
  for (int c = 0; c < 3; c++) {
    if (!(out[c] > m_dSdOut[c])) return false;
  }
  const double gray = CommonGray(out); // of the first gammas; the rounds do not move it
  for (const double sdOut : m_dSdOut) {
    if (!(sdOut < gray)) return false;
  }

  double gamma[3];
  for (int c = 0; c < 3; c++) {
    const auto share = [&](double level) { return std::log10((level - m_dSdOut[c]) / (m_dHlOut[c] - m_dSdOut[c])); };
    gamma[c] = m_dGamma[c] * share(out[c]) / share(gray);
    for (int round = 0; round < kRounds; round++) {
      const double now = outputWith(c, gamma[c]);
      if (m_dSdOut[c] >= now) return false;
      gamma[c] = AtLeast(kGammaFloor, gamma[c] * share(now) / share(gray));
    }
  }
  // Rounded to two decimals.
  for (int c = 0; c < 3; c++) para->ic.ch[c].lGamma = ToInt32((gamma[c] + 0.005) * 100.0);
  return false;
}
