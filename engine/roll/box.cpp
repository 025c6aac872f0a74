#include "engine/roll/box.h"

#include <algorithm>
#include <cmath>

#include "engine/adaptive/order_statistics.h"
#include "engine/adaptive/positive/estimator.h"
#include "engine/adaptive/positive/model_search.h"
#include "engine/roll/box_tuning.h"
#include "engine/roll/tuning.h"

using namespace box;

namespace {

// An original as its observation has it.
struct Original {
  explicit Original(const ZEP3_OBSERVATION& seen) : gain(seen.dGain), cost(seen.dCost) {
    for (int c = 0; c < 3; c++) {
      anchors.lightest[c] = seen.dLightest[c];
      anchors.darkest[c] = seen.dDarkest[c];
      anchors.white[c] = seen.dWhite[c];
      anchors.black[c] = seen.dBlack[c];
      own.offset[c] = seen.dOffset[c];
      own.logDye[c] = std::log(seen.dDye[c]);
    }
    anchors.pile = seen.dPile;
  }

  Anchors anchors;
  DensityModel own;
  double gain;
  double cost;
};

double EndsCost(const PositiveCosts& costs, const DensityModel& model, const Original& original) {
  return costs.White(model, original.anchors) + costs.Black(model, original.anchors);
}

// What many originals' ends say, each of them up to a cap: a yellow wall or a foggy scene must not move the box.
double CostInBox(const PositiveCosts& costs, const DensityModel& model, const std::vector<Original>& originals) {
  double sum = costs.History(model);
  for (const Original& original : originals) {
    const double ends = EndsCost(costs, model, original);
    sum += ends > 0.0 ? kMostAgainst * std::tanh(ends / kMostAgainst) : ends;
  }
  return sum;
}

// How much wider than usual the box must be laid.
double ScatterOf(const PositiveMaterial& material, const DensityModel& found, const std::vector<Original>& originals) {
  const BoxHistory history = {found, 0.0, 1.0};
  const PositiveCosts usual(material, positive::kFadedHistory, &history);
  std::vector<double> apart;
  std::vector<double> dearer;
  for (const Original& original : originals) {
    apart.push_back(usual.ApartInColour(original.own));
    dearer.push_back(EndsCost(usual, found, original) - EndsCost(usual, original.own, original));
  }
  const double unequal = AtLeast(0.0, Median(apart)) * AtLeast(0.0, Median(dearer)) / kEqual;
  return Clamp(Square(unequal), 1.0, kScatterMost);
}

} // namespace

BoxHistory HistoryOf(const ZEP3_SHARED& shared) {
  BoxHistory history;
  for (int c = 0; c < 3; c++) {
    history.model.offset[c] = shared.dOffset[c];
    history.model.logDye[c] = std::log(shared.dDye[c]);
  }
  history.gain = shared.dGain;
  history.scatter = shared.dScatter;
  return history;
}

bool SolveBox(const ZEP3_OBSERVATION* seen, const std::vector<size_t>& order, ZEP3_SHARED& shared, int64_t* member) {
  if (static_cast<int>(order.size()) < roll::kFewestOthers) return false;
  const bool slides = shared.lDocType == ZEP3_DOC_POSITIVE;
  const PositiveMaterial& material = positive::MaterialOf(slides);
  const PositiveHistory& usual = positive::kFadedHistory;
  const PositiveCosts costs(material, usual);
  std::vector<Original> originals;
  for (const size_t i : order) originals.emplace_back(seen[i]);

  DensityModel start;
  std::vector<double> values;
  const auto median = [&](auto valueOf) {
    values.clear();
    for (const Original& original : originals) values.push_back(valueOf(original));
    return Median(values);
  };
  for (int c = 0; c < 3; c++) {
    start.offset[c] = median([c](const Original& o) { return o.own.offset[c]; });
    start.logDye[c] = median([c](const Original& o) { return o.own.logDye[c]; });
  }
  const DensityModel found = SearchModel(start, false, kFirstStep, kLastStep,
                                         [&](const DensityModel& model) { return CostInBox(costs, model, originals); });
  double gains = 0.0;
  for (int c = 0; c < 3; c++) {
    shared.dOffset[c] = found.offset[c];
    shared.dDye[c] = std::exp(found.logDye[c]);
  }
  for (const Original& original : originals) gains += original.gain;
  shared.dScatter = ScatterOf(material, found, originals);
  // The more unequal they are, the less tells the evidence for one of another.
  shared.dGain = gains / static_cast<double>(originals.size()) / shared.dScatter;

  const BoxHistory history = HistoryOf(shared);
  const PositiveCosts boxed(material, usual, &history);
  for (size_t i = 0; i < originals.size(); i++) {
    const Original& o = originals[i];
    DensityModel model;
    const bool fits = PositiveEstimator::FitsBox(boxed, o.cost, o.own, history, o.anchors, model);
    member[order[i]] = fits ? ZEP3_MEMBER : ZEP3_MEMBER_ODD;
  }
  shared.lMembers = std::count(member, member + shared.lFrames, int64_t{ZEP3_MEMBER});
  return shared.lMembers >= roll::kFewestOthers;
}
