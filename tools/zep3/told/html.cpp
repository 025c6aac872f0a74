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

std::string PictureFigure(const vips::VImage& bare, const std::string& alt, const std::string& caption) {
  // Full colour resolution: what is judged here is colour.
  VipsBlob* const blob = bare.jpegsave_buffer(vips::VImage::option()
                                                  ->set("Q", 90)
                                                  ->set("optimize_coding", true)
                                                  ->set("subsample_mode", VIPS_FOREIGN_SUBSAMPLE_OFF));
  size_t size = 0;
  const void* const jpeg = vips_blob_get(blob, &size);
  const std::string data = Base64(jpeg, size);
  vips_area_unref(VIPS_AREA(blob));
  return "<figure>\n<img width=\"" + std::to_string(bare.width()) + "\" height=\"" + std::to_string(bare.height()) +
         "\" alt=\"" + Escape(alt) + "\" src=\"data:image/jpeg;base64," + data + "\">\n<figcaption>" + caption +
         "</figcaption>\n</figure>\n";
}

vips::VImage InBytes(const vips::VImage& image) {
  return image.format() == VIPS_FORMAT_USHORT ? (image * (1 / 257.0) + 0.5).cast(VIPS_FORMAT_UCHAR) : image;
}

vips::VImage ShownPicture(const vips::VImage& image, double side) {
  const auto space = image.bands() >= 3 ? VIPS_INTERPRETATION_sRGB : VIPS_INTERPRETATION_B_W;
  const vips::VImage shown = InBytes(image).copy(vips::VImage::option()->set("interpretation", space));
  const double scale = side / std::max(image.width(), image.height());
  return (scale < 1 ? shown.resize(scale) : shown).copy_memory();
}
