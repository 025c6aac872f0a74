// GLib and libvips make text and pictures fit for a page.
#include "told/html.h"

#include <glib.h>

#include <algorithm>
#include <cstring>
#include <memory>

namespace {

std::string Owned(gchar* text) { return std::unique_ptr<gchar, decltype(&g_free)>(text, g_free).get(); }

} // namespace

std::string Escape(const std::string& text) {
  std::string valid = Owned(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
  for (char& c : valid) c = g_ascii_iscntrl(c) ? ' ' : c;
  return Owned(g_markup_escape_text(valid.data(), static_cast<gssize>(valid.size())));
}

std::string PageHead(std::string_view policy) {
  return R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content=")" +
         std::string(policy) + R"(">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
)";
}

std::string Base64(const void* data, size_t size) {
  return Owned(g_base64_encode(static_cast<const guchar*>(data), size));
}

vips::VImage Bare(const vips::VImage& picture) {
  vips::VImage bare = picture.autorot().copy();
  std::unique_ptr<char*, decltype(&g_strfreev)> fields(vips_image_get_fields(bare.get_image()), g_strfreev);
  for (char** field = fields.get(); *field != nullptr; ++field) {
    if (std::strcmp(*field, VIPS_META_ICC_NAME) != 0) bare.remove(*field);
  }
  return bare;
}

std::string JpegOf(const vips::VImage& bare, int quality) {
  // Full colour resolution: what is judged here is colour.
  VipsBlob* const blob = bare.jpegsave_buffer(
      vips::VImage::option()->set("Q", quality)->set("subsample_mode", VIPS_FOREIGN_SUBSAMPLE_OFF));
  size_t size = 0;
  const void* const bytes = vips_blob_get(blob, &size);
  std::string jpeg(static_cast<const char*>(bytes), size);
  vips_area_unref(VIPS_AREA(blob));
  return jpeg;
}

std::string PictureFigure(const vips::VImage& bare, const std::string& alt, const std::string& caption,
                          const std::string& over, int quality) {
  const std::string jpeg = JpegOf(bare, quality);
  const std::string picture = "<img width=\"" + std::to_string(bare.width()) + "\" height=\"" +
                              std::to_string(bare.height()) + "\" alt=\"" + Escape(alt) +
                              "\" src=\"data:image/jpeg;base64," + Base64(jpeg.data(), jpeg.size()) + "\">";
  return "<figure>\n" + (over.empty() ? picture : "<div class=\"under\">" + picture + over + "</div>") +
         "\n<figcaption>" + caption + "</figcaption>\n</figure>\n";
}

vips::VImage InBytes(const vips::VImage& image) {
  return image.format() == VIPS_FORMAT_USHORT ? (image * (1 / 257.0) + 0.5).cast(VIPS_FORMAT_UCHAR) : image;
}

vips::VImage ShownPicture(const vips::VImage& image, double side) {
  const auto space = image.bands() >= 3 ? VIPS_INTERPRETATION_sRGB : VIPS_INTERPRETATION_B_W;
  const vips::VImage shown = InBytes(image).copy(vips::VImage::option()->set("interpretation", space));
  const double scale = side / std::max(image.width(), image.height());
  if (scale < 1) return shown.resize(scale).copy_memory();
  return image.format() == VIPS_FORMAT_UCHAR ? shown : shown.copy_memory(); // bytes are shared
}

std::string Thumbnail(const vips::VImage& before, const vips::VImage& after) {
  const auto small = [](const vips::VImage& picture) {
    const vips::VImage upright = Bare(ShownPicture(picture, kThumbnailSide));
    const vips::VImage colours = upright.bands() >= 3 ? upright : upright.bandjoin({upright, upright});
    const vips::VImage rgb = colours.copy(vips::VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
    if (upright.get_typeof(VIPS_META_ICC_NAME) == 0) return rgb;
    try {
      return upright.icc_transform("srgb", vips::VImage::option()->set("embedded", true)).copy_memory();
    } catch (const vips::VError&) { // a profile that cannot be applied
      vips_error_clear();
      return rgb;
    }
  };
  const double kGround = 128;
  const vips::VImage pair = small(before).join(small(after), VIPS_DIRECTION_HORIZONTAL,
                                               vips::VImage::option()
                                                   ->set("expand", true)
                                                   ->set("shim", 4)
                                                   ->set("align", VIPS_ALIGN_CENTRE)
                                                   ->set("background", std::vector<double>(3, kGround)));
  const vips::VImage bare = pair.copy();
  bare.remove(VIPS_META_ICC_NAME);
  return JpegOf(bare, 80);
}
