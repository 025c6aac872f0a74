// The image library knows EXIF in JPEG: the block takes its way through one of a single pixel.
#include "opening/exif_fields.h"

#include <glib.h>

#include <memory>
#include <string_view>

namespace {

using namespace std::string_view_literals;

std::string PixelWith(const std::string& exif) {
  const vips::VImage pixel = vips::VImage::black(1, 1);
  VipsBlob* const blob = pixel.jpegsave_buffer(vips::VImage::option()->set("strip", true));
  size_t size = 0;
  const void* const bytes = vips_blob_get(blob, &size);
  std::string jpeg(static_cast<const char*>(bytes), size);
  vips_area_unref(VIPS_AREA(blob));
  const size_t length = exif.size() + 8; // with itself and the name
  std::string segment = "\xFF\xE1";
  segment += {static_cast<char>(length >> 8), static_cast<char>(length & 0xFF)};
  segment += "Exif\0\0"sv;
  return jpeg.insert(2, segment + exif); // behind the first marker
}

void CopyField(const vips::VImage& from, vips::VImage& to, const char* name) {
  GValue value = G_VALUE_INIT;
  if (vips_image_get(from.get_image(), name, &value) != 0) return vips_error_clear();
  vips_image_set(to.get_image(), name, &value);
  g_value_unset(&value);
}

} // namespace

std::string BareExif(const std::string& block) {
  constexpr size_t kMostBefore = 10; // an offset and "Exif\0\0"
  const size_t begin = std::min(block.find("II*\0"sv), block.find("MM\0*"sv));
  return begin <= kMostBefore ? block.substr(begin) : "";
}

bool SetExif(vips::VImage& image, const std::string& exif, bool turns) {
  if (exif.size() > kMostInSegment) return false;
  const std::string jpeg = PixelWith(exif);
  VipsBlob* const blob = vips_blob_copy(jpeg.data(), jpeg.size());
  const vips::VImage pixel = vips::VImage::jpegload_buffer(blob);
  vips_area_unref(VIPS_AREA(blob));
  image = image.copy();
  const std::unique_ptr<char*, decltype(&g_strfreev)> fields(vips_image_get_fields(pixel.get_image()), g_strfreev);
  for (char** field = fields.get(); *field != nullptr; ++field) {
    const std::string_view name = *field;
    const bool orientation = name == VIPS_META_ORIENTATION || name == "exif-ifd0-Orientation";
    if (orientation ? turns : name.starts_with("exif-")) CopyField(pixel, image, *field);
  }
  return true;
}
