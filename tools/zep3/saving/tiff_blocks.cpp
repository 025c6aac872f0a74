// Each thread has a TIFF in memory compress its strips or tiles, which go from there into the result as they are.
#include "saving/tiff_blocks.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "page/box_mean.h"
#include "saving/in_order.h"
#include "saving/lines.h"
#include "tiff/plain_tiff.h"
#include "tiff/tiff_handle.h"
#include "tiff/tiff_pages.h"

namespace {

constexpr int64_t kMegabyte = 1 << 20;
constexpr int64_t kTask = kMegabyte; // bytes of pixels that are worth a thread

// As the file has them, so that its tags fit the pixels of the image.
bool HasSamplesOf(const vips::VImage& image, const TiffHandle& tiff, const TiffLayout& layout) {
  const bool whole = image.format() == VIPS_FORMAT_UCHAR || image.format() == VIPS_FORMAT_USHORT;
  const PlainShape stored = {layout.width, layout.height, layout.samplesPerPixel, layout.bitsPerSample == 16};
  return whole && ShapeOf(image) == stored && HasPlainSamples(tiff, layout);
}

// Of these a block is compressed by itself.
bool IsPacked(const TiffLayout& layout) {
  constexpr int kPacked[] = {COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_DEFLATE, COMPRESSION_PACKBITS,
                             COMPRESSION_ZSTD};
  const bool known = std::find(std::begin(kPacked), std::end(kPacked), layout.compression) != std::end(kPacked);
  return known && TIFFIsCODECConfigured(layout.compression) != 0;
}

// SetLayout() of a page that is compressed.
void SetPackedLayout(const TiffHandle& from, const TiffLayout& layout, const TiffHandle& to) {
  SetLayout(from, layout, to);
  // Deflate has had two numbers; the older one is not written any more. Another codec forgets the predictor.
  if (layout.compression != COMPRESSION_DEFLATE) return;
  TIFFSetField(to, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
  TIFFSetField(to, TIFFTAG_PREDICTOR, layout.predictor);
}

// Strips, or a row of tiles: lines of an image, and how it is cut into blocks.
struct Shape {
  TiffLayout layout;
  int64_t lineBytes;

  int64_t Pixel() const { return lineBytes / layout.width; } // bytes
  int64_t BlockLines() const { return layout.tiled ? layout.tileHeight : layout.rowsPerStrip; }
  int64_t BlockBytes() const { return BlockLines() * (layout.tiled ? layout.tileWidth * Pixel() : lineBytes); }
  int64_t TilesAcross() const { return (layout.width + layout.tileWidth - 1) / layout.tileWidth; }
};

using Lines = std::vector<uint8_t>;

// Blocks in their order, as they are stored.
using Stored = std::vector<std::string>;

// A TIFF in memory of a few blocks.
class Packer {
 public:
  // `columns`: pixels; the last tile may have fewer.
  Packer(const TiffHandle& from, const Shape& shape, int64_t columns, int64_t lines) : m_shape(shape) {
    SetPackedLayout(from, shape.layout, m_tiff);
    TIFFSetField(m_tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(columns));
    TIFFSetField(m_tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(lines));
  }

  // Of lines that hold whole strips.
  Stored Strips(Lines& lines) {
    const int64_t size = static_cast<int64_t>(lines.size()), strip = m_shape.BlockBytes();
    for (int64_t at = 0; at < size; at += strip) {
      const tmsize_t bytes = std::min(strip, size - at);
      const auto number = static_cast<uint32_t>(at / strip);
      if (TIFFWriteEncodedStrip(m_tiff, number, lines.data() + at, bytes) != bytes) m_tiff.FailToWrite();
    }
    return Blocks(TIFFNumberOfStrips(m_tiff));
  }

  // Of a row of tiles, from one of them on. What they have beyond the image is black.
  Stored Tiles(const Lines& lines, int64_t first, int64_t count) {
    const int64_t tileLine = m_shape.layout.tileWidth * m_shape.Pixel();
    Lines tile(static_cast<size_t>(m_shape.BlockBytes()));
    const int64_t height = static_cast<int64_t>(lines.size()) / m_shape.lineBytes;
    for (int64_t i = 0; i < count; i++) {
      const int64_t left = (first + i) * tileLine;
      const auto bytes = static_cast<size_t>(std::min(tileLine, m_shape.lineBytes - left));
      std::fill(tile.begin(), tile.end(), uint8_t{0});
      for (int64_t y = 0; y < height; y++) {
        std::copy_n(lines.data() + y * m_shape.lineBytes + left, bytes, tile.data() + y * tileLine);
      }
      const auto size = static_cast<tmsize_t>(tile.size());
      if (TIFFWriteEncodedTile(m_tiff, static_cast<uint32_t>(i), tile.data(), size) != size) m_tiff.FailToWrite();
    }
    return Blocks(TIFFNumberOfTiles(m_tiff));
  }

 private:
  Stored Blocks(uint32_t count) {
    if (TIFFFlushData(m_tiff) == 0) m_tiff.FailToWrite();
    Stored blocks;
    for (uint32_t i = 0; i < count; i++) {
      blocks.push_back(m_file.bytes.substr(TIFFGetStrileOffset(m_tiff, i), TIFFGetStrileByteCount(m_tiff, i)));
    }
    return blocks;
  }

  const Shape& m_shape;
  MemoryFile m_file;
  TiffHandle m_tiff{m_file, "wl", "a strip or tile"};
};

// Takes lines in order, and writes blocks in order.
class BlockWriter {
 public:
  BlockWriter(const TiffHandle& from, const TiffHandle& to, const Shape& shape)
      : m_from(from),
        m_to(to),
        m_shape(shape),
        m_linesLeft(shape.layout.height),
        m_room(shape.layout.tiled
                   ? shape.BlockLines() * shape.lineBytes
                   : shape.BlockBytes() * std::max<int64_t>(1, kTask / std::max<int64_t>(1, shape.BlockBytes()))),
        m_packing(std::max(kTask, shape.BlockBytes()), [this](Stored blocks) { Write(blocks); }) {}

  void Take(const uint8_t* line) {
    if (m_lines == nullptr) {
      m_lines = std::make_shared<Lines>();
      m_lines->reserve(static_cast<size_t>(std::min(m_room, m_linesLeft * m_shape.lineBytes)));
    }
    m_lines->insert(m_lines->end(), line, line + m_shape.lineBytes);
    m_linesLeft--;
    if (static_cast<int64_t>(m_lines->size()) < m_room && m_linesLeft > 0) return;
    m_shape.layout.tiled ? PackTiles() : PackStrips();
    m_lines = nullptr;
  }

  void Finish() { m_packing.Finish(); }

 private:
  std::shared_ptr<Packer> NewPacker(int64_t columns) {
    const int64_t lines = static_cast<int64_t>(m_lines->size()) / m_shape.lineBytes;
    return std::make_shared<Packer>(m_from, m_shape, columns, lines);
  }

  void PackStrips() {
    m_packing.Begin([packer = NewPacker(m_shape.layout.width), lines = m_lines] { return packer->Strips(*lines); });
  }

  void PackTiles() {
    const int64_t across = m_shape.TilesAcross(), width = m_shape.layout.tileWidth;
    const int64_t atOnce = std::max<int64_t>(1, kTask / m_shape.BlockBytes());
    for (int64_t first = 0; first < across; first += atOnce) {
      const int64_t count = std::min(atOnce, across - first);
      const int64_t columns = std::min(count * width, m_shape.layout.width - first * width);
      m_packing.Begin(
          [packer = NewPacker(columns), lines = m_lines, first, count] { return packer->Tiles(*lines, first, count); });
    }
  }

  void Write(Stored& blocks) {
    for (std::string& block : blocks) {
      const auto size = static_cast<tmsize_t>(block.size());
      const tmsize_t written = m_shape.layout.tiled ? TIFFWriteRawTile(m_to, m_number, block.data(), size)
                                                    : TIFFWriteRawStrip(m_to, m_number, block.data(), size);
      if (written != size) m_to.FailToWrite();
      m_number++;
    }
  }

  const TiffHandle &m_from, &m_to;
  const Shape& m_shape;
  int64_t m_linesLeft;
  int64_t m_room; // bytes of lines that are packed together
  std::shared_ptr<Lines> m_lines;
  InOrder<Stored> m_packing;
  uint32_t m_number = 0; // of the next block
};

} // namespace

bool WriteTiffBlocks(const Scan& scan, int page, const vips::VImage& image, PendingFile& to) {
  {
    const TiffHandle from(scan.Path(), scan.Place(page));
    Shape shape = {LayoutOf(from), static_cast<int64_t>(VIPS_IMAGE_SIZEOF_LINE(image.get_image()))};
    TiffLayout& layout = shape.layout;
    if (layout.separatePlanes || !IsPacked(layout) || !HasSamplesOf(image, from, layout)) return false;
    if (layout.tiled && shape.BlockBytes() > kLargestStrip) return false;
    layout.tileWidth = WritableTileSide(layout.tileWidth);
    layout.tileHeight = WritableTileSide(layout.tileHeight);
    if (!layout.tiled && shape.BlockBytes() > kLargestStrip) {
      layout.rowsPerStrip = static_cast<uint32_t>(std::max<int64_t>(1, kMegabyte / shape.lineBytes));
    }
    const bool big = layout.big || layout.height * shape.lineBytes > kLargestClassic;
    const TiffHandle tiff(to, big ? "wl8" : "wl");
    SetPackedLayout(from, layout, tiff);
    CopyProfile(from, tiff);
    BlockWriter writer(from, tiff, shape);
    ForEachLine(image, [&](const uint8_t* line) { writer.Take(line); });
    writer.Finish();
    if (TIFFWriteDirectory(tiff) == 0) tiff.FailToWrite();
  }
  CopyTiffTags(scan.Path(), scan.Place(page), to);
  return true;
}
