#include "engine/window/rectangles.h"

#include <algorithm>
#include <cmath>

#include "engine/common/scale.h"
#include "engine/window/tuning.h"

namespace {

// Nats for a side's being one of a window, not counting how it stands to what is inside.
double LineScore(const SideTraits& side) {
  return kSideBias + kVoteWeight * std::log(std::max(side.vote, kLeastShare)) +
         kEvenWeight * std::max(side.evenOut - kEvenUsual, 0.0) -
         kScatterWeight * std::log(std::max(side.scatter / kScatterUsual, 1.0)) -
         kBeyondWeight * std::min(side.beyond, side.vote) +
         kRowsWeight * std::log(std::clamp(side.rows / kRowsUsual, kRowsLeast, 1.0));
}

} // namespace

double SideScore(const SideTraits& side, Material material) {
  if (side.border) return 0.0;
  const double weight = material == Material::kPrint ? kExtremePrint : kExtremeFilm;
  const double apart = std::max(side.extreme, side.ground);
  return std::clamp(LineScore(side) + weight * std::log(std::max(2.0 * apart - 1.0, kLeastExtreme)), kSideWorst,
                    kSideBest);
}

namespace {

double EarlyScore(const SideTraits& side) {
  return side.border ? -kBorderCost : std::clamp(LineScore(side), kSideWorst, kSideBest);
}

struct Candidate {
  double score;
  int line;
};
constexpr size_t kChoices = 5;

void KeepBest(std::vector<Candidate>& choices) {
  std::sort(choices.begin(), choices.end(), [](const Candidate& p, const Candidate& q) {
    return p.score != q.score ? p.score > q.score : p.line < q.line;
  });
  if (choices.size() > kChoices) choices.resize(kChoices);
}

// Of a rectangle that is looked at, by the map's extent in its direction.
double LeastSide(int extent) { return std::max(kFewestBlocks, kLeastExtent * extent); }

class Enumeration {
 public:
  explicit Enumeration(const SideLines& lines)
      : m_lines(lines), m_middleX(0.5 * (lines.map.across - 1)), m_middleY(0.5 * (lines.map.along - 1)) {}

  std::vector<Rectangle> Run() {
    const double least = LeastSide(m_lines.map.along);
    for (size_t t = 0; t < m_lines.line[kTop].size(); t++) {
      for (size_t b = 0; b < m_lines.line[kBottom].size(); b++) {
        const Line& top = m_lines.line[kTop][t];
        const Line& bottom = m_lines.line[kBottom][b];
        if (bottom.at - top.at < least) continue;
        if (!top.border && !bottom.border && std::fabs(top.slope - bottom.slope) > kLeanMost) continue;
        Between(static_cast<int>(t), static_cast<int>(b));
      }
    }
    return std::move(m_found);
  }

 private:
  void Meet(const Line& level, const Line& upright, double& x, double& y) const {
    // y = level.at + level.slope (x - middleX), x = upright.at + upright.slope (y - middleY)
    x = (upright.at + upright.slope * (level.at - level.slope * m_middleX - m_middleY)) /
        (1.0 - upright.slope * level.slope);
    y = level.at + level.slope * (x - m_middleX);
  }

  void Between(int t, int b) {
    const Line& top = m_lines.line[kTop][static_cast<size_t>(t)];
    const Line& bottom = m_lines.line[kBottom][static_cast<size_t>(b)];
    const double least = LeastSide(m_lines.map.along);
    std::vector<Candidate>(&choices)[2] = m_choices;
    for (int i = 0; i < 2; i++) {
      choices[i].clear();
      const std::vector<Line>& lines = m_lines.line[kLeft + i];
      for (size_t k = 0; k < lines.size(); k++) {
        double x, from, to;
        Meet(top, lines[k], x, from);
        Meet(bottom, lines[k], x, to);
        if (to - from < least) continue;
        const SideTraits traits = TraitsOf(lines[k], from, to);
        choices[i].push_back({EarlyScore(traits), static_cast<int>(k)});
      }
      KeepBest(choices[i]);
    }
    for (const Candidate& left : choices[0]) {
      for (const Candidate& right : choices[1]) Consider({t, b, left.line, right.line});
    }
  }

  void Consider(const std::array<int, kSideCount>& line) {
    const Line* lines[kSideCount];
    double lean[2] = {1.0, -1.0};
    for (int i = 0; i < kSideCount; i++) {
      lines[i] = &m_lines.line[i][static_cast<size_t>(line[static_cast<size_t>(i)])];
      if (lines[i]->border) continue;
      const double slope = i < kLeft ? lines[i]->slope : -lines[i]->slope;
      lean[0] = std::min(lean[0], slope);
      lean[1] = std::max(lean[1], slope);
    }
    if (lean[1] - lean[0] > kLeanMost) return;
    Rectangle found;
    found.line = line;
    Corners& c = found.corners;
    Meet(*lines[kTop], *lines[kLeft], c.x[0], c.y[0]);
    Meet(*lines[kTop], *lines[kRight], c.x[1], c.y[1]);
    Meet(*lines[kBottom], *lines[kRight], c.x[2], c.y[2]);
    Meet(*lines[kBottom], *lines[kLeft], c.x[3], c.y[3]);
    if (std::min(c.x[1] - c.x[0], c.x[2] - c.x[3]) < LeastSide(m_lines.map.across)) return;
    found.side = {TraitsOf(*lines[kTop], c.x[0], c.x[1]), TraitsOf(*lines[kBottom], c.x[3], c.x[2]),
                  TraitsOf(*lines[kLeft], c.y[0], c.y[3]), TraitsOf(*lines[kRight], c.y[1], c.y[2])};
    int borders = 0;
    for (const SideTraits& side : found.side) {
      found.score += EarlyScore(side);
      borders += side.border;
    }
    if (borders <= 2) m_found.push_back(found);
  }

  const SideLines& m_lines;
  const double m_middleX;
  const double m_middleY;
  std::vector<Candidate> m_choices[2];
  std::vector<Rectangle> m_found;
};

constexpr LineSearch kBlockLines = {
    .slopeStep = 0.01, .slopes = 12, .most = 16, .leastVotes = 5, .distance = 1.25, .sameMiddle = 1.6, .sameEnds = 8.0};

} // namespace

SideLines FindSideLines(const BlockGrid& grid) {
  SideLines found;
  found.map = MapOf(grid);
  const LevelMap turned = Turned(found.map);
  for (const int first : {kTop, kLeft}) {
    const LevelMap& map = first == kLeft ? found.map : turned;
    const EdgeMap edges = FindEdges(map);
    for (const Outside outside : {Outside::kBefore, Outside::kBehind}) {
      std::vector<Line>& lines = found.line[first + static_cast<int>(outside)];
      lines = FindLines(map, edges, outside, kBlockLines);
      Line border;
      border.border = true;
      border.at = outside == Outside::kBefore ? -0.5 : map.across - 0.5;
      lines.push_back(border);
    }
  }
  return found;
}

void LookInside(const LevelMap& map, Material material, Rectangle& rectangle) {
  LevelMap::Cell cells[kPlaces * kPlaces];
  int seen = 0;
  const Corners& at = rectangle.corners;
  for (int i = 0; i < kPlaces; i++) {
    const double v = (i + 0.5) / kPlaces;
    const double left[2] = {at.x[0] + (at.x[3] - at.x[0]) * v, at.y[0] + (at.y[3] - at.y[0]) * v};
    const double right[2] = {at.x[1] + (at.x[2] - at.x[1]) * v, at.y[1] + (at.y[2] - at.y[1]) * v};
    for (int j = 0; j < kPlaces; j++) {
      const double u = (j + 0.5) / kPlaces;
      const double x = left[0] + (right[0] - left[0]) * u + 0.5;
      const double y = left[1] + (right[1] - left[1]) * u + 0.5;
      if (x < 0.0 || y < 0.0 || x >= map.across || y >= map.along) continue;
      cells[seen++] = map.At(static_cast<int>(x), static_cast<int>(y));
    }
  }
  // Share of the places that are darker than a level, or lighter, whichever is more and can be of surroundings.
  const auto extreme = [&](const double(&of)[3], double* ofAny) {
    int level[3];
    for (int c = 0; c < 3; c++) level[c] = static_cast<int>(of[c] * LevelMap::kUnit);
    const int same = kSameLevel + static_cast<int>(kUnevenLight * Largest(of) * LevelMap::kUnit);
    int darker = 0;
    int lighter = 0;
    for (int i = 0; i < seen; i++) {
      int most = cells[i].level[0] - level[0];
      int least = most;
      for (int c = 1; c < 3; c++) {
        most = std::max(most, cells[i].level[c] - level[c]);
        least = std::min(least, cells[i].level[c] - level[c]);
      }
      darker += most < same;
      lighter += least > -same;
    }
    if (ofAny != nullptr) *ofAny = std::max(darker, lighter) / static_cast<double>(seen);
    // No film is as dense as what is opaque; no slide is lighter at its edge.
    if (material == Material::kNegative && Largest(of) > kOpaque) lighter = 0;
    if (material == Material::kSlide) darker = 0;
    return std::max(darker, lighter) / static_cast<double>(seen);
  };
  for (SideTraits& side : rectangle.side) {
    if (side.border || seen == 0) continue;
    side.extreme = extreme(side.level, &side.extremeOfAny);
    side.insideExtreme = extreme(side.inside, nullptr);
  }
}

namespace {

// By how much more than light falls off the outsides of the sides differ, levels: in the channel in which they do
// least, as light that is scattered in colours one.
double OutsidesApart(const Rectangle& rectangle) {
  double apart = 255.0;
  for (int c = 0; c < 3; c++) {
    double most = 0.0;
    double least = 255.0;
    for (const SideTraits& side : rectangle.side) {
      if (side.border) continue;
      most = std::max(most, side.level[c]);
      least = std::min(least, side.level[c]);
    }
    apart = std::min(apart, std::max(0.0, most * (1.0 - kFallOff) - least));
  }
  return apart;
}

double AreaOf(const Corners& c) { return c.Width() * c.Height(); }

// Whether all of the picture is darker, or lighter, than all that a side has outside, however uneven that is:
// perforations may touch the picture.
bool Parts(const SideTraits& side) { return std::min({side.contrast, side.oneWay, side.extreme}) > kPartsShare; }

void Judge(const LevelMap& map, Material material, Rectangle& rectangle) {
  LookInside(map, material, rectangle);
  int borders = 0;
  rectangle.least = kSideBest;
  rectangle.score = 0.0;
  for (const SideTraits& side : rectangle.side) {
    borders += side.border;
    if (side.border) continue;
    const double score = SideScore(side, material);
    rectangle.least = std::min(rectangle.least, Parts(side) ? std::max(score, kLeastSide) : score);
    rectangle.score += score - kEvenInsideCost * std::max(0.0, 2.0 * side.evenIn - 1.0);
  }
  rectangle.score -= kBorderCost * borders + (borders > 1 ? kTwoBordersCost : 0.0);
  rectangle.score -= kApartCost * std::min(1.0, OutsidesApart(rectangle) / kApartFull);
  const Corners& c = rectangle.corners;
  const double x = 0.25 * (c.x[0] + c.x[1] + c.x[2] + c.x[3]) - 0.5 * (map.across - 1);
  const double y = 0.25 * (c.y[0] + c.y[1] + c.y[2] + c.y[3]) - 0.5 * (map.along - 1);
  rectangle.score += kSizeWeight * std::log(std::min(1.0, AreaOf(c) / (map.across * map.along)));
  const double off = std::max(std::fabs(x) / c.Width(), std::fabs(y) / c.Height());
  rectangle.score -= (material == Material::kNegative ? kOffCostNegative : kOffCost) * std::clamp(off - 0.5, 0.0, 1.0);
  const auto anySide = [&](const auto& holds) {
    return std::any_of(rectangle.side.begin(), rectangle.side.end(), holds);
  };
  // Around a negative lies a holder, or clear film.
  const bool stands = anySide([](const SideTraits& side) { return side.extreme > kRimExtreme; });
  if (material == Material::kNegative && !stands) rectangle.least = kSideWorst;
  rectangle.onOwnGround = material != Material::kNegative &&
                          anySide([](const SideTraits& side) { return side.ground > kOwnGround; }) &&
                          !anySide([](const SideTraits& side) { return side.extremeOfAny > kOwnExtreme; });
}

// Left or top end, right or bottom end of a side.
constexpr int kEnds[kSideCount][2] = {{0, 1}, {3, 2}, {0, 3}, {1, 2}};

// How far the two ends of a side lie inward of the same side of another rectangle, drawn on, blocks.
void Inward(const Corners& p, const Corners& q, int side, double (&inward)[2]) {
  const int from = kEnds[side][0];
  const int to = kEnds[side][1];
  const double alongX = q.x[to] - q.x[from];
  const double alongY = q.y[to] - q.y[from];
  const double scale = (side == kTop || side == kRight ? 1.0 : -1.0) / std::hypot(alongX, alongY);
  for (int i = 0; i < 2; i++) {
    const int end = kEnds[side][i];
    inward[i] = scale * ((p.y[end] - q.y[from]) * alongX - (p.x[end] - q.x[from]) * alongY);
  }
}

double Between(const Corners& inner, const Corners& outer, int side) {
  double inward[2];
  Inward(inner, outer, side, inward);
  return 0.5 * std::fabs(inward[0] + inward[1]);
}

bool IsWithin(const Corners& inner, const Corners& outer) {
  for (int side = 0; side < kSideCount; side++) {
    double inward[2];
    Inward(inner, outer, side, inward);
    if (std::min(inward[0], inward[1]) <= -1.0) return false;
  }
  return true;
}

// Whether what lies between a side of two rectangles is one even strip, edge print and perforations aside: clear film
// within a holder, the border of a print.
bool IsStripBetween(const LevelMap& map, const Corners& inner, const Corners& outer, int side) {
  const int a = kEnds[side][0];
  const int b = kEnds[side][1];
  LevelMap::Cell cells[kStripAlong * kStripAcross];
  int seen = 0;
  for (int i = 0; i < kStripAlong; i++) {
    const double u = (i + 0.5) / kStripAlong;
    for (int k = 0; k < kStripAcross; k++) {
      const double v = (k + 0.5) / kStripAcross;
      const auto between = [u, v](double p, double q, double r, double t) {
        return (p + (q - p) * u) * v + (r + (t - r) * u) * (1.0 - v) + 0.5;
      };
      const double x = between(inner.x[a], inner.x[b], outer.x[a], outer.x[b]);
      const double y = between(inner.y[a], inner.y[b], outer.y[a], outer.y[b]);
      if (x < 0.0 || y < 0.0 || x >= map.across || y >= map.along) continue;
      cells[seen++] = map.At(static_cast<int>(x), static_cast<int>(y));
    }
  }
  if (seen < kStripAlong) return false;
  const LevelMap::Cell usual = MedianOf({cells, static_cast<size_t>(seen)});
  int even = 0;
  for (int i = 0; i < seen; i++) {
    bool same = true;
    for (int c = 0; c < 3; c++) {
      const int most = std::max(kStripNoise * map.noise, kStripLeast + usual.level[c] / kStripShare);
      same = same && std::abs(cells[i].level[c] - usual.level[c]) <= most;
    }
    even += same;
  }
  return even > kStripEven * seen;
}

// Sides on which a rim separates a rectangle from one around it; -1 where there is a side on which something else does.
// A single one is an even part of the picture more often than not, but for what is lighter than a negative's holder.
// Within a strip of film, whose edges are rims, a gap separates the frame from the ones beside.
int RimsBetween(const LevelMap& map, Material material, const Rectangle& inner, const Rectangle& outer) {
  int rims = 0;
  int gaps = 0;
  bool clear = false;
  for (int s = 0; s < kSideCount; s++) {
    const auto at = static_cast<size_t>(s);
    if (inner.line[at] == outer.line[at]) continue;
    const bool extreme = inner.side[at].extreme > kRimExtreme;
    if (extreme && IsStripBetween(map, inner.corners, outer.corners, s)) {
      rims++;
      clear = clear || (material == Material::kNegative && Mean(inner.side[at].level) > Mean(outer.side[at].level));
    } else if (!outer.side[at].border && Between(inner.corners, outer.corners, s) > kSameSide) {
      if (material == Material::kPrint || !extreme || inner.side[at].evenOut < kEvenUsual) return -1;
      gaps++;
    }
  }
  return (rims == 1 && !clear) || (gaps > 0 && rims < 2) ? -1 : rims;
}

bool IsBetter(const Rectangle& p, const Rectangle& q) {
  return p.score != q.score ? p.score > q.score : p.line < q.line;
}

// Those as large as a rectangle that are seen whole beside it, and itself.
std::vector<const Rectangle*> FramesLike(const std::vector<Rectangle>& rectangles, const Rectangle& picture) {
  const double width = picture.corners.Width();
  const double height = picture.corners.Height();
  std::vector<const Rectangle*> frames = {&picture};
  for (const Rectangle& frame : rectangles) {
    if (frame.least < kLeastSide) continue;
    if (std::any_of(frame.side.begin(), frame.side.end(), [](const SideTraits& side) { return side.border; })) continue;
    if (std::fabs(frame.corners.Width() - width) > kFrameSize * width) continue;
    if (std::fabs(frame.corners.Height() - height) > kFrameSize * height) continue;
    const bool apart = std::all_of(frames.begin(), frames.end(), [&](const Rectangle* other) {
      double x = 0.0;
      double y = 0.0;
      for (int i = 0; i < 4; i++) {
        x += 0.25 * (frame.corners.x[i] - other->corners.x[i]);
        y += 0.25 * (frame.corners.y[i] - other->corners.y[i]);
      }
      return std::max(std::fabs(x) / width, std::fabs(y) / height) > 1.0 - kFrameSize;
    });
    if (apart) frames.push_back(&frame);
  }
  return frames;
}

double FromMiddle(const LevelMap& map, const Corners& c) {
  return std::hypot(0.25 * (c.x[0] + c.x[1] + c.x[2] + c.x[3]) - 0.5 * (map.across - 1),
                    0.25 * (c.y[0] + c.y[1] + c.y[2] + c.y[3]) - 0.5 * (map.along - 1));
}

// Of the most frames that fill a rectangle, the one nearest to the scan's middle; else the rectangle itself.
const Rectangle* OneFrame(const LevelMap& map, const std::vector<Rectangle>& rectangles, const Rectangle& whole) {
  std::vector<const Rectangle*> most = {&whole};
  for (const Rectangle& first : rectangles) {
    const auto shares = [&](int side) { return Between(first.corners, whole.corners, side) < kSameSide; };
    if ((shares(kTop) && shares(kBottom)) == (shares(kLeft) && shares(kRight))) continue;
    if (first.least < kLeastSide || !IsWithin(first.corners, whole.corners)) continue;
    if (std::any_of(first.side.begin(), first.side.end(),
                    [](const SideTraits& side) { return side.extreme < kRimExtreme; })) {
      continue;
    }
    std::vector<const Rectangle*> frames = FramesLike(rectangles, first);
    std::erase_if(frames, [&](const Rectangle* frame) { return !IsWithin(frame->corners, whole.corners); });
    double filled = 0.0;
    for (const Rectangle* frame : frames) filled += AreaOf(frame->corners);
    if (frames.size() > most.size() && filled > kFramesFill * AreaOf(whole.corners)) most = frames;
  }
  return *std::min_element(most.begin(), most.end(), [&](const Rectangle* p, const Rectangle* q) {
    return FromMiddle(map, p->corners) < FromMiddle(map, q->corners);
  });
}

} // namespace

std::vector<Rectangle> FindRectangles(const SideLines& lines, Material material) {
  std::vector<Rectangle> found = Enumeration(lines).Run();
  const size_t most = std::min(kMostRectangles, found.size());
  std::partial_sort(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(most), found.end(), IsBetter);
  found.resize(most);
  for (Rectangle& rectangle : found) Judge(lines.map, material, rectangle);
  std::sort(found.begin(), found.end(), IsBetter);
  return found;
}

Choice ChooseWindow(const LevelMap& map, Material material, const std::vector<Rectangle>& rectangles) {
  Choice choice;
  const auto likely = std::find_if(rectangles.begin(), rectangles.end(), [](const Rectangle& rectangle) {
    return rectangle.score >= kLeastScore && rectangle.least >= kLeastSide;
  });
  if (likely == rectangles.end() || likely->onOwnGround) return choice;
  choice.likeliest = likely->score;
  choice.picture = &*likely;
  const auto isInner = [&](const Rectangle& inner, const Rectangle& outer, int& rims) {
    if (AreaOf(inner.corners) >= kInnerMost * AreaOf(outer.corners)) return false;
    if (!IsWithin(inner.corners, outer.corners)) return false;
    rims = RimsBetween(map, material, inner, outer);
    return rims >= 0;
  };
  for (bool again = true; again;) {
    again = false;
    for (const Rectangle& inner : rectangles) {
      int rims = 0;
      if (!isInner(inner, *choice.picture, rims)) continue;
      if (inner.score < likely->score - kInnerAllowance - kRimAllowance * rims) continue;
      if (inner.least < (rims > 0 ? kLeastSideInRim : kLeastInnerSide)) continue;
      choice.picture = &inner;
      again = true;
      break;
    }
  }
  choice.picture = OneFrame(map, rectangles, *choice.picture);
  choice.sheet = choice.picture;
  for (const Rectangle& outer : rectangles) {
    int rims = 0;
    if (outer.score < likely->score - kInnerAllowance) break;
    if (outer.least < kLeastSide || !isInner(*choice.picture, outer, rims) || rims < kSheetRims) continue;
    choice.sheet = &outer;
    break;
  }
  return choice;
}

int CountFrames(const std::vector<Rectangle>& rectangles, const Rectangle& picture) {
  return static_cast<int>(FramesLike(rectangles, picture).size());
}
