// By Little CMS.
#include "tools/icc/profile_gamma.h"

#include <lcms2.h>

#include <cmath>
#include <cstdint>
#include <memory>

namespace {

struct CloseProfile {
  void operator()(void* profile) const { cmsCloseProfile(profile); }
};

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

std::optional<int> ProfileGamma(const void* profile, std::size_t bytes) {
  if (bytes > UINT32_MAX) return std::nullopt;
  const std::unique_ptr<void, CloseProfile> opened(cmsOpenProfileFromMem(profile, static_cast<cmsUInt32Number>(bytes)));
  const double gamma = opened ? EstimateGamma(opened.get()) : 0;
  if (!(gamma >= kSmallest && gamma <= kLargest)) return std::nullopt;
  return static_cast<int>(std::lround(gamma * 10));
}
