// Rolls of film and boxes of originals: scans finished together, in any order, in one run or several.
#include <cmath>

#include "program.h"

namespace {

// A gray scene of three decades on colour film, whose lightest has the log10 exposure `white`; of `red` cloth the right
// three quarters. In the values of a file without a profile.
VImage Frame(double white, bool red = false, double lighter = 1) {
  constexpr double kSlope[] = {0.60, 0.60, 0.70}, kToe[] = {0.205, 0.185, 0.165}, kBase[] = {205, 180, 150};
  constexpr double kCloth[] = {-0.35, -1.0, -0.9}, kBalance[] = {-0.06, 0, 0.08};
  constexpr int kAcross = 150, kDown = 100;
  std::vector<uint8_t> pixels;
  for (int i = 0; i < kAcross * kDown; i++) {
    const int x = i % kAcross, y = i / kAcross;
    for (size_t c = 0; c < 3; c++) {
      const double scene = red && 4 * x > kAcross ? kCloth[c] + 0.2 * std::sin(0.1 * x + 0.2 * y)
                                                  : -3.0 * ((x + 7 * y) % kAcross) / kAcross;
      const double density = kSlope[c] * kToe[c] * std::log1p(std::exp((white + scene + kBalance[c]) / kToe[c]));
      const double level = std::min(lighter * kBase[c], 250.0) / 255 * std::pow(10, -density / 1.8); // at gamma 1.8
      pixels.push_back(static_cast<uint8_t>(255 * std::pow(level, 1.8 / 2.2) + 0.5));
    }
  }
  return Picture(pixels, kAcross, kDown);
}

// A print with black, white and colours between, in sRGB, whose dyes lost these shares; another picture for each seed.
VImage FadedPrint(double cyan, double magenta, double yellow, size_t seed) {
  const double left[] = {1 - cyan, 1 - magenta, 1 - yellow};
  constexpr int kAcross = 150, kDown = 100;
  std::vector<uint8_t> pixels;
  for (int i = 0; i < kAcross * kDown; i++) {
    const int x = i % kAcross, y = i / kAcross;
    for (size_t c = 0; c < 3; c++) {
      const double phase = 0.09 * x + 0.13 * y + static_cast<double>((seed + 1) * (c + 1));
      const double unfaded =
          std::clamp(1.0 + 0.8 * std::sin(0.05 * x + static_cast<double>(seed)) + 0.5 * std::sin(phase), 0.0, 2.05);
      const double light = std::pow(10, -0.04 - left[c] * unfaded);
      const double value = light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
      pixels.push_back(static_cast<uint8_t>(255 * value + 0.5));
    }
  }
  return Picture(pixels, kAcross, kDown);
}

class Rolls : public Program {
 protected:
  // Five frames of one film, of which one shows little but red; a deep one; one of nothing; and one through another
  // setting of the scanner.
  void SaveRoll() const {
    const double whites[] = {1.2, 1.7, 2.0, 2.4, 2.8};
    for (size_t i = 0; i < std::size(whites); i++) {
      Save(Frame(whites[i], i == 2), "in/" + std::string(1, static_cast<char>('a' + i)) + ".ppm");
    }
    Save(Deep(Frame(2.2)), "in/deep.png");
    Save(Frame(-6), "in/empty.ppm");
    Save(Frame(1.9, false, 1.2), "in/foreign.ppm");
  }
  Files FilesIn(const std::string& folder) const {
    Files files;
    for (const auto& [name, content] : AllFiles()) {
      if (name.starts_with(folder + "/")) files[name.substr(folder.size() + 1)] = content;
    }
    return files;
  }
  nlohmann::json RollIn(const std::string& folder) const {
    return nlohmann::json::parse(Read(folder + "/roll.zep3.json"));
  }
  // By the results' names.
  std::map<std::string, std::string> Members(const std::string& lines) const {
    std::map<std::string, std::string> members;
    std::istringstream text(lines);
    for (std::string line; std::getline(text, line);) {
      const auto json = nlohmann::json::parse(line);
      for (const auto& page : json["pages"])
        members[fs::path(std::string(json["scan"])).filename().string()] += page.value("member", "-");
    }
    return members;
  }
  void ExpectSamePictures(const std::string& folder, const std::string& other) const {
    Files a = FilesIn(folder), b = FilesIn(other);
    for (Files* files : {&a, &b}) {
      files->erase("roll.zep3.json");
      files->erase("roll.zep3.html");
    }
    EXPECT_EQ(Names(a), Names(b));
    for (const auto& [name, content] : a) EXPECT_TRUE(b[name] == content) << name;
  }
};

// ---- what comes out ----

TEST_F(Rolls, AreTheSameBitsInAnyOrderByAnyNumberOfWorkers) {
  SaveRoll();
  const Outcome run = Zep3("--roll --no-sync -k negative in -o one -j1 --json --sidecar");
  EXPECT_EQ(run.status, 0) << run.err;
  const std::map<std::string, std::string> members = {
      {"a.ppm", "shared"}, {"b.ppm", "shared"},    {"c.ppm", "shared"},    {"d.ppm", "shared"},
      {"e.ppm", "shared"}, {"deep.png", "shared"}, {"empty.ppm", "blank"}, {"foreign.ppm", "odd"}};
  EXPECT_EQ(Members(run.out), members);
  EXPECT_IN("one/roll.zep3.json: 6 together, 1 odd: in/foreign.ppm (unlike the others", run.err);
  EXPECT_IN("), 1 blank: in/empty.ppm\n", run.err);
  EXPECT_EQ(Sidecar("one/foreign.ppm")["member"], "odd");
  // The contact sheet shows each before and after, and says who is not like the others; nothing is fetched.
  const std::string page = Read("one/roll.zep3.html");
  const auto count = [&](const std::string& text) {
    int found = 0;
    for (size_t at = page.find(text); at != std::string::npos; at = page.find(text, at + 1)) found++;
    return found;
  };
  EXPECT_EQ(count("src=\"data:image/jpeg;base64,"), 16);
  EXPECT_EQ(count("class=\"frame apart\""), 2);
  EXPECT_EQ(count("Odd: unlike the others") + count("Blank: there is nothing"), 2);
  EXPECT_EQ(count("zep3 -k negative in/c.ppm -o by-itself/<"), 1);
  EXPECT_EQ(count("://"), 0);
  File("list", "in/foreign.ppm\nin/e.ppm\nin/deep.png\nin/a.ppm\nin/empty.ppm\nin/d.ppm\nin/b.ppm\nin/c.ppm\n");
  ExpectDone("--roll --no-sync -k negative --files-from list -o two -j2 --sidecar");
  ExpectDone("--roll --no-sync -k negative -r in -o four -j4 --sidecar");
  ExpectSamePictures("one", "two");
  ExpectSamePictures("one", "four");
  EXPECT_EQ(RollIn("one")["shared"], RollIn("two")["shared"]);
  EXPECT_EQ(Read("one/roll.zep3.json"), Read("four/roll.zep3.json"));
  // They differ from those that are finished one by one, but for the odd one.
  ExpectDone("-k negative -r in -o single --sidecar");
  EXPECT_NE(Read("single/c.ppm"), Read("one/c.ppm"));
  EXPECT_EQ(Read("single/foreign.ppm"), Read("one/foreign.ppm"));
  EXPECT_FALSE(Sidecar("single/c.ppm").contains("member"));
  // What is added to a correction is added to these, too.
  ExpectDone("--roll --no-sync -k negative in -o more -b 60 --crop --area 10%,10%,80%,80% --format png");
  EXPECT_EQ(Load("more/a.png").width(), 120);
  EXPECT_EQ(Load("more/deep.png").format(), VIPS_FORMAT_USHORT);
}

TEST_F(Rolls, PagesAreFrames) {
  SaveRoll();
  for (const char* name : {"a", "b", "c"}) Save(Load(std::string("in/") + name + ".ppm"), std::string(name) + ".tif");
  ASSERT_EQ(Run("tiffcp a.tif b.tif c.tif pages.tif").status, 0);
  const Outcome run = Zep3("--roll --no-sync -k negative pages.tif -o out/pages.tif --json");
  EXPECT_EQ(Members(run.out)["pages.tif"], "sharedsharedshared") << run.err;
  ExpectDone("--roll --no-sync -k negative a.tif b.tif c.tif -o single/");
  EXPECT_EQ(RollIn("out")["shared"], RollIn("single")["shared"]);
  EXPECT_EQ(Difference(Load("out/pages.tif[page=2]"), Load("single/c.tif")), 0);
}

TEST_F(Rolls, AreOneToAFolder) {
  SaveRoll();
  for (const char* name : {"x", "y", "z"})
    Save(Frame(1.5 + 0.3 * (name[0] - 'x'), false, 0.6), "in/dark/" + std::string(name) + ".ppm");
  ExpectDone("--roll --no-sync -k negative -r in -o out");
  ExpectDone("--roll --no-sync -k negative in -o upper");
  ExpectDone("--roll --no-sync -k negative in/dark -o lower");
  EXPECT_EQ(RollIn("out")["shared"], RollIn("upper")["shared"]); // not those below
  EXPECT_EQ(RollIn("out/dark")["shared"], RollIn("lower")["shared"]);
  Save(Frame(1), "else/q.ppm");
  ExpectFault("--roll --no-sync -k negative -r in/dark else -o other --flat", "would share other/roll.zep3.json", 2);
  EXPECT_FALSE(Exists("other"));
}

TEST_F(Rolls, AreToldWhenTheyDoNotShareABase) {
  const double light[] = {0.6, 0.6, 0.6, 0.6, 0.6, 0.75, 0.95, 1.2};
  for (size_t i = 0; i < std::size(light); i++)
    Save(Frame(1.2 + 0.2 * static_cast<double>(i), false, light[i]), "in/" + std::to_string(i) + ".ppm");
  const std::string mixed = "the frames do not share a base";
  const Outcome run = Zep3("--roll --no-sync -k negative in -o out --sidecar --json");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(Members(run.out)["5.ppm"] + Members(run.out)["6.ppm"] + Members(run.out)["7.ppm"], "oddoddodd");
  EXPECT_IN(mixed, run.err);
  EXPECT_IN(mixed, Read("out/roll.zep3.html"));
  // It is said of each scan, too, and of those that are finished with the roll or by a sidecar later.
  const std::string late = Zep3("--use-roll out/roll.zep3.json in/0.ppm -o late/0.ppm --json").out;
  const std::string again = Zep3("--use-sidecar out/0.ppm.zep3.json in/0.ppm -o again/0.ppm --json").out;
  for (const std::string& told : {run.out, late, again}) {
    const nlohmann::json page = Page(told.substr(0, told.find('\n')));
    EXPECT_EQ(page["verdict"], "look");
    EXPECT_EQ(page["analysis"]["reasons"].back()["code"], "mixed-roll");
  }
  // A stray frame makes no second film.
  for (const char* name : {"in/5.ppm", "in/6.ppm"}) fs::remove(m_folder / name);
  const Outcome stray = Zep3("--roll --no-sync -k negative in -o stray --json");
  EXPECT_IN("1 odd: in/7.ppm", stray.err);
  EXPECT_EQ((stray.err + stray.out).find(mixed), std::string::npos) << stray.err << stray.out;
}

// Prints whose dyes were lost alike, and a box of prints that have nothing in common but the box.
TEST_F(Rolls, BoxesOfUnequalOriginalsAreTold) {
  const double lost[] = {0.30, 0.33, 0.28, 0.31, 0.29, 0.32};
  const double unequal[] = {0.02, 0.60, 0.05, 0.45, 0.10, 0.70};
  for (size_t i = 0; i < std::size(lost); i++) {
    const std::string name = std::to_string(i) + ".ppm";
    Save(FadedPrint(lost[i], 0.10, 0.15, i), "alike/" + name);
    Save(FadedPrint(unequal[i], unequal[5 - i], unequal[(i + 2) % 6], i), "unequal/" + name);
  }
  const std::string told = "too unequal to be one box";
  const Outcome alike = Zep3("--roll --no-sync -k faded-print alike -o out/alike");
  EXPECT_IN("6 together", alike.err);
  EXPECT_EQ(alike.err.find(told), std::string::npos) << alike.err;
  EXPECT_IN(told, Zep3("--roll --no-sync -k faded-print unequal -o out/unequal").err);
  EXPECT_IN(told, Read("out/unequal/roll.zep3.html"));
}

TEST_F(Rolls, TooFewAreFinishedByThemselves) {
  SaveRoll();
  for (const char* kind : {"negative", "bw-negative", "faded-slide"}) {
    SCOPED_TRACE(kind);
    fs::remove_all(m_folder / "out");
    fs::remove_all(m_folder / "single");
    const Outcome run = Zep3(std::string("--roll --json in/a.ppm in/empty.ppm -o out -k ") + kind);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(Members(run.out)["a.ppm"], "single");
    EXPECT_IN("too few of these scans belong together", run.err);
    ExpectDone(std::string("in/a.ppm in/empty.ppm -o single -k ") + kind);
    ExpectSamePictures("out", "single");
  }
  ExpectDone("--roll --report in/a.ppm in/empty.ppm -o told -k negative");
  EXPECT_IN("too few of its roll belong together", Read("told/zep3-report/scans/a.ppm.html"));
}

TEST_F(Rolls, LaterScansAreFinishedAlike) {
  SaveRoll();
  ExpectDone("--roll --no-sync -k negative in -o out");
  const Outcome run = Zep3("--use-roll out/roll.zep3.json -r in -o later --json");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(Members(run.out)["foreign.ppm"] + Members(run.out)["empty.ppm"] + Members(run.out)["b.ppm"],
            "oddblankshared");
  ExpectSamePictures("out", "later");
  EXPECT_EQ(Analysed("--use-roll out/roll.zep3.json in/a.ppm")["member"], "shared");
  ExpectFault("--use-roll out/roll.zep3.json -k slide in/a.ppm -o x.ppm", "--kind is another than that of --use-roll",
              2);
  // A sidecar wins.
  ExpectDone("-k negative in/a.ppm -o a.ppm --sidecar");
  ExpectDone("--use-sidecar a.ppm.zep3.json --roll in/a.ppm in/b.ppm -o repeated");
  EXPECT_EQ(Read("repeated/a.ppm"), Read("a.ppm"));
  EXPECT_FALSE(Exists("repeated/roll.zep3.json"));
}

// ---- what goes wrong ----

TEST_F(Rolls, UnreadableScanIsNoMember) {
  SaveRoll();
  ExpectDone("--roll --no-sync -k negative in -o whole");
  File("in/bad.ppm", "P6\n150 100\n255\nshort");
  const Outcome run = Zep3("--roll --no-sync -k negative in -o out");
  EXPECT_EQ(run.status, 1);
  EXPECT_IN("zep3: in/bad.ppm: ", run.err);
  EXPECT_EQ(run.err.find("bad.ppm"), run.err.rfind("bad.ppm"));
  EXPECT_IN("1 failed", run.err);
  ExpectSamePictures("out", "whole");
  // So is one that kills its worker.
  const std::string opened = "BREAK_IN=in/foreign.ppm";
  fs::remove(m_folder / "in/bad.ppm");
  const Outcome died =
      Zep3("--roll --no-sync -k negative in -o died -j1", Broken("open open64", 1, "run kill -KILL $PPID", opened));
  EXPECT_EQ(died.status, 1);
  EXPECT_IN("in/foreign.ppm: its worker process died (Killed)", died.err);
  EXPECT_EQ(Read("died/a.ppm"), Read("whole/a.ppm"));
  EXPECT_FALSE(Exists("died/foreign.ppm"));
  // Interrupted in the first pass: what was seen is kept, and taken up.
  const std::string program = "$(cut -d\" \" -f4 /proc/$PPID/stat)"; // of the shell that runs it
  const Outcome ended = Zep3("--roll --no-sync -k negative in -o ended -j1",
                             Broken("open open64", 1, "run kill -TERM " + program, opened));
  EXPECT_EQ(ended.status, 130);
  EXPECT_EQ(Names(FilesIn("ended")), "roll.zep3.json ");
  EXPECT_GE(RollIn("ended")["scans"].size(), 7u); // all before that one
  ExpectFault("--use-roll ended/roll.zep3.json in/a.ppm -o x.ppm", "holds nothing that its scans share", 2);
  ExpectDone("--roll --no-sync -k negative in -o ended");
  ExpectSamePictures("ended", "whole");
  // A page that is made later shows those, too, that were finished before.
  fs::remove(m_folder / "ended/a.ppm");
  fs::remove(m_folder / "ended/roll.zep3.html");
  ExpectDone("--roll --no-sync -k negative in -o ended");
  EXPECT_IN("Finished by an earlier run", Read("ended/roll.zep3.html"));
}

// Killed before each call that writes: the next run ends as if nothing had been.
TEST_F(Rolls, KilledOnesGoOn) {
  for (const double white : {1.4, 1.8, 2.3}) Save(Frame(white), "in/" + std::to_string(white).substr(0, 3) + ".ppm");
  const Files scans = AllFiles();
  ExpectDone("--roll --no-sync -k negative in -o out");
  const Files whole = AllFiles();
  int number = 0;
  for (int status = 137; status == 137 && !HasFailure();) {
    SCOPED_TRACE(++number);
    PutBack(scans);
    fs::remove_all(m_folder / "out");
    status = Run("all=$(setsid " + Broken("pwrite rename renameat2 link unlink", number, "run kill -9 0") +
                 ZEP3_PROGRAM " --roll -k negative in -o out -j1)")
                 .status;
    bool results = false;
    for (const auto& [name, content] : AllFiles())
      results = results || (name.starts_with("out/") && name.ends_with(".ppm") && !name.starts_with("out/."));
    if (results) EXPECT_TRUE(Exists("out/roll.zep3.json"));
    ExpectDone("--roll --no-sync -k negative in -o out");
    Files now = AllFiles();
    for (const auto& [name, content] : whole) {
      if (!name.ends_with(".ppm")) continue;
      EXPECT_TRUE(now[name] == content) << name;
    }
  }
  EXPECT_GE(number, 8);
}

// What was seen of a scan is taken from the roll's file as long as the scan has its size and time, and only then.
TEST_F(Rolls, UnchangedScansAreNotSeenAgain) {
  SaveRoll();
  ExpectDone("--roll --no-sync -k negative in -o out");
  const std::string before = Read("out/roll.zep3.json");
  const auto time = fs::last_write_time(m_folder / "in/b.ppm");
  Save(Frame(2.5), "in/b.ppm");
  fs::last_write_time(m_folder / "in/b.ppm", time);
  ExpectDone("--roll --no-sync -k negative in -o out");
  EXPECT_EQ(Read("out/roll.zep3.json"), before);
  fs::last_write_time(m_folder / "in/b.ppm", time + std::chrono::seconds(1));
  ExpectDone("--roll --no-sync -k negative in -o out");
  EXPECT_NE(RollIn("out")["shared"], nlohmann::json::parse(before)["shared"]);
  // Of another kind all is seen anew.
  ExpectDone("--roll -k faded-negative in -o out --overwrite");
  EXPECT_EQ(RollIn("out")["settings"]["kind"], "faded-negative");
  // In place it is the original that is seen.
  ExpectDone("--roll --no-sync -k negative in --in-place");
  const Files done = FilesIn("in");
  ExpectDone("--roll --no-sync -k negative in --in-place");
  EXPECT_TRUE(FilesIn("in") == done);
  fs::remove(m_folder / "in/roll.zep3.json");
  ExpectDone("--roll --no-sync -k negative in --in-place");
  EXPECT_TRUE(FilesIn("in") == done);
}

TEST_F(Rolls, WhatCannotBeIsRefused) {
  SaveRoll();
  ExpectDone("--roll --no-sync -k negative in -o out");
  const std::string good = Read("out/roll.zep3.json");
  for (const char* kind : {"photo", "slide", "document", "background", "ground-color"}) {
    ExpectFault(std::string("--roll in -o x -k ") + kind, "share nothing", 2);
  }
  const struct {
    const char *arguments, *message;
  } faults[] = {{"--roll --no-sync -k negative in -o x --analysis standard", "adaptive analysis"},
                {"--roll --no-sync -k negative in -o x --option plain", "adaptive analysis"},
                {"--roll --no-sync -k negative in/a.ppm -o -", "-o names a folder"},
                {"--roll --no-sync -k negative in --in-place --no-backup", "--roll needs the backup"},
                {"analyse --roll -k negative in/a.ppm", "without --roll"},
                {"--roll --use-roll out/roll.zep3.json in -o x", "excludes"},
                {"--use-roll none.json in/a.ppm -o x.ppm", "roll none.json: cannot be read"},
                {"--roll --no-sync -k negative else -o out", "another roll's"}};
  Save(Frame(1), "else/q.ppm");
  for (const auto& fault : faults) ExpectFault(fault.arguments, fault.message, 2);
  const auto changed = [&](const std::string& what, const std::string& to) {
    return std::regex_replace(good, std::regex(what), to, std::regex_constants::format_first_only);
  };
  const struct {
    std::string text;
    const char* message;
  } damaged[] = {
      {good.substr(0, 3000), "is no JSON"},
      {"{}", "is no roll written by zep3"},
      {changed("\"formatVersion\": 1", "\"formatVersion\": 9"), "roll.zep3.json: is written in another version"},
      {changed("\"base\": \\[[^,]*", "\"base\": [-3"), "'shared' holds numbers that no roll has"},
      {changed("\"slope\": [^\\n]*", "\"slope\": 5,"), "'slope' is not 3 numbers"},
      {changed("\"kind\": \"negative\"", "\"kind\": \"photo\""), "'kind' is none"},
      {changed("\"member\": \"shared\"", "\"member\": \"mine\""), "'member' is none"}};
  const Files results = FilesIn("out");
  for (const auto& file : damaged) {
    File("out/roll.zep3.json", file.text);
    ExpectFault("--roll --no-sync -k negative in -o out", file.message, 2);
    ExpectFault("--use-roll out/roll.zep3.json in/a.ppm -o y.ppm", file.message, 2);
    EXPECT_EQ(Read("out/roll.zep3.json"), file.text);
  }
  ExpectDone("--roll --no-sync -k negative in -o out --overwrite");
  EXPECT_EQ(Read("out/roll.zep3.json"), good);
  EXPECT_FALSE(Exists("x"));
}

} // namespace
