#include "page/marker.h"

#include <algorithm>
#include <array>
#include <limits>

#include "page/scan_values.h"

namespace {

constexpr double kLightest = 0.85; // share of white; marker has a channel that is as light

// A picture has so many of its cells without a pixel that is light, or luma that is; ink covers cells of 1 mm, too.
constexpr double kDarkShare = 0.15;
constexpr double kDarkLuma = 0.40;
constexpr size_t kLeastCells = 25; // as few are no picture: a letter, a speck

// How far a number has come from 0 to 1 between two others.
double Ramp(double v, double from, double to) { return std::clamp((v - from) / (to - from), 0.0, 1.0); }

double Luma(double red, double green, double blue) { return 0.2126 * red + 0.7152 * green + 0.0722 * blue; }

// Whether the lightest pixel of a cell is darker than paper and marker are. Paper is 1.
class Cells {
 public:
  Cells(const ZEP3_SURFACE& surface, const uint8_t* levels, int64_t width, int64_t height, int64_t shrink)
      : m_surface(surface),
        m_levels(levels),
        m_width(width),
        m_height(height),
        m_shrink(shrink),
        m_values(ScanValues(surface)) {}

  bool IsKept(int64_t at) const { return (m_surface.pCells[at].lLies & ZEP3_CELL_WHITEN) == 0; }

  bool IsDark(int64_t at) const {
    const auto within = [this](int64_t place, int64_t most) { return std::clamp<int64_t>(place / m_shrink, 0, most); };
    const int64_t left = m_surface.lLeft + at % m_surface.lColumns * m_surface.lSide;
    const int64_t top = m_surface.lTop + at / m_surface.lColumns * m_surface.lSide;
    const int64_t right = within(left + m_surface.lSide, m_width), bottom = within(top + m_surface.lSide, m_height);
    int most = -1;
    const uint8_t* lightest = m_levels;
    for (int64_t y = within(top, m_height); y < bottom; y++) {
      for (int64_t x = within(left, m_width); x < right; x++) {
        const uint8_t* pixel = m_levels + 3 * (y * m_width + x);
        const int sum = pixel[0] + pixel[1] + pixel[2];
        if (sum <= most) continue;
        most = sum;
        lightest = pixel;
      }
    }
    std::array<double, 3> v = {};
    for (size_t c = 0; c < 3; c++) v[c] = m_values[lightest[c]] * static_cast<double>(m_surface.pCells[at].fGain[c]);
    return std::max({v[0], v[1], v[2]}) < kLightest || Luma(v[0], v[1], v[2]) < kDarkLuma;
  }

 private:
  const ZEP3_SURFACE& m_surface;
  const uint8_t* m_levels;
  int64_t m_width, m_height, m_shrink;
  std::array<double, 256> m_values;
};

// The cells that hang together with one (4 neighbours) and are kept; they are `seen` then.
std::vector<int64_t> Together(int64_t from, const ZEP3_SURFACE& surface, const Cells& cells,
                              std::vector<uint8_t>& seen) {
  std::vector<int64_t> found;
  const auto take = [&](int64_t at) {
    if (seen[static_cast<size_t>(at)] != 0 || !cells.IsKept(at)) return;
    seen[static_cast<size_t>(at)] = 1;
    found.push_back(at);
  };
  take(from);
  for (size_t i = 0; i < found.size(); i++) {
    const int64_t at = found[i], column = at % surface.lColumns, row = at / surface.lColumns;
    if (column > 0) take(at - 1);
    if (column + 1 < surface.lColumns) take(at + 1);
    if (row > 0) take(at - surface.lColumns);
    if (row + 1 < surface.lRows) take(at + surface.lColumns);
  }
  return found;
}

// The cell in which a place lies; beyond the outermost ones theirs.
int64_t CellAt(int64_t place, int64_t first, int64_t side, int64_t cells) {
  return std::clamp<int64_t>(place < first ? 0 : (place - first) / side, 0, cells - 1);
}

} // namespace

template <class Sample>
void LightenMarker(Sample* first, int64_t pixels, int samples) {
  constexpr double kWhite = std::numeric_limits<Sample>::max();
  constexpr double kLeastColour = 0.10, kClearColour = 0.25; // of the lightest channel, down to the darkest
  constexpr double kLift = 0.5;
  for (Sample* pixel = first; pixel < first + pixels * samples; pixel += samples) {
    const double red = pixel[0], green = pixel[1], blue = pixel[2];
    const double most = std::max({red, green, blue}), colour = most - std::min({red, green, blue});
    if (colour <= kLeastColour * most) continue;
    const double luma = Luma(red, green, blue);
    const double share = Ramp(colour / most, kLeastColour, kClearColour) * Ramp(most / kWhite, kLightest, 0.95) *
                         Ramp(luma / kWhite, 0.40, 0.55);
    if (share <= 0.0) continue;
    pixel[0] = pixel[1] = pixel[2] = static_cast<Sample>(luma + kLift * share * (most - luma) + 0.5);
  }
}

template void LightenMarker(uint8_t* first, int64_t pixels, int samples);
template void LightenMarker(uint16_t* first, int64_t pixels, int samples);

std::vector<uint8_t> FindPictures(const ZEP3_SURFACE& surface, const uint8_t* levels, int64_t width, int64_t height,
                                  int64_t shrink) {
  const Cells cells(surface, levels, width, height, shrink);
  const auto number = static_cast<size_t>(surface.lColumns * surface.lRows);
  std::vector<uint8_t> pictures(number), seen(number);
  if (surface.lFound != ZEP3_SURFACE_PAPER) return pictures;
  for (size_t i = 0; i < number; i++) {
    const std::vector<int64_t> together = Together(static_cast<int64_t>(i), surface, cells, seen);
    if (together.size() < kLeastCells) continue;
    const auto dark = std::count_if(together.begin(), together.end(), [&](int64_t at) { return cells.IsDark(at); });
    if (static_cast<double>(dark) < kDarkShare * static_cast<double>(together.size())) continue;
    for (const int64_t at : together) pictures[static_cast<size_t>(at)] = 1;
  }
  return pictures;
}

template <class Sample>
void LightenMarkerBesidePictures(Sample* first, int64_t pixels, int samples, int64_t x, int64_t y,
                                 const ZEP3_SURFACE& surface, const std::vector<uint8_t>& pictures) {
  if (pictures.empty()) return LightenMarker(first, pixels, samples);
  const uint8_t* const row =
      &pictures[static_cast<size_t>(CellAt(y, surface.lTop, surface.lSide, surface.lRows) * surface.lColumns)];
  for (int64_t from = 0; from < pixels;) {
    const int64_t cell = CellAt(x + from, surface.lLeft, surface.lSide, surface.lColumns);
    int64_t next = cell + 1;
    while (next < surface.lColumns && row[next] == row[cell]) next++;
    const int64_t end = next == surface.lColumns ? pixels : std::min(pixels, surface.lLeft + next * surface.lSide - x);
    if (row[cell] == 0) LightenMarker(first + from * samples, end - from, samples);
    from = end;
  }
}

template void LightenMarkerBesidePictures(uint8_t*, int64_t, int, int64_t, int64_t, const ZEP3_SURFACE&,
                                          const std::vector<uint8_t>&);
template void LightenMarkerBesidePictures(uint16_t*, int64_t, int, int64_t, int64_t, const ZEP3_SURFACE&,
                                          const std::vector<uint8_t>&);
