// ICC profiles by Little CMS: their gamma, and curves replaced by another.
#include "page/encoding.h"

#include <lcms2.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>

#include "engine/zep3.h"
#include "failure.h"
#include "tools/icc/profile.h"

namespace {

struct FreeCurve {
  void operator()(cmsToneCurve* curve) const { cmsFreeToneCurve(curve); }
};

IccProfile ReadProfile(const vips::VImage& image) {
  if (image.get_typeof(VIPS_META_ICC_NAME) == 0) return nullptr;
  size_t size = 0;
  const void* data = image.get_blob(VIPS_META_ICC_NAME, &size);
  return OpenProfile(data, size);
}

std::string Description(const IccProfile& profile) {
  char text[256] = "";
  cmsGetProfileInfoASCII(profile.get(), cmsInfoDescription, "en", "US", text, sizeof text);
  return text;
}

using Curve = std::unique_ptr<cmsToneCurve, FreeCurve>;

std::vector<uint8_t> BytesOf(const IccProfile& profile) {
  cmsUInt32Number size = 0;
  if (!profile || !cmsSaveProfileToMem(profile.get(), nullptr, &size)) {
    throw Failure("its ICC profile cannot be rewritten");
  }
  std::vector<uint8_t> bytes(size);
  if (!cmsSaveProfileToMem(profile.get(), bytes.data(), &size)) throw Failure("its ICC profile cannot be rewritten");
  return bytes;
}

// With the date of the one that it stands for: the same scan gives the same bytes at any time.
std::vector<uint8_t> GrayProfile(const IccProfile& colours, const Encoding& encoding) {
  const auto* green = static_cast<const cmsToneCurve*>(cmsReadTag(colours.get(), cmsSigGreenTRCTag));
  const bool same = encoding.IsKept() && green != nullptr;
  const Curve curve(same ? cmsDupToneCurve(green) : cmsBuildGamma(nullptr, encoding.output / 10.0));
  std::vector<uint8_t> bytes = BytesOf(IccProfile(cmsCreateGrayProfile(cmsD50_xyY(), curve.get())));
  constexpr std::ptrdiff_t kDate = 24, kDateEnd = 36; // in the head of every profile
  const std::vector<uint8_t> before = BytesOf(colours);
  std::copy(before.begin() + kDate, before.begin() + kDateEnd, bytes.begin() + kDate);
  return bytes;
}

vips::VImage WithProfile(const vips::VImage& image, const std::vector<uint8_t>& profile) {
  vips::VImage fitted = image.copy();
  vips_image_set_blob_copy(fitted.get_image(), VIPS_META_ICC_NAME, profile.data(), profile.size());
  return fitted;
}

} // namespace

Encoding FindEncoding(const vips::VImage& image, std::optional<int> givenInput, std::optional<int> givenOutput) {
  Encoding encoding;
  if (givenInput) {
    encoding.input = *givenInput;
    encoding.source = "given";
  } else if (const IccProfile profile = ReadProfile(image)) {
    const std::optional<int> gamma = GammaOf(profile);
    encoding.input = gamma.value_or(ZEP3_GAMMA_SRGB_CURVE);
    encoding.source = "ICC profile " + Description(profile) + (gamma ? "" : ", which tells no gamma");
  } else {
    encoding.input = ZEP3_GAMMA_SRGB_CURVE;
    encoding.source = "sRGB assumed";
  }
  encoding.output = givenOutput.value_or(encoding.IsSrgb() ? int{ZEP3_GAMMA_SRGB} : encoding.input);
  return encoding;
}

vips::VImage FitProfile(const vips::VImage& image, const Encoding& encoding, bool madeGray) {
  if (encoding.IsKept() && !madeGray) return image;
  const IccProfile profile = ReadProfile(image);
  if (!profile) return image;

  const bool gray = cmsGetColorSpace(profile.get()) == cmsSigGrayData;
  if (madeGray && !gray) return WithProfile(image, GrayProfile(profile, encoding));
  const std::vector<cmsTagSignature> tags =
      gray ? std::vector{cmsSigGrayTRCTag} : std::vector{cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag};
  const Curve curve(cmsBuildGamma(nullptr, encoding.output / 10.0));
  for (const cmsTagSignature tag : tags) {
    // A tag must be dropped before it can be written anew.
    if (!cmsIsTag(profile.get(), tag) || cmsIsTag(profile.get(), cmsSigAToB0Tag) ||
        !cmsWriteTag(profile.get(), tag, nullptr) || !cmsWriteTag(profile.get(), tag, curve.get())) {
      throw Failure("its ICC profile (" + Description(profile) +
                    ") is no plain matrix profile, so that it cannot take another gamma; leave --output-gamma out");
    }
  }
  return WithProfile(image, BytesOf(profile));
}
