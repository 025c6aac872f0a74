// What libvips does not carry from TIFF to TIFF: the layout, most tags, and pages of different kinds in one file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class PendingFile;
class TiffHandle;

// Room for one strip or row of tiles of a result; scans in one strip would otherwise be held whole.
constexpr int64_t kLargestStrip = 8 << 20;

// Bytes of pixels beyond which a classic TIFF's 32-bit offsets may not do.
constexpr int64_t kLargestClassic = 3'900'000'000;

// A page of a TIFF file: its number from 0 and, where that is known, the offset of its directory. Else the way to it
// leads through the directories of all pages before it.
struct TiffPlace {
  constexpr TiffPlace(unsigned number, uint64_t offset = 0) : page(number), directory(offset) {}

  // That the way to it need not be gone: to the first page there is none.
  bool IsKnown() const { return page != 0 && directory != 0; }

  unsigned page;
  uint64_t directory; // 0: not known
};
inline constexpr TiffPlace kFirstPage = 0u;

// How one page (directory) of a TIFF file is laid out, as far as the result shall look alike.
struct TiffLayout {
  uint16_t compression = 1; // COMPRESSION_... of tiff.h
  uint16_t predictor = 1;   // PREDICTOR_... of tiff.h; 1: none
  bool tiled = false;
  uint32_t tileWidth = 0; // pixels; 0 when not tiled
  uint32_t tileHeight = 0;
  uint32_t rowsPerStrip = 0; // 0 when tiled
  uint64_t stripBytes = 0;   // of one strip, decoded
  uint16_t bitsPerSample = 1;
  uint16_t samplesPerPixel = 1;
  bool luminanceChroma = false; // Y Cb Cr, as JPEG has it
  bool separatePlanes = false;
  bool reduced = false;           // a thumbnail or pyramid layer of the page before it
  bool subImages = false;         // has SubIFDs
  bool big = false;               // the file is a BigTIFF; the same for all pages
  uint32_t width = 0, height = 0; // pixels
  uint64_t directory = 0;         // its offset

  // Black and white: nothing that a table could correct.
  bool IsBilevel() const { return bitsPerSample == 1 && samplesPerPixel == 1; }
};

// The layouts of all pages, in order. Throws Failure with libtiff's reason.
std::vector<TiffLayout> ReadTiffLayouts(const std::string& path);

// Gives the first page of `result` every descriptive tag of page `page` of `source`, as it is stored: text tags,
// resolution, orientation, position, IPTC, XMP, private tags, and the EXIF, GPS and interoperability directories. What
// describes the stored pixels (size, depth, compression, offsets, ICC profile) stays as `result` has it. Writes a new
// directory behind the pixels; until its end the file reads as before. Throws Failure.
void CopyTiffTags(const std::string& source, TiffPlace page, PendingFile& result);

// Writes pages one behind the other: the stored strips or tiles as they are, unless the files' byte orders differ where
// that matters, and all tags; with `strip` only those of pixels, size and place. Throws Failure; the file is not usable
// then.
class TiffPageWriter {
 public:
  // Into an empty file, which becomes a BigTIFF or a classic one, in the byte order of the first page.
  TiffPageWriter(PendingFile& file, bool big);
  ~TiffPageWriter();

  void Append(const std::string& source, TiffPlace page, bool strip);
  void Append(PendingFile& source, bool strip); // its first page

 private:
  void Append(const TiffHandle& from, bool strip);

  PendingFile& m_file;
  bool m_big;
  std::unique_ptr<TiffHandle> m_to;
  // Positions of the offsets that are to lead to the next page's directory, and to that which libtiff makes of it.
  uint64_t m_link = 0, m_libraryLink = 0;
};
