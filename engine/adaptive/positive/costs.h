// How well a model of what happened explains the ends of a picture, in nats: less is likelier.
#pragma once

#include "engine/adaptive/positive/model.h"

class PositiveCosts {
 public:
  // Neither is owned.
  PositiveCosts(const PositiveMaterial& material, const PositiveHistory& history)
      : m_material(material), m_history(history) {}

  // How badly the whites, seen through the model, fit a picture; likewise the blacks.
  double White(const DensityModel& model, const Anchors& anchors) const;
  double Black(const DensityModel& model, const Anchors& anchors) const;
  // How unusual the model is as a fading, or as an exposure and a cast.
  double History(const DensityModel& model) const;
  double Total(const DensityModel& model, const Anchors& anchors) const;

 private:
  double Fading(const DensityModel& model) const;
  double Exposure(const DensityModel& model) const;

  const PositiveMaterial& m_material;
  const PositiveHistory& m_history;
};
