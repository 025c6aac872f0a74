#include "engine/adaptive/positive/estimator.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <span>

#include "engine/adaptive/frame/peel.h"
#include "engine/adaptive/order_statistics.h"
#include "engine/common/scale.h"

namespace {

// ---- blocks ----

constexpr double kLeastLevel = 0.7;     // darker ones count as this: below is the scanner's noise
constexpr size_t kFewestBlocks = 500;   // that decide anything
constexpr double kLeastContrast = 0.1;  // density range that one channel must have
constexpr double kLeastRange = 0.05;    // by which a channel is scaled at most for the first anchors
constexpr double kEndPercent = 0.1;     // of the blocks beyond a channel's ends: dust
constexpr double kAnchorShare = 0.0015; // of the blocks make a joint end ...
constexpr double kAnchorBlocks = 4.0;   // ... and so many at least
constexpr double kPileFrom = 0.95;      // of the way from white to black a block is at the black

// ---- frame ----

constexpr double kFrameMost = 0.15;    // share of a side's extent that is taken off at most
constexpr double kFrameLine = 0.6;     // share of a line that lies outside for it to go
constexpr double kFrameDarker = 0.12;  // density by which a mount is darker than the picture's darkest
constexpr double kFrameLighter = 0.7;  // share of the base's density below which there is no original
constexpr double kFrameInner = 0.2;    // what is left out on each side to find the picture's darkest
constexpr double kFrameDarkest = 99.0; // percent

// ---- whites ----

// Three pictures in four hold a white of their material, the others end at up to 0.3 below it.
constexpr double kWhiteShare = 0.75;
constexpr double kWhiteNear = 0.03;
constexpr double kWhiteFar = 0.2;
constexpr double kWhiteTint = 0.04; // usual tint
constexpr double kClip = 0.015;     // how far something may lie beyond white, or below the base

// ---- blacks ----

constexpr double kBlackTintCost = 0.9;  // nats
constexpr double kFlatShare = 0.1;      // scenes without a black ...
constexpr double kFlatRange = 1.0;      // ... which end by so much before it
constexpr double kPileLow = 0.015;      // share at the black up to which nothing piles up
constexpr double kPileHigh = 0.03;      // and from which all of it does
constexpr double kBeyondDensest = 0.04; // how far something may lie beyond the densest
constexpr double kBlackBeyond = 0.05;   // how far a black counts beyond it

// ---- history ----

// Yellow-brown stain: density by channel, relative to blue.
constexpr double kStain[3] = {0.18, 0.42, 1.0};
constexpr double kStainSd = 0.02; // of an offset from that line
constexpr double kDyeGrowth = 0.03;
constexpr double kShift = 0.15;   // usual common shift of exposure
constexpr double kCast = 0.05;    // usual cast
constexpr double kCastCost = 0.6; // nats

// ---- search ----

constexpr double kStartDyeLeast = 0.45;
constexpr double kStartDyeMost = 0.95;
constexpr double kFirstStep = 0.12;
constexpr double kLastStep = 0.006;
constexpr double kAlongDye = -0.6; // an offset and a share of dye that keep the blacks where they are

// As a natural logarithm: half of log10's time.
double DensityOf(double level) {
  return 1.8 / std::numbers::ln10 * (std::log(255.0) - std::log(AtLeast(kLeastLevel, level)));
}

double Square(double v) { return v * v; }

// Heavy-tailed cost of how far three channels lie apart.
double TintCost(const double (&v)[3], double usual) {
  const double mean = Mean(v);
  double cost = 0.0;
  for (const double channel : v) cost += std::log1p(Square((channel - mean) / usual));
  return cost;
}

size_t AnchorBlocks(size_t blocks) {
  const double share = std::floor(kAnchorShare * static_cast<double>(blocks) + 0.5);
  return std::min(blocks, static_cast<size_t>(std::max(kAnchorBlocks, share)));
}

// The places of the values that are at least `from`.
std::vector<size_t> PlacesFrom(const std::vector<double>& values, double from) {
  std::vector<size_t> places;
  for (size_t i = 0; i < values.size(); i++) {
    if (values[i] >= from) places.push_back(i);
  }
  return places;
}

double MedianAt(const std::vector<double>& values, const std::vector<size_t>& places) {
  std::vector<double> chosen;
  chosen.reserve(places.size());
  for (const size_t place : places) chosen.push_back(values[place]);
  return Median(chosen);
}

// Changes of the offsets and of the logarithms of dye, red, green, blue.
using Direction = double[6];
constexpr Direction kDirections[] = {
    {1, 1, 1, 0, 0, 0},
    {1, 0, 0, 0, 0, 0},
    {0, 0, 1, 0, 0, 0},
    {0, 0, 0, 1, 1, 1},
    {0, 0, 0, 1, 0, 0},
    {0, 0, 0, 0, 0, 1},
    {1, 1, 1, kAlongDye, kAlongDye, kAlongDye},
    {1, 0, 0, kAlongDye, 0, 0},
    {0, 0, 1, 0, 0, kAlongDye},
    {0, 1, 0, 0, kAlongDye, 0},
};
// Those that keep a gray picture gray.
constexpr Direction kGrayDirections[] = {
    {1, 1, 1, 0, 0, 0},
    {0, 0, 0, 1, 1, 1},
    {1, 1, 1, kAlongDye, kAlongDye, kAlongDye},
};

bool IsGray(const double (&v)[3]) { return Smallest(v) == Largest(v); }

bool IsGray(const Anchors& anchors) {
  bool gray = true;
  for (const auto* end : {&anchors.lightest, &anchors.darkest, &anchors.white, &anchors.black}) {
    gray = gray && IsGray(*end);
  }
  return gray;
}

DensityModel Moved(const DensityModel& model, const Direction& direction, double step) {
  DensityModel moved = model;
  for (int c = 0; c < 3; c++) {
    moved.offset[c] += step * direction[c];
    moved.logDye[c] += step * direction[3 + c];
  }
  return moved;
}

} // namespace

Frame PositiveEstimator::FindFrame(const BlockGrid& grid) const {
  Frame frame = WholeGrid(grid);
  double darkest[3];
  const int rowsAside = ToInt32(kFrameInner * grid.rows);
  const int columnsAside = ToInt32(kFrameInner * grid.columns);
  const Frame middle = {rowsAside, grid.rows - rowsAside, columnsAside, grid.columns - columnsAside};
  std::vector<double> inner;
  inner.reserve(grid.Size());
  for (int c = 0; c < 3; c++) {
    inner.clear();
    ForEachBlock(grid, middle, [&](size_t at) { inner.push_back(grid.level[c][at]); });
    if (inner.empty()) return frame;
    darkest[c] = LevelOfDensity(DensityOf(Percentile(inner, 100.0 - kFrameDarkest)) + kFrameDarker);
  }
  const double lightest = LevelOfDensity(kFrameLighter * m_material.base);

  const auto isOutside = [&](size_t at) {
    bool darker = true;
    bool lighter = true;
    for (int c = 0; c < 3; c++) {
      // Where the picture holds the scanner's darkest, no mount can be told from it.
      darker = darker && AtLeast(kLeastLevel, grid.level[c][at]) < darkest[c];
      lighter = lighter && grid.level[c][at] > lightest;
    }
    return darker || lighter;
  };
  const auto isBorder = [&](const GridLine& line) {
    int seen = 0;
    int outside = 0;
    for (int i = 0; i < line.count; i++) {
      const size_t at = line.At(i);
      if (!grid.inside[at]) continue;
      seen++;
      outside += isOutside(at);
    }
    return outside > kFrameLine * seen;
  };
  for (const Side side : kSides) {
    const int most = ToInt32(kFrameMost * LinesAcross(WholeGrid(grid), side));
    // One line more: its blocks show both.
    if (PeelSide(grid, frame, side, most, isBorder) > 0) DropLine(frame, side);
  }
  return frame;
}

double DensityModel::Dye(int c) const { return std::exp(logDye[c]); }

Anchors PositiveEstimator::FindAnchors(const std::vector<double> (&density)[3], const DensityModel& model) const {
  Anchors anchors;
  const size_t blocks = density[0].size();
  // How dark a block is in its lightest channel, and how light in its darkest.
  std::vector<double> dark(blocks);
  std::vector<double> light(blocks);
  double perDye[3];
  for (int c = 0; c < 3; c++) perDye[c] = 1.0 / model.Dye(c);
  for (size_t i = 0; i < blocks; i++) {
    double z[3];
    for (int c = 0; c < 3; c++) z[c] = (density[c][i] - model.offset[c]) * perDye[c];
    dark[i] = Smallest(z);
    light[i] = -Largest(z);
  }
  const size_t some = AnchorBlocks(blocks);
  std::vector<double> work = dark;
  const std::vector<size_t> darkest = PlacesFrom(dark, LargestFrom(work, some));
  work = light;
  const std::vector<size_t> lightest = PlacesFrom(light, LargestFrom(work, some));
  for (int c = 0; c < 3; c++) {
    anchors.black[c] = MedianAt(density[c], darkest);
    anchors.white[c] = MedianAt(density[c], lightest);
  }
  const double white = -MedianAt(light, lightest);
  const double black = MedianAt(dark, darkest);
  const double piledFrom = white + kPileFrom * (black - white);
  const auto piled = std::count_if(dark.begin(), dark.end(), [&](double d) { return d > piledFrom; });
  anchors.pile = static_cast<double>(piled) / static_cast<double>(blocks);
  return anchors;
}

double PositiveEstimator::WhiteCost(const DensityModel& model, const Anchors& anchors) const {
  double white[3];
  double beyond = 0.0;
  for (int c = 0; c < 3; c++) {
    white[c] = model.Undo(c, anchors.white[c]);
    beyond += Square(std::min(0.0, model.Undo(c, anchors.lightest[c])) / kClip);
  }
  const double mean = Mean(white);
  const double level = mean < 0.0
                           ? Square(mean / kClip) / 2.0
                           : -std::log(kWhiteShare * std::exp(-mean / kWhiteNear) +
                                       (1.0 - kWhiteShare) * kWhiteNear / kWhiteFar * std::exp(-mean / kWhiteFar));
  return level + m_history.whiteTintCost * TintCost(white, kWhiteTint) + beyond / 2.0;
}

double PositiveEstimator::BlackCost(const DensityModel& model, const Anchors& anchors) const {
  double black[3];
  double beyond = 0.0;
  for (int c = 0; c < 3; c++) {
    black[c] = model.Undo(c, anchors.black[c]);
    const double over = Square(std::max(0.0, model.Undo(c, anchors.darkest[c]) - m_material.densest) / kBeyondDensest);
    // A scanner that takes its flare off, and a picture that never was on paper, go beyond the material; neither is
    // much of a reason to change the picture.
    black[c] = std::min(black[c], m_material.densest + kBlackBeyond);
    beyond += m_history.beyondCost * std::log1p(over);
  }
  const double mean = Mean(black);
  const double piled = Clamp((anchors.pile - kPileLow) / (kPileHigh - kPileLow), 0.0, 1.0);
  const double usual = m_material.black + piled * (m_material.pileBlack - m_material.black);
  const double scatter = m_material.blackSd + piled * (m_material.pileSd - m_material.blackSd);
  const double off = (usual - mean) / scatter;
  const double level = off < 0.0 ? Square(off) / 2.0
                                 : -std::log((1.0 - kFlatShare) * std::exp(-Square(off) / 2.0) +
                                             kFlatShare * std::exp(-(usual - mean) / kFlatRange));
  return level + std::log(scatter / m_material.blackSd) + kBlackTintCost * TintCost(black, m_material.blackTint) +
         beyond;
}

double PositiveEstimator::FadingCost(const DensityModel& model) const {
  double s[3];
  double along = 0.0;
  double length = 0.0;
  for (int c = 0; c < 3; c++) {
    s[c] = model.offset[c] - m_material.base;
    along += s[c] * kStain[c];
    length += kStain[c] * kStain[c];
  }
  along /= length;
  double cost = along > 0.0 ? along / m_material.stain : Square(along / kClip) / 2.0;
  for (int c = 0; c < 3; c++) {
    cost += Square((s[c] - along * kStain[c]) / kStainSd) / 2.0;
    cost += Square(std::min(0.0, s[c]) / kClip) / 2.0;
    cost += Square(std::max(0.0, model.logDye[c]) / kDyeGrowth) / 2.0;
  }
  return cost;
}

double PositiveEstimator::ExposureCost(const DensityModel& model) const {
  double s[3];
  for (int c = 0; c < 3; c++) s[c] = model.offset[c] - m_material.base;
  return std::fabs(Mean(s)) / kShift + kCastCost * TintCost(s, kCast);
}

double PositiveEstimator::HistoryCost(const DensityModel& model) const {
  double cost = m_history.faded ? FadingCost(model) : ExposureCost(model);
  cost += Square((Mean(model.logDye) - std::log(m_history.dye)) / m_history.dyeSd) / 2.0;
  for (int c = 0; c < 3; c++) {
    const double apart = (model.logDye[c] - model.logDye[(c + 1) % 3]) / m_history.dyeRatio;
    cost += m_history.dyeRatioCost * std::sqrt(1.0 + apart * apart);
  }
  return cost;
}

double PositiveEstimator::Cost(const DensityModel& model, const Anchors& anchors) const {
  return WhiteCost(model, anchors) + BlackCost(model, anchors) + HistoryCost(model);
}

DensityModel PositiveEstimator::Search(DensityModel model, const Anchors& anchors) const {
  double cost = Cost(model, anchors);
  const std::span<const Direction> directions =
      IsGray(anchors) ? std::span<const Direction>(kGrayDirections) : std::span<const Direction>(kDirections);
  const auto move = [&](double step) {
    for (const Direction& direction : directions) {
      for (const double signedStep : {step, -step}) {
        const DensityModel moved = Moved(model, direction, signedStep);
        const double movedCost = Cost(moved, anchors);
        if (!(movedCost < cost)) continue;
        model = moved;
        cost = movedCost;
        return true;
      }
    }
    return false;
  };
  // Ends: every move lowers the cost, which rises without limit in all directions, so that there are so many places of
  // a step's grid below where it began.
  for (double step = kFirstStep; step >= kLastStep; step /= 2.0) {
    while (move(step)) continue;
  }
  return model;
}

DensityModel PositiveEstimator::Untouched(const Anchors& anchors) const {
  const double lightest = std::min(Smallest(anchors.white), Smallest(anchors.lightest));
  const double offset = Clamp(lightest, 0.0, m_material.base);
  return {{offset, offset, offset}, {0.0, 0.0, 0.0}};
}

std::array<DensityModel, 2> PositiveEstimator::StartsFrom(const Anchors& anchors) const {
  std::array<DensityModel, 2> starts;
  const double grayStain = Mean(kStain);
  for (int c = 0; c < 3; c++) {
    const double stain = m_material.stain * (IsGray(anchors) ? grayStain : kStain[c]);
    if (m_history.faded) {
      starts[0].offset[c] = std::min(anchors.lightest[c], m_material.base + 2.0 * stain);
      const double dye = (anchors.darkest[c] - starts[0].offset[c]) / m_material.black;
      starts[0].logDye[c] = std::log(Clamp(dye, kStartDyeLeast, kStartDyeMost));
      starts[1].offset[c] = m_material.base + 0.5 * stain;
    } else {
      starts[0].offset[c] = AtLeast(0.0, Smallest(anchors.white));
      starts[0].logDye[c] = 0.0;
      starts[1].offset[c] = m_material.base;
    }
    starts[1].logDye[c] = std::log(m_history.dye);
  }
  return starts;
}

DensityModel PositiveEstimator::BestModel(const std::array<DensityModel, 2>& starts, const Anchors& anchors) const {
  const DensityModel first = Search(starts[0], anchors);
  const DensityModel second = Search(starts[1], anchors);
  return Cost(second, anchors) < Cost(first, anchors) ? second : first;
}

PositiveEstimate PositiveEstimator::Estimate(const BlockGrid& grid) const {
  PositiveEstimate estimate;
  const Frame frame = FindFrame(grid);
  std::vector<double> density[3];
  for (std::vector<double>& channel : density) channel.reserve(grid.Size());
  estimate.picture.reserve(grid.Size());
  ForEachBlock(grid, frame, [&](size_t at) {
    estimate.picture.push_back(at);
    for (int c = 0; c < 3; c++) density[c].push_back(DensityOf(grid.level[c][at]));
  });
  if (estimate.picture.size() < kFewestBlocks) return estimate;
  const auto seen = std::count(grid.inside.begin(), grid.inside.end(), uint8_t{1});
  estimate.trimmed = 1.0 - static_cast<double>(estimate.picture.size()) / static_cast<double>(seen);

  Anchors ends;
  bool flat = true;
  DensityModel ranges;
  std::vector<double> work; // one for all, as memory of this size is slow to come by
  for (int c = 0; c < 3; c++) {
    work = density[c];
    ends.lightest[c] = Percentile(work, kEndPercent);
    ends.darkest[c] = Percentile(work, 100.0 - kEndPercent);
    const double range = ends.darkest[c] - ends.lightest[c];
    flat = flat && range < kLeastContrast;
    ranges.offset[c] = ends.lightest[c];
    ranges.logDye[c] = std::log(std::max(kLeastRange, range));
  }
  if (flat) return estimate;

  const auto anchorsFor = [&](const DensityModel& model) {
    Anchors anchors = FindAnchors(density, model);
    for (int c = 0; c < 3; c++) {
      anchors.lightest[c] = ends.lightest[c];
      anchors.darkest[c] = ends.darkest[c];
    }
    return anchors;
  };
  Anchors anchors = anchorsFor(ranges);

  DensityModel found = BestModel(StartsFrom(anchors), anchors);
  // A black that is dark in all channels of the faded picture may not be so in the sound one.
  anchors = anchorsFor(found);
  found = Search(found, anchors);

  estimate.usable = true;
  estimate.anchors = anchors;
  estimate.whiteCost = WhiteCost(found, anchors);
  estimate.blackCost = BlackCost(found, anchors);
  estimate.historyCost = HistoryCost(found);
  const DensityModel untouched = Untouched(anchors);
  estimate.gain = WhiteCost(untouched, anchors) + BlackCost(untouched, anchors) - estimate.whiteCost -
                  estimate.blackCost - estimate.historyCost;
  estimate.trust = 1.0 / (1.0 + std::exp(m_history.prior + m_caution - estimate.gain));
  for (int c = 0; c < 3; c++) {
    estimate.model.offset[c] = untouched.offset[c] + estimate.trust * (found.offset[c] - untouched.offset[c]);
    estimate.model.logDye[c] = estimate.trust * found.logDye[c];
  }
  estimate.flare = m_material.flare;
  for (int c = 0; c < 3; c++) {
    estimate.flare = std::min(estimate.flare, std::pow(10.0, -estimate.model.Undo(c, ends.darkest[c])));
  }
  return estimate;
}
