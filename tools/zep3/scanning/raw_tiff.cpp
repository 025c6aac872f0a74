#include "scanning/raw_tiff.h"

#include <algorithm>

#include "tiff/tiff_handle.h"
#include "tiff/tiff_layout.h"
#include "version.h"

void WriteRawTiff(const ScannedPage& page, const ScanNote& note, PendingFile& to) {
  const int64_t bytesPerLine = page.BytesPerLine();
  const TiffHandle tiff(to, bytesPerLine * page.lines > kLargestClassic ? "w8" : "w");
  const auto set = [&](uint32_t tag, auto value) {
    if (TIFFSetField(tiff, tag, value) == 0) tiff.FailToWrite();
  };
  const bool colour = page.channels == 3;
  set(TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(page.width));
  set(TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(page.lines));
  set(TIFFTAG_BITSPERSAMPLE, page.depth);
  set(TIFFTAG_SAMPLESPERPIXEL, page.channels);
  set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  set(TIFFTAG_COMPRESSION, page.depth == 1 ? COMPRESSION_CCITTFAX4 : COMPRESSION_NONE);
  set(TIFFTAG_PHOTOMETRIC, page.depth == 1 ? PHOTOMETRIC_MINISWHITE
                           : colour        ? PHOTOMETRIC_RGB
                                           : PHOTOMETRIC_MINISBLACK);
  set(TIFFTAG_ROWSPERSTRIP, static_cast<uint32_t>(std::clamp<int64_t>(kLargestStrip / bytesPerLine, 1, page.lines)));
  if (note.xResolution && note.yResolution) {
    set(TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    set(TIFFTAG_XRESOLUTION, *note.xResolution);
    set(TIFFTAG_YRESOLUTION, *note.yResolution);
  }
  set(TIFFTAG_MODEL, note.device.c_str());
  set(TIFFTAG_SOFTWARE, ("zep3 " + std::string(kVersion)).c_str());
  for (int64_t line = 0; line < page.lines; line++) {
    // libtiff takes its bytes as if it might change them.
    if (TIFFWriteScanline(tiff, const_cast<uint8_t*>(page.Line(line)), static_cast<uint32_t>(line), 0) < 0)
      tiff.FailToWrite();
  }
  if (TIFFWriteDirectory(tiff) == 0) tiff.FailToWrite();
}
