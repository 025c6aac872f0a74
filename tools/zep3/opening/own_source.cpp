// A byte stream behind libvips' custom source.
#include "opening/own_source.h"

#include <exception>

#include "failure.h"
#include "interrupt.h"

namespace {

struct Stream {
  std::unique_ptr<ByteStream> bytes;
  std::shared_ptr<ReadFault> fault;
};

gint64 Read(VipsSourceCustom*, void* to, gint64 size, Stream* stream) {
  try {
    stream->fault->Check();
    if (IsInterrupted()) throw Failure("interrupted");
    return stream->bytes->Read(static_cast<uint8_t*>(to), size);
  } catch (const std::exception& error) {
    stream->fault->Keep(error.what());
    vips_error("zep3", "%s", error.what());
    return -1;
  }
}

gint64 Seek(VipsSourceCustom*, gint64 offset, int whence, Stream* stream) {
  return stream->bytes->Seek(offset, whence);
}

} // namespace

void ReadFault::Keep(const std::string& reason) {
  const std::lock_guard lock(m_mutex);
  if (m_reason.empty()) m_reason = reason;
}

void ReadFault::Check() const {
  const std::lock_guard lock(m_mutex);
  if (!m_reason.empty()) throw Failure(m_reason, Cause::kUnreadable);
}

vips::VSource ToSource(std::unique_ptr<ByteStream> stream, const std::shared_ptr<ReadFault>& fault) {
  VipsSourceCustom* source = vips_source_custom_new();
  if (source == nullptr) throw vips::VError();
  auto* owned = new Stream{std::move(stream), fault};
  g_object_set_data_full(G_OBJECT(source), "zep3-stream", owned,
                         [](gpointer data) { delete static_cast<Stream*>(data); });
  g_signal_connect(source, "read", G_CALLBACK(Read), owned);
  g_signal_connect(source, "seek", G_CALLBACK(Seek), owned);
  return vips::VSource(VIPS_SOURCE(source));
}
