#include "finish.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <vector>

#include "failure.h"
#include "tables.h"

namespace {

// Pixels of a scan through the tables and the chroma of its correction, in place. Of any thread.
class Finish {
 public:
  Finish(const Tables& tables, bool deep, int64_t pixelFormat, double chroma)
      : m_bits(deep ? ZEP3_BITS_16 : ZEP3_BITS_8), m_pixelFormat(pixelFormat), m_chroma(chroma) {
    for (const std::vector<uint16_t>& table : tables) {
      m_table.insert(m_table.end(), table.begin(), table.end());
      if (!deep) std::transform(table.begin(), table.end(), std::back_inserter(m_bytes), ToByte);
    }
  }

  // One line. False where the library refuses it.
  bool Apply(uint8_t* first, int64_t pixels) const {
    ZEP3_BmpInfo line;
    SetZEP3Image(&line, first, pixels, 1, 0, m_pixelFormat, m_bits);
    if (m_chroma != 1) return ApplyZEP3ScanLUT(&line, m_table.data(), m_chroma) == 1;
    return m_bytes.empty() ? ApplyZEP3LUT16(&line, m_table.data()) == 1 : ApplyZEP3LUT(&line, m_bytes.data()) == 1;
  }

 private:
  int64_t m_bits, m_pixelFormat;
  double m_chroma;
  std::vector<uint16_t> m_table; // red, green, blue
  std::vector<uint8_t> m_bytes;  // the same for 8 bits
};

// Fills a region of the result from the scan's.
int ApplyToRegion(VipsRegion* out, void* sequence, void*, void* finish, gboolean*) {
  auto* in = static_cast<VipsRegion*>(sequence);
  const VipsRect& area = out->valid;
  if (vips_region_prepare(in, &area) != 0) return -1;
  for (int y = area.top; y < VIPS_RECT_BOTTOM(&area); y++) {
    VipsPel* line = VIPS_REGION_ADDR(out, area.left, y);
    std::memcpy(line, VIPS_REGION_ADDR(in, area.left, y), VIPS_REGION_SIZEOF_LINE(out));
    if (!static_cast<const Finish*>(finish)->Apply(line, area.width)) return -1;
  }
  return 0;
}

// The finish and the scan live as long as the result.
vips::VImage ApplyByRegions(const vips::VImage& image, std::unique_ptr<Finish> finish) {
  const vips::VImage out(vips_image_new());
  VipsImage* to = out.get_image();
  const auto destroy = [](void* owned) { delete static_cast<Finish*>(owned); };
  Finish* work = finish.release();
  g_object_set_data_full(G_OBJECT(to), "zep3-finish", work, destroy);
  g_object_set_data_full(G_OBJECT(to), "zep3-scan", g_object_ref(image.get_image()), g_object_unref);
  if (vips_image_pipelinev(to, VIPS_DEMAND_STYLE_THINSTRIP, image.get_image(), nullptr) != 0 ||
      vips_image_generate(to, vips_start_one, ApplyToRegion, vips_stop_one, image.get_image(), work) != 0) {
    throw vips::VError();
  }
  return out;
}

bool IsDeep(const vips::VImage& image) { return image.format() == VIPS_FORMAT_USHORT; }

} // namespace

double ChromaFactor(const Record& record) { return GetZEP3Chroma(&record.para); }

vips::VImage ApplyCorrection(const vips::VImage& image, const Correction& correction, double chroma) {
  const int bands = image.bands();
  if (bands > 4) {
    const vips::VImage colours =
        ApplyCorrection(image.extract_band(0, vips::VImage::option()->set("n", 3)), correction, chroma);
    return colours.bandjoin(image.extract_band(3, vips::VImage::option()->set("n", bands - 3)));
  }
  constexpr int64_t kFormats[] = {ZEP3_PIXEL_GRAY, ZEP3_PIXEL_GRAYA, ZEP3_PIXEL_RGB, ZEP3_PIXEL_RGBA};
  const bool deep = IsDeep(image);
  const Tables tables = MakeTables(correction, deep ? 65536 : 256);
  return ApplyByRegions(image, std::make_unique<Finish>(tables, deep, kFormats[bands - 1], chroma));
}

bool IsTablesAlone(const vips::VImage& image, double chroma) { return chroma == 1 && image.bands() == 3; }

ChangePixels PixelsThroughTables(const Correction& correction, bool deep) {
  return [finish = Finish(MakeTables(correction, deep ? 65536 : 256), deep, ZEP3_PIXEL_RGB, 1)](uint8_t* first,
                                                                                                int64_t pixels) {
    if (!finish.Apply(first, pixels)) throw Failure("its pixels cannot be corrected");
  };
}
