// What zep3 makes of calls to the system that fail: each write, synchronisation, close and rename of a result, one
// after the other; and of scans that are replaced between any two times that they are opened.
#include <algorithm>
#include <cstdio>
#include <string>

#include "failure.h"
#include "program.h"
#include "saving/check_whole.h"

namespace {

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

class Breaking : public Program, public testing::WithParamInterface<Writing> {
 protected:
  void MakeScan() const {
    const std::string scan = std::string("in/") + GetParam().scan;
    const VImage image = Noise(160, 120, 1);
    if (scan == "in/pages.tif") {
      Save(image, "one.tif[compression=lzw]");
      ASSERT_EQ(Run("mkdir in && tiffcp one.tif one.tif in/pages.tif && rm one.tif").status, 0);
    } else {
      Save(scan == "in/deep.tif" ? Deep(image) : image, scan + GetParam().options);
    }
  }

  // Whether the call was reached.
  bool RunBroken(const std::string& calls, int number, const std::string& how, bool on, Outcome& run) const {
    PutBack(m_before);
    const std::string folder = std::string(GetParam().arguments).starts_with("--in-place") ? "in/" : "out/";
    run = Zep3(GetParam().arguments,
               Broken(calls, number, how, "BREAK_TOLD=told BREAK_IN=" + folder + (on ? " BREAK_ON=1" : "")));
    return fs::remove(m_folder / "told");
  }

  // Said with the file and the reason, and under every name is what was there. Where nothing can be renamed any more, a
  // sidecar cannot be taken back either.
  void ExpectFailure(const Outcome& run, const std::string& reason, bool on) const {
    const std::string scan = std::string("in/") + GetParam().scan;
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.err.starts_with("zep3: " + scan + ": "));
    EXPECT_NE(run.err.find(" cannot be ", run.err.find("/a.")), std::string::npos);
    EXPECT_IN(reason, run.err);
    Files now = AllFiles();
    // The last call of all, when everything is whole under its name.
    if (run.err.find("its name cannot be put on the disk") != std::string::npos && now == m_whole) return;
    if (now.contains(OriginalOf(scan)) && !m_before.contains(OriginalOf(scan))) { // a second name does no harm
      EXPECT_EQ(now[OriginalOf(scan)], m_before.at(scan));
      now.erase(OriginalOf(scan));
    }
    for (auto& [name, content] : now) {
      if (on && name.ends_with(".json") && content == m_whole.at(name)) content = m_before.at(name);
    }
    EXPECT_TRUE(now == m_before) << Names(now);
  }

  Files m_before, m_whole;
};

TEST_P(Breaking, EachCallInTurn) {
  ::setenv("SOURCE_DATE_EPOCH", "0", 1); // a report has the minute in which it was made
  MakeScan();
  PutBack(AllFiles());
  if (*GetParam().before != 0) ExpectDone(GetParam().before);
  m_before = AllFiles();
  ExpectDone(GetParam().arguments);
  m_whole = AllFiles();
  ASSERT_TRUE(m_whole != m_before);

  Outcome run;
  const std::string writes = "write pwrite pwrite64";
  for (const std::string& calls :
       {writes, std::string("fsync"), std::string("close"), std::string("rename renameat2 link")}) {
    int count = 0;
    for (const bool on : {false, true}) { // once; from then on
      const std::string how = on ? "EIO" : "ENOSPC";
      for (count = 0; RunBroken(calls, count + 1, how, on, run) && !HasFailure(); count++) {
        SCOPED_TRACE(testing::Message() << how << " of call " << count + 1 << " of " << calls << ": " << run.err);
        ExpectFailure(run, on ? "Input/output error" : "No space left on device", on);
      }
      EXPECT_EQ(run.status, HasFailure() ? run.status : 0) << run.err;
      EXPECT_GE(count, calls == "fsync" ? 2 : 1); // of the file and of its name
    }
    std::printf("%d of %s\n", count, calls.c_str());
  }
  // A write that takes less than it was given is no error.
  EXPECT_TRUE(RunBroken(writes, 1, "short", true, run));
  EXPECT_EQ(run.status, 0) << run.err;
  ExpectFiles(m_whole);
}

INSTANTIATE_TEST_SUITE_P(Writings, Breaking, testing::ValuesIn(kWritings),
                         [](const auto& writing) { return writing.param.name; });

class BreakingCalls : public Program {};

// Nobody waits for the disk who does not want to.
TEST_F(BreakingCalls, WithoutSynchronisation) {
  Save(Noise(60, 40, 1), "in/a.tif");
  for (const std::string sync : {"", "--no-sync"}) {
    Zep3("in/a.tif -o out/a.tif --sidecar --overwrite " + sync,
         Broken("fsync", 1, "EIO", "BREAK_TOLD=told BREAK_IN=out/ "));
    EXPECT_EQ(fs::remove(m_folder / "told"), sync.empty());
  }
}

// Another scan comes under the name before any of the times that the file is opened: wider than the first, of fewer
// channels, deeper, or stored so that plain lines cannot be read. What comes out is of one of them, or a refusal.
TEST_F(BreakingCalls, ReplacedBetweenAnyTwoOpenings) {
  Save(Noise(1300, 100, 1), "first.tif"); // more than the pre-scan's 1250 pixels
  Save(Noise(9000, 100, 2), "wide.tif");
  Save(Noise(1300, 100, 3), "packed.tif[compression=deflate]");
  Save(Gray(Noise(1300, 100, 4)), "gray.tif");
  Save(Deep(Noise(1300, 100, 5)), "deep.tif");
  ASSERT_EQ(
      Run("tiffcp first.tif first.tif pages.tif && tiffcp wide.tif packed.tif other-pages.tif && mkdir in").status, 0);
  const char* const pairs[][2] = {{"first.tif", "wide.tif"},
                                  {"first.tif", "packed.tif"},
                                  {"first.tif", "gray.tif"},
                                  {"first.tif", "deep.tif"},
                                  {"pages.tif", "other-pages.tif"}};
  for (const auto& pair : pairs) {
    const std::string first = pair[0], other = pair[1];
    std::string whole[2];
    const auto run = [&](const std::string& scan, const std::string& before) {
      Run("rm -f out.tif; cp " + scan + " in/a.tif; cp " + other + " swapped.tif");
      return Zep3("in/a.tif -o out.tif", before);
    };
    for (const int i : {0, 1}) {
      EXPECT_EQ(run(i == 0 ? first : other, "").status, 0);
      whole[i] = Read("out.tif");
    }
    for (int number = 1;; number++) {
      SCOPED_TRACE(testing::Message() << first << ", " << other << ", before opening " << number);
      const Outcome outcome =
          run(first, Broken("open open64 fopen fopen64", number, "run mv swapped.tif in/a.tif", "BREAK_IN=in/a.tif"));
      if (Exists("swapped.tif")) {
        EXPECT_GE(number, 5);
        break;
      }
      EXPECT_EQ(outcome.err.find("worker process"), std::string::npos) << outcome.err;
      const std::string result = Read("out.tif");
      EXPECT_TRUE(outcome.status == 0 ? result == whole[0] || result == whole[1] : !Exists("out.tif")) << outcome.err;
    }
  }
}

// New folders are on the disk before anything in them.
TEST_F(BreakingCalls, FoldersAreSynchronised) {
  Save(Noise(60, 40, 1), "in/a.tif");
  for (const int number : {1, 2}) {
    ExpectFault("in/a.tif -o out/deep/a.tif",
                std::string("zep3: in/a.tif: ") + (number == 1 ? "out" : "out/deep") +
                    ": its name cannot be put on the disk, Input/output error",
                1, Broken("fsync", number, "EIO", "BREAK_IN=" + m_folder.filename().string() + "/"));
    EXPECT_FALSE(Exists("out/deep/a.tif"));
    fs::remove_all(m_folder / "out");
  }
}

// Another run gives its result the name just before: what belongs to that result stays with it.
TEST_F(BreakingCalls, ResultsKeepTheirOwnSidecars) {
  Save(Noise(60, 40, 1), "in/a.tif");
  for (const std::string theirs : {"", "their sidecar"}) {
    PutBack({{"in/a.tif", Read("in/a.tif")}, {"theirs", "their result"}});
    fs::create_directory(m_folder / "out");
    if (!theirs.empty()) File("out/a.tif.zep3.json", theirs);
    const Outcome run = Zep3("in/a.tif -o out/ --sidecar", Broken("renameat2", theirs.empty() ? 2 : 3,
                                                                  "run mv theirs out/a.tif", "BREAK_IN=out/a.tif"));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "zep3: in/a.tif: out/a.tif exists\n");
    EXPECT_EQ(Read("out/a.tif"), "their result");
    EXPECT_EQ(Read("out/a.tif.zep3.json"), theirs);
    EXPECT_EQ(Exists("out/a.tif.zep3.json"), !theirs.empty());
  }
}

// What is looked at last: whole files of all formats, and the same with their ends cut off.
TEST_F(BreakingCalls, WhatIsCutIsNoResult) {
  const VImage image = Noise(60, 40, 1);
  const std::pair<VImage, const char*> cases[] = {{image, "a.tif"},
                                                  {image, "a.tif[tile,compression=lzw,bigtiff]"},
                                                  {image, "a.png"},
                                                  {image, "a.jpg"},
                                                  {image, "a.webp"},
                                                  {image, "a.ppm"},
                                                  {Deep(image), "a.ppm"},
                                                  {Gray(image), "a.pgm"},
                                                  {image, "a.ppm[ascii]"},
                                                  {Gray(image), "a.pgm[bitdepth=1]"},
                                                  {Deep(Gray(image)), "a.pgm"},
                                                  {image, "a.tif[pyramid,tile,tile-width=16,tile-height=16]"}};
  for (const auto& [picture, options] : cases) {
    const std::string name = std::string(options).substr(0, std::string(options).find('['));
    Save(picture, options);
    const std::string whole = Read(name);
    for (const size_t missing : {size_t{0}, size_t{1}, whole.size() / 3, whole.size() - 4, whole.size()}) {
      PendingFile file(Path("result"));
      file.Write(whole.data(), whole.size() - missing);
      const bool text = std::string(options).ends_with("[ascii]") && missing < whole.size() / 2; // of any length
      if (missing == 0 || text) {
        EXPECT_NO_THROW(CheckWhole(file, *FormatOfName(name))) << options;
      } else {
        EXPECT_THROW(CheckWhole(file, *FormatOfName(name)), Failure) << options << " less " << missing;
      }
    }
  }
  // A strip that is longer than the file. (Uncompressed, libtiff would count its bytes itself.)
  Save(image, "a.tif[compression=lzw]");
  const std::string whole = Read("a.tif"), count("\x17\x01\x04\0\x01\0\0\0", 8); // one strip's, and then the bytes
  ASSERT_NE(whole.find(count), std::string::npos);
  PendingFile liar(Path("result"));
  liar.Write(std::string(whole).replace(whole.find(count) + 10, 1, "\x01").data(), whole.size());
  EXPECT_THROW(CheckWhole(liar, *FormatOfName("a.tif")), Failure);
  // The file on the disk is another than the one that was written.
  PendingFile file(Path("result"));
  file.Write("0123456789", 10);
  ASSERT_EQ(Run("truncate -s 4 .result.*").status, 0);
  EXPECT_THROW(file.Finish(), Failure);
}

// A file takes the place of files alone.
TEST_F(BreakingCalls, PipesAndDevicesAreNotReplaced) {
  Save(Noise(60, 40, 1), "a.tif");
  ASSERT_EQ(Run("mkdir out && cd out && mkfifo pipe.tif b.tif.zep3.json && ln -s pipe.tif link.tif && "
                "ln -s /proc/self/fd/1 stdout.tif && { mknod null.tif c 1 3 || mkfifo null.tif; } && "
                "python3 -c 'import socket; socket.socket(socket.AF_UNIX).bind(\"socket.tif\")'")
                .status,
            0);
  const std::string list = "ls -A --file-type out", before = Run(list).out;
  for (const std::string name : {"pipe.tif", "link.tif", "stdout.tif", "null.tif", "socket.tif", "b.tif --sidecar"}) {
    ExpectFault("a.tif --overwrite -o out/" + name, " is a pipe, a device or a socket, which no file replaces");
    EXPECT_EQ(Run(list).out, before) << name;
  }
  ExpectFault("tables a.tif --overwrite -o out/pipe.tif", " is a pipe, a device or a socket");
  // A link is a name: it is replaced, and not the file to which it leads.
  ASSERT_EQ(Run("cp a.tif behind.tif && ln -s ../behind.tif out/c.tif").status, 0);
  ExpectDone("a.tif -o out/c.tif --overwrite -b 40");
  EXPECT_FALSE(fs::is_symlink(m_folder / "out/c.tif"));
  EXPECT_EQ(Read("behind.tif"), Read("a.tif"));
}

} // namespace
