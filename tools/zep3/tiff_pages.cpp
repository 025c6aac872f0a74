#include "tiff_pages.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <type_traits>

#include "failure.h"
#include "tiff_fractions.h"

namespace {

// An open file, and what libtiff said about it. Handlers of its own: libtiff's are the process's, and libvips has them.
class Tiff {
 public:
  Tiff(const std::string& path, const char* mode) : m_path(path) {
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options, Collect, this);
    TIFFOpenOptionsSetWarningHandlerExtR(
        options, [](TIFF*, void*, const char*, const char*, va_list) { return 1; }, nullptr);
    m_tiff = TIFFOpenExt(path.c_str(), mode, options);
    TIFFOpenOptionsFree(options);
    if (m_tiff == nullptr) Fail("cannot be opened");
  }
  ~Tiff() {
    if (m_tiff != nullptr) TIFFClose(m_tiff);
  }
  Tiff(const Tiff&) = delete;
  Tiff& operator=(const Tiff&) = delete;

  operator TIFF*() const { return m_tiff; }

  const std::string& Errors() const { return m_errors; }

  [[noreturn]] void Fail(const std::string& what) const {
    throw Failure("TIFF file " + m_path + " " + what + (m_errors.empty() ? "" : ": " + m_errors));
  }
  void Check(bool good, const char* what) const {
    if (!good) Fail(what);
  }

  // Ends the writing: only now is it known to have gone well.
  void Close() {
    Check(TIFFFlush(m_tiff) != 0, "cannot be written");
    TIFFClose(m_tiff);
    m_tiff = nullptr;
  }

 private:
  static int Collect(TIFF*, void* self, const char*, const char* format, va_list arguments) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    std::string& errors = static_cast<Tiff*>(self)->m_errors;
    if (errors.size() < 2000 && errors.find(text) == std::string::npos)
      errors += (errors.empty() ? "" : "; ") + std::string(text);
    return 1;
  }

  std::string m_path;
  std::string m_errors;
  TIFF* m_tiff = nullptr;
};

using Tags = std::vector<uint32_t>;

// ---- single tags ----

template <typename T>
T Get(TIFF* tiff, uint32_t tag, T otherwise) {
  T value = otherwise;
  return TIFFGetFieldDefaulted(tiff, tag, &value) != 0 ? value : otherwise;
}

// Sets what the source has and takes away what it has not.
template <typename T>
void CopyValue(TIFF* from, TIFF* to, uint32_t tag) {
  T value = {};
  if (TIFFGetField(from, tag, &value) == 0) {
    TIFFUnsetField(to, tag);
  } else if constexpr (std::is_same_v<T, float>) {
    TIFFSetField(to, tag, static_cast<double>(value));
  } else {
    TIFFSetField(to, tag, value);
  }
}

void CopyPair(TIFF* from, TIFF* to, uint32_t tag) {
  uint16_t first = 0;
  uint16_t second = 0;
  if (TIFFGetField(from, tag, &first, &second) != 0) TIFFSetField(to, tag, first, second);
}

template <typename Count>
void CopyCounted(TIFF* from, TIFF* to, uint32_t tag) {
  Count count = 0;
  void* data = nullptr;
  if (TIFFGetField(from, tag, &count, &data) != 0 && count > 0 && data != nullptr) TIFFSetField(to, tag, count, data);
}

// A tag that neither file need know: unknown ones are taken over as the source describes them.
void CopyAnyTag(TIFF* from, TIFF* to, uint32_t tag) {
  const TIFFField* field = TIFFFindField(from, tag, TIFF_ANY);
  if (field == nullptr) return;
  if (TIFFFindField(to, tag, TIFF_ANY) == nullptr) {
    std::string name = "Tag " + std::to_string(tag);
    const TIFFFieldInfo info = {tag,
                                static_cast<short>(TIFFFieldReadCount(field)),
                                static_cast<short>(TIFFFieldWriteCount(field)),
                                TIFFFieldDataType(field),
                                FIELD_CUSTOM,
                                1,
                                static_cast<unsigned char>(TIFFFieldPassCount(field)),
                                name.data()};
    TIFFMergeFieldInfo(to, &info, 1);
  }
  if (TIFFFieldPassCount(field)) {
    if (TIFFFieldSetGetCountSize(field) == 4) return CopyCounted<uint32_t>(from, to, tag);
    return CopyCounted<uint16_t>(from, to, tag);
  }
  if (TIFFFieldDataType(field) == TIFF_ASCII || TIFFFieldReadCount(field) != 1) return CopyValue<void*>(from, to, tag);
  const bool fraction = TIFFFieldDataType(field) == TIFF_RATIONAL || TIFFFieldDataType(field) == TIFF_SRATIONAL ||
                        TIFFFieldDataType(field) == TIFF_FLOAT || TIFFFieldDataType(field) == TIFF_DOUBLE;
  switch (TIFFFieldSetGetSize(field)) {
    case 1:
      return CopyValue<uint8_t>(from, to, tag);
    case 2:
      return CopyValue<uint16_t>(from, to, tag);
    case 4:
      return fraction ? CopyValue<float>(from, to, tag) : CopyValue<uint32_t>(from, to, tag);
    case 8:
      return fraction ? CopyValue<double>(from, to, tag) : CopyValue<uint64_t>(from, to, tag);
    default:
      return;
  }
}

// ---- groups of tags ----

// Tags that say how pixels are stored or where other data lies: they hold for one file only.
bool DescribesStorage(uint32_t tag) {
  constexpr auto kStorage = std::to_array<uint32_t>({TIFFTAG_ICCPROFILE,
                                                     TIFFTAG_EXIFIFD,
                                                     TIFFTAG_GPSIFD,
                                                     TIFFTAG_INTEROPERABILITYIFD,
                                                     TIFFTAG_SUBIFD,
                                                     TIFFTAG_JPEGTABLES,
                                                     TIFFTAG_PREDICTOR,
                                                     TIFFTAG_COLORMAP,
                                                     TIFFTAG_EXTRASAMPLES,
                                                     TIFFTAG_SAMPLEFORMAT,
                                                     TIFFTAG_TRANSFERFUNCTION,
                                                     TIFFTAG_YCBCRCOEFFICIENTS,
                                                     TIFFTAG_YCBCRSUBSAMPLING,
                                                     TIFFTAG_YCBCRPOSITIONING,
                                                     TIFFTAG_REFERENCEBLACKWHITE,
                                                     TIFFTAG_GRAYRESPONSEUNIT,
                                                     TIFFTAG_GRAYRESPONSECURVE,
                                                     TIFFTAG_GROUP3OPTIONS,
                                                     TIFFTAG_GROUP4OPTIONS,
                                                     TIFFTAG_BADFAXLINES,
                                                     TIFFTAG_CLEANFAXDATA,
                                                     TIFFTAG_CONSECUTIVEBADFAXLINES,
                                                     TIFFTAG_LERC_PARAMETERS,
                                                     TIFFTAG_MINSAMPLEVALUE,
                                                     TIFFTAG_MAXSAMPLEVALUE,
                                                     TIFFTAG_SMINSAMPLEVALUE,
                                                     TIFFTAG_SMAXSAMPLEVALUE,
                                                     TIFFTAG_FREEOFFSETS,
                                                     TIFFTAG_FREEBYTECOUNTS,
                                                     TIFFTAG_IMAGEDEPTH,
                                                     TIFFTAG_TILEDEPTH});
  const bool oldJpeg = tag >= TIFFTAG_JPEGPROC && tag <= TIFFTAG_JPEGACTABLES;
  const bool codecSetting = tag > 65535;
  return oldJpeg || codecSetting || std::find(kStorage.begin(), kStorage.end(), tag) != kStorage.end();
}

Tags CustomTags(TIFF* tiff) {
  Tags tags;
  for (int i = 0; i < TIFFGetTagListCount(tiff); i++) tags.push_back(TIFFGetTagListEntry(tiff, i));
  return tags;
}

void CopyDescription(TIFF* from, TIFF* to) {
  for (const uint32_t tag : Tags{TIFFTAG_XRESOLUTION, TIFFTAG_YRESOLUTION, TIFFTAG_XPOSITION, TIFFTAG_YPOSITION}) {
    CopyValue<float>(from, to, tag);
  }
  for (const uint32_t tag : Tags{TIFFTAG_RESOLUTIONUNIT, TIFFTAG_ORIENTATION, TIFFTAG_THRESHHOLDING}) {
    CopyValue<uint16_t>(from, to, tag);
  }
  CopyValue<uint32_t>(from, to, TIFFTAG_SUBFILETYPE);
  CopyPair(from, to, TIFFTAG_PAGENUMBER);
  CopyPair(from, to, TIFFTAG_HALFTONEHINTS);
  const Tags tags = CustomTags(from);
  for (const uint32_t tag : CustomTags(to)) {
    const bool inSource = std::find(tags.begin(), tags.end(), tag) != tags.end();
    if (!inSource && !DescribesStorage(tag)) TIFFUnsetField(to, tag);
  }
  for (const uint32_t tag : tags) {
    if (!DescribesStorage(tag)) CopyAnyTag(from, to, tag);
  }
}

void CopyStorage(TIFF* from, TIFF* to) {
  for (const uint32_t tag : Tags{TIFFTAG_IMAGEWIDTH, TIFFTAG_IMAGELENGTH}) CopyValue<uint32_t>(from, to, tag);
  for (const uint32_t tag : Tags{TIFFTAG_BITSPERSAMPLE, TIFFTAG_SAMPLESPERPIXEL, TIFFTAG_PLANARCONFIG,
                                 TIFFTAG_COMPRESSION, TIFFTAG_PHOTOMETRIC, TIFFTAG_FILLORDER, TIFFTAG_SAMPLEFORMAT}) {
    CopyValue<uint16_t>(from, to, tag);
  }
  for (const uint32_t tag :
       TIFFIsTiled(from) ? Tags{TIFFTAG_TILEWIDTH, TIFFTAG_TILELENGTH} : Tags{TIFFTAG_ROWSPERSTRIP}) {
    CopyValue<uint32_t>(from, to, tag);
  }
  CopyCounted<uint16_t>(from, to, TIFFTAG_EXTRASAMPLES);
  uint16_t* map[3] = {};
  if (TIFFGetField(from, TIFFTAG_COLORMAP, &map[0], &map[1], &map[2]) != 0) {
    TIFFSetField(to, TIFFTAG_COLORMAP, map[0], map[1], map[2]);
  }
  switch (Get<uint16_t>(from, TIFFTAG_COMPRESSION, COMPRESSION_NONE)) {
    case COMPRESSION_LZW:
    case COMPRESSION_DEFLATE:
    case COMPRESSION_ADOBE_DEFLATE:
    case COMPRESSION_ZSTD:
    case COMPRESSION_LZMA:
      CopyValue<uint16_t>(from, to, TIFFTAG_PREDICTOR);
      break;
    case COMPRESSION_CCITTFAX3:
      CopyValue<uint32_t>(from, to, TIFFTAG_GROUP3OPTIONS);
      break;
    case COMPRESSION_CCITTFAX4:
      CopyValue<uint32_t>(from, to, TIFFTAG_GROUP4OPTIONS);
      break;
    case COMPRESSION_JPEG:
      CopyCounted<uint32_t>(from, to, TIFFTAG_JPEGTABLES);
      break;
    default:
      break;
  }
  if (Get<uint16_t>(from, TIFFTAG_PHOTOMETRIC, 0) == PHOTOMETRIC_YCBCR) {
    CopyPair(from, to, TIFFTAG_YCBCRSUBSAMPLING);
    CopyValue<uint16_t>(from, to, TIFFTAG_YCBCRPOSITIONING);
    CopyValue<void*>(from, to, TIFFTAG_YCBCRCOEFFICIENTS);
    CopyValue<void*>(from, to, TIFFTAG_REFERENCEBLACKWHITE);
  }
  CopyCounted<uint32_t>(from, to, TIFFTAG_ICCPROFILE);
}

// ---- directories beside the page's own ----

struct SubDirectory {
  uint32_t pointer; // the tag that says where it lies
  int (*read)(TIFF*, toff_t);
  int (*create)(TIFF*);
};
constexpr SubDirectory kSubDirectories[] = {{TIFFTAG_EXIFIFD, TIFFReadEXIFDirectory, TIFFCreateEXIFDirectory},
                                            {TIFFTAG_GPSIFD, TIFFReadGPSDirectory, TIFFCreateGPSDirectory}};

// A copied directory: the tag that points to it, and where it lies in both files.
struct Placed {
  uint32_t pointer;
  uint64_t source, target;
};

// Writes copies of the page's EXIF and GPS directories and returns where they lie. Leaves `to` without a directory.
std::vector<Placed> CopySubDirectories(const Tiff& from, unsigned page, const Tiff& to) {
  std::vector<Placed> placed;
  for (const SubDirectory& directory : kSubDirectories) {
    uint64_t offset = 0;
    if (TIFFGetField(from, directory.pointer, &offset) == 0) continue;
    // One that is damaged is left out: the picture is worth more.
    if (directory.read(from, offset) != 0 && directory.create(to) == 0) {
      for (const uint32_t tag : CustomTags(from)) {
        if (!DescribesStorage(tag)) CopyAnyTag(from, to, tag);
      }
      uint64_t written = 0;
      to.Check(TIFFWriteCustomDirectory(to, &written) != 0, "cannot be written");
      placed.push_back({directory.pointer, offset, written});
    }
    from.Check(TIFFSetDirectory(from, static_cast<tdir_t>(page)) != 0, "cannot be read");
  }
  return placed;
}

void PointTo(const std::vector<Placed>& placed, TIFF* tiff) {
  for (const Placed& directory : placed) TIFFSetField(tiff, directory.pointer, directory.target);
}

// The last page of `target` and the directories beside it get the fractions of the page that `from` stands at.
void CopyPageFractions(const Tiff& from, const std::string& source, const std::string& target,
                       const std::vector<Placed>& placed) {
  std::vector<std::pair<uint64_t, uint64_t>> directories;
  for (const Placed& directory : placed) directories.emplace_back(directory.source, directory.target);
  {
    const Tiff to(target, "rm");
    to.Check(TIFFSetDirectory(to, static_cast<tdir_t>(TIFFNumberOfDirectories(to) - 1)) != 0, "cannot be read");
    directories.emplace_back(TIFFCurrentDirOffset(from), TIFFCurrentDirOffset(to));
  }
  CopyFractions(source, target, directories);
}

TiffLayout LayoutOf(TIFF* tiff) {
  TiffLayout layout;
  layout.compression = Get<uint16_t>(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  layout.bitsPerSample = Get<uint16_t>(tiff, TIFFTAG_BITSPERSAMPLE, 1);
  layout.samplesPerPixel = Get<uint16_t>(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  layout.luminanceChroma = Get<uint16_t>(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK) == PHOTOMETRIC_YCBCR;
  layout.separatePlanes = Get<uint16_t>(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) == PLANARCONFIG_SEPARATE;
  uint16_t predictor = PREDICTOR_NONE;
  if (TIFFGetField(tiff, TIFFTAG_PREDICTOR, &predictor) != 0) layout.predictor = predictor;
  layout.tiled = TIFFIsTiled(tiff) != 0;
  if (layout.tiled) {
    layout.tileWidth = Get<uint32_t>(tiff, TIFFTAG_TILEWIDTH, 0);
    layout.tileHeight = Get<uint32_t>(tiff, TIFFTAG_TILELENGTH, 0);
  } else {
    layout.rowsPerStrip =
        std::min(Get<uint32_t>(tiff, TIFFTAG_ROWSPERSTRIP, 0), Get<uint32_t>(tiff, TIFFTAG_IMAGELENGTH, 0));
    layout.stripBytes = TIFFVStripSize64(tiff, layout.rowsPerStrip);
  }
  layout.reduced = (Get<uint32_t>(tiff, TIFFTAG_SUBFILETYPE, 0) & FILETYPE_REDUCEDIMAGE) != 0;
  uint16_t subImages = 0;
  const uint64_t* offsets = nullptr;
  layout.subImages = TIFFGetField(tiff, TIFFTAG_SUBIFD, &subImages, &offsets) != 0 && subImages > 0;
  layout.big = TIFFIsBigTIFF(tiff) != 0;
  return layout;
}

class PlainTiffLines : public PlainLines {
 public:
  PlainTiffLines(const std::string& path, unsigned page) : m_tiff(path, "rm") {
    m_tiff.Check(TIFFSetDirectory(m_tiff, static_cast<tdir_t>(page)) != 0, "cannot be read");
    m_layout = LayoutOf(m_tiff);
    m_height = Get<uint32_t>(m_tiff, TIFFTAG_IMAGELENGTH, 0);
    m_width = Get<uint32_t>(m_tiff, TIFFTAG_IMAGEWIDTH, 0);
  }

  bool IsPlain() const {
    const uint16_t photometric = Get<uint16_t>(m_tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
    const bool colours = (photometric == PHOTOMETRIC_RGB && m_layout.samplesPerPixel >= 3) ||
                         (photometric == PHOTOMETRIC_MINISBLACK && m_layout.samplesPerPixel <= 2);
    return colours && !m_layout.tiled && !m_layout.separatePlanes && m_layout.compression == COMPRESSION_NONE &&
           (m_layout.bitsPerSample == 8 || m_layout.bitsPerSample == 16) && m_layout.stripBytes <= kStripMost &&
           Get<uint16_t>(m_tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT) == SAMPLEFORMAT_UINT;
  }

  int64_t Height() const override { return m_height; }
  int64_t Samples() const override { return int64_t{m_width} * m_layout.samplesPerPixel; }
  int64_t Bands() const override { return m_layout.samplesPerPixel; }
  bool IsDeep() const override { return m_layout.bitsPerSample == 16; }

  void Read(int64_t begin, int64_t end, const std::function<void(const void*, int64_t)>& take) override {
    const int64_t lineBytes = Samples() * (IsDeep() ? 2 : 1);
    m_strip.resize(m_layout.stripBytes);
    for (int64_t line = begin; line < end;) {
      const int64_t strip = line / m_layout.rowsPerStrip;
      const int64_t first = strip * m_layout.rowsPerStrip;
      const int64_t next = std::min<int64_t>(first + m_layout.rowsPerStrip, m_height);
      const auto size = static_cast<tmsize_t>((next - first) * lineBytes);
      m_tiff.Check(TIFFReadEncodedStrip(m_tiff, static_cast<uint32_t>(strip), m_strip.data(), size) == size,
                   "cannot be read");
      take(m_strip.data() + (line - first) * lineBytes, std::min(next, end) - line);
      line = next;
    }
  }

 private:
  // A strip is read at a time; scans in one strip are left to others.
  static constexpr uint64_t kStripMost = 16 << 20;

  Tiff m_tiff;
  TiffLayout m_layout;
  uint32_t m_width, m_height;
  std::vector<uint8_t> m_strip;
};

} // namespace

std::unique_ptr<PlainLines> PlainLines::Open(const std::string& path, unsigned page) {
  auto lines = std::make_unique<PlainTiffLines>(path, page);
  if (!lines->IsPlain()) return nullptr;
  return lines;
}

std::vector<TiffLayout> ReadTiffLayouts(const std::string& path) {
  const Tiff tiff(path, "rm");
  std::vector<TiffLayout> layouts;
  do {
    layouts.push_back(LayoutOf(tiff));
  } while (TIFFReadDirectory(tiff) != 0);
  // Also after the last page it answers 0, but says nothing.
  if (!TIFFLastDirectory(tiff)) tiff.Fail("is damaged");
  return layouts;
}

void CopyTiffTags(const std::string& source, unsigned page, const std::string& result) {
  const Tiff from(source, "rm");
  Tiff to(result, "r+m");
  from.Check(TIFFSetDirectory(from, static_cast<tdir_t>(page)) != 0, "cannot be read");
  const std::vector<Placed> placed = CopySubDirectories(from, page, to);
  to.Check(TIFFSetDirectory(to, 0) != 0, "cannot be read");
  CopyDescription(from, to);
  PointTo(placed, to);
  // The same thing in other words: all lines in one strip.
  const uint32_t rows = Get<uint32_t>(from, TIFFTAG_ROWSPERSTRIP, 0);
  const uint32_t lines = Get<uint32_t>(to, TIFFTAG_IMAGELENGTH, 0);
  if (!TIFFIsTiled(to) && rows >= lines && Get<uint32_t>(to, TIFFTAG_ROWSPERSTRIP, 0) >= lines) {
    TIFFSetField(to, TIFFTAG_ROWSPERSTRIP, rows);
  }
  to.Check(TIFFRewriteDirectory(to) != 0, "cannot be written");
  to.Close();
  CopyPageFractions(from, source, result, placed);
}

void AppendTiffPage(const std::string& source, unsigned page, const std::string& target, bool big) {
  const Tiff from(source, "rm");
  from.Check(TIFFSetDirectory(from, static_cast<tdir_t>(page)) != 0, "cannot be read");
  Tiff to(target, std::filesystem::exists(target) ? "a" : big ? "w8" : "w");
  const TiffLayout layout = LayoutOf(from);
  // Stored samples of several bytes have the file's byte order.
  from.Check(layout.bitsPerSample <= 8 || TIFFIsBigEndian(from) == TIFFIsBigEndian(to), "has another byte order");
  from.Check(layout.compression != COMPRESSION_OJPEG, "has pages in the old JPEG form, which cannot be copied");

  const std::vector<Placed> placed = CopySubDirectories(from, page, to);
  to.Check(TIFFCreateDirectory(to) == 0, "cannot be written");
  CopyStorage(from, to);
  CopyDescription(from, to);
  PointTo(placed, to);
  const uint64_t fileSize = std::filesystem::file_size(source);
  const uint32_t count = layout.tiled ? TIFFNumberOfTiles(from) : TIFFNumberOfStrips(from);
  std::vector<uint8_t> bytes;
  for (uint32_t i = 0; i < count; i++) {
    const uint64_t size = TIFFGetStrileByteCount(from, i);
    from.Check(size <= fileSize, "is damaged");
    bytes.resize(size);
    const auto length = static_cast<tmsize_t>(size);
    const bool read = (layout.tiled ? TIFFReadRawTile : TIFFReadRawStrip)(from, i, bytes.data(), length) == length;
    from.Check(read, "cannot be read");
    const bool written = (layout.tiled ? TIFFWriteRawTile : TIFFWriteRawStrip)(to, i, bytes.data(), length) == length;
    to.Check(written, "cannot be written");
  }
  to.Check(TIFFWriteDirectory(to) != 0, "cannot be written");
  to.Close();
  CopyPageFractions(from, source, target, placed);
}
