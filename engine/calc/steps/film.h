// Printing a negative: from the levels of the scan back to the exposure of the film, and from there to the table
// builder's curve.
//
// A layer answers to log10 exposure x with the density n = slope * toe * ln(1 + exp(x / toe)) above its base: a
// straight line with a soft toe. x = 0 is where the straight line, drawn on, meets the base. The shoulder is left out:
// normal use stays below it. The density between two levels is 1.8 times the difference of their log10, as a level is
// light to the power 1 / 1.8.
#pragma once

#include <cstdint>

#include "engine/hist/chist.h"
#include "engine/zep3.h"

// What the histograms show of the film, in log10 of levels: base at the clear end, whites of the scene at the dense.
struct FilmEnds {
  double clear[3]; // 0.1 % of the samples are clearer
  double black[3]; // 0.5 % are: the blacks of the scene
  double dense[3]; // about 0.2 % are denser
  double Density(int c) const { return 1.8 * (clear[c] - dense[c]); }
};

// What the statistics hold no level for, within the bounds of the document type, is replaced: the clear end by the
// highest level, the dense end by `rangeDefault` below the clear one. A range is at least rangeMin.
FilmEnds MeasureFilmEnds(const CHIST& hist, int16_t docType, double rangeMin, double rangeDefault);

// What is known of the film before the picture is seen.
struct FilmTraits {
  double slope[3]; // density per unit of log10 exposure, at least 0.01
  double toe;      // width in log10 exposure, above 0
};

// How far the whites of a colour negative are believed: they tell the light of the scene and, on faded film, the loss
// of dye, unless one colour dominates the scene.
struct WhiteTrust {
  double balance[3]; // exposure of a neutral by daylight, red and blue relative to green; green 0
  double scatter;    // deviation of the whites from it at which they are believed half
  double redFree;    // lack of red that counts as none: scanners and fading take red first
  double shade;      // deviation toward blue, along the line of incandescent light, that counts as none
  double lamp;       // the same toward red
  double slopeShare; // share of the whites' unequal density that is put down to the film's slopes
  double slopeLimit; // largest change of a slope, as a natural logarithm
  double slopeSure;  // share of that change that is made whatever the whites are believed
};

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
};

// The film of one frame.
struct Film {
  FilmEnds ends; // the clear one is the base
  double slope[3];
  double toe;
  double balance[3]; // exposure of a neutral, relative to green

  // Exposure of a level as a neutral would need it in green, and the level of an exposure.
  double ExposureAt(int c, double logLevel) const;
  double LevelAt(int c, double exposure) const;
};

Film JudgeColourFilm(const FilmEnds& ends, const FilmTraits& traits, const WhiteTrust& trust);

// All channels show one picture: whatever colour there is, is stain or the lamp's. Channels with little light count
// little in what the picture is.
Film JudgeMonochromeFilm(const FilmEnds& ends, const FilmTraits& traits);

// Writes input points and gammas of the curves that come closest to the print, for the output points that the channels
// hold. `histogram`: samples by channel and film level.
void PrintFilm(const Film& film, const PrintRule& rule, const uint32_t (&histogram)[3][256], ZEP3_IC& ic);
