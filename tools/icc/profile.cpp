// By Little CMS.
#include "tools/icc/profile.h"

#include <lcms2.h>

#include <cmath>
#include <cstdint>

#include "engine/common/scale.h"
#include "engine/zep3.h"

namespace {

// Standard deviation of the gamma over the curve beyond which an estimate says nothing. sRGB, whose foot is straight,
// must pass: it lies below 0.1.
constexpr double kGammaSpread = 0.5;

// The gammas that the engine is asked for.
constexpr double kSmallest = 0.5, kLargest = 5;

// How far a curve may lie from sRGB's for its values to be sRGB: half a step of 8 bits, for curves kept as tables.
constexpr double kSrgbSpread = 0.5 / 255;

bool IsSrgbCurve(const cmsToneCurve* curve) {
  if (curve == nullptr) return false;
  for (int i = 0; i <= 255; i++) {
    // Seen as values, where a step is about as visible anywhere.
    const auto light = static_cast<double>(cmsEvalToneCurveFloat(curve, static_cast<float>(i) / 255.0F));
    if (std::fabs(SrgbValue(light) - i / 255.0) > kSrgbSpread) return false;
  }
  return true;
}

bool IsSrgb(void* profile) {
  const auto hasCurve = [&](cmsTagSignature tag) {
    return IsSrgbCurve(static_cast<const cmsToneCurve*>(cmsReadTag(profile, tag)));
  };
  switch (cmsGetColorSpace(profile)) {
    case cmsSigRgbData:
      return hasCurve(cmsSigRedTRCTag) && hasCurve(cmsSigGreenTRCTag) && hasCurve(cmsSigBlueTRCTag);
    case cmsSigGrayData:
      return hasCurve(cmsSigGrayTRCTag);
    default:
      return false;
  }
}

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
  if (profile && IsSrgb(profile.get())) return ZEP3_GAMMA_SRGB_CURVE;
  const double gamma = profile ? EstimateGamma(profile.get()) : 0;
  if (!(gamma >= kSmallest && gamma <= kLargest)) return std::nullopt;
  return static_cast<int>(std::lround(gamma * 10));
}
