// What happened to a print or a slide since it was sound, from the colours of its blocks.
//
// A dye image that faded and stained is, to the scanner, nearly a straight line per channel in density:
//
//   D = offset + dye * d     d: density of the sound original; dye: share of the channel's dye that is left;
//                            offset: density of the base, and of the stain on it
//
// The six numbers are those that leave whites and blacks as sound pictures have them, and that fading, exposure or a
// cast can have brought about. Only blocks that are light in all channels at once, or dark in all, vote on white and
// black: a coloured highlight sets no end. Costs of tints are logarithmic: an anchor that fits nothing plausible is
// outvoted, not averaged in. Densities are -log10 of the light of a linear level throughout.
#pragma once

#include <array>
#include <vector>

#include "engine/adaptive/block_grid.h"

// What is known of the material.
struct PositiveMaterial {
  double flare;     // light that the surface or the lens adds, as a share of white; the curve takes it off
  double base;      // density of what nothing is printed on
  double black;     // density of the joint black of sound pictures ...
  double blackSd;   // ... and how far it scatters
  double pileBlack; // the same where blacks pile up: the material's darkest
  double pileSd;    // likewise
  double blackTint; // tint of a joint black, density, at which its cost begins to flatten
  double densest;   // density that no channel of a sound original exceeds
  double stain;     // mean blue density of stain, faded originals
};

// What is known of how originals of a kind change.
struct PositiveHistory {
  bool faded;           // dyes lost and stain; else exposure and a cast
  double dye;           // usual share of dye that is left ...
  double dyeSd;         // ... and its scatter, as a natural logarithm
  double dyeRatio;      // usual difference of two channels' logarithms ...
  double dyeRatioCost;  // ... and what larger ones cost, nats for each such difference
  double whiteTintCost; // nats for each decade (natural) by which a tint of the whites exceeds the usual
  double beyondCost;    // nats for each decade (natural) by which something lies beyond the densest
  double prior;         // evidence, in nats, that a correction must have to be believed half
};

inline constexpr PositiveMaterial kPrintMaterial = {
    .flare = 0.006, // surface reflection on a flatbed
    .base = 0.04,   // paper white
    .black = 2.02,
    .blackSd = 0.15,
    .pileBlack = 2.15,
    .pileSd = 0.08,
    .blackTint = 0.06,
    .densest = 2.24, // the surface reflection ends it at -log10(0.006) = 2.22
    .stain = 0.12,
};

inline constexpr PositiveMaterial kSlideMaterial = {
    .flare = 0.001, // stray light
    .base = 0.10,   // clear film
    .black = 2.50,
    .blackSd = 0.30,
    .pileBlack = 2.95,
    .pileSd = 0.15,
    .blackTint = 0.09,
    .densest = 3.10,
    .stain = 0.08, // film stains less than paper
};

inline constexpr PositiveHistory kFadedHistory = {
    .faded = true,
    .dye = 0.72,
    .dyeSd = 0.22,
    .dyeRatio = 0.18,
    .dyeRatioCost = 0.5,
    .whiteTintCost = 0.4,
    .beyondCost = 1.0,
    .prior = 0.7,
};

inline constexpr PositiveHistory kSoundHistory = {
    .faded = false,
    .dye = 1.0,
    .dyeSd = 0.10,
    .dyeRatio = 0.04,
    .dyeRatioCost = 0.7,
    .whiteTintCost = 0.5,
    .beyondCost = 0.15,
    .prior = 2.0,
};

// The straight lines of the three channels.
struct DensityModel {
  double offset[3];
  double logDye[3]; // natural logarithm of the share of dye

  double Dye(int c) const;
  // Density of the sound original.
  double Undo(int c, double density) const { return (density - offset[c]) / Dye(c); }
};

// What the blocks hold the model against; densities as scanned.
struct Anchors {
  double lightest[3]; // of the channel: 0.1 % of the blocks are lighter
  double darkest[3];  // likewise darker
  double white[3];    // of the blocks that are lightest in all channels at once
  double black[3];    // of those that are darkest
  double pile;        // share of all blocks that lie at the black
};

struct PositiveEstimate {
  bool usable = false; // else: too few blocks, or hardly any contrast
  DensityModel model;  // what to undo: the proposal as far as it is trusted
  Anchors anchors;
  double trust = 0.0;     // 0..1
  double gain = 0.0;      // nats
  double whiteCost = 0.0; // nats, of the proposal, likewise the next two
  double blackCost = 0.0;
  double historyCost = 0.0;
  double flare = 0.0;          // light, as a share of white, that lies on everything
  std::vector<size_t> picture; // the blocks inside of the frame
  double trimmed = 0.0;        // share of the blocks outside of it
};

class PositiveEstimator {
 public:
  // Neither is owned. `caution`: nats added to what a correction must have for it.
  PositiveEstimator(const PositiveMaterial& material, const PositiveHistory& history, double caution)
      : m_material(material), m_history(history), m_caution(caution) {}

  PositiveEstimate Estimate(const BlockGrid& grid) const;

 private:
  // Without mount, holder and what lies beside the original.
  Frame FindFrame(const BlockGrid& grid) const;
  // Of densities by channel, seen through the model; at least one block.
  Anchors FindAnchors(const std::vector<double> (&density)[3], const DensityModel& model) const;

  // Costs in nats.
  double WhiteCost(const DensityModel& model, const Anchors& anchors) const;
  double BlackCost(const DensityModel& model, const Anchors& anchors) const;
  double FadingCost(const DensityModel& model) const;
  double ExposureCost(const DensityModel& model) const;
  double HistoryCost(const DensityModel& model) const;
  double Cost(const DensityModel& model, const Anchors& anchors) const;

  std::array<DensityModel, 2> StartsFrom(const Anchors& anchors) const;
  // The model of least cost from the given one on, and the better of those from two.
  DensityModel Search(DensityModel model, const Anchors& anchors) const;
  DensityModel BestModel(const std::array<DensityModel, 2>& starts, const Anchors& anchors) const;
  // Nothing happened to the original.
  DensityModel Untouched(const Anchors& anchors) const;

  const PositiveMaterial& m_material;
  const PositiveHistory& m_history;
  double m_caution;
};
