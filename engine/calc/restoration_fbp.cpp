// Faded prints and slides: one power curve per channel through its measured ends, then three rounds that move the
// gammas until the channel means meet a common target, limited by how far the gammas spread. Proposes a saturation that
// grows with the fading found. Outputs 240 and 15.
#include <algorithm>
#include <cmath>

#include "engine/calc/czep.h"
#include "engine/calc/steps/correct_level.h"
#include "engine/calc/steps/level_tone.h"
#include "engine/calc/steps/points.h"
#include "engine/hist/chist.h"

namespace {

constexpr double kGammaFloor = 0.1;

// One channel under restoration.
struct Channel {
  const uint32_t* histogram; // 256 levels
  double hl;                 // measured highlight; from the first curve on, the input of the highlight target
  double sd;                 // likewise the shadow
  double gamma;
  double firstGamma;
  PowerCurve curve;
  double out[256]; // the curve's outputs
  uint64_t count;  // samples
  double mean;     // of the outputs

  void Match(double hlOut, double sdOut) {
    curve = MatchCurve(sd, hl, hlOut / sdOut, hlOut, gamma, NearOffset::kFloor);
  }

  void RunCurve() {
    count = 0;
    double sum = 0.0;
    for (int i = 0; i < 256; i++) {
      out[i] = curve.At(i);
      count += histogram[i];
      sum += out[i] * histogram[i];
    }
    mean = AtLeast(kLevelFloor, count > 0 ? sum / static_cast<double>(count) : kEmptyMean);
  }
};

// By how much the balance band widens: when the channels' means spread alike over the mid-tones and over all tones, the
// cast runs through the whole picture and is the film's rather than the scene's.
double BalanceBandFactor(const Channel (&channel)[3], double midCut, double tolerance, double gain) {
  double midMean[3];
  double mean[3];
  for (int c = 0; c < 3; c++) {
    const Channel& ch = channel[c];
    const double samples = static_cast<double>(ch.count);
    uint64_t running = 0;
    uint64_t midCount = 0;
    double midSum = 0.0;
    for (int i = 0; i < 256; i++) {
      running += ch.histogram[i];
      const double upTo = static_cast<double>(running);
      if (upTo > midCut * samples && upTo < (1.0 - midCut) * samples) {
        midCount += ch.histogram[i];
        midSum += ch.histogram[i] * ch.out[i];
      }
    }
    if (midCount <= 1) return 1.0;
    midMean[c] = midSum / static_cast<double>(midCount);
    mean[c] = ch.mean;
  }
  const double difference = std::fabs(Largest(mean) / Smallest(mean) - Largest(midMean) / Smallest(midMean));
  return difference < tolerance ? gain * (tolerance - difference) / tolerance + 1.0 : 1.0;
}

} // namespace

bool CZEP::CalcRestorationFBP() {
  ZEP3_PARA& para = *m_pPara;
  ZEP3_IC& ic = para.ic;
  const CHIST& hist = *m_pHist;
  const double level = CorrectLevel(para);

  if (m_dRestFBPLevelRef >= level) {
    const double k = m_dRestFBPLevelRef - level;
    m_dRestFBPHlRef = m_dRestFBPHlRefBase + m_dRestFBPHlStep * k;
    m_dRestFBPHlTarget = m_dRestFBPHlTargetBase + m_dRestFBPHlStep * k;
    m_dRestFBPSdRef = m_dRestFBPSdRefBase + m_dRestFBPSdStep * k;
    m_dRestFBPSdTarget = m_dRestFBPSdTargetBase + m_dRestFBPSdStep * k;
    para.lLevelFlag = 0;
  } else {
    para.lLevelFlag = 1;
  }
  ic.wHlCurveType = ZEP3_HL_ROLL_OFF;
  ic.wSdCurveType = ZEP3_SD_TOE;
  SetOutputs(ic, 61680, 3855);

  // First gamma: the mean slope of light between the ends, relative to the highlight, before over after. First curve,
  // and its mean output.
  Channel channel[3];
  for (int c = 0; c < 3; c++) {
    Channel& ch = channel[c];
    ch.histogram = hist.m_nHist[c];
    ch.hl = hist.m_pdHistMax[1][c];
    ch.sd = hist.m_pdHistMin[1][c];
    if (m_dRestFBPSdRatioMin > ch.hl / ch.sd) ch.sd = ch.hl / m_dRestFBPSdRatioMin;
    const double hr = m_dRestFBPHlRef;
    const double sr = m_dRestFBPSdRef;
    ch.gamma = (1.0 - std::pow(ch.sd / ch.hl, 1.8)) * ch.hl * ((hr - sr) / (ch.hl - ch.sd)) /
               (hr * (1.0 - std::pow(sr / hr, 1.8)));
    ch.gamma = AtLeast(kGammaFloor, AtMost(m_dRestFBPGammaMax, ch.gamma));
    ch.firstGamma = ch.gamma;
    ch.Match(hr, sr);
    ch.hl = ch.curve.InputFor(m_dRestFBPHlTarget);
    ch.sd = ch.curve.InputFor(m_dRestFBPSdTarget);
    ch.RunCurve();
  }

  // Common target of the means, fixed from here on.
  const double lowest = std::min({channel[0].mean, channel[1].mean, channel[2].mean});
  const double average = (channel[0].mean + channel[1].mean + channel[2].mean) / 3.0;
  double target = lowest;
  if (m_dRestFBPMeanLow > lowest) {
    target = m_dRestFBPMeanLow - m_dRestFBPMeanPull * (m_dRestFBPMeanLow - lowest);
  } else if (lowest > m_dRestFBPMeanHigh) {
    target = (lowest - m_dRestFBPMeanHigh) * m_dRestFBPMeanPull + m_dRestFBPMeanHigh;
  }
  target = AtLeast(kLevelFloor, std::max(average * m_dRestFBPMeanFloor, std::min(average, target)));
  const double targetLog = std::log10(target / 255.0);

  // Three gamma updates; the curves are run anew after the first two.
  double balanceLow = m_dRestFBPBalanceLow;
  double balanceHigh = m_dRestFBPBalanceHigh;
  for (int pass = 0; pass < 3; pass++) {
    for (Channel& ch : channel) {
      // A target of 255 leaves nothing to steer by.
      if (targetLog != 0.0) ch.gamma = ch.gamma * (std::log10(ch.mean / 255.0) / targetLog);
      ch.gamma = AtLeast(kGammaFloor, ch.gamma);
      if (pass == 2) continue;
      ch.Match(m_dRestFBPHlTarget, m_dRestFBPSdTarget);
      ch.RunCurve();
    }
    if (pass == 1) {
      const double widen = BalanceBandFactor(channel, m_dRestFBPMidCut, m_dRestFBPBalanceTol, m_dRestFBPBalanceGain);
      balanceLow = m_dRestFBPBalanceLow * widen;
      balanceHigh = m_dRestFBPBalanceHigh * widen;
    }
  }

  // The further the updates drive the gammas apart, the less of them is kept.
  double change[3];
  double firstGamma[3];
  for (int c = 0; c < 3; c++) {
    change[c] = channel[c].gamma / channel[c].firstGamma;
    firstGamma[c] = channel[c].firstGamma;
  }
  const double spread = Largest(change) / Smallest(change) / std::pow(Largest(firstGamma), m_dRestFBPGammaPower);
  double kept = 0.0;
  if (spread < balanceLow) {
    kept = 1.0;
  } else if (spread <= balanceHigh) {
    kept = (1.0 - (spread - balanceLow) / (balanceHigh - balanceLow)) * balanceLow / spread;
  }

  for (int c = 0; c < 3; c++) {
    Channel& ch = channel[c];
    ZEP3_POINTS& p = ic.ch[c];
    ch.gamma = ch.firstGamma * (1.0 + kept * (change[c] - 1.0));
    ch.Match(m_dRestFBPHlTarget, m_dRestFBPSdTarget);
    ReadBackInputs(p, ch.curve);
    p.lGamma = ToInt32(100.0 * ch.gamma + 0.5);
  }

  const double meanGamma = (channel[0].gamma + channel[1].gamma + channel[2].gamma) / 3.0;
  para.lSaturation = RestorationSaturation(ic, meanGamma, level);

  if (para.lLevelFlag == 1) {
    ProposeLevelTone({.levelRef = m_dRestFBPLevelRef,
                      .meanLow = m_dRestFBPToneMeanLow,
                      .meanHigh = m_dRestFBPToneMeanHigh,
                      .mixMin = m_dRestFBPToneMixMin,
                      .mixMax = m_dRestFBPToneMixMax,
                      .darkRef = m_dRestFBPToneDarkRef,
                      .contrastStep = m_dRestFBPToneContrastStep,
                      .toneHl = m_dRestFBPToneHl,
                      .toneSd = m_dRestFBPToneSd,
                      .brightMax = m_dRestFBPToneBrightMax},
                     hist.m_nHist, false, para);
  }
  return true;
}

// Unequal slopes, a steep mean gamma, and channels with a compressed range.
int32_t CZEP::RestorationSaturation(const ZEP3_IC& ic, double meanGamma, double strength) const {
  double slope[3];
  double deficit[3];
  for (int c = 0; c < 3; c++) {
    const ZEP3_POINTS& p = ic.ch[c];
    slope[c] = std::fabs(static_cast<double>(p.lHlOut - p.lSdOut) / static_cast<double>(p.lHlIn - p.lSdIn));
    const double ratio = static_cast<double>(p.lHlIn) / static_cast<double>(p.lSdIn);
    deficit[c] = ratio < m_dRestFBPRatioRef ? m_dRestFBPRatioRef / ratio - 1.0 : 0.0;
  }
  const double flattest = Smallest(slope);
  const double evenness = std::pow((flattest / slope[0]) * (flattest / slope[1]) * (flattest / slope[2]), 2.0 / 3.0);
  const double gammaTerm = meanGamma > 1.0 ? m_dRestFBPSatGamma * (meanGamma - 1.0) : 0.0;
  const double twoLargest = (deficit[0] + deficit[1] + deficit[2]) - Smallest(deficit);
  const double score = AtMost(
      m_dRestFBPSatMax, twoLargest * m_dRestFBPSatRatio * 0.5 + gammaTerm + m_dRestFBPSatSpread * (1.0 - evenness));
  return ToInt32(0.5 + score * strength * m_dRestFBPSatScale);
}
