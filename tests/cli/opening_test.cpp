// What zep3 opens and what it does not, how much it opens, and that no signal waits for a decoder.
#include <unistd.h>

#include "failure.h"
#include "log.h"
#include "opening/admission.h"
#include "opening/pnm.h"
#include "program.h"

namespace {

class Opening : public Program {
 protected:
  // See odd_files.py.
  void Make(const std::string& what) const {
    ASSERT_EQ(Run("python3 " ZEP3_ODD_FILES " '" + what + "'").status, 0) << Read(".err");
  }

  // A ramp of R G B bytes, 256 x 40.
  static VImage Ramp() {
    const VImage ramp = VImage::identity().replicate(1, 40);
    return As(VIPS_INTERPRETATION_sRGB, VImage::bandjoin(std::vector{ramp, ramp.invert(), ramp}));
  }
};

// ---- formats ----

// Content that a library behind libvips would draw, whatever it is called.
TEST_F(Opening, NothingButImagesOfPromisedFormats) {
  Save(Ramp(), "secret.png");
  Save(Ramp(), "native.v");
  const struct {
    const char* what;
    std::string bytes;
  } contents[] = {
      {"SVG",
       "<svg xmlns=\"http://www.w3.org/2000/svg\" xmlns:xlink=\"http://www.w3.org/1999/xlink\" width=\"64\" "
       "height=\"64\"><image width=\"64\" height=\"64\" xlink:href=\"secret.png\"/></svg>"},
      {"libvips' own", Read("native.v")},
      {"drawing of an image library", "push graphic-context\nviewbox 0 0 9 9\nimage over 0,0 9,9 'secret.png'\n"},
      {"numbers", "1,2,3\n4,5,6\n"}};
  for (const auto& content : contents) {
    for (const std::string name : {"a.png", "a.svg", "a"}) {
      SCOPED_TRACE(content.what);
      File(name, content.bytes);
      ExpectFault(name + " -o out.tif --also-read jp2,jxl,heif,gif,pdf", ": is no image that can be read");
    }
  }
  ExpectFault("'secret.png[filename=secret.png]' -o out.tif", "filename is no option");
  EXPECT_FALSE(Exists("out.tif"));
}

// Others are named, and opened where they are asked for under a name that does not say otherwise.
TEST_F(Opening, OthersOnDemand) {
  Save(Ramp().replicate(4, 20), "sample.png"); // of so many pixels JPEG 2000 has levels of resolution
  for (const std::string format : {"gif", "jxl", "jp2", "heif"}) {
    const std::string scan = "in/scan." + (format == "heif" ? "heic" : format);
    // By a process of its own: encoders leak.
    ASSERT_EQ(Run("rm -rf in out; mkdir in && vips copy sample.png " + scan + " && cp " + scan + " named.png").status,
              0);
    ExpectFault(scan + " -o no.tif", "is a " + format + " file by its content; --also-read " + format);
    EXPECT_IN("0 corrected, 0 failed", Zep3("-r in -o out --format tif").err);
    EXPECT_IN("; --also-read " + format + " opens 1 of them", Zep3("-n -r in -o out --format tif").err);
    const std::string also = "--also-read pdf," + format;
    ExpectDone(also + " -r in -o out --format tif");
    EXPECT_TRUE(Exists("out/scan.tif")) << format;
    ExpectFault(also + " named.png -o no.tif", "is a " + format + " file by its content, though its name says png");
  }
  Make("tiff(\"scan.tif\", 1, 8, 8, 0, 33005)");
  ExpectFault("scan.tif -o no.tif", "holds JPEG 2000; --also-read jp2 opens it");
  ExpectFault("--also-read jp2,svg scan.tif -o no.tif", "svg", 2);
  EXPECT_FALSE(Exists("no.tif"));
}

// Whatever name or content would lead there.
TEST_F(Opening, LoadersAreBlocked) {
  Save(Ramp(), "a.png");
  Save(Ramp(), "a.gif");
  Save(Ramp(), "a.v");
  File("a.svg", "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"9\" height=\"9\"/>");
  const auto opens = [&](const char* loader, const char* name) {
    VipsImage* image = nullptr;
    const bool good = vips_call(loader, Path(name).c_str(), &image, nullptr) == 0;
    if (good) g_object_unref(image);
    return good;
  };
  EXPECT_TRUE(opens("vipsload", "a.v") && opens("svgload", "a.svg") && opens("gifload", "a.gif"));
  const auto blocked = [&] { // in a process of its own: it is for good
    Admission admission;
    BlockOtherLoaders(admission);
    const bool strict = !opens("gifload", "a.gif");
    admission.alsoRead = ParseFormatsOnDemand("gif");
    BlockOtherLoaders(admission);
    const bool good = strict && opens("pngload", "a.png") && opens("gifload", "a.gif") && !opens("vipsload", "a.v") &&
                      !opens("svgload", "a.svg") && !opens("magickload", "a.png") && !opens("jp2kload", "a.png");
    ::_exit(good ? 0 : 1);
  };
  EXPECT_EXIT(blocked(), testing::ExitedWithCode(0), "");
}

// ---- bounds ----

// Refused by the head, in little memory; the message tells the option with which the file is opened.
TEST_F(Opening, LargePicturesAreRefusedByTheirHeads) {
#ifdef ZEP3_SANITIZED
  const std::string little = "timeout 60 ";
#else
  const std::string little = "timeout 60 prlimit --data=150000000 ";
#endif
  const struct {
    const char *make, *message;
  } cases[] = {
      {"webp(\"a\", 16383)", "more than --max-memory 1024M allows; --max-memory 2048M opens it"},
      {"png(\"a\", 20000, 20000, 8, 2, 1)", "is an interlaced PNG, to decode which takes 1145M of memory"},
      {"png(\"a\", 60000, 60000, 1, 0, 0)",
       "has 60000 x 60000 pixels, more than --max-pixels 2500M allows; --max-pixels 3600M opens it"},
      {"png(\"a\", 8, 8, 8, 0, 0, texts(90))", "is a PNG with packed texts"},
      {"tiff(\"a\", 1, 2000000000, 2000000000)", "has 2000000000 x 2000000000 pixels, more than --max-pixels 2500M"},
      {"tiff(\"a\", 1, 200000, 9984, 9984)", "is a TIFF page in large pieces"},
      {"open(\"a\", \"w\").write(\"P1 100000 100000\\n0 1 1\")", "has 100000 x 100000 pixels"}};
  for (const auto& c : cases) {
    Make(c.make);
    ExpectFault("a -o out.tif", c.message, 1, little);
  }
  // An honest scan, an A0 sheet at 1200 pixels per inch.
  Make("tiff(\"map.tif\", 1, 39732, 56173)");
  EXPECT_EQ(Zep3("map.tif -o out.tif -n", little).status, 0);
}

TEST_F(Opening, BoundsAreTheUsers) {
  Save(Ramp(), "scan.png[interlace]");
  Save(Ramp(), "scan.jpg[interlace]");
  Save(Ramp(), "scan.webp");
  Save(Ramp(), "scan.tif[tile,tile-width=256,tile-height=128]");
  for (const auto& [name, bytes] :
       {std::pair{"scan.png", 30720}, {"scan.jpg", 61440}, {"scan.webp", 81920}, {"scan.tif", 196608}}) {
    const std::string run = name + std::string(" -o out.tif --overwrite ");
    ExpectDone(run + "--max-pixels 10240 --max-memory " + std::to_string(bytes));
    ExpectFault(run + "--max-pixels 10239", "; --max-pixels 10240 opens it");
    ExpectFault(run + "--max-memory " + std::to_string(bytes - 1), " opens it");
  }
  Save(Ramp(), "plain.png");
  ExpectDone("plain.png -o out.tif --overwrite --max-memory 1");
  for (const char* amount : {"0", "1.5G", "K", "9999999999999G", "1KK"}) {
    EXPECT_THROW(ParseAmount(amount, 1000), UsageError) << amount;
  }
  EXPECT_EQ(ParseAmount("3G", 1024), int64_t{3} << 30);
}

// What no head tells of: the process gets no more memory.
TEST_F(Opening, MemoryBeyondTheBoundIsNotToBeHad) {
#if defined(ZEP3_SANITIZED)
  GTEST_SKIP() << "the sanitizer's allocator ends the process";
#endif
  vips_concurrency_set(2);
  Admission admission;
  admission.maxMemory = 1 << 20;
  const auto taken = [](size_t size) {
    void* volatile const memory = std::malloc(size); // volatile: else Clang leaves the call out and says it went well
    std::free(memory);
    return memory != nullptr;
  };
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
    std::string bytes, values; // nothing: it is refused
    const char* message = "";
  } cases[] = {
      {"P1 3 2 0 1 0\n1 1 0\n", "255 0 255 0 0 255 "},
      {"P1\n# packed\n3 2\n010110", "255 0 255 0 0 255 "},
      {"P2 2 2 255 0 1#one\n#\n2 300 9 9", "0 1 2 255 "},
      {"P2 2 1 65535\n1 256", "1 256 "},
      {"P3 1 2 255\n1 2 3 4 5\n6", "1 2 3 4 5 6 "},
      {std::string("P4 3 2\n\x40\xc0", 9), "255 0 255 0 0 255 "},
      {"P5 2 1 255\n\x01\x02", "1 2 "},
      {"P1 3 2 0 1 0\n1", "", "ends after 4 of 6 values"},
      {"P3 20000 20000\n255\n1 2 3 4 5 ", "", "ends after 5 of 1200000000 values"},
      {"P3 2 1 255\n10 20 30 40     ", "", "ends after 4 of 6 values"}, // long enough, if not for its blanks
      {"P2 2 1 255\n10 x", "", "has no number where value 2 should be"},
      {"P4 9 9\n\x40\xc0", "", "ends after 2 of 18 bytes"},
      {"P6 2 2 300\nabcdefghijklmnopqrstuv", "", "ends after 22 of 24 bytes"},
      {"P5 0 2 255\n", "", "has no pixels"},
      {"P5 2 99999999999999999999 255\n", "", "has a damaged head"},
      {"P2 1 1 70000\n1", "", "has values to 70000"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.bytes.substr(0, 30));
    File("a.ppm", c.bytes);
    if (c.values.empty()) {
      ExpectFault("a.ppm -o out.tif --overwrite", c.message);
      continue;
    }
    ExpectDone("a.ppm -o out.tif --overwrite");
    VImage image = VImage::ppmload(Path("a.ppm").c_str());
    if (const PnmHead head = ReadPnmHead(Path("a.ppm")); head.IsText()) {
      const auto source = ToSource(OpenPnmText(Path("a.ppm"), head), std::make_shared<ReadFault>());
      VImage::call("ppmload_source", VImage::option()->set("source", source)->set("out", &image));
    }
    std::string values;
    for (int i = 0; i < image.width() * image.height(); i++) {
      for (const double value : image.getpoint(i % image.width(), i / image.width())) {
        values += std::to_string(static_cast<int>(value)) + " ";
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
  // Sends signal $1 to the program, process $p, once it has a worker or a second has gone. With $2 its workers are
  // stopped before.
  File("signal",
       "tries=0\n"
       "until pgrep -P $p >workers || [ $tries -gt 10 ]; do sleep 0.1; tries=$((tries + 1)); done\n"
       "sleep 0.3\n"
       "[ -z \"$2\" ] || pkill -STOP -P $p\n"
       "kill -$1 $p\n"
       "(sleep 15; kill -KILL $p) & late=$!\n"
       "wait $p; status=$?; kill $late; exit $status\n");
  ASSERT_EQ(
      Run("mkdir in && for i in 1 2 3; do cp interlaced.png in/$i.png; done; mkfifo never; seq 3000 >names").status, 0);
  const struct {
    const char *arguments, *signal;
  } cases[] = {
      {"interlaced.png -o out/a.png", "TERM"},
      {"-j3 -r in -o out", "HUP stopped"}, // workers that do nothing at all
      {"pages.tif -o out/pages.tif", "TERM"},
      {"--files-from never -o out", "TERM"},            // nobody writes
      {"- -o out/a.png <&9", "TERM"},                   // nor here
      {"--json --files-from names -o out >&9", "TERM"}, // nobody reads
  };
  for (const auto& c : cases) {
    const Outcome run =
        Run("exec 9<>never; " ZEP3_PHOTO " " + std::string(c.arguments) + " & p=$!; set " + c.signal + "; . ./signal");
    EXPECT_EQ(run.status, 130) << c.arguments << ", " << c.signal << "\n" << run.err;
    if (Exists("out")) EXPECT_EQ(Run("ls -A -I .zep3-run out").out, "") << c.arguments;
  }
}

// ---- pages ----

// The work for each page is the same, however many there are: the reads, which the system counts.
TEST_F(Opening, PagesCostTheSameHoweverMany) {
  const auto reads = [&](int pages, const std::string& arguments) {
    Make("tiff(\"scan.tif\", " + std::to_string(pages) + ", 8, 8)");
    return std::stol(Run("sh -c '" ZEP3_PHOTO " " + arguments + " >all 2>&1; sed -n s/syscr:.//p /proc/$$/io'").out);
  };
  for (const std::string arguments : {"analyse scan.tif", "scan.tif -o out.tif --overwrite --no-sync"}) {
    const long few = reads(50, arguments);
    EXPECT_LT(reads(400, arguments), 8.5 * few) << arguments;
    EXPECT_GT(few, 500) << arguments; // else the reads were no measure
  }
  EXPECT_EQ(Run("tiffinfo out.tif | grep -c 'Image Width: 8'").out, "400\n");
}

// ---- what is said ----

TEST_F(Opening, NamesAreShownAsText) {
  const struct {
    const char *text, *shown;
  } cases[] = {{"B\u00fccher/\u6f22\u5b57 \U0001f39e 12.tif", "B\u00fccher/\u6f22\u5b57 \U0001f39e 12.tif"},
               {"a\x1b[2Jb\nc\rd\te\x7f", "a\\x1b[2Jb\\x0ac\\x0dd\\x09e\\x7f"},
               {"a\u202egnp.tif\u2066\u200f\u2028\u0085", "a\\u{202e}gnp.tif\\u{2066}\\u{200f}\\u{2028}\\u{85}"},
               {"a\xff\xc3(b\xe2\x80", "a\\xff\\xc3(b\\xe2\\x80"}};
  for (const auto& c : cases) EXPECT_EQ(Printable(c.text), c.shown);
  EXPECT_EQ(Printable(std::string_view("a\0b", 3)), "a\\x00b");

  const std::string name = "a\x1b[2Jb\nzep3: all is well.png";
  File(name, "no picture");
  for (const std::string how : {" -o out.png", " -v other -o out"}) {
    ExpectFault("'" + name + "'" + how, "zep3: a\\x1b[2Jb\\x0azep3: all is well.png: is no image");
    EXPECT_EQ(Read(".err").find('\x1b'), std::string::npos);
  }
  EXPECT_EQ(nlohmann::json::parse(Zep3("'" + name + "' -o out.png --json").out)["scan"], name);
}

// The reason is told, whatever part of the file is damaged.
TEST_F(Opening, DamagedPngFilesHaveAReason) {
  Save(Ramp(), "scan.png");
  const std::string whole = Read("scan.png");
  const size_t pixels = whole.find("IDAT");
  const auto spoiled = [&](size_t at) { return std::string(whole).replace(at, 1, 1, static_cast<char>(~whole[at])); };
  const struct {
    std::string bytes;
    const char* message;
  } cases[] = {{spoiled(20), "IHDR: CRC error"},
               {spoiled(12), ""},
               {spoiled(pixels + 30), ""},
               {whole.substr(0, pixels + 60), "not enough data"},
               {whole.substr(0, pixels), "not enough data"}};
  for (const auto& c : cases) {
    File("a.png", c.bytes);
    ExpectFault("a.png -o out.png", c.message);
    EXPECT_EQ(Read(".err").find("unknown error"), std::string::npos) << Read(".err");
    EXPECT_FALSE(Read(".err").ends_with("libpng read error\n")) << Read(".err");
  }
}

} // namespace
