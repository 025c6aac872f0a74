// A page in memory, its means and their histograms.
#include "page/prescan.h"

#include "failure.h"

namespace {

// Decoded size up to which a page is held in memory: a 64-megapixel scan of 8 bits. Reading what is stored as it is
// once more costs less than room for it.
constexpr uint64_t kHeldBytes = 192 << 20, kHeldBytesOfPlain = 64 << 20;

// The report shows it, so that it must look like the scan: profile and orientation. In memory.
vips::VImage WithProfileOf(const vips::VImage& scan, const vips::VImage& means) {
  vips::VImage image = means.copy(vips::VImage::option()->set("interpretation", scan.interpretation())).copy_memory();
  if (scan.get_typeof(VIPS_META_ORIENTATION) != 0)
    image.set(VIPS_META_ORIENTATION, scan.get_int(VIPS_META_ORIENTATION));
  if (scan.get_typeof(VIPS_META_ICC_NAME) != 0) {
    size_t size = 0;
    const void* profile = scan.get_blob(VIPS_META_ICC_NAME, &size);
    vips_image_set_blob_copy(image.get_image(), VIPS_META_ICC_NAME, profile, size);
  }
  return image;
}

std::array<ChannelStatistics, 3> Measure(const LinearPixels& pixels) {
  std::array<ChannelStatistics, 3> channels;
  const uint8_t* const end = pixels.bytes.data() + pixels.bytes.size();
  for (const uint8_t* pixel = pixels.bytes.data(); pixel < end; pixel += 3) {
    for (size_t c = 0; c < 3; c++) channels[c].histogram[pixel[c]]++;
  }
  for (ChannelStatistics& channel : channels) {
    double sum = 0, count = 0;
    for (size_t level = 0; level < channel.histogram.size(); level++) {
      sum += static_cast<double>(level) * static_cast<double>(channel.histogram[level]);
      count += static_cast<double>(channel.histogram[level]);
    }
    channel.mean = sum / count;
    channel.minimum = channel.Percentile(0);
    channel.maximum = channel.Percentile(100);
  }
  return channels;
}

} // namespace

int ChannelStatistics::Percentile(double percent) const {
  double count = 0;
  for (const int64_t pixels : histogram) count += static_cast<double>(pixels);
  double sum = 0;
  for (size_t level = 0; level < histogram.size(); level++) {
    sum += static_cast<double>(histogram[level]);
    if (sum > 0 && sum >= percent / 100 * count) return static_cast<int>(level);
  }
  return 255;
}

int ColourBands(const vips::VImage& image) { return image.bands() >= 3 ? 3 : 1; }

SmallScan TakePrescan(const vips::VImage& image, bool decoded, const PlainReader& plain, vips::VImage* held,
                      std::optional<int> detailGamma) {
  SmallScan small;
  if (detailGamma) small.detail.emplace().gamma = *detailGamma;
  Detail* const detail = small.detail ? &*small.detail : nullptr;
  small.scanWidth = image.width();
  small.scanHeight = image.height();
  small.shrink = GetZEP3PrescanShrink(small.scanWidth, small.scanHeight);
  const int bands = ColourBands(image);
  const bool fits = VIPS_IMAGE_SIZEOF_IMAGE(image.get_image()) <= (decoded ? kHeldBytes : kHeldBytesOfPlain);
  vips::VImage means(nullptr);
  if (small.shrink > 1) means = plain(small.shrink, detail);
  if (means.is_null()) means = BoxMean(image, bands, small.shrink, fits ? held : nullptr, detail);
  small.image = WithProfileOf(image, means);
  return small;
}

SmallScan Smaller(const SmallScan& scan, int64_t side) {
  if (side <= 1) return scan;
  const vips::VImage means = BoxMean(scan.image, scan.image.bands(), side);
  return {WithProfileOf(scan.image, means), scan.shrink * side, scan.scanWidth, scan.scanHeight};
}

LinearPixels ToLinear(const SmallScan& scan, int gamma) {
  const vips::VImage& image = scan.image;
  LinearPixels pixels = {{}, image.width(), image.height()};
  pixels.bytes.resize(static_cast<size_t>(3 * pixels.width * pixels.height));
  ZEP3_BmpInfo small;
  SetZEP3Image(&small, VIPS_IMAGE_ADDR(image.get_image(), 0, 0), pixels.width, pixels.height, 0,
               image.bands() == 3 ? ZEP3_PIXEL_RGB : ZEP3_PIXEL_GRAY,
               image.format() == VIPS_FORMAT_USHORT ? ZEP3_BITS_16 : ZEP3_BITS_8);
  ZEP3_BmpInfo levels = {};
  levels.pBits = pixels.bytes.data();
  if (!MakeZEP3Prescan(&small, gamma, 1, &levels)) throw Failure("not enough memory for the pre-scan");
  return pixels;
}

Prescan Describe(const SmallScan& scan, const LinearPixels& pixels, const AREA& area) {
  return {pixels.width, pixels.height, scan.shrink, scan.scanWidth, scan.scanHeight, area, Measure(pixels)};
}
