#include "page/marker.h"

#include <algorithm>
#include <limits>

namespace {

// How far a number has come from 0 to 1 between two others.
double Ramp(double v, double from, double to) { return std::clamp((v - from) / (to - from), 0.0, 1.0); }

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
    const double luma = 0.2126 * red + 0.7152 * green + 0.0722 * blue;
    const double share = Ramp(colour / most, kLeastColour, kClearColour) * Ramp(most / kWhite, 0.85, 0.95) *
                         Ramp(luma / kWhite, 0.40, 0.55);
    if (share <= 0.0) continue;
    pixel[0] = pixel[1] = pixel[2] = static_cast<Sample>(luma + kLift * share * (most - luma) + 0.5);
  }
}

template void LightenMarker(uint8_t* first, int64_t pixels, int samples);
template void LightenMarker(uint16_t* first, int64_t pixels, int samples);
