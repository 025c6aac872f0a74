// What happened to a print or a slide since it was new, from the colours of its blocks.
//
// A dye image that faded and stained is, to the scanner, nearly a straight line per channel in density:
//
//   D = offset + dye * d     d: density of the unfaded original; dye: share of the channel's dye that is left;
//                            offset: density of the base, and of the stain on it
//
// The six numbers are those that leave whites and blacks as unfaded pictures have them, and that fading, exposure or a
// cast can have brought about. Only blocks that are light in all channels at once, or dark in all, vote on white and
// black: a coloured highlight sets no end. Costs of tints are logarithmic: an anchor that fits nothing plausible is
// outvoted, not averaged in. Densities are -log10 of the light of a linear level throughout.
#pragma once

#include <array>
#include <vector>

#include "engine/adaptive/block_grid.h"
#include "engine/adaptive/positive/costs.h"

struct PositiveEstimate {
  bool usable = false; // else: too few blocks, or hardly any contrast
  DensityModel model;  // what to undo: the proposal as far as it is trusted
  Anchors anchors;
  double trust = 0.0;     // 0..1
  double gain = 0.0;      // nats
  double whiteCost = 0.0; // nats, of the proposal, likewise the next two
  double blackCost = 0.0;
  double historyCost = 0.0;
  double over = 0.0;       // density by which the scan is too light where it is not white
  double flare = 0.0;      // light, as a share of white, that lies on everything
  DensityModel found = {}; // the likeliest, without a look at the trust in it
  bool odd = false;        // it did not fit the box and was estimated by itself
};

class PositiveEstimator {
 public:
  // Neither is owned. `caution`: nats added to what a correction must have for it.
  // `box`: null, or what the original shares with others.
  PositiveEstimator(const PositiveMaterial& material, const PositiveHistory& history, double caution,
                    const BoxHistory* box = nullptr)
      : m_material(material), m_history(history), m_costs(material, history), m_caution(caution), m_box(box) {}

  // From the blocks of a grid that show the picture.
  PositiveEstimate Estimate(const BlockGrid& grid, const std::vector<size_t>& picture) const;

  // Whether an original, which by itself costs so much, goes with a box, whose costs are `boxed`; its model there.
  static bool FitsBox(const PositiveCosts& boxed, double ownCost, const DensityModel& own, const BoxHistory& history,
                      const Anchors& anchors, DensityModel& shared);

 private:
  // Of densities by channel, seen through the model; at least one block.
  Anchors FindAnchors(const std::vector<double> (&density)[3], const DensityModel& model) const;

  std::array<DensityModel, 2> StartsFrom(const Anchors& anchors) const;
  // The model of least cost from the given one on, and the better of those from two.
  static DensityModel Search(const PositiveCosts& costs, const DensityModel& model, const Anchors& anchors);
  DensityModel BestModel(const std::array<DensityModel, 2>& starts, const Anchors& anchors) const;
  // Whether the picture can be on the material at all: a file from a camera goes beyond both of its ends.
  bool ShowsMaterial(const Anchors& anchors) const;
  // Nothing happened to the original.
  DensityModel Untouched(const Anchors& anchors) const;
  // By how much the scan is too dark as a whole, as far as it is believed, and how far that is (0..1).
  double Underexposed(const Anchors& anchors, double& trust) const;
  // By how much it is too light; densities by channel.
  double Overexposed(const std::vector<double> (&density)[3], const Anchors& ends) const;

  const PositiveMaterial& m_material;
  const PositiveHistory& m_history;
  const PositiveCosts m_costs;
  double m_caution;
  const BoxHistory* m_box;
};
