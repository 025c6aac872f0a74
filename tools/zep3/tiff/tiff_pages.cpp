// Strips and tiles by libtiff; directories as they are stored, field by field.
#include "tiff/tiff_pages.h"

#include <algorithm>
#include <initializer_list>

#include "failure.h"
#include "tiff/tiff_directory.h"
#include "tiff/tiff_handle.h"

namespace {

bool IsOneOf(unsigned value, std::initializer_list<unsigned> values) {
  return std::find(values.begin(), values.end(), value) != values.end();
}

// ---- pixels: by libtiff ----

// True when the stored bytes depend on the file's byte order. Samples of other widths are streams of bits.
bool DependsOnByteOrder(const TiffHandle& tiff, const TiffLayout& layout) {
  if (!IsOneOf(layout.bitsPerSample, {16, 24, 32, 64, 128})) return false;
  if (IsOneOf(layout.compression, {COMPRESSION_JPEG, COMPRESSION_JP2000, COMPRESSION_WEBP, COMPRESSION_JXL})) {
    return false;
  }
  if (!IsOneOf(layout.compression, {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_DEFLATE,
                                    COMPRESSION_PACKBITS, COMPRESSION_LZMA, COMPRESSION_ZSTD})) {
    tiff.Fail("compression " + std::to_string(layout.compression) + " cannot change the byte order");
  }
  return true;
}

// Block: a strip or a tile.
void CopyStoredBlock(const TiffHandle& from, const TiffHandle& to, bool tiled, uint32_t block, Bytes& buffer) {
  const auto size = static_cast<tmsize_t>(buffer.size());
  const tmsize_t read =
      tiled ? TIFFReadRawTile(from, block, buffer.data(), size) : TIFFReadRawStrip(from, block, buffer.data(), size);
  if (read != size) from.Fail("block " + std::to_string(block) + " cannot be read");
  const tmsize_t written =
      tiled ? TIFFWriteRawTile(to, block, buffer.data(), size) : TIFFWriteRawStrip(to, block, buffer.data(), size);
  if (written != size) to.FailToWrite();
}

void EncodeBlockAgain(const TiffHandle& from, const TiffHandle& to, bool tiled, uint32_t block, Bytes& buffer) {
  const auto size = static_cast<tmsize_t>(buffer.size());
  const tmsize_t read = tiled ? TIFFReadEncodedTile(from, block, buffer.data(), size)
                              : TIFFReadEncodedStrip(from, block, buffer.data(), size);
  if (read <= 0) from.Fail("block " + std::to_string(block) + " cannot be decoded");
  const tmsize_t written = tiled ? TIFFWriteEncodedTile(to, block, buffer.data(), read)
                                 : TIFFWriteEncodedStrip(to, block, buffer.data(), read);
  if (written != read) to.FailToWrite();
}

void CopyBlocks(const TiffHandle& from, const TiffLayout& layout, const TiffHandle& to) {
  const bool again = TIFFIsBigEndian(from) != TIFFIsBigEndian(to) && DependsOnByteOrder(from, layout);
  const tmsize_t decoded = layout.tiled ? TIFFTileSize(from) : TIFFStripSize(from);
  if (again && (decoded <= 0 || decoded > kLargestAllocation)) from.Fail("the strips or tiles are too large");
  const uint32_t blocks = layout.tiled ? TIFFNumberOfTiles(from) : TIFFNumberOfStrips(from);
  uint64_t left =
      TIFFGetSizeProc(from)(TIFFClientdata(from)); // blocks that share their data could make any amount of it
  Bytes buffer;
  for (uint32_t block = 0; block < blocks; ++block) {
    const uint64_t stored = TIFFGetStrileByteCount(from, block);
    if (stored == 0) continue; // sparse
    if (stored > left) from.Fail("the strips or tiles are larger than the file");
    left -= stored;
    buffer.resize(again ? static_cast<size_t>(decoded) : static_cast<size_t>(stored));
    again ? EncodeBlockAgain(from, to, layout.tiled, block, buffer)
          : CopyStoredBlock(from, to, layout.tiled, block, buffer);
  }
}

// ---- directories: as stored ----

constexpr uint16_t kInteroperability = 40965; // within the EXIF directory

// Tags that tell where the strips or tiles are: always the result's own.
bool IsBlockList(uint16_t tag) {
  return IsOneOf(tag, {TIFFTAG_STRIPOFFSETS, TIFFTAG_STRIPBYTECOUNTS, TIFFTAG_TILEOFFSETS, TIFFTAG_TILEBYTECOUNTS});
}

// Leads to what is not carried: unused space, other images, parts of old-style JPEG.
bool LeadsElsewhere(const Entry& entry) {
  return IsOneOf(entry.type, {TIFF_IFD, TIFF_IFD8}) ||
         IsOneOf(entry.tag, {TIFFTAG_FREEOFFSETS, TIFFTAG_FREEBYTECOUNTS, TIFFTAG_SUBIFD, TIFFTAG_GLOBALPARAMETERSIFD,
                             TIFFTAG_JPEGIFOFFSET, TIFFTAG_JPEGIFBYTECOUNT, TIFFTAG_JPEGQTABLES, TIFFTAG_JPEGDCTABLES,
                             TIFFTAG_JPEGACTABLES});
}

// Says how pixels are stored or what their values mean, and so goes with the pixels.
bool BelongsToPixels(uint16_t tag) {
  if (IsBlockList(tag)) return true;
  if (IsOneOf(tag, {TIFFTAG_IMAGEWIDTH, TIFFTAG_IMAGELENGTH, TIFFTAG_IMAGEDEPTH, TIFFTAG_ROWSPERSTRIP})) return true;
  if (IsOneOf(tag, {TIFFTAG_STRIPROWCOUNTS, TIFFTAG_TILEWIDTH, TIFFTAG_TILELENGTH, TIFFTAG_TILEDEPTH})) return true;
  if (IsOneOf(tag, {TIFFTAG_BITSPERSAMPLE, TIFFTAG_SAMPLESPERPIXEL, TIFFTAG_SAMPLEFORMAT, TIFFTAG_DATATYPE,
                    TIFFTAG_EXTRASAMPLES, TIFFTAG_MATTEING, TIFFTAG_PLANARCONFIG, TIFFTAG_FILLORDER})) {
    return true;
  }
  if (IsOneOf(tag, {TIFFTAG_COMPRESSION, TIFFTAG_PREDICTOR, TIFFTAG_GROUP3OPTIONS, TIFFTAG_GROUP4OPTIONS,
                    TIFFTAG_BADFAXLINES, TIFFTAG_CLEANFAXDATA, TIFFTAG_CONSECUTIVEBADFAXLINES, TIFFTAG_JPEGTABLES,
                    TIFFTAG_JPEGPROC, TIFFTAG_JPEGRESTARTINTERVAL, TIFFTAG_JPEGLOSSLESSPREDICTORS,
                    TIFFTAG_JPEGPOINTTRANSFORM, TIFFTAG_LERC_PARAMETERS})) {
    return true;
  }
  constexpr unsigned kTransferRange = 342;
  return IsOneOf(tag, {TIFFTAG_PHOTOMETRIC, TIFFTAG_COLORMAP, TIFFTAG_INDEXED, TIFFTAG_ICCPROFILE,
                       TIFFTAG_MINSAMPLEVALUE, TIFFTAG_MAXSAMPLEVALUE, TIFFTAG_SMINSAMPLEVALUE, TIFFTAG_SMAXSAMPLEVALUE,
                       TIFFTAG_GRAYRESPONSEUNIT, TIFFTAG_GRAYRESPONSECURVE, kTransferRange, TIFFTAG_INKSET,
                       TIFFTAG_INKNAMES, TIFFTAG_NUMBEROFINKS, TIFFTAG_DOTRANGE, TIFFTAG_YCBCRCOEFFICIENTS,
                       TIFFTAG_YCBCRSUBSAMPLING, TIFFTAG_YCBCRPOSITIONING, TIFFTAG_REFERENCEBLACKWHITE});
}

// The data of a field for the byte order of another file.
void ChangeByteOrder(const Entry& entry, Bytes& data) {
  // A string of bytes in which every dataset begins with 1C, though most writers call it LONG.
  if (entry.tag == TIFFTAG_RICHTIFFIPTC && !data.empty() && data[0] == 0x1C) return;
  const auto width = static_cast<std::ptrdiff_t>(SizeOfTiffType(entry.type).number);
  for (auto at = data.begin(); at != data.end(); at += width) std::reverse(at, at + width);
}

// Numbers of 64 bits, which only a BigTIFF knows, as such of 32; false when one does not fit.
bool Narrow(const TaggedFile& file, uint16_t& type, Bytes& data) {
  Bytes narrow;
  for (size_t at = 0; at < data.size(); at += 8) {
    const uint64_t number = file.Number(data.data() + at, 8);
    const auto value = static_cast<int64_t>(number);
    if (type == TIFF_SLONG8 ? value != static_cast<int32_t>(value) : number > UINT32_MAX) return false;
    file.Put(narrow, number, 4);
  }
  type = type == TIFF_SLONG8 ? TIFF_SLONG : TIFF_LONG;
  data = std::move(narrow);
  return true;
}

// Says how large, how turned and which of several the picture is; not what it shows.
bool PlacesPixels(uint16_t tag) {
  return IsOneOf(tag, {TIFFTAG_XRESOLUTION, TIFFTAG_YRESOLUTION, TIFFTAG_RESOLUTIONUNIT, TIFFTAG_ORIENTATION,
                       TIFFTAG_SUBFILETYPE, TIFFTAG_PAGENUMBER});
}

// What EXIF repeats of the picture's size, pixels.
struct ToldSize {
  uint32_t width, height;
};

// One transplantation. Fields that cannot be read are left out.
class Carrier {
 public:
  // `most`: bytes of fields that are carried.
  Carrier(TaggedFile& from, TaggedFile& to, const std::optional<ToldSize>& size, uint64_t most = UINT64_MAX)
      : m_from(from), m_to(to), m_size(size), m_left(std::min(from.size, most)) {}

  void Carry(const Entry& entry, Directory& entries) {
    const uint64_t bytes = m_from.DataBytes(entry);
    if (bytes == 0 || bytes > m_left) return;
    auto data = m_from.Data(entry);
    if (!data) return;
    m_left -= bytes;
    if (IsOneOf(entry.tag, {TIFFTAG_EXIFIFD, TIFFTAG_GPSIFD, kInteroperability})) {
      if (bytes == 4 || bytes == 8) CarryDirectory(entry.tag, m_from.Number(data->data(), data->size()), entries);
      return;
    }
    if (LeadsElsewhere(entry)) return;
    if (m_from.bigEndian != m_to.bigEndian) ChangeByteOrder(entry, *data);
    uint16_t type = entry.type;
    if (m_size && m_depth > 0 && IsOneOf(entry.tag, {EXIFTAG_PIXELXDIMENSION, EXIFTAG_PIXELYDIMENSION})) {
      type = TIFF_LONG;
      data->clear();
      m_to.Put(*data, entry.tag == EXIFTAG_PIXELXDIMENSION ? m_size->width : m_size->height, 4);
    }
    if (!m_to.big && IsOneOf(type, {TIFF_LONG8, TIFF_SLONG8}) && !Narrow(m_to, type, *data)) return;
    entries.emplace(entry.tag, m_to.Store(entry.tag, type, *data));
  }

 private:
  void CarryDirectory(uint16_t tag, uint64_t offset, Directory& entries) {
    const auto source = m_depth < 2 ? m_from.ReadDirectory(offset) : std::nullopt; // page, EXIF, interoperability
    if (!source) return;
    ++m_depth;
    Directory carried;
    for (const auto& [unused, entry] : *source) Carry(entry, carried);
    --m_depth;
    if (carried.empty()) return;
    Bytes link;
    m_to.Put(link, m_to.WriteDirectory(carried, 0), m_to.OffsetBytes());
    entries.emplace(tag, m_to.Store(tag, m_to.big ? TIFF_LONG8 : TIFF_LONG, link));
  }

  TaggedFile &m_from, &m_to;
  std::optional<ToldSize> m_size; // where it is not the source's any more
  uint64_t m_left;                // bytes: fields that share their data could make any amount of it
  int m_depth = 0;
};

// A number of rows per strip that is not below the image's means one strip.
bool IsOneStrip(const TiffHandle& tiff) {
  return TIFFIsTiled(tiff) == 0 &&
         tiff.Get<uint32_t>(TIFFTAG_ROWSPERSTRIP, 0) >= tiff.Get<uint32_t>(TIFFTAG_IMAGELENGTH, 0);
}

// What two pages have in common, one of which is to get the other's directory.
struct Likeness {
  bool pixels, depth, samples, rows; // as stored; pixels: all but where they are
};

// Completes the directory of the page around which `to` is from that around which `from` is. `link`: position of the
// offset that leads to it.
void Transplant(TaggedFile& from, TaggedFile& to, uint64_t link, const Likeness& same, bool strip,
                const std::optional<ToldSize>& size = std::nullopt) {
  const auto stays = [&](uint16_t tag) {
    // Its length follows from the depth.
    if (tag == TIFFTAG_TRANSFERFUNCTION) return !same.depth;
    if (tag == TIFFTAG_ROWSPERSTRIP) return !same.rows;
    if (tag == TIFFTAG_EXTRASAMPLES) return !same.samples; // libvips says of any alpha that it is not multiplied in
    return same.pixels ? IsBlockList(tag) : BelongsToPixels(tag);
  };
  Directory entries;
  for (const auto& [tag, entry] : to.PageDirectory()) {
    if (stays(tag)) entries.emplace(tag, entry);
  }
  Carrier carrier(from, to, size);
  for (const auto& [tag, entry] : from.PageDirectory()) {
    if (!stays(tag) && (!strip || BelongsToPixels(tag) || PlacesPixels(tag))) carrier.Carry(entry, entries);
  }
  to.ReplacePageDirectory(entries, link);
}

// What a block of EXIF tells of a page of this layout. False where it cannot be read.
bool CarryExif(const std::string& exif, const TiffLayout& layout, TaggedFile& to, Directory& entries) try {
  MemoryFile block = {exif};
  const TiffHandle handle(block);
  TaggedFile from(handle);
  from.Follow(from.FirstLink());
  Carrier carrier(from, to, ToldSize{layout.width, layout.height});
  for (const auto& [tag, entry] : from.PageDirectory()) {
    if (!BelongsToPixels(tag) && !PlacesPixels(tag)) carrier.Carry(entry, entries);
  }
  return true;
} catch (const Failure&) { // a fault of the file that is written is met again
  return false;
}

} // namespace

void CopyTiffTags(const std::string& source, TiffPlace page, PendingFile& result) {
  const TiffHandle before(source, page);
  const TiffHandle after(result, "rmc");
  const TiffLayout scan = LayoutOf(before), layout = LayoutOf(after);
  const bool cut = scan.width != layout.width || scan.height != layout.height;
  const Likeness same = {false, scan.bitsPerSample == layout.bitsPerSample,
                         scan.samplesPerPixel == layout.samplesPerPixel, IsOneStrip(before) && IsOneStrip(after)};
  TaggedFile from(before), to(after);
  Transplant(from, to, to.FirstLink(), same, false,
             cut ? std::optional(ToldSize{layout.width, layout.height}) : std::nullopt);
}

std::string ExifOfTiff(const std::string& source, TiffPlace page, std::vector<std::string>& lost) {
  using namespace std::string_literals;
  constexpr uint64_t kMost = 16 << 10;     // bytes of a field: EXIF has room for 64 KB in all
  constexpr uint64_t kMostInAll = 1 << 20; // whoever takes the block finds it too large
  constexpr uint16_t kFirstPrivate = 32768;
  const TiffHandle scan(source, page);
  MemoryFile block = {(TIFFIsBigEndian(scan) != 0 ? "MM\0*\0\0\0\x8"s : "II*\0\x8\0\0\0"s) + std::string(6, '\0')};
  const TiffHandle exif(block);
  TaggedFile from(scan), to(exif);
  to.Follow(to.FirstLink());
  Directory entries;
  Carrier carrier(from, to, std::nullopt, kMostInAll);
  bool isPrivate = false, isLarge = false;
  for (const auto& [tag, entry] : from.PageDirectory()) {
    const bool elsewhere = IsOneOf(tag, {TIFFTAG_XMLPACKET, TIFFTAG_RICHTIFFIPTC, TIFFTAG_PHOTOSHOP});
    if (BelongsToPixels(tag) || PlacesPixels(tag) || elsewhere) continue;
    const bool known = tag < kFirstPrivate || IsOneOf(tag, {TIFFTAG_COPYRIGHT, TIFFTAG_EXIFIFD, TIFFTAG_GPSIFD});
    isPrivate = isPrivate || !known;
    isLarge = isLarge || (known && from.DataBytes(entry) > kMost);
    if (known && from.DataBytes(entry) <= kMost) carrier.Carry(entry, entries);
  }
  if (isLarge) lost.emplace_back("fields of more than 16 KB");
  if (isPrivate) lost.emplace_back("private tags");
  if (entries.empty()) return "";
  to.ReplacePageDirectory(entries, to.FirstLink());
  return block.bytes;
}

bool AddTags(const MoreTags& more, PendingFile& result) {
  const TiffHandle after(result, "rmc");
  const TiffLayout layout = LayoutOf(after);
  TaggedFile to(after);
  Directory entries;
  for (const auto& [tag, entry] : to.PageDirectory()) {
    const bool size = IsOneOf(tag, {TIFFTAG_XRESOLUTION, TIFFTAG_YRESOLUTION, TIFFTAG_RESOLUTIONUNIT});
    if (more.sized || !size) entries.emplace(tag, entry);
  }
  if (!more.iptc.empty()) {
    entries.insert_or_assign(TIFFTAG_RICHTIFFIPTC,
                             to.Store(TIFFTAG_RICHTIFFIPTC, TIFF_UNDEFINED, Bytes(more.iptc.begin(), more.iptc.end())));
  }
  const bool whole = more.exif.empty() || CarryExif(more.exif, layout, to, entries);
  to.ReplacePageDirectory(entries, to.FirstLink());
  return whole;
}

TiffPageWriter::TiffPageWriter(PendingFile& file, bool big) : m_file(file), m_big(big) {}

TiffPageWriter::~TiffPageWriter() = default;

void TiffPageWriter::Append(const std::string& source, TiffPlace page, bool strip) {
  Append(TiffHandle(source, page), strip);
}

void TiffPageWriter::Append(PendingFile& source, bool strip) { Append(TiffHandle(source, "rmc"), strip); }

void TiffPageWriter::Append(const TiffHandle& from, bool strip) {
  const TiffLayout layout = LayoutOf(from);
  if (layout.compression == COMPRESSION_OJPEG) from.Fail("old-style JPEG cannot be copied");
  if (m_to == nullptr) {
    const std::string mode = std::string("w") + (TIFFIsBigEndian(from) != 0 ? "b" : "l") + (m_big ? "8" : "");
    m_to = std::make_unique<TiffHandle>(m_file, mode.c_str());
  }
  SetLayout(from, layout, *m_to);
  CopyBlocks(from, layout, *m_to);
  if (TIFFWriteDirectory(*m_to) == 0) m_to->FailToWrite();
  // libtiff links its directories to one another, and the first to the file's head. Of those that replace them the same
  // is done here: looking for the last one from the beginning would cost a time that grows with the square of the
  // pages.
  TaggedFile source(from), target(*m_to);
  if (m_link == 0) m_link = m_libraryLink = target.FirstLink();
  target.Follow(m_libraryLink);
  m_libraryLink = target.NextLink();
  Transplant(source, target, m_link, {true, true, true, true}, strip);
  m_link = target.NextLink();
}
