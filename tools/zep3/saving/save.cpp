// The scan's layout as options of libvips' savers; the bytes go into the pending file.
#include "saving/save.h"

#include <tiff.h>

#include <array>
#include <fstream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "log.h"
#include "saving/carried.h"
#include "saving/metadata.h"
#include "saving/png_pixels.h"
#include "tiff/tiff_pages.h"

namespace {

using Options = std::vector<std::pair<std::string, std::string>>;

// Lossless WebP carries a VP8L chunk, lossy a VP8 one; libvips does not tell.
bool IsLosslessWebp(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::array<unsigned char, 8> chunk = {};
  file.ignore(12); // "RIFF", size, "WEBP"
  while (file.read(reinterpret_cast<char*>(chunk.data()), chunk.size())) {
    const std::string name(chunk.begin(), chunk.begin() + 4);
    if (name == "VP8L") return true;
    if (name == "VP8 ") return false;
    const uint32_t size = chunk[4] | uint32_t{chunk[5]} << 8 | uint32_t{chunk[6]} << 16 | uint32_t{chunk[7]} << 24;
    file.ignore(int64_t{size} + size % 2);
  }
  return false;
}

// High enough that another generation is not seen. Scans do not record the quality that they were saved with.
const std::string kQuality = "95";

Options TiffOptions(const vips::VImage& image, const Scan& scan, int page) {
  Options options;
  bool big = VIPS_IMAGE_SIZEOF_IMAGE(image.get_image()) > uint64_t{kLargestClassic};
  if (scan.IsTiff()) {
    const TiffLayout& layout = scan.Layout(page);
    big = big || layout.big;
    const bool tables = layout.compression == COMPRESSION_LZW || layout.compression == COMPRESSION_ADOBE_DEFLATE ||
                        layout.compression == COMPRESSION_DEFLATE || layout.compression == COMPRESSION_ZSTD;
    switch (layout.compression) {
      case COMPRESSION_LZW:
        options.emplace_back("compression", "lzw");
        break;
      case COMPRESSION_ADOBE_DEFLATE:
      case COMPRESSION_DEFLATE:
        options.emplace_back("compression", "deflate");
        break;
      case COMPRESSION_JPEG:
        // libvips stores R G B from a quality of 90 on.
        options.insert(options.end(), {{"compression", "jpeg"}, {"Q", layout.luminanceChroma ? "89" : kQuality}});
        break;
      case COMPRESSION_PACKBITS:
        options.emplace_back("compression", "packbits");
        break;
      case COMPRESSION_ZSTD:
        options.emplace_back("compression", "zstd");
        break;
      case COMPRESSION_WEBP:
        options.insert(options.end(), {{"compression", "webp"}, {"lossless", "true"}});
        break;
      default:
        break; // what libvips cannot write is written plain: nothing is lost
    }
    if (tables) options.emplace_back("predictor", layout.predictor == PREDICTOR_HORIZONTAL ? "horizontal" : "none");
    if (layout.tiled) {
      options.insert(options.end(), {{"tile", "true"},
                                     {"tile-width", std::to_string(WritableTileSide(layout.tileWidth))},
                                     {"tile-height", std::to_string(WritableTileSide(layout.tileHeight))}});
    } else if (layout.rowsPerStrip > 1 && layout.stripBytes <= uint64_t{kLargestStrip}) {
      // libvips 8.14 leaves the last strip out where strips have one row.
      options.emplace_back("tile-height", std::to_string(layout.rowsPerStrip));
    }
  }
  if (big) options.emplace_back("bigtiff", "true");
  if (image.get_typeof(VIPS_META_RESOLUTION_UNIT) != 0) {
    options.emplace_back("resunit", image.get_string(VIPS_META_RESOLUTION_UNIT) == std::string("in") ? "inch" : "cm");
  }
  return options;
}

Options JpegOptions(const vips::VImage& image) {
  Options options = {{"Q", kQuality}};
  const auto text = [&](const char* field) {
    return image.get_typeof(field) == 0 ? std::string() : std::string(image.get_string(field));
  };
  const std::string sampling = text("jpeg-chroma-subsample");
  if (!sampling.empty()) options.emplace_back("subsample-mode", sampling == "4:2:0" ? "on" : "off");
  if (image.get_typeof("interlaced") != 0) options.emplace_back("interlace", "true");
  return options;
}

Options LayoutOptions(const vips::VImage& image, const Scan& scan, int page, const Format& format) {
  if (format.name == "tiff") return TiffOptions(image, scan, page);
  if (format.name == "jpeg") return JpegOptions(image);
  if (format.name == "webp") {
    const bool lossless = scan.FileFormat() != &format || IsLosslessWebp(scan.Path());
    return lossless ? Options{{"lossless", "true"}} : Options{{"Q", kQuality}};
  }
  if (format.name == "png") {
    return {{"bitdepth", image.format() == VIPS_FORMAT_USHORT ? "16" : "8"},
            {"interlace", image.get_typeof("interlaced") != 0 ? "true" : "false"}};
  }
  if (format.name == "pnm") return {{"strip", "true"}}; // of the time of writing: the same scan gives the same bytes
  return {};
}

// A file, and what its format has before the pixels, if it is PNG.
struct Target {
  PendingFile& file;
  std::optional<PngHead> head;
};

// What libvips writes there goes into the file; both must outlive it.
vips::VTarget TargetFor(Target& file) {
  VipsTargetCustom* target = vips_target_custom_new();
  if (target == nullptr) throw vips::VError();
  const auto write = [](VipsTargetCustom*, const void* bytes, gint64 size, Target* to) -> gint64 {
    const auto count = static_cast<size_t>(size);
    if (!to->head || to->head->IsWhole()) return to->file.Write(bytes, count);
    if (!to->head->Add(bytes, count)) return size;
    const std::string all = to->head->Head() + to->head->Behind();
    return to->file.Write(all.data(), all.size()) < 0 ? -1 : size;
  };
  // TIFF is written with steps back, and looked at again.
  const auto read = [](VipsTargetCustom*, void* bytes, gint64 size, Target* from) -> gint64 {
    return from->file.Read(bytes, static_cast<size_t>(size));
  };
  const auto seek = [](VipsTargetCustom*, gint64 offset, int whence, Target* in) -> gint64 {
    return in->file.Seek(offset, whence);
  };
  g_signal_connect(target, "write", G_CALLBACK(+write), &file);
  g_signal_connect(target, "read", G_CALLBACK(+read), &file);
  g_signal_connect(target, "seek", G_CALLBACK(+seek), &file);
  return vips::VTarget(VIPS_TARGET(target));
}

// An image that costs nothing, with the size and the header of another.
vips::VImage BlankLike(const vips::VImage& image) {
  VipsImage* const blank = vips_image_new();
  const vips::VImage owner(blank);
  const auto blacken = [](VipsRegion* region, void*, void*, void*, gboolean*) {
    vips_region_black(region);
    return 0;
  };
  if (vips_image_pipelinev(blank, VIPS_DEMAND_STYLE_ANY, image.get_image(), nullptr) != 0 ||
      vips_image_generate(blank, nullptr, +blacken, nullptr, nullptr, nullptr) != 0)
    throw vips::VError();
  vips_image_set_progress(blank, FALSE);
  return owner;
}

// As libvips would write it for the image.
void WriteHead(const vips::VImage& image, const std::string& layout, PngHead& head) {
  VipsTargetCustom* target = vips_target_custom_new();
  if (target == nullptr) throw vips::VError();
  const vips::VTarget owner(VIPS_TARGET(target));
  // What follows the head is not wanted.
  const auto write = [](VipsTargetCustom*, const void* bytes, gint64 size, PngHead* to) -> gint64 {
    return to->IsWhole() || to->Add(bytes, static_cast<size_t>(size)) ? -1 : size;
  };
  g_signal_connect(target, "write", G_CALLBACK(+write), &head);
  const WithoutLibraryWarnings quiet; // of a file that ends early
  try {
    BlankLike(image).write_to_target((".png" + layout).c_str(), owner);
  } catch (const vips::VError&) {
    if (!head.IsWhole()) throw;
    vips_error_clear();
  }
}

// Fields of the header that would steer a saver or, for `strip`, that tell about the scan.
vips::VImage CleanHeader(const vips::VImage& image, bool strip) {
  vips::VImage clean = image.copy();
  char** fields = vips_image_get_fields(clean.get_image());
  for (char** field = fields; *field != nullptr; field++) {
    const std::string name = *field;
    const bool steers = name == "palette-bit-depth" || name == "bits-per-sample" || name == "palette";
    const bool tells = name.starts_with("exif-") || name == VIPS_META_EXIF_NAME || name == VIPS_META_XMP_NAME ||
                       name == VIPS_META_IPTC_NAME || name == VIPS_META_PHOTOSHOP_NAME ||
                       name == VIPS_META_IMAGEDESCRIPTION || name.starts_with("png-comment") ||
                       name.starts_with("jpeg-comment") || name == "gif-comment";
    if (steers || (strip && tells)) vips_image_remove(clean.get_image(), name.c_str());
  }
  g_strfreev(fields);
  return clean;
}

// By libdeflate. False, with nothing written, where the pixels are stored otherwise.
bool SavePng(const vips::VImage& image, const std::string& layout, PngHead head, PendingFile& to) {
  WriteHead(image, JoinOptions({{"compression", "0"}}, layout), head);
  if (!FitsPngHead(image, head.Head())) return false;
  if (to.Write(head.Head().data(), head.Head().size()) < 0) to.Check();
  WritePngPixels(image, to);
  return true;
}

} // namespace

void Save(const vips::VImage& image, const Scan& scan, int page, const SaveOptions& options, PendingFile& to) {
  const std::string layout = JoinOptions(LayoutOptions(image, scan, page, *options.format), options.saver);
  const bool png = options.format->name == "png";
  const std::string phys = PngChunkOf(scan, kPhys);
  const bool sized = HasResolution(image, scan, phys);
  const Passed passed =
      PassMetadata(CleanHeader(image, options.strip), scan, page, *options.format, sized, options.strip);
  if (!passed.lost.empty() && !options.quiet) Say(scan.Path() + ": " + LostText(passed.lost, *options.format));
  std::string chunks = PngChunkOf(scan, kCicp);
  if (!chunks.empty() && (!png || options.recoded)) {
    Say(scan.Path() + ": the coding of its colours (cICP) is left out");
    chunks.clear();
  }
  Target into = {to, std::nullopt};
  if (png) into.head.emplace(chunks + phys, sized && phys.empty());
  if (png && options.saver.empty() && SavePng(passed.image, layout, *into.head, to)) return;
  const vips::VTarget target = TargetFor(into);
  passed.image.write_to_target((options.suffix + layout).c_str(), target);
  if (vips_target_end(target.get_target()) != 0) throw vips::VError(); // savers need not look at how it ends
  if (options.format->name == "jpeg" && !sized) TakeUnitFromJpeg(to);
  if (options.format->name == "webp" && !sized) TakeUnitFromWebp(to);
  if (options.format->name != "tiff") return;
  if (!scan.IsTiff()) {
    const bool more = !passed.exif.empty() || !passed.iptc.empty() || !sized;
    const bool whole = !more || AddTags({passed.exif, passed.iptc, sized}, to);
    if (!whole && !options.quiet) Say(scan.Path() + ": " + LostText({"EXIF"}, *options.format));
  } else if (!options.strip) {
    CopyTiffTags(scan.Path(), scan.Place(page), to);
  }
}
