#include "finish.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <vector>

#include "analysis.h"
#include "tables.h"

namespace {

// The tables as an image for maplut: a band for each band of the scan, those behind the colours unchanged.
template <typename T>
vips::VImage MakeLut(const Tables& tables, int bands, int colours, VipsBandFormat format, T (*convert)(uint16_t)) {
  const size_t entries = tables[0].size();
  std::vector<T> values;
  values.reserve(entries * static_cast<size_t>(bands));
  for (size_t i = 0; i < entries; i++) {
    const auto same = static_cast<uint16_t>(i * (65535 / (entries - 1)));
    for (int band = 0; band < bands; band++) {
      // A gray scan takes the green table: where the channels differ, green is the nearest to what the eye calls gray.
      const size_t channel = colours == 1 ? 1 : static_cast<size_t>(band);
      values.push_back(convert(band < colours ? tables[channel][i] : same));
    }
  }
  // Copied: the image outlives the values.
  return vips::VImage(vips_image_new_from_memory_copy(values.data(), values.size() * sizeof(T),
                                                      static_cast<int>(entries), 1, bands, format));
}

uint16_t Same(uint16_t value) { return value; }

// Weights of red, green and blue in the gray of a colour, the same as in the gray pipette.
constexpr std::array<double, 3> kGrayWeight = {0.2, 0.6, 0.2};

// Moves every colour from (chroma above 1) or towards its gray.
vips::VImage ScaleChroma(const vips::VImage& image, double chroma) {
  const int bands = image.bands();
  vips::VImage matrix = vips::VImage::new_matrix(bands, bands);
  for (int row = 0; row < bands; row++) {
    for (int column = 0; column < bands; column++) {
      double entry = row == column ? 1 : 0;
      if (row < 3 && column < 3) entry = chroma * entry + (1 - chroma) * kGrayWeight[static_cast<size_t>(column)];
      *VIPS_MATRIX(matrix.get_image(), column, row) = entry;
    }
  }
  return image.recomb(matrix);
}

// ---- R G B, in one go ----

// Fills a region of the result from the scan's.
using Generate = int (*)(VipsRegion* out, void* in, void*, void* tables, gboolean*);

// `width` x `height` pixels in place; tables: red, green, blue.
bool BytesThroughTables(uint8_t* first, int64_t width, int64_t height, int64_t stride, const uint8_t* tables) {
  ZEP3_BmpInfo bmp = {};
  bmp.pBits = first;
  bmp.lWidth = width;
  bmp.lHeight = height;
  bmp.lBytesPerLine = stride;
  bmp.lBitCount = 24;
  bmp.wPixelFormat = ZEP3_PIXEL_RGB;
  return ApplyZEP3LUT(&bmp, tables) == 1;
}

void DeepThroughTables(const uint16_t* from, uint16_t* to, int64_t pixels, const uint16_t* tables) {
  const uint16_t* red = tables;
  const uint16_t* green = red + 65536;
  const uint16_t* blue = green + 65536;
  for (int64_t i = 0; i < pixels; i++, from += 3, to += 3) {
    to[0] = red[from[0]];
    to[1] = green[from[1]];
    to[2] = blue[from[2]];
  }
}

int ApplyToBytes(VipsRegion* out, void* sequence, void*, void* tables, gboolean*) {
  auto* in = static_cast<VipsRegion*>(sequence);
  const VipsRect& area = out->valid;
  if (vips_region_prepare(in, &area) != 0) return -1;
  for (int y = area.top; y < VIPS_RECT_BOTTOM(&area); y++) {
    std::memcpy(VIPS_REGION_ADDR(out, area.left, y), VIPS_REGION_ADDR(in, area.left, y), VIPS_REGION_SIZEOF_LINE(out));
  }
  const bool applied = BytesThroughTables(VIPS_REGION_ADDR(out, area.left, area.top), area.width, area.height,
                                          static_cast<int64_t>(VIPS_REGION_LSKIP(out)), static_cast<uint8_t*>(tables));
  return applied ? 0 : -1;
}

int ApplyToDeep(VipsRegion* out, void* sequence, void*, void* tables, gboolean*) {
  auto* in = static_cast<VipsRegion*>(sequence);
  const VipsRect& area = out->valid;
  if (vips_region_prepare(in, &area) != 0) return -1;
  for (int y = area.top; y < VIPS_RECT_BOTTOM(&area); y++) {
    DeepThroughTables(reinterpret_cast<const uint16_t*>(VIPS_REGION_ADDR(in, area.left, y)),
                      reinterpret_cast<uint16_t*>(VIPS_REGION_ADDR(out, area.left, y)), area.width,
                      static_cast<const uint16_t*>(tables));
  }
  return 0;
}

// One behind the other.
template <typename T>
std::vector<T> Joined(const Tables& tables, T (*convert)(uint16_t)) {
  std::vector<T> values;
  for (const std::vector<uint16_t>& table : tables) {
    std::transform(table.begin(), table.end(), std::back_inserter(values), convert);
  }
  return values;
}

// The tables and the scan live as long as the result.
template <typename T>
vips::VImage ApplyByRegions(const vips::VImage& image, const Tables& tables, T (*convert)(uint16_t),
                            Generate generate) {
  const vips::VImage out(vips_image_new());
  VipsImage* to = out.get_image();
  const std::vector<T> joined = Joined(tables, convert);
  auto* values = static_cast<T*>(vips_malloc(VIPS_OBJECT(to), joined.size() * sizeof(T)));
  std::copy(joined.begin(), joined.end(), values);
  g_object_set_data_full(G_OBJECT(to), "zep3-scan", g_object_ref(image.get_image()), g_object_unref);
  if (vips_image_pipelinev(to, VIPS_DEMAND_STYLE_THINSTRIP, image.get_image(), nullptr) != 0 ||
      vips_image_generate(to, vips_start_one, generate, vips_stop_one, image.get_image(), values) != 0) {
    throw vips::VError();
  }
  return out;
}

} // namespace

double ChromaFactor(const Record& record) {
  const ZEP3_PARA& para = record.para;
  if (para.wDocType == ZEP3_DOC_NEGATIVE_BW) return 0;
  return std::max(0.0, 1 + kChromaPerSaturation * static_cast<double>(para.lSaturation));
}

vips::VImage ApplyCorrection(const vips::VImage& image, const Correction& correction, double chroma) {
  const bool deep = image.format() == VIPS_FORMAT_USHORT;
  const int colours = ColourBands(image);
  const Tables tables = MakeTables(correction, deep ? 65536 : 256);
  const auto lut16 = [&] { return MakeLut<uint16_t>(tables, image.bands(), colours, VIPS_FORMAT_USHORT, Same); };
  if (chroma != 1 && colours == 3) {
    // On 16 bits, so that the tables' rounding is not stretched.
    vips::VImage levels = ScaleChroma(image.maplut(lut16()), chroma);
    if (!deep) levels = levels * (1 / 257.0);
    return (levels + 0.5)
        .cast(image.format())
        .copy(vips::VImage::option()->set("interpretation", image.interpretation()));
  }
  if (IsTablesAlone(image, chroma)) {
    return deep ? ApplyByRegions<uint16_t>(image, tables, Same, ApplyToDeep)
                : ApplyByRegions<uint8_t>(image, tables, ToByte, ApplyToBytes);
  }
  if (deep) return image.maplut(lut16());
  return image.maplut(MakeLut<uint8_t>(tables, image.bands(), colours, VIPS_FORMAT_UCHAR, ToByte));
}

bool IsTablesAlone(const vips::VImage& image, double chroma) { return chroma == 1 && image.bands() == 3; }

ChangePixels PixelsThroughTables(const Correction& correction, bool deep) {
  const Tables tables = MakeTables(correction, deep ? 65536 : 256);
  if (deep) {
    return [joined = Joined<uint16_t>(tables, Same)](uint8_t* first, int64_t pixels) {
      auto* values = reinterpret_cast<uint16_t*>(first);
      DeepThroughTables(values, values, pixels, joined.data());
    };
  }
  return [joined = Joined<uint8_t>(tables, ToByte)](uint8_t* first, int64_t pixels) {
    BytesThroughTables(first, pixels, 1, 3 * pixels, joined.data());
  };
}
