// The engine's calls on pieces of an image, as an operation of libvips and as a function.
#include "page/finish.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <vector>

#include "failure.h"
#include "page/box_mean.h"
#include "page/marker.h"
#include "page/tables.h"

namespace {

// Tables of so many entries a channel that change nothing.
std::vector<uint16_t> SameValues(size_t entries) {
  std::vector<uint16_t> table(3 * entries);
  for (size_t i = 0; i < table.size(); i++) table[i] = static_cast<uint16_t>(i % entries * (65535 / (entries - 1)));
  return table;
}

// What an image of a scan is sent through. Of any thread.
class Finish {
 public:
  Finish(const CorrectedPage& corrected, const PlainShape& shape, const Scale& scale)
      : m_shape(shape), m_bits(shape.deep ? ZEP3_BITS_16 : ZEP3_BITS_8), m_chroma(corrected.chroma) {
    const Correction& correction = corrected.correction;
    if (correction.paper) {
      m_paper = correction.paper->Scaled(shape.width, shape.height, scale.across, scale.down);
      const ZEP3_SURFACE surface = m_paper->Record();
      const int64_t entries = shape.deep ? int64_t{ZEP3_PAGE_ENTRIES_16} : int64_t{ZEP3_PAGE_ENTRIES_8};
      m_table.resize(static_cast<size_t>(7 * entries));
      if (!MakeZEP3PageLUT(&correction.record.para, &surface, entries, m_table.data())) {
        throw Failure("not enough memory for the tables");
      }
      if (m_chroma != 1) m_asIs = SameValues(shape.deep ? 65536 : 256);
      return;
    }
    for (const std::vector<uint16_t>& table : MakeTables(correction, shape.deep ? 65536 : 256)) {
      m_table.insert(m_table.end(), table.begin(), table.end());
      if (!shape.deep) std::transform(table.begin(), table.end(), std::back_inserter(m_bytes), ToByte);
    }
  }

  bool HasPaper() const { return m_paper.has_value(); }

  // An image's lines, or a piece of them.
  ZEP3_BmpInfo Piece(uint8_t* first, int64_t width, int64_t lines, int64_t stride) const {
    constexpr int64_t kFormats[] = {ZEP3_PIXEL_GRAY, ZEP3_PIXEL_GRAYA, ZEP3_PIXEL_RGB, ZEP3_PIXEL_RGBA};
    ZEP3_BmpInfo piece;
    SetZEP3Image(&piece, first, width, lines, stride, kFormats[m_shape.bands - 1], m_bits);
    return piece;
  }

  // A line of colours that was applied to, from a place of the image on, into one of gray. False where the library
  // refuses it.
  bool MakeGray(const ZEP3_BmpInfo& colours, int64_t x, int64_t y, uint8_t* to) const {
    const int samples = static_cast<int>(m_shape.bands);
    const auto lighten = [&](auto* pixels) {
      LightenMarkerBesidePictures(pixels, colours.lWidth, samples, x, y, m_paper->figures, m_paper->pictures);
    };
    if (m_paper && m_shape.deep) {
      lighten(reinterpret_cast<uint16_t*>(colours.pBits));
    } else if (m_paper) {
      lighten(colours.pBits);
    }
    ZEP3_BmpInfo gray = colours;
    gray.pBits = to;
    gray.wPixelFormat = m_shape.bands == 4 ? ZEP3_PIXEL_GRAYA : ZEP3_PIXEL_GRAY;
    return MakeZEP3Gray(&colours, &gray) == 1;
  }

  // In place, a piece that begins at a place of the image. False where the library refuses it.
  bool Apply(const ZEP3_BmpInfo& piece, int64_t x, int64_t y) const {
    if (m_paper) {
      const ZEP3_SURFACE surface = m_paper->Record();
      return ApplyZEP3Page(&piece, x, y, &surface, m_table.data()) == 1 &&
             (m_asIs.empty() || ApplyZEP3ScanLUT(&piece, m_asIs.data(), m_chroma) == 1);
    }
    if (m_chroma != 1) return ApplyZEP3ScanLUT(&piece, m_table.data(), m_chroma) == 1;
    return m_bytes.empty() ? ApplyZEP3LUT16(&piece, m_table.data()) == 1 : ApplyZEP3LUT(&piece, m_bytes.data()) == 1;
  }

 private:
  PlainShape m_shape;
  int64_t m_bits;
  double m_chroma;
  std::optional<PaperSurface> m_paper;
  std::vector<uint16_t> m_table; // red, green, blue; those of the library for a paper
  std::vector<uint8_t> m_bytes;  // red, green, blue for 8 bits
  std::vector<uint16_t> m_asIs;  // for a paper whose chroma changes: tables that change nothing else
};

// Fills a region of the result from the scan's. Colours that become gray take their way through a line's buffer.
int ApplyToRegion(VipsRegion* out, void* sequence, void*, void* finish, gboolean*) {
  auto* in = static_cast<VipsRegion*>(sequence);
  const auto& work = *static_cast<const Finish*>(finish);
  const VipsRect& area = out->valid;
  if (vips_region_prepare(in, &area) != 0) return -1;
  const bool gray = out->im->Bands != in->im->Bands;
  std::vector<uint8_t> line(gray ? VIPS_REGION_SIZEOF_LINE(in) : 0);
  for (int y = area.top; y < VIPS_RECT_BOTTOM(&area); y++) {
    VipsPel* const to = VIPS_REGION_ADDR(out, area.left, y);
    std::memcpy(gray ? line.data() : to, VIPS_REGION_ADDR(in, area.left, y), VIPS_REGION_SIZEOF_LINE(in));
    if (!gray) continue;
    const ZEP3_BmpInfo colours = work.Piece(line.data(), area.width, 1, 0);
    if (!work.Apply(colours, area.left, y) || !work.MakeGray(colours, area.left, y, to)) return -1;
  }
  const ZEP3_BmpInfo piece = work.Piece(VIPS_REGION_ADDR(out, area.left, area.top), area.width, area.height,
                                        static_cast<int64_t>(VIPS_REGION_LSKIP(out)));
  return gray || work.Apply(piece, area.left, area.top) ? 0 : -1;
}

// The finish and the scan live as long as the result.
vips::VImage ApplyByRegions(const vips::VImage& image, std::unique_ptr<Finish> finish, bool gray) {
  const vips::VImage out(vips_image_new());
  VipsImage* to = out.get_image();
  const auto destroy = [](void* owned) { delete static_cast<Finish*>(owned); };
  Finish* work = finish.release();
  g_object_set_data_full(G_OBJECT(to), "zep3-finish", work, destroy);
  g_object_set_data_full(G_OBJECT(to), "zep3-scan", g_object_ref(image.get_image()), g_object_unref);
  // A paper's cells are made ready for every piece: several lines at a time.
  const VipsDemandStyle style = work->HasPaper() ? VIPS_DEMAND_STYLE_FATSTRIP : VIPS_DEMAND_STYLE_THINSTRIP;
  if (vips_image_pipelinev(to, style, image.get_image(), nullptr) != 0) throw vips::VError();
  if (gray) {
    to->Bands = image.bands() - 2;
    to->Type = image.format() == VIPS_FORMAT_USHORT ? VIPS_INTERPRETATION_GREY16 : VIPS_INTERPRETATION_B_W;
  }
  if (vips_image_generate(to, vips_start_one, ApplyToRegion, vips_stop_one, image.get_image(), work) != 0) {
    throw vips::VError();
  }
  return out;
}

} // namespace

vips::VImage ApplyCorrection(const vips::VImage& image, const CorrectedPage& corrected, const Scale& scale) {
  const int bands = image.bands();
  if (bands > 4) {
    const vips::VImage colours =
        ApplyCorrection(image.extract_band(0, vips::VImage::option()->set("n", 3)), corrected, scale);
    return colours.bandjoin(image.extract_band(3, vips::VImage::option()->set("n", bands - 3)));
  }
  return ApplyByRegions(image, std::make_unique<Finish>(corrected, ShapeOf(image), scale),
                        corrected.gray && bands >= 3);
}

bool IsValuesAlone(const vips::VImage& image, const CorrectedPage& corrected) {
  return corrected.chroma == 1 && !corrected.gray && image.bands() == 3;
}

PlainLines::Take LinesThroughCorrection(const CorrectedPage& corrected, const PlainShape& shape, const Scale& scale) {
  return [finish = Finish(corrected, shape, scale), width = shape.width](uint8_t* first, int64_t line, int64_t count) {
    if (!finish.Apply(finish.Piece(first, width, count, 0), 0, line)) throw Failure("its pixels cannot be corrected");
  };
}
