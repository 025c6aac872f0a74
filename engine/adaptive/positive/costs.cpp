// Each cost is minus the logarithm of a probability, up to a constant.
#include "engine/adaptive/positive/costs.h"

#include <algorithm>
#include <cmath>

#include "engine/common/scale.h"
#include "engine/roll/box_tuning.h"

using namespace positive;

namespace {

// Heavy-tailed cost of how far three channels lie apart.
double TintCost(const double (&v)[3], double usual) {
  const double mean = Mean(v);
  double cost = 0.0;
  for (const double channel : v) cost += std::log1p(Square((channel - mean) / usual));
  return cost;
}

} // namespace

double PositiveCosts::White(const DensityModel& model, const Anchors& anchors) const {
  double white[3];
  double beyond = 0.0;
  for (int c = 0; c < 3; c++) {
    white[c] = model.Undo(c, anchors.white[c]);
    beyond += Square(std::min(0.0, model.Undo(c, anchors.lightest[c])) / kClip);
  }
  const double mean = Mean(white);
  const double level = mean < 0.0
                           ? Square(mean / kClip) / 2.0
                           : -std::log(kWhiteShare * std::exp(-mean / kWhiteNear) +
                                       (1.0 - kWhiteShare) * kWhiteNear / kWhiteFar * std::exp(-mean / kWhiteFar));
  return level + m_history.whiteTintCost * TintCost(white, kWhiteTint) + beyond / 2.0;
}

double PositiveCosts::Black(const DensityModel& model, const Anchors& anchors) const {
  double black[3];
  double beyond = 0.0;
  for (int c = 0; c < 3; c++) {
    black[c] = model.Undo(c, anchors.black[c]);
    const double over = Square(std::max(0.0, model.Undo(c, anchors.darkest[c]) - m_material.densest) / kBeyondDensest);
    // A scanner that takes its flare off, and a picture that never was on paper, go beyond the material; neither is
    // much of a reason to change the picture.
    black[c] = std::min(black[c], m_material.densest + kBlackBeyond);
    beyond += m_history.beyondCost * std::log1p(over);
  }
  const double mean = Mean(black);
  double level = BlackLevel(mean, anchors.pile);
  if (m_box != nullptr) level += (BlackLevelInBox(mean) - level) / std::pow(m_box->scatter, box::kBlackPerScatter);
  return level + kBlackTintCost * TintCost(black, m_material.blackTint) + beyond;
}

double PositiveCosts::BlackLevel(double density, double pile) const {
  const double piled = Clamp((pile - kPileLow) / (kPileHigh - kPileLow), 0.0, 1.0);
  const double usual = m_material.black + piled * (m_material.pileBlack - m_material.black);
  const double scatter = m_material.blackSd + piled * (m_material.pileSd - m_material.blackSd);
  const double off = (usual - density) / scatter;
  const double level = off < 0.0 ? Square(off) / 2.0
                                 : -std::log((1.0 - kFlatShare) * std::exp(-Square(off) / 2.0) +
                                             kFlatShare * std::exp(-(usual - density) / kFlatRange));
  return level + std::log(scatter / m_material.blackSd);
}

double PositiveCosts::BlackLevelInBox(double density) const {
  const double lacking = m_material.fullBlack - density;
  return lacking < 0.0 ? Square(lacking / m_material.fullBlackSd) / 2.0 : lacking / m_material.shortOfBlack;
}

double PositiveCosts::Fading(const DensityModel& model) const {
  double s[3];
  double along = 0.0;
  double length = 0.0;
  for (int c = 0; c < 3; c++) {
    s[c] = model.offset[c] - m_material.base;
    along += s[c] * kStain[c];
    length += kStain[c] * kStain[c];
  }
  along /= length;
  double cost = along > 0.0 ? along / m_material.stain : Square(along / kClip) / 2.0;
  for (int c = 0; c < 3; c++) {
    cost += Square((s[c] - along * kStain[c]) / kStainSd) / 2.0;
    cost += Square(std::min(0.0, s[c]) / kClip) / 2.0;
    cost += Square(std::max(0.0, model.logDye[c]) / kDyeGrowth) / 2.0;
  }
  return cost;
}

double PositiveCosts::Exposure(const DensityModel& model) const {
  double s[3];
  for (int c = 0; c < 3; c++) s[c] = model.offset[c] - m_material.base;
  return std::fabs(Mean(s)) / kShift + kCastCost * TintCost(s, kCast);
}

double PositiveCosts::History(const DensityModel& model) const {
  double cost = m_history.faded ? Fading(model) : Exposure(model);
  cost += Square((Mean(model.logDye) - std::log(m_history.dye)) / m_history.dyeSd) / 2.0;
  for (int c = 0; c < 3; c++) {
    const double apart = (model.logDye[c] - model.logDye[(c + 1) % 3]) / m_history.dyeRatio;
    cost += m_history.dyeRatioCost * (std::sqrt(1.0 + apart * apart) - 1.0);
  }
  return cost;
}

double PositiveCosts::Apart(const DensityModel& model) const {
  double stain[3];
  double along = 0.0;
  double length = 0.0;
  double dye[3];
  for (int c = 0; c < 3; c++) {
    const double boxes = m_box->model.offset[c] - m_material.base;
    stain[c] = model.offset[c] - m_material.base;
    along += boxes * stain[c];
    length += boxes * boxes;
    dye[c] = model.logDye[c] - m_box->model.logDye[c];
  }
  const double factor = Clamp(along / std::max(length, box::kLeastSquares), box::kFactorLeast, box::kFactorMost);
  const double common = Mean(dye);
  const double lost = std::fabs(Mean(m_box->model.logDye));
  double squares = Square((factor - 1.0) / box::kStainFactor) * AtMost(1.0, std::sqrt(length) / box::kStainSeen);
  squares += Square(common / (box::kDye + box::kDyePerLoss * lost));
  for (int c = 0; c < 3; c++) {
    squares += Square((stain[c] - factor * (m_box->model.offset[c] - m_material.base)) / box::kStain);
    squares += Square((dye[c] - common) / (box::kDyeRatio + box::kDyeRatioPerLoss * lost));
  }
  squares /= Square(m_box->scatter);
  // Squares near the box, in proportion far from it.
  return box::kStraight * (std::sqrt(1.0 + squares / box::kStraight) - 1.0);
}

double PositiveCosts::Total(const DensityModel& model, const Anchors& anchors) const {
  const double ends = White(model, anchors) + Black(model, anchors);
  if (m_box == nullptr) return ends + History(model);
  // What the box does not tell, the usual history must.
  const double usual = 1.0 - (1.0 - box::kHistoryShare) / Square(m_box->scatter);
  return ends + usual * History(model) + Apart(model);
}
