#include "opening/to_rgb.h"

#include <lcms2.h>

#include "failure.h"
#include "opening/blobs.h"
#include "tools/icc/profile.h"

namespace {

// Header fields of images that were converted: the profile of CMYK, which Lab has none of.
constexpr const char* kOwnProfileField = "zep3-own-profile";

vips::VOption* Intent(int bits) {
  auto* how = vips::VImage::option()->set("intent", VIPS_INTENT_RELATIVE)->set("depth", bits);
  return how->set("black_point_compensation", true);
}

bool WasCmyk(const vips::VImage& image) { return image.get_typeof(kOwnProfileField) != 0; }

// libvips would take a profile of its own for one that is damaged or of other colours.
void CheckCmykProfile(const vips::VImage& image) {
  if (image.get_typeof(VIPS_META_ICC_NAME) == 0)
    throw Failure("is a CMYK picture without a profile, so that its colours are not known; convert it to RGB first");
  const std::string bytes = BlobOf(image, VIPS_META_ICC_NAME);
  const IccProfile profile = OpenProfile(bytes.data(), bytes.size());
  const bool good = profile && cmsGetColorSpace(profile.get()) == cmsSigCmykData &&
                    cmsIsIntentSupported(profile.get(), INTENT_RELATIVE_COLORIMETRIC, LCMS_USED_AS_INPUT);
  if (!good) throw Failure("is a CMYK picture whose profile is no usable one of CMYK; convert it to RGB first");
}

bool IsLab(const vips::VImage& image) {
  const VipsInterpretation space = image.interpretation();
  return space == VIPS_INTERPRETATION_LAB || space == VIPS_INTERPRETATION_LABQ || space == VIPS_INTERPRETATION_LABS;
}

} // namespace

vips::VImage ToRgb(const vips::VImage& image, int bits) {
  const bool cmyk = image.interpretation() == VIPS_INTERPRETATION_CMYK;
  if ((!cmyk && !IsLab(image)) || (bits != 8 && bits != 16)) return image;
  if (cmyk) CheckCmykProfile(image);
  const vips::VImage colours = cmyk ? image : image.colourspace(VIPS_INTERPRETATION_LAB);
  const char* const to = bits == 16 ? "p3" : "srgb";
  vips::VImage rgb = (cmyk ? colours.icc_transform(to, Intent(bits)->set("embedded", true))
                           : colours.icc_export(Intent(bits)->set("output_profile", to)))
                         .copy();
  if (cmyk) SetBlob(rgb, kOwnProfileField, BlobOf(image, VIPS_META_ICC_NAME));
  rgb.set(kConvertedField, (std::string(cmyk ? "its CMYK colours" : "its Lab colours") + " become RGB (" +
                            (bits == 16 ? "Display P3" : "sRGB") + ")")
                               .c_str());
  return rgb;
}

vips::VImage FromRgb(const vips::VImage& image) {
  const int bits = image.format() == VIPS_FORMAT_USHORT ? 16 : 8;
  auto* how = vips::VImage::option()->set("intent", VIPS_INTENT_RELATIVE)->set("embedded", true);
  vips::VImage lab = image.icc_import(how->set("black_point_compensation", true)).copy();
  vips_image_remove(lab.get_image(), VIPS_META_ICC_NAME);
  if (!WasCmyk(image)) return lab.colourspace(bits == 16 ? VIPS_INTERPRETATION_LABS : VIPS_INTERPRETATION_LABQ);
  const std::string own = BlobOf(image, kOwnProfileField);
  if (!cmsIsIntentSupported(OpenProfile(own.data(), own.size()).get(), INTENT_RELATIVE_COLORIMETRIC,
                            LCMS_USED_AS_OUTPUT))
    throw Failure("its CMYK profile does not lead back to inks; leave --keep-space out");
  SetBlob(lab, VIPS_META_ICC_NAME, own);
  return lab.icc_export(Intent(bits)); // to the profile that it carries
}

bool HoldsOwnSpace(const vips::VImage& image, std::string_view format) {
  return format == "tiff" || (format == "jpeg" && WasCmyk(image));
}

std::string ConversionOf(const vips::VImage& image) {
  return image.get_typeof(kConvertedField) == 0 ? "" : image.get_string(kConvertedField);
}
