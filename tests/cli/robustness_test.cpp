// What zep3 promises when the world breaks under it: it is killed, the disk is full, files vanish and change, there are
// very many of them.
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <functional>
#include <random>
#include <thread>

#include "robustness.h"

namespace {

using vips::VImage;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

int FromEnvironment(const char* name, int otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : std::atoi(text);
}

// A program in a session of its own, with all that it starts.
class Session {
 public:
  Session(const fs::path& folder, const std::string& command) {
    int alive[2];
    EXPECT_EQ(::pipe2(alive, O_CLOEXEC), 0);
    m_alive = alive[0];
    const std::string line = "exec " + command + " >.out 2>.err";
    m_pid = ::fork();
    if (m_pid == 0) {
      ::dup(alive[1]); // closed when the last of the session has ended
      ::setsid();
      if (::chdir(folder.c_str()) != 0) ::_exit(126);
      ::execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
      ::_exit(127);
    }
    ::close(alive[1]);
  }
  ~Session() {
    ::kill(-m_pid, SIGKILL);
    ::close(m_alive);
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  pid_t Pid() const { return m_pid; }

  bool IsRunning() const {
    siginfo_t info = {};
    return ::waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == 0;
  }

  // Until the condition holds; false when the program ends before.
  bool WaitFor(const std::function<bool()>& condition) const {
    while (!condition()) {
      if (!IsRunning()) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
  }

  // The exit status, 128 and the signal's number where one killed it.
  int End() {
    int status = 0;
    ::wait4(m_pid, &status, 0, &m_usage);
    pollfd end = {m_alive, 0, 0};
    EXPECT_EQ(::poll(&end, 1, 120000), 1) << "processes outlive their parent";
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  }

  const rusage& Usage() const { return m_usage; } // of it and its children, after the end

 private:
  pid_t m_pid = -1;
  int m_alive = -1;
  rusage m_usage = {};
};

// ---- killed ----

struct Story {
  const char* what;
  std::string before;    // a run that leads there, if any
  std::string arguments; // the run that is killed
};

class Killed : public Robustness {
 protected:
  // Where a story begins, and how it ends undisturbed. `in` holds the scans.
  void Tell(const Story& story, const Files& scans) {
    m_scans = scans;
    PutBack(scans);
    if (!story.before.empty()) ASSERT_EQ(Zep3(story.before).status, 0);
    m_before = AllFiles();
    const auto begin = Clock::now();
    const Outcome run = Zep3(story.arguments);
    m_time = Clock::now() - begin;
    ASSERT_EQ(run.status, 0) << run.err;
    m_whole = AllFiles();
    ASSERT_NE(Names(m_whole), "");
    ASSERT_NE(m_whole, m_before);
    PutBack(m_before);
  }

  // Under every name is what was there or what is to be there, and no scan is lost.
  void ExpectNothingHalf() const {
    const Files now = AllFiles();
    for (const auto& [name, content] : now) {
      if (fs::path(name).filename().string().starts_with('.')) continue;
      const auto is = [&, &name = name, &content = content](const Files& files) {
        const auto found = files.find(name);
        return found != files.end() && found->second == content;
      };
      EXPECT_TRUE(is(m_before) || is(m_whole)) << name << ", " << content.size() << " bytes";
    }
    for (const auto& [name, content] : m_scans) {
      const auto holds = [&, &content = content](const std::string& at) {
        return now.contains(at) && now.at(at) == content;
      };
      EXPECT_TRUE(holds(name) || holds(name + "_original")) << name << " is lost: " << Names(now);
    }
  }

  // The same command again ends as if nothing had been, and nothing lies about.
  void ExpectToGoOn(const Story& story) const {
    const Outcome again = Zep3(story.arguments);
    EXPECT_EQ(again.status, 0) << again.err;
    const Files now = AllFiles();
    EXPECT_EQ(Names(now), Names(m_whole));
    for (const auto& [name, content] : m_whole) EXPECT_TRUE(now.contains(name) && now.at(name) == content) << name;
  }

  Files m_scans, m_before, m_whole;
  Clock::duration m_time{};
};

// The parent, a worker or all of them at random moments of a run. ZEP3_TEST_KILLS: how many of each run.
TEST_F(Killed, AtAnyMoment) {
  Save(Noise(1200, 800, 1), "in/plain.tif");
  Save(Noise(700, 500, 2), "in/deflated.tif[compression=deflate]");
  Save(Noise(500, 350, 3), "in/a.png");
  Save(Noise(800, 600, 4), "in/a.jpg");
  ASSERT_EQ(Run("cd in && tiffcp plain.tif deflated.tif plain.tif pages.tif").status, 0);
  const Files scans = AllFiles();
  const Story stories[] = {
      {"one plain TIFF", "", "in/plain.tif -o out/ --sidecar --report"},
      {"many pages", "", "in/pages.tif -o out/"},
      {"PNG over a former result", "in/a.png -o out/a.png -b 40", "in/a.png -o out/a.png --overwrite"},
      {"a folder", "", "-r in -o out -j2 --sidecar"},
      {"a folder in place", "", "-r in --in-place -j2 --sidecar"},
      {"a folder in place again", "-r in --in-place", "-r in --in-place --overwrite -j2 -b 40"},
  };
  const int rounds = FromEnvironment("ZEP3_TEST_KILLS", 6);
  std::mt19937 random(20);
  int before = 0;
  int late = 0;
  int writing = 0;
  for (const Story& story : stories) {
    SCOPED_TRACE(story.what);
    ASSERT_NO_FATAL_FAILURE(Tell(story, scans));
    for (int round = 0, tries = 0; round < rounds && tries < 10 * rounds; tries++) {
      const char* const whom[] = {"the group", "the parent", "a worker"};
      const auto delay = m_time * (200 + random() % 800) / 1000; // the first fifth is spent on starting
      SCOPED_TRACE(std::string(whom[round % 3]) + " after " +
                   std::to_string(std::chrono::duration_cast<std::chrono::microseconds>(delay).count()) + " us");
      PutBack(m_before);
      // The sanitizer's search for leaks has a process of its own, which must not be taken for a worker.
      Session session(m_folder, "env ASAN_OPTIONS=detect_leaks=0 " ZEP3_PROGRAM " " + story.arguments);
      std::this_thread::sleep_for(delay);
      const bool hit = session.IsRunning();
      writing += hit && Pending() > 0;
      if (round % 3 == 0) ::kill(-session.Pid(), SIGKILL);
      if (round % 3 == 1) ::kill(session.Pid(), SIGKILL);
      if (round % 3 == 2) Run("pkill -KILL -n -P " + std::to_string(session.Pid()));
      session.End();
      // Who is left puts things away.
      if (round % 3 != 0) EXPECT_EQ(Pending(), 0);
      ExpectNothingHalf();
      ExpectToGoOn(story);
      if (HasFailure()) return;
      // How long a run takes depends on what else the machine does at the time.
      m_time = hit ? m_time * 21 / 20 : m_time * 3 / 4;
      round += hit;
      before += hit;
      late += !hit;
    }
  }
  std::printf("%d kills before the end, %d of them while a result was written; %d too late\n", before, writing, late);
  // Else the moments were no test.
  EXPECT_EQ(before, rounds * static_cast<int>(std::size(stories)));
  EXPECT_GE(writing, 1);
}

// Before each call that gives a file its name.
TEST_F(Killed, BetweenAnyTwoNames) {
  Save(Noise(60, 40, 1), "in/a.tif");
  ASSERT_EQ(Run("cd in && tiffcp a.tif a.tif pages.tif").status, 0);
  const Files scans = AllFiles();
  const Story stories[] = {
      {"new", "", "in/a.tif -o out/ --sidecar"},
      {"pages", "", "in/pages.tif -o out/ --sidecar"},
      {"in place", "", "in/a.tif --in-place --sidecar"},
      {"in place again", "in/a.tif --in-place --sidecar", "in/a.tif --in-place --sidecar --overwrite -b 40"},
  };
  for (const Story& story : stories) {
    ASSERT_NO_FATAL_FAILURE(Tell(story, scans));
    int number = 0;
    for (int status = 137; status == 137 && !HasFailure();) {
      SCOPED_TRACE(testing::Message() << story.what << ", before call " << ++number);
      PutBack(m_before);
      Session session(m_folder, Broken("rename renameat2 link unlink chmod fsync", number, "kill") + ZEP3_PROGRAM +
                                    " " + story.arguments);
      status = session.End();
      ExpectNothingHalf();
      ExpectToGoOn(story);
    }
    EXPECT_GE(number, 4) << story.what; // the file and its sidecar, once alive and once named
  }
}

// Where a file has but one name, the scan's is free for a moment.
TEST_F(Killed, WhileTheScanHadNoName) {
  Save(Noise(60, 40, 1), "in/a.tif");
  const Files scans = AllFiles();
  for (const std::string arguments : {"in/a.tif --in-place", "-r in --in-place"}) {
    ASSERT_NO_FATAL_FAILURE(Tell({"", "", arguments}, scans));
    fs::rename(m_folder / "in/a.tif", m_folder / "in/a.tif_original");
    ExpectToGoOn({"", "", arguments});
  }
}

// Without a parent nobody waits for the result: a worker gives it up and puts it away.
TEST_F(Killed, WorkersEndWithTheirParent) {
  Save(Noise(2500, 2000, 1), "in/a.png");
  Save(Noise(2500, 2000, 1), "in/b.png");
  for (const char* arguments : {" in/a.png -o out/a.png", " -j2 -r in -o out"}) {
    Session session(m_folder, std::string(ZEP3_PROGRAM) + arguments);
    ASSERT_TRUE(session.WaitFor([&] { return Pending() > 0; }));
    ::kill(session.Pid(), SIGKILL);
    session.End();
    EXPECT_EQ(Names(AllFiles()), "in/a.png in/b.png ");
  }
}

// What a killed process leaves goes with the next run into the folder; what others may be writing stays.
TEST_F(Killed, LeavingsOfOthersStay) {
  Save(Noise(2000, 1500, 1), "in/a.png");
  Save(Noise(20, 10, 1), "in/b.png");
  Session other(m_folder, ZEP3_PROGRAM " in/a.png -o out/a.png");
  ASSERT_TRUE(other.WaitFor([&] { return Pending() == 1; }));
  ::kill(-other.Pid(), SIGSTOP);
  // The same file, as a process would have left it whose number is higher than any; and of another machine.
  const std::string names = Names(AllFiles());
  const size_t name = names.find("out/.");
  const size_t machine = names.find(".zep3-", name) + 6; // eight digits
  const std::string dead = names.substr(name, machine + 9 - name) + "2147483632-0.png";
  const std::string foreign = names.substr(name, machine - name) + "00000000-2147483632-0.png";
  File(dead, "");
  File(foreign, "");
  // What users may call theirs.
  const std::string own = "notes on " + dead.substr(machine - 5 - name, 14) + "2147483632-0.txt";
  const std::string folder = dead.substr(4) + ".files";
  File("out/" + own, "");
  fs::create_directory(m_folder / "out" / folder);
  File("out/" + folder + "/own.txt", "");
  ASSERT_EQ(Zep3("-r out -o elsewhere").err, "zep3: 0 corrected, 0 failed\n"); // nor are they scans
  ASSERT_EQ(Zep3("in/b.png -o out/b.png").status, 0);
  EXPECT_TRUE(Exists(foreign));
  EXPECT_FALSE(Exists(dead));
  EXPECT_TRUE(Exists("out/" + own));
  EXPECT_TRUE(Exists("out/" + folder + "/own.txt"));
  ::kill(-other.Pid(), SIGCONT);
  EXPECT_EQ(other.End(), 0);
  EXPECT_TRUE(Exists("out/a.png"));
}

// ---- no room ----

// Every file that is written, and how much of it: the program says so, leaves nothing, and can be run again.
TEST_F(Robustness, FilesThatMayNotGrow) {
  Save(Noise(300, 200, 1), "a.tif");
  Save(Noise(300, 200, 1), "deflated.tif[compression=deflate]");
  for (const char* name : {"a.png", "a.jpg", "a.webp", "a.ppm"}) Save(Noise(300, 200, 1), name);
  Save(Noise(3, 2, 1), "small.png");
  ASSERT_EQ(Run("tiffcp a.tif deflated.tif pages.tif").status, 0);
  const Files scans = AllFiles();
  const struct {
    std::string scan, options, limiting;
  } cases[] = {{"a.tif", "", ""},
               {"deflated.tif", "", ""},
               {"pages.tif", "", ""},
               {"a.png", "", ""},
               {"a.jpg", "", ""},
               {"a.webp", "", ""},
               {"a.ppm", "", ""},
               {"small.png", "--sidecar", ".zep3.json"},
               {"small.png", "--sidecar --report", ".zep3.html"}};
  for (const auto& c : cases) {
    const std::string command = c.scan + " -o out/" + c.scan + " " + c.options;
    PutBack(scans);
    ASSERT_EQ(Zep3(command).status, 0);
    const size_t size = Read("out/" + c.scan + c.limiting).size();
    for (const size_t limit : {size / 2, size - 1}) {
      for (const bool inPlace : {false, true}) {
        SCOPED_TRACE(c.scan + " " + c.options + (inPlace ? " in place" : "") + " at " + std::to_string(limit) + " of " +
                     std::to_string(size));
        PutBack(scans);
        const Outcome run = Zep3(inPlace ? "--in-place " + c.scan + " " + c.options : command,
                                 "prlimit --fsize=" + std::to_string(limit) + " ");
        EXPECT_EQ(run.status, 1);
        EXPECT_TRUE(run.err.starts_with("zep3: " + c.scan + ": ")) << run.err;
        if (c.options.find("report") == std::string::npos) // gnuplot may be the first to meet the limit
          EXPECT_NE(run.err.find("File too large"), std::string::npos) << run.err;
        EXPECT_EQ(run.err.find(".zep3-"), std::string::npos) << run.err; // names that the user knows
        EXPECT_EQ(AllFiles(), scans) << Names(AllFiles());
      }
    }
    EXPECT_EQ(Zep3(command).status, 0);
  }
  EXPECT_TRUE(Zep3("a.tif -o here.tif", "prlimit --fsize=1000 ").err.starts_with("zep3: a.tif: here.tif: cannot be"));
}

TEST_F(Robustness, StandardOutputThatTakesNothing) {
  Save(Noise(60, 40, 1), "a.tif");
  Save(Noise(60, 40, 1), "b.tif");
  for (const char* command : {"a.tif -o -", "analyse a.tif", "tables a.tif", "a.tif b.tif -o out -n",
                              "a.tif b.tif -o out --json", "--help", "--version"}) {
    const Outcome run = Zep3(std::string(command) + " >/dev/full");
    EXPECT_EQ(run.status, 1) << command;
    EXPECT_NE(run.err.find("cannot write to standard output"), std::string::npos) << command << "\n" << run.err;
  }
  // Nobody reads for a while: nothing is lost.
  ASSERT_EQ(Zep3("a.tif -o c.tif").status, 0);
  ASSERT_EQ(Run(ZEP3_PROGRAM " a.tif -o - | (sleep 0.3; cat > piped.tif)").status, 0);
  EXPECT_EQ(Read("piped.tif"), Read("c.tif"));
}

// A file system of 64 KiB in which there is room for the small scan alone.
TEST_F(Robustness, AFullDisk) {
  const std::string space = ::geteuid() == 0 ? "unshare -m" : "unshare -rm";
  if (Run("mkdir full && " + space + " mount -t tmpfs none full").status != 0) {
    GTEST_SKIP() << "no file system can be mounted here";
  }
  Save(Noise(300, 200, 1), "a.tif");
  Save(Noise(300, 200, 2), "b.png");
  Save(Noise(10, 10, 3), "c.tif");
  Save(Noise(10, 10, 4), "d.png");
  File("script", "mount -t tmpfs -o size=64k none full; zep3=" ZEP3_PROGRAM
                 "\n"
                 "$zep3 -j1 a.tif b.png c.tif d.png -o full; echo status $?; ls -A full\n"
                 "TMPDIR=full $zep3 - -o e.tif < a.tif; echo spooled $?\n"
                 "TMPDIR=full $zep3 a.tif -o - > e.tif; echo piped $?; ls -A full; wc -c < e.tif\n"
                 "cp c.tif d.png full; head -c 70000 /dev/zero > full/filler 2> /dev/null\n"
                 "$zep3 --in-place full/c.tif; echo in place $?; cmp full/c.tif c.tif\n"
                 "rm full/filler; $zep3 --overwrite --sidecar c.tif -o full/c.tif; echo later $?; ls -A full\n");
  const Outcome run = Run(space + " sh script");
  EXPECT_EQ(run.out,
            "status 1\nc.tif\nd.png\n"
            "spooled 1\n"
            "piped 1\nc.tif\nd.png\n0\n"
            "in place 1\n"
            "later 0\nc.tif\nc.tif.zep3.json\nd.png\n");
  const char* const messages[] = {"zep3: a.tif: full/a.tif: cannot be written, No space left on device",
                                  "zep3: b.png: full/b.png: cannot be written, No space left on device",
                                  "zep3: 2 corrected, 2 failed",
                                  "cannot write what standard input holds into full: No space left on device",
                                  "/result: cannot be written, No space left on device",
                                  "zep3: full/c.tif: "};
  for (const char* message : messages)
    EXPECT_NE(run.err.find(message), std::string::npos) << message << "\n" << run.err;
  EXPECT_NE(Zep3("c.tif -o -", "TMPDIR=/nowhere ").err.find("(TMPDIR) cannot be used: No such file"),
            std::string::npos);
}

// ---- files that cannot be read, and files that change ----

TEST_F(Robustness, WhatIsNoFileIsRefusedAtOnce) {
  Save(Noise(60, 40, 1), "a.tif");
  const bool root = ::geteuid() == 0; // reads everything
  const std::string user = root ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : "";
  fs::permissions(m_folder, fs::perms(0777));
  ASSERT_EQ(Run("mkfifo fifo.tif && ln -s nowhere dangling.tif && cp a.tif secret.tif && chmod 0 secret.tif && "
                "mkdir -p folder.tif closed taken/a.tif && chmod 555 closed")
                .status,
            0);
  const bool asUser = Run(user + ZEP3_PROGRAM " --version && " + user + "cat a.tif").status == 0;
  const struct {
    const char *arguments, *message;
    bool needsUser;
  } cases[] = {{"fifo.tif -o out.tif", "fifo.tif: is no regular file", false},
               {"/dev/zero -o out.tif", "/dev/zero: is no regular file", false},
               {"dangling.tif -o out.tif", "dangling.tif: No such file", false},
               {"folder.tif -o out.tif", "folder.tif: is a folder", false},
               {"--in-place folder.tif", "folder.tif: is a folder; -r takes the scans in it", false},
               {"a.tif -o taken/", "taken/a.tif is a folder", false},
               {"a.tif -o taken/ --overwrite --sidecar", "taken/a.tif is a folder", false},
               {"secret.tif -o out.tif", "secret.tif: Permission denied", true},
               {"a.tif -o closed/b.tif", "closed/b.tif", true},
               {"a.tif -o closed/deeper/b.tif", "closed/deeper: Permission denied", true}};
  const std::string before = Names(AllFiles());
  for (const auto& c : cases) {
    if (c.needsUser && !asUser) continue;
    const Outcome run = Run("timeout 20 " + (c.needsUser ? user : "") + ZEP3_PROGRAM " " + c.arguments);
    EXPECT_EQ(run.status, 1) << c.arguments;
    EXPECT_NE(run.err.find(c.message), std::string::npos) << c.arguments << "\n" << run.err;
    EXPECT_EQ(Names(AllFiles()), before) << c.arguments;
  }
}

// While its result is written a scan is cut, replaced, removed; or the result's folder goes.
TEST_F(Robustness, WhatChangesUnderARun) {
  // More than is held in memory between the two passes; pages of zeros that the disk need not hold.
  const int width = 6000;
  const int height = 5000;
  Save(Noise(60, 40, 1), "small.tif");
  const auto make = [&] {
    File("in/large.ppm", "P6\n" + std::to_string(width) + " " + std::to_string(height) + "\n255\n");
    fs::resize_file(m_folder / "in/large.ppm", 17 + uintmax_t{3} * width * height);
    fs::copy_file(m_folder / "small.tif", m_folder / "in/small.tif", fs::copy_options::overwrite_existing);
  };
  fs::create_directory(m_folder / "in");
  make();
  ASSERT_EQ(Run("vips copy in/large.ppm plain.tif").status, 0);
  const auto cut = [&](const char* name) { fs::resize_file(m_folder / name, 1000000); };
  const struct {
    const char* what;
    std::string arguments;
    std::function<void()> happen;
    const char* message;
  } cases[] = {
      {"mapped, cut", "in/large.ppm -o out/large.ppm", [&] { cut("in/large.ppm"); }, "died (Bus error)"},
      {"of two, cut", "-j1 -r in -o out", [&] { cut("in/large.ppm"); }, "1 corrected, 1 failed"},
      {"of two, the other gone", "-j1 -r in -o out", [&] { fs::remove(m_folder / "in/small.tif"); },
       "in/small.tif: No such file or directory"},
      {"plain, cut", "in/plain.tif -o out/plain.tif", [&] { cut("in/plain.tif"); }, "in/plain.tif: ends before line"},
      {"plain, replaced", "in/plain.tif -o out/plain.tif",
       [&] { fs::rename(m_folder / "in/small.tif", m_folder / "in/plain.tif"); }, "was changed while it was read"},
      {"plain, replaced in place", "in/plain.tif --in-place",
       [&] { fs::rename(m_folder / "in/small.tif", m_folder / "in/plain.tif"); }, "was changed while it was read"},
      {"no folder", "in/plain.tif -o out/plain.tif", [&] { fs::remove_all(m_folder / "out"); },
       "No such file or directory"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    make();
    fs::remove_all(m_folder / "out");
    fs::remove(m_folder / "in/plain.tif");
    if (c.arguments.find("plain") != std::string::npos)
      fs::copy_file(m_folder / "plain.tif", m_folder / "in/plain.tif");
    // Nice, so that it does not finish before this process has a turn on a busy machine.
    Session session(m_folder, "env ASAN_OPTIONS=handle_sigbus=0 nice -n 19 " ZEP3_PROGRAM " " + c.arguments);
    ASSERT_TRUE(session.WaitFor([&] { return Pending() > 0; })) << Read(".err");
    c.happen();
    EXPECT_EQ(session.End(), 1);
    EXPECT_NE(Read(".err").find(c.message), std::string::npos) << Read(".err");
    EXPECT_FALSE(Exists("out/plain.tif") || Exists("in/plain.tif_original"));
    EXPECT_EQ(Pending(), 0);
    const bool large = std::string(c.what) == "of two, the other gone";
    EXPECT_EQ(Exists("out/large.ppm"), large);
  }
}

// What comes under the scan's name while its kept original is corrected again has no second name.
TEST_F(Robustness, AnotherScanComesWhileItIsCorrectedAgain) {
  Save(Noise(1500, 1000, 1), "in/a.png");
  const std::string original = Read("in/a.png");
  ASSERT_EQ(Zep3("--in-place in/a.png").status, 0);
  Save(Noise(60, 40, 1), "other.png");
  const std::string other = Read("other.png");
  Session session(m_folder, ZEP3_PROGRAM " --in-place --overwrite -b 40 in/a.png");
  ASSERT_TRUE(session.WaitFor([&] { return Pending() > 0; }));
  fs::rename(m_folder / "other.png", m_folder / "in/a.png");
  EXPECT_EQ(session.End(), 1);
  EXPECT_EQ(Read(".err"), "zep3: in/a.png: was changed while it was read\n");
  EXPECT_EQ(Read("in/a.png"), other);
  EXPECT_EQ(Read("in/a.png_original"), original);
}

// A name of a kept original that keeps none: of one that lies on a disk that is not there, or of the scan itself.
TEST_F(Robustness, LinksThatLeadToNoOriginal) {
  Save(Noise(60, 40, 1), "a.tif");
  const std::string scan = Read("a.tif");
  for (const char* link : {"elsewhere/a.tif", "a.tif"}) {
    fs::create_symlink(link, m_folder / "a.tif_original");
    for (const char* how : {"--in-place a.tif", "--in-place a.tif --overwrite -b 40"}) {
      const Outcome run = Zep3(how);
      EXPECT_EQ(run.status, 1) << link;
      EXPECT_NE(run.err.find("a.tif_original is a link that leads to no original"), std::string::npos) << run.err;
      EXPECT_EQ(Read("a.tif"), scan) << link;
    }
    fs::remove(m_folder / "a.tif_original");
  }
}

// ---- many ----

// Two runs into one folder: each scan is corrected once, and neither run fails.
TEST_F(Robustness, TwoRunsIntoOneFolder) {
  const int count = 30;
  for (int i = 0; i < count; i++) Save(Noise(120, 80, i), "in/" + std::to_string(i) + ".png");
  ASSERT_EQ(Zep3("-r in -o alone --sidecar").status, 0);
  const std::string both = "(" ZEP3_PROGRAM " -r in -o out --sidecar 2>first & p=$!; " ZEP3_PROGRAM
                           " -r in -o out --sidecar; s=$?; wait $p && exit $s)";
  const Outcome run = Run(both);
  EXPECT_EQ(run.status, 0) << run.err << Read("first");
  int corrected = 0;
  for (const std::string& summary : {run.err, Read("first")}) {
    int own = 0;
    EXPECT_EQ(std::sscanf(summary.c_str(), "zep3: %d corrected", &own), 1) << summary;
    corrected += own;
  }
  EXPECT_EQ(corrected, count);
  EXPECT_EQ(Run("diff -r alone out && ls -A out | wc -l").out, std::to_string(2 * count) + "\n");
}

// The same in place: what one has replaced the other leaves alone.
TEST_F(Robustness, TwoRunsInPlace) {
  for (int i = 0; i < 20; i++) Save(Noise(120, 80, i), "in/" + std::to_string(i) + ".png");
  ASSERT_EQ(Run("cp -r in alone && cp -r in scans && " ZEP3_PROGRAM " -r --in-place alone").status, 0);
  const Outcome run = Run("(" ZEP3_PROGRAM " -r --in-place in 2>first & p=$!; " ZEP3_PROGRAM
                          " -r --in-place in; s=$?; wait $p && exit $s)");
  EXPECT_EQ(run.status, 0) << run.err << Read("first");
  EXPECT_EQ(Run("diff -r alone in").out, "");
}

// Whenever the signal comes, and to the parent alone: nobody waits for standard input after it.
TEST_F(Robustness, InterruptedBeforeStandardInputIsRead) {
  ASSERT_EQ(::mkfifo(Path("never").c_str(), 0600), 0);
  const int writer = ::open(Path("never").c_str(), O_RDWR | O_CLOEXEC);
  for (int i = 0; i < 30; i++) {
    SCOPED_TRACE(i);
    Session session(m_folder, ZEP3_PROGRAM " - -o out.png <never");
    std::this_thread::sleep_for(std::chrono::milliseconds(10 + 4 * i));
    ::kill(session.Pid(), SIGTERM);
    const auto end = Clock::now() + std::chrono::seconds(60);
    ASSERT_FALSE(session.WaitFor([&] { return Clock::now() > end; }));
    const int status = session.End();
    EXPECT_TRUE(status == 130 || status == 128 + SIGTERM) << status; // before the program has begun
  }
  ::close(writer);
}

// Files, memory and time do not grow with what is behind. ZEP3_TEST_FILES: how many.
TEST_F(Robustness, VeryManyScans) {
  struct Cost {
    double cpu = 0;              // seconds
    long parent = 0, worker = 0; // KiB, at most
  };
  Save(Noise(8, 6, 1), "one.ppm");
  const auto run = [&](int count) {
    const std::string in = "in" + std::to_string(count);
    fs::create_directory(m_folder / in);
    for (int i = 0; i < count; i++) {
      fs::create_hard_link(m_folder / "one.ppm", m_folder / in / (std::to_string(i) + ".ppm"));
    }
    Cost cost;
    Session session(m_folder, "prlimit --nofile=40 " ZEP3_PROGRAM " -j2 -r " + in + " -o out_" + in);
    session.WaitFor([&] {
      std::ifstream status("/proc/" + std::to_string(session.Pid()) + "/status");
      for (std::string line; std::getline(status, line);) std::sscanf(line.c_str(), "VmHWM: %ld", &cost.parent);
      return false;
    });
    EXPECT_EQ(session.End(), 0);
    EXPECT_EQ(Read(".err"), "zep3: " + std::to_string(count) + " corrected, 0 failed\n");
    const rusage& usage = session.Usage();
    for (const timeval& time : {usage.ru_utime, usage.ru_stime}) {
      cost.cpu += static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
    }
    cost.worker = usage.ru_maxrss;
    std::printf("%d scans: %.2f s, parent %ld KiB, largest worker %ld KiB\n", count, cost.cpu, cost.parent,
                cost.worker);
    return cost;
  };
  const int few = 200;
  const int many = FromEnvironment("ZEP3_TEST_FILES", 1400);
  const Cost first = run(few);
  const Cost last = run(many);
#ifndef __SANITIZE_ADDRESS__ // keeps what is freed
  // The heap's own steps, and 1 KiB a scan: its names.
  EXPECT_LT(last.parent - first.parent, 2048 + many - few);
  EXPECT_LT(last.worker - first.worker, 2048 + (many - few) / 4);
#endif
  EXPECT_LT(last.cpu / many, 3 * first.cpu / few); // it would be seven times as much; other work costs caches
}

} // namespace
