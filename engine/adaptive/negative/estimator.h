// What is on a negative, and how it prints: the film is inverted instead of its ranges stretched, and colours that
// occur together tell the light of the scene.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/adaptive/block_grid.h"
#include "engine/adaptive/evidence.h"
#include "engine/adaptive/picture.h"
#include "engine/film/film.h"
#include "engine/film/print.h"
#include "engine/zep3.h"

class ExposureCurve;
struct FrameOnRoll;
struct NegativeTuning;

class NegativeEstimator {
 public:
  // `grid` and `picture`, of which it holds blocks, must outlive the object.
  NegativeEstimator(const BlockGrid& grid, const Picture& picture, bool colour, bool faded);

  // `contrast`: a channel's density contrast relative to the film's own. `softer`: 0..1, taken off the print's
  // contrast. False, with results that mean nothing, where the picture is too small or too flat.
  bool Estimate(const double (&contrast)[3], double softer);

  // Its first step, for who wants to see what a frame of a roll shows. False where Estimate would be.
  bool Measure();
  const std::vector<double> (&LogLevels() const)[3] { return m_log; } // log10, of the picture's blocks
  const double (&Top() const)[3] { return m_top; }                    // log10 of the lightest blocks' level
  double Lost() const { return m_lost; }
  const NegativeEvidence& Seen() const { return m_seen; }
  // After Measure in place of Estimate: the film and the contrast are known.
  void PrintOnRoll(const FrameOnRoll& frame, double softer);

  // Writes input points and gammas of the curves that print it, for the output points that the channels hold.
  void FitPoints(ZEP3_IC& ic) const;

  // How much the curves count against those of the standard analysis, 0..1.
  double OwnShare() const;

  // Measurements, reasons and confidence.
  void Report(ZEP3_EVIDENCE& evidence, Measured& measured) const;

 private:
  void MeasureLost();
  void ReadLogLevels();
  bool MeasureBase();
  FilmSeen SeenWith(const double (&white)[3]) const;
  void JudgeColour(const double (&contrast)[3], const ExposureCurve& exposure);
  void FindWhites(double (&white)[3]) const;
  void RefineSlopes(const double (&white)[3], const ExposureCurve& exposure);
  void JudgeMonochrome(const ExposureCurve& exposure);
  void ExposeColour(const ExposureCurve (&exposure)[3]);
  void ExposeMonochrome(const ExposureCurve& exposure, double slope);
  bool JudgePrint(double softer);
  void MeasureMean(double white, double black);
  void LayPaper(double white, double whitePrint);
  double LogRatio(int c) const;

  const BlockGrid& m_grid;
  const bool m_colour;
  const bool m_faded;
  const NegativeTuning& m_tuning;
  const Picture& m_picture;
  // Of the picture's blocks.
  std::vector<double> m_log[3];   // log10 of levels
  std::vector<double> m_exposure; // of the channel that prints lightest

  double m_lost = 0.0; // light that the scanner's black level took away
  double m_top[3];     // log10 of levels
  double m_base[3];    // likewise
  Film m_film;
  FilmTraits m_traits;
  Paper m_paper;
  NegativeEvidence m_seen = {};
};
