// Positive film: the plan of the reflective photo with slides' own constants, and kept differences: a shoulder in the
// highlights, one lowest highlight for all levels, no cap at the output highlight, a floor in the curve matching, a
// lowest gamma of 1.05, and a truncated shadow in the plain handling.
#include <algorithm>

#include "engine/calc/czep.h"
#include "engine/calc/steps/correct_level.h"
#include "engine/calc/steps/hl_balance.h"
#include "engine/calc/steps/level_tone.h"
#include "engine/calc/steps/points.h"

bool CZEP::CalcParamPosi() {
  ZEP3_PARA& para = *m_pPara;
  ZEP3_IC& ic = para.ic;
  const CHIST& hist = *m_pHist;
  const double level = CorrectLevel(para);

  ic.wHlCurveType = ZEP3_HL_ROLL_OFF;
  SetOutputs(ic, 62965, 2570);
  para.lSaturation = 0;
  ic.wSdCurveType = ShadowCurveType(para);

  if (m_dPosiLevelRef >= level) {
    const double k = m_dPosiLevelRef - level;
    m_dPosiColorRatio = m_dPosiColorRatioBase + m_dPosiColorRatioStep * k;
    m_dPosiHlGainMax = m_dPosiHlGainBase + m_dPosiHlGainStep * k;
    m_dPosiRangeMin = m_dPosiRangeMinBase + m_dPosiRangeMinStep * k;
    m_dPosiHlRef =
        m_dPosiHlRefBase + m_dPosiHlRefStep * k * HighlightStepFactor(hist, m_nPosiAnlRangeLow, m_nPosiAnlRangeHigh);
    m_dPosiSdRef = m_dPosiSdRefBase + m_dPosiSdRefStep * k;
    para.lLevelFlag = 0;
  } else {
    para.lLevelFlag = 1;
  }

  const HlBalance balance = BalancePhotoHighlights(hist,
                                                   {.colorRatio = m_dPosiColorRatio,
                                                    .hlLow = m_dPosiHlLow,
                                                    .hlHigh = m_dPosiHlHigh,
                                                    .spreadLow = m_dPosiSpreadLow,
                                                    .spreadHigh = m_dPosiSpreadHigh},
                                                   level);
  const double gain = PhotoHighlightGain(hist, m_dPosiHlGainMax, m_dPosiHlStretch);
  for (int c = 0; c < 3; c++) {
    ic.ch[c].lHlIn = GainedHighlight(balance.Highlight16(hist.m_pdHistMax[1][c]), gain, m_nPosiHlMin);
  }

  const double ratio =
      Clamp(LargestRatio(hist, {ic.ch[0].lHlIn, ic.ch[1].lHlIn, ic.ch[2].lHlIn}), m_dPosiRangeMin, m_dPosiRangeMax);
  for (ZEP3_POINTS& p : ic.ch) {
    p.lSdIn = ToLevel16(Level8(p.lHlIn) / ratio);
    p.lGamma = SlopeGamma(p);
    if (100.0 * m_dPosiGammaMin > static_cast<double>(p.lGamma)) p.lGamma = ToInt32(100.0 * m_dPosiGammaMin);
    MatchToReferences(p, m_dPosiHlRef, m_dPosiSdRef, NearOffset::kFloor);
  }

  if (IsPlain(para)) {
    for (ZEP3_POINTS& p : ic.ch) {
      p.lGamma = 100;
      p.lSdIn = ToLevel16(Level8(p.lSdOut) * (static_cast<double>(p.lHlIn) / static_cast<double>(p.lHlOut)));
    }
  }
  if (para.lLevelFlag == 1) {
    ProposeLevelTone({.levelRef = m_dPosiLevelRef,
                      .meanLow = m_dPosiMeanLow,
                      .meanHigh = m_dPosiMeanHigh,
                      .mixMin = m_dPosiMixMin,
                      .mixMax = m_dPosiMixMax,
                      .darkRef = m_dPosiDarkRef,
                      .contrastStep = m_dPosiContrastStep,
                      .toneHl = m_dPosiToneHl,
                      .toneSd = m_dPosiToneSd,
                      .brightMax = m_dPosiBrightMax},
                     hist.m_nHist, false, para);
  }
  return true;
}
