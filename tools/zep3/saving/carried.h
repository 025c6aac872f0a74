// What the image library would leave out of a PNG, or make up in PNG and JPEG: the coding of the colours (cICP) and
// the resolution.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include <vips/vips8>

#include "files/pending_file.h"
#include "opening/scan.h"

struct PngChunkKind {
  const char* name;
  int64_t size; // bytes of its data
};
inline constexpr PngChunkKind kCicp = {"cICP", 4};
inline constexpr PngChunkKind kPhys = {"pHYs", 9};

// The scan's own chunk, whole; empty where it is no PNG or has none.
std::string PngChunkOf(const Scan& scan, const PngChunkKind& kind);

// False where the scan says nothing of how large it is: the image then has a resolution by default. `phys`: the scan's
// kPhys chunk.
bool HasResolution(const vips::VImage& image, const Scan& scan, const std::string& phys);

// What the image library writes of a PNG before the pixels, with chunks of the scan.
class PngHead {
 public:
  // `chunks`: whole, added behind the first. `sized`: the resolution that the image library writes stays.
  PngHead(std::string chunks, bool sized) : m_chunks(std::move(chunks)), m_sized(sized) {}

  // What comes next of the file. True once the head is whole; then there is nothing more to add.
  bool Add(const void* bytes, size_t size);
  bool IsWhole() const { return m_whole; }
  const std::string& Head() const { return m_head; }
  const std::string& Behind() const { return m_behind; } // what was added with its end

 private:
  std::string m_chunks;
  bool m_sized;
  bool m_whole = false;
  std::string m_head, m_behind;
};

// Says in the EXIF block of a finished JPEG or WebP that its resolution has no unit.
void TakeUnitFromJpeg(PendingFile& file);
void TakeUnitFromWebp(PendingFile& file);
