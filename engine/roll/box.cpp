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

// Offsets and dyes of one model as far from another's as `by` lies from `from`.
DensityModel Moved(const DensityModel& model, const DensityModel& from, const DensityModel& by) {
  DensityModel moved;
  for (int c = 0; c < 3; c++) {
    moved.offset[c] = model.offset[c] + by.offset[c] - from.offset[c];
    moved.logDye[c] = model.logDye[c] + by.logDye[c] - from.logDye[c];
  }
  return moved;
}

DensityModel Halfway(const DensityModel& a, const DensityModel& b) {
  DensityModel half;
  for (int c = 0; c < 3; c++) {
    half.offset[c] = (a.offset[c] + b.offset[c]) / 2.0;
    half.logDye[c] = (a.logDye[c] + b.logDye[c]) / 2.0;
  }
  return half;
}

DensityModel Search(const DensityModel& from, const auto& costOf) {
  return SearchModel(from, false, kFirstStep, kLastStep, costOf);
}

DensityModel MedianOf(const std::vector<Original>& originals) {
  DensityModel median;
  std::vector<double> values(originals.size());
  const auto middle = [&](const auto& valueOf) {
    std::transform(originals.begin(), originals.end(), values.begin(), valueOf);
    return Median(values);
  };
  for (int c = 0; c < 3; c++) {
    median.offset[c] = middle([c](const Original& o) { return o.own.offset[c]; });
    median.logDye[c] = middle([c](const Original& o) { return o.own.logDye[c]; });
  }
  return median;
}

// A box in which originals differ as usual.
class UsualBox {
 public:
  UsualBox(const PositiveMaterial& material, const DensityModel& model)
      : m_history{model, 0.0, 1.0}, m_costs(material, positive::kFadedHistory, &m_history) {}
  UsualBox(const UsualBox&) = delete; // the costs point to the history
  UsualBox& operator=(const UsualBox&) = delete;

  // Each original's own history, as near to the box's as its ends allow.
  std::vector<DensityModel> Deviations(const std::vector<Original>& originals) const {
    std::vector<DensityModel> each;
    for (const Original& original : originals) {
      each.push_back(Search(m_history.model, [&](const DensityModel& model) {
        return EndsCost(m_costs, model, original) + m_costs.Apart(model);
      }));
    }
    return each;
  }

  // The history that explains all originals at once where each deviates from it as it did from this box's. One counts
  // up to a cap: a yellow wall or a foggy scene must not move the box.
  DensityModel Refitted(const std::vector<Original>& originals, const std::vector<DensityModel>& each) const {
    return Search(m_history.model, [&](const DensityModel& model) {
      double sum = m_costs.History(model);
      for (size_t i = 0; i < each.size(); i++) {
        const double ends = EndsCost(m_costs, Moved(each[i], m_history.model, model), originals[i]);
        sum += ends > 0.0 ? kMostAgainst * std::tanh(ends / kMostAgainst) : ends;
      }
      return sum;
    });
  }

  // By how many nats the mean original is explained worse in the box than without it.
  double DrawnBy(const std::vector<Original>& originals) const {
    double sum = 0.0;
    for (const Original& original : originals) {
      const auto alone = [&](const DensityModel& model) {
        return EndsCost(m_costs, model, original) + kHistoryShare * m_costs.History(model);
      };
      const auto boxed = [&](const DensityModel& model) { return alone(model) + m_costs.Apart(model); };
      sum += AtMost(kDrawnMost, LeastFromBoth(original, boxed) - LeastFromBoth(original, alone));
    }
    return sum / static_cast<double>(originals.size());
  }

 private:
  double LeastFromBoth(const Original& original, const auto& costOf) const {
    return std::min(costOf(Search(m_history.model, costOf)), costOf(Search(original.own, costOf)));
  }

  BoxHistory m_history;
  PositiveCosts m_costs;
};

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
  std::vector<Original> originals;
  for (const size_t i : order) originals.emplace_back(seen[i]);

  // What is found of each alone errs toward the usual fading; as if all were equal, toward the least faded. Between:
  const DensityModel middle = MedianOf(originals);
  const std::vector<DensityModel> equal(originals.size(), middle);
  DensityModel found = Halfway(middle, UsualBox(material, middle).Refitted(originals, equal));
  for (int round = 0; round < kRounds; round++) {
    const UsualBox box(material, found);
    found = box.Refitted(originals, box.Deviations(originals));
  }
  double gains = 0.0;
  for (int c = 0; c < 3; c++) {
    shared.dOffset[c] = found.offset[c];
    shared.dDye[c] = std::exp(found.logDye[c]);
  }
  for (const Original& original : originals) gains += original.gain;
  const double drawn = UsualBox(material, found).DrawnBy(originals);
  shared.dScatter = Clamp(std::exp(kPerDrawn * (drawn - kDrawn)), 1.0, kScatterMost);
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
