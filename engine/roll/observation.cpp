#include "engine/roll/observation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <numeric>
#include <span>

#include "engine/adaptive/negative/tuning.h"
#include "engine/adaptive/order_statistics.h"
#include "engine/common/record.h"
#include "engine/roll/tuning.h"

namespace {

constexpr double kEndPercents[2] = {99.5, 0.1}; // of the levels

// ---- bounds of what a scan can have ----

constexpr double kLevelLeast = 0.1;
constexpr double kLevelMost = 300.0;
constexpr double kDensityMost = 10.0;
constexpr double kCostMost = 1e6;

bool Within(std::span<const double> values, double least, double most) {
  return std::all_of(values.begin(), values.end(), [=](double v) { return least <= v && v <= most; });
}
bool Within(double value, double least, double most) { return least <= value && value <= most; }

bool IsSharedKind(int64_t docType, int64_t subMode) {
  if (subMode == ZEP3_SUB_PHOTO) return IsFilm(docType);
  return subMode == ZEP3_SUB_RESTORATION && ZEP3_DOC_NEGATIVE <= docType && docType <= ZEP3_DOC_NEGATIVE_BW;
}

} // namespace

bool IsFilm(int64_t docType) { return docType == ZEP3_DOC_NEGATIVE || docType == ZEP3_DOC_NEGATIVE_BW; }

bool SharedKind(const ZEP3_PARA& para, int64_t& docType, int64_t& subMode) {
  const bool faded = para.wSubMode == ZEP3_SUB_RESTORATION;
  if (!IsPicture(para) || IsPlain(para) || !(faded || IsNegative(para))) return false;
  docType = DocType(para);
  subMode = faded ? ZEP3_SUB_RESTORATION : ZEP3_SUB_PHOTO; // films know no other
  return true;
}

bool IsOfKind(const ZEP3_PARA& para, const ZEP3_SHARED& shared) {
  int64_t docType;
  int64_t subMode;
  return SharedKind(para, docType, subMode) && docType == shared.lDocType && subMode == shared.lSubMode;
}

void ObserveFilm(const NegativeEstimator& estimator, const BlockGrid& grid, const std::vector<size_t>& picture,
                 bool colour, bool faded, const double (&contrast)[3], ZEP3_OBSERVATION& seen) {
  const std::vector<double>(&log)[3] = estimator.LogLevels();
  const FilmTraits& film = negative::TuningFor(colour, faded).film;
  const size_t size = picture.size();
  seen.lState = 1;
  std::copy_n(contrast, 3, seen.dMatrix);
  seen.dLost = estimator.Lost();

  // Clear first; blocks of equal density by their place, so that the bands do not hang on the way of sorting.
  std::vector<double> density(size);
  for (size_t i = 0; i < size; i++) {
    double sum = 0.0;
    for (int c = 0; c < 3; c++) sum += log[c][i] / film.slope[c];
    density[i] = -sum;
  }
  std::vector<uint32_t> order(size);
  std::iota(order.begin(), order.end(), 0U);
  const auto clearer = [&](uint32_t a, uint32_t b) {
    return density[a] < density[b] || (density[a] == density[b] && a < b);
  };
  std::vector<double> work;
  size_t from = 0;
  for (int band = 0; band < roll::kBands; band++) {
    const auto end = static_cast<size_t>(roll::kBandEnd[band] * static_cast<double>(size) + 0.5);
    const size_t to = std::min(size, std::max(from + 1, end));
    const auto at = [&](size_t place) { return order.begin() + static_cast<std::ptrdiff_t>(place); };
    if (to < size) std::nth_element(at(from), at(to), order.end(), clearer);
    for (int c = 0; c < 3; c++) {
      work.clear();
      for (size_t i = from; i < to; i++) work.push_back(grid.level[c][picture[order[i]]]);
      seen.dBand[band][c] = AtLeast(kLeastLevel, Median(work));
    }
    from = to;
  }
  for (int c = 0; c < 3; c++) {
    seen.dTop[c] = AtLeast(kLeastLevel, LevelWithout(seen.dLost, estimator.Top()[c]));
    if (estimator.Seen().baseMeasured > 0.0) seen.dClear[c] = estimator.Seen().base[c];
    work.clear();
    for (const size_t at : picture) work.push_back(grid.level[c][at]);
    for (int i = 0; i < 2; i++) seen.dEnd[i][c] = AtLeast(kLeastLevel, Percentile(work, kEndPercents[i]));
  }
}

void ObserveOriginal(const PositiveEstimate& estimate, ZEP3_OBSERVATION& seen) {
  seen.lState = 1;
  for (int c = 0; c < 3; c++) {
    seen.dLightest[c] = estimate.anchors.lightest[c];
    seen.dDarkest[c] = estimate.anchors.darkest[c];
    seen.dWhite[c] = estimate.anchors.white[c];
    seen.dBlack[c] = estimate.anchors.black[c];
    seen.dOffset[c] = estimate.found.offset[c];
    seen.dDye[c] = estimate.found.Dye(c);
  }
  seen.dPile = estimate.anchors.pile;
  seen.dGain = estimate.gain;
  seen.dCost = estimate.whiteCost + estimate.blackCost + estimate.historyCost;
}

bool IsPlausible(const ZEP3_OBSERVATION& seen) {
  if (seen.lState != 1 || !IsSharedKind(seen.lDocType, seen.lSubMode)) return false;
  if (IsFilm(seen.lDocType)) {
    const auto isLevels = [](const double(&levels)[3]) { return Within(levels, kLevelLeast, kLevelMost); };
    const bool clear = Within(seen.dClear, kLevelLeast, kLevelMost) || Within(seen.dClear, 0.0, 0.0);
    return clear && Within(seen.dMatrix, 0.1, 10.0) && Within(seen.dLost, 0.0, 1.0) && isLevels(seen.dTop) &&
           std::all_of(std::begin(seen.dBand), std::end(seen.dBand), isLevels) && isLevels(seen.dEnd[0]) &&
           isLevels(seen.dEnd[1]);
  }
  for (const auto* densities : {&seen.dLightest, &seen.dDarkest, &seen.dWhite, &seen.dBlack, &seen.dOffset}) {
    if (!Within(*densities, -kDensityMost, kDensityMost)) return false;
  }
  return Within(seen.dPile, 0.0, 1.0) && Within(seen.dDye, 1e-3, 1e3) && Within(seen.dGain, -kCostMost, kCostMost) &&
         Within(seen.dCost, -kCostMost, kCostMost);
}

bool IsPlausible(const ZEP3_SHARED& shared) {
  if (!IsSharedKind(shared.lDocType, shared.lSubMode) || shared.lFrames < 1 || shared.lMembers < 1) return false;
  if (IsFilm(shared.lDocType)) {
    return Within(shared.dBase, 1.0, kLevelMost) && Within(shared.dSlope, 0.01, 10.0) &&
           Within(shared.dToe, 0.02, 2.0) && Within(shared.dBalance, -kDensityMost, kDensityMost) &&
           Within(shared.dContrast, 0.1, 10.0) && Within(shared.dRange, -10.0, 10.0) &&
           Within(shared.dWhite, -100.0, 100.0) && Within(shared.dCost, -kCostMost, kCostMost) &&
           Within(shared.dSpread, 0.0, 100.0);
  }
  // Below scatter 1 the usual history would come to count negatively, and the search for the likeliest has no end.
  return Within(shared.dOffset, -kDensityMost, kDensityMost) && Within(shared.dDye, 1e-3, 1e3) &&
         Within(shared.dGain, -kCostMost, kCostMost) && Within(shared.dScatter, 1.0, 1e3);
}

std::vector<size_t> InOrder(const ZEP3_OBSERVATION* seen, size_t count) {
  std::vector<size_t> order;
  for (size_t i = 0; i < count; i++) {
    if (IsPlausible(seen[i])) order.push_back(i);
  }
  // All doubles of the record lie one behind the other. Equal ones may stand for each other.
  constexpr size_t kFrom = offsetof(ZEP3_OBSERVATION, dMatrix);
  constexpr size_t kTo = offsetof(ZEP3_OBSERVATION, dReserved);
  const auto numbers = [&](size_t i) {
    std::array<double, (kTo - kFrom) / sizeof(double)> all;
    std::memcpy(all.data(), reinterpret_cast<const char*>(&seen[i]) + kFrom, sizeof all);
    return all;
  };
  std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return numbers(a) < numbers(b); });
  return order;
}
