// Joint ends of the picture, a search for the likeliest model from two starts, and the trust in it.
#include "engine/adaptive/positive/estimator.h"

#include <algorithm>
#include <cmath>

#include "engine/adaptive/order_statistics.h"
#include "engine/adaptive/positive/model_search.h"
#include "engine/common/scale.h"
#include "engine/roll/box_tuning.h"

using namespace positive;

namespace {

size_t AnchorBlocks(size_t blocks) {
  const double share = std::floor(kAnchorShare * static_cast<double>(blocks) + 0.5);
  return std::min(blocks, static_cast<size_t>(std::max(kAnchorBlocks, share)));
}

// The places of the values that are at least `from`.
std::vector<size_t> PlacesFrom(const std::vector<double>& values, double from) {
  std::vector<size_t> places;
  for (size_t i = 0; i < values.size(); i++) {
    if (values[i] >= from) places.push_back(i);
  }
  return places;
}

double MedianAt(const std::vector<double>& values, const std::vector<size_t>& places) {
  std::vector<double> chosen;
  chosen.reserve(places.size());
  for (const size_t place : places) chosen.push_back(values[place]);
  return Median(chosen);
}

bool IsGray(const double (&v)[3]) { return Smallest(v) == Largest(v); }

bool IsGray(const Anchors& anchors) {
  bool gray = true;
  for (const auto* end : {&anchors.lightest, &anchors.darkest, &anchors.white, &anchors.black}) {
    gray = gray && IsGray(*end);
  }
  return gray;
}

} // namespace

Anchors PositiveEstimator::FindAnchors(const std::vector<double> (&density)[3], const DensityModel& model) const {
  Anchors anchors;
  const size_t blocks = density[0].size();
  // How dark a block is in its lightest channel, and how light in its darkest.
  std::vector<double> dark(blocks);
  std::vector<double> light(blocks);
  double perDye[3];
  for (int c = 0; c < 3; c++) perDye[c] = 1.0 / model.Dye(c);
  for (size_t i = 0; i < blocks; i++) {
    double z[3];
    for (int c = 0; c < 3; c++) z[c] = (density[c][i] - model.offset[c]) * perDye[c];
    dark[i] = Smallest(z);
    light[i] = -Largest(z);
  }
  const size_t some = AnchorBlocks(blocks);
  std::vector<double> work = dark;
  const std::vector<size_t> darkest = PlacesFrom(dark, LargestFrom(work, some));
  work = light;
  const std::vector<size_t> lightest = PlacesFrom(light, LargestFrom(work, some));
  for (int c = 0; c < 3; c++) {
    anchors.black[c] = MedianAt(density[c], darkest);
    anchors.white[c] = MedianAt(density[c], lightest);
  }
  const double white = -MedianAt(light, lightest);
  const double black = MedianAt(dark, darkest);
  const double piledFrom = white + kPileFrom * (black - white);
  const auto piled = std::count_if(dark.begin(), dark.end(), [&](double d) { return d > piledFrom; });
  anchors.pile = static_cast<double>(piled) / static_cast<double>(blocks);
  return anchors;
}

DensityModel PositiveEstimator::Search(const PositiveCosts& costs, const DensityModel& model, const Anchors& anchors) {
  return SearchModel(model, IsGray(anchors), kFirstStep, kLastStep,
                     [&](const DensityModel& tried) { return costs.Total(tried, anchors); });
}

bool PositiveEstimator::ShowsMaterial(const Anchors& anchors) const {
  return Smallest(anchors.lightest) > m_material.base - kBaseBelow &&
         Largest(anchors.darkest) < m_material.densest + m_material.base + kBlackAbove;
}

double PositiveEstimator::Underexposed(const Anchors& ends, double& trust) const {
  trust = 0.0;
  if (m_history.faded || !ShowsMaterial(ends)) return 0.0;
  const double above = Clamp(Smallest(ends.lightest) - m_material.base, 0.0, kUnderMost);
  trust = 1.0 / (1.0 + std::exp(kUnderPrior + m_caution - above / kUnderUsual));
  return trust * AtLeast(0.0, above - kUnderWhite);
}

double PositiveEstimator::Overexposed(const std::vector<double> (&density)[3], const Anchors& ends) const {
  if (m_history.faded || !ShowsMaterial(ends)) return 0.0;
  std::ptrdiff_t piled = 0;
  for (int c = 0; c < 3; c++) {
    const double end = ends.lightest[c] + kOverWidth;
    piled += std::count_if(density[c].begin(), density[c].end(), [&](double d) { return d < end; });
  }
  const double share = static_cast<double>(piled) / (3.0 * static_cast<double>(density[0].size()));
  const double odds =
      kOverPile * std::log(share / kOverShare) - kOverBlack * (Largest(ends.darkest) - m_material.black) - m_caution;
  return kOverUsual / (1.0 + std::exp(-odds));
}

DensityModel PositiveEstimator::Untouched(const Anchors& anchors) const {
  if (!m_history.faded && !ShowsMaterial(anchors)) return {};
  const double lightest = std::min(Smallest(anchors.white), Smallest(anchors.lightest));
  const double offset = Clamp(lightest, 0.0, m_material.base);
  return {{offset, offset, offset}, {0.0, 0.0, 0.0}};
}

std::array<DensityModel, 2> PositiveEstimator::StartsFrom(const Anchors& anchors) const {
  std::array<DensityModel, 2> starts;
  const double grayStain = Mean(kStain);
  for (int c = 0; c < 3; c++) {
    const double stain = m_material.stain * (IsGray(anchors) ? grayStain : kStain[c]);
    if (m_history.faded) {
      starts[0].offset[c] = std::min(anchors.lightest[c], m_material.base + 2.0 * stain);
      const double dye = (anchors.darkest[c] - starts[0].offset[c]) / m_material.black;
      starts[0].logDye[c] = std::log(Clamp(dye, kStartDyeLeast, kStartDyeMost));
      starts[1].offset[c] = m_material.base + 0.5 * stain;
    } else {
      starts[0].offset[c] = AtLeast(0.0, Smallest(anchors.white));
      starts[0].logDye[c] = 0.0;
      starts[1].offset[c] = m_material.base;
    }
    starts[1].logDye[c] = std::log(m_history.dye);
  }
  return starts;
}

DensityModel PositiveEstimator::BestModel(const std::array<DensityModel, 2>& starts, const Anchors& anchors) const {
  const DensityModel first = Search(m_costs, starts[0], anchors);
  const DensityModel second = Search(m_costs, starts[1], anchors);
  return m_costs.Total(second, anchors) < m_costs.Total(first, anchors) ? second : first;
}

bool PositiveEstimator::FitsBox(const PositiveCosts& boxed, double ownCost, const DensityModel& own,
                                const BoxHistory& history, const Anchors& anchors, DensityModel& shared) {
  shared = Search(boxed, history.model, anchors);
  const DensityModel other = Search(boxed, own, anchors);
  if (boxed.Total(other, anchors) < boxed.Total(shared, anchors)) shared = other;
  return boxed.Total(shared, anchors) - ownCost <= AtLeast(box::kOddLeast, box::kOdd / history.scatter);
}

PositiveEstimate PositiveEstimator::Estimate(const BlockGrid& grid, const std::vector<size_t>& picture) const {
  PositiveEstimate estimate;
  if (picture.size() < kFewestBlocks) return estimate;
  std::vector<double> density[3];
  for (int c = 0; c < 3; c++) {
    density[c].reserve(picture.size());
    for (const size_t at : picture) density[c].push_back(ScannedDensity(grid.level[c][at]));
  }

  Anchors ends;
  bool flat = true;
  DensityModel ranges;
  std::vector<double> work; // one for all, as memory of this size is slow to come by
  for (int c = 0; c < 3; c++) {
    work = density[c];
    ends.lightest[c] = Percentile(work, kEndPercent);
    ends.darkest[c] = Percentile(work, 100.0 - kEndPercent);
    const double range = ends.darkest[c] - ends.lightest[c];
    flat = flat && range < kLeastContrast;
    ranges.offset[c] = ends.lightest[c];
    ranges.logDye[c] = std::log(std::max(kLeastRange, range));
  }
  if (flat) return estimate;

  // What follows sees the scan as it would be with the right exposure.
  double underTrust;
  const double under = Underexposed(ends, underTrust);
  for (int c = 0; c < 3; c++) {
    for (double& d : density[c]) d -= under;
    ends.lightest[c] -= under;
    ends.darkest[c] -= under;
    ranges.offset[c] -= under;
  }

  const auto anchorsFor = [&](const DensityModel& model) {
    Anchors anchors = FindAnchors(density, model);
    for (int c = 0; c < 3; c++) {
      anchors.lightest[c] = ends.lightest[c];
      anchors.darkest[c] = ends.darkest[c];
    }
    return anchors;
  };
  Anchors anchors = anchorsFor(ranges);

  DensityModel found = BestModel(StartsFrom(anchors), anchors);
  // A black that is dark in all channels of the faded picture may not be so in the unfaded one.
  anchors = anchorsFor(found);
  found = Search(m_costs, found, anchors);

  estimate.usable = true;
  const DensityModel untouched = Untouched(anchors);
  const double against = m_costs.White(untouched, anchors) + m_costs.Black(untouched, anchors);
  double gain = -HUGE_VAL;
  if (m_box != nullptr) {
    const PositiveCosts boxed(m_material, m_history, m_box);
    DensityModel shared;
    estimate.odd = !FitsBox(boxed, m_costs.Total(found, anchors), found, *m_box, anchors, shared);
    if (!estimate.odd) {
      gain = std::max(against - m_costs.Total(found, anchors), m_box->gain);
      anchors = anchorsFor(shared);
      found = Search(boxed, shared, anchors);
    }
  }
  estimate.found = found;
  estimate.anchors = anchors;
  estimate.whiteCost = m_costs.White(found, anchors);
  estimate.blackCost = m_costs.Black(found, anchors);
  estimate.historyCost = m_costs.History(found);
  estimate.gain = against - estimate.whiteCost - estimate.blackCost - estimate.historyCost;
  estimate.gain = std::max(estimate.gain, gain);
  const bool shown = m_history.faded || ShowsMaterial(anchors);
  const double caution = m_caution + (shown ? 0.0 : kNotShown);
  estimate.trust = 1.0 / (1.0 + std::exp(m_history.prior + caution - estimate.gain));
  for (int c = 0; c < 3; c++) {
    estimate.model.offset[c] = untouched.offset[c] + estimate.trust * (found.offset[c] - untouched.offset[c]);
    estimate.model.logDye[c] = estimate.trust * found.logDye[c];
  }
  estimate.over = Overexposed(density, ends);
  // From here on in densities of the scan.
  const double blackest = Largest(ends.darkest);
  const bool flared = shown || std::fabs(blackest - m_material.densest) < kFlareSeen;
  estimate.flare = flared ? m_material.flare : 0.0;
  for (int c = 0; c < 3; c++) {
    estimate.flare = std::min(estimate.flare, std::pow(10.0, -estimate.model.Undo(c, ends.darkest[c])));
  }
  for (int c = 0; c < 3; c++) {
    estimate.model.offset[c] += under;
    for (double(*end)[3] :
         {&estimate.anchors.lightest, &estimate.anchors.darkest, &estimate.anchors.white, &estimate.anchors.black})
      (*end)[c] += under;
  }
  estimate.trust = 1.0 - (1.0 - estimate.trust) * (1.0 - underTrust);
  return estimate;
}
