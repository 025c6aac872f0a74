#include "own_source.h"

#include <exception>

#include "interrupt.h"

namespace {

gint64 Read(VipsSourceCustom*, void* to, gint64 size, ByteStream* stream) {
  try {
    if (!IsInterrupted()) return stream->Read(static_cast<uint8_t*>(to), size);
    vips_error("zep3", "interrupted");
  } catch (const std::exception& error) {
    vips_error("zep3", "%s", error.what());
  }
  return -1;
}

gint64 Seek(VipsSourceCustom*, gint64 offset, int whence, ByteStream* stream) { return stream->Seek(offset, whence); }

} // namespace

vips::VSource ToSource(std::unique_ptr<ByteStream> stream) {
  VipsSourceCustom* source = vips_source_custom_new();
  if (source == nullptr) throw vips::VError();
  ByteStream* bytes = stream.release(); // from now on the source's
  g_object_set_data_full(G_OBJECT(source), "zep3-stream", bytes,
                         [](gpointer owned) { delete static_cast<ByteStream*>(owned); });
  g_signal_connect(source, "read", G_CALLBACK(Read), bytes);
  g_signal_connect(source, "seek", G_CALLBACK(Seek), bytes);
  return vips::VSource(VIPS_SOURCE(source));
}
