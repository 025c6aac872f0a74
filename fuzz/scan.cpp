// The whole program on one file of a promised format: opened, analysed, corrected, written, as `zep3` does it in a
// worker. The file is any bytes, or a picture that libvips saved in one of its ways, with some bytes changed.
#include <zlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <vips/vips8>

#include "command/command_line.h"
#include "command/plan.h"
#include "failure.h"
#include "film_picture.h"
#include "folder.h"
#include "job/scan_job.h"
#include "log.h"
#include "opening/scan.h"
#include "saving/in_place.h"
#include "target.h"
#include "told/report_place.h"
#include "told/run_state.h"
#include "told/side_files.h"

namespace fs = std::filesystem;

namespace {

// More than this is honest work that takes its time.
constexpr int64_t kMostPixels = 1 << 15;
constexpr int kMostPages = 8;

void StartImageLibrary() {
  RouteLibraryMessages(false);
  ZEP3_HOLDS(VIPS_INIT("zep3") == 0);
  vips_cache_set_max(0);
  vips_concurrency_set(1);
  BlockOtherLoaders(Admission());
}

std::string ReadAll(const std::string& path) {
  std::ostringstream bytes;
  bytes << std::ifstream(path, std::ios::binary).rdbuf();
  return bytes.str();
}

// ---- the scan ----

constexpr std::string_view kSavers[] = {".tif[]",
                                        ".tif[compression=lzw]",
                                        ".tif[compression=deflate,predictor=horizontal]",
                                        ".tif[compression=packbits,bigtiff]",
                                        ".tif[compression=jpeg,Q=80]",
                                        ".tif[compression=zstd,tile,tile-width=16,tile-height=16]",
                                        ".tif[compression=webp,lossless]",
                                        ".tif[compression=lzw,tile,tile-width=16,tile-height=16,pyramid]",
                                        ".tif[miniswhite]",
                                        ".tif[compression=ccittfax4,bitdepth=1]",
                                        ".png[]",
                                        ".png[interlace]",
                                        ".png[palette]",
                                        ".jpg[]",
                                        ".jpg[interlace]",
                                        ".jpg[Q=98,optimize-coding]",
                                        ".webp[]",
                                        ".webp[lossless]",
                                        ".ppm[]",
                                        ".ppm[ascii]"};

std::string ExtensionOf(std::string_view saver) { return std::string(saver.substr(0, saver.find('['))); }

// By hand: the savers' option of a profile loses some kilobytes a picture in libvips 8.14, which a long run adds up.
void AddProfile(vips::VImage& image) {
  static VipsBlob* const profile = [] {
    VipsBlob* srgb = nullptr;
    ZEP3_HOLDS(vips_profile_load("srgb", &srgb, nullptr) == 0);
    return srgb;
  }();
  size_t size = 0;
  const void* bytes = vips_blob_get(profile, &size);
  vips_image_set_blob_copy(image.get_image(), VIPS_META_ICC_NAME, bytes, size);
}

std::string SavedPicture(Input& input, std::string_view saver) {
  const int width = 1 + input.Below(48), height = 1 + input.Below(40), bands = 3 - input.Below(3) + input.Below(2);
  const bool deep = input.OneIn(3);
  const FilmPicture picture(input);
  std::vector<uint16_t> pixels;
  for (int y = 0; y < height; y++) {
    for (int x = 0; x < width; x++) {
      for (int b = 0; b < bands; b++) {
        pixels.push_back(static_cast<uint16_t>(257 * picture.At(x / 48.0, y / 40.0, x, y, b % 3)));
      }
    }
  }
  try {
    vips::VImage image = vips::VImage::new_from_memory(pixels.data(), pixels.size() * sizeof(uint16_t), width, height,
                                                       bands, VIPS_FORMAT_USHORT);
    if (!deep) image = image.cast(VIPS_FORMAT_UCHAR, vips::VImage::option()->set("shift", true));
    const VipsInterpretation colour = deep ? VIPS_INTERPRETATION_RGB16 : VIPS_INTERPRETATION_sRGB;
    const VipsInterpretation gray = deep ? VIPS_INTERPRETATION_GREY16 : VIPS_INTERPRETATION_B_W;
    image = image.copy(vips::VImage::option()->set("interpretation", bands > 2 ? colour : gray)->set("xres", 11.8));
    if (input.OneIn(4)) image.set("page-height", std::max(1, height / 2));
    if (input.OneIn(4)) image.set(VIPS_META_ORIENTATION, input.Below(10));
    if (input.OneIn(8)) AddProfile(image);
    void* bytes = nullptr;
    size_t size = 0;
    image.write_to_buffer(std::string(saver).c_str(), &bytes, &size);
    const std::string saved(static_cast<const char*>(bytes), size);
    g_free(bytes);
    return saved;
  } catch (const vips::VError&) { // not every saver takes every picture
    vips_error_clear();
    return "";
  }
}

void Damage(Input& input, std::string& bytes) {
  if (bytes.empty()) return;
  const int changes = input.OneIn(2) ? 1 + input.Below(4) : 0;
  for (int i = 0; i < changes; i++) {
    // Mostly in the head, where the structure is.
    const size_t place = input.OneIn(2) ? input.Take<uint16_t>() : input.Take<uint8_t>();
    bytes[place % bytes.size()] = static_cast<char>(input.Take<uint8_t>());
  }
  if (input.OneIn(8)) bytes.resize(input.Take<uint16_t>() % bytes.size());
}

// PNG: with right checksums, or nothing behind them would be reached.
void SealChunks(std::string& bytes) {
  if (!bytes.starts_with("\x89PNG")) return;
  const auto byte = [&](size_t at) { return static_cast<uint32_t>(static_cast<uint8_t>(bytes[at])); };
  for (size_t at = 8; at + 12 <= bytes.size();) {
    const size_t size = byte(at) << 24 | byte(at + 1) << 16 | byte(at + 2) << 8 | byte(at + 3);
    if (size > bytes.size() - at - 12) return;
    const auto sum = crc32(0, reinterpret_cast<const Bytef*>(&bytes[at + 4]), static_cast<uInt>(size + 4));
    for (size_t i = 0; i < 4; i++) bytes[at + 8 + size + i] = static_cast<char>(sum >> (24 - 8 * i));
    at += size + 12;
  }
}

// ---- the command ----

Outcome RunOn(const std::vector<std::string>& words) {
  std::vector<char*> argv;
  for (const std::string& word : words) argv.push_back(const_cast<char*>(word.c_str()));
  const Parsed parsed = ParseCommandLine(static_cast<int>(argv.size()), argv.data());
  ZEP3_HOLDS(parsed.options.has_value());
  const std::optional<Job> job = Plan(*parsed.options).Next();
  ZEP3_HOLDS(job.has_value());
  return RunJob(*job, *parsed.options);
}

using Sizes = std::vector<std::pair<int, int>>;

// Of the pages; none where it is no scan, nothing where it is a large one.
std::optional<Sizes> SizesOf(const std::string& path) {
  Sizes sizes;
  try {
    const Scan scan(path, Admission());
    if (scan.Pages() > kMostPages) return std::nullopt;
    for (int page = 0; page < scan.Pages(); page++) {
      if (scan.IsBilevel(page)) { // copied as it is stored
        sizes.emplace_back(0, 0);
        continue;
      }
      const vips::VImage head = scan.Head(page);
      if (int64_t{head.width()} * head.height() > kMostPixels) return std::nullopt;
      sizes.emplace_back(head.width(), head.height());
    }
    return sizes;
  } catch (const Failure&) {
  } catch (const vips::VError&) {
    vips_error_clear();
  }
  return Sizes();
}

} // namespace

void RunTarget(Input input) {
  static const bool started = (StartImageLibrary(), true);
  ZEP3_HOLDS(started);
  static const Folder folder;
  folder.Clear();

  const std::string saver(kSavers[static_cast<size_t>(input.Below(std::size(kSavers)))]);
  const bool other = input.OneIn(4);
  const std::string resultSaver(other ? kSavers[static_cast<size_t>(input.Below(std::size(kSavers)))] : saver);
  const std::string scan = folder / ("scan" + ExtensionOf(saver)),
                    result = folder / ("result" + ExtensionOf(resultSaver));
  std::vector<std::string> words = {"zep3", scan, "--no-sync", "-k", GetZEP3Kind(input.Below(11))->pName};
  const auto add = [&](bool wanted, std::initializer_list<const char*> more) {
    if (wanted) words.insert(words.end(), more.begin(), more.end());
  };
  const bool inPlace = input.OneIn(8), told = input.OneIn(4), analysed = input.OneIn(16), twice = input.OneIn(4),
             cut = input.OneIn(4);
  add(input.OneIn(4), {"--analysis", "standard"});
  add(input.OneIn(8), {"--output-gamma", "1.8"});
  const int area = input.Below(16);
  add(area < 2, {"--area", "10%,10%,60%,60%"});
  add(area == 2, {"--corners", "10%,20%,80%,-10%,110%,70%,20%,90%"});
  add(input.OneIn(16), {"--keep-space"});
  add(input.OneIn(8), {"--gray-pipette", "30%,30%"});
  if (analysed) {
    add(true, {"analyse"});
  } else {
    add(input.OneIn(8), {"--strip"});
    add(cut, {"--crop"});
    add(cut && input.OneIn(2), {"--margin", input.OneIn(2) ? "-20%" : "3"});
    add(cut && input.OneIn(4), {"--no-straighten"});
    add(told, {"--sidecar", "--report"});
    inPlace ? add(true, {"--in-place"}) : add(true, {"-o", result.c_str()});
  }

  const bool any = input.OneIn(4), sealed = !input.OneIn(4);
  std::string bytes = any ? "" : SavedPicture(input, saver);
  Damage(input, bytes);
  if (any) bytes = std::string(input.Text());
  if (sealed) SealChunks(bytes);
  std::ofstream(scan, std::ios::binary) << bytes;
  const std::optional<Sizes> sizes = SizesOf(scan);
  if (!sizes) return;

  const Outcome outcome = RunOn(words);
  ZEP3_HOLDS(outcome.status == Status::kCorrected || outcome.status == Status::kFailed);
  const bool done = outcome.status == Status::kCorrected;
  ZEP3_HOLDS(done ? !sizes->empty() : !outcome.message.empty());
  ZEP3_HOLDS(outcome.message.find("unknown error") == std::string::npos);
  const std::string written = inPlace ? scan : result;
  const std::string name = fs::path(written).filename().string();
  const std::string original = folder / (std::string("scan") + kBackupSuffix + ExtensionOf(saver));
  std::set<std::string> names = {fs::path(scan).filename().string()};
  if (analysed) {
    ZEP3_HOLDS(done == !outcome.text.empty());
  } else if (done) {
    names.insert(name);
    if (inPlace) names.insert({fs::path(original).filename().string(), kRunFolder});
    if (told) names.insert({name + kSidecarSuffix, name + kReportSuffix});
    const std::optional<Sizes> now = SizesOf(written);
    ZEP3_HOLDS(now && now->size() == sizes->size() && (cut || now == sizes));
  }
  ZEP3_HOLDS(folder.Names() == names);
  if (!done || inPlace) ZEP3_HOLDS(ReadAll(done && !analysed ? original : scan) == bytes);
  if (!done || inPlace || !twice || analysed) return;
  // The same scan gives the same bytes.
  const std::string first = ReadAll(result);
  fs::remove(result);
  ZEP3_HOLDS(RunOn(words).status == Status::kCorrected && ReadAll(result) == first);
}
