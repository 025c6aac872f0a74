// Tags that say how the pixels are stored, read and set by libtiff.
#include "tiff/tiff_layout.h"

#include <algorithm>

#include "tiff/tiff_handle.h"

namespace {

// Not by TIFFGetFieldDefaulted: for codecs without a predictor libtiff would read another codec's state.
uint16_t PredictorOf(TIFF* tiff) {
  uint16_t predictor = PREDICTOR_NONE;
  return TIFFGetField(tiff, TIFFTAG_PREDICTOR, &predictor) != 0 ? predictor : uint16_t{PREDICTOR_NONE};
}

} // namespace

TiffLayout LayoutOf(const TiffHandle& tiff) {
  TiffLayout layout;
  layout.compression = tiff.Get<uint16_t>(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  layout.predictor = PredictorOf(tiff);
  layout.tiled = TIFFIsTiled(tiff) != 0;
  if (layout.tiled) {
    layout.tileWidth = tiff.Get<uint32_t>(TIFFTAG_TILEWIDTH, 0);
    layout.tileHeight = tiff.Get<uint32_t>(TIFFTAG_TILELENGTH, 0);
  } else {
    // A missing or endless number of rows means one strip.
    layout.rowsPerStrip = std::min(tiff.Get<uint32_t>(TIFFTAG_ROWSPERSTRIP, UINT32_MAX),
                                   std::max(tiff.Get<uint32_t>(TIFFTAG_IMAGELENGTH, 0), uint32_t{1}));
    layout.stripBytes = TIFFStripSize64(tiff);
  }
  layout.luminanceChroma = tiff.Get<uint16_t>(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK) == PHOTOMETRIC_YCBCR;
  layout.bitsPerSample = tiff.Get<uint16_t>(TIFFTAG_BITSPERSAMPLE, 1);
  layout.samplesPerPixel = tiff.Get<uint16_t>(TIFFTAG_SAMPLESPERPIXEL, 1);
  layout.separatePlanes = tiff.Get<uint16_t>(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) == PLANARCONFIG_SEPARATE;
  layout.reduced = (tiff.Get<uint32_t>(TIFFTAG_SUBFILETYPE, 0) & FILETYPE_REDUCEDIMAGE) != 0;
  uint16_t subImages = 0;
  const uint64_t* offsets = nullptr;
  layout.subImages = TIFFGetField(tiff, TIFFTAG_SUBIFD, &subImages, &offsets) != 0 && subImages > 0;
  layout.big = TIFFIsBigTIFF(tiff) != 0;
  layout.width = tiff.Get<uint32_t>(TIFFTAG_IMAGEWIDTH, 0);
  layout.height = tiff.Get<uint32_t>(TIFFTAG_IMAGELENGTH, 0);
  layout.directory = TIFFCurrentDirOffset(tiff);
  return layout;
}

bool HasPlainSamples(const TiffHandle& tiff, const TiffLayout& layout) {
  const uint16_t photometric = tiff.Get<uint16_t>(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
  const bool colours = (photometric == PHOTOMETRIC_RGB && layout.samplesPerPixel >= 3) ||
                       (photometric == PHOTOMETRIC_MINISBLACK && layout.samplesPerPixel <= 2);
  return colours && (layout.bitsPerSample == 8 || layout.bitsPerSample == 16) &&
         tiff.Get<uint16_t>(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT) == SAMPLEFORMAT_UINT;
}

void CopyProfile(const TiffHandle& from, const TiffHandle& to) {
  uint32_t bytes = 0;
  const void* profile = nullptr;
  if (TIFFGetField(from, TIFFTAG_ICCPROFILE, &bytes, &profile) != 0)
    TIFFSetField(to, TIFFTAG_ICCPROFILE, bytes, profile);
}

void SetLayout(const TiffHandle& from, const TiffLayout& layout, const TiffHandle& to) {
  constexpr uint32_t kLongs[] = {TIFFTAG_IMAGEWIDTH, TIFFTAG_IMAGELENGTH, TIFFTAG_IMAGEDEPTH, TIFFTAG_TILEDEPTH};
  constexpr uint32_t kShorts[] = {TIFFTAG_BITSPERSAMPLE, TIFFTAG_SAMPLESPERPIXEL, TIFFTAG_COMPRESSION,
                                  TIFFTAG_PHOTOMETRIC,   TIFFTAG_PLANARCONFIG,    TIFFTAG_FILLORDER,
                                  TIFFTAG_SAMPLEFORMAT};
  // Only tags that the page has: writing a default would add a tag.
  const auto set = [&]<typename Value>(uint32_t tag, Value value) {
    if (TIFFGetField(from, tag, &value) != 0) TIFFSetField(to, tag, value);
  };
  for (const uint32_t tag : kLongs) set(tag, uint32_t{});
  for (const uint32_t tag : kShorts) set(tag, uint16_t{});
  if (layout.predictor != PREDICTOR_NONE) TIFFSetField(to, TIFFTAG_PREDICTOR, layout.predictor);
  if (uint16_t across = 0, down = 0; from.Get<uint16_t>(TIFFTAG_PHOTOMETRIC, 0) == PHOTOMETRIC_YCBCR &&
                                     TIFFGetFieldDefaulted(from, TIFFTAG_YCBCRSUBSAMPLING, &across, &down) != 0) {
    TIFFSetField(to, TIFFTAG_YCBCRSUBSAMPLING, across, down);
  }
  if (layout.tiled) {
    TIFFSetField(to, TIFFTAG_TILEWIDTH, layout.tileWidth);
    TIFFSetField(to, TIFFTAG_TILELENGTH, layout.tileHeight);
  } else {
    TIFFSetField(to, TIFFTAG_ROWSPERSTRIP, layout.rowsPerStrip);
  }
}

std::vector<TiffLayout> ReadTiffLayouts(const std::string& path) {
  const TiffHandle tiff(path, kFirstPage);
  std::vector<TiffLayout> layouts{LayoutOf(tiff)};
  while (TIFFLastDirectory(tiff) == 0) {
    if (TIFFReadDirectory(tiff) == 0) tiff.Fail("page " + std::to_string(layouts.size() + 1) + " cannot be read");
    layouts.push_back(LayoutOf(tiff));
  }
  return layouts;
}
