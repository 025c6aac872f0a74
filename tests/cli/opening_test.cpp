// What zep3 opens and what it does not, how much it opens, and that no signal waits for a decoder.
#include <sys/socket.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <vector>
#include <vips/vips8>

#include "admission.h"
#include "failure.h"
#include "log.h"
#include "pnm.h"
#include "shell.h"
#include "workers.h"

namespace {

using vips::VImage;
namespace fs = std::filesystem;

// Files that no program would write; names and sizes as arguments.
constexpr const char* kMake = R"(
import struct, sys, zlib

def chunk(kind, data):
    return struct.pack('>I', len(data)) + kind + data + struct.pack('>I', zlib.crc32(kind + data))

def png(name, width, height, bits, kind, interlaced, before=b'', size=1000):  # `size` zeros
    left = size
    pack = zlib.compressobj(9)
    data = b''
    while left > 0:
        data += pack.compress(bytes(min(left, 1 << 20)))
        left -= 1 << 20
    head = struct.pack('>IIBBBBB', width, height, bits, kind, 0, 0, interlaced)
    with open(name, 'wb') as f:
        f.write(b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', head) + before + chunk(b'IDAT', data + pack.flush()) + chunk(b'IEND', b''))

def texts(count):  # each unpacks to 49 million bytes
    packed = zlib.compress(bytes(49000000).replace(b'\0', b'a'), 9)
    return b''.join(chunk(b'zTXt', b'%d\0\0' % i + packed) for i in range(count))

def webp(name, side):  # a lossless head alone
    bits = (side - 1) | (side - 1) << 14
    body = b'VP8L' + struct.pack('<I', 10) + b'\x2f' + struct.pack('<I', bits) + bytes(5)
    open(name, 'wb').write(b'RIFF' + struct.pack('<I', 4 + len(body)) + b'WEBP' + body)

def tiff(name, pages, width, height, tile=0, compression=1):  # gray; the first strip or tile alone has data
    out = bytearray(b'II*\0\0\0\0\0')
    link = 4
    for page in range(pages):
        data = len(out)
        out += bytes((7 * i + page) % 251 for i in range(64))
        struct.pack_into('<I', out, link, len(out))
        tags = [(256, width), (257, height), (258, 8), (259, compression), (262, 1)]
        if tile == 0: tags += [(273, data), (277, 1), (278, height), (279, 64)]
        else: tags += [(277, 1), (322, tile), (323, tile), (324, data), (325, 64)]
        out += struct.pack('<H', len(tags))
        for tag, value in tags: out += struct.pack('<HHII', tag, 4, 1, value)
        link = len(out)
        out += bytes(4)
    open(name, 'wb').write(out)

exec(sys.argv[1])
)";

class Opening : public Shell {
 protected:
  static void SetUpTestSuite() {
    ASSERT_EQ(VIPS_INIT("opening_test"), 0);
    vips_cache_set_max(0);
  }
  void SetUp() override {
    Shell::SetUp();
    File("make.py", kMake);
  }

  Outcome Zep3(const std::string& arguments, const std::string& before = "") const {
    return Run(before + ZEP3_PROGRAM + " " + arguments);
  }
  void Make(const std::string& what) const { ASSERT_EQ(Run("python3 make.py '" + what + "'").status, 0) << what; }

  // A ramp of R G B bytes.
  static VImage Sample() {
    const VImage ramp = VImage::identity().replicate(1, 40);
    return VImage::bandjoin(std::vector{ramp, ramp.invert(), ramp})
        .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
  }
  void Save(const VImage& image, const std::string& name) const { image.write_to_file(Path(name).c_str()); }
};

// ---- formats ----

// Content that a library behind libvips would draw, whatever it is called.
TEST_F(Opening, NothingButImagesOfPromisedFormats) {
  Save(Sample(), "secret.png");
  const std::string svg =
      "<svg xmlns=\"http://www.w3.org/2000/svg\" xmlns:xlink=\"http://www.w3.org/1999/xlink\" "
      "width=\"64\" height=\"64\"><image width=\"64\" height=\"64\" xlink:href=\"secret.png\"/></svg>";
  Save(Sample(), "native.v");
  Save(Sample(), "light.hdr");
  Save(VImage::black(4, 4), "plate.fits");
  const struct {
    const char* what;
    std::string bytes;
  } contents[] = {
      {"SVG", svg},
      {"libvips' own", Read("native.v")},
      {"Radiance", Read("light.hdr")},
      {"FITS", Read("plate.fits")},
      {"drawing of an image library", "push graphic-context\nviewbox 0 0 9 9\nimage over 0,0 9,9 'secret.png'\n"},
      {"numbers", "1,2,3\n4,5,6\n"},
      {"matrix", "3 2\n1 2 3\n4 5 6\n"},
      {"BMP", std::string("BM\x3a\0\0\0\0\0\0\0\x36\0\0\0", 14) + std::string(60, '\1')}};
  for (const auto& content : contents) {
    for (const char* name : {"a.png", "a.tif", "a.svg", "a.mvg", "a"}) {
      File(name, content.bytes);
      const Outcome run = Zep3(std::string(name) + " -o out.tif --also-read jp2,jxl,heif,gif,pdf");
      EXPECT_EQ(run.status, 1) << content.what << " as " << name;
      EXPECT_NE(run.err.find(": is no image that can be read"), std::string::npos) << run.err;
      EXPECT_FALSE(Exists("out.tif"));
      fs::remove(Path(name));
    }
  }
  Save(Sample(), "scan.png");
  EXPECT_NE(Zep3("'scan.png[filename=secret.png]' -o out.tif").err.find("filename is no option"), std::string::npos);
}

// Others are named, and opened where they are asked for under a name that does not say otherwise.
TEST_F(Opening, OthersOnDemand) {
  Save(Sample(), "sample.png");
  for (const std::string format : {"gif", "jxl", "jp2", "heif"}) {
    SCOPED_TRACE(format);
    const std::string name = "scan." + (format == "heif" ? "heic" : format);
    // By a process of its own: encoders leak.
    ASSERT_EQ(Run("mkdir " + format + " && vips copy sample.png " + format + "/" + name).status, 0);
    const std::string scan = format + "/" + name;
    EXPECT_NE(Zep3(scan + " -o out.tif").err.find("is a " + format + " file by its content; --also-read " + format),
              std::string::npos);
    EXPECT_NE(Zep3("-r " + format + " -o out --format tif").err.find("0 corrected, 0 failed"), std::string::npos);
    EXPECT_FALSE(Exists("out.tif") || Exists("out"));
    const std::string also = "--also-read pdf," + format + " ";
    Outcome run = Zep3(also + scan + " -o out.tif --overwrite");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(Zep3(also + "-r " + format + " -o out_" + format + " --format tif").status, 0);
    EXPECT_TRUE(Exists("out_" + format + "/scan.tif"));
    fs::copy_file(m_folder / scan, m_folder / "named.png", fs::copy_options::overwrite_existing);
    run = Zep3(also + "named.png -o no.tif");
    EXPECT_NE(run.err.find("is a " + format + " file by its content, though its name says png"), std::string::npos);
    fs::remove(m_folder / "out.tif");
  }
  Make("tiff(\"scan.tif\", 1, 8, 8, 0, 33005)");
  EXPECT_NE(Zep3("scan.tif -o out.tif").err.find("holds JPEG 2000; --also-read jp2 opens it"), std::string::npos);
  EXPECT_EQ(Zep3("--also-read jp2,svg scan.tif -o out.tif").status, 2);
}

// Whatever name or content would lead there.
TEST_F(Opening, LoadersAreBlocked) {
  Save(Sample(), "a.png");
  Save(Sample(), "a.gif");
  Save(Sample(), "a.v");
  File("a.svg", "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"9\" height=\"9\"/>");
  const auto opens = [&](const char* loader, const char* name) {
    try {
      VImage image;
      VImage::call(loader, VImage::option()->set("filename", Path(name).c_str())->set("out", &image));
      return true;
    } catch (const vips::VError&) {
      return false;
    }
  };
  for (const char* format : {"a.v", "a.svg", "a.gif"}) {
    EXPECT_TRUE(opens(format[2] == 'v' ? "vipsload" : format[2] == 's' ? "svgload" : "gifload", format)) << format;
  }
  const auto blocked = [&] { // in a process of its own: it is for good
    Admission admission;
    admission.alsoRead = ParseFormatsOnDemand("gif");
    BlockOtherLoaders(admission);
    const bool good = opens("pngload", "a.png") && opens("gifload", "a.gif") && !opens("vipsload", "a.v") &&
                      !opens("svgload", "a.svg") && !opens("magickload", "a.png") && !opens("openslideload", "a.png") &&
                      !opens("jp2kload", "a.png");
    ::_exit(good ? 0 : 1);
  };
  EXPECT_EXIT(blocked(), testing::ExitedWithCode(0), "");
}

// ---- bounds ----

// Refused by the head, in little memory; the message tells the option with which the file is opened.
TEST_F(Opening, LargePicturesAreRefusedByTheirHeads) {
  Make("webp(\"a.webp\", 16383)");
  Make("png(\"interlaced.png\", 20000, 20000, 8, 2, 1)");
  Make("png(\"bits.png\", 60000, 60000, 1, 0, 0)");
  Make("png(\"texts.png\", 8, 8, 8, 0, 0, texts(90))");
  Make("tiff(\"pixels.tif\", 1, 2000000000, 2000000000)");
  Make("tiff(\"tiles.tif\", 1, 200000, 9984, 9984)");
  File("text.pbm", "P1 100000 100000\n0 1 1");
  const struct {
    const char *name, *message;
  } cases[] = {
      {"a.webp", "more than --max-memory 1024M allows; --max-memory 2048M opens it"},
      {"interlaced.png", "is an interlaced PNG, to decode which takes 1145M of memory"},
      {"bits.png", "has 60000 x 60000 pixels, more than --max-pixels 2500M allows; --max-pixels 3600M opens it"},
      {"texts.png", "is a PNG with packed texts"},
      {"pixels.tif", "has 2000000000 x 2000000000 pixels, more than --max-pixels 2500M"},
      {"tiles.tif", "is a TIFF page in large pieces"},
      {"text.pbm", "has 100000 x 100000 pixels"},
  };
#ifdef __SANITIZE_ADDRESS__
  const std::string little = "timeout 60 ";
#else
  const std::string little = "timeout 60 prlimit --data=150000000 ";
#endif
  for (const auto& c : cases) {
    const Outcome run = Zep3(std::string(c.name) + " -o out.tif", little);
    EXPECT_EQ(run.status, 1) << c.name;
    EXPECT_NE(run.err.find(c.message), std::string::npos) << c.name << "\n" << run.err;
  }
  // An honest scan of 900 megapixels, an A0 sheet at 1200 pixels per inch.
  Make("tiff(\"large.tif\", 1, 30000, 30000)");
  Make("tiff(\"map.tif\", 1, 39732, 56173)");
  for (const char* name : {"large.tif", "map.tif"})
    EXPECT_EQ(Zep3(std::string(name) + " -o out.tif -n", little).status, 0);
}

TEST_F(Opening, BoundsAreTheUsers) {
  Save(Sample(), "scan.png[interlace]"); // 256 x 40
  Save(Sample(), "scan.jpg[interlace]");
  Save(Sample(), "scan.webp");
  Save(Sample(), "scan.tif[tile,tile-width=256,tile-height=128]");
  Save(Sample(), "plain.png");
  const struct {
    const char *name, *pixels, *memory; // so much is asked for
  } cases[] = {{"scan.png", "10240", "30720"},
               {"scan.jpg", "10240", "61440"},
               {"scan.webp", "10240", "81920"},
               {"scan.tif", "10240", "196608"},
               {"plain.png", "10240", "0"}};
  const auto run = [&](const std::string& arguments) {
    const Outcome outcome = Zep3(arguments + " -o out.tif --overwrite");
    if (outcome.status == 1) EXPECT_NE(outcome.err.find(" opens it"), std::string::npos) << outcome.err;
    return outcome.status;
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string name = std::string(c.name) + " ";
    const auto less = [](const char* number) { return std::to_string(std::stoi(number) - 1); };
    EXPECT_EQ(run(name + "--max-pixels " + c.pixels), 0);
    EXPECT_EQ(run(name + "--max-pixels " + less(c.pixels)), 1);
    EXPECT_EQ(run(name + "--max-memory " + (c.memory[0] == '0' ? "1" : c.memory)), 0);
    if (c.memory[0] != '0') EXPECT_EQ(run(name + "--max-memory " + less(c.memory)), 1);
  }
  for (const char* amount : {"0", "-1", "1.5G", "4T", "K", "", "9999999999999G", "1KK"}) {
    EXPECT_THROW(ParseAmount(amount, 1000), UsageError) << amount;
  }
  EXPECT_EQ(ParseAmount("3G", 1024), int64_t{3} << 30);
  EXPECT_EQ(ParseAmount("4000M", 1000), 4'000'000'000);
}

// What no head tells of: the process gets no more memory.
TEST_F(Opening, MemoryBeyondTheBoundIsNotToBeHad) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizer's allocator ends the process";
#endif
  vips_concurrency_set(2);
  Admission admission;
  admission.maxMemory = 1 << 20;
  const auto taken = [&](size_t size) {
    void* const memory = std::malloc(size);
    std::free(memory);
    return memory != nullptr;
  };
  EXPECT_TRUE(taken(size_t{1} << 30));
  {
    const MemoryBound bound(admission);
    EXPECT_FALSE(taken(size_t{1} << 30));
    EXPECT_TRUE(taken(size_t{300} << 20));
  }
  EXPECT_TRUE(taken(size_t{1} << 30));
}

// ---- PNM ----

TEST_F(Opening, PnmIsReadWholeOrNotAtAll) {
  const struct {
    std::string bytes;
    const char* message; // nothing: it is good
    std::vector<int> values;
  } cases[] = {
      {"P1 3 2 0 1 0\n1 1 0\n", "", {255, 0, 255, 0, 0, 255}},
      {"P1\n# packed\n3 2\n010110", "", {255, 0, 255, 0, 0, 255}},
      {"P2 2 2 255 0 1#one\n#\n2 300 9 9", "", {0, 1, 2, 255}},
      {"P2 2 1 65535\n1 256", "", {1, 256}},
      {"P3 1 2 255\n1 2 3 4 5\n6", "", {1, 2, 3, 4, 5, 6}},
      {std::string("P4 3 2\n\x40\xc0", 9), "", {255, 0, 255, 0, 0, 255}},
      {"P5 2 1 255\nab", "", {'a', 'b'}},
      {"P1 3 2 0 1 0\n1", "ends after 4 of 6 values", {}},
      {"P2 100 100 255\n1 2 3", "ends after 3 of 10000 values", {}},
      {"P3 20000 20000\n255\n1 2 3 4 5 ", "ends after 5 of 1200000000 values", {}},
      {"P3 2 1 255\n10 20 30 40     ", "ends after 4 of 6 values", {}}, // long enough, if not for its blanks
      {"P2 2 1 255\n10 x", "has no number where value 2 should be", {}},
      {"P4 9 9\n\x40\xc0", "ends after 2 of 18 bytes", {}},
      {"P5 2 2 255\nabc", "ends after 3 of 4 bytes", {}},
      {"P6 2 2 300\nabcdefghijklmnopqrstuv", "ends after 22 of 24 bytes", {}},
      {"P5 0 2 255\n", "has no pixels", {}},
      {"P5 2 99999999999999999999 255\n", "has a damaged head", {}},
      {"P5 -2 2 255\nabcd", "has a damaged head", {}},
      {"P2 1 1 70000\n1", "has values to 70000", {}},
      {"P2", "is no image", {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.bytes.substr(0, 30));
    File("a.ppm", c.bytes);
    const Outcome run = Zep3("a.ppm -o out.tif --overwrite");
    EXPECT_NE(run.err.find(c.message), std::string::npos) << run.err;
    EXPECT_EQ(run.status, *c.message == 0 ? 0 : 1) << run.err;
    if (*c.message != 0) continue;
    const PnmHead head = ReadPnmHead(Path("a.ppm"));
    VImage image;
    if (head.IsText()) {
      VImage::call("ppmload_source",
                   VImage::option()
                       ->set("source", ToSource(OpenPnmText(Path("a.ppm"), head), std::make_shared<ReadFault>()))
                       ->set("out", &image));
    } else {
      image = VImage::ppmload(Path("a.ppm").c_str());
    }
    std::vector<int> values;
    for (int y = 0; y < image.height(); y++) {
      for (int x = 0; x < image.width(); x++) {
        for (const double value : image.getpoint(x, y)) values.push_back(static_cast<int>(value));
      }
    }
    EXPECT_EQ(values, c.values);
  }
}

// ---- signals ----

// Decoders do not look whether there was a signal: the run ends all the same, and nothing is left.
TEST_F(Opening, SignalsWaitForNobody) {
  Make("png(\"interlaced.png\", 20000, 12000, 8, 2, 1, b\"\", 730000000)"); // takes seconds
  Make("tiff(\"pages.tif\", 20000, 8, 8)");
  // Sends signal $1 to the program, process $p, once it has a worker or three seconds have gone. With $2 its workers
  // are stopped before.
  File("signal",
       "tries=0\n"
       "until pgrep -P $p >workers || [ $tries -gt 30 ]; do sleep 0.1; tries=$((tries + 1)); done\n"
       "sleep 0.5\n"
       "[ -z \"$2\" ] || pkill -STOP -P $p\n"
       "kill -$1 $p\n"
       "(sleep 15; kill -KILL $p) & late=$!\n"
       "wait $p; status=$?; kill $late; exit $status\n");
  ASSERT_EQ(
      Run("mkdir in && for i in 1 2 3 4 5; do cp interlaced.png in/$i.png; done; mkfifo never; seq 3000 >names").status,
      0);
  const struct {
    const char *arguments, *signal;
  } cases[] = {
      {"interlaced.png -o out/a.png --sidecar", "TERM"},
      {"interlaced.png -o out/a.png", "TERM stopped"}, // its worker does nothing at all
      {"-j4 -r in -o out", "HUP"},
      {"-j4 -r in -o out", "TERM stopped"},
      {"pages.tif -o out/pages.tif", "TERM"},
      {"--files-from never -o out", "TERM"},            // nobody writes
      {"--json --files-from names -o out >&9", "TERM"}, // nobody reads
  };
  for (const auto& c : cases) {
    const Outcome run = Run("exec 9<>never; " ZEP3_PROGRAM " " + std::string(c.arguments) + " & p=$!; set " + c.signal +
                            "; . ./signal");
    EXPECT_EQ(run.status, 130) << c.arguments << ", " << c.signal << "\n" << run.err;
    if (Exists("out")) EXPECT_EQ(Run("ls -A out").out, "") << c.arguments;
  }
}

// ---- pages ----

// CPU time for each page is the same, however many there are.
TEST_F(Opening, PagesCostTheSameHoweverMany) {
  const auto seconds = [&](int pages, const std::string& arguments) {
    Make("tiff(\"scan.tif\", " + std::to_string(pages) + ", 8, 8)");
    const Outcome run = Run("sh -c '" ZEP3_PROGRAM " " + arguments + " >all 2>&1; times'");
    int minutes[2] = {};
    double rest[2] = {};
    const std::string children = run.out.substr(run.out.find('\n') + 1);
    EXPECT_EQ(std::sscanf(children.c_str(), "%dm%lfs %dm%lfs", &minutes[0], &rest[0], &minutes[1], &rest[1]), 4);
    return 60 * (minutes[0] + minutes[1]) + rest[0] + rest[1];
  };
  for (const std::string arguments : {"analyse scan.tif", "scan.tif -o out.tif --overwrite --no-sync"}) {
    const double few = seconds(150, arguments) - seconds(1, arguments);
    const double many = seconds(1200, arguments);
    std::printf("%s: %.2f s, of eight times as many pages %.2f s\n", arguments.c_str(), few, many);
    EXPECT_LT(many, 8 * 2.5 * few) << arguments; // it would be sixty times as much
  }
  EXPECT_EQ(Run("tiffinfo out.tif | grep -c 'Image Width: 8'").out, "1200\n");
}

// ---- what is said ----

TEST_F(Opening, NamesAreShownAsText) {
  const struct {
    const char *text, *shown;
  } cases[] = {{"scan 12.tif", "scan 12.tif"},
               {"B\u00fccher/\u6f22\u5b57 \U0001f39e.tif", "B\u00fccher/\u6f22\u5b57 \U0001f39e.tif"},
               {"a\x1b[2Jb\nc\rd\te\x7f", "a\\x1b[2Jb\\x0ac\\x0dd\\x09e\\x7f"},
               {"a\u202egnp.tif\u2066\u200f\u2028", "a\\u{202e}gnp.tif\\u{2066}\\u{200f}\\u{2028}"},
               {"a\u0085b", "a\\u{85}b"},
               {"a\xff\xc3(b\xe2\x80", "a\\xff\\xc3(b\\xe2\\x80"}};
  for (const auto& c : cases) EXPECT_EQ(Printable(c.text), c.shown);
  EXPECT_EQ(Printable(std::string_view("a\0b", 3)), "a\\x00b");

  const std::string name = "a\x1b[2Jb\nzep3: all is well.png";
  File(name, "no picture");
  const std::string quoted = "'" + name + "'";
  for (const std::string how : {" -o out.png", " -v -o out.png", " other -o out"}) {
    const Outcome run = Zep3(quoted + how);
    EXPECT_NE(run.err.find("zep3: a\\x1b[2Jb\\x0azep3: all is well.png: is no image"), std::string::npos) << run.err;
    EXPECT_EQ(run.err.find('\x1b'), std::string::npos);
  }
  EXPECT_EQ(nlohmann::json::parse(Zep3(quoted + " -o out.png --json").out)["scan"], name);
}

// The reason is told, whatever part of the file is damaged.
TEST_F(Opening, DamagedPngFilesHaveAReason) {
  Save(Sample(), "scan.png");
  Save(Sample(), "interlaced.png[interlace]");
  for (const char* scan : {"scan.png", "interlaced.png"}) {
    const std::string whole = Read(scan);
    const size_t pixels = whole.find("IDAT");
    const auto spoiled = [&](size_t at) {
      std::string bytes = whole;
      bytes[at] = static_cast<char>(bytes[at] ^ 0x55);
      return bytes;
    };
    const struct {
      std::string bytes;
      const char* message;
    } cases[] = {{spoiled(20), "IHDR: CRC error"},
                 {spoiled(12), ""},
                 {spoiled(pixels + 30), ""},
                 {whole.substr(0, pixels + 60), "not enough data"},
                 {whole.substr(0, pixels), "not enough data"},
                 {whole.substr(0, 20), ""}};
    for (const auto& c : cases) {
      File("a.png", c.bytes);
      const Outcome run = Zep3("a.png -o out.png");
      EXPECT_EQ(run.status, 1) << run.err;
      EXPECT_EQ(run.err.find("unknown error"), std::string::npos) << run.err;
      EXPECT_FALSE(run.err.ends_with("libpng read error\n")) << run.err;
      EXPECT_NE(run.err.find(c.message), std::string::npos) << run.err;
    }
  }
}

// ---- workers ----

// One that sends nonsense costs its scan, and no memory.
TEST(WorkersThatLostTheirSenses, CostOneJob) {
  int given = 0;
  std::vector<std::string> told;
  WorkerEvents events;
  events.next = [&]() -> std::optional<Message> {
    return given < 6 ? std::optional(Message{std::to_string(given++)}) : std::nullopt;
  };
  events.done = [&](const Message& job, const std::optional<Message>& answer, const std::string&) {
    told.push_back(job.at(0) + (answer ? " done" : " lost"));
  };
  events.stop = [] { return false; };
  events.cleanUp = [](const Message&) {};
  RunInWorkers(
      2,
      [](const Message& job) -> Message {
        // A number of texts, or one text of a size; and then nothing more.
        const std::vector<uint64_t> nonsense =
            job.at(0) == "1" ? std::vector<uint64_t>{~uint64_t{0}} : std::vector<uint64_t>{1, ~uint64_t{0} >> 1};
        if (job.at(0) != "1" && job.at(0) != "4") return job;
        for (int file = 3; file < 100; file++) {
          ::send(file, nonsense.data(), nonsense.size() * sizeof(uint64_t), MSG_NOSIGNAL);
        }
        ::pause();
        return job;
      },
      events);
  EXPECT_EQ(told, (std::vector<std::string>{"0 done", "1 lost", "2 done", "3 done", "4 lost", "5 done"}));
}

} // namespace
