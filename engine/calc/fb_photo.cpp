// Reflective photo: channel highlights balanced against each other, one highlight to shadow ratio for all channels, and
// the curve matched to references that follow the correction level. Outputs 245 and 10.
#include <algorithm>

#include "engine/calc/czep.h"
#include "engine/calc/steps/correct_level.h"
#include "engine/calc/steps/hl_balance.h"
#include "engine/calc/steps/level_tone.h"
#include "engine/calc/steps/points.h"

bool CZEP::CalcParamFBPhoto() {
  ZEP3_PARA& para = *m_pPara;
  ZEP3_IC& ic = para.ic;
  const CHIST& hist = *m_pHist;
  const double level = CorrectLevel(para);

  ic.wHlCurveType = ZEP3_HL_NONE;
  SetOutputs(ic, 62965, 2570);
  ic.wSdCurveType = ShadowCurveType(para);

  if (m_dFBPhotoLevelRef >= level) {
    const double k = m_dFBPhotoLevelRef - level;
    m_dFBPhotoColorRatio = m_dFBPhotoColorRatioBase + m_dFBPhotoColorRatioStep * k;
    m_dFBPhotoHlGainMax = m_dFBPhotoHlGainBase + m_dFBPhotoHlGainStep * k;
    m_dFBPhotoRangeMin = m_dFBPhotoRangeMinBase + m_dFBPhotoRangeMinStep * k;
    m_dFBPhotoHlRef =
        m_dFBPhotoHlRefBase +
        m_dFBPhotoHlRefStep * k * HighlightStepFactor(hist, m_nFBPhotoAnlRangeLow, m_nFBPhotoAnlRangeHigh);
    m_dFBPhotoSdRef = m_dFBPhotoSdRefBase + m_dFBPhotoSdRefStep * k;
    para.lLevelFlag = 0;
  } else {
    para.lLevelFlag = 1;
  }
  para.lSaturation = 0;

  const int32_t hlMin = m_nFBPhotoHlMin[std::clamp<int64_t>(para.lCorrectLevel, 0, 4)];
  m_nFBPhotoHlMin[0] = hlMin;

  const HlBalance balance = BalancePhotoHighlights(hist,
                                                   {.colorRatio = m_dFBPhotoColorRatio,
                                                    .hlLow = m_dFBPhotoHlLow,
                                                    .hlHigh = m_dFBPhotoHlHigh,
                                                    .spreadLow = m_dFBPhotoSpreadLow,
                                                    .spreadHigh = m_dFBPhotoSpreadHigh},
                                                   level);
  const double gain = PhotoHighlightGain(hist, m_dFBPhotoHlGainMax, m_dFBPhotoHlStretch);
  for (int c = 0; c < 3; c++) {
    ic.ch[c].lHlIn = ToLevel16(Level8(balance.Highlight16(hist.m_pdHistMax[1][c])) * gain);
  }

  // Above the output highlight all channels shrink by the excess of the highest one; then the floor.
  const double top = std::max({Level8(ic.ch[0].lHlIn), Level8(ic.ch[1].lHlIn), Level8(ic.ch[2].lHlIn)});
  for (ZEP3_POINTS& p : ic.ch) {
    if (top > Level8(p.lHlOut)) p.lHlIn = ToLevel16(Level8(p.lHlIn) * Level8(p.lHlOut) / top);
    if (hlMin > Level8(p.lHlIn)) p.lHlIn = hlMin * 257;
  }

  const double ratio =
      AtMost(m_dFBPhotoRangeMax,
             AtLeast(m_dFBPhotoRangeMin, LargestRatio(hist, {ic.ch[0].lHlIn, ic.ch[1].lHlIn, ic.ch[2].lHlIn})));
  for (ZEP3_POINTS& p : ic.ch) {
    p.lSdIn = ToLevel16(Level8(p.lHlIn) / ratio);
    p.lGamma = SlopeGamma(p);
    if (static_cast<double>(p.lGamma) < 100.0 * m_dFBPhotoGammaMin) p.lGamma = 100;
    MatchToReferences(p, m_dFBPhotoHlRef, m_dFBPhotoSdRef, NearOffset::kAsItIs);
  }

  if (IsPlain(para)) {
    // A straight line through the origin and each channel's highlight.
    for (ZEP3_POINTS& p : ic.ch) {
      p.lGamma = 100;
      p.lSdIn =
          ToInt32(static_cast<double>(p.lSdOut) * (static_cast<double>(p.lHlIn) / static_cast<double>(p.lHlOut)) + 0.5);
    }
  }
  if (para.lLevelFlag == 1) {
    ProposeLevelTone({.levelRef = m_dFBPhotoLevelRef,
                      .meanLow = m_dFBPhotoMeanLow,
                      .meanHigh = m_dFBPhotoMeanHigh,
                      .mixMin = m_dFBPhotoMixMin,
                      .mixMax = m_dFBPhotoMixMax,
                      .darkRef = m_dFBPhotoDarkRef,
                      .contrastStep = m_dFBPhotoContrastStep,
                      .toneHl = m_dFBPhotoToneHl,
                      .toneSd = m_dFBPhotoToneSd,
                      .brightMax = m_dFBPhotoBrightMax},
                     hist.m_nHist, false, para);
  }
  return true;
}
