// The film of a roll from what its frames show, and the light of a frame on a known film.
//
// Seen through the right film, the bands of a frame lie on a line from the film's neutral toward the light of its
// scene. One frame's bands are often coloured by what is in the scene; their tails are heavy, and frames outvote them.
#pragma once

#include <vector>

#include "engine/film/exposure_curve.h"
#include "engine/film/film.h"
#include "engine/roll/tuning.h"
#include "engine/zep3.h"

// An observation in log10 of levels, with the light that the scanner took off.
struct FrameLevels {
  explicit FrameLevels(const ZEP3_OBSERVATION& seen);

  double lost;
  double top[3];
  double band[roll::kBands][3];
  double end[2][3];
  double lightest[3]; // level, without the lost light
  double clear[3];    // level of the clear film, if it was measured
  bool measured;
  bool blank; // the densest band hardly differs from the lightest
};

// Densities of the bands above a base (linear levels).
struct FrameDensities {
  FrameDensities(const FrameLevels& frame, const double (&base)[3]);
  double at[roll::kBands][3];
};

// What colour frames vote on.
struct ColourAxis {
  double slope[3];
  double balance[3]; // exposure of a neutral by daylight, relative to green
};

// Of colour film; knows what is usual of it.
class ColourFit {
 public:
  // `contrast`: what the colour matrix tells of the channels.
  ColourFit(bool faded, const double (&contrast)[3]);

  // The likeliest film of the frames, of which there is at least one.
  ColourAxis Fit(const std::vector<FrameDensities>& frames) const;
  // Misfit of a frame, nats: less is better.
  double Cost(const FrameDensities& frame, const ColourAxis& axis) const;
  // What is unusual about a film, nats.
  double Unusual(const ColourAxis& axis) const;

  // Exposures of a neutral in the frame's light less daylight's, red and blue, and how far its whites are taken for
  // white, 0..1.
  void Light(const FrameDensities& frame, const ColourAxis& axis, double (&light)[2], double& belief) const;
  // How far the upper bands lie from the line of incandescent light, log exposure, to its green side.
  double Across(const FrameDensities& frame, const ColourAxis& axis) const;
  double Exposure(int c, double density, double slope) const { return m_curve[c](density, 1.0 / slope); }

 private:
  struct Deviation {
    double at[roll::kBands][2]; // from the neutral by daylight, less what is usual
    double weight[roll::kBands];
  };
  Deviation DeviationOf(const FrameDensities& frame, const ColourAxis& axis) const;

  const RollTuning& m_tuning;
  const ExposureCurve m_curve[3];
  double m_slope[3];
  double m_balance[3];
  double m_lightCost[roll::kFilmLightTo - roll::kFilmLightFrom + 1];
};
