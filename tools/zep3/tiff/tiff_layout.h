// Where a page of a TIFF file is, and how it is laid out there.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class TiffHandle;

// Room for one strip or row of tiles of a result; scans in one strip would otherwise be held whole.
constexpr int64_t kLargestStrip = 8 << 20;

// Bytes of pixels beyond which a classic TIFF's 32-bit offsets may not do.
constexpr int64_t kLargestClassic = 3'900'000'000;

// A page of a TIFF file: its number from 0 and, where that is known, the offset of its directory. Otherwise libtiff
// goes through the directories of all pages before it.
struct TiffPlace {
  constexpr TiffPlace(unsigned number, uint64_t offset = 0) : page(number), directory(offset) {}

  // True when the directory can be opened directly. The first page's is found without its offset.
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

// A side of tiles as it may be written: a multiple of 16. Some scans have others.
constexpr uint32_t WritableTileSide(uint32_t pixels) { return (pixels + 15) / 16 * 16; }

// The layouts of all pages, in order. Throws Failure with libtiff's reason.
std::vector<TiffLayout> ReadTiffLayouts(const std::string& path);

// The layout of the page at which the handle stands.
TiffLayout LayoutOf(const TiffHandle& tiff);

// Gray, or R G B with whatever behind it, whole numbers of 8 or 16 bits.
bool HasPlainSamples(const TiffHandle& tiff, const TiffLayout& layout);

// Gives the page to be written what libtiff must know to place its blocks.
void SetLayout(const TiffHandle& from, const TiffLayout& layout, const TiffHandle& to);

// Its ICC profile, if it has one.
void CopyProfile(const TiffHandle& from, const TiffHandle& to);
