// Base, whites, votes on the slopes, monochrome film, the print, in this order; then points and evidence.
#include "engine/adaptive/negative/estimator.h"

#include <algorithm>
#include <cmath>

#include "engine/adaptive/confidence.h"
#include "engine/adaptive/negative/tuning.h"
#include "engine/adaptive/order_statistics.h"
#include "engine/common/scale.h"
#include "engine/film/exposure_curve.h"
#include "engine/roll/frame_on_roll.h"

using namespace negative;

NegativeEstimator::NegativeEstimator(const BlockGrid& grid, const Picture& picture, bool colour, bool faded)
    : m_grid(grid),
      m_colour(colour),
      m_faded(faded),
      m_tuning(TuningFor(colour, faded)),
      m_picture(picture),
      m_traits(m_tuning.film) {}

bool NegativeEstimator::Estimate(const double (&contrast)[3], double softer) {
  if (!Measure()) return false;
  const ExposureCurve exposure(m_traits.toe);
  m_exposure.resize(m_picture.blocks.size());
  if (m_colour) {
    JudgeColour(contrast, exposure);
  } else {
    JudgeMonochrome(exposure);
  }
  m_film.lost = m_lost;
  return JudgePrint(softer);
}

bool NegativeEstimator::Measure() {
  m_seen = {};
  if (m_picture.blocks.size() < kLeastBlocks) return false;
  MeasureLost();
  ReadLogLevels();
  return MeasureBase();
}

// No picture on film is as dense as a scanner's black. Where the darkest parts nearly reach it, in whatever channel,
// the black level has taken light off all of them, without which the densities near it are without bounds.
void NegativeEstimator::MeasureLost() {
  std::vector<double> darkest;
  darkest.reserve(m_picture.blocks.size());
  for (const size_t at : m_picture.blocks) {
    darkest.push_back(std::min({m_grid.level[0][at], m_grid.level[1][at], m_grid.level[2][at]}));
  }
  m_lost = AtLeast(0.0, kLeastFilmLight - Light(Percentile(darkest, kDarkestPercent)));
}

void NegativeEstimator::ReadLogLevels() {
  const Sampled<2048> logLevel(256.0, [this](double level) { return LogLevelWith(m_lost, level); });
  for (int c = 0; c < 3; c++) {
    m_log[c].resize(m_picture.blocks.size());
    for (size_t i = 0; i < m_log[c].size(); i++) m_log[c][i] = logLevel(m_grid.level[c][m_picture.blocks[i]]);
  }
}

// From the clear film beside the picture, else from the picture's blacks.
bool NegativeEstimator::MeasureBase() {
  double(&top)[3] = m_top;
  std::vector<double> samples;
  double(&base)[3] = m_seen.base;
  for (int c = 0; c < 3; c++) {
    samples = m_log[c];
    top[c] = Percentile(samples, kTopPercent);
    base[c] = LevelWithout(m_lost, top[c] + std::log10(m_tuning.baseExcess));
  }
  // What lies beside the picture is clear film where it is lighter than all of the picture, but not by so much that it
  // is open light. Of several such sides the middle one: light may fall off, or in.
  std::vector<const Strip*> clear;
  for (const Strip& strip : m_picture.window.strip) {
    if (!strip.seen) continue;
    double above[3];
    for (int c = 0; c < 3; c++) above[c] = 1.8 * (LogLevelWith(m_lost, strip.level[c]) - top[c]);
    if (Largest(strip.level) < kHolderLevel) m_seen.holder += 0.25;
    if (Smallest(above) > -kTopAbove && Largest(above) < m_tuning.baseRange) clear.push_back(&strip);
  }
  if (!clear.empty()) {
    const auto middle = clear.begin() + static_cast<std::ptrdiff_t>((clear.size() - 1) / 2);
    std::nth_element(clear.begin(), middle, clear.end(),
                     [](const Strip* p, const Strip* q) { return Mean(p->level) < Mean(q->level); });
    std::copy_n((*middle)->level, 3, base);
    m_seen.baseMeasured = 1.0;
    m_seen.border = 0.25 * static_cast<double>(clear.size());
  }
  for (int c = 0; c < 3; c++) {
    base[c] = Clamp(base[c], kBaseMin, kBaseMax);
    m_base[c] = LogLevelWith(m_lost, base[c]);
  }
  return Largest(top) >= std::log10(kLeastLight);
}

FilmSeen NegativeEstimator::SeenWith(const double (&white)[3]) const {
  FilmSeen seen;
  std::copy_n(m_base, 3, seen.base);
  std::copy_n(white, 3, seen.white);
  return seen;
}

void NegativeEstimator::JudgeColour(const double (&contrast)[3], const ExposureCurve& exposure) {
  for (int c = 0; c < 3; c++) m_traits.slope[c] *= contrast[c];
  double white[3];
  FindWhites(white);
  m_film = JudgeColourFilm(SeenWith(white), m_traits, m_tuning.trust);
  m_seen.neutral = m_film.belief;
  double first[3];
  for (int c = 0; c < 3; c++) first[c] = FilmExposure(white[c], m_traits.slope[c], m_traits.toe);
  m_seen.highlight[0] = first[0] - first[1];
  m_seen.highlight[1] = first[2] - first[1];
  const double(&daylight)[3] = m_tuning.trust.balance;
  m_seen.planck = TowardLamp(m_seen.highlight[0] - daylight[0], m_seen.highlight[1] - daylight[2]);
  RefineSlopes(white, exposure);
  ExposeColour({exposure, exposure, exposure});
}

void NegativeEstimator::ExposeColour(const ExposureCurve (&exposure)[3]) {
  std::fill(m_exposure.begin(), m_exposure.end(), -kBaseMax);
  for (int c = 0; c < 3; c++) {
    const double perSlope = 1.0 / m_film.slope[c];
    for (size_t i = 0; i < m_exposure.size(); i++) {
      const double x = exposure[c](1.8 * (m_base[c] - m_log[c][i]), perSlope) - m_film.balance[c];
      m_exposure[i] = std::max(m_exposure[i], x);
    }
  }
}

// Mean densities of the lightest parts of the scene, which are found jointly: the densest blocks of the film.
void NegativeEstimator::FindWhites(double (&white)[3]) const {
  const size_t size = m_log[0].size();
  std::vector<double> dense(size);
  for (size_t i = 0; i < size; i++) {
    dense[i] = -(m_log[0][i] / m_traits.slope[0] + m_log[1][i] / m_traits.slope[1] + m_log[2][i] / m_traits.slope[2]);
  }
  std::vector<double> order = dense;
  const double least =
      LargestFrom(order, std::max(size_t{1}, static_cast<size_t>(kWhiteShare * static_cast<double>(size))));
  size_t count = 0;
  double sum[3] = {};
  for (size_t i = 0; i < size; i++) {
    if (dense[i] < least) continue;
    count++;
    for (int c = 0; c < 3; c++) sum[c] += 1.8 * (m_base[c] - m_log[c][i]);
  }
  for (int c = 0; c < 3; c++) white[c] = AtLeast(kWhiteDensityMin, sum[c] / static_cast<double>(count));
}

// Near-neutral blocks vote on the slopes of red and blue relative to green, while the whites stay where they are. The
// vote's heavy tail keeps what is coloured out of it.
void NegativeEstimator::RefineSlopes(const double (&white)[3], const ExposureCurve& exposure) {
  std::vector<double> voter[3]; // densities, of green exposures
  const size_t step = 1 + m_log[0].size() / kVoters;
  const double green = 1.0 / m_film.slope[1];
  for (size_t i = 0; i < m_log[0].size(); i += step) {
    double density[3];
    double straight = 0.0;
    for (int c = 0; c < 3; c++) {
      density[c] = 1.8 * (m_base[c] - m_log[c][i]);
      straight += density[c] / m_film.slope[c];
    }
    if (straight <= 3.0 * kVoteExposure) continue;
    voter[0].push_back(density[0]);
    voter[1].push_back(exposure(density[1], green));
    voter[2].push_back(density[2]);
  }
  const size_t size = voter[1].size();
  if (size == 0) return;

  // Distance from gray, with the slope changed by a natural logarithm.
  const auto deviate = [&](int c, double change, std::vector<double>& deviation) {
    const double perSlope = std::exp(-change) / m_film.slope[c];
    const double atWhite = exposure(white[c], perSlope) - exposure(white[1], green);
    for (size_t i = 0; i < size; i++) {
      deviation[i] = (exposure(voter[c][i], perSlope) - voter[1][i] - atWhite) / kVoteWidth;
    }
  };
  std::vector<double> deviation[2];
  for (std::vector<double>& d : deviation) d.resize(size);
  std::vector<double> tried(size);
  deviate(0, 0.0, deviation[0]);
  deviate(2, 0.0, deviation[1]);
  double found[2] = {};
  for (int round = 0; round < 2 * kVoteRounds; round++) {
    const int turn = round % 2;
    double best = -kBaseMax;
    for (int i = -kVoteSteps; i <= kVoteSteps; i++) {
      const double change = m_tuning.voteReach * i / kVoteSteps;
      deviate(2 * turn, change, tried);
      double sum = 0.0;
      for (size_t k = 0; k < size; k++) {
        sum += 1.0 / (1.0 + (tried[k] * tried[k] + deviation[1 - turn][k] * deviation[1 - turn][k]));
      }
      const double agree = sum / static_cast<double>(size);
      const double unusual = change / m_tuning.voteUsual;
      const double value = std::log(agree) - 0.5 * unusual * unusual;
      if (value <= best) continue;
      best = value;
      found[turn] = change;
      m_seen.votes = agree;
    }
    deviate(2 * turn, found[turn], deviation[turn]);
  }
  m_film.slope[0] *= std::exp(found[0] * m_film.belief);
  m_film.slope[2] *= std::exp(found[1] * m_film.belief);
  BalanceWhites(m_film, white, m_tuning.trust);
}

// All channels show one picture, each with its own share of the contrast: what a stain or a lamp adds to it.
void NegativeEstimator::JudgeMonochrome(const ExposureCurve& exposure) {
  MonochromeRegression regression(m_base, kLeastSquares);
  for (size_t i = 0; i < m_exposure.size(); i++) {
    double density[3];
    for (int c = 0; c < 3; c++) density[c] = 1.8 * (m_base[c] - m_log[c][i]);
    regression.Add(density);
  }
  double(&products)[3] = regression.products;
  const double squares = regression.squares;
  for (int c = 0; c < 3; c++) {
    products[c] = Clamp(products[c], squares / kContrastRatioMax, squares * kContrastRatioMax);
    m_seen.stain[c] = products[c] / squares;
  }
  m_seen.neutral = 1.0;
  m_film = JudgeMonochromeFilm(SeenWith(products), m_traits);
  ExposeMonochrome(exposure, m_traits.slope[0]);
}

// On the common density of the channels, of which the stain has the shares.
void NegativeEstimator::ExposeMonochrome(const ExposureCurve& exposure, double slope) {
  double weight[3];
  MonochromeWeights(m_base, weight);
  const double sum = weight[0] + weight[1] + weight[2];
  const double perSlope = 1.0 / slope;
  double share[3];
  for (int c = 0; c < 3; c++) share[c] = 1.8 * weight[c] / sum / m_seen.stain[c];
  for (size_t i = 0; i < m_exposure.size(); i++) {
    double density = 0.0;
    for (int c = 0; c < 3; c++) density += share[c] * (m_base[c] - m_log[c][i]);
    m_exposure[i] = exposure(density, perSlope);
  }
}

bool NegativeEstimator::JudgePrint(double softer) {
  std::vector<double> samples = m_exposure;
  const double black = Percentile(samples, kBlackPercent);
  const double white = Percentile(samples, m_tuning.whitePercent);
  m_seen.range = white - black;
  if (m_seen.range < kLeastRange) return false;
  m_seen.power = (1.0 - softer) * Clamp(std::pow(m_tuning.rangeUsual / m_seen.range, m_tuning.rangeShare), kContrastMin,
                                        m_tuning.contrastMax);
  MeasureMean(white, black);
  m_seen.lift = Clamp(kMeanShare * (Clamp(m_seen.mean, kMeanDark, kMeanLight) - m_seen.mean), -kLiftMax, kLiftMax);

  const double thin = Clamp(white - m_tuning.whiteUsual, -kWhiteReach, kWhiteReach);
  LayPaper(white, m_tuning.white + m_seen.lift + m_tuning.whitePull * thin);
  return true;
}

void NegativeEstimator::PrintOnRoll(const FrameOnRoll& frame, double softer) {
  for (int c = 0; c < 3; c++) {
    m_base[c] = frame.film.base[c];
    m_seen.base[c] = LevelWithout(m_lost, m_base[c]);
  }
  m_film = frame.film;
  m_film.lost = m_lost;
  m_exposure.resize(m_picture.blocks.size());
  if (m_colour) {
    const double(&toe)[3] = m_film.toe;
    ExposeColour({ExposureCurve(toe[0]), ExposureCurve(toe[1]), ExposureCurve(toe[2])});
    std::copy_n(frame.light, 2, m_seen.highlight);
    m_seen.planck = TowardLamp(frame.light[0], frame.light[1]);
  } else {
    for (int c = 0; c < 3; c++) m_seen.stain[c] = m_film.slope[c] / frame.slope;
    ExposeMonochrome(ExposureCurve(m_film.toe[1]), frame.slope);
  }
  m_seen.neutral = m_film.belief;

  std::vector<double> samples = m_exposure;
  const double black = Percentile(samples, kBlackPercent);
  double white = Percentile(samples, frame.whitePercent);
  m_seen.range = white - black;
  if (frame.blank || m_seen.range < kLeastRange) white = frame.usualWhite;
  m_seen.power = (1.0 - softer) * frame.ContrastFor(m_seen.range);
  MeasureMean(white, black);
  LayPaper(white, frame.white);
}

// Of the print, less that of its whites.
void NegativeEstimator::MeasureMean(double white, double black) {
  double sum = 0.0;
  for (const double x : m_exposure) sum += AtLeast(black, x);
  m_seen.mean = m_seen.power * (sum / static_cast<double>(m_exposure.size()) - white);
}

void NegativeEstimator::LayPaper(double white, double whitePrint) {
  m_paper.white = white - whitePrint / m_seen.power;
  m_paper.contrast = m_seen.power;
  m_paper.flare = AtMost(kFlareMax, kFlareShare * std::pow(10.0, whitePrint - m_seen.power * m_seen.range));
}

void NegativeEstimator::FitPoints(ZEP3_IC& ic) const {
  const double even = kEven * static_cast<double>(m_picture.blocks.size());
  for (int c = 0; c < 3; c++) {
    uint32_t histogram[256] = {};
    for (const size_t at : m_picture.blocks) histogram[static_cast<int>(m_grid.level[c][at] + 0.5)]++;
    double exposure[256];
    for (int i = 0; i < 256; i++) {
      if (histogram[i] != 0) exposure[i] = m_film.ExposureAt(c, LogLevelWith(m_lost, i));
    }
    FitPrint(m_film, m_paper, c, histogram, exposure, even, ic.ch[c]);
  }
}

double NegativeEstimator::OwnShare() const {
  if (!m_colour) return 1.0;
  const double belief = m_seen.neutral * m_seen.neutral;
  if (m_picture.trimmed == 0.0) return 1.0 - kStandardShare * (1.0 - belief);
  // What is no clear film the standard analysis takes for picture.
  const bool clear = m_seen.border == 1.0 && m_picture.trimmed < kTrimmedMost;
  return clear ? kOwnShare * belief : 1.0;
}

void NegativeEstimator::Report(ZEP3_EVIDENCE& evidence, Measured& measured) const {
  NegativeEvidence& seen = measured.negative;
  seen = m_seen;
  std::copy_n(m_film.slope, 3, seen.slope);
  evidence.dConfidence = NegativeConfidence(seen, m_colour, m_faded);

  const auto because = [&](bool so, int64_t reason) {
    if (so) evidence.lReasons |= reason;
  };
  because(seen.baseMeasured > 0.0, ZEP3_REASON_MEASURED_BASE);
  because(seen.neutral < kBelieved, ZEP3_REASON_ONE_COLOUR);
  // Of faded film the same is lost dye.
  because(!m_faded && seen.planck > kIncandescent && seen.neutral >= kBelieved, ZEP3_REASON_INCANDESCENT);
  because(seen.range < kFlatRange, ZEP3_REASON_FLAT);
  because(std::fabs(seen.lift) > kLifted, ZEP3_REASON_BRIGHTNESS);
  const double uneven = std::max(LogRatio(0), LogRatio(2));
  because(m_faded && uneven > std::log(kUnevenSlope), ZEP3_REASON_UNEVEN_FADING);
}

double NegativeEstimator::LogRatio(int c) const {
  return std::fabs(std::log(m_film.slope[c] / m_traits.slope[c] * m_traits.slope[1] / m_film.slope[1]));
}
