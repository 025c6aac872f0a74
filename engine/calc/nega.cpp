// Colour negative: the checks make the ranges of the three channels credible, the film's own characteristic takes the
// scan back to exposures, the lightest parts of the scene tell the colour of its light, and the table builder's curve
// is fitted to the print. Outputs 200 and 10.
//
// The checks and judgements work on log10 of levels: a level is transmittance to the power 1 / 1.8, so this is density
// but for sign and scale. The checks for narrow and wide ranges see the channels normalised by their density contrasts,
// as a neutral scene would show in all of them alike.
#include <algorithm>
#include <cmath>

#include "engine/calc/czep.h"
#include "engine/calc/steps/correct_level.h"
#include "engine/calc/steps/level_tone.h"
#include "engine/calc/steps/points.h"
#include "engine/calc/steps/ramp.h"
#include "engine/common/nega_gain.h"
#include "engine/common/scale.h"
#include "engine/film/histogram_print.h"
#include "engine/hist/chist.h"

bool CZEP::CalcParamNega(const double* colorMatrix) {
  if (colorMatrix == nullptr) return false;
  ZEP3_PARA& para = *m_pPara;
  ZEP3_IC& ic = para.ic;
  const CHIST& hist = *m_pHist;
  const double level = CorrectLevelFromZero(para);
  const double below = AtLeast(0.0, m_negaTone.levelRef - level);

  para.lLevelFlag = level > m_negaTone.levelRef ? 1 : 0;
  SetNegativeHeader(ic);
  para.lSaturation = 0;

  FilmEnds ends = MeasureFilmEnds(hist, ZEP3_DOC_NEGATIVE, m_dNegaRangeMin, m_dNegaRangeDefault);
  double mid[3];
  double densest[3];
  double dense[3];
  double clearer[3];
  for (int c = 0; c < 3; c++) {
    mid[c] = Clamp(LogLevel(hist.m_pdHistAve[c]), ends.dense[c] + m_dNegaAveMargin, ends.clear[c] - m_dNegaAveMargin);
    densest[c] = LogLevel(hist.m_pdHistMin[0][c]);
    dense[c] = LogLevel(hist.m_pdHistMin[1][c]);
    clearer[c] = LogLevel(hist.m_pdHistMax[1][c]);
  }

  // Piled-up ends: highlights at the shoulder or the scanner's floor, shadows on the bare base.
  double overWeight[3];
  double underWeight[3];
  double difference[3];
  double range[3];
  const double over = ExposureOver(densest, dense, overWeight, difference);
  const double under = ExposureUnder(ends.clear, clearer, underWeight, ends.dense, difference, range);
  RangeBalanceIntensity(ends.dense, ends.clear, overWeight, underWeight);

  double gain[3];
  double contrast[3];
  double ownContrast[3];
  NegaGains(colorMatrix, kFilmGain, gain);
  RelativeGains(gain, contrast);
  RelativeGains(kFilmGain, ownContrast);
  double lower[3];
  double upper[3];
  double center[3];
  double belowShare[3];
  double ownShare[3];
  for (int c = 0; c < 3; c++) {
    contrast[c] = Clamp(contrast[c], m_dNegaGainMin, m_dNegaGainMax);
    ownContrast[c] = Clamp(ownContrast[c], m_dNegaGainMin, m_dNegaGainMax);
    upper[c] = ends.clear[c];
    lower[c] = upper[c] - (ends.clear[c] - ends.dense[c]) / contrast[c];
    center[c] = upper[c] - (ends.clear[c] - mid[c]) / contrast[c];
    belowShare[c] = m_dNegaNarrowShare + (1.0 - m_dNegaNarrowShare) * underWeight[c];
    ownShare[c] = std::max(overWeight[c], underWeight[c]);
  }
  CheckRangeNarrow(lower, upper, center, belowShare, over, under, m_dNegaNarrowUpper * (1.0 - under));

  // Neutral whites, even means and a dark scene speak for the ranges as they are.
  double position[3];
  double reference[3];
  double narrowed[3];
  double tint = 0.0;
  for (int c = 0; c < 3; c++) {
    position[c] = (upper[c] - center[c]) / (upper[c] - lower[c]);
    reference[c] = upper[c] - m_dNegaLiftRange;
    narrowed[c] = lower[c];
    tint = std::max(tint, std::fabs(LogLevel(hist.m_pdNegaMin[1][c]) - dense[c]));
  }
  const double neutral = RampDown(tint, m_dNegaWideNeutralLow, m_dNegaWideNeutralHigh);
  const double even = RampDown(Largest(position) - Smallest(position), m_dNegaWideCastLow, m_dNegaWideCastHigh);
  const double dark =
      RampDown((position[0] + position[1] + position[2]) / 3.0, m_dNegaWideDarkLow, m_dNegaWideDarkHigh);
  CheckRangeWide(lower, upper, AtMost(1.0, m_dNegaWideLevelStep * below), neutral, even, ownShare, over, under, dark,
                 reference);

  for (int c = 0; c < 3; c++) {
    lower[c] = narrowed[c] + m_dNegaWideShare * (lower[c] - narrowed[c]);
    const double widest = AtLeast(m_dNegaRangeFloor, (upper[c] - lower[c]) * contrast[c]);
    ends.clear[c] = AtMost(std::log10(255.0), ends.clear[c] + (upper[c] - ends.clear[c]) * contrast[c]);
    ends.dense[c] = ends.clear[c] - widest;
  }

  FilmTraits traits = m_negaFilm;
  for (int c = 0; c < 3; c++) traits.slope[c] *= contrast[c] / ownContrast[c];
  const Film film = JudgeColourFilm(ends.Seen(), traits, m_negaTrust);
  PrintFilm(film, ends, m_negaPrint.At(below, m_dNegaPrintStep, m_dNegaWhiteStep), hist.m_nHistOrg, ic);

  if (para.lLevelFlag == 1) ProposeLevelTone(m_negaTone, hist.m_nHistOrg, true, para);
  return true;
}
