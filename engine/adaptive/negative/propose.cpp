// What colour matrix and correction level ask for, handed to the estimator; its results laid into the record.
#include "engine/adaptive/negative/propose.h"

#include <algorithm>

#include "engine/adaptive/negative/estimator.h"
#include "engine/calc/czep.h"
#include "engine/calc/steps/correct_level.h"
#include "engine/calc/steps/points.h"
#include "engine/common/nega_gain.h"
#include "engine/common/record.h"
#include "engine/common/scale.h"

namespace {

// Limits of what a colour matrix can say of a channel's density contrast.
constexpr double kContrastMin = 0.5;
constexpr double kContrastMax = 2.0;

// The print of level 4 is the scene's; each level below is softer, each above adds to it by a master curve.
constexpr double kFullLevel = 4.0;
constexpr double kSofterStep = 0.03;

// Density contrasts that a matrix tells, relative to the film's own, which an identity stands for.
void MatrixContrasts(const double* colorMatrix, double (&contrast)[3]) {
  double gain[3];
  double own[3];
  NegaGains(colorMatrix, kFilmGain, gain);
  RelativeGains(gain, contrast);
  RelativeGains(kFilmGain, own);
  for (int c = 0; c < 3; c++) contrast[c] = Clamp(contrast[c] / own[c], kContrastMin, kContrastMax);
}

// The standard print of a monochrome negative is flatter: its master curve starts at a lower level.
void ProposeLevelToneFromFull(const CZEP& standard, ZEP3_PARA& para) {
  para.lLevelFlag = CorrectLevel(para) > kFullLevel ? 1 : 0;
  if (para.lLevelFlag == 1) {
    standard.ProposeNegaBWTone(kFullLevel);
  } else {
    SetIdentity(*para.pOutMasterTone);
  }
}

} // namespace

bool ProposeNegative(const View& view, const double* colorMatrix, const CZEP& standard, bool usable, ZEP3_PARA& para,
                     ZEP3_EVIDENCE& evidence, Measured& measured) {
  const bool colour = DocType(para) == ZEP3_DOC_NEGATIVE;
  const bool faded = para.wSubMode == ZEP3_SUB_RESTORATION;
  double contrast[3] = {1.0, 1.0, 1.0};
  if (colour && !faded && colorMatrix != nullptr) MatrixContrasts(colorMatrix, contrast);

  const auto& [grid, picture] = view;
  NegativeEstimator estimator(grid, picture, colour, faded);
  if (!estimator.Estimate(contrast, kSofterStep * AtLeast(0.0, kFullLevel - CorrectLevelFromZero(para)))) return false;
  if (!usable && !HaveUsableLevels(grid, picture.blocks, *standard.m_pHist, DocType(para))) return false;
  ZEP3_POINTS calculated[3];
  std::copy_n(para.ic.ch, 3, calculated);
  SetNegativeHeader(para.ic);
  estimator.FitPoints(para.ic);
  if (usable) {
    for (int c = 0; c < 3; c++) para.ic.ch[c] = PointsBetween(calculated[c], para.ic.ch[c], estimator.OwnShare());
  }
  if (!usable) {
    para.lSaturation = 0; // default points come without a proposal for it
  } else if (!colour && !faded) {
    ProposeLevelToneFromFull(standard, para);
  }
  evidence.lAnalysis = colour ? ZEP3_ANALYSIS_NEGATIVE : ZEP3_ANALYSIS_NEGATIVE_BW;
  estimator.Report(evidence, measured);
  TellWindow(picture, evidence, measured);
  return true;
}
