// A TIFF file opened by libtiff.
#pragma once

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include <tiffio.h>

#include "failure.h"
#include "tiff_pages.h"

// What a fuzzed size may make us or libtiff allocate at once, in bytes.
constexpr int64_t kLargestAllocation = int64_t{1} << 30;

// Messages stay with the handle: libtiff's global handlers are shared by all threads and belong to libvips. Warnings
// are dropped.
class TiffHandle {
 public:
  TiffHandle(const std::string& path, const char* mode) : m_path(path) {
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, kLargestAllocation);
    TIFFOpenOptionsSetErrorHandlerExtR(options, &TiffHandle::KeepReason, this);
    TIFFOpenOptionsSetWarningHandlerExtR(
        options, [](TIFF*, void*, const char*, const char*, va_list) { return 1; }, nullptr);
    m_tiff = TIFFOpenExt(path.c_str(), mode, options);
    TIFFOpenOptionsFree(options);
    if (m_tiff == nullptr) Fail("cannot be opened as TIFF");
  }
  // m: a truncated map would raise SIGBUS. c: strips as they are stored, a large one not as many small ones.
  // h: no directory is read yet, else libtiff would look for the known one by going through them all.
  TiffHandle(const std::string& path, TiffPlace place) : TiffHandle(path, place.IsKnown() ? "rmch" : "rmc") {
    if (place.page == 0) return;
    const int found =
        place.IsKnown() ? TIFFSetSubDirectory(m_tiff, place.directory) : TIFFSetDirectory(m_tiff, place.page);
    if (found == 0) Fail("page " + std::to_string(place.page + 1) + " cannot be read");
  }
  TiffHandle(const TiffHandle&) = delete;
  TiffHandle& operator=(const TiffHandle&) = delete;
  ~TiffHandle() { TIFFClose(m_tiff); }

  operator TIFF*() const { return m_tiff; }

  template <typename Value>
  Value Get(uint32_t tag, Value otherwise) const {
    Value value = otherwise;
    return TIFFGetFieldDefaulted(m_tiff, tag, &value) != 0 ? value : otherwise;
  }

  // Of a call that has set errno, before which it was 0.
  [[noreturn]] void FailToWrite() const {
    Fail(errno == 0 ? "cannot be written" : std::string("cannot be written, ") + std::strerror(errno));
  }

  [[noreturn]] void Fail(const std::string& what) const {
    std::string reason = m_reason.data();
    if (reason.starts_with(m_path + ": ")) reason.erase(0, m_path.size() + 2);
    throw Failure(m_path + ": " + what + (reason.empty() ? "" : ": " + reason));
  }

 private:
  static int KeepReason(TIFF*, void* self, const char*, const char* format, va_list arguments) {
    auto& reason = static_cast<TiffHandle*>(self)->m_reason;
    std::vsnprintf(reason.data(), reason.size(), format, arguments);
    return 1; // not to the global handler
  }

  std::string m_path;
  std::array<char, 512> m_reason{};
  TIFF* m_tiff = nullptr;
};

TiffLayout LayoutOf(const TiffHandle& tiff);

// Gives the page to be written what libtiff must know to place its blocks.
void SetLayout(const TiffHandle& from, const TiffLayout& layout, const TiffHandle& to);
