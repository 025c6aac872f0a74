#include "engine/adaptive/picture.h"
#include "engine/adaptive/positive/propose.h"

#include <algorithm>
#include <cmath>

#include "engine/adaptive/positive/curve_points.h"
#include "engine/adaptive/positive/estimator.h"
#include "engine/adaptive/positive/tuning.h"
#include "engine/calc/czep.h"
#include "engine/calc/steps/correct_level.h"
#include "engine/common/record.h"
#include "engine/common/scale.h"
#include "engine/hist/chist.h"

using namespace positive;

namespace {

// The light that a display shows for a linear level of its output: displays are sRGB, of which a gamma of 2.2 is the
// usual approximation. From kShadowOut on, which lies above the straight beginning of sRGB (IEC 61966-2-1).
double DisplayedLight(double level) { return std::pow((std::pow(level / 255.0, 1.8 / 2.2) + 0.055) / 1.055, 2.4); }

double Apart(const double (&v)[3]) { return Largest(v) - Smallest(v); }

ZEP3_POSITIVE_EVIDENCE EvidenceOf(const PositiveEstimate& estimate, const PositiveMaterial& material) {
  ZEP3_POSITIVE_EVIDENCE e = {};
  e.dTrust = estimate.trust;
  e.dGain = estimate.gain;
  e.dBlackPile = estimate.anchors.pile;
  e.dWhiteCost = estimate.whiteCost;
  e.dBlackCost = estimate.blackCost;
  e.dHistoryCost = estimate.historyCost;
  double black[3];
  for (int c = 0; c < 3; c++) {
    e.dDyeLeft[c] = estimate.model.Dye(c);
    e.dOffset[c] = estimate.model.offset[c];
    e.dJointWhite[c] = estimate.model.Undo(c, estimate.anchors.white[c]);
    e.dJointBlack[c] = estimate.model.Undo(c, estimate.anchors.black[c]);
    // What is darker than the material can be is the scanner's; its colour is noise.
    black[c] = std::min(e.dJointBlack[c], material.densest);
  }
  e.dWhiteTint = Apart(e.dJointWhite);
  e.dBlackTint = Apart(black);
  return e;
}

int64_t ReasonsOf(const PositiveEstimate& estimate, const ZEP3_POSITIVE_EVIDENCE& e, bool slide) {
  double lightest[3];
  for (int c = 0; c < 3; c++) lightest[c] = estimate.model.Undo(c, estimate.anchors.lightest[c]);
  int64_t reasons = 0;
  const auto note = [&](bool holds, int64_t reason) { reasons |= holds ? reason : 0; };
  note(e.dTrust < kIntact, ZEP3_REASON_SOUND);
  note(kIntact <= e.dTrust && e.dTrust < kSure, ZEP3_REASON_UNCERTAIN);
  note(Mean(e.dJointWhite) > kNoWhite, ZEP3_REASON_NO_WHITE);
  note(Mean(e.dJointBlack) < kNoBlack[slide], ZEP3_REASON_NO_BLACK);
  note(e.dWhiteTint > kTinted, ZEP3_REASON_COLOURED_WHITE);
  note(e.dBlackTint > kTinted, ZEP3_REASON_COLOURED_BLACK);
  note(Apart(lightest) > kOneColour, ZEP3_REASON_ONE_COLOUR);
  note(Smallest(e.dDyeLeft) < kFaded, ZEP3_REASON_STRONG_FADING);
  note(e.dOffset[2] - e.dOffset[0] > kStained, ZEP3_REASON_STAIN);
  return reasons;
}

} // namespace

bool ProposePositive(const ZEP3_BmpInfo& image, const CZEP& standard, bool usable, ZEP3_PARA& para,
                     ZEP3_EVIDENCE& evidence) {
  const bool slide = para.wDocType == ZEP3_DOC_POSITIVE;
  const bool faded = para.wSubMode == ZEP3_SUB_RESTORATION;
  const PositiveMaterial& material = slide ? kSlideMaterial : kPrintMaterial;
  const PositiveHistory& history = faded ? kFadedHistory : kUnfadedHistory;
  // Lower levels ask for more evidence, higher ones for less.
  const double caution = 4.0 - Clamp(CorrectLevel(para), 0.0, 8.0);
  const BlockGrid grid = ReadBlockGrid(image, CHIST::kAreaMargin);
  const Picture picture = FindPicture(image, grid, slide ? Material::kSlide : Material::kPrint);
  const PositiveEstimate estimate = PositiveEstimator(material, history, caution).Estimate(grid, picture.blocks);
  if (!estimate.usable) return false;
  if (!usable && !HaveUsableLevels(grid, picture.blocks, *standard.m_pHist, DocType(para))) return false;

  ZEP3_IC& ic = para.ic;
  double gamma[3];
  for (int c = 0; c < 3; c++) {
    const CurvePoints points = CurveThrough([&](double out) {
      const double light = DisplayedLight(out) * (1.0 - estimate.flare) + estimate.flare;
      return LevelOfDensity(estimate.model.offset[c] - estimate.model.Dye(c) * std::log10(light));
    });
    ic.ch[c] = ToRecord(points);
    gamma[c] = points.gamma;
  }
  ic.wHlCurveType = ZEP3_HL_ROLL_OFF;
  ic.wSdCurveType = ZEP3_SD_TOE;
  para.lSaturation =
      faded ? standard.RestorationSaturation(ic, Mean(gamma), estimate.trust * CorrectLevelFromZero(para)) : 0;

  evidence.lAnalysis = ZEP3_ANALYSIS_POSITIVE;
  evidence.positive = EvidenceOf(estimate, material);
  evidence.lReasons = ReasonsOf(estimate, evidence.positive, slide);
  TellWindow(picture, evidence);
  const double doubt = AtLeast(0.0, estimate.whiteCost) + 2.0 * AtLeast(0.0, estimate.blackCost);
  evidence.dConfidence = std::fabs(2.0 * estimate.trust - 1.0) * std::exp(-doubt / kDoubt);
  return true;
}
