// What zep3 promises when the world breaks under it: it is killed, there is no room, files vanish and change, there are
// very many of them.
#include <sys/resource.h>

#include "files/output.h"
#include "program.h"

namespace {

class Robustness : public Program {
 protected:
  // In a session of its own, of which `how` may kill all; when it returns, none of its processes is left.
  Outcome InSession(const std::string& before, const std::string& arguments) const {
    return Run("all=$(setsid " + before + ZEP3_PHOTO " " + arguments + ")");
  }
};

// ---- killed ----

// Before each call that writes a file or names it: under every name is what was there or the whole result, and no scan
// is lost. The same command again ends as if nothing had been, and nothing lies about.
TEST_F(Robustness, KilledBetweenAnyTwoCalls) {
  Save(Noise(60, 40, 1), "in/a.tif");
  const Files scans = AllFiles();
  const struct {
    const char *arguments, *before = "";
  } stories[] = {{"in/a.tif -o out/ --sidecar"},
                 {"in/a.tif -o out/ --sidecar --overwrite -b 40", "in/a.tif -o out/ --sidecar"},
                 {"in/a.tif --in-place --sidecar"},
                 {"in/a.tif --in-place --sidecar --overwrite -b 40", "in/a.tif --in-place --sidecar"}};
  for (const auto& story : stories) {
    PutBack(scans);
    if (*story.before != 0) ExpectDone(story.before);
    const Files before = AllFiles();
    ExpectDone(story.arguments);
    const Files whole = AllFiles();
    int number = 0;
    for (int status = 137; status == 137 && !HasFailure();) {
      SCOPED_TRACE(testing::Message() << story.arguments << ", before call " << ++number);
      PutBack(before);
      const std::string calls = "pwrite rename renameat2 link unlink chmod fsync";
      status = InSession(Broken(calls, number, "run kill -9 0"), story.arguments).status;
      const Files now = AllFiles();
      const auto holds = [](const Files& files, const std::string& name, const std::string& content) {
        return files.contains(name) && files.at(name) == content;
      };
      for (const auto& [name, content] : now) {
        const bool pending = fs::path(name).filename().string().starts_with('.');
        EXPECT_TRUE(pending || holds(before, name, content) || holds(whole, name, content)) << name;
      }
      for (const auto& [name, content] : scans) {
        EXPECT_TRUE(holds(now, name, content) || holds(now, OriginalOf(name), content)) << name << " is lost";
      }
      ExpectDone(story.arguments);
      ExpectFiles(whole);
    }
    EXPECT_GE(number, 8) << story.arguments;
  }
}

// Where a file has but one name, the scan's is free for a moment.
TEST_F(Robustness, KilledWhileTheScanHadNoName) {
  Save(Noise(60, 40, 1), "in/a.tif");
  const Files scans = AllFiles();
  for (const std::string arguments : {"in/a.tif --in-place", "-r in --in-place"}) {
    PutBack(scans);
    ExpectDone(arguments);
    const Files whole = AllFiles();
    PutBack({{"in/a_original.tif", scans.at("in/a.tif")}});
    ExpectDone(arguments);
    ExpectFiles(whole);
  }
}

// Signals to the program and to its worker while a result is written.
TEST_F(Robustness, AnInterruptedRunLeavesNothingHalf) {
  Save(Noise(2000, 1500, 1), "in/a.png");
  Save(Noise(20, 10, 2), "in/b.png");
  const Files scans = AllFiles();
  const std::string program = " $(cut -d\" \" -f4 /proc/$PPID/stat)", worker = " $PPID"; // of the shell that runs it
  const struct {
    const char* arguments;
    std::string how;
    int status;
    const char *message, *results;
  } cases[] = {{"in/a.png -o out/a.png", "INT" + program, 130, "interrupted", ""},
               {"-j1 -r in -o out", "HUP" + program, 130, "interrupted", ""},
               {"in/a.png -o -", "TERM" + program, 130, "interrupted", ""},
               {"in/a.png -o out/a.png", "KILL" + program, 137, "", ""},
               {"-j1 -r in -o out", "KILL" + program, 137, "", ""},
               {"-j2 -r in -o out", "KILL" + worker, 1, "in/a.png: its worker process died (Killed)", "out/b.png "}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.arguments + (", " + c.how));
    PutBack(scans);
    fs::create_directory(m_folder / "tmp");
    const std::string where = c.arguments == std::string("in/a.png -o -") ? "/.result" : "out/.a.png";
    const Outcome run =
        InSession("env TMPDIR=tmp " + Broken("pwrite", 1, "run kill -" + c.how, "BREAK_IN=" + where), c.arguments);
    EXPECT_EQ(run.status, c.status) << run.err;
    EXPECT_IN(c.message, run.err);
    EXPECT_EQ(Names(AllFiles()), Names(scans) + c.results);
  }
}

// What a killed process leaves goes with the next run into the folder; what others may be writing stays.
TEST_F(Robustness, LeavingsOfOthersStay) {
  Save(Noise(20, 10, 1), "in/b.png");
  const std::string mark = OwnMark(); // zep3-MACHINE-PROCESS-: of this process, which lives
  const std::string dead = mark.substr(0, 14) + "2147483632-";
  Files all = {{"in/b.png", Read("in/b.png")}};
  const std::string others[] = {".a.png." + mark + "0", ".a.png.zep3-00000000-2147483632-0",
                                "notes on ." + dead + "0.txt", ".a.png." + dead + "0.files/own.txt"};
  for (const std::string& name : others) all["out/" + name] = "";
  PutBack(all);
  File("out/.a.png." + dead + "0", "");
  EXPECT_EQ(Zep3("-r out -o elsewhere").err, "zep3: 0 corrected, 0 failed\n"); // nor are they scans
  ExpectDone("in/b.png -o out/b.png");
  all["out/b.png"] = Read("out/b.png");
  ExpectFiles(all);
}

// ---- no room ----

// A limit of the system's; breaking_calls_test.cpp has each call that fails.
TEST_F(Robustness, FilesThatMayNotGrow) {
  Save(Noise(300, 200, 1), "a.tif");
  Save(Noise(300, 200, 1), "a.png");
  Save(Noise(3, 2, 1), "small.png");
  const Files scans = AllFiles();
  const struct {
    std::string scan, options, limiting;
  } cases[] = {{"a.tif", "", ""},
               {"a.png", "", ""},
               {"small.png", " --sidecar", ".zep3.json"},
               {"small.png", " --sidecar --report", ".zep3.html"}};
  for (const auto& c : cases) {
    const std::string command = c.scan + " -o out/" + c.scan + c.options;
    ExpectDone(command);
    // In place the command in a report and the path in a sidecar are shorter.
    const size_t size = Read("out/" + c.scan + c.limiting).size() * 9 / 10;
    const std::string limit = "prlimit --fsize=" + std::to_string(size) + " ";
    PutBack(scans);
    for (const std::string& arguments : {command, "--in-place " + c.scan + c.options}) {
      ExpectFault(arguments, "zep3: " + c.scan + ": ", 1, limit);
      ExpectFault(arguments, ", File too large", 1, limit);
      EXPECT_EQ(Read(".err").find(".zep3-"), std::string::npos) << Read(".err"); // names that the user knows
      ExpectFiles(scans);
    }
  }
  const std::string limit = "prlimit --fsize=1000 ";
  ExpectFault("- -o e.tif < a.tif", "cannot write what standard input holds into", 1, limit);
  EXPECT_IN("/result: cannot be written, File too large", Zep3("a.tif -o - | cat > e.tif", limit).err);
  ExpectFault("a.tif -o -", "(TMPDIR) cannot be used: No such file", 1, "TMPDIR=/nowhere ");
  EXPECT_EQ(Read("e.tif"), "");
}

// ---- files that change ----

// While its result is written a scan is cut, replaced, removed; or the result's folder goes.
TEST_F(Robustness, WhatChangesUnderARun) {
  Save(Noise(60, 40, 1), "small.tif");
  File("zeros", "P6\n6000 5000\n255\n"); // more than is held in memory between the two passes
  ASSERT_EQ(Run("truncate -s 90000017 zeros && vips black plain.tif 3000 1500 --bands 3").status, 0);
  const struct {
    const char *arguments, *happens, *message, *results;
  } cases[] = {
      {"in/large.ppm -o out/large.ppm", "truncate -s 1000000 in/large.ppm", "died (Bus error)",
       "in/large.ppm in/small.tif"},
      {"-j1 -r in -o out", "truncate -s 1000000 in/large.ppm", "1 to look at, 1 failed",
       "in/large.ppm in/small.tif out/small.tif"},
      {"-j1 -r in -o out", "rm in/small.tif", "in/small.tif: No such file or directory", "in/large.ppm out/large.ppm"},
      {"in/plain.tif -o out/plain.tif", "truncate -s 1000000 in/plain.tif", "in/plain.tif: ends before line",
       "in/plain.tif in/small.tif"},
      {"in/plain.tif -o out/plain.tif", "mv in/small.tif in/plain.tif", "was changed while it was read",
       "in/plain.tif"},
      {"--in-place in/plain.tif", "mv in/small.tif in/plain.tif", "was changed while it was read", "in/plain.tif"},
      {"in/plain.tif -o out/plain.tif", "rm -r out", "No such file or directory", "in/plain.tif in/small.tif"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.happens);
    const bool plain = std::string(c.arguments).find("plain") != std::string::npos;
    ASSERT_EQ(Run("rm -rf in out && mkdir in && cp small.tif in && cp --sparse=always " +
                  std::string(plain ? "plain.tif in" : "zeros in/large.ppm"))
                  .status,
              0);
    const std::string where = std::string(c.arguments).starts_with("--in-place") ? "in/" : "out/";
    ExpectFault(c.arguments, c.message, 1,
                Broken("pwrite", 1, "run " + std::string(c.happens), "BREAK_IN=" + m_folder.string() + "/" + where));
    EXPECT_EQ(Run("find in out -name .zep3-run -prune -o -type f -print 2>/dev/null | sort | xargs").out,
              c.results + std::string("\n"));
  }
  // What comes under the scan's name while its kept original is corrected again has no second name: also at the last
  // moment, when the result is put on the disk.
  for (const char* call : {"pwrite", "fsync"}) {
    fs::remove(m_folder / "in/a_original.tif");
    Save(Noise(60, 40, 2), "in/a.tif");
    ExpectDone("--in-place in/a.tif");
    ExpectFault(
        "--in-place --overwrite -b 40 in/a.tif", "in/a.tif: was changed while it was read", 1,
        Broken(call, 1, "run cp in/a_original.tif kept; cp small.tif new; mv new in/a.tif", "BREAK_IN=in/.a.tif"));
    EXPECT_EQ(Run("cmp kept in/a_original.tif; cmp small.tif in/a.tif").out, "");
  }
}

// ---- many ----

// Neither run fails; each scan is corrected once, or what one has replaced the other leaves alone.
TEST_F(Robustness, TwoRunsIntoOneFolder) {
  for (int i = 0; i < 20; i++) Save(Noise(120, 80, static_cast<unsigned>(i) + 1), "in/" + std::to_string(i) + ".png");
  ASSERT_EQ(Run("cp -r in alone-in && cp -r in both-in").status, 0);
  for (const std::string how : {"-r in --sidecar -o ", "-r --in-place "}) {
    const std::string place = how == "-r --in-place " ? "-in" : "";
    ExpectDone(how + "alone" + place);
    const std::string both = ZEP3_PHOTO " " + how + "both" + place;
    const Outcome run = Run("(" + both + " 2>first & p=$!; " + both + "; s=$?; wait $p && exit $s)");
    EXPECT_EQ(run.status, 0) << run.err << Read("first");
    EXPECT_EQ(Run("diff -r -x .zep3-run alone" + place + " both" + place).out, "");
    const auto done = [](const std::string& told) { // noise is something to look at
      const size_t summary = told.rfind("zep3: ");
      int corrected = 0, toLookAt = 0;
      EXPECT_GE(std::sscanf(&told[summary], "zep3: %d corrected, %d", &corrected, &toLookAt), 1) << told;
      if (told.find(" to look at", summary) == std::string::npos) toLookAt = 0; // of those skipped
      return corrected + toLookAt;
    };
    const int one = done(run.err), other = done(Read("first"));
    if (place.empty()) EXPECT_EQ(one + other, 20);
  }
}

// Open files are few, and memory does not grow with what is behind.
TEST_F(Robustness, VeryManyScans) {
  Save(Noise(8, 6, 1), "one.ppm");
  long most[2]; // KiB, of parent and workers
  for (const int count : {50, 1000}) {
    const std::string in = "in" + std::to_string(count);
    fs::create_directory(m_folder / in);
    for (int i = 0; i < count; i++) {
      fs::create_hard_link(m_folder / "one.ppm", m_folder / in / (std::to_string(i) + ".ppm"));
    }
    const Outcome run = Zep3("-j2 --no-sync -r " + in + " -o out" + in, "prlimit --nofile=40 ");
    EXPECT_TRUE(run.err.ends_with("zep3: 0 corrected, " + std::to_string(count) + " to look at, 0 failed\n"));
    rusage usage = {};
    ::getrusage(RUSAGE_CHILDREN, &usage);
    most[count == 1000] = usage.ru_maxrss;
  }
#ifndef ZEP3_SANITIZED                      // keeps what is freed
  EXPECT_LT(most[1] - most[0], 2048 + 950); // the heap's own steps, and 1 KiB a scan: its names
#endif
}

} // namespace
