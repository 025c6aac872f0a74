#include "engine/window/fine.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "engine/adaptive/order_statistics.h"
#include "engine/image/pixels.h"
#include "engine/window/tuning.h"

namespace {

constexpr int kFraction = LevelMap::kUnit; // of a pixel: sums of a sample are sixteenths of levels

constexpr LineSearch kFineLines = {
    .slopeStep = 0.03, .slopes = 6, .most = 8, .leastVotes = 12, .distance = 2.25, .sameMiddle = 2.5, .sameEnds = 7.0};

struct Point {
  double x;
  double y;
};

// A band of the scan along a side, from the outside to the inside, laid straight.
struct Band {
  Point from, to;     // ends of the side, the inside to the right on the way
  Point inward;       // a pixel's length
  double first, last; // shares of the way that the band's rows cover
  double step;        // pixels from cell to cell across
  double outward;     // pixels from the first cell to the side
  LevelMap map;

  double OffsetOf(double across) const { return across * step - outward; }
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
  bool Read(Band& band, double block) const {
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

    band.step = std::max(1.0, (kFineOutward + kFineInward) * block / kFineCells);
    band.outward = kFineOutward * block;
    band.map.across = static_cast<int>((kFineOutward + kFineInward) * block / band.step) + 1;
    band.map.along = kFineRows;
    band.map.cells.assign(static_cast<size_t>(band.map.across) * kFineRows, {});
    // Samples lie in the middles of the scan's columns (top and bottom sides) or lines, between two pixels across.
    const bool level = std::fabs(band.inward.y) > std::fabs(band.inward.x);
    const double from[2] = {level ? band.from.x : band.from.y, level ? band.from.y : band.from.x};
    const double way[2] = {(level ? band.to.x : band.to.y) - from[0], (level ? band.to.y : band.to.x) - from[1]};
    const double across = 1.0 / (level ? band.inward.y : band.inward.x);
    const int64_t stride[2] = {level ? m_pixel.samples : m_image.lBytesPerLine,
                               level ? m_image.lBytesPerLine : m_pixel.samples};
    const int64_t end[2] = {(level ? m_image.lWidth : m_image.lHeight) - 1,
                            (level ? m_image.lHeight : m_image.lWidth) - 1};
    const double row = (band.last - band.first) / kFineRows;
    const int samples = std::clamp(static_cast<int>(row * length / 2.0), 1, kFineSamples);
    std::vector<int> sums(3 * static_cast<size_t>(band.map.across));
    std::vector<double> offset(static_cast<size_t>(band.map.across));
    for (int a = 0; a < band.map.across; a++) offset[static_cast<size_t>(a)] = band.OffsetOf(a) * across;
    for (int l = 0; l < kFineRows; l++) {
      std::fill(sums.begin(), sums.end(), 0);
      for (int i = 0; i < samples; i++) {
        const double share = band.first + row * (l + (i + 0.5) / samples);
        const int64_t at = std::clamp(static_cast<int64_t>(from[0] + way[0] * share), int64_t{0}, end[0]);
        const double base = from[1] + way[1] * ((static_cast<double>(at) + 0.5 - from[0]) / way[0]) - 0.5;
        const uint8_t* first = m_image.pBits + at * stride[0];
        for (int a = 0; a < band.map.across; a++) {
          const double place = std::clamp(base + offset[static_cast<size_t>(a)], 0.0, static_cast<double>(end[1]));
          const auto below = std::min(static_cast<int64_t>(place), std::max(end[1] - 1, int64_t{0}));
          const int part = static_cast<int>((place - static_cast<double>(below)) * kFraction);
          const uint8_t* p = first + below * stride[1];
          const uint8_t* q = first + std::min(below + 1, end[1]) * stride[1];
          int* sum = &sums[3 * static_cast<size_t>(a)];
          sum[0] += p[m_pixel.red] * (kFraction - part) + q[m_pixel.red] * part;
          sum[1] += p[m_pixel.green] * (kFraction - part) + q[m_pixel.green] * part;
          sum[2] += p[m_pixel.blue] * (kFraction - part) + q[m_pixel.blue] * part;
        }
      }
      for (int a = 0; a < band.map.across; a++) {
        LevelMap::Cell& cell = band.map.At(a, l);
        for (int c = 0; c < 3; c++) {
          cell.level[c] = static_cast<int16_t>(sums[3 * static_cast<size_t>(a) + static_cast<size_t>(c)] / samples);
        }
      }
    }
    MeasureNoise(band.map);
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
  if (2 * samples[0].size() < static_cast<size_t>(map.along)) return strip;
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

// Whether what lies between two lines is one even strip, edge print and perforations aside. Its levels.
bool IsStrip(const Band& band, const Line& outer, const Line& inner, double (&level)[3]) {
  const LevelMap& map = band.map;
  const double middle = 0.5 * (map.along - 1);
  std::vector<LevelMap::Cell> cells;
  for (int l = 0; l < map.along; l++) {
    const int first = std::max(0, static_cast<int>(std::ceil(outer.At(l, middle) + kFineBlur)));
    const int last = std::min(map.across - 1, static_cast<int>(std::floor(inner.At(l, middle) - kFineBlur)));
    for (int a = first; a <= last; a++) cells.push_back(map.At(a, l));
  }
  if (cells.size() < static_cast<size_t>(map.along / 2)) return false;
  const LevelMap::Cell usual = MedianOf(cells);
  for (int c = 0; c < 3; c++) level[c] = usual.level[c] / static_cast<double>(LevelMap::kUnit);
  const auto even = std::count_if(cells.begin(), cells.end(), [&](const LevelMap::Cell& cell) {
    return Apart(cell, usual) < std::max(kStripScatter, kStripNoise * map.noise);
  });
  return static_cast<double>(even) > kStripEven * static_cast<double>(cells.size());
}

// A side as the scan shows it.
struct FineSide {
  bool read = false;
  Band band;
  std::vector<Line> lines;
  Line likeliest;     // near the coarse side
  Line line;          // of the picture, as far as is sure
  const Line* unsure; // one further in that only an even strip separates from it; null without
  double level[3];    // of that strip
};

class SideFinder {
 public:
  SideFinder(Material material, const LevelMap& map, const Rectangle& rectangle)
      : m_material(material), m_map(map), m_beside(rectangle) {}

  // The likeliest line near the coarse one, else this itself, and one further in that only an even strip of
  // surroundings separates from it.
  void Find(int s, FineSide& found) {
    const Band& band = found.band;
    SideTraits& side = m_beside.side[static_cast<size_t>(s)];
    const SideTraits coarse = side;
    found.lines = FindLines(band.map, FindEdges(band.map), Outside::kBefore, kFineLines);
    found.line = {};
    found.line.at = band.outward / band.step;
    std::vector<double> scores;
    double best = kFineLeastScore;
    for (const Line& line : found.lines) {
      side = TraitsOf(line, -0.5, band.map.along - 0.5);
      LookInside(m_map, m_material, m_beside);
      scores.push_back(side.border ? kSideWorst : SideScore(side, m_material));
      if (scores.back() <= best || std::fabs(band.OffsetOf(line.at)) > kFineNear * band.outward) continue;
      best = scores.back();
      found.line = line;
    }
    found.likeliest = found.line;
    found.unsure = nullptr;
    for (bool again = true; again;) {
      again = false;
      for (size_t i = 0; i < found.lines.size(); i++) {
        const Line& line = found.lines[i];
        if (line.at < found.line.at + kFineApart) continue;
        side.border = false;
        if (!IsStrip(band, found.line, line, side.level)) continue;
        LookInside(m_map, m_material, m_beside);
        if (side.extreme > kStripExtreme && scores[i] >= kFineLeastInner) {
          found.line = line;
          again = true;
          break;
        }
        if (side.extreme < kRimExtreme || (found.unsure != nullptr && found.unsure->at > line.at)) continue;
        found.unsure = &line;
        std::copy_n(side.level, 3, found.level);
      }
    }
    if (found.unsure != nullptr && found.unsure->at < found.line.at + kFineApart) found.unsure = nullptr;
    side = coarse;
  }

 private:
  const Material m_material;
  const LevelMap& m_map;
  Rectangle m_beside;
};

bool AreAlike(const double (&p)[3], const double (&q)[3]) {
  for (int c = 0; c < 3; c++) {
    if (std::fabs(p[c] - q[c]) > kAlikeLeast + kAlikeShare * std::max(p[c], q[c])) return false;
  }
  return true;
}

// What is clear beside one side is so beside others: unsure lines whose strips agree are the picture's.
void TakeUnsure(FineSide (&sides)[kSideCount]) {
  bool agrees[kSideCount] = {};
  for (int s = 0; s < kSideCount; s++) {
    if (!sides[s].read || sides[s].unsure == nullptr) continue;
    for (int other = 0; other < kSideCount; other++) {
      if (other == s || !sides[other].read) continue;
      const Strip strip = StripBeside(sides[other].band.map, sides[other].line);
      agrees[s] = agrees[s] || (strip.seen && AreAlike(strip.level, sides[s].level)) ||
                  (sides[other].unsure != nullptr && AreAlike(sides[other].level, sides[s].level));
    }
  }
  for (int s = 0; s < kSideCount; s++) {
    if (agrees[s]) sides[s].line = *sides[s].unsure;
  }
}

Corners ToPixels(const Corners& blocks, const GridPlace& place) {
  Corners pixels;
  for (int i = 0; i < 4; i++) {
    pixels.x[i] = place.left + (blocks.x[i] + 0.5) * place.side;
    pixels.y[i] = place.top + (blocks.y[i] + 0.5) * place.side;
  }
  return pixels;
}

} // namespace

FineRectangle FineSearch::Refine(const Rectangle& rectangle) const {
  const Corners coarse = ToPixels(rectangle.corners, m_place);
  // Clockwise, the inside to the right.
  constexpr int kEnds[kSideCount][2] = {{0, 1}, {2, 3}, {3, 0}, {1, 2}};
  const BandReader reader(m_image);
  SideFinder finder(m_material, m_map, rectangle);
  FineSide sides[kSideCount];
  for (int s = 0; s < kSideCount; s++) {
    Band& band = sides[s].band;
    band.from = {coarse.x[kEnds[s][0]], coarse.y[kEnds[s][0]]};
    band.to = {coarse.x[kEnds[s][1]], coarse.y[kEnds[s][1]]};
    if (rectangle.side[static_cast<size_t>(s)].border || !reader.Read(band, m_place.side)) continue;
    sides[s].read = true;
    finder.Find(s, sides[s]);
  }
  TakeUnsure(sides);
  const auto cornersOn = [&](Line FineSide::*line) {
    Point through[kSideCount][2];
    for (int s = 0; s < kSideCount; s++) {
      const Band& band = sides[s].band;
      through[s][0] = band.from;
      through[s][1] = band.to;
      if (!sides[s].read) continue;
      const double middle = 0.5 * (band.map.along - 1);
      for (int end = 0; end < 2; end++) {
        // Rows of the band to the ends of the side.
        const double row = (end - band.first) / (band.last - band.first) * band.map.along - 0.5;
        const double offset = band.OffsetOf((sides[s].*line).At(row, middle));
        through[s][end].x += band.inward.x * offset;
        through[s][end].y += band.inward.y * offset;
      }
    }
    Corners corners = coarse;
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
    return corners;
  };
  FineRectangle found = {cornersOn(&FineSide::likeliest), cornersOn(&FineSide::line), {}};
  for (int s = 0; s < kSideCount; s++) {
    if (sides[s].read) found.strip[s] = StripBeside(sides[s].band.map, sides[s].line);
  }
  return found;
}
