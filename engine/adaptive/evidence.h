// What an adaptive analysis measured, for callers by name. A number is declared here and described in evidence.cpp;
// sidecar, report and documentation take it from there.
#pragma once

#include <cstddef>
#include <span>

#include "engine/zep3.h"

// Units are those of the descriptions.
struct PositiveEvidence {
  double trust;
  double gain;
  double dyeLeft[3];
  double offset[3];
  double jointWhite[3];
  double jointBlack[3];
  double whiteTint;
  double blackTint;
  double blackPile;
  double whiteCost;
  double blackCost;
  double historyCost;
};

struct NegativeEvidence {
  double holder;
  double border;
  double baseMeasured;
  double base[3];
  double highlight[2];
  double planck;
  double neutral;
  double slope[3];
  double votes;
  double stain[3];
  double range;
  double power;
  double mean;
  double lift;
};

struct PageEvidence {
  double paper;
  double objects;
  double sheet[3];
  double uneven;
  double noise;
  double deep;
  double strokes;
  double darkest;
};

// What lies in ZEP3_EVIDENCE::dMeasured, from its beginning.
struct Measured {
  double trimmed = 0.0;
  PositiveEvidence positive = {};
  NegativeEvidence negative = {};
  PageEvidence page = {};
};
static_assert(sizeof(Measured) <= sizeof(ZEP3_EVIDENCE::dMeasured));

struct MeasuredItem {
  ZEP3_EVIDENCE_ITEM description;
  size_t at; // number of its first double in Measured
};

std::span<const MeasuredItem> MeasuredItems();

// Null for an unknown name.
const MeasuredItem* FindMeasuredItem(const char* name);

void SetMeasured(ZEP3_EVIDENCE& evidence, const Measured& measured);
