// Bytes in the header of an image, such as its profile.
#pragma once

#include <string>

#include <vips/vips8>

// Empty where it has none.
inline std::string BlobOf(const vips::VImage& image, const char* name) {
  if (image.get_typeof(name) == 0) return "";
  size_t size = 0;
  const void* const bytes = image.get_blob(name, &size);
  return {static_cast<const char*>(bytes), size};
}

inline void SetBlob(vips::VImage& image, const char* name, const std::string& bytes) {
  image = image.copy(); // a header that others share stays
  vips_image_set_blob_copy(image.get_image(), name, bytes.data(), bytes.size());
}
