// How well a model of what happened explains the ends of a picture, in nats: less is likelier.
#pragma once

#include "engine/adaptive/positive/model.h"

// What the originals of a box share.
struct BoxHistory {
  DensityModel model;
  double gain;    // mean evidence for a correction, nats
  double scatter; // how unequal they are; 1: as usual
};

class PositiveCosts {
 public:
  // Neither is owned.
  // `box`: null, or the history that the original most likely has.
  PositiveCosts(const PositiveMaterial& material, const PositiveHistory& history, const BoxHistory* box = nullptr)
      : m_material(material), m_history(history), m_box(box) {}

  // How badly the whites, seen through the model, fit a picture; likewise the blacks.
  double White(const DensityModel& model, const Anchors& anchors) const;
  double Black(const DensityModel& model, const Anchors& anchors) const;
  // How unusual the model is as a fading, or as an exposure and a cast.
  double History(const DensityModel& model) const;
  // How far the model lies from the box's, as originals of a box do.
  double Apart(const DensityModel& model) const;
  // The same of its dyes and the colour of its stain, as a sum of squares for a box whose originals are as unequal as
  // usual.
  double ApartInColour(const DensityModel& model) const { return AwayFrom(model).colour; }
  double Total(const DensityModel& model, const Anchors& anchors) const;

 private:
  // Sums of squares, in standard deviations of a usual box.
  struct Away {
    double colour; // dyes, and the stain's colour
    double amount; // of stain
  };
  Away AwayFrom(const DensityModel& model) const;
  double Fading(const DensityModel& model) const;
  double Exposure(const DensityModel& model) const;

  const PositiveMaterial& m_material;
  const PositiveHistory& m_history;
  const BoxHistory* m_box;
};
