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
  double Total(const DensityModel& model, const Anchors& anchors) const;

 private:
  // How far joint blacks of that density lie from a usual one.
  double BlackLevel(double density, double pile) const;
  // Likewise among the pictures of a box, where the fading is not to be told from the black alone.
  double BlackLevelInBox(double density) const;
  double Fading(const DensityModel& model) const;
  double Exposure(const DensityModel& model) const;

  const PositiveMaterial& m_material;
  const PositiveHistory& m_history;
  const BoxHistory* m_box;
};
