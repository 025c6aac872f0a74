// What zep3 makes of calls to the system that fail: each write, synchronisation, close and rename of a result, one
// after the other; and of scans that are replaced between any two times that they are opened.
#include <algorithm>
#include <cstdio>
#include <string>

#include "check_whole.h"
#include "failure.h"
#include "robustness.h"

namespace {

namespace fs = std::filesystem;

struct Writing {
  const char* name;
  const char* scan;    // in the folder "in"
  const char* options; // of libvips, with which it is made
  const char* arguments;
  const char* before = ""; // a run that leaves what is then replaced
};

const Writing kWritings[] = {
    {"PlainTiff", "a.tif", "", "in/a.tif -o out/a.tif"},
    {"LzwTiff", "a.tif", "[compression=lzw]", "in/a.tif -o out/a.tif"},
    {"DeflateTiff", "a.tif", "[compression=deflate]", "in/a.tif -o out/a.tif"},
    {"PackBitsTiff", "a.tif", "[compression=packbits]", "in/a.tif -o out/a.tif"},
    {"JpegTiff", "a.tif", "[compression=jpeg]", "in/a.tif -o out/a.tif"},
    {"TiledTiff", "a.tif", "[compression=lzw,tile,tile-width=64,tile-height=64]", "in/a.tif -o out/a.tif"},
    {"BigTiff", "a.tif", "[compression=lzw,bigtiff]", "in/a.tif -o out/a.tif"},
    {"DeepTiff", "deep.tif", "[compression=lzw]", "in/deep.tif -o out/a.tif"},
    {"Pages", "pages.tif", "", "in/pages.tif -o out/a.tif"},
    {"Png", "a.png", "", "in/a.png -o out/a.png"},
    {"Jpeg", "a.jpg", "[Q=95]", "in/a.jpg -o out/a.jpg"},
    {"Webp", "a.webp", "[lossless]", "in/a.webp -o out/a.webp"},
    {"Pnm", "a.ppm", "", "in/a.ppm -o out/a.ppm[strip]"},
    {"Sidecar", "a.png", "", "in/a.png -o out/a.png --sidecar"},
    {"Report", "a.png", "", "in/a.png -o out/a.png --sidecar --report"},
    {"Tables", "a.png", "", "tables in/a.png -o out/a.txt"},
    {"Overwritten", "a.tif", "", "in/a.tif -o out/a.tif --sidecar --overwrite",
     "in/a.tif -o out/a.tif --sidecar -b 40"},
    {"InPlace", "a.tif", "[compression=lzw]", "--in-place in/a.tif --sidecar"},
    {"InPlaceAgain", "a.tif", "", "--in-place in/a.tif --overwrite", "--in-place in/a.tif -b 40"},
    {"InPlaceAlone", "a.tif", "", "--in-place in/a.tif --no-backup"},
};

std::ostream& operator<<(std::ostream& out, const Writing& writing) { return out << writing.name; }

class Breaking : public Robustness, public testing::WithParamInterface<Writing> {
 protected:
  void MakeScan(const std::string& name, const std::string& options, int width, int height) const {
    if (name == "pages.tif") {
      MakeScan("a.tif", "[compression=lzw]", width, height);
      ASSERT_EQ(Run("cd in && tiffcp a.tif a.tif pages.tif && rm a.tif").status, 0);
      return;
    }
    const vips::VImage image = Noise(width, height, 1);
    Save(name == "deep.tif" ? image.colourspace(VIPS_INTERPRETATION_RGB16) : image, "in/" + name + options);
  }

  Outcome RunBroken(const std::string& calls, int number, const std::string& how, bool on) const {
    fs::remove(m_folder / "told");
    const std::string folder = std::string(GetParam().arguments).find("--in-place") == 0 ? "in/" : "out/";
    return Zep3(GetParam().arguments,
                Broken(calls, number, how, "BREAK_TOLD=told BREAK_IN=" + folder + (on ? " BREAK_ON=1" : "")));
  }

  // Breaks each of the calls, until there are no more. Returns how many there were.
  int Break(const std::string& calls, const std::string& how, bool on) {
    for (int number = 1;; number++) {
      PutBack(m_before);
      const Outcome run = RunBroken(calls, number, how, on);
      if (!fs::remove(m_folder / "told")) {
        EXPECT_EQ(run.status, 0) << run.err;
        return number - 1;
      }
      SCOPED_TRACE(testing::Message() << how << (on ? " from call " : " of call ") << number << " of " << calls << ": "
                                      << run.err);
      ExpectFailure(run, how == "EIO" ? "Input/output error" : "No space left on device", on);
      if (HasFailure()) return number;
    }
  }

  // Said with the file and the reason, and under every name is what was there. Where nothing can be renamed any more, a
  // sidecar cannot be taken back either.
  void ExpectFailure(const Outcome& run, const std::string& reason, bool on) const {
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.err.starts_with(std::string("zep3: in/") + GetParam().scan + ": "));
    EXPECT_NE(run.err.find(" cannot be ", run.err.find("/a.")), std::string::npos);
    EXPECT_NE(run.err.find(reason), std::string::npos);
    // The last call of all, when everything is whole under its name.
    const bool named = run.err.find("its name cannot be put on the disk") != std::string::npos;
    Files now = AllFiles();
    if (named && now == m_whole) return;
    const auto original = now.find(std::string("in/") + GetParam().scan + "_original");
    if (original != now.end() && !m_before.contains(original->first)) { // a second name that did no harm
      EXPECT_EQ(original->second, m_before.begin()->second);
      now.erase(original);
    }
    for (auto& [name, content] : now) {
      if (on && name.ends_with(".json") && content == m_whole.at(name)) content = m_before.at(name);
    }
    EXPECT_TRUE(now == m_before) << Names(now);
  }

  Files m_before, m_whole;
};

// ZEP3_TEST_BREAKS=all: both errors, once and from then on; otherwise ENOSPC once, EIO from then on.
const bool kAll = std::getenv("ZEP3_TEST_BREAKS") != nullptr;

constexpr const char* kWrites = "write pwrite pwrite64 writev";

TEST_P(Breaking, EachCallInTurn) {
  ASSERT_NO_FATAL_FAILURE(MakeScan(GetParam().scan, GetParam().options, 160, 120));
  if (*GetParam().before != 0) ASSERT_EQ(Zep3(GetParam().before).status, 0);
  m_before = AllFiles();
  ASSERT_EQ(Zep3(GetParam().arguments).status, 0);
  m_whole = AllFiles();
  ASSERT_NE(m_whole, m_before);

  std::string counts;
  for (const char* calls : {kWrites, "fsync", "close", "rename renameat2 link"}) {
    int count = 0;
    for (const char* how : {"ENOSPC", "EIO"}) {
      for (const bool on : {false, true}) {
        if (!kAll && on != (how[1] == 'I')) continue;
        count = Break(calls, how, on);
        EXPECT_GE(count, 1);
        if (HasFailure()) return;
      }
    }
    counts += " " + std::to_string(count) + " " + calls + ",";
  }
  std::printf("%s:%s all told\n", GetParam().name, counts.c_str());

  // A write that takes less than it was given is no error.
  PutBack(m_before);
  EXPECT_EQ(RunBroken(kWrites, 1, "short", true).status, 0);
  EXPECT_TRUE(fs::remove(m_folder / "told"));
  EXPECT_TRUE(AllFiles() == m_whole);
}

INSTANTIATE_TEST_SUITE_P(Writings, Breaking, testing::ValuesIn(kWritings),
                         [](const auto& writing) { return writing.param.name; });

// Nobody waits for the disk who does not want to.
TEST_F(Robustness, WithoutSynchronisation) {
  Save(Noise(60, 40, 1), "in/a.tif");
  for (const std::string sync : {"", "--no-sync"}) {
    Zep3("in/a.tif -o out/a.tif --sidecar --overwrite " + sync,
         Broken("fsync", 1, "EIO", "BREAK_TOLD=told BREAK_IN=out/ "));
    EXPECT_EQ(fs::remove(m_folder / "told"), sync.empty());
  }
}

// Another scan comes under the name before any of the times that the file is opened: wider than the first, or stored so
// that plain lines cannot be read. What comes out is of one of them, or a refusal.
TEST_F(Robustness, ReplacedBetweenAnyTwoOpenings) {
  Save(Noise(1300, 100, 1), "first.tif"); // more than the pre-scan's 1250 pixels
  Save(Noise(9000, 100, 2), "wide.tif");
  Save(Noise(1300, 100, 3), "packed.tif[compression=deflate]");
  ASSERT_EQ(Run("tiffcp first.tif first.tif first-pages.tif && tiffcp wide.tif packed.tif other-pages.tif").status, 0);
  fs::create_directory(m_folder / "in");
  const struct {
    const char *first, *other;
  } pairs[] = {{"first.tif", "wide.tif"}, {"first.tif", "packed.tif"}, {"first-pages.tif", "other-pages.tif"}};
  for (const auto& pair : pairs) {
    std::vector<std::string> whole;
    const auto run = [&](const std::string& before) {
      fs::remove(m_folder / "out.tif");
      return Zep3("in/a.tif -o out.tif", before);
    };
    for (const char* scan : {pair.first, pair.other}) {
      fs::copy_file(m_folder / scan, m_folder / "in/a.tif", fs::copy_options::overwrite_existing);
      ASSERT_EQ(run("").status, 0);
      whole.push_back(Read("out.tif"));
    }
    for (int number = 1;; number++) {
      SCOPED_TRACE(testing::Message() << pair.first << ", " << pair.other << ", before opening " << number);
      fs::copy_file(m_folder / pair.first, m_folder / "in/a.tif", fs::copy_options::overwrite_existing);
      fs::copy_file(m_folder / pair.other, m_folder / "swapped.tif", fs::copy_options::overwrite_existing);
      const Outcome outcome = run(Broken("open open64 fopen fopen64", number, "swap swapped.tif", "BREAK_IN=in/a.tif"));
      if (Exists("swapped.tif")) {
        EXPECT_GE(number, 5);
        break;
      }
      EXPECT_EQ(outcome.err.find("worker process"), std::string::npos) << outcome.err;
      if (outcome.status == 0) {
        EXPECT_NE(std::find(whole.begin(), whole.end(), Read("out.tif")), whole.end());
      } else {
        EXPECT_EQ(outcome.status, 1);
        EXPECT_FALSE(Exists("out.tif"));
      }
    }
  }
}

// What is looked at last: whole files of all formats, and the same with their ends cut off.
TEST_F(Robustness, WhatIsCutIsNoResult) {
  const vips::VImage image = Noise(60, 40, 1);
  const vips::VImage gray = image[0];
  const vips::VImage deep = image.colourspace(VIPS_INTERPRETATION_RGB16);
  const struct {
    const vips::VImage& image;
    const char* name;
  } cases[] = {{image, "a.tif"},
               {image, "a.tif[tile,compression=lzw,bigtiff]"},
               {image, "a.png"},
               {image, "a.jpg"},
               {image, "a.webp"},
               {image, "a.ppm"},
               {deep, "a.ppm"},
               {gray, "a.pgm"},
               {image, "a.ppm[ascii]"},
               {gray, "a.pgm[bitdepth=1]"},
               {image, "a.tif[pyramid,tile,tile-width=16,tile-height=16]"}};
  for (const auto& c : cases) {
    const std::string name = std::string(c.name).substr(0, std::string(c.name).find('['));
    Save(c.image, c.name);
    const std::string whole = Read(name);
    for (const size_t missing : {size_t{0}, size_t{1}, whole.size() / 3, whole.size() - 4, whole.size()}) {
      PendingFile file(Path("result"));
      file.Write(whole.data(), whole.size() - missing);
      const bool text = std::string(c.name).ends_with("[ascii]") && missing < whole.size() / 2; // of any length
      if (missing == 0 || text) {
        EXPECT_NO_THROW(CheckWhole(file, *FormatOfName(name))) << c.name;
      } else {
        EXPECT_THROW(CheckWhole(file, *FormatOfName(name)), Failure) << c.name << " less " << missing;
      }
    }
  }
  // The file on the disk is another than the one that was written.
  PendingFile file(Path("result"));
  file.Write("0123456789", 10);
  ASSERT_EQ(Run("truncate -s 4 .result.*").status, 0);
  EXPECT_THROW(file.Finish(), Failure);
}

// A file takes the place of files alone.
TEST_F(Robustness, PipesAndDevicesAreNotReplaced) {
  Save(Noise(60, 40, 1), "a.tif");
  ASSERT_EQ(Run("mkdir out && cd out && mkfifo pipe.tif && ln -s pipe.tif link.tif && mkfifo b.tif.zep3.json && "
                "ln -s /proc/self/fd/1 stdout.tif && { mknod null.tif c 1 3 || mkfifo null.tif; } && "
                "python3 -c 'import socket; socket.socket(socket.AF_UNIX).bind(\"socket.tif\")'")
                .status,
            0);
  const std::string list = "cd out && ls -A --file-type";
  const std::string before = Run(list).out;
  for (const std::string arguments :
       {"a.tif -o out/pipe.tif", "a.tif -o out/link.tif", "a.tif -o out/stdout.tif", "a.tif -o out/null.tif",
        "a.tif -o out/socket.tif", "a.tif -o out/b.tif --sidecar", "tables a.tif -o out/pipe.tif"}) {
    const Outcome run = Zep3(arguments + " --overwrite", "timeout 60 ");
    EXPECT_EQ(run.status, 1) << arguments;
    EXPECT_NE(run.err.find(" is a pipe, a device or a socket, which no file replaces"), std::string::npos) << run.err;
    EXPECT_EQ(Run(list).out, before) << arguments;
  }
  // A link is a name: it is replaced, and not the file to which it leads.
  ASSERT_EQ(Run("cp a.tif behind.tif && ln -s ../behind.tif out/c.tif").status, 0);
  EXPECT_EQ(Zep3("a.tif -o out/c.tif --overwrite -b 40").status, 0);
  EXPECT_FALSE(fs::is_symlink(m_folder / "out/c.tif"));
  EXPECT_EQ(Read("behind.tif"), Read("a.tif"));
}

} // namespace
