// The points that undo the model, and what is told of it: evidence, reasons, confidence.
#include "engine/adaptive/positive/propose.h"

#include <algorithm>
#include <cmath>

#include "engine/adaptive/confidence.h"
#include "engine/adaptive/positive/curve_points.h"
#include "engine/adaptive/positive/estimator.h"
#include "engine/adaptive/positive/tuning.h"
#include "engine/calc/czep.h"
#include "engine/calc/steps/correct_level.h"
#include "engine/common/record.h"
#include "engine/common/scale.h"
#include "engine/roll/box.h"

using namespace positive;

namespace {

double Apart(const double (&v)[3]) { return Largest(v) - Smallest(v); }

PositiveEvidence EvidenceOf(const PositiveEstimate& estimate, const PositiveMaterial& material) {
  PositiveEvidence e = {};
  e.trust = estimate.trust;
  e.gain = estimate.gain;
  e.blackPile = estimate.anchors.pile;
  e.whiteCost = estimate.whiteCost;
  e.blackCost = estimate.blackCost;
  e.historyCost = estimate.historyCost;
  double black[3];
  for (int c = 0; c < 3; c++) {
    e.dyeLeft[c] = estimate.model.Dye(c);
    e.offset[c] = estimate.model.offset[c];
    e.jointWhite[c] = estimate.model.Undo(c, estimate.anchors.white[c]);
    e.jointBlack[c] = estimate.model.Undo(c, estimate.anchors.black[c]);
    // What is darker than the material can be is the scanner's; its colour is noise.
    black[c] = std::min(e.jointBlack[c], material.densest);
  }
  e.whiteTint = Apart(e.jointWhite);
  e.blackTint = Apart(black);
  return e;
}

int64_t ReasonsOf(const PositiveEstimate& estimate, const PositiveEvidence& e, bool slide) {
  double lightest[3];
  for (int c = 0; c < 3; c++) lightest[c] = estimate.model.Undo(c, estimate.anchors.lightest[c]);
  int64_t reasons = 0;
  const auto note = [&](bool holds, int64_t reason) { reasons |= holds ? reason : 0; };
  note(e.trust < kIntact, Mean(e.offset) < kBaseSeen ? int64_t{ZEP3_REASON_INTACT} : ZEP3_REASON_BASE);
  note(kIntact <= e.trust && e.trust < kSure, ZEP3_REASON_UNCERTAIN);
  note(Mean(e.jointWhite) > kNoWhite, ZEP3_REASON_NO_WHITE);
  note(Mean(e.jointBlack) < kNoBlack[slide], ZEP3_REASON_NO_BLACK);
  note(e.whiteTint > kTinted, ZEP3_REASON_COLOURED_WHITE);
  note(e.blackTint > kTinted, ZEP3_REASON_COLOURED_BLACK);
  note(Apart(lightest) > kOneColour, ZEP3_REASON_ONE_COLOUR);
  note(Smallest(e.dyeLeft) < kFaded, ZEP3_REASON_STRONG_FADING);
  note(e.offset[2] - e.offset[0] > kStained, ZEP3_REASON_STAIN);
  return reasons;
}

} // namespace

bool ProposePositive(const View& view, const CZEP& standard, bool usable, const ZEP3_SHARED* shared, ZEP3_PARA& para,
                     ZEP3_EVIDENCE& evidence, Measured& measured) {
  const bool slide = para.wDocType == ZEP3_DOC_POSITIVE;
  const bool faded = para.wSubMode == ZEP3_SUB_RESTORATION;
  const PositiveMaterial& material = MaterialOf(slide);
  const PositiveHistory& history = faded ? kFadedHistory : kUnfadedHistory;
  // Lower levels ask for more evidence, higher ones for less.
  const double caution = 4.0 - Clamp(CorrectLevel(para), 0.0, 8.0);
  const auto& [grid, picture] = view;
  const BoxHistory box = shared != nullptr ? HistoryOf(*shared) : BoxHistory();
  const PositiveEstimator estimator(material, history, caution, shared != nullptr ? &box : nullptr);
  const PositiveEstimate estimate = estimator.Estimate(grid, picture.blocks);
  if (!estimate.usable) return false;
  if (!usable && !HaveUsableLevels(grid, picture.blocks, DocType(para))) return false;

  ZEP3_IC& ic = para.ic;
  ZEP3_POINTS calculated[3];
  std::copy_n(ic.ch, 3, calculated);
  double gamma[3];
  for (int c = 0; c < 3; c++) {
    const CurvePoints points = CurveThrough([&](double out) {
      const double light = DisplayedLight(out) * (1.0 - estimate.flare) + estimate.flare;
      const double over = estimate.over * (1.0 - std::pow(light, kOverFade));
      return LevelOfDensity(estimate.model.offset[c] - over - estimate.model.Dye(c) * std::log10(light));
    });
    ic.ch[c] = ToRecord(points);
    gamma[c] = points.gamma;
  }
  if (usable && !faded) {
    const double share = para.lAgainstLight != 0 ? kBacklitShare : kStandardShare * std::sqrt(estimate.trust);
    for (int c = 0; c < 3; c++) ic.ch[c] = PointsBetween(ic.ch[c], calculated[c], share);
  }
  ic.wHlCurveType = ZEP3_HL_ROLL_OFF;
  ic.wSdCurveType = ZEP3_SD_TOE;
  para.lSaturation =
      faded ? standard.RestorationSaturation(ic, Mean(gamma), estimate.trust * CorrectLevelFromZero(para)) : 0;

  evidence.lAnalysis = ZEP3_ANALYSIS_POSITIVE;
  measured.positive = EvidenceOf(estimate, material);
  evidence.lReasons = ReasonsOf(estimate, measured.positive, slide);
  if (shared != nullptr) evidence.lReasons |= estimate.odd ? ZEP3_REASON_ODD : ZEP3_REASON_SHARED;
  TellWindow(picture, evidence, measured);
  evidence.dConfidence = PositiveConfidence(measured.positive, faded);
  return true;
}
