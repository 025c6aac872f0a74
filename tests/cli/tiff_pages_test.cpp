// TIFF files taken apart: what a whole run of the program does not reach. That tags are kept is tested with the
// program.
#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include "failure.h"
#include "pending_file.h"
#include "plain_tiff.h"
#include "shell.h"
#include "tiff_pages.h"

namespace {

class TiffPages : public Shell {
 protected:
  // A gray page of 16 bits, a strip a line, with a fraction that has no exact floating point.
  std::string Write(const std::string& name, const char* mode, uint16_t bits = 16) const {
    TIFF* tiff = TIFFOpen(Path(name).c_str(), mode);
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 16);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 4);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 1);
    TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 72.009);
    TIFFSetField(tiff, TIFFTAG_ARTIST, "Someone");
    for (uint32_t line = 0; line < 4; line++) {
      std::vector<uint16_t> values(16, static_cast<uint16_t>(1000 * line + 7));
      TIFFWriteEncodedStrip(tiff, line, values.data(), 2 * bits);
    }
    TIFFClose(tiff);
    return Path(name);
  }

  template <typename Work>
  static void Make(const std::string& target, Work work) {
    PendingFile file(target);
    work(file);
    file.Finish();
    EXPECT_TRUE(file.Commit(true));
  }

  // To a page that is there.
  void CopyTags(const std::string& source, const std::string& target) const {
    const std::string before = Read(target);
    Make(Path(target), [&](PendingFile& file) {
      file.Write(before.data(), before.size());
      CopyTiffTags(source, 0, file);
    });
  }
};

TEST_F(TiffPages, PagesAreAppendedAsTheyAre) {
  const std::string source = Write("source.tif", "wl");
  for (const bool big : {false, true}) {
    const std::string target = Path(big ? "big.tif" : "classic.tif");
    Make(target, [&](PendingFile& file) {
      TiffPageWriter writer(file, big);
      for (int page = 0; page < 3; page++) writer.Append(source, 0, false);
    });
    const std::vector<TiffLayout> layouts = ReadTiffLayouts(target);
    ASSERT_EQ(layouts.size(), 3u);
    EXPECT_EQ(layouts[1].big, big);
    EXPECT_EQ(layouts[1].rowsPerStrip, 1u);
    EXPECT_EQ(layouts[1].bitsPerSample, 16);
    TIFF* tiff = TIFFOpen(target.c_str(), "r");
    TIFFSetDirectory(tiff, 2);
    std::vector<uint16_t> values(16);
    EXPECT_EQ(TIFFReadEncodedStrip(tiff, 3, values.data(), 32), 32);
    EXPECT_EQ(values[5], 3007);
    char* artist = nullptr;
    EXPECT_EQ(TIFFGetField(tiff, TIFFTAG_ARTIST, &artist), 1);
    EXPECT_STREQ(artist, "Someone");
    TIFFClose(tiff);
  }
}

// Values of several bytes have an order: in a file of the other one they are stored anew.
TEST_F(TiffPages, TheOtherByteOrderIsTurned) {
  for (const char* first : {"wl", "wb"}) {
    for (const uint16_t bits : {uint16_t{8}, uint16_t{16}}) {
      Make(Path("target.tif"), [&](PendingFile& file) {
        TiffPageWriter writer(file, false);
        writer.Append(Write("first.tif", first), 0, false);
        writer.Append(Write("little.tif", "wl", bits), 0, false);
        writer.Append(Write("big.tif", "wb", bits), 0, false);
      });
      TIFF* tiff = TIFFOpen(Path("target.tif").c_str(), "r");
      EXPECT_EQ(TIFFIsBigEndian(tiff) != 0, first[1] == 'b');
      std::vector<uint8_t> pages[2];
      for (const tdir_t page : {tdir_t{1}, tdir_t{2}}) {
        TIFFSetDirectory(tiff, page);
        pages[page - 1].resize(2u * bits);
        EXPECT_EQ(TIFFReadEncodedStrip(tiff, 2, pages[page - 1].data(), 2 * bits), 2 * bits);
      }
      EXPECT_EQ(pages[0], pages[1]);
      uint16_t value = 0;
      std::memcpy(&value, pages[0].data(), 2);
      EXPECT_EQ(value, 2007);
      TIFFClose(tiff);
      std::filesystem::remove(m_folder / "target.tif");
    }
  }
}

// Fractions keep their very numbers, from and to files of either order and kind.
TEST_F(TiffPages, FractionsKeepTheirNumbers) {
  // What libtiff makes of 72.009, and twice that: the same value in numbers that it would not choose.
  const std::string text = Run("exiftool -v3 " + Write("plain.tif", "wl") + " | grep XResolution").out;
  const size_t bracket = text.find('(');
  ASSERT_NE(bracket, std::string::npos);
  const std::array<uint32_t, 2> numbers = {static_cast<uint32_t>(std::stoul(text.substr(bracket + 1))),
                                           static_cast<uint32_t>(std::stoul(text.substr(text.find('/') + 1)))};
  const auto packed = [&](uint32_t factor, bool bigEndian) {
    std::string bytes;
    for (const uint32_t number : numbers) {
      for (int i = 0; i < 4; i++) bytes += static_cast<char>(number * factor >> 8 * (bigEndian ? 3 - i : i));
    }
    return bytes;
  };
  for (const std::string mode : {"wl", "wb", "wl8", "wb8"}) {
    const std::string source = Write("source.tif", mode.c_str());
    std::string bytes = Read("source.tif");
    const size_t at = bytes.find(packed(1, mode[1] == 'b'));
    ASSERT_NE(at, std::string::npos) << mode;
    File("source.tif", bytes.replace(at, 8, packed(2, mode[1] == 'b')));
    for (const std::string targetMode : {"wl", "wb", "wl8", "wb8"}) {
      const std::string target = Write("target.tif", targetMode.c_str());
      CopyTags(source, "target.tif");
      EXPECT_NE(Read("target.tif").find(packed(2, targetMode[1] == 'b')), std::string::npos)
          << mode << " " << targetMode;
      TIFF* read = TIFFOpen(target.c_str(), "r");
      float resolution = 0;
      EXPECT_EQ(TIFFGetField(read, TIFFTAG_XRESOLUTION, &resolution), 1);
      EXPECT_FLOAT_EQ(resolution, 72.009f);
      std::vector<uint16_t> values(16);
      EXPECT_EQ(TIFFReadEncodedStrip(read, 1, values.data(), 32), 32);
      EXPECT_EQ(values[9], 1007); // pixels are the target's
      TIFFClose(read);
    }
  }
}

// From file to file, through a function: all lines once, in either byte order, whatever the strips, and what is not
// pixels as it was.
TEST_F(TiffPages, PlainPagesAreRewritten) {
  constexpr uint32_t kWidth = 700;
  constexpr uint32_t kHeight = 1501;
  const auto value = [](uint32_t i, bool deep) { return static_cast<uint16_t>(deep ? 31 * i : i % 251); };
  for (const char* mode : {"wl", "wb", "wl8", "wb8"}) {
    for (const bool deep : {false, true}) {
      for (const uint32_t rows : {1u, 100u, kHeight}) {
        SCOPED_TRACE(testing::Message() << mode << " " << deep << " " << rows);
        const uint32_t samples = 3 * kWidth;
        std::vector<uint8_t> lines(samples * kHeight * (deep ? 2 : 1));
        for (uint32_t i = 0; i < samples * kHeight; i++) {
          const uint16_t v = value(i, deep);
          deep ? std::memcpy(&lines[2 * i], &v, 2) : &(lines[i] = static_cast<uint8_t>(v));
        }
        TIFF* tiff = TIFFOpen(Path("source.tif").c_str(), mode);
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kWidth);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kHeight);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, deep ? 16 : 8);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 3);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, rows);
        TIFFSetField(tiff, TIFFTAG_ICCPROFILE, 5, "prof");
        TIFFSetField(tiff, TIFFTAG_ARTIST, "Someone");
        const uint32_t strip = samples * rows * (deep ? 2 : 1);
        for (uint32_t at = 0; at < lines.size(); at += strip) {
          std::vector<uint8_t> copy(lines.begin() + at,
                                    lines.begin() + std::min<ptrdiff_t>(at + strip, std::ssize(lines)));
          TIFFWriteEncodedStrip(tiff, at / strip, copy.data(), std::ssize(copy)); // turns the bytes where it writes
        }
        TIFFClose(tiff);

        const auto change = [&](uint8_t* first, int64_t pixels) {
          for (int64_t i = 0; i < pixels * 3; i++) {
            uint16_t v = first[i];
            if (deep) std::memcpy(&v, first + 2 * i, 2);
            v = static_cast<uint16_t>(deep ? v + 1 : 255 - v);
            deep ? std::memcpy(first + 2 * i, &v, 2) : &(first[i] = static_cast<uint8_t>(v));
          }
        };
        const auto go = [](double share) { return 0 < share && share <= 1; };
        const PlainShape shape = {kWidth, kHeight, 3, deep};
        Make(Path("result.tif"),
             [&](PendingFile& file) { EXPECT_TRUE(RewritePlainTiff(Path("source.tif"), 0, file, shape, change, go)); });
        change(lines.data(), kWidth * kHeight);
        std::vector<uint8_t> result(lines.size());
        tiff = TIFFOpen(Path("result.tif").c_str(), "r");
        for (uint32_t line = 0; line < kHeight; line++) {
          TIFFReadScanline(tiff, &result[line * (lines.size() / kHeight)], line, 0);
        }
        EXPECT_EQ(result, lines);
        uint32_t size = 0;
        const char* text = nullptr;
        EXPECT_EQ(TIFFGetField(tiff, TIFFTAG_ICCPROFILE, &size, &text), 1);
        EXPECT_EQ(std::string(text, size), std::string("prof", 5));
        EXPECT_EQ(TIFFGetField(tiff, TIFFTAG_ARTIST, &text), 1);
        EXPECT_STREQ(text, "Someone");
        uint16_t order = 0;
        EXPECT_EQ(TIFFGetField(tiff, TIFFTAG_FILLORDER, &order), 0) << "a tag more than the source has";
        TIFFClose(tiff);
        const TiffLayout layout = ReadTiffLayouts(Path("result.tif")).front();
        EXPECT_EQ(layout.rowsPerStrip, rows);
        EXPECT_EQ(layout.big, std::strlen(mode) == 3);
        const auto stop = [](double) { return false; };
        PendingFile unfinished(Path("result.tif"));
        EXPECT_THROW(RewritePlainTiff(Path("source.tif"), 0, unfinished, shape, change, stop), Failure);
      }
    }
  }
}

TEST_F(TiffPages, WhatIsNotPlainIsNotRewritten) {
  const auto rewritten = [&](const PlainShape& shape) {
    const auto same = [](uint8_t*, int64_t) {};
    PendingFile result(Path("result.tif"));
    const bool done = RewritePlainTiff(Path("source.tif"), 0, result, shape, same, [](double) { return true; });
    EXPECT_EQ(result.Size() > 0, done);
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
  std::string bytes = Read("source.tif");
  const size_t counts = bytes.find(std::string("\x20\0\x20\0\x20\0\x20\0", 8));
  ASSERT_NE(counts, std::string::npos);
  bytes[counts + 4] = 31;
  File("source.tif", bytes);
  EXPECT_FALSE(rewritten({16, 4, 1, true}));
}

TEST_F(TiffPages, DamagedFilesAreRefused) {
  const std::string whole = (Write("whole.tif", "wl"), Read("whole.tif"));
  EXPECT_THROW(ReadTiffLayouts(File("empty.tif", "")), Failure);
  EXPECT_THROW(ReadTiffLayouts(File("text.tif", "II*no directory here")), Failure);
  EXPECT_THROW(ReadTiffLayouts(Path("nowhere.tif")), Failure);
  EXPECT_THROW(CopyTags(File("head.tif", whole.substr(0, 60)), "whole.tif"), Failure);
  EXPECT_EQ(Read("whole.tif"), whole);
  // A strip that is said to be larger than the file.
  std::string liar = whole;
  TIFF* tiff = TIFFOpen(Path("whole.tif").c_str(), "r");
  const auto lines = static_cast<uint32_t>(TIFFGetStrileByteCount(tiff, 2));
  TIFFClose(tiff);
  ASSERT_EQ(lines, 32u);
  for (size_t i = 0; i + 8 <= liar.size(); i += 2) {
    const uint16_t counts[] = {32, 32, 32, 32};
    if (std::memcmp(&liar[i], counts, 8) == 0) liar[i + 5] = '\x7f';
  }
  ASSERT_NE(liar, whole);
  const auto append = [&](const std::string& source) {
    PendingFile file(Path("out.tif"));
    TiffPageWriter(file, false).Append(source, 0, false);
  };
  EXPECT_THROW(append(File("liar.tif", liar)), Failure);
  // Whatever the directories hold: an answer or a refusal.
  for (size_t i = 0; i < whole.size(); i += 3) {
    std::string spoiled = whole;
    spoiled[i] = static_cast<char>(~spoiled[i]);
    try {
      ReadTiffLayouts(File("spoiled.tif", spoiled));
      append(Path("spoiled.tif"));
    } catch (const Failure&) {
    }
  }
}

} // namespace
