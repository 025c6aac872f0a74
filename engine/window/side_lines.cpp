#include "engine/window/side_lines.h"

#include <algorithm>
#include <cmath>

#include "engine/window/tuning.h"

namespace {

constexpr int kFull = 255; // of a share
constexpr int kFraction = 256;

int Share(int value, int none, int all) { return std::clamp((value - none) * kFull / (all - none), 0, kFull); }

// A step of levels to how far an outside may change along a line and count as even.
int Vote(int step, int uneven, int noise) {
  const int strength = std::min(step, kFullStep);
  const int allowed = std::max(kUnevenLeast, kUnevenNoise * noise) + step * kUnevenShare / 100;
  return uneven >= allowed ? 0 : kFull * strength / kFullStep * (allowed - uneven) / allowed;
}

struct Peak {
  int votes;
  int slope;
  int bin;
};

// Votes of the edges for lines, by slope and place.
class Ballot {
 public:
  Ballot(const LevelMap& map, const EdgeMap& edges, Outside outside, const LineSearch& search)
      : m_search(search),
        m_margin(static_cast<int>(std::ceil(0.5 * map.along * search.slopes * search.slopeStep)) + 2),
        m_bins(map.across + 2 * m_margin),
        m_votes(static_cast<size_t>(2 * search.slopes + 1) * static_cast<size_t>(m_bins)) {
    for (int l = 1; l + 1 < map.along; l++) {
      const int rows = 2 * l - (map.along - 1); // from the middle, times 2
      const int turn = static_cast<int>(std::lround(search.slopeStep * kFraction * 0.5 * rows));
      for (int a = 1; a + 1 < map.across; a++) {
        const EdgeMap::Edge& edge = edges.At(a, l);
        const int vote = edge.vote[static_cast<int>(outside)];
        if (vote != 0) Count(vote, (a + m_margin) * kFraction + edge.shift + search.slopes * turn, turn);
      }
    }
  }

  // Those that have more votes than their neighbours, and votes enough, most first.
  std::vector<Peak> Peaks() const {
    std::vector<Peak> peaks;
    for (int s = 0; s <= 2 * m_search.slopes; s++) {
      for (int b = 1; b + 1 < m_bins; b++) {
        const int votes = Sum(s, b);
        if (votes < m_search.leastVotes * kFull * kFraction) continue;
        if (votes > Sum(s, b - 1) && votes >= Sum(s, b + 1))
          peaks.push_back({votes, s - m_search.slopes, b - m_margin});
      }
    }
    std::sort(peaks.begin(), peaks.end(), [](const Peak& p, const Peak& q) {
      if (p.votes != q.votes) return p.votes > q.votes;
      return p.slope != q.slope ? p.slope < q.slope : p.bin < q.bin;
    });
    return peaks;
  }

 private:
  // `place` is that of the least slope; each next one meets the middle row `turn` before it.
  void Count(int vote, int place, int turn) {
    int32_t* row = m_votes.data();
    for (int s = 0; s <= 2 * m_search.slopes; s++, row += m_bins, place -= turn) {
      const unsigned bin = static_cast<unsigned>(place) / kFraction; // within the margins no place is negative
      const int part = static_cast<int>(static_cast<unsigned>(place) % kFraction);
      row[bin] += vote * (kFraction - part);
      row[bin + 1] += vote * part;
    }
  }

  // A line's votes fall into up to three bins.
  int Sum(int slope, int bin) const {
    const int32_t* row = &m_votes[static_cast<size_t>(slope) * static_cast<size_t>(m_bins)];
    const int before = bin > 0 ? row[bin - 1] : 0;
    const int behind = bin + 1 < m_bins ? row[bin + 1] : 0;
    return row[bin] + (before + behind) / 2;
  }

  const LineSearch& m_search;
  const int m_margin;
  const int m_bins;
  std::vector<int32_t> m_votes;
};

// Moves a line onto the edges near it, by regression weighted with their votes.
void Settle(const LevelMap& map, const EdgeMap& edges, Outside outside, double reach, double steepest, Line& line) {
  const double middle = 0.5 * (map.along - 1);
  double sum = 0.0;
  double rows = 0.0;
  double squares = 0.0;
  double off = 0.0;
  double turned = 0.0;
  for (int l = 1; l + 1 < map.along; l++) {
    const double row = l - middle;
    const double at = line.at + line.slope * row;
    // Truncated, which costs less than rounding; places before the map come to 1 and 0.
    const int first = std::max(1, static_cast<int>(at - reach + 0.5));
    const int last = std::min(map.across - 2, static_cast<int>(at + reach + 0.5));
    for (int a = first; a <= last; a++) {
      const EdgeMap::Edge& edge = edges.At(a, l);
      const double vote = edge.vote[static_cast<int>(outside)];
      const double miss = a + edge.shift / static_cast<double>(kFraction) - at;
      if (vote == 0.0 || std::fabs(miss) > reach) continue;
      sum += vote;
      rows += vote * row;
      squares += vote * row * row;
      off += vote * miss;
      turned += vote * row * miss;
    }
  }
  const double spread = sum * squares - rows * rows;
  if (sum < kSettleVotes * kFull || spread < kSettleSpread * sum * sum) return;
  line.at += (off * squares - turned * rows) / spread;
  line.slope = std::clamp(line.slope + (turned * sum - off * rows) / spread, -steepest, steepest);
}

// Between the two nearest cells of a row.
struct Sampled {
  int level[3];

  Sampled(const LevelMap& map, double at, int row) {
    const double held = std::clamp(at, 0.0, map.across - 1.0);
    const int below = std::min(static_cast<int>(held), map.across - 2);
    const int part = static_cast<int>((held - below) * kFraction);
    const LevelMap::Cell& p = map.At(below, row);
    const LevelMap::Cell& q = map.At(below + 1, row);
    for (int c = 0; c < 3; c++) level[c] = (p.level[c] * (kFraction - part) + q.level[c] * part) / kFraction;
  }

  int Apart(const Sampled& other) const {
    return std::max({std::abs(level[0] - other.level[0]), std::abs(level[1] - other.level[1]),
                     std::abs(level[2] - other.level[2])});
  }
  // By how much a channel is lighter than the other's, at most.
  int Above(const Sampled& other) const {
    return std::max({level[0] - other.level[0], level[1] - other.level[1], level[2] - other.level[2]});
  }
};

void Measure(const LevelMap& map, const EdgeMap& edges, Outside outside, double distance, Line& line) {
  const double middle = 0.5 * (map.along - 1);
  const double outward = outside == Outside::kBefore ? -distance : distance;
  const int even = std::max(kEvenFull, kEvenNoise * map.noise);
  const int uneven = 3 * even;
  line.sums.assign(static_cast<size_t>(map.along) + 1, {});
  Sampled outBefore(map, line.At(0, middle) + outward, 0);
  Sampled inBefore(map, line.At(0, middle) - outward, 0);
  for (int l = 0; l < map.along; l++) {
    const double at = line.At(l, middle);
    RowSums& sums = line.sums[static_cast<size_t>(l) + 1];
    sums = line.sums[static_cast<size_t>(l)];
    const double outAt = at + outward;
    if (outAt < 0.0 || outAt > map.across - 1.0) continue;
    const Sampled out(map, outAt, l);
    const Sampled in(map, at - outward, l);
    int vote = 0;
    for (int a = std::max(0, static_cast<int>(at) - 1); a <= std::min(map.across - 1, static_cast<int>(at) + 2); a++) {
      const EdgeMap::Edge& edge = edges.At(a, l);
      const bool near = std::fabs(a + edge.shift / static_cast<double>(kFraction) - at) <= kOnLine;
      if (near) vote = std::max<int>(vote, edge.vote[static_cast<int>(outside)]);
    }
    sums.seen++;
    sums.vote += vote;
    sums.contrast += Share(in.Apart(out), kContrastNone, kContrastFull);
    sums.evenOut += kFull - Share(out.Apart(outBefore), even, uneven);
    sums.evenIn += kFull - Share(in.Apart(inBefore), even, uneven);
    sums.darker += in.Above(out) < kSameLevel ? kFull : 0;
    sums.lighter += out.Above(in) < kSameLevel ? kFull : 0;
    sums.groundOut += map.At(static_cast<int>(outAt + 0.5), l).ground * kFull;
    const double inAt = std::clamp(at - outward, 0.0, map.across - 1.0);
    sums.groundIn += map.At(static_cast<int>(inAt + 0.5), l).ground * kFull;
    for (int c = 0; c < 3; c++) {
      sums.level[c] += out.level[c];
      sums.square += int64_t{out.level[c]} * out.level[c];
      sums.inside[c] += in.level[c];
      sums.insideSquare += int64_t{in.level[c]} * in.level[c];
    }
    outBefore = out;
    inBefore = in;
  }
}

} // namespace

EdgeMap FindEdges(const LevelMap& map) {
  EdgeMap found;
  found.across = map.across;
  found.edges.resize(map.cells.size());
  std::vector<int> steps(static_cast<size_t>(map.across)); // by cell: from the one before to the one behind
  for (int l = 1; l + 1 < map.along; l++) {
    for (int a = 1; a + 1 < map.across; a++) {
      steps[static_cast<size_t>(a)] = Apart(map.At(a - 1, l), map.At(a + 1, l));
    }
    for (int a = 1; a + 1 < map.across; a++) {
      const int step = steps[static_cast<size_t>(a)];
      const int before = steps[static_cast<size_t>(a) - 1];
      const int behind = steps[static_cast<size_t>(a) + 1];
      if (step < kLeastStep || step < before || step <= behind) continue;
      EdgeMap::Edge& edge = found.edges[map.Place(a, l)];
      // The top of the parabola through the three.
      edge.shift = static_cast<int16_t>((behind - before) * kFraction / (2 * (2 * step - before - behind)));
      edge.vote[0] = static_cast<uint8_t>(Vote(step, Apart(map.At(a - 1, l - 1), map.At(a - 1, l + 1)), map.noise));
      edge.vote[1] = static_cast<uint8_t>(Vote(step, Apart(map.At(a + 1, l - 1), map.At(a + 1, l + 1)), map.noise));
    }
  }
  return found;
}

std::vector<Line> FindLines(const LevelMap& map, const EdgeMap& edges, Outside outside, const LineSearch& search) {
  std::vector<Line> lines;
  const double middle = 0.5 * (map.along - 1);
  const double steepest = (search.slopes + 1) * search.slopeStep;
  const auto isKnown = [&](const Line& line) {
    return std::any_of(lines.begin(), lines.end(), [&](const Line& other) {
      const double first = std::fabs(line.At(0, middle) - other.At(0, middle));
      const double last = std::fabs(line.At(map.along - 1, middle) - other.At(map.along - 1, middle));
      return std::fabs(line.at - other.at) < search.sameMiddle && std::max(first, last) < search.sameEnds;
    });
  };
  for (const Peak& peak : Ballot(map, edges, outside, search).Peaks()) {
    Line line;
    line.at = peak.bin;
    line.slope = peak.slope * search.slopeStep;
    if (isKnown(line)) continue;
    for (const double reach : {1.5, 1.0, 1.0}) Settle(map, edges, outside, reach, steepest, line);
    if (isKnown(line)) continue;
    Measure(map, edges, outside, search.distance, line);
    lines.push_back(line);
    if (static_cast<int>(lines.size()) == search.most) break;
  }
  return lines;
}

SideTraits TraitsOf(const Line& line, double from, double to) {
  SideTraits traits;
  if (line.border) return traits;
  const int rows = static_cast<int>(line.sums.size()) - 1;
  const int first = static_cast<int>(std::clamp(std::floor(from + 1.5), 0.0, static_cast<double>(rows)));
  const int last = static_cast<int>(std::clamp(std::ceil(to - 0.5), 0.0, static_cast<double>(rows)));
  const RowSums& p = line.sums[static_cast<size_t>(first)];
  const RowSums& q = line.sums[static_cast<size_t>(std::max(first, last))];
  const double seen = q.seen - p.seen;
  traits.rows = seen;
  if (seen < kFewestRows) return traits;
  traits.border = false;
  const double perRow = 1.0 / (kFull * seen);
  traits.vote = (q.vote - p.vote) * perRow;
  traits.contrast = (q.contrast - p.contrast) * perRow;
  traits.evenOut = (q.evenOut - p.evenOut) * perRow;
  traits.evenIn = (q.evenIn - p.evenIn) * perRow;
  traits.oneWay = std::max(q.darker - p.darker, q.lighter - p.lighter) * perRow;
  traits.ground = ((q.groundOut - p.groundOut) - (q.groundIn - p.groundIn)) * perRow;
  const auto spread = [seen](const int32_t(&end)[3], const int32_t(&begin)[3], int64_t square, double(&mean)[3]) {
    double squares = 0.0;
    for (int c = 0; c < 3; c++) {
      const double level = (end[c] - begin[c]) / seen;
      squares += level * level;
      mean[c] = level / LevelMap::kUnit;
    }
    return std::sqrt(std::max(0.0, static_cast<double>(square) / seen - squares)) / LevelMap::kUnit;
  };
  traits.scatter = spread(q.level, p.level, q.square - p.square, traits.level);
  traits.insideScatter = spread(q.inside, p.inside, q.insideSquare - p.insideSquare, traits.inside);
  int beyond = 0;
  int votes = 0;
  for (int k = kBeyondFrom; k <= kBeyondTo; k++) {
    for (const int l : {first - 1 - k, last + k}) {
      if (l < 0 || l >= rows) continue;
      beyond++;
      votes += line.sums[static_cast<size_t>(l) + 1].vote - line.sums[static_cast<size_t>(l)].vote;
    }
  }
  if (beyond > 0) traits.beyond = votes / static_cast<double>(kFull * beyond);
  return traits;
}
