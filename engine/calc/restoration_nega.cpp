// Faded colour negative: each dye loses a share of what is there, so a channel's range and contrast shrink by one
// factor; stain adds a density to all of it. Both go with the channel's own ends. Unlike for unfaded film the range
// checks are left out: a narrow channel is the damage to undo, and they would keep it. Proposes a saturation for
// compressed ranges: a stretch of channels does not return the chroma in full, as the unwanted absorptions fade with
// their dye. Outputs 200 and 10.
#include <cmath>

#include "engine/calc/czep.h"
#include "engine/calc/steps/correct_level.h"
#include "engine/calc/steps/level_tone.h"
#include "engine/calc/steps/points.h"
#include "engine/common/nega_gain.h"
#include "engine/common/scale.h"
#include "engine/film/histogram_print.h"
#include "engine/hist/chist.h"

bool CZEP::CalcRestorationNega() {
  ZEP3_PARA& para = *m_pPara;
  ZEP3_IC& ic = para.ic;
  const CHIST& hist = *m_pHist;
  const double level = CorrectLevelFromZero(para);
  const double below = AtLeast(0.0, m_negaTone.levelRef - level);

  para.lLevelFlag = level > m_negaTone.levelRef ? 1 : 0;
  SetNegativeHeader(ic);

  const FilmEnds ends =
      MeasureFilmEnds(hist, ZEP3_DOC_NEGATIVE, std::log10(m_dRestNegaRatioMin), m_dRestNegaRangeDefault);
  const Film film = JudgeColourFilm(ends.Seen(), m_restNegaFilm, m_restNegaTrust);
  PrintFilm(film, ends, m_restNegaPrint.At(below, m_dRestNegaPrintStep, m_dRestNegaWhiteStep), hist.m_nHistOrg, ic);

  // Ranges by the channels' density contrasts, as a neutral scene would show them alike.
  double contrast[3];
  RelativeGains(kFilmGain, contrast);
  double range[3];
  double deficit[3];
  for (int c = 0; c < 3; c++) {
    range[c] = (ends.clear[c] - ends.dense[c]) / contrast[c];
    deficit[c] = AtLeast(0.0, m_dRestNegaRangeRef / range[c] - 1.0);
  }
  const double twoLargest = deficit[0] + deficit[1] + deficit[2] - Smallest(deficit);
  const double score = AtMost(m_dRestNegaSatMax, twoLargest / 2.0 * m_dRestNegaSatRange +
                                                     m_dRestNegaSatSpread * (1.0 - Smallest(range) / Largest(range)));
  para.lSaturation = ToInt32(0.5 + score * AtMost(m_dRestNegaSatLevelMax, level) * m_dRestNegaSatScale);

  if (para.lLevelFlag == 1) ProposeLevelTone(m_negaTone, hist.m_nHistOrg, true, para);
  return true;
}
