// Negative film: from the levels of a scan to the exposures of the film.
//
// A layer answers to log10 exposure x with the density n = slope * toe * ln(1 + exp(x / toe)) above its base: a
// straight line with a soft toe. x = 0 is where the straight line, drawn on, meets the base. The shoulder is left out:
// normal use stays below it. The density between two levels is 1.8 times the difference of their log10, as a level is
// light to the power 1 / 1.8.
#pragma once

// One 8-bit step at the base; what lies closer to it is the scanner's noise.
inline constexpr double kLeastDensity = 0.01;

// Levels below it are the scanner's noise.
inline constexpr double kLeastLevel = 0.3;

// log10 of the level that shows so much more light (1 at level 255), and the way back.
double LogLevelWith(double light, double level);
double LevelWithout(double light, double logLevel);

// What is known of the film before the picture is seen.
struct FilmTraits {
  double slope[3]; // density per unit of log10 exposure, at least 0.01
  double toe;      // width in log10 exposure, above 0
};

// The film of one frame.
struct Film {
  double base[3]; // log10 of levels
  double slope[3];
  double toe[3];
  double balance[3]; // exposure of a neutral, relative to green
  double belief;     // 0..1: how far the whites were taken for white; monochrome: 1
  double lost = 0.0; // light that the scanner's black level took off every channel; the base has it

  // Exposure of a level, with the lost light, as a neutral would need it in green, and the scan's level of an exposure.
  double ExposureAt(int c, double logLevel) const;
  double LevelAt(int c, double exposure) const;
};

// Exposure of a density above the base.
double FilmExposure(double density, double slope, double toe);

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

// Direction, in exposures of red and blue relative to green, in which incandescent light moves a neutral: black bodies
// of 3200 K against 5500 K at 640, 545 and 450 nm, over their length.
inline constexpr double kLampLine[2] = {0.22 / 0.380, -0.31 / 0.380};

// How far whites that deviate from a neutral by these exposures, relative to green, lie toward incandescent light.
double TowardLamp(double red, double blue);

// How far such whites are believed, 0..1. A deviation along the line of incandescent light is free from open shade to a
// household lamp.
double WhiteBelief(double red, double blue, const WhiteTrust& trust);

// What a scan shows of a film.
struct FilmSeen {
  double base[3];  // log10 of levels
  double white[3]; // density of the scene's lightest parts above the base, above 0
};

Film JudgeColourFilm(const FilmSeen& seen, const FilmTraits& traits, const WhiteTrust& trust);
// Gives a film whose slopes have changed the balance that makes the whites, as far as they are believed, neutral.
void BalanceWhites(Film& film, const double (&white)[3], const WhiteTrust& trust);

// The weights of the channels in a monochrome picture, in any unit; a channel with little light weighs little.
void MonochromeWeights(const double (&base)[3], double (&weight)[3]);

// Regression of the channels' densities above the base on the common one, through the base.
struct MonochromeRegression {
  // `leastSquares`: where there is hardly a picture.
  MonochromeRegression(const double (&base)[3], double leastSquares) : squares(leastSquares) {
    MonochromeWeights(base, weight);
    const double sum = weight[0] + weight[1] + weight[2];
    for (double& w : weight) w /= sum;
  }
  double Common(const double (&density)[3]) const {
    double common = 0.0;
    for (int c = 0; c < 3; c++) common += weight[c] * density[c];
    return common;
  }
  void Add(const double (&density)[3]) {
    const double common = Common(density);
    squares += common * common;
    for (int c = 0; c < 3; c++) products[c] += density[c] * common;
  }

  double weight[3]; // of the channels in the common density; their sum is 1
  double squares;
  double products[3] = {}; // over the squares: a channel's density for that of the common one
};

// All channels show one picture: whatever colour there is, is stain or the lamp's. The whites may stand for any density
// of the same picture in each channel, above 0.
Film JudgeMonochromeFilm(const FilmSeen& seen, const FilmTraits& traits);
