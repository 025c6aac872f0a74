#include "finish.h"

#include <algorithm>
#include <array>
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
  if (deep) return image.maplut(lut16());
  return image.maplut(MakeLut<uint8_t>(tables, image.bands(), colours, VIPS_FORMAT_UCHAR, ToByte));
}
