// zep3 scan and the backend with the simulated scanners of SANE: pnm sends a file through the tables that it is given,
// test sends patterns from a flatbed or a feeder.
#include <gtest/gtest.h>
#include <sane/saneopts.h>
#include <tiffio.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <numeric>
#include <thread>

#include "program.h"
#include "tools/sane/device.h"

namespace {

// The test scanner hangs now and then, two of a thousand scans.
constexpr const char* kTimed = "timeout -k 1 30 ";

class Scan : public Program {
 protected:
  void SetUp() override {
    Program::SetUp();
    fs::create_directories(m_folder / "conf");
    File("conf/dll.conf", "pnm\ntest\nnet\nzep3\n");
    File("conf/saned.conf", "127.0.0.1\n");
    m_environment = "env SANE_CONFIG_DIR=" + Path("conf") + " LD_LIBRARY_PATH=" ZEP3_BACKENDS " ";
    Program::Save(Sample().resize(17), "scan.ppm"); // 1530 pixels wide: larger than a pre-scan
  }

  // What hangs all the same is tried once more, without what it has left: pages are numbered behind those there are.
  Outcome Timed(const std::string& command) const {
    constexpr int kTimeIsUp = 124, kKilled = 137;
    const Files before = AllFiles();
    const Outcome first = Run(m_environment + kTimed + command);
    if (first.status != kTimeIsUp && first.status != kKilled) return first;
    for (const auto& [name, content] : AllFiles()) {
      if (!before.contains(name)) fs::remove(m_folder / name);
    }
    return Run(m_environment + kTimed + command);
  }
  Outcome ScanBy(const std::string& arguments) const { return Timed(ZEP3_PROGRAM " scan " + arguments); }
  Outcome Scanimage(const std::string& arguments) const { return Timed("scanimage --format=pnm " + arguments); }
  std::string Pnm(const std::string& before = "") const {
    return "-d " + before + "pnm:0 --set filename=" + Path("scan.ppm") + " --set resolution=300 ";
  }

  std::string m_environment;
};

TEST_F(Scan, IsWhatTheProgramMakesOfTheFile) {
  const struct {
    const char* kind;
    const char* options;
    const char* how; // told with -v
  } cases[] = {
      {"photo", "", "finished by the scanner"},
      {"negative", "-b 20 -c -5", "finished by the scanner"},
      {"photo", "--in-software", "--in-software"},
      {"faded-slide", "", "colours are made stronger or weaker"},
      {"document", "", "evened by its place"},
      {"photo", "--sidecar", "sidecars"},
      {"photo", "--set three-pass=yes", "finished by the scanner"},
      {"photo", "--set three-pass=yes --set hand-scanner=yes --in-software", "--in-software"},
      {"photo", "--set grayify=yes", "no colours"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(std::string(each.kind) + " " + each.options);
    const std::string asked = std::string("-k ") + each.kind + " " + each.options;
    const Outcome run = ScanBy(Pnm() + asked + " -o scanned.tif --overwrite -v");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_IN(each.how, run.err);
    const bool gray = asked.find("grayify") != std::string::npos;
    if (gray) ASSERT_EQ(Scanimage("-d pnm:0 --filename scan.ppm --grayify=yes >gray.pgm").status, 0);
    const size_t words = asked.find(" -b");
    const std::string same = words == std::string::npos ? std::string("-k ") + each.kind : asked;
    ExpectDone(same + " --overwrite -q " + (gray ? "gray.pgm" : "scan.ppm") + " -o filed.tif");
    EXPECT_EQ(Difference(Load("scanned.tif"), Load("filed.tif")), 0);
  }
}

TEST_F(Scan, TellsDeviceAndResolution) {
  ASSERT_EQ(ScanBy("-d test:0 --mode Color --depth 16 --resolution 150 -l 10 -t 5 -x 127 -y 127 --raw raw "
                   "--set test-picture=Grid -k photo -o scanned.tif -q")
                .status,
            0);
  for (const char* name : {"scanned.tif", "raw/scanned.tif"}) {
    const VImage image = Load(name);
    EXPECT_EQ(image.width(), 750) << name; // 127 mm are 5 inches
    EXPECT_EQ(image.height(), 750) << name;
    EXPECT_EQ(image.format(), VIPS_FORMAT_USHORT) << name;
    EXPECT_NEAR(image.xres() * 25.4, 150, 0.01) << name;
    const std::unique_ptr<TIFF, decltype(&TIFFClose)> tiff(TIFFOpen(Path(name).c_str(), "r"), TIFFClose);
    const char* model = "";
    TIFFGetField(tiff.get(), TIFFTAG_MODEL, &model);
    EXPECT_STREQ(model, "test:0") << name;
  }
}

TEST_F(Scan, TablesThatDoNothingAreFoundOut) {
  // The test scanner takes tables and leaves its picture as it is. The balance is one that nobody can overlook.
  const Outcome run = ScanBy(
      "-d test:0 --mode Color --depth 8 --resolution 100 --set 'test-picture=Color pattern' -k photo --balance "
      "300,0,-300 -b 200 -o scanned.tif -v");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_IN("its tables do something else", run.err);
}

TEST_F(Scan, FeederIsScannedUntilItIsEmpty) {
  const std::string feeder = "-d test:0 --source auto --mode Gray --resolution 20 -k photo -o pages/ ";
  const Outcome first = ScanBy(feeder);
  EXPECT_EQ(first.status, 0) << first.err;
  EXPECT_IN("10 pages scanned", first.err);
  EXPECT_TRUE(Exists("pages/001.tif") && Exists("pages/010.tif") && !Exists("pages/011.tif"));
  fs::remove(m_folder / "pages/004.tif");
  const Outcome second = ScanBy(feeder + "--pages 2"); // behind what there is, not in its gaps
  EXPECT_IN("2 pages scanned", second.err);
  EXPECT_TRUE(Exists("pages/012.tif") && !Exists("pages/013.tif") && !Exists("pages/004.tif"));
  const Outcome named = ScanBy("-d test:0 --source auto --mode Gray --resolution 20 -k photo -o 'p%d.png' --pages 1");
  EXPECT_TRUE(Exists("p1.png")) << named.err;
}

TEST_F(Scan, AsksForOneOriginalAfterTheOther) {
  const struct {
    const char* answers;
    int pages;
  } cases[] = {{"\\n\\nq\\n\\n", 3}, {"q\\n", 1}, {"", 1}};
  for (const auto& each : cases) {
    SCOPED_TRACE(each.answers);
    fs::remove_all(m_folder / "asked");
    const Outcome run = Run(std::string("printf '") + each.answers + "' | " + m_environment + kTimed + ZEP3_PROGRAM +
                            " scan --ask -d test:0 --mode Gray --resolution 20 -k photo -o asked/");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_IN("next original, then Enter; q ends", run.err);
    EXPECT_IN(std::to_string(each.pages) + (each.pages == 1 ? " page scanned" : " pages scanned"), run.err);
    EXPECT_EQ(std::distance(fs::directory_iterator(m_folder / "asked"), {}), each.pages);
  }
}

TEST_F(Scan, FramesOfARollAreDecidedTogether) {
  fs::create_directories(m_folder / "roll");
  const Outcome run = ScanBy(Pnm() + "--pages 4 --roll -k negative --raw raw -o roll/");
  ASSERT_EQ(run.status, 0) << run.err;
  ASSERT_TRUE(Exists("roll/roll.zep3.json"));
  ExpectDone("--roll -k negative raw -o again -q");
  for (const char* name : {"001.tif", "004.tif"})
    EXPECT_EQ(Difference(Load("roll/" + std::string(name)), Load("again/" + std::string(name))), 0);
}

TEST_F(Scan, FaultsAreTold) {
  const struct {
    std::string arguments, message;
    int status;
  } cases[] = {
      {Pnm() + "-k photo -o x.tif --set status=yes --set status-jammed=yes", "pnm:0: Document feeder jammed", 1},
      {Pnm() + "-k photo -o x.tif --set status=yes --set status-nodocs=yes", "pnm:0: Document feeder out", 1},
      {Pnm("zep3:") + "-k photo -o x.tif --set status=yes --set status-coveropen=yes", "Scanner cover is open", 1},
      {"-d nobody:0 -k photo -o x.tif", "nobody:0: Invalid argument", 1},
      {"-d zep3:nobody:0 -k photo -o x.tif", "zep3:nobody:0: Invalid argument", 1},
      {"-d zep3:zep3:pnm:0 -k photo -o x.tif", "Invalid argument", 1},
      {"-d test:0 --mode Sepia -k photo -o x.tif", "mode: 'Sepia' is none of Gray, Color", 1},
      {"-d test:0 --set speed=3 -k photo -o x.tif", "there is no option speed", 1},
      {"-d test:0 --mode Color --depth 1 -k photo -o x.tif", "sends 1 bits a sample", 1},
      {"-d test:0 -o x.tif", "say what is scanned, by -k: photo", 2},
      {"-d test:0 -k photo -o x%s.tif", "%03d", 2},
      {"-d test:0 -k photo -o x.doc", "its name says no format", 2},
      {"-d test:0 -k photo -o scan.ppm", "nothing was scanned", 2},
      {"-d test:0 -k photo -o x.tif scan.ppm", "takes its scans from a scanner", 2},
      {"-d test:0 -k photo --resolution many -o x.tif", "--resolution: 'many'", 2},
  };
  const Files before = AllFiles();
  for (const auto& each : cases) {
    SCOPED_TRACE(each.arguments);
    const Outcome run = ScanBy(each.arguments);
    EXPECT_EQ(run.status, each.status) << run.err;
    EXPECT_IN(each.message, run.err);
  }
  ExpectFiles(before);
  ExpectFault("-k photo -d test:0 scan.ppm -o x.tif", "--device is for zep3 scan", 2);
}

TEST_F(Scan, WhatCannotBeFinishedStays) {
  for (const char* kept : {"x_scan.tif", "x_scan2.tif"}) {
    const Outcome run = ScanBy(Pnm() + "-k photo --gray-pipette 99999,1 -o x.tif");
    EXPECT_EQ(run.status, 1) << run.err;
    EXPECT_IN(std::string("the scan is kept as ./") + kept, run.err);
    EXPECT_EQ(Difference(Load(kept), Load("scan.ppm")), 0);
  }
  EXPECT_FALSE(Exists("x.tif"));
  // Nor can it be kept where its result was to be.
  fs::create_directories(m_folder / "tmp");
  const Outcome run = Run("TMPDIR=" + Path("tmp") + " " + m_environment + kTimed + ZEP3_PROGRAM " scan " + Pnm() +
                          "-k photo --in-software -o scan.ppm/x.tif");
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_IN("the scan is kept as " + Path("tmp/x_scan.tif"), run.err);
  EXPECT_EQ(Difference(Load("tmp/x_scan.tif"), Load("scan.ppm")), 0);
}

TEST_F(Scan, InterruptedLeavesNothing) {
  const Files before = AllFiles();
  const Outcome run = Run(
      m_environment + "timeout -k 20 -s INT --preserve-status 1 " ZEP3_PROGRAM
                      " scan -d test:0 --mode Color --resolution 300 --set read-limit=yes --set read-limit-size=500 "
                      "--set read-delay=yes --set read-delay-duration=10000 -k photo -o x.tif");
  EXPECT_EQ(run.status, 130) << run.err;
  EXPECT_IN("interrupted", run.err);
  ExpectFiles(before);
}

class Backend : public Scan {
 protected:
  // libsane in this process, with the backend.
  void SetUp() override {
    Scan::SetUp();
    ::setenv("SANE_CONFIG_DIR", Path("conf").c_str(), 1);
    ::setenv("LD_LIBRARY_PATH", ZEP3_BACKENDS, 1);
  }
  std::string PnmFile() const { return " --resolution 300 --filename " + Path("scan.ppm") + " "; }

  // What a scanner gives from a start to its end.
  static std::string ReadAll(const Device& device) {
    std::string bytes;
    for (SANE_Byte buffer[3001];;) {
      SANE_Int count = 0;
      if (device.Sane().read(device.Handle(), buffer, sizeof buffer, &count) != SANE_STATUS_GOOD) return bytes;
      bytes.append(reinterpret_cast<const char*>(buffer), static_cast<size_t>(count));
    }
  }
  void Prepare(Device& device) const {
    device.SetText("filename", Path("scan.ppm"));
    device.SetText("resolution", "300");
  }
  // Of a page without gaps.
  static size_t BytesOf(const SANE_Parameters& page) {
    return static_cast<size_t>(page.bytes_per_line) * static_cast<size_t>(page.lines);
  }
};

TEST_F(Backend, EveryFrontEndGetsWhatTheProgramMakes) {
  const struct {
    const char* kind;
    const char* options;
    const char* same; // for the program
  } cases[] = {
      {"photo", "", ""},
      {"faded-slide", "", ""},
      {"faded-slide", "--zep3-decide 'whole page'", ""},
      {"negative", "--three-pass=yes --zep3-level 6", "--level 6"},
      {"photo", "--hand-scanner=yes --zep3-exposure 0.5 --zep3-contrast 10", "--exposure 0.5 -c 10"},
      {"document", "", ""},
      {"photo", "--zep3-analysis standard --zep3-warmth 0.5", "--analysis standard --warmth 0.5"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(std::string(each.kind) + " " + each.options);
    const Outcome run =
        Scanimage("-d zep3:pnm:0" + PnmFile() + "--zep3-kind " + each.kind + " " + each.options + " >scanned.ppm");
    ASSERT_EQ(run.status, 0) << run.err;
    ExpectDone(std::string("-k ") + each.kind + " " + each.same + " --overwrite -q scan.ppm -o filed.tif");
    EXPECT_EQ(Difference(Load("scanned.ppm"), Load("filed.tif")), 0);
  }
  ASSERT_EQ(Scanimage("-d zep3:pnm:0" + PnmFile() + "--zep3-kind off >scanned.ppm").status, 0);
  EXPECT_EQ(Difference(Load("scanned.ppm"), Load("scan.ppm")), 0);
  EXPECT_IN("zep3:pnm:0", Timed("scanimage -L").out);
}

TEST_F(Backend, BeginsWithWhatTheConfigurationSays) {
  File("conf/zep3.conf", "# of this place\nkind  faded-slide\nexposure 0.5\nwarmth many\n");
  const Outcome run = Scanimage("-d zep3:pnm:0" + PnmFile() + ">scanned.ppm");
  EXPECT_IN("zep3.conf:4: 'warmth many' is no option", run.err);
  ExpectDone("-k faded-slide --exposure 0.5 -q scan.ppm -o filed.tif");
  EXPECT_EQ(Difference(Load("scanned.ppm"), Load("filed.tif")), 0);
}

TEST_F(Backend, OptionsAreTheScannersAndThenItsOwn) {
  const SaneLibrary sane(SaneLibrary::Names::kShared);
  Device plain(sane, "pnm:0"), device(sane, "zep3:pnm:0");
  const auto count = [&](const Device& of) {
    SANE_Int number = 0;
    EXPECT_EQ(sane.controlOption(of.Handle(), 0, SANE_ACTION_GET_VALUE, &number, nullptr), SANE_STATUS_GOOD);
    return number;
  };
  for (SANE_Int i = 1; i < count(plain); i++) EXPECT_STREQ(plain.Descriptor(i)->name, device.Descriptor(i)->name);
  EXPECT_EQ(device.Descriptor(count(plain))->type, SANE_TYPE_GROUP);
  EXPECT_NE(device.Descriptor(count(device) - 1), nullptr);
  EXPECT_EQ(device.Descriptor(count(device)), nullptr);
  EXPECT_EQ(device.Descriptor(-1), nullptr);

  EXPECT_NE(plain.Active(SANE_NAME_CUSTOM_GAMMA), 0);
  EXPECT_EQ(device.Active(SANE_NAME_CUSTOM_GAMMA), 0); // tables beside the correction would spoil it
  SANE_Word yes = SANE_TRUE;
  EXPECT_EQ(
      sane.controlOption(device.Handle(), plain.Active(SANE_NAME_CUSTOM_GAMMA), SANE_ACTION_SET_VALUE, &yes, nullptr),
      SANE_STATUS_INVAL);

  const auto set = [&](const char* name, void* value, SANE_Int& info) {
    return sane.controlOption(device.Handle(), device.Active(name), SANE_ACTION_SET_VALUE, value, &info);
  };
  SANE_Int info = 0;
  SANE_Word level = 12;
  EXPECT_EQ(set("zep3-level", &level, info), SANE_STATUS_GOOD);
  EXPECT_EQ(info & SANE_INFO_INEXACT, SANE_INFO_INEXACT);
  EXPECT_EQ(level, 9);
  char wrong[64] = "portrait", off[64] = "off";
  EXPECT_EQ(set("zep3-kind", wrong, info), SANE_STATUS_INVAL);
  EXPECT_EQ(device.Text("zep3-kind"), "photo");
  EXPECT_EQ(set("zep3-kind", off, info), SANE_STATUS_GOOD);
  EXPECT_EQ(info & SANE_INFO_RELOAD_OPTIONS, SANE_INFO_RELOAD_OPTIONS);
  EXPECT_EQ(device.Active("zep3-level"), 0);
  EXPECT_THROW(device.SetText("zep3-found", "good"), ScannerFault);
}

TEST_F(Backend, TwoScannersAreCancelledAndStartedAnew) {
  std::string whole;
  for (int again = 0; again < 3; again++) {
    SCOPED_TRACE(again);
    const SaneLibrary sane(SaneLibrary::Names::kShared);
    EXPECT_THROW(Device(sane, "zep3:nobody:0"), ScannerFault);
    Device first(sane, "zep3:pnm:0"), second(sane, "zep3:test:0");
    Prepare(first);
    second.SetText("mode", "Color");
    second.SetText("depth", "16");
    SANE_Parameters before = {}, after = {}, others = {};
    EXPECT_EQ(sane.getParameters(first.Handle(), &before), SANE_STATUS_GOOD);
    ASSERT_EQ(sane.start(first.Handle()), SANE_STATUS_GOOD);
    ASSERT_EQ(sane.start(second.Handle()), SANE_STATUS_GOOD);
    EXPECT_EQ(sane.getParameters(first.Handle(), &after), SANE_STATUS_GOOD);
    EXPECT_EQ(sane.getParameters(second.Handle(), &others), SANE_STATUS_GOOD);
    EXPECT_EQ(before.bytes_per_line, after.bytes_per_line);
    EXPECT_EQ(before.lines, after.lines);
    EXPECT_EQ(after.format, SANE_FRAME_RGB);
    SANE_Byte some[1000];
    SANE_Int count = 0;
    EXPECT_EQ(sane.read(first.Handle(), some, sizeof some, &count), SANE_STATUS_GOOD);
    EXPECT_GT(count, 0);
    sane.cancel(first.Handle()); // in the middle
    EXPECT_NE(sane.read(first.Handle(), some, sizeof some, &count), SANE_STATUS_GOOD);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(ReadAll(second).size(), BytesOf(others));
    ASSERT_EQ(sane.start(first.Handle()), SANE_STATUS_GOOD);
    const std::string page = ReadAll(first);
    EXPECT_EQ(page.size(), BytesOf(after));
    if (whole.empty()) whole = page;
    EXPECT_EQ(page, whole);
    EXPECT_IN("good", *first.Text("zep3-found"));
    sane.cancel(first.Handle());
    first.SetText("grayify", "yes"); // of the next scan, not of the last
    EXPECT_EQ(sane.getParameters(first.Handle(), &after), SANE_STATUS_GOOD);
    EXPECT_EQ(after.format, SANE_FRAME_GRAY);
    first.SetText("grayify", "no");
  }
}

std::atomic<int> cancelsBegun, cancelsUnderWay, mostAtOnce;
std::atomic<bool> cancelMayEnd;

void SlowCancel(SANE_Handle) {
  cancelsBegun++;
  mostAtOnce = std::max(mostAtOnce.load(), ++cancelsUnderWay);
  while (!cancelMayEnd) std::this_thread::yield();
  cancelsUnderWay--;
}

TEST_F(Backend, IsCancelledOnceAtATime) {
  SaneLibrary sane(SaneLibrary::Names::kShared);
  const Device device(sane, "test:0");
  sane.cancel = &SlowCancel;
  std::thread inside([&] { device.Cancel(); });
  while (cancelsBegun == 0) std::this_thread::yield();
  device.CancelFromOutside(); // comes back at once
  EXPECT_EQ(cancelsBegun, 1);
  std::thread later([] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    cancelMayEnd = true;
  });
  device.Cancel(); // waits, and is made
  EXPECT_EQ(cancelsBegun, 2);
  EXPECT_EQ(mostAtOnce, 1);
  inside.join();
  later.join();
}

TEST_F(Backend, IsInitialisedAnewWithoutEnd) {
  constexpr int kTimes = 20; // the dynamic linker has room for 16 copies of libsane
  for (int i = 0; i < kTimes; i++) {
    const SaneLibrary sane(SaneLibrary::Names::kShared);
    EXPECT_NO_THROW(Device(sane, "zep3:pnm:0")) << i;
  }
}

TEST_F(Backend, WorksOverTheNetwork) {
  // The port of scanners is a fixed one.
  const Outcome run =
      Run(m_environment + R"(sh -c '
    if ss -ltn 2>/dev/null | grep -q 127.0.0.1:6566; then exit 77; fi
    timeout -k 1 60 )" ZEP3_SANED R"( -l -b 127.0.0.1 -p 6566 -e 2>saned.log & server=$!
    for i in 1 2 3 4 5 6 7 8 9 10; do
      timeout -k 1 20 )" ZEP3_PROGRAM
                          R"( scan -d net:127.0.0.1:pnm:0 --set filename=$PWD/scan.ppm -k photo -o near.tif -q
      one=$?
      [ $one = 0 ] && break
      sleep 0.2
    done
    timeout -k 1 20 scanimage -d zep3:net:127.0.0.1:pnm:0 --filename $PWD/scan.ppm --zep3-kind photo --format=pnm >far.ppm
    two=$?
    kill $server
    exit $((one + two))')");
  if (run.status == 77) GTEST_SKIP() << "a server of scanners runs on this machine";
  ASSERT_EQ(run.status, 0) << run.err << Read("saned.log");
  ExpectDone("-k photo -q scan.ppm -o filed.tif");
  EXPECT_EQ(Difference(Load("near.tif"), Load("filed.tif")), 0);
  EXPECT_EQ(Difference(Load("far.ppm"), Load("filed.tif")), 0);
}

} // namespace
