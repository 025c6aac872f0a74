// The mean output of the picture, and three inner points around it.
#include "engine/calc/steps/level_tone.h"

#include <algorithm>
#include <cmath>

#include "engine/calc/steps/correct_level.h"
#include "engine/calc/steps/points.h"
#include "engine/common/convert.h"
#include "engine/common/scale.h"

namespace {

// The mean output of one channel over its histogram; outputs outside of meanLow..meanHigh are left out.
double MeanOutput(const LevelTone& tone, const ZEP3_POINTS& p, const uint32_t (&histogram)[256], bool mirrored) {
  const double hlIn = Level8(p.lHlIn);
  const double sdIn = Level8(p.lSdIn);
  const double outRatio = static_cast<double>(p.lHlOut) / static_cast<double>(p.lSdOut);
  const double gamma = static_cast<double>(p.lGamma) / 100.0;
  // On mirrored levels the shadow input is the upper end.
  const PowerCurve curve = MatchCurve(mirrored ? hlIn : sdIn, mirrored ? sdIn : hlIn, outRatio, Level8(p.lHlOut), gamma,
                                      NearOffset::kAsItIs);
  uint64_t count = 0;
  double sum = 0.0;
  for (int i = 0; i < 256; i++) {
    const double out = curve.At(mirrored && i > 0 ? Mirrored(i, hlIn, sdIn) : i);
    if (tone.meanLow <= out && out <= tone.meanHigh) {
      count += histogram[i];
      sum += histogram[i] * out;
    }
  }
  return count >= 1 ? sum / static_cast<double>(count) : kEmptyMean;
}

} // namespace

void ProposeLevelTone(const LevelTone& tone, const uint32_t (&histogram)[3][256], bool mirrored, ZEP3_PARA& para) {
  double mean[3];
  for (int c = 0; c < 3; c++) mean[c] = MeanOutput(tone, para.ic.ch[c], histogram[c], mirrored);
  double mix = kChannelWeight[0] * mean[0] + kChannelWeight[1] * mean[1] + kChannelWeight[2] * mean[2];
  mix = Clamp(mix, tone.mixMin, tone.mixMax);
  const double dark = mix < tone.darkRef ? (tone.darkRef - mix) / tone.darkRef : 0.0;
  // The cap keeps the light inner point's output density from falling below 0.
  const double contrast =
      std::min(1.0 / (1.0 - 1.0 / tone.toneSd), 1.0 + tone.contrastStep * (CorrectLevel(para) - tone.levelRef));
  const double d = Density(mix);
  const double lift = std::min(tone.brightMax, (d - d / contrast) * dark);

  // Input and output densities, from dark to light.
  const double inner[3][2] = {
      {tone.toneHl * d + lift, d + (tone.toneHl - 1.0) * d * contrast},
      {d + lift, d},
      {d / tone.toneSd + lift, d + (d / tone.toneSd - d) * contrast},
  };
  const double displayGamma = static_cast<double>(para.lScreenGamma) / 10.0;
  const auto displayLevel = [displayGamma](double density) {
    return ToInt32(255.0 * std::pow(10.0, -density / displayGamma));
  };
  ZEP3_TONE& out = *para.pOutMasterTone;
  out.wPointNum = 5;
  out.ptCtrl[0] = {0, 0};
  for (int i = 0; i < 3; i++) out.ptCtrl[1 + i] = {displayLevel(inner[i][0]), displayLevel(inner[i][1])};
  out.ptCtrl[4] = {255, 255};
}
