#include "engine/roll/roll.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>

#include "engine/adaptive/negative/tuning.h"
#include "engine/adaptive/order_statistics.h"
#include "engine/common/scale.h"
#include "engine/roll/film_fit.h"

using namespace roll;

namespace {

bool IsColour(int64_t docType) { return docType == ZEP3_DOC_NEGATIVE; }
bool IsFaded(int64_t subMode) { return subMode == ZEP3_SUB_RESTORATION; }

// The value at a share of the sorted samples, interpolated; held within them.
double At(std::vector<double> samples, double share) {
  const double count = static_cast<double>(samples.size());
  const double place = Clamp(share * (count + 1.0) - 1.0, 0.0, count - 1.0);
  return Percentile(samples, count > 1.0 ? 100.0 * place / (count - 1.0) : 0.0);
}

// The lightest of a channel that others support: a lone lighter one is open light's, or another film's.
double SupportedTop(std::vector<double> tops) {
  std::sort(tops.begin(), tops.end(), std::greater<>());
  const auto count = static_cast<double>(tops.size());
  const size_t need = tops.size() > 1 ? static_cast<size_t>(std::max(1.0, std::ceil(kBaseShare * count) - 1.0)) : 0;
  for (size_t i = 0; i + need < tops.size(); i++) {
    if (DensityBetween(tops[i], tops[i + need]) <= kBaseSupport) return tops[i];
  }
  return tops.front();
}

// Measured bases, where they agree, else the lightest of the pictures.
void FindBase(const std::vector<const FrameLevels*>& frames, double excess, double (&base)[3]) {
  std::vector<double> clear[3];
  for (const FrameLevels* frame : frames) {
    if (!frame->measured) continue;
    for (int c = 0; c < 3; c++) clear[c].push_back(frame->clear[c]);
  }
  double middle[3];
  bool agree = clear[0].size() >= 2;
  for (int c = 0; c < 3 && agree; c++) {
    middle[c] = Median(clear[c]);
    const auto near = std::count_if(clear[c].begin(), clear[c].end(), [&](double level) {
      return std::fabs(DensityBetween(level, middle[c])) <= kClearAgree;
    });
    agree = 2 * static_cast<size_t>(near) > clear[c].size();
  }
  for (int c = 0; c < 3; c++) {
    if (agree) {
      base[c] = middle[c];
      continue;
    }
    std::vector<double> tops;
    for (const FrameLevels* frame : frames) tops.push_back(frame->lightest[c]);
    base[c] = SupportedTop(tops) * std::pow(excess, 1.0 / std::sqrt(static_cast<double>(frames.size())));
  }
  for (double& level : base) level = Clamp(level, negative::kBaseMin, negative::kBaseMax);
}

bool IsLighter(const FrameLevels& frame, const double (&base)[3]) {
  for (int c = 0; c < 3; c++) {
    if (DensityBetween(frame.measured ? frame.clear[c] : frame.lightest[c], base[c]) > kLighter) return true;
  }
  return false;
}

// Slopes of the channels from what the bands of all frames have in common.
void FitMonochrome(const std::vector<FrameDensities>& frames, const double (&base)[3], double usual,
                   double (&slope)[3]) {
  double logBase[3];
  for (int c = 0; c < 3; c++) logBase[c] = std::log10(base[c]);
  MonochromeRegression regression(logBase, negative::kLeastSquares);
  for (const FrameDensities& frame : frames) {
    for (const auto& band : frame.at) regression.Add(band);
  }
  double(&products)[3] = regression.products;
  for (double& product : products) {
    product = Clamp(product / regression.squares, 1.0 / negative::kContrastRatioMax, negative::kContrastRatioMax);
  }
  const double common = regression.Common(products);
  for (int c = 0; c < 3; c++) slope[c] = usual * products[c] / common;
}

ColourAxis AxisOf(const ZEP3_SHARED& shared) {
  ColourAxis axis;
  std::copy_n(shared.dSlope, 3, axis.slope);
  std::copy_n(shared.dBalance, 3, axis.balance);
  return axis;
}

// Whether a frame is much better explained by a film of its own, with the base of its own lightest parts.
bool HasOwnFilm(const ColourFit& fit, bool faded, const FrameLevels& frame, double cost, double usualCost) {
  if (cost <= usualCost + kDearer) return false;
  double base[3];
  for (int c = 0; c < 3; c++) {
    base[c] = frame.measured ? frame.clear[c] : frame.lightest[c] * negative::TuningFor(true, faded).baseExcess;
  }
  const std::vector<FrameDensities> alone = {FrameDensities(frame, base)};
  const ColourAxis own = fit.Fit(alone);
  return cost - fit.Cost(alone[0], own) - fit.Unusual(own) > kOddGain;
}

bool IsOdd(const ColourFit* fit, const FrameLevels& frame, const ZEP3_SHARED& shared) {
  if (shared.lFrames < kFewestJudged) return false;
  if (IsLighter(frame, shared.dBase)) return true;
  if (fit == nullptr || frame.blank) return false;
  const double cost = fit->Cost(FrameDensities(frame, shared.dBase), AxisOf(shared));
  return HasOwnFilm(*fit, IsFaded(shared.lSubMode), frame, cost, shared.dCost);
}

int64_t MemberOf(const ColourFit* fit, const FrameLevels& frame, const ZEP3_SHARED& shared) {
  if (IsOdd(fit, frame, shared)) return ZEP3_MEMBER_ODD;
  return frame.blank ? ZEP3_MEMBER_BLANK : ZEP3_MEMBER;
}

std::unique_ptr<ColourFit> FitFor(const ZEP3_SHARED& shared, const ZEP3_OBSERVATION& seen) {
  if (!IsColour(shared.lDocType)) return nullptr;
  return std::make_unique<ColourFit>(IsFaded(shared.lSubMode), seen.dMatrix);
}

// Exposures that end a frame's picture on the roll's film.
struct Ends {
  double black;
  double white;
};

Ends EndsOf(const FrameLevels& frame, const FrameOnRoll& place, bool colour) {
  double end[2];
  double weight[3];
  MonochromeWeights(place.film.base, weight);
  for (int i = 0; i < 2; i++) {
    double x[3];
    double density = 0.0;
    for (int c = 0; c < 3; c++) {
      x[c] = place.film.ExposureAt(c, frame.end[i][c]);
      density += 1.8 * (place.film.base[c] - frame.end[i][c]) * weight[c] * place.slope / place.film.slope[c];
    }
    const double sum = weight[0] + weight[1] + weight[2];
    end[i] = colour ? Largest(x) : FilmExposure(density / sum, place.slope, place.film.toe[1]);
  }
  return {end[0], end[1]};
}

// 0..1, from what the frames leave unexplained.
double DoubtAbout(const ZEP3_SHARED& shared, const RollTuning& tuning) {
  const double scatter = shared.dSpread * std::sqrt(static_cast<double>(shared.lMembers));
  const double doubt = (shared.dCost - tuning.costUsual) / kDoubtCost + (scatter - kScatterUsual) / kDoubtScatter;
  return Clamp(doubt, 0.0, 1.0);
}

FrameOnRoll Place(const FrameLevels& frame, const ColourFit* fit, const ZEP3_SHARED& shared) {
  const bool faded = IsFaded(shared.lSubMode);
  const RollTuning& tuning = TuningFor(fit != nullptr, faded);
  FrameOnRoll place = {};
  Film& film = place.film;
  for (int c = 0; c < 3; c++) {
    film.base[c] = LogLevelWith(frame.lost, shared.dBase[c]);
    film.slope[c] = shared.dSlope[c];
    film.toe[c] = shared.dToe[c];
    film.balance[c] = shared.dBalance[c];
  }
  film.belief = 1.0;
  film.lost = frame.lost;
  if (fit != nullptr) {
    fit->Light(FrameDensities(frame, shared.dBase), AxisOf(shared), place.light, film.belief);
    film.belief = std::max(film.belief, 1.0 - shared.dSpread / kUnsure);
    film.balance[0] += place.light[0];
    film.balance[2] += place.light[1];
  }
  place.slope = negative::TuningFor(fit != nullptr, faded).film.slope[1];
  place.contrast = shared.dContrast;
  place.range = shared.dRange;
  place.ownShare = tuning.ownShare;
  place.whitePercent = tuning.whitePercent;
  place.white = tuning.white;
  const double doubt = fit != nullptr ? DoubtAbout(shared, tuning) : 0.0;
  place.aloneShare = tuning.aloneShare + doubt * (1.0 - tuning.aloneShare);
  place.usualWhite = shared.dWhite;
  place.blank = frame.blank;
  return place;
}

// The film of the frames that belong, their contrast and usual whites.
void FitFilm(const std::vector<const FrameLevels*>& frames, const ColourFit* fit, ZEP3_SHARED& shared) {
  const bool faded = IsFaded(shared.lSubMode);
  const NegativeTuning& single = negative::TuningFor(fit != nullptr, faded);
  const RollTuning& tuning = TuningFor(fit != nullptr, faded);
  FindBase(frames, single.baseExcess, shared.dBase);
  std::vector<FrameDensities> densities;
  for (const FrameLevels* frame : frames) densities.emplace_back(*frame, shared.dBase);
  std::copy_n(tuning.toe, 3, shared.dToe);
  if (fit == nullptr) {
    FitMonochrome(densities, shared.dBase, single.film.slope[0], shared.dSlope);
  } else {
    const ColourAxis axis = fit->Fit(densities);
    std::copy_n(axis.slope, 3, shared.dSlope);
    std::copy_n(axis.balance, 3, shared.dBalance);
    std::vector<double> costs;
    std::vector<double> across;
    for (const FrameDensities& frame : densities) {
      costs.push_back(fit->Cost(frame, axis));
      across.push_back(std::fabs(fit->Across(frame, axis)));
    }
    shared.dCost = Median(costs);
    // 1.48 times the median of distances is the standard deviation of a normal scatter.
    shared.dSpread = 1.48 * Median(across) / std::sqrt(static_cast<double>(frames.size()));
  }

  // Full scenes have one range on a film, flat and foggy ones less: not the mean tells the contrast.
  std::vector<double> ranges;
  std::vector<double> whites;
  for (const FrameLevels* frame : frames) {
    const Ends ends = EndsOf(*frame, Place(*frame, fit, shared), fit != nullptr);
    ranges.push_back(std::log(AtLeast(kRangeLeast, ends.white - ends.black)));
    whites.push_back(ends.white);
  }
  const double count = static_cast<double>(frames.size());
  shared.dRange = At(ranges, kUpperShare);
  shared.dWhite = Median(whites);
  const double films = tuning.contrastSd * tuning.contrastSd;
  const double sure = films / (films + kRangeSd * kRangeSd / count);
  const double contrast = std::exp(-sure * (shared.dRange - tuning.rangeUsual) + (1.0 - sure) * tuning.contrastPrior);
  shared.dContrast = Clamp(contrast, kContrastMin, kContrastMax);
}

} // namespace

bool SolveRoll(const ZEP3_OBSERVATION* seen, const std::vector<size_t>& order, ZEP3_SHARED& shared, int64_t* member) {
  const int fewest = IsColour(shared.lDocType) ? kFewestColour : kFewestOthers;
  std::vector<FrameLevels> frames;
  for (const size_t i : order) frames.emplace_back(seen[i]);
  const std::unique_ptr<ColourFit> fit = FitFor(shared, seen[order[0]]);
  std::vector<bool> out(frames.size(), false);
  for (int round = 0; round < kRounds; round++) {
    std::vector<const FrameLevels*> members;
    for (size_t i = 0; i < frames.size(); i++) {
      if (!out[i] && !frames[i].blank) members.push_back(&frames[i]);
    }
    if (static_cast<int>(members.size()) < fewest) return false;
    FitFilm(members, fit.get(), shared);
    std::vector<bool> odd(frames.size());
    for (size_t i = 0; i < frames.size(); i++) odd[i] = IsOdd(fit.get(), frames[i], shared);
    if (odd == out) break;
    out = odd;
  }
  for (size_t i = 0; i < frames.size(); i++) member[order[i]] = MemberOf(fit.get(), frames[i], shared);
  shared.lMembers = std::count(member, member + shared.lFrames, int64_t{ZEP3_MEMBER});
  return shared.lMembers >= fewest;
}

int64_t PlaceOnRoll(const ZEP3_OBSERVATION& seen, const ZEP3_SHARED& shared, FrameOnRoll& place) {
  const std::unique_ptr<ColourFit> fit = FitFor(shared, seen);
  const FrameLevels frame(seen);
  place = Place(frame, fit.get(), shared);
  return MemberOf(fit.get(), frame, shared);
}
