// PNG whose pixels are compressed in pieces, beside the same as libvips writes it: with options of its saver, whatever
// they are, a result is left to it.
#include <libdeflate.h>
#include <zlib.h>

#include <stdexcept>

#include "program.h"
#include "saving/deflate_join.h"

namespace {

class Png : public Program {
 protected:
  // Name and bytes of each chunk in order; of all IDAT together one, and no bytes.
  std::string Chunks(const std::string& name) const {
    const std::string file = Read(name);
    std::string chunks;
    for (size_t at = 8; at + 12 <= file.size();) {
      uint32_t size = 0;
      for (size_t i = 0; i < 4; i++) size = size << 8 | static_cast<uint8_t>(file[at + i]);
      const std::string kind = file.substr(at + 4, 4);
      if (kind != "IDAT") chunks += file.substr(at, 12 + size);
      if (kind == "IDAT" && !chunks.ends_with("IDAT")) chunks += kind;
      at += 12 + size;
    }
    return chunks;
  }
};

VImage Alpha(const VImage& image) {
  return image.bandjoin(Noise(image.width(), image.height(), 7)[0].cast(image.format()));
}

// What repeats itself, but from line to line elsewhere.
VImage Drawn(int width, int height) {
  std::vector<uint8_t> pixels(size_t{3} * static_cast<size_t>(width) * static_cast<size_t>(height));
  for (size_t i = 0; i < pixels.size(); i++) pixels[i] = static_cast<uint8_t>("\x20\xF0\x31\x90\x90\x07\xE0"[i % 7]);
  return Picture(pixels, width, height);
}

// A picture's slow changes with grain of a few levels.
VImage Shaded(int width, int height) {
  const VImage grain = Noise(width, height, 3) / 64;
  const VImage slope =
      VImage::xyz(width, height)[0] * (120.0 / width) + VImage::xyz(width, height)[1] * (60.0 / height);
  return As(VIPS_INTERPRETATION_sRGB, (grain + slope + 40).cast(VIPS_FORMAT_UCHAR));
}

TEST_F(Png, IsWhatTheImageLibraryWouldWrite) {
  const VImage shaded = Shaded(700, 900);
  const struct {
    const char* name;
    VImage image;
    double most; // of the library's size
  } cases[] = {{"scan", shaded, 0.95},
               {"deep", Deep(shaded), 1.01},
               {"gray", Gray(shaded), 1.01},
               {"deep_gray", Deep(Gray(shaded)), 1.01},
               {"alpha", Alpha(shaded), 1.01},
               {"gray_alpha", Alpha(Gray(shaded)), 1.01},
               {"deep_alpha", Alpha(Deep(shaded)), 1.01},
               {"drawn", Drawn(701, 900), 1.5},   // half a kilobyte a piece
               {"wide", Shaded(400000, 2), 1.01}, // lines longer than a piece
               {"narrow", Shaded(1, 2000), 1.05},
               {"small", Sample(), 1.01}};
  std::string names;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string name = c.name;
    Save(c.image, name + (c.image.bands() < 3 ? ".png" : ".png[profile=srgb]"));
    // What the scan tells, one with each chunk.
    if (name == "scan") {
      ASSERT_EQ(Run("exiftool -q -overwrite_original -Artist=Someone -XMP-dc:Title=Title -Comment=Words "
                    "-PixelsPerUnitX=11811 -PixelsPerUnitY=11811 -PixelUnits=meters scan.png")
                    .status,
                0);
    }
    ExpectDone(name + ".png -o own/" + name + ".png");
    ExpectDone(name + ".png -o 'theirs/" + name + ".png[compression=6]'");
    const std::string own = "own/" + name + ".png", theirs = "theirs/" + name + ".png";
    EXPECT_EQ(Chunks(own), Chunks(theirs));
    EXPECT_EQ(Difference(Load(own), Load(theirs)), 0);
    EXPECT_EQ(Load(own).format(), c.image.format());
    const auto size = [&](const std::string& file) { return static_cast<double>(Read(file).size()); };
    EXPECT_LE(size(own), c.most * size(theirs) + 100);
    names += " " + name;
  }
  EXPECT_NE(Chunks("own/scan.png").find("zTXt"), std::string::npos);

  // By a reader of another family.
  const Outcome read =
      Run("/usr/bin/python3 -c \"import sys\nfrom PIL import Image\nImage.MAX_IMAGE_PIXELS = None\nfor name in "
          "sys.argv[1:]:\n"
          "  same = Image.open(f'own/{name}.png').tobytes() == Image.open(f'theirs/{name}.png').tobytes()\n"
          "  print(name if not same else '', end='')\"" +
          names);
  EXPECT_EQ(read.status, 0) << read.err;
  EXPECT_EQ(read.out, "");
}

// One processor and two, one scan and several: the same bytes.
TEST_F(Png, ThreadsMakeNoDifference) {
  Save(Shaded(900, 900), "a.png");
  Save(Drawn(900, 900), "b.png");
  ExpectDone("a.png b.png -j2 -o both");
  for (const std::string name : {"a.png", "b.png"}) {
    EXPECT_EQ(Zep3(name + " -o one/" + name, "taskset -c 0 ").status, 0) << Read(".err");
    ExpectDone(name + " -o all/" + name);
    EXPECT_EQ(Read("all/" + name), Read("one/" + name));
    EXPECT_EQ(Read("all/" + name), Read("both/" + name));
  }
}

// The library writes a head, and is stopped there: what it says of that is not told.
TEST_F(Png, NothingIsToldOfTheHead) {
  Save(Sample(), "scan.jpg");
  EXPECT_EQ(Zep3("scan.jpg -o own.png -v").err.find("VIPS"), std::string::npos) << Read(".err");
}

// Written by libvips: lines that do not follow one another.
TEST_F(Png, InterlacedStaysSo) {
  Save(Sample(), "scan.png[interlace]");
  ExpectDone("scan.png -o own.png");
  ExpectDone("scan.png -o 'theirs.png[compression=6]'");
  EXPECT_EQ(Read("own.png"), Read("theirs.png"));
  EXPECT_EQ(Read("own.png")[28], 1);
}

std::string ByZlib(const std::string& text, int level, int strategy) {
  z_stream stream = {};
  EXPECT_EQ(deflateInit2(&stream, level, Z_DEFLATED, -15, 9, strategy), Z_OK);
  std::string packed(2 * text.size() + 100, '\0');
  std::string from = text;
  stream.next_in = reinterpret_cast<Bytef*>(from.data());
  stream.avail_in = static_cast<uInt>(from.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

std::string ByLibdeflate(const std::string& text, int level) {
  libdeflate_compressor* compressor = libdeflate_alloc_compressor(level);
  std::string packed(libdeflate_deflate_compress_bound(compressor, text.size()), '\0');
  packed.resize(libdeflate_deflate_compress(compressor, text.data(), text.size(), packed.data(), packed.size()));
  libdeflate_free_compressor(compressor);
  return packed;
}

// Empty where the stream does not end with the bytes.
std::string Unpacked(std::string packed, size_t most) {
  z_stream stream = {};
  EXPECT_EQ(inflateInit2(&stream, -15), Z_OK);
  std::string text(most + 1, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_in = static_cast<uInt>(packed.size());
  stream.next_out = reinterpret_cast<Bytef*>(text.data());
  stream.avail_out = static_cast<uInt>(text.size());
  const int end = inflate(&stream, Z_FINISH);
  text.resize(stream.total_out);
  const bool whole = end == Z_STREAM_END && stream.avail_in == 0;
  inflateEnd(&stream);
  return whole ? text : "";
}

// Stored, fixed and computed codes, one block and many, with and without matches, of every length at the end.
TEST(DeflateJoin, WhatFollowsIsPartOfTheStream) {
  std::vector<std::string> texts = {"", "a", std::string(300000, 'z')};
  unsigned state = 1;
  const auto next = [&] { return state = state * 1664525 + 1013904223, state >> 24; };
  for (const unsigned values : {256u, 50u, 3u}) {
    std::string noise;
    while (noise.size() < 200000) noise += static_cast<char>(next() % values * (next() % 3));
    texts.push_back(noise);
    texts.push_back(noise.substr(0, 70));
  }
  for (size_t size = 1; size < 40; size++) texts.push_back(texts[3].substr(size, 3 * size));
  for (const std::string& text : texts) {
    std::vector<std::string> streams;
    for (const int level : {0, 1, 2, 6, 9, 12}) streams.push_back(ByLibdeflate(text, level));
    for (const int strategy : {Z_DEFAULT_STRATEGY, Z_HUFFMAN_ONLY, Z_FIXED})
      streams.push_back(ByZlib(text, 6, strategy));
    streams.push_back(ByZlib(text, 0, Z_DEFAULT_STRATEGY));
    for (size_t i = 0; i < streams.size(); i++) {
      SCOPED_TRACE(std::to_string(text.size()) + " bytes, stream " + std::to_string(i));
      std::string cut = streams[i].substr(0, streams[i].size() - 1);
      EXPECT_THROW(LeaveOpen(cut), std::runtime_error);
      std::string three = streams[i];
      LeaveOpen(three);
      three += three;
      three += ByLibdeflate("end", 6);
      EXPECT_TRUE(Unpacked(three, 2 * text.size() + 3) == text + text + "end");
    }
  }
  std::string reserved = "\x07";
  EXPECT_THROW(LeaveOpen(reserved), std::runtime_error);
}

} // namespace
