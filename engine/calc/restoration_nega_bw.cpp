// Faded monochrome negative: silver that lost density prints softer, and what colour the scan shows is stain. Each
// channel's own ends take the stain away, one slope per channel gives all of them the same picture. Proposes to take
// out of the saturation what is left of the stain. Outputs 200 and 10.
#include <cmath>

#include "engine/calc/czep.h"
#include "engine/calc/steps/correct_level.h"
#include "engine/calc/steps/level_tone.h"
#include "engine/calc/steps/points.h"
#include "engine/common/scale.h"
#include "engine/film/histogram_print.h"
#include "engine/hist/chist.h"

bool CZEP::CalcRestorationNegaBW() {
  ZEP3_PARA& para = *m_pPara;
  ZEP3_IC& ic = para.ic;
  const CHIST& hist = *m_pHist;
  const double level = CorrectLevelFromZero(para);
  const double below = AtLeast(0.0, m_dRestNegaBWLevelRef - level);

  m_dRestNegaBWPrint = m_dRestNegaBWPrintBase + m_dRestNegaBWPrintStep * below;
  m_dRestNegaBWWhite = m_dRestNegaBWWhiteBase + m_dRestNegaBWWhiteStep * below;
  para.lLevelFlag = level > m_dRestNegaBWLevelRef ? 1 : 0;
  SetNegativeHeader(ic);

  const FilmEnds ends =
      MeasureFilmEnds(hist, ZEP3_DOC_NEGATIVE_BW, std::log10(m_dRestNegaBWRatioMin), m_dRestNegaBWRangeDefault);
  const FilmTraits traits = {.slope = {m_dRestNegaBWSlope, m_dRestNegaBWSlope, m_dRestNegaBWSlope},
                             .toe = m_dRestNegaBWToe};
  const Film film = JudgeMonochromeFilm(ends.Seen(), traits);
  PrintFilm(film, ends,
            {.contrast = m_dRestNegaBWPrint,
             .rangeNormal = m_dRestNegaBWRangeNormal,
             .rangeShare = m_dRestNegaBWRangeShare,
             .white = m_dRestNegaBWWhite,
             .whiteNormal = m_dRestNegaBWWhiteNormal,
             .whitePull = m_dRestNegaBWWhitePull,
             .meanShare = m_dRestNegaBWMeanShare,
             .flare = m_dRestNegaBWFlare},
            hist.m_nHistOrg, ic);

  double range[3];
  for (int c = 0; c < 3; c++) range[c] = ends.clear[c] - ends.dense[c];
  const double score = AtMost(m_dRestNegaBWSatMax, m_dRestNegaBWSatSpread * (1.0 - Smallest(range) / Largest(range)));
  para.lSaturation =
      -static_cast<int64_t>(ToInt32(0.5 + score * AtMost(m_dRestNegaBWSatLevelMax, level) * m_dRestNegaBWSatScale));

  if (para.lLevelFlag == 1) {
    ProposeLevelTone({.levelRef = m_dRestNegaBWLevelRef,
                      .meanLow = m_dRestNegaBWMeanLow,
                      .meanHigh = m_dRestNegaBWMeanHigh,
                      .mixMin = m_dRestNegaBWMixMin,
                      .mixMax = m_dRestNegaBWMixMax,
                      .darkRef = m_dRestNegaBWDarkRef,
                      .contrastStep = m_dRestNegaBWContrastStep,
                      .toneHl = m_dRestNegaBWToneHl,
                      .toneSd = m_dRestNegaBWToneSd,
                      .brightMax = m_dRestNegaBWBrightMax},
                     hist.m_nHistOrg, true, para);
  }
  return true;
}
