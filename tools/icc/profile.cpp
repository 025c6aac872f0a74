// By Little CMS.
#include "tools/icc/profile.h"

#include <lcms2.h>

#include <cmath>
#include <cstdint>

namespace {

// Standard deviation of the gamma over the curve beyond which an estimate says nothing. sRGB, whose foot is straight,
// must pass: it lies below 0.1.
constexpr double kGammaSpread = 0.5;

// The gammas that the engine is asked for.
constexpr double kSmallest = 0.5, kLargest = 5;

// 0 or less when there is no such thing.
double EstimateGamma(void* profile) {
  switch (cmsGetColorSpace(profile)) {
    case cmsSigRgbData:
      return cmsDetectRGBProfileGamma(profile, kGammaSpread);
    case cmsSigGrayData: {
      const auto* curve = static_cast<const cmsToneCurve*>(cmsReadTag(profile, cmsSigGrayTRCTag));
      return curve == nullptr ? 0 : cmsEstimateGamma(curve, kGammaSpread);
    }
    default:
      return 0;
  }
}

} // namespace

void CloseProfile::operator()(void* profile) const { cmsCloseProfile(profile); }

IccProfile OpenProfile(const void* bytes, std::size_t size) {
  return IccProfile(size > UINT32_MAX ? nullptr : cmsOpenProfileFromMem(bytes, static_cast<cmsUInt32Number>(size)));
}

std::optional<int> GammaOf(const IccProfile& profile) {
  const double gamma = profile ? EstimateGamma(profile.get()) : 0;
  if (!(gamma >= kSmallest && gamma <= kLargest)) return std::nullopt;
  return static_cast<int>(std::lround(gamma * 10));
}
