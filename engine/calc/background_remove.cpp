// Background removal: as the document, with constants of its own, outputs 255 and 1, a gain that falls with a colour
// cast, and an offset on middling ratios. The plain handling changes nothing here.
#include <algorithm>

#include "engine/calc/czep.h"
#include "engine/calc/steps/correct_level.h"
#include "engine/calc/steps/hl_balance.h"
#include "engine/calc/steps/points.h"

bool CZEP::CalcBackgroundRemove() {
  ZEP3_PARA& para = *m_pPara;
  ZEP3_IC& ic = para.ic;
  const CHIST& hist = *m_pHist;
  ic.wHlCurveType = ZEP3_HL_NONE;
  ic.wSdCurveType = ZEP3_SD_NONE;
  SetOutputs(ic, 65535, 257);
  para.lSaturation = 0;
  para.lLevelFlag = 0;

  const double k = m_dBgLevelRef - CorrectLevel(para);
  m_dBgColorRatio = m_dBgColorRatioBase + m_dBgColorRatioStep * k;
  m_dBgHlLow = m_dBgHlLowBase + m_dBgHlLowStep * k;
  m_dBgHlHigh = m_dBgHlHighBase + m_dBgHlHighStep * k;
  m_dBgGainHigh = m_dBgGainHighBase + m_dBgGainHighStep * k;
  m_dBgGainLow = m_dBgGainLowBase + m_dBgGainLowStep * k;
  m_dBgCastFactor = m_dBgCastFactorBase + m_dBgCastFactorStep * k;
  m_dBgRangeMin = m_dBgRangeMinBase + m_dBgRangeMinStep * k;
  m_dBgRangeOffset = m_dBgRangeOffsetBase + m_dBgRangeOffsetStep * k;
  m_dBgGammaWeight = m_dBgGammaWeightBase + m_dBgGammaWeightStep * k;

  const HlBalance balance = BalanceHighlights(hist, {.colorRatio = m_dBgColorRatio,
                                                     .hlLow = m_dBgHlLow,
                                                     .hlHigh = m_dBgHlHigh,
                                                     .spreadLow = m_dBgSpreadLow,
                                                     .spreadHigh = m_dBgSpreadHigh});
  const double gain = DocumentHighlightGain(balance, {.neutral = m_dBgGainLow,
                                                      .coloured = m_dBgGainHigh,
                                                      .spreadLow = m_dBgCastSpreadLow,
                                                      .spreadHigh = m_dBgCastSpreadHigh,
                                                      .castFactor = m_dBgCastFactor});
  for (int c = 0; c < 3; c++) {
    ic.ch[c].lHlIn = GainedHighlight(balance.Highlight16(hist.m_pdHistMax[1][c]), gain, m_nBgHlMin);
  }

  // The offset applies between the limits only and may take the ratio below the lower one: kept so.
  const double measured = LargestRatio(hist, {ic.ch[0].lHlIn, ic.ch[1].lHlIn, ic.ch[2].lHlIn}) * m_dBgRangeScale;
  double ratio = measured - m_dBgRangeOffset;
  if (m_dBgRangeMin > measured) {
    ratio = m_dBgRangeMin;
  } else if (measured > m_dBgRangeMax) {
    ratio = m_dBgRangeMax;
  }
  for (ZEP3_POINTS& p : ic.ch) {
    p.lSdIn = ToLevel16(std::min(Level8(p.lHlIn) / ratio, m_dBgSdMax));
    // The slope of DocGamma with its divisions in another order, which differs in last places.
    const double slope =
        static_cast<double>(p.lHlIn) * (65535.0 - 257.0) / static_cast<double>(p.lHlIn - p.lSdIn) / 65535.0;
    p.lGamma = ToInt32(((slope - 1.0) * m_dBgGammaWeight + 1.0) * 100.0 + 0.5);
  }
  return true;
}
