// TIFF files taken apart: what a whole run of the program does not reach. That tags are kept is tested with the
// program.
#include "tiff/tiff_pages.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "failure.h"
#include "files/pending_file.h"
#include "shell.h"
#include "tiff/plain_tiff.h"

namespace {

struct Page {
  uint32_t width = 16, height = 4;
  uint16_t bits = 16, samples = 1;
  uint32_t rows = 1; // a strip

  uint32_t LineBytes() const { return width * samples * bits / 8; }
};

// What stands at a sample of a page.
uint16_t Value(uint32_t i, const Page& page) { return static_cast<uint16_t>(page.bits == 16 ? 31 * i + 7 : i % 251); }

// A page's lines in this machine's order, through a change of each value.
template <typename Change>
std::vector<uint8_t> Lines(const Page& page, Change change) {
  std::vector<uint8_t> lines(page.LineBytes() * page.height);
  for (uint32_t i = 0; i < page.width * page.samples * page.height; i++) {
    const uint16_t value = change(Value(i, page));
    std::memcpy(&lines[i * page.bits / 8], &value, page.bits / 8); // of bytes the low one
  }
  return lines;
}

class TiffPages : public Shell {
 protected:
  // With a fraction that has no exact floating point, a profile and a name.
  std::string Write(const std::string& name, const char* mode, const Page& page = {}) const {
    TIFF* tiff = TIFFOpen(Path(name).c_str(), mode);
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, page.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, page.height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, page.bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, page.samples);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, page.samples == 1 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, page.rows);
    TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 72.009);
    TIFFSetField(tiff, TIFFTAG_ICCPROFILE, 5, "prof");
    TIFFSetField(tiff, TIFFTAG_ARTIST, "Someone");
    std::vector<uint8_t> lines = Lines(page, [](uint16_t value) { return value; });
    for (uint32_t line = 0; line < page.height; line++) TIFFWriteScanline(tiff, &lines[line * page.LineBytes()], line);
    TIFFClose(tiff);
    return Path(name);
  }

  template <typename Work>
  std::string Make(const std::string& name, Work work) const {
    PendingFile file(Path(name));
    work(file);
    file.Finish();
    EXPECT_TRUE(file.Commit(true));
    return Path(name);
  }

  // That a page is there with its tags and these lines; returns its resolution.
  static float ExpectPage(const std::string& file, tdir_t number, const std::vector<uint8_t>& lines) {
    TIFF* tiff = TIFFOpen(file.c_str(), "r");
    EXPECT_EQ(TIFFSetDirectory(tiff, number), 1);
    std::vector<uint8_t> read(lines.size());
    const auto line = static_cast<size_t>(TIFFScanlineSize(tiff));
    for (size_t i = 0; i < lines.size() / line; i++)
      TIFFReadScanline(tiff, &read[i * line], static_cast<uint32_t>(i), 0);
    EXPECT_EQ(read, lines);
    const char* text = nullptr;
    EXPECT_EQ(TIFFGetField(tiff, TIFFTAG_ARTIST, &text), 1);
    EXPECT_STREQ(text, "Someone");
    uint32_t size = 0;
    EXPECT_EQ(TIFFGetField(tiff, TIFFTAG_ICCPROFILE, &size, &text), 1);
    EXPECT_EQ(std::string(text, size), std::string("prof", 5));
    uint16_t order = 0;
    EXPECT_EQ(TIFFGetField(tiff, TIFFTAG_FILLORDER, &order), 0) << "a tag more than the source has";
    float resolution = 0;
    TIFFGetField(tiff, TIFFTAG_XRESOLUTION, &resolution);
    TIFFClose(tiff);
    return resolution;
  }
};

// Values of several bytes have an order: in a file of the other one they are stored anew.
TEST_F(TiffPages, PagesAreAppendedInTheFirstOnesOrder) {
  const auto same = [](uint16_t value) { return value; };
  for (const char* mode : {"wl", "wb", "wl8"}) {
    for (const uint16_t bits : {uint16_t{8}, uint16_t{16}}) {
      SCOPED_TRACE(testing::Message() << mode << " " << bits);
      const Page page = {.bits = bits};
      const bool big = mode[2] == '8';
      const std::string target = Make("target.tif", [&](PendingFile& file) {
        TiffPageWriter writer(file, big);
        writer.Append(Write("first.tif", mode), 0, false);
        writer.Append(Write("little.tif", "wl", page), 0, false);
        writer.Append(Write("big.tif", "wb", page), 0, false);
      });
      EXPECT_EQ(Read("target.tif")[0], mode[1] == 'b' ? 'M' : 'I');
      for (const TiffLayout& layout : ReadTiffLayouts(target)) {
        EXPECT_EQ(layout.big, big);
        EXPECT_EQ(layout.rowsPerStrip, 1u);
      }
      for (const tdir_t number : {tdir_t{1}, tdir_t{2}}) {
        EXPECT_FLOAT_EQ(ExpectPage(target, number, Lines(page, same)), 72.009f);
      }
    }
  }
}

// Fractions keep their very numbers, from and to files of either order and kind.
TEST_F(TiffPages, FractionsKeepTheirNumbers) {
  // What libtiff makes of 72.009, and twice that: the same value in numbers that it would not choose.
  const std::string text = Run("exiftool -v3 " + Write("plain.tif", "wl") + " | grep XResolution").out;
  const size_t bracket = text.find('(');
  ASSERT_NE(bracket, std::string::npos);
  const uint32_t numbers[] = {static_cast<uint32_t>(std::stoul(text.substr(bracket + 1))),
                              static_cast<uint32_t>(std::stoul(text.substr(text.find('/') + 1)))};
  const auto packed = [&](uint32_t factor, bool bigEndian) {
    std::string bytes;
    for (const uint32_t number : numbers) {
      for (int i = 0; i < 4; i++) bytes += static_cast<char>(number * factor >> 8 * (bigEndian ? 3 - i : i));
    }
    return bytes;
  };
  for (const auto& [from, to] : {std::pair{"wl", "wb"}, {"wb", "wl8"}, {"wl8", "wb8"}, {"wb8", "wl"}}) {
    const std::string source = Write("source.tif", from);
    const std::string bytes = Read("source.tif");
    const size_t at = bytes.find(packed(1, from[1] == 'b'));
    ASSERT_NE(at, std::string::npos) << from;
    File("source.tif", std::string(bytes).replace(at, 8, packed(2, from[1] == 'b')));
    const std::string target = Write("target.tif", to, {.height = 5}), before = Read("target.tif");
    Make("target.tif", [&](PendingFile& file) {
      file.Write(before.data(), before.size());
      CopyTiffTags(source, 0, file);
    });
    EXPECT_NE(Read("target.tif").find(packed(2, to[1] == 'b')), std::string::npos) << from << " " << to;
    // Pixels are the target's.
    EXPECT_FLOAT_EQ(ExpectPage(target, 0, Lines({.height = 5}, [](uint16_t value) { return value; })), 72.009f);
  }
}

// From file to file, through a function: all lines once, in either byte order, whatever the strips, and what is not
// pixels as it was.
TEST_F(TiffPages, PlainPagesAreRewritten) {
  for (const char* mode : {"wl", "wb", "wb8"}) {
    for (const Page& page : {Page{700, 1501, 8, 3, 100}, {700, 1501, 16, 3, 1}, {700, 1501, 16, 3, 1501}}) {
      SCOPED_TRACE(testing::Message() << mode << " " << page.bits << " " << page.rows);
      const std::string source = Write("source.tif", mode, page);
      const bool deep = page.bits == 16;
      const auto change = [](uint16_t value) { return static_cast<uint16_t>(3 * value + 1); };
      const auto changeAll = [&](uint8_t* first, int64_t, int64_t lines) {
        for (int64_t i = 0; i < lines * page.width * 3; i++) {
          uint16_t value = first[i];
          if (deep) std::memcpy(&value, first + 2 * i, 2);
          value = change(value);
          std::memcpy(first + (deep ? 2 : 1) * i, &value, deep ? 2 : 1);
        }
      };
      const PlainShape shape = {page.width, page.height, 3, deep};
      const auto rewrite = [&](PendingFile& file, bool go) {
        const auto progress = [&](double share) { return go && 0 < share && share <= 1; };
        EXPECT_TRUE(RewritePlainTiff(source, 0, file, shape, changeAll, progress));
      };
      const std::string result = Make("result.tif", [&](PendingFile& file) { rewrite(file, true); });
      ExpectPage(result, 0, Lines(page, change));
      EXPECT_EQ(ReadTiffLayouts(result).front().rowsPerStrip, page.rows);
      EXPECT_EQ(ReadTiffLayouts(result).front().big, mode[2] == '8');
      EXPECT_THROW(Make("result.tif", [&](PendingFile& file) { rewrite(file, false); }), Failure);
    }
  }
}

TEST_F(TiffPages, WhatIsNotPlainIsNotRewritten) {
  const auto rewritten = [&](const PlainShape& shape) {
    const auto same = [](uint8_t*, int64_t, int64_t) {};
    PendingFile result(Path("result.tif"));
    const bool done = RewritePlainTiff(Path("source.tif"), 0, result, shape, same, [](double) { return true; });
    EXPECT_EQ(result.Size() > 0, done);
    EXPECT_EQ(PlainLines::Open(Path("source.tif"), 0, shape) != nullptr, done);
    return done;
  };
  for (const char* options : {"[compression=lzw]", "[tile]", "[compression=jpeg]"}) {
    ASSERT_EQ(Run("vips black " + Path("source.tif") + options + " 64 64 --bands 3").status, 0);
    EXPECT_FALSE(rewritten({64, 64, 3, false})) << options;
  }
  // Another picture than the one expected, and a strip shorter than its lines, which decoders refuse.
  Write("source.tif", "wl");
  for (const PlainShape& other : {PlainShape{8, 4, 1, true}, {16, 5, 1, true}, {16, 4, 2, true}, {16, 4, 1, false}}) {
    EXPECT_FALSE(rewritten(other));
  }
  EXPECT_TRUE(rewritten({16, 4, 1, true}));
  const std::string bytes = Read("source.tif");
  const size_t counts = bytes.find(std::string("\x20\0\x20\0\x20\0\x20\0", 8));
  ASSERT_NE(counts, std::string::npos);
  File("source.tif", std::string(bytes).replace(counts + 4, 1, "\x1f"));
  EXPECT_FALSE(rewritten({16, 4, 1, true}));
  // A strip that is said to be larger than the file.
  File("liar.tif", std::string(bytes).replace(counts + 5, 1, "\x7f"));
  PendingFile file(Path("out.tif"));
  EXPECT_THROW(TiffPageWriter(file, false).Append(Path("liar.tif"), 0, false), Failure);
}

TEST_F(TiffPages, DamagedFilesAreRefused) {
  EXPECT_THROW(ReadTiffLayouts(File("text.tif", "II*no directory here")), Failure);
  EXPECT_THROW(ReadTiffLayouts(Path("nowhere.tif")), Failure);
  const std::string whole = (Write("whole.tif", "wl"), Read("whole.tif"));
  // Whatever the directories hold: an answer or a refusal.
  for (size_t i = 0; i < whole.size(); i += 3) {
    std::string spoiled = whole;
    spoiled[i] = static_cast<char>(~spoiled[i]);
    try {
      ReadTiffLayouts(File("spoiled.tif", spoiled));
      PendingFile file(Path("out.tif"));
      TiffPageWriter(file, false).Append(Path("spoiled.tif"), 0, false);
    } catch (const Failure&) {
    }
  }
}

} // namespace
