// Printing a negative from what its histograms show, channel by channel.
#pragma once

#include <cstdint>

#include "engine/film/print.h"
#include "engine/hist/chist.h"
#include "engine/zep3.h"

// What the histograms show of the film, in log10 of levels: base at the clear end, whites of the scene at the dense.
struct FilmEnds {
  double clear[3]; // 0.1 % of the samples are clearer
  double black[3]; // 0.5 % are: the blacks of the scene
  double dense[3]; // about 0.2 % are denser
  // The clear end as the base, the dense one as the whites.
  FilmSeen Seen() const;
};

// Ends that the statistics do not hold within the level bounds of the document type are replaced: the clear end by the
// highest level, the dense end by `rangeDefault` below the clear one. A range is at least rangeMin.
FilmEnds MeasureFilmEnds(const CHIST& hist, int16_t docType, double rangeMin, double rangeDefault);

// How the exposures print.
struct PrintRule {
  double contrast;    // of the print, per unit of log10 exposure; 1: the scene's own
  double rangeNormal; // exposure range of a usual picture ...
  double rangeShare;  // ... and how far an unusual one is put down to the film
  double white;       // distance of the paper's white above the densest channel's whites
  double whiteNormal; // exposure of the whites on normally exposed film ...
  double whitePull;   // ... and the share of the distance to it by which the print is darkened (thin) or lightened
  double meanShare;   // share of an unusual mean that is taken back
  double flare;       // light of the camera's flare, which is taken off

  // `below` levels below the reference: contrast and white moved by their steps.
  PrintRule At(double below, double contrastStep, double whiteStep) const {
    PrintRule rule = *this;
    rule.contrast += contrastStep * below;
    rule.white += whiteStep * below;
    return rule;
  }
};

// Writes input points and gammas of the curves that come closest to the print, for the output points that the channels
// hold. `histogram`: samples by channel and film level.
void PrintFilm(const Film& film, const FilmEnds& ends, const PrintRule& rule, const uint32_t (&histogram)[3][256],
               ZEP3_IC& ic);
