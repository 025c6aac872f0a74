// The document members by correction level, highlights, ratio and gamma.
#include "engine/calc/steps/document.h"

#include "engine/calc/steps/correct_level.h"
#include "engine/calc/steps/points.h"

namespace {

constexpr int kHlOut = 65535;
constexpr int kSdOut = 2570;

} // namespace

void FollowDocLevel(CZEP& zep) {
  const double k = zep.m_dDocLevelRef - CorrectLevel(*zep.m_pPara);
  zep.m_dDocColorRatio = zep.m_dDocColorRatioBase + zep.m_dDocColorRatioStep * k;
  zep.m_dDocHlLow = zep.m_dDocHlLowBase + zep.m_dDocHlLowStep * k;
  zep.m_dDocHlHigh = zep.m_dDocHlHighBase + zep.m_dDocHlHighStep * k;
  zep.m_dDocGainHigh = zep.m_dDocGainHighBase + zep.m_dDocGainHighStep * k;
  zep.m_dDocGainLow = zep.m_dDocGainLowBase + zep.m_dDocGainLowStep * k;
  zep.m_dDocCastFactor = zep.m_dDocCastFactorBase + zep.m_dDocCastFactorStep * k;
  zep.m_dDocRangeMin = zep.m_dDocRangeMinBase + zep.m_dDocRangeMinStep * k;
  zep.m_dDocGammaWeight = zep.m_dDocGammaWeightBase + zep.m_dDocGammaWeightStep * k;
}

void SetDocHeader(ZEP3_PARA& para) {
  para.ic.wHlCurveType = ZEP3_HL_NONE;
  SetOutputs(para.ic, kHlOut, kSdOut);
  para.ic.wSdCurveType = ShadowCurveType(para);
  para.lSaturation = 0;
  para.lLevelFlag = 0;
}

DocHighlights BalanceDocHighlights(const CZEP& zep) {
  const HlBalance balance = BalanceHighlights(*zep.m_pHist, {.colorRatio = zep.m_dDocColorRatio,
                                                             .hlLow = zep.m_dDocHlLow,
                                                             .hlHigh = zep.m_dDocHlHigh,
                                                             .spreadLow = zep.m_dDocSpreadLow,
                                                             .spreadHigh = zep.m_dDocSpreadHigh});
  const double gain = DocumentHighlightGain(balance, {.neutral = zep.m_dDocGainLow,
                                                      .coloured = zep.m_dDocGainHigh,
                                                      .spreadLow = zep.m_dDocSpreadLow,
                                                      .spreadHigh = zep.m_dDocSpreadHigh,
                                                      .castFactor = zep.m_dDocCastFactor});
  return {balance, gain};
}

int64_t PlainDocShadow(int64_t hl16) { return ToInt32(static_cast<double>(hl16) / kHlOut * kSdOut + 0.5); }

double DocRatio(const CZEP& zep, const int64_t (&hl16)[3]) {
  return AtMost(zep.m_dDocRangeMax,
                AtLeast(zep.m_dDocRangeMin, zep.m_dDocRangeScale * LargestRatio(*zep.m_pHist, hl16)));
}

int64_t DocGamma(int64_t hl16, int64_t sd16, double weight) {
  const double slope = static_cast<double>(hl16) / kHlOut * (kHlOut - kSdOut) / static_cast<double>(hl16 - sd16);
  return ToInt32(((slope - 1.0) * weight + 1.0) * 100.0 + 0.5);
}
