// What libvips does not carry from TIFF to TIFF: most tags, and pages of different kinds in one file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tiff/tiff_layout.h"

class PendingFile;
class TiffHandle;

// Gives the first page of `result` every descriptive tag of page `page` of `source`, as it is stored: text tags,
// resolution, orientation, position, IPTC, XMP, private tags, and the EXIF, GPS and interoperability directories. What
// describes the stored pixels (size, depth, compression, offsets, ICC profile) stays as `result` has it. Writes a new
// directory behind the pixels; until its end the file reads as before. Throws Failure.
void CopyTiffTags(const std::string& source, TiffPlace page, PendingFile& result);

// The texts, EXIF, GPS and interoperability of a page as a block of EXIF; empty where it has none of them. Adds to
// `lost` what has no place there. Throws Failure.
std::string ExifOfTiff(const std::string& source, TiffPlace page, std::vector<std::string>& lost);

// What is to be told in a page of TIFF beyond what libvips writes.
struct MoreTags {
  std::string exif;  // a block of it, or empty
  std::string iptc;  // datasets, or empty
  bool sized = true; // the page's resolution is the scan's; otherwise it goes
};

// Gives the first page of `result` what it does not tell itself. False where the EXIF cannot be read. Throws Failure.
bool AddTags(const MoreTags& more, PendingFile& result);

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
