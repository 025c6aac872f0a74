// Pictures on film and paper as a scanner sees them. Levels that lie anywhere are nothing to the analyses of films:
// they give them up at the first look. These have a scene's lights in patches, a characteristic curve or a fading for
// each channel, and around the picture holder, clear film, bare light, or all of it.
#pragma once

#include <algorithm>
#include <cmath>

#include "input.h"

class FilmPicture {
 public:
  explicit FilmPicture(Input& input) {
    const int kind = input.Below(8);
    const bool negative = kind < 5;
    const bool gray = kind == 3 || kind == 4 || kind == 7;
    const double white = input.Share() * 3.0;       // exposure on a negative
    const double range = 0.3 + 2.7 * input.Share(); // from white to black, log10 of light
    const double common[3] = {input.Share() * 1.5, 0.2 + 0.8 * input.Share(), 0.05 + 0.3 * input.Share()};
    const bool apart = input.OneIn(2);
    for (int c = 0; c < 3; c++) {
      const double base = common[0] + (apart ? 0.8 * input.Share() : 0.05 * c);
      const double slope = common[1] * (apart ? 0.4 + 1.2 * input.Share() : 1.0);
      const double light = apart ? input.Share() - 0.5 : 0.0;
      const double toe = common[2];
      m_clear[c] = Level(base);
      for (int i = 0; i < 256; i++) {
        const double dark = range * (1.0 - i / 255.0); // density of the scene
        const double density = negative ? slope * toe * std::log1p(std::exp((white + light - dark) / toe))
                                        : std::max(0.0, slope * dark + light);
        m_level[c][i] = Level(base + density);
      }
    }
    m_colourful = gray ? 0 : input.Take<uint8_t>();
    m_cast = input.OneIn(4) ? input.Below(3) : 3;
    m_patch = 1 + input.Below(24);
    m_noise = input.Below(16);
    m_seed = input.Take<uint16_t>() + 1u;
    for (Side& side : m_sides) side = {input.Below(8) / 32.0, input.Below(8) / 48.0, input.Below(4)};
    m_tilt = input.Below(64) / 256.0;
  }

  // x, y: 0 to below 1, from the picture's corner; column and line in pixels.
  uint8_t At(double x, double y, int64_t column, int64_t line, int c) const {
    const double depth[4] = {y - m_tilt * x, 1.0 - y, x, 1.0 - x}; // from each side
    for (int i = 0; i < 4; i++) {
      if (depth[i] < m_sides[i].outer) return Around(m_sides[i].kind, c);
    }
    for (int i = 0; i < 4; i++) {
      if (depth[i] < m_sides[i].outer + m_sides[i].inner) return m_clear[c];
    }
    const auto patch = static_cast<uint64_t>(line / m_patch * 977 + column / m_patch);
    const int light = Random(patch);
    const int own = c == m_cast ? 0 : Random(patch * 3 + static_cast<uint64_t>(c) + 0x51ED);
    const int mixed = light + (own - light) * m_colourful / 256;
    const int noise = m_noise * (Random(static_cast<uint64_t>(line * 4099 + column * 3 + c)) - 128) / 256;
    return static_cast<uint8_t>(std::clamp(m_level[c][mixed] + noise, 0, 255));
  }

 private:
  struct Side {
    double outer, inner; // widths: something around, clear film within
    int kind;
  };

  static uint8_t Level(double density) {
    return static_cast<uint8_t>(std::lround(std::min(255.0, 260.0 * std::pow(10.0, -density / 1.8))));
  }
  uint8_t Around(int kind, int c) const {
    const uint8_t levels[4] = {2, 255, m_clear[c], 128};
    return levels[kind];
  }
  int Random(uint64_t place) const { return static_cast<int>((place + m_seed) * 0x9E3779B97F4A7C15u >> 56); }

  uint8_t m_level[3][256]; // by the scene's light
  uint8_t m_clear[3];
  int m_colourful, m_cast, m_noise;
  int64_t m_patch;
  uint64_t m_seed;
  Side m_sides[4];
  double m_tilt;
};
