#include "engine/page/tables.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "engine/common/convert.h"
#include "engine/common/scale.h"
#include "engine/lut/sampler.h"

namespace page {
namespace {

// One table a channel, for levels on paper of 1 that the channels of `tint` are taken from.
void Sample(ZEP3_PARA para, const ZEP3_SURFACE& surface, const double (&tint)[3], int64_t entries, uint16_t* table) {
  const auto sampler = std::make_unique<CurveSampler>(&para, nullptr);
  const double toDisplay = static_cast<double>(surface.lScanGamma) / static_cast<double>(para.lScreenGamma);
  const double toLinear = LinearExponent(para);
  for (int c = 0; c < 3; c++) {
    for (int64_t i = 0; i < entries; i++) {
      const double n = kTableMost * static_cast<double>(i) / static_cast<double>(entries - 1);
      const double level = Clamp(std::pow(n * tint[c], toDisplay) * surface.dPaper[c], 0.0, 1.0);
      const double display = sampler->At(c, 255.0 * std::pow(level, toLinear));
      *table++ = display > 0.0 ? static_cast<uint16_t>(std::min(257.0 * display + 0.5, 65535.0)) : uint16_t{0};
    }
  }
}

} // namespace

void MakeTables(const ZEP3_PARA& para, const ZEP3_SURFACE& surface, int64_t entries, uint16_t* table) {
  Sample(para, surface, {1.0, 1.0, 1.0}, entries, table);
  ZEP3_PARA objects = para;
  for (ZEP3_POINTS& p : objects.ic.ch) {
    p.lSdIn = ToInt32(static_cast<double>(p.lSdIn) * surface.dObjectShadow);
    p.lGamma = ToInt32(static_cast<double>(p.lGamma) * surface.dObjectGamma + 0.5);
  }
  Sample(objects, surface, surface.dObjectTint, entries, table + 3 * entries);
  uint16_t* white = table + 6 * entries;
  for (int64_t i = 0; i < entries; i++) {
    const double n = kTableMost * static_cast<double>(i) / static_cast<double>(entries - 1);
    const double t = Clamp((n - surface.dWhiteFrom) / (surface.dWhiteTo - surface.dWhiteFrom), 0.0, 1.0);
    const bool whitens = surface.lFound == ZEP3_SURFACE_PAPER && !std::isnan(t);
    white[i] = whitens ? static_cast<uint16_t>(65535.0 * t * t * (3.0 - 2.0 * t) + 0.5) : uint16_t{0};
  }
}

} // namespace page
