// A TIFF file opened by libtiff.
#pragma once

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include <tiffio.h>

#include "failure.h"
#include "files/pending_file.h"
#include "tiff/tiff_layout.h"

// A file in memory: a block of EXIF, which is a TIFF without pixels, or a few compressed strips.
struct MemoryFile {
  std::string bytes;
  size_t at = 0;
};

// Largest single allocation, in bytes, that a size in a damaged file can cause here or in libtiff.
constexpr int64_t kLargestAllocation = int64_t{1} << 30;

// Messages stay with the handle: libtiff's global handlers are shared by all threads and belong to libvips. Warnings
// are dropped.
class TiffHandle {
 public:
  // To read a page. m: a truncated map would raise SIGBUS. c: strips as they are stored, a large one not as many small
  // ones. h: no directory is read yet, else libtiff would look for the known one by going through them all.
  TiffHandle(const std::string& path, TiffPlace place) : m_path(path) {
    const char* mode = place.IsKnown() ? "rmch" : "rmc";
    Open([&](TIFFOpenOptions* options) { return TIFFOpenExt(path.c_str(), mode, options); });
    if (place.page == 0) return;
    const int found =
        place.IsKnown() ? TIFFSetSubDirectory(*this, place.directory) : TIFFSetDirectory(*this, place.page);
    if (found == 0) Fail("page " + std::to_string(place.page + 1) + " cannot be read");
  }
  // To read ("rmc") or write a file that is not yet a result.
  TiffHandle(PendingFile& file, const char* mode) : m_path(file.Name()), m_file(&file) {
    const auto read = [](thandle_t from, void* to, tmsize_t size) -> tmsize_t {
      return static_cast<PendingFile*>(from)->Read(to, static_cast<size_t>(size));
    };
    const auto write = [](thandle_t to, void* from, tmsize_t size) -> tmsize_t {
      return static_cast<PendingFile*>(to)->Write(from, static_cast<size_t>(size));
    };
    const auto seek = [](thandle_t in, toff_t offset, int whence) {
      return static_cast<toff_t>(static_cast<PendingFile*>(in)->Seek(static_cast<int64_t>(offset), whence));
    };
    const auto size = [](thandle_t of) -> toff_t { return static_cast<PendingFile*>(of)->Size(); };
    const auto close = [](thandle_t) { return 0; };
    file.Seek(0, SEEK_SET);
    Open([&](TIFFOpenOptions* options) {
      return TIFFClientOpenExt(m_path.c_str(), mode, &file, read, write, seek, close, size, nullptr, nullptr, options);
    });
  }
  // To read the head alone, for libtiff knows no directories without pixels, or to write. `name`: for messages.
  explicit TiffHandle(MemoryFile& file, const char* mode = "rmh", const char* name = "EXIF") : m_path(name) {
    const auto read = [](thandle_t from, void* to, tmsize_t size) -> tmsize_t {
      auto& memory = *static_cast<MemoryFile*>(from);
      const size_t count = memory.bytes.copy(static_cast<char*>(to), static_cast<size_t>(size), memory.at);
      memory.at += count;
      return static_cast<tmsize_t>(count);
    };
    const auto write = [](thandle_t to, void* from, tmsize_t size) -> tmsize_t {
      auto& memory = *static_cast<MemoryFile*>(to);
      const auto count = static_cast<size_t>(size);
      if (memory.bytes.size() < memory.at + count) memory.bytes.resize(memory.at + count);
      memory.bytes.replace(memory.at, count, static_cast<const char*>(from), count);
      memory.at += count;
      return size;
    };
    const auto seek = [](thandle_t in, toff_t offset, int whence) -> toff_t { // from the beginning or the end
      auto& memory = *static_cast<MemoryFile*>(in);
      if (whence == SEEK_END) offset += memory.bytes.size();
      return memory.at = std::min<size_t>(offset, memory.bytes.size() + 1); // a byte of padding
    };
    const auto size = [](thandle_t of) -> toff_t { return static_cast<MemoryFile*>(of)->bytes.size(); };
    const auto close = [](thandle_t) { return 0; };
    file.at = 0;
    Open([&](TIFFOpenOptions* options) {
      return TIFFClientOpenExt(m_path.c_str(), mode, &file, read, write, seek, close, size, nullptr, nullptr, options);
    });
  }
  TiffHandle(const TiffHandle&) = delete;
  TiffHandle& operator=(const TiffHandle&) = delete;

  operator TIFF*() const { return m_tiff.get(); }

  template <typename Value>
  Value Get(uint32_t tag, Value otherwise) const {
    Value value = otherwise;
    return TIFFGetFieldDefaulted(*this, tag, &value) != 0 ? value : otherwise;
  }

  // To be called after a failed write.
  [[noreturn]] void FailToWrite() const {
    if (m_file != nullptr) m_file->Check(); // the system's reason
    Fail("cannot be written");
  }

  [[noreturn]] void Fail(const std::string& what) const {
    std::string reason = m_reason.data();
    if (reason.starts_with(m_path + ": ")) reason.erase(0, m_path.size() + 2);
    throw Failure(m_path + ": " + what + (reason.empty() ? "" : ": " + reason));
  }

 private:
  template <typename OpenWith>
  void Open(OpenWith open) {
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, kLargestAllocation);
    TIFFOpenOptionsSetErrorHandlerExtR(options, &TiffHandle::KeepReason, this);
    TIFFOpenOptionsSetWarningHandlerExtR(
        options, [](TIFF*, void*, const char*, const char*, va_list) { return 1; }, nullptr);
    m_tiff.reset(open(options));
    TIFFOpenOptionsFree(options);
    if (m_tiff != nullptr) return;
    if (m_file != nullptr) m_file->Check();
    Fail("cannot be opened as TIFF");
  }

  static int KeepReason(TIFF*, void* self, const char*, const char* format, va_list arguments) {
    auto& reason = static_cast<TiffHandle*>(self)->m_reason;
    std::vsnprintf(reason.data(), reason.size(), format, arguments);
    return 1; // not to the global handler
  }

  std::string m_path;
  PendingFile* m_file = nullptr; // what is written; null: a file to read
  std::array<char, 512> m_reason{};
  std::unique_ptr<TIFF, decltype(&TIFFClose)> m_tiff{nullptr, TIFFClose}; // closed also where its page is not found
};
