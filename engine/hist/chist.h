// CHIST: what one analysis learns from the image. Histograms of the pixels inside the analysis area, and the statistics
// that the calculators read.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/image/area.h"
#include "engine/image/shared_walk.h"
#include "engine/zep3.h"

class CHIST {
 public:
  CHIST();
  virtual ~CHIST();
  CHIST(const CHIST&) = delete;
  CHIST& operator=(const CHIST&) = delete;

  // ---- histograms (histograms.cpp) ----

  // Fills the histograms from the image inside its analysis area, shrunk by `margin` percent of its extent. False when
  // the image is null, not 24 bits, not readable as its fields say, its area is refused, or no sample was counted.
  bool MakeHistogram(ZEP3_BmpInfo* image, int margin, ZEP3_PARA* para);
  // Who is to see the lines that MakeHistogram reads; null: nobody.
  void TakeAlong(Companion* companion) { m_companion = companion; }

  // ---- analysis area (area.cpp), by the rules of image/area.h ----

  // Validates and shrinks the area, and keeps its shape in the members below.
  bool CalcLineEquation(AREA* area, int margin);
  // The validation alone; sets m_bRotatedArea.
  bool AreaCheck(AREA* area);
  bool CalcLineCoefficient(LPOINT* a, LPOINT* b, double* slope, double* intercept);
  void RotateCoordinate(double x, double y, double* outX, double* outY, double cosine, double sine, int direction);
  bool IsInnerPoint(int x, int y);
  // What the members below hold.
  AreaShape Area() const;

  // ---- statistics (statistics.cpp) ----

  // Despite its name true when the levels are usable: at most m_dOutRangeLimit of the samples, summed over the three
  // channels, lie outside the level bounds of the document type.
  bool IsOutRange(ZEP3_PARA para);
  // m_pdHistAve: mean linear level per channel, and their sum. False without samples.
  bool CalcHistAverage(ZEP3_PARA para);
  // The level up to which the fraction `ratio` of all samples lies, walking up from `from`; `to` itself is not
  // examined. Channels 0..2, or 3 for the sums. 0.0: not found.
  double DetectMinValue(int channel, int from, int to, double ratio);
  // The same from the top, walking down from `to`; `from` is examined.
  double DetectMaxValue(int channel, int from, int to, double ratio);
  // m_pdHistMin at the three fractions, at least 0.1 level apart. False when a reflective original has an empty
  // channel.
  bool CalcHistMinValue(ZEP3_PARA para);
  // m_pdHistMax likewise. Returns the number of the last entry computed: 2, or 3 with the sums.
  int CalcHistMaxValue(ZEP3_PARA para);

  // ---- colour negatives, range and slope (nega_statistics.cpp) ----

  // Rebuilds m_nHist through a matrix that undoes the dyes' cross-talk. False when nothing was counted.
  bool PreviewImageColorCorrection(ZEP3_BmpInfo* image);
  // The same through a given matrix: nine doubles, row-major, output channel by input channel. After MakeHistogram of
  // a colour negative with the same record the image is not read again; its pixels must not have changed.
  bool MakeHistogramOfColorCorrectedImage(ZEP3_BmpInfo* image, double* matrix);
  // m_pdNegaMin from the rebuilt histograms.
  void CalcNegaMinValue();
  // m_dAnlRange: levels between the 0.5 % points.
  void CalcAnlRangeValue();
  // m_dAnlSlope: hundreds of samples per level between the 0.5 % and the 5 % points of the highlights.
  void CalcAnlSlopeValue();

  // ---- settings ----

  static constexpr int kAreaMargin = 5;
  static constexpr int kSampleTargetPosi = 30000;
  static constexpr int kSampleTargetNega = 10000;
  int m_nAreaMargin = kAreaMargin;             // percent of the area's extent left out, 0..90
  int m_nSampleTargetPosi = kSampleTargetPosi; // samples aimed at, positives and reflective
  int m_nSampleTargetNega = kSampleTargetNega; // samples aimed at, negatives
  int m_nLevelLow = 1;                         // lowest level counted, positives and reflective
  int m_nNegaLevelLow[3] = {16, 12, 8}; // lowest level counted, colour negative: darker is dust and the scanner's floor
  int m_nNegaBWLevelLow = 4;            // lowest level counted, monochrome negative
  int m_nFBLevelHigh = 255;             // highest level counted, reflective
  int m_nPosiLevelHigh = 241;           // highest level counted, positive: above is the light beside the film
  int m_nNegaLevelHigh = 241;           // highest level counted, colour negative
  int m_nNegaBWLevelHigh = 241;         // highest level counted, monochrome negative
  double m_dMinRatio[3] = {0.001, 0.005, 0.05}; // fractions of the samples below the three minimum levels
  double m_dMaxRatio[3] = {0.001, 0.005, 0.05}; // fractions of the samples above the three maximum levels
  double m_dPreviewCorrection = 0.075;          // share of each other channel in the preview correction, 0..0.5
  double m_dOutRangeLimit = 0.3; // share of samples outside the bounds, summed over channels, that is accepted

  // ---- area: as in AreaShape ----

  double m_dLineSlope[4] = {};
  double m_dLineIntercept[4] = {};
  int m_nAreaRect[4] = {}; // left, right, top, bottom, all inclusive
  bool m_bRotatedArea = false;

  // ---- results; index 3 is all channels, on the scale of R+G+B (0..765) ----

  double* m_pdNegaMin[3] = {};      // [fraction][channel], from the corrected histograms
  double* m_pdHistMax[3] = {};      // [fraction][channel or 3]
  double* m_pdHistMin[3] = {};      // [fraction][channel or 3]
  double* m_pdHistAve = nullptr;    // [channel], [3] is their sum
  uint32_t m_nHistSum[768] = {};    // samples by R+G+B
  uint32_t m_nHist[3][256] = {};    // samples by channel and level
  uint32_t m_nHistOrg[3][256] = {}; // m_nHist as first built, kept through the rebuild
  int32_t m_nPixelCount = 0;        // samples counted
  double m_dAnlRange[4] = {};
  double m_dAnlSlope[3] = {};

 private:
  struct WithoutResults {};
  explicit CHIST(WithoutResults) {}

  void SetArea(const AreaShape& shape);

  // Takes the samples of a colour negative into m_samples unless they lie there already; false when the image is not
  // readable. They are kept because its histograms are built twice.
  bool KeepSamples(const ZEP3_BmpInfo& image);

  std::vector<uint8_t> m_samples;   // red, green and blue of each; of the present area, empty when nothing is kept
  ZEP3_BmpInfo m_sampledImage = {}; // what they are of
  int m_nSampledTarget = 0;         // the samples aimed at
  Companion* m_companion = nullptr;
};
