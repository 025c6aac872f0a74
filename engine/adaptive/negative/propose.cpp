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
#include "engine/roll/observation.h"
#include "engine/roll/roll.h"

namespace {

// Limits of what a colour matrix can say of a channel's density contrast.
constexpr double kContrastMin = 0.5;
constexpr double kContrastMax = 2.0;

// The print of level 4 is the scene's; each level below is softer, each above adds to it by a master curve.
constexpr double kFullLevel = 4.0;
constexpr double kSofterStep = 0.03;

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

void MatrixContrasts(const ZEP3_PARA& para, const double* colorMatrix, double (&contrast)[3]) {
  std::fill_n(contrast, 3, 1.0);
  if (DocType(para) != ZEP3_DOC_NEGATIVE || para.wSubMode == ZEP3_SUB_RESTORATION || colorMatrix == nullptr) return;
  double gain[3];
  double own[3];
  NegaGains(colorMatrix, kFilmGain, gain); // an identity stands for the film's own
  RelativeGains(gain, contrast);
  RelativeGains(kFilmGain, own);
  for (int c = 0; c < 3; c++) contrast[c] = Clamp(contrast[c] / own[c], kContrastMin, kContrastMax);
}

bool ProposeNegative(const View& view, const double* colorMatrix, const CZEP& standard, bool usable,
                     const ZEP3_SHARED* shared, ZEP3_PARA& para, ZEP3_EVIDENCE& evidence, Measured& measured) {
  const bool colour = DocType(para) == ZEP3_DOC_NEGATIVE;
  const bool faded = para.wSubMode == ZEP3_SUB_RESTORATION;
  double contrast[3];
  MatrixContrasts(para, colorMatrix, contrast);

  const auto& [grid, picture] = view;
  NegativeEstimator estimator(grid, picture, colour, faded);
  const double softer = kSofterStep * AtLeast(0.0, kFullLevel - CorrectLevelFromZero(para));
  int64_t reason = 0;
  FrameOnRoll frame = {};
  if (shared != nullptr && estimator.Measure()) {
    ZEP3_OBSERVATION seen = {};
    ObserveFilm(estimator, grid, picture.blocks, colour, faded, contrast, seen);
    const int64_t member = PlaceOnRoll(seen, *shared, frame);
    reason = member == ZEP3_MEMBER       ? ZEP3_REASON_SHARED
             : member == ZEP3_MEMBER_ODD ? ZEP3_REASON_ODD
                                         : ZEP3_REASON_BLANK;
    if (member != ZEP3_MEMBER_ODD) estimator.PrintOnRoll(frame, softer);
  }
  const bool onRoll = (reason & (ZEP3_REASON_SHARED | ZEP3_REASON_BLANK)) != 0;
  if (!onRoll && !estimator.Estimate(contrast, softer)) return false;
  if (!usable && reason != ZEP3_REASON_BLANK && !HaveUsableLevels(grid, picture.blocks, DocType(para))) return false;
  ZEP3_POINTS calculated[3];
  std::copy_n(para.ic.ch, 3, calculated);
  SetNegativeHeader(para.ic);
  ZEP3_IC own = para.ic;
  estimator.FitPoints(para.ic);
  NegativeEstimator alone(grid, picture, colour, faded);
  if (reason == ZEP3_REASON_SHARED && frame.aloneShare > 0.0 && alone.Estimate(contrast, softer)) {
    alone.FitPoints(own);
    const double share = frame.aloneShare * alone.Seen().neutral;
    for (int c = 0; c < 3; c++) para.ic.ch[c] = PointsBetween(para.ic.ch[c], own.ch[c], share);
  }
  if (usable && !onRoll) {
    for (int c = 0; c < 3; c++) para.ic.ch[c] = PointsBetween(calculated[c], para.ic.ch[c], estimator.OwnShare());
  }
  if (!usable) {
    para.lSaturation = 0; // default points come without a proposal for it
  } else if (!colour && !faded) {
    ProposeLevelToneFromFull(standard, para);
  }
  evidence.lReasons = reason;
  evidence.lAnalysis = colour ? ZEP3_ANALYSIS_NEGATIVE : ZEP3_ANALYSIS_NEGATIVE_BW;
  estimator.Report(evidence, measured);
  if (reason == ZEP3_REASON_BLANK) evidence.dConfidence = 0.0; // there is nothing to be right about
  TellWindow(picture, evidence, measured);
  return true;
}
