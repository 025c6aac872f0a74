// CZEP: one calculator per kind of original turns the statistics of a CHIST into a proposed correction.
//
// An object serves one analysis: construct, SetParam, one calculator. Calculators overwrite their working members, so a
// second one on the same object is not supported.
//
// The second half of this file is the tuning sheet: one headed block per calculator or check, in the order in which the
// blocks have always stood. Units and ranges, where a line says nothing else: levels are linear, 0..255; "sum" is the
// scale of R+G+B, 0..765; colour spread is the sum of the channels' highlights minus the highlight of the sums, about 0
// for neutral originals; ratios are highlight over shadow or channel over channel, from 1; gains and gammas are factors
// above 0; shares and weights are 0..1; densities are minus log10 of light, from 0. k is the block's reference level
// minus the record's lCorrectLevel. "working" marks a member that the calculator sets before use to its ...Base (the
// value at k = 0) plus its ...Step (the change per level below the reference) times k; photos, slides, monochrome
// negatives and faded prints keep its default above the reference.
#pragma once

#include <cstdint>

#include "engine/calc/steps/level_tone.h"
#include "engine/film/film.h"
#include "engine/film/histogram_print.h"
#include "engine/zep3.h"

class CHIST;

class CZEP {
 public:
  CZEP() = default;
  virtual ~CZEP() = default;
  CZEP(const CZEP&) = delete;
  CZEP& operator=(const CZEP&) = delete;

  // ---- exchange (czep.cpp) ----

  // Links the object to one analysis. Neither is owned, neither is checked. Always true.
  bool SetParam(CHIST* hist, ZEP3_PARA* para);
  // Writes the fixed points and curve types of an unusable image. Reads document type and sub-mode from the argument
  // and writes into the linked record.
  void SetDefault(ZEP3_PARA* para);
  // Clamps to the legal range of an input point, 0.1..255 (8-bit level). For callers; the engine does not use it.
  double LimitHlinSdin(double v);

  // ---- calculators: read the linked statistics, write points (linear level times 257), gammas, curve types,
  //      lSaturation, lLevelFlag, and those that follow a level tone curve the record at pOutMasterTone; true on
  //      success ----

  bool CalcParamFBPhoto();      // fb_photo.cpp: reflective photo
  bool CalcParamFBDoc();        // fb_doc.cpp: reflective document
  bool CalcBackgroundRemove();  // background_remove.cpp
  bool CalcGroundColorRemove(); // ground_color_remove.cpp
  bool CalcParamPosi();         // posi.cpp: positive film
  bool CalcParamNegaBW();       // nega_bw.cpp: monochrome negative
  bool CalcRestorationFBP();    // restoration_fbp.cpp: faded print or slide
  bool CalcRestorationNega();   // restoration_nega.cpp: faded colour negative
  bool CalcRestorationNegaBW(); // restoration_nega_bw.cpp: faded monochrome negative
  // nega.cpp: colour negative. The matrix (nine doubles, row-major) tells by its diagonal the channels' density
  // contrasts; its other entries are not used. False, with nothing written, without one.
  bool CalcParamNega(const double* colorMatrix);

  // restoration_fbp.cpp: the saturation that goes with restored points (linear level times 257) and their mean gamma.
  // Chroma was lost with the unwanted absorptions of the dyes; a curve per channel does not return it. `strength`: the
  // correction level.
  int32_t RestorationSaturation(const ZEP3_IC& ic, double meanGamma, double strength) const;

  // nega_bw.cpp: the level tone curve of a monochrome negative whose points (linear level times 257) are in the record,
  // for a correction level above `levelRef`.
  void ProposeNegaBWTone(double levelRef) const;

  // against_light.cpp: backlight. Reads the record after its conversion to the display gamma and the histograms as
  // scanned; writes six-point curves, the same three times, at pOutRGBTone, lSaturation and lLevelFlag. `level`:
  // strength in eighths. False, with nothing written, when it asks for nothing, on pages (sub-modes other than photo
  // and restoration), when points or gammas are no curve to judge by, and when the picture is not backlit.
  bool CalcAgainstLight(int64_t level);

  // ---- range checks (range_checks.cpp): pure arithmetic on three channels of lower and upper points ----

  // Raises ranges that are narrow beside the others by lowering `lower`: each is at least a set share of another.
  // `over` and `under` (per channel, from 0) lower the shares: film that is over- or under-exposed there.
  void RangeBalanceIntensity(double* lower, const double* upper, const double* over, const double* under);
  // Widens ranges that are narrow on average. `mid`: reference point of each channel; `belowShare`: least share of the
  // common widening that goes below; `over`, `under` (0..1) lower the target; `upperShare` (0..1) of a channel's own
  // extra width goes above.
  void CheckRangeNarrow(double* lower, double* upper, const double* mid, const double* belowShare, double over,
                        double under, double upperShare);
  // Compresses ranges that are wide on average, and pulls unequal ones together. `least` is the least equalising
  // strength. What speaks for the ranges as they are weakens it, each 0..1: neutral whites, even means, over- and
  // under-exposure, a dark scene. `own` (per channel, 0..1) is how far a channel that would grow keeps its own range;
  // `reference` are the lower points against which the whites of a dark scene are lifted. Always true.
  bool CheckRangeWide(double* lower, const double* upper, double least, double neutral, double even, const double* own,
                      double over, double under, double dark, const double* reference);
  // Brings the mean of upper / lower up to minRatio (monochrome negatives; levels).
  void CheckRangeNarrowForBW(double* lower, double* upper, double minRatio);

  // ---- exposure judgements of colour negatives (exposure.cpp): weights per channel from 0, returns their mean ----

  // Over-exposure, from log10 levels at the dense end: `densest` and the little clearer `dense`. Writes weight and
  // pile = dense - densest.
  double ExposureOver(const double* densest, const double* dense, double* weight, double* pile);
  // Under-exposure, from log10 levels: `clear` and the little denser `clearer` end, and `dense`, the other one. Writes
  // weight, pile = clear - clearer and range = clear - dense. The channels whose weight exceeds that of the narrowest
  // are brought near it: up to (2 - m_dExpUnderShare) times, which may be above 1.
  double ExposureUnder(const double* clear, const double* clearer, double* weight, const double* dense, double* pile,
                       double* range);

  // ================================================ tuning sheet =================================================

  // ---- CalcParamFBPhoto, first block ----

  double m_dFBPhotoColorRatio = 1.07; // working: highest / lowest highlight up to which channels keep their own
  double m_dFBPhotoHlLow = 480.0;     // sum: at or below, one highlight for all channels (dark originals)
  double m_dFBPhotoHlHigh = 650.0;    // sum: from here on, own highlights in full
  double m_dFBPhotoSpreadLow = 3.0;   // colour spread up to which channels keep their own highlights in full
  double m_dFBPhotoSpreadHigh = 10.0; // colour spread from which one highlight serves all channels
  double m_dFBPhotoHlStretch = 1.2;   // stretch of the highlight shoulder in the gain limit; larger: darker pictures
  double m_dFBPhotoHlGainMax = 1.03;  // working: highest highlight gain; larger: darker pictures
  // Lowest highlight input (8-bit level) at levels 0, 1, 2, 3, and 4 and above; element 0 takes the value chosen.
  int32_t m_nFBPhotoHlMin[5] = {135, 200, 179, 157, 135};
  double m_dFBPhotoRangeMin = 3.5;  // working: lowest highlight to shadow ratio; larger: softer
  double m_dFBPhotoRangeMax = 18.0; // highest highlight to shadow ratio; smaller: harder shadows
  double m_dFBPhotoGammaMin =
      1.0; // lowest gamma; below it a gamma becomes 1. The ratio limits keep it above as it stands

  // ---- CalcParamFBDoc and CalcGroundColorRemove, first block ----

  double m_dDocColorRatio = 0.0;  // working: as m_dFBPhotoColorRatio
  double m_dDocHlLow = 0.0;       // working: sum, as m_dFBPhotoHlLow
  double m_dDocHlHigh = 0.0;      // working: sum, as m_dFBPhotoHlHigh
  double m_dDocSpreadLow = 3.0;   // colour spread: own highlights up to here, and the neutral end of the gain blend
  double m_dDocSpreadHigh = 10.0; // colour spread: one highlight from here, and the coloured end of the gain blend
  double m_dDocGainHigh = 0.0;    // working: highlight gain of a coloured original; below 1 pushes paper to white
  double m_dDocGainLow = 0.0;     // working: highlight gain of a neutral original
  double m_dDocCastFactor = 0.0;  // working: weight of the colour ratio in the gain blend
  int32_t m_nDocHlMin = 153;      // lowest highlight input, 8-bit level; larger: dark paper stays darker
  int32_t m_nGcHlMinOwn = 100;    // lowest own-channel highlight input, ground-colour removal
  double m_dDocRangeMin = 0.0;    // working: lowest highlight to shadow ratio
  double m_dDocRangeMax = 10.0;   // highest highlight to shadow ratio
  double m_dDocRangeScale = 0.85; // factor on the measured ratio; smaller: blacker text
  double m_dDocGammaWeight = 0.0; // working: share of the slope's excess that enters the gamma, document
  double m_dGcGammaWeight = 0.85; // the same for ground-colour removal, at every level

  // ---- CalcParamPosi, first block: as the like-named members of CalcParamFBPhoto ----

  double m_dPosiColorRatio = 1.095; // working
  double m_dPosiHlLow = 350.0;      // sum
  double m_dPosiHlHigh = 600.0;     // sum
  double m_dPosiSpreadLow = 3.0;    // colour spread
  double m_dPosiSpreadHigh = 10.0;  // colour spread
  double m_dPosiHlStretch = 0.9;    // stretch of the highlight shoulder in the gain limit
  int32_t m_nPosiHlMin = 71;        // lowest highlight input at every level, 8-bit level: slides may be dark
  double m_dPosiRangeMin = 3.5;     // working: lowest highlight to shadow ratio
  double m_dPosiRangeMax = 25.0;    // highest ratio: film reaches deeper shadows than paper
  double m_dPosiHlGainMax = 1.03;   // working: highest highlight gain
  double m_dPosiGammaMin = 1.05;    // lowest gamma

  // ---- CalcParamNega: levels and ranges as log10 of levels. Record fields are explained in film/film.h,
  //      film/histogram_print.h and steps/level_tone.h ----

  // The ends of the film.
  double m_dNegaRangeMin = 0.05;     // smallest range of a channel
  double m_dNegaRangeFloor = 0.1;    // smallest range after the checks
  double m_dNegaRangeDefault = 0.65; // range of a channel that shows no dense end: mean of normal pictures
  double m_dNegaAveMargin = 0.02;    // distance of the mean from both ends
  double m_dNegaGainMin = 0.7;       // a channel's density contrast relative to the mean of the three, at least ...
  double m_dNegaGainMax = 1.4;       // ... and at most: limits what a colour matrix can say
  // What the range checks are told.
  double m_dNegaNarrowShare = 0.5;      // least share of the common widening at the dense end; thin film: 1
  double m_dNegaNarrowUpper = 0.3;      // share of a channel's own widening at the clear end; thin film: 0
  double m_dNegaWideLevelStep = 0.1;    // least equalising per level below the reference
  double m_dNegaWideNeutralLow = 0.005; // log10 levels that the preview correction moves the whites: neutral ...
  double m_dNegaWideNeutralHigh = 0.03; // ... to coloured; neutral whites make the ranges credible
  double m_dNegaWideCastLow = 0.05;     // difference of the means' positions in their ranges: balanced ...
  double m_dNegaWideCastHigh = 0.2;     // ... to cast
  double m_dNegaWideDarkLow = 0.15;     // mean position from the clear end: a dark scene ...
  double m_dNegaWideDarkHigh = 0.35;    // ... to a usual one
  double m_dNegaLiftRange = 0.65;       // range of a usual scene, against which the whites of a dark one are lifted
  double m_dNegaWideShare = 0.25;       // share of the compression that is made; in full it burns highlights
  // Steeper slopes print softer; a wider toe gives thin film deeper blacks.
  FilmTraits m_negaFilm = {.slope = {0.61, 0.59, 0.64}, .toe = 0.3};
  // Red lower: colder prints; blue higher: warmer ones. More scatter: casts go, and dominant colours with them.
  WhiteTrust m_negaTrust = {.balance = {-0.11, 0.0, 0.08},
                            .scatter = 0.45,
                            .redFree = 0.3,
                            .shade = 0.3,
                            .lamp = 0.3,
                            .slopeShare = 0.7,
                            .slopeLimit = 0.12,
                            .slopeSure = 0.0};
  // At the reference level; below it contrast and white move by their steps. More of meanShare: evener brightness; more
  // flare: deeper blacks.
  PrintRule m_negaPrint = {.contrast = 0.96,
                           .rangeNormal = 1.0,
                           .rangeShare = 0.0,
                           .white = 0.04,
                           .whiteNormal = 0.0,
                           .whitePull = 0.0,
                           .meanShare = 0.09,
                           .flare = 0.004};
  double m_dNegaPrintStep = -0.03;
  double m_dNegaWhiteStep = 0.01;
  // Of faded negatives, too; its reference level is that of the prints.
  LevelTone m_negaTone = {.levelRef = 4.0,
                          .meanLow = 10.0,
                          .meanHigh = 200.0,
                          .mixMin = 64.0,
                          .mixMax = 192.0,
                          .darkRef = 90.0,
                          .contrastStep = 0.05,
                          .toneHl = 1.8,
                          .toneSd = 2.5,
                          .brightMax = 0.06};

  // ---- RangeBalanceIntensity, first block: shares of another channel's range that a channel has at least ----

  double m_dBalanceGFromR = 0.81; // green of red
  double m_dBalanceBFromG = 0.81; // blue of green
  double m_dBalanceBFromR = 0.73; // blue of red
  double m_dBalanceGFromB = 0.66; // green of blue
  double m_dBalanceRFromG = 0.66; // red of green
  double m_dBalanceRFromB = 0.59; // red of blue

  // ---- ExposureOver: log10 of levels ----

  double m_dExpOverRefLow = 1.3;    // reference (level 20) at or below which film counts as dense
  double m_dExpOverRefHigh = 1.45;  // reference (level 28) at or above which it does not
  double m_dExpOverDiffLow = 0.02;  // difference (5 %) at or below which samples pile up at the end
  double m_dExpOverDiffHigh = 0.05; // difference (12 %) at or above which they do not

  // ---- ExposureUnder, first block: log10 of levels ----

  double m_dExpUnderLow = 2.0;       // level 100: at or below, film does not count as clear
  double m_dExpUnderHigh = 2.15;     // level 141: at or above, it does in full
  double m_dExpUnderDiffLow = 0.012; // difference (3 %) at or below which samples pile up at the end
  double m_dExpUnderDiffHigh = 0.03; // difference (7 %) at or above which they do not

  // ---- CalcParamNegaBW, first block ----

  double m_dNegaBWMinRatio = 1.67;    // smallest mean ratio of the film's ends; larger: flat film prints softer
  double m_dNegaBWGammaFactor = 1.45; // factor of the logarithmic gamma; larger: lighter mid-tones

  // ---- CalcRestorationFBP, first block ----

  double m_dRestFBPSdRatioMin = 1.3; // smallest accepted highlight to shadow ratio of a channel
  double m_dRestFBPGammaMax = 2.0;   // cap of the first gamma; out of reach while the ratio is at least 1.3
  double m_dRestFBPHlRef = 255.0;    // working: output of the measured highlight, first curve
  double m_dRestFBPHlTarget = 255.0; // working: output of the highlight, later curves
  double m_dRestFBPSdRef = 3.0;      // working: output of the measured shadow, first curve
  double m_dRestFBPSdTarget = 5.0;   // working: output of the shadow, later curves
  double m_dRestFBPMeanLow = 120.0;  // lowest channel mean taken as the common target unchanged
  double m_dRestFBPMeanHigh = 255.0; // highest channel mean taken so; out of reach at 255
  double m_dRestFBPMeanPull = 0.5; // share of its distance that a mean outside that band keeps; smaller: pulled harder
  double m_dRestFBPMeanFloor = 0.943; // the target is at least this fraction of the average channel mean
  double m_dRestFBPBalanceLow = 1.4;  // gamma spread below which the re-balanced gammas are kept in full
  double m_dRestFBPUnused = 0.0;      // holds a place in the block; read by nobody
  double m_dRestFBPBalanceHigh = 1.7; // gamma spread above which the first gammas stay
  double m_dRestFBPGammaPower =
      1.5; // exponent of the largest first gamma in the spread; larger: more of steep ones is kept
  double m_dRestFBPSatSpread = 10.0; // saturation for unequal channel slopes
  double m_dRestFBPSatGamma = 30.0;  // saturation per unit of mean gamma above 1
  double m_dRestFBPSatRatio = 12.0;  // saturation for compressed channel ranges
  double m_dRestFBPRatioRef = 7.0;   // highlight to shadow ratio below which a channel counts as compressed
  double m_dRestFBPSatMax = 50.0;    // cap of the saturation score

  // ---- CalcRestorationNega: likewise ----

  double m_dRestNegaRatioMin = 1.3;      // smallest accepted ratio of the film's ends
  double m_dRestNegaRangeDefault = 0.58; // log10 levels, as m_dNegaRangeDefault
  FilmTraits m_restNegaFilm = {.slope = {0.5, 0.59, 0.72}, .toe = 0.3};
  // An unequal density of the whites is lost dye rather than light, up to a factor of 1.8 (0.58).
  WhiteTrust m_restNegaTrust = {.balance = {-0.085, 0.0, 0.075},
                                .scatter = 0.72,
                                .redFree = 0.25,
                                .shade = 0.2,
                                .lamp = 0.0,
                                .slopeShare = 1.0,
                                .slopeLimit = 0.58,
                                .slopeSure = 1.0};
  PrintRule m_restNegaPrint = {.contrast = 1.21,
                               .rangeNormal = 1.86,
                               .rangeShare = 0.29,
                               .white = -0.01,
                               .whiteNormal = 1.6,
                               .whitePull = 0.136,
                               .meanShare = 0.06,
                               .flare = 0.002};
  double m_dRestNegaPrintStep = -0.03;
  double m_dRestNegaWhiteStep = 0.01;
  double m_dRestNegaSatRange = 40.0;    // saturation for compressed ranges
  double m_dRestNegaRangeRef = 0.58;    // range, by density contrast, below which a channel counts as compressed
  double m_dRestNegaSatSpread = 10.0;   // saturation for unequal ranges
  double m_dRestNegaSatMax = 50.0;      // cap of the saturation score
  double m_dRestNegaSatScale = 0.25;    // saturation per unit of score and correction level
  double m_dRestNegaSatLevelMax = 10.0; // correction level from which saturation grows no further

  // ---- CalcRestorationNegaBW: likewise ----

  double m_dRestNegaBWRatioMin = 1.3;
  double m_dRestNegaBWRangeDefault = 0.58;
  FilmTraits m_restNegaBWFilm = {.slope = {0.4, 0.4, 0.4}, .toe = 0.23}; // faded silver is softer
  PrintRule m_restNegaBWPrint = {.contrast = 1.1,
                                 .rangeNormal = 1.57,
                                 .rangeShare = 0.6,
                                 .white = 0.06,
                                 .whiteNormal = 2.1,
                                 .whitePull = 0.1,
                                 .meanShare = -0.04,
                                 .flare = 0.01};
  double m_dRestNegaBWPrintStep = -0.03;
  double m_dRestNegaBWWhiteStep = 0.01;
  double m_dRestNegaBWSatSpread = 80.0; // what stain remains grows with the inequality of the ranges
  double m_dRestNegaBWSatMax = 50.0;
  double m_dRestNegaBWSatScale = 0.25;
  double m_dRestNegaBWSatLevelMax = 10.0;

  // ---- CalcParamFBPhoto, second block: level interpolation and tone curve ----

  double m_dFBPhotoLevelRef = 4.0;      // reference level
  int32_t m_nFBPhotoAnlRangeLow = 200;  // sum: analysis range from which the highlight step reacts to the slope
  int32_t m_nFBPhotoAnlRangeHigh = 500; // sum: up to which, excluded
  double m_dFBPhotoColorRatioBase = 1.07;
  double m_dFBPhotoColorRatioStep = -0.01;
  double m_dFBPhotoHlGainBase = 1.03;
  double m_dFBPhotoHlGainStep = 0.015;
  double m_dFBPhotoRangeMinBase = 3.5;
  double m_dFBPhotoRangeMinStep = 0.75;
  double m_dFBPhotoHlRef = 245.0; // working: output at which the matched curve meets the measured highlight
  double m_dFBPhotoHlRefBase = 245.0;
  double m_dFBPhotoHlRefStep = -4.0;
  double m_dFBPhotoSdRef = 10.0; // working: output at which the matched curve meets the computed shadow
  double m_dFBPhotoSdRefBase = 10.0;
  double m_dFBPhotoSdRefStep = 2.5;
  double m_dFBPhotoMeanLow = 10.0;      // tone curve: lowest output level counted in the mean
  double m_dFBPhotoMeanHigh = 220.0;    // tone curve: highest output level counted
  double m_dFBPhotoMixMin = 64.0;       // tone curve: lower clamp of the mean
  double m_dFBPhotoMixMax = 192.0;      // tone curve: upper clamp of the mean
  double m_dFBPhotoDarkRef = 90.0;      // tone curve: mean below which the picture counts as dark and is lifted
  double m_dFBPhotoContrastStep = 0.07; // tone curve: contrast gain per level above the reference
  double m_dFBPhotoToneHl = 1.8;        // tone curve: the dark inner point's density, as a factor of the mean's
  double m_dFBPhotoToneSd = 2.5;        // tone curve: the light inner point's density, as a divisor; also caps contrast
  double m_dFBPhotoBrightMax = 0.06;    // tone curve: largest lift, in density

  // ---- CalcParamFBDoc and CalcGroundColorRemove, second block ----

  double m_dDocLevelRef = 7.0; // reference level
  double m_dDocColorRatioBase = 1.13;
  double m_dDocColorRatioStep = -0.01;
  double m_dDocHlLowBase = 275.0;
  double m_dDocHlLowStep = 25.0;
  double m_dDocHlHighBase = 475.0;
  double m_dDocHlHighStep = 25.0;
  double m_dDocGainHighBase = 0.94;
  double m_dDocGainHighStep = 0.01;
  double m_dDocGainLowBase = 0.85;
  double m_dDocGainLowStep = 0.02;
  double m_dDocCastFactorBase = 8.0;
  double m_dDocCastFactorStep = 1.0;
  double m_dDocRangeMinBase = 1.5;
  double m_dDocRangeMinStep = 0.25;
  double m_dDocGammaWeightBase = 0.775;
  double m_dDocGammaWeightStep = 0.025;

  // ---- CalcParamPosi, second block: as the like-named members of CalcParamFBPhoto ----

  int32_t m_nPosiAnlRangeLow = 120;  // sum
  int32_t m_nPosiAnlRangeHigh = 390; // sum, excluded
  double m_dPosiColorRatioBase = 1.095;
  double m_dPosiColorRatioStep = -0.01;
  double m_dPosiHlGainBase = 1.03;
  double m_dPosiHlGainStep = 0.03;
  double m_dPosiRangeMinBase = 3.5;
  double m_dPosiRangeMinStep = 0.5;
  double m_dPosiHlRefBase = 245.0;
  double m_dPosiSdRefBase = 10.0;
  double m_dPosiHlRefStep = -7.0;
  double m_dPosiSdRefStep = 3.0;
  double m_dPosiHlRef = 245.0;  // working
  double m_dPosiSdRef = 10.0;   // working
  double m_dPosiLevelRef = 4.0; // reference level
  double m_dPosiMeanLow = 10.0;
  double m_dPosiMeanHigh = 220.0;
  double m_dPosiMixMin = 64.0;
  double m_dPosiMixMax = 192.0;
  double m_dPosiDarkRef = 90.0;
  double m_dPosiContrastStep = 0.07;
  double m_dPosiToneHl = 1.8;
  double m_dPosiToneSd = 2.5;
  double m_dPosiBrightMax = 0.06;

  // ---- CalcRestorationFBP, second block ----

  double m_dRestFBPLevelRef = 4.0;  // reference level
  double m_dRestFBPSatScale = 0.25; // saturation per unit of score and correction level
  double m_dRestFBPHlRefBase = 255.0;
  double m_dRestFBPHlStep = -3.33; // of both highlight outputs
  double m_dRestFBPSdRefBase = 3.0;
  double m_dRestFBPSdStep = 5.0; // of both shadow outputs
  double m_dRestFBPHlTargetBase = 255.0;
  double m_dRestFBPSdTargetBase = 5.0;
  double m_dRestFBPMidCut = 0.3;       // fraction of the samples cut at each end for the mid-tone means
  double m_dRestFBPBalanceTol = 0.1;   // colour spreads of mid-tones and of all tones that agree to within this ...
  double m_dRestFBPBalanceGain = 2.0;  // ... widen the balance band by up to 1 + this: the cast is the film's
  double m_dRestFBPToneMeanLow = 10.0; // tone curve, as the like-named members of CalcParamFBPhoto
  double m_dRestFBPToneMeanHigh = 220.0;
  double m_dRestFBPToneMixMin = 64.0;
  double m_dRestFBPToneMixMax = 192.0;
  double m_dRestFBPToneDarkRef = 90.0;
  double m_dRestFBPToneContrastStep = 0.07;
  double m_dRestFBPToneHl = 1.8;
  double m_dRestFBPToneSd = 2.5;
  double m_dRestFBPToneBrightMax = 0.06;

  // ---- CalcParamNegaBW, second block ----

  double m_dNegaBWLevelRef = 2.0;  // reference level
  double m_dNegaBWRatioMax = 8.79; // working: largest ratio of the film's ends; smaller: dense highlights are cut
  double m_dNegaBWRatioMaxBase = 8.79;
  double m_dNegaBWRatioMaxStep = 4.13;
  double m_dNegaBWHlRef = 270.0; // working: output of the white end in the curve matching
  double m_dNegaBWHlRefBase = 270.0;
  double m_dNegaBWHlRefStep = -20.0;
  double m_dNegaBWSdRef = 8.0; // working: output of the black end
  double m_dNegaBWSdRefBase = 8.0;
  double m_dNegaBWSdRefStep = 4.0;
  double m_dNegaBWRatioShare = 0.25; // smallest share of the largest channel ratio that every channel keeps
  double m_dNegaBWMeanLow = 10.0;    // tone curve, as the like-named members of CalcParamFBPhoto
  double m_dNegaBWMeanHigh = 200.0;
  double m_dNegaBWMixMin = 64.0;
  double m_dNegaBWMixMax = 192.0;
  double m_dNegaBWDarkRef = 90.0;
  double m_dNegaBWContrastStep = 0.05;
  double m_dNegaBWToneHl = 1.8;
  double m_dNegaBWToneSd = 2.5;
  double m_dNegaBWBrightMax = 0.06;

  // ---- ExposureUnder, second block ----

  double m_dExpUnderCap = 1.3;   // cap of any weight, as a multiple of the largest
  double m_dExpUnderShare = 0.6; // how close a weight above that of the narrowest channel is brought to it

  // ---- RangeBalanceIntensity, second block ----

  double m_dBalanceWeightB = 0.4;  // what a channel's shares lose per unit of under-exposure
  double m_dBalanceWeightA = 0.33; // per unit of over-exposure

  // ---- CheckRangeNarrow: ranges in log10 of levels ----

  double m_dNarrowTarget = 0.475;  // mean range aimed at
  double m_dNarrowTargetA = 0.1;   // its reduction per unit of over-exposure
  double m_dNarrowTargetB = 0.2;   // its reduction per unit of under-exposure
  double m_dNarrowKnee = 0.1;      // width of the soft knee below the target
  double m_dNarrowOffset = 0.05;   // how much lower the target of a narrow range is
  double m_dNarrowCurve = 5.0;     // curvature of the knee: offset / knee^2 joins both ends
  double m_dNarrowBlendLow = 0.0;  // widening at which the ranges start to become equal
  double m_dNarrowBlendHigh = 0.2; // widening at which they are equal

  // ---- CheckRangeWide: ranges in log10 of levels ----

  double m_dWideKneeLow = 0.55;        // mean range below which nothing is compressed
  double m_dWideKneeHigh = 0.95;       // mean range above which the target is fixed
  double m_dWideTarget = 0.75;         // highest target
  double m_dWideCurve = 1.25;          // curvature of the knee: joins both ends
  double m_dWideSpreadLow = 0.05;      // channel spread at which equalising starts
  double m_dWideSpreadHigh = 0.3;      // channel spread at which its factor reaches 1
  double m_dWideRangeLow = 0.5;        // mean range at which equalising starts
  double m_dWideRangeHigh = 1.0;       // mean range at which its factor reaches 1
  double m_dWideFactorC = 0.5;         // how far even means weaken the strength
  double m_dWideStrengthOffset = 0.05; // strength below which nothing is equalised
  double m_dWideStrengthMax = 0.4;     // highest strength
  double m_dWideFactorF = 0.5;         // how far a dark scene weakens the strength
  double m_dWideLiftSpread = 0.12;     // spread of the lower points against the reference above which none is lifted
  double m_dWideLiftFactor = 0.06;     // lift per unit of darkness and of the mean range

  // ---- CalcAgainstLight: display levels. Six pairs weigh the evidence for a backlit picture ----

  double m_dAgainstLevelStep = 0.125;    // strength per backlight level; 1, at level 8, is full
  double m_dAgainstDarkShareLow = 0.10;  // share of the dark class at which the evidence begins
  double m_dAgainstDarkShareHigh = 0.30; // share from which it is complete; larger: small subjects are left alone
  double m_dAgainstDarkOnlyLow = 0.85;   // share above which a picture begins to count as dark all over
  double m_dAgainstDarkOnlyHigh = 0.95;  // share from which it does: night, no backlight
  double m_dAgainstGapLow = 60.0;        // distance of the classes' means at which the evidence begins
  double m_dAgainstGapHigh = 95.0;       // distance from which it is complete
  double m_dAgainstDarkLow = 110.0;      // mean of the dark class up to which the evidence is complete
  double m_dAgainstDarkHigh = 150.0;     // mean from which there is none
  double m_dAgainstBrightLow = 140.0;    // mean of the bright class at which the evidence begins
  double m_dAgainstBrightHigh = 180.0;   // mean from which it is complete
  double m_dAgainstSplitLow = 0.60;      // share of the variance between the classes at which the evidence begins
  double m_dAgainstSplitHigh = 0.78;     // share from which it is complete; a normal heap of tones has 0.64
  double m_dAgainstTarget = 150.0;   // mean of the dark class that needs no lift; up to about 90 it takes the largest
  double m_dAgainstAmountMin = 0.01; // lift below which nothing is done; lifts are fractions of 255 at level 64
  double m_dAgainstAmountMax = 0.28; // largest lift; above 0.295 the slope at level 128 is below 0.3: a gray veil
  double m_dAgainstSatScale = 0.5;   // saturation per percent of chroma lost and share of the dark class
  double m_dAgainstSatMax = 50.0;    // cap of the saturation; one above it is kept
  // Inputs of the curve's inner points, through which its spline stays within 1.3 levels of the formula.
  int32_t m_nAgainstX[4] = {16, 48, 104, 176};

  // ---- CalcBackgroundRemove: as the like-named members of CalcParamFBDoc ----

  double m_dBgLevelRef = 7.0;   // reference level
  double m_dBgColorRatio = 0.0; // working
  double m_dBgColorRatioBase = 1.13;
  double m_dBgColorRatioStep = -0.01;
  double m_dBgHlLow = 0.0; // working: sum
  double m_dBgHlLowBase = 275.0;
  double m_dBgHlLowStep = 25.0;
  double m_dBgHlHigh = 0.0; // working: sum
  double m_dBgHlHighBase = 475.0;
  double m_dBgHlHighStep = 25.0;
  double m_dBgSpreadLow = 3.0; // colour spread limits of the highlight balance
  double m_dBgSpreadHigh = 10.0;
  double m_dBgCastSpreadLow = 3.0; // colour spread limits of the gain blend
  double m_dBgCastSpreadHigh = 10.0;
  double m_dBgGainHigh = 0.0; // working
  double m_dBgGainHighBase = 0.88;
  double m_dBgGainHighStep = 0.01;
  double m_dBgGainLow = 0.0; // working
  double m_dBgGainLowBase = 0.83;
  double m_dBgGainLowStep = 0.025;
  double m_dBgCastFactor = 0.0; // working: negative, so that a strong cast lowers the gain below m_dBgGainLow
  double m_dBgCastFactorBase = -5.0;
  double m_dBgCastFactorStep = -1.0;
  int32_t m_nBgHlMin = 150;   // lowest highlight input, 8-bit level
  double m_dBgRangeMin = 0.0; // working: lowest highlight to shadow ratio
  double m_dBgRangeMinBase = 1.5;
  double m_dBgRangeMinStep = 0.25;
  double m_dBgRangeMax = 10.0;   // highest ratio
  double m_dBgRangeScale = 0.85; // factor on the measured ratio
  double m_dBgRangeOffset = 0.0; // working: taken off a ratio between the two limits; larger: blacker text
  double m_dBgRangeOffsetBase = 0.9;
  double m_dBgRangeOffsetStep = -0.15;
  double m_dBgSdMax = 100.0;     // highest shadow input, 8-bit level
  double m_dBgGammaWeight = 0.0; // working: share of the slope's excess that enters the gamma
  double m_dBgGammaWeightBase = 0.775;
  double m_dBgGammaWeightStep = 0.025;

  // ---- the linked analysis ----

  ZEP3_PARA* m_pPara = nullptr; // the caller's record; results are written through it
  CHIST* m_pHist = nullptr;     // the histogram object of the same call

 private:
  // ---- steps of CalcAgainstLight ----

  struct Backlight {
    double amount = 0.0;    // of the lift, 0..m_dAgainstAmountMax
    double darkShare = 0.0; // of the samples in the dark class
    double darkLevel = 0.0; // its mean, as a fraction of 255
  };
  // What the record displays: samples by display level, weighted over the channels.
  void AgainstLightHistogram(double (&histogram)[256]) const;
  // How far the two classes of the histogram ask for a lift; an amount of 0: not at all.
  Backlight AgainstLightJudge(const double (&histogram)[256], int64_t level) const;
  // Writes curves, saturation and flag.
  void AgainstLightCurve(const Backlight& light);
};
