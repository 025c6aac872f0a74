// Monochrome negative: one film level maps to another through the mirror x -> S * U / x, which swaps the dense end S
// and the clear end U of a channel. The curve is matched on mirrored levels, where it rises, and read back as film
// levels. Outputs 200 and 10.
#include <algorithm>
#include <cmath>

#include "engine/calc/czep.h"
#include "engine/calc/steps/correct_level.h"
#include "engine/calc/steps/level_tone.h"
#include "engine/calc/steps/points.h"
#include "engine/hist/chist.h"

bool CZEP::CalcParamNegaBW() {
  ZEP3_PARA& para = *m_pPara;
  ZEP3_IC& ic = para.ic;
  const CHIST& hist = *m_pHist;
  const double level = CorrectLevel(para);

  if (m_dNegaBWLevelRef >= level) {
    const double k = m_dNegaBWLevelRef - level;
    m_dNegaBWRatioMax = m_dNegaBWRatioMaxBase + m_dNegaBWRatioMaxStep * k;
    m_dNegaBWHlRef = m_dNegaBWHlRefBase + m_dNegaBWHlRefStep * k;
    m_dNegaBWSdRef = m_dNegaBWSdRefBase + m_dNegaBWSdRefStep * k;
    para.lLevelFlag = 0;
  } else {
    para.lLevelFlag = 1;
  }
  SetNegativeHeader(ic);
  para.lSaturation = 0;

  double clear[3];
  double dense[3];
  for (int c = 0; c < 3; c++) {
    clear[c] = hist.m_pdHistMax[0][c];
    dense[c] = hist.m_pdHistMin[1][c];
  }
  CheckRangeNarrowForBW(dense, clear, m_dNegaBWMinRatio);
  double largest = 0.0;
  for (int c = 0; c < 3; c++) {
    if (clear[c] / dense[c] > m_dNegaBWRatioMax) dense[c] = clear[c] / m_dNegaBWRatioMax;
    dense[c] = AtLeast(kLevelFloor, dense[c]);
    clear[c] = AtLeast(kLevelFloor, clear[c]);
    largest = std::max(largest, clear[c] / dense[c]);
  }
  for (int c = 0; c < 3; c++) {
    if (clear[c] / dense[c] < largest * m_dNegaBWRatioShare) clear[c] = dense[c] * largest * m_dNegaBWRatioShare;
  }

  for (int c = 0; c < 3; c++) {
    ZEP3_POINTS& p = ic.ch[c];
    const double gamma = std::log10(clear[c] / dense[c]) * m_dNegaBWGammaFactor * clear[c] / (clear[c] - dense[c]);
    p.lGamma = ToInt32(gamma * 100.0 + 0.5);
    const PowerCurve curve =
        MatchCurve(dense[c], clear[c], m_dNegaBWHlRef / m_dNegaBWSdRef, m_dNegaBWHlRef, gamma, NearOffset::kFloor);
    const auto mirroredInput = [&](int64_t out) {
      return Mirrored(AtLeast(kLevelFloor, curve.InputFor(Level8(out))), dense[c], clear[c]);
    };
    p.lHlIn = ClampToLevel16(mirroredInput(p.lHlOut));
    p.lSdIn = ClampToLevel16(mirroredInput(p.lSdOut));
  }
  if (para.lLevelFlag == 1) ProposeNegaBWTone(m_dNegaBWLevelRef);
  return true;
}

void CZEP::ProposeNegaBWTone(double levelRef) const {
  ProposeLevelTone({.levelRef = levelRef,
                    .meanLow = m_dNegaBWMeanLow,
                    .meanHigh = m_dNegaBWMeanHigh,
                    .mixMin = m_dNegaBWMixMin,
                    .mixMax = m_dNegaBWMixMax,
                    .darkRef = m_dNegaBWDarkRef,
                    .contrastStep = m_dNegaBWContrastStep,
                    .toneHl = m_dNegaBWToneHl,
                    .toneSd = m_dNegaBWToneSd,
                    .brightMax = m_dNegaBWBrightMax},
                   m_pHist->m_nHistOrg, true, *m_pPara);
}
