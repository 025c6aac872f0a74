#include "opening/to_rgb.h"

#include <lcms2.h>

#include "failure.h"
#include "tools/icc/profile.h"

namespace {

// libvips would take a profile of its own for one that is damaged or of other colours.
void CheckCmykProfile(const vips::VImage& image) {
  if (image.get_typeof(VIPS_META_ICC_NAME) == 0)
    throw Failure("is a CMYK picture without a profile, so that its colours are not known; convert it to RGB first");
  size_t size = 0;
  const void* data = image.get_blob(VIPS_META_ICC_NAME, &size);
  const IccProfile profile = OpenProfile(data, size);
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
  auto* how = vips::VImage::option()->set("intent", VIPS_INTENT_RELATIVE)->set("depth", bits);
  how->set("black_point_compensation", true);
  vips::VImage rgb = (cmyk ? colours.icc_transform(to, how->set("embedded", true))
                           : colours.icc_export(how->set("output_profile", to)))
                         .copy();
  rgb.set(kConvertedField, (std::string(cmyk ? "its CMYK colours" : "its Lab colours") + " become RGB (" +
                            (bits == 16 ? "Display P3" : "sRGB") + ")")
                               .c_str());
  return rgb;
}

std::string ConversionOf(const vips::VImage& image) {
  return image.get_typeof(kConvertedField) == 0 ? "" : image.get_string(kConvertedField);
}
