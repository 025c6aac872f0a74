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
  const double below = AtLeast(0.0, m_negaTone.levelRef - level);

  para.lLevelFlag = level > m_negaTone.levelRef ? 1 : 0;
  SetNegativeHeader(ic);

  const FilmEnds ends =
      MeasureFilmEnds(hist, ZEP3_DOC_NEGATIVE_BW, std::log10(m_dRestNegaBWRatioMin), m_dRestNegaBWRangeDefault);
  const Film film = JudgeMonochromeFilm(ends.Seen(), m_restNegaBWFilm);
  PrintFilm(film, ends, m_restNegaBWPrint.At(below, m_dRestNegaBWPrintStep, m_dRestNegaBWWhiteStep), hist.m_nHistOrg,
            ic);

  double range[3];
  for (int c = 0; c < 3; c++) range[c] = ends.clear[c] - ends.dense[c];
  const double score = AtMost(m_dRestNegaBWSatMax, m_dRestNegaBWSatSpread * (1.0 - Smallest(range) / Largest(range)));
  para.lSaturation =
      -static_cast<int64_t>(ToInt32(0.5 + score * AtMost(m_dRestNegaBWSatLevelMax, level) * m_dRestNegaBWSatScale));

  if (para.lLevelFlag == 1) ProposeLevelTone(m_negaTone, hist.m_nHistOrg, true, para);
  return true;
}
