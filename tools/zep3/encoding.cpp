#include "encoding.h"

#include <lcms2.h>

#include <cmath>
#include <memory>
#include <string>

#include "engine/zep3.h"
#include "failure.h"

namespace {

constexpr int kDisplayGamma = 22;

struct CloseProfile {
  void operator()(void* profile) const { cmsCloseProfile(profile); }
};
using Profile = std::unique_ptr<void, CloseProfile>;

struct FreeCurve {
  void operator()(cmsToneCurve* curve) const { cmsFreeToneCurve(curve); }
};

Profile ReadProfile(const vips::VImage& image) {
  if (image.get_typeof(VIPS_META_ICC_NAME) == 0) return nullptr;
  size_t size = 0;
  const void* data = image.get_blob(VIPS_META_ICC_NAME, &size);
  return Profile(cmsOpenProfileFromMem(data, static_cast<cmsUInt32Number>(size)));
}

std::string Description(const Profile& profile) {
  char text[256] = "";
  cmsGetProfileInfoASCII(profile.get(), cmsInfoDescription, "en", "US", text, sizeof text);
  return text;
}

// Standard deviation of the gamma over the curve beyond which an estimate says nothing. sRGB, whose foot is straight,
// must pass: it lies below 0.1.
constexpr double kGammaSpread = 0.5;

// Gamma of the profile's curves; 0 or less when there is no such thing.
double EstimateGamma(const Profile& profile) {
  switch (cmsGetColorSpace(profile.get())) {
    case cmsSigRgbData:
      return cmsDetectRGBProfileGamma(profile.get(), kGammaSpread);
    case cmsSigGrayData: {
      const auto* curve = static_cast<const cmsToneCurve*>(cmsReadTag(profile.get(), cmsSigGrayTRCTag));
      return curve == nullptr ? 0 : cmsEstimateGamma(curve, kGammaSpread);
    }
    default:
      return 0;
  }
}

} // namespace

Encoding FindEncoding(const vips::VImage& image, std::optional<int> givenInput, std::optional<int> givenOutput) {
  Encoding encoding;
  if (givenInput) {
    encoding.input = *givenInput;
    encoding.source = "given";
  } else if (const Profile profile = ReadProfile(image)) {
    const double gamma = EstimateGamma(profile);
    // The same limits as for a gamma that the user gives.
    const bool found = gamma >= 0.5 && gamma <= 5;
    encoding.input = found ? static_cast<int>(std::lround(gamma * 10)) : kDisplayGamma;
    encoding.source = "ICC profile " + Description(profile) + (found ? "" : ", which tells no gamma");
  } else {
    encoding.input = kDisplayGamma;
    encoding.source = "sRGB assumed";
  }
  encoding.output = givenOutput.value_or(encoding.input);
  return encoding;
}

vips::VImage FitProfile(const vips::VImage& image, const Encoding& encoding) {
  if (encoding.input == encoding.output) return image;
  const Profile profile = ReadProfile(image);
  if (!profile) return image;

  const bool gray = cmsGetColorSpace(profile.get()) == cmsSigGrayData;
  const std::vector<cmsTagSignature> tags =
      gray ? std::vector{cmsSigGrayTRCTag} : std::vector{cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag};
  const std::unique_ptr<cmsToneCurve, FreeCurve> curve(cmsBuildGamma(nullptr, encoding.output / 10.0));
  for (const cmsTagSignature tag : tags) {
    // A tag must be dropped before it can be written anew.
    if (!cmsIsTag(profile.get(), tag) || cmsIsTag(profile.get(), cmsSigAToB0Tag) ||
        !cmsWriteTag(profile.get(), tag, nullptr) || !cmsWriteTag(profile.get(), tag, curve.get())) {
      throw Failure("its ICC profile (" + Description(profile) +
                    ") is no plain matrix profile, so that it cannot take another gamma; leave --output-gamma out");
    }
  }
  cmsUInt32Number size = 0;
  if (!cmsSaveProfileToMem(profile.get(), nullptr, &size)) throw Failure("its ICC profile cannot be rewritten");
  std::vector<uint8_t> bytes(size);
  if (!cmsSaveProfileToMem(profile.get(), bytes.data(), &size)) throw Failure("its ICC profile cannot be rewritten");
  vips::VImage fitted = image.copy();
  vips_image_set_blob_copy(fitted.get_image(), VIPS_META_ICC_NAME, bytes.data(), size);
  return fitted;
}
