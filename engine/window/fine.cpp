#include "engine/window/fine.h"

#include <algorithm>
#include <cmath>

#include "engine/adaptive/order_statistics.h"
#include "engine/image/pixels.h"
#include "engine/window/tuning.h"

namespace {

constexpr LineSearch kFineLines = {.slopeStep = 0.03,
                                   .slopes = 6,
                                   .most = 8,
                                   .leastVotes = 12,
                                   .distance = 2.25,
                                   .sameMiddle = 2.5,
                                   .sameEnds = 7.0};

struct Point {
  double x;
  double y;
};

// A band of the scan along a side, from the outside to the inside, laid straight.
struct Band {
  Point from, to; // ends of the side, the inside to the right on the way
  Point inward;   // a pixel's length
  double first, last; // shares of the way that the band's rows cover
  double step;        // pixels from cell to cell across
  LevelMap map;

  double OffsetOf(double across) const { return (across - 0.5 * (map.across - 1)) * step; }
};

// The share of the way from `from` to `to` on which the scan is seen.
void Clip(double from, double to, double size, double& first, double& last) {
  const double way = to - from;
  if (way == 0.0) {
    if (from < 0.0 || from > size) last = first;
    return;
  }
  const double a = (0.0 - from) / way;
  const double b = (size - from) / way;
  first = std::max(first, std::min(a, b));
  last = std::min(last, std::max(a, b));
}

class BandReader {
 public:
  explicit BandReader(const ZEP3_BmpInfo& image) : m_image(image), m_pixel(LayoutOf(image)) {}

  // False where too little of the side lies within the scan.
  bool Read(Band& band, double reach) const {
    const double length = std::hypot(band.to.x - band.from.x, band.to.y - band.from.y);
    if (!(length > kFineShortest)) return false;
    band.inward = {-(band.to.y - band.from.y) / length, (band.to.x - band.from.x) / length};
    band.first = kFineMargin;
    band.last = 1.0 - kFineMargin;
    const auto width = static_cast<double>(m_image.lWidth);
    const auto height = static_cast<double>(m_image.lHeight);
    Clip(band.from.x, band.to.x, width, band.first, band.last);
    Clip(band.from.y, band.to.y, height, band.first, band.last);
    if (!(band.last - band.first > kFineLeast)) return false;

    band.step = std::max(1.0, reach / kFineCells);
    band.map.across = 2 * static_cast<int>(std::ceil(reach / band.step)) + 1;
    band.map.along = kFineRows;
    band.map.cells.assign(static_cast<size_t>(band.map.across) * kFineRows, {});
    const double row = (band.last - band.first) / kFineRows;
    const int samples = std::clamp(static_cast<int>(row * length / 2.0), 1, kFineSamples);
    for (int l = 0; l < kFineRows; l++) {
      for (int a = 0; a < band.map.across; a++) {
        const double offset = band.OffsetOf(a);
        int sum[3] = {};
        for (int i = 0; i < samples; i++) {
          const double way = band.first + row * (l + (i + 0.5) / samples);
          const double x = band.from.x + (band.to.x - band.from.x) * way + band.inward.x * offset;
          const double y = band.from.y + (band.to.y - band.from.y) * way + band.inward.y * offset;
          const auto column = static_cast<int64_t>(std::clamp(x, 0.0, width - 1.0));
          const auto line = static_cast<int64_t>(std::clamp(y, 0.0, height - 1.0));
          const uint8_t* p = m_image.pBits + (line * m_image.lBytesPerLine + column * m_pixel.bytes);
          sum[0] += p[m_pixel.red];
          sum[1] += p[m_pixel.green];
          sum[2] += p[m_pixel.blue];
        }
        LevelMap::Cell& cell = band.map.At(a, l);
        for (int c = 0; c < 3; c++) cell.level[c] = static_cast<int16_t>(sum[c] * LevelMap::kUnit / samples);
      }
    }
    return true;
  }

 private:
  const ZEP3_BmpInfo& m_image;
  const PixelLayout m_pixel;
};

// Of the cells at a distance outside of a line.
Strip MedianBeside(const LevelMap& map, const Line& line, double distance) {
  Strip strip;
  std::vector<double> samples[3];
  for (int l = 0; l < map.along; l++) {
    const double at = line.At(l, 0.5 * (map.along - 1)) - distance;
    if (at < -0.5 || at > map.across - 0.5) continue;
    const LevelMap::Cell& cell = map.At(static_cast<int>(at + 0.5), l);
    for (int c = 0; c < 3; c++) samples[c].push_back(cell.level[c]);
  }
  if (samples[0].size() < 0.5 * map.along) return strip;
  strip.seen = true;
  for (int c = 0; c < 3; c++) strip.level[c] = Median(samples[c]) / LevelMap::kUnit;
  return strip;
}

// The outside next to a line, where the line's blur is over.
Strip StripBeside(const LevelMap& map, const Line& line) {
  Strip best;
  double before = -1.0;
  for (double distance = 1.5; distance <= 6.0; distance += 0.75) {
    const Strip strip = MedianBeside(map, line, distance);
    if (!strip.seen) break;
    const double light = strip.level[0] + strip.level[1] + strip.level[2];
    if (before >= 0.0 && light < before) break;
    best = strip;
    before = light;
  }
  return best;
}

} // namespace

Corners ToPixels(const Corners& blocks, const GridPlace& place) {
  Corners pixels;
  for (int i = 0; i < 4; i++) {
    pixels.x[i] = place.left + (blocks.x[i] + 0.5) * place.side;
    pixels.y[i] = place.top + (blocks.y[i] + 0.5) * place.side;
  }
  return pixels;
}

void Refine(const ZEP3_BmpInfo& image, const GridPlace& place, Material material, const LevelMap& map,
            const Rectangle& rectangle, Corners& corners, Strip (&strips)[kSideCount]) {
  // Clockwise, the inside to the right.
  constexpr int kEnds[kSideCount][2] = {{0, 1}, {2, 3}, {3, 0}, {1, 2}};
  const BandReader reader(image);
  Point through[kSideCount][2];
  for (int s = 0; s < kSideCount; s++) {
    Band band;
    band.from = {corners.x[kEnds[s][0]], corners.y[kEnds[s][0]]};
    band.to = {corners.x[kEnds[s][1]], corners.y[kEnds[s][1]]};
    through[s][0] = band.from;
    through[s][1] = band.to;
    if (rectangle.side[static_cast<size_t>(s)].border || !reader.Read(band, kFineReach * place.side)) continue;
    const EdgeMap edges = FindEdges(band.map);
    const std::vector<Line> lines = FindLines(band.map, edges, Outside::kBefore, kFineLines);
    std::vector<double> scores;
    double best = kFineLeastScore;
    for (const Line& line : lines) {
      Rectangle beside = rectangle;
      SideTraits& side = beside.side[static_cast<size_t>(s)];
      side = TraitsOf(line, -0.5, band.map.along - 0.5);
      LookInside(map, beside);
      scores.push_back(side.border ? kSideWorst : SideScore(side, material));
      best = std::max(best, scores.back());
    }
    const Line* chosen = nullptr;
    for (size_t i = 0; i < lines.size(); i++) {
      if (scores[i] < std::max(kFineLeastScore, best - kFineAllowance)) continue;
      if (chosen == nullptr || lines[i].at > chosen->at) chosen = &lines[i];
    }
    if (chosen == nullptr) continue;
    strips[s] = StripBeside(band.map, *chosen);
    const double middle = 0.5 * (band.map.along - 1);
    for (int end = 0; end < 2; end++) {
      // Rows of the band to the ends of the side.
      const double row = (end - band.first) / (band.last - band.first) * band.map.along - 0.5;
      const double offset = band.OffsetOf(chosen->At(row, middle));
      through[s][end].x += band.inward.x * offset;
      through[s][end].y += band.inward.y * offset;
    }
  }
  const auto meet = [&](int p, int q, int corner) {
    const Point a = through[p][0];
    const Point u = {through[p][1].x - a.x, through[p][1].y - a.y};
    const Point b = through[q][0];
    const Point v = {through[q][1].x - b.x, through[q][1].y - b.y};
    const double cross = u.x * v.y - u.y * v.x;
    if (cross == 0.0) return;
    const double way = ((b.x - a.x) * v.y - (b.y - a.y) * v.x) / cross;
    corners.x[corner] = a.x + u.x * way;
    corners.y[corner] = a.y + u.y * way;
  };
  meet(kTop, kLeft, 0);
  meet(kTop, kRight, 1);
  meet(kBottom, kRight, 2);
  meet(kBottom, kLeft, 3);
}
