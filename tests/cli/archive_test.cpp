// Runs over archives: lists and folders with options of their own, runs that go on where one stopped, originals that
// come back.
#include "program.h"
#include "told/run_state.h"

namespace {

class Archive : public Program {
 protected:
  // By the scans' names.
  static std::map<std::string, nlohmann::json> Records(const std::string& lines) {
    std::map<std::string, nlohmann::json> records;
    std::istringstream text(lines);
    for (std::string line; std::getline(text, line);) {
      const auto record = nlohmann::json::parse(line);
      records[record.at("scan")] = record;
    }
    return records;
  }
  std::string Names() const { return ::Names(AllFiles()); }
};

// ---- kinds and options ----

// Command line, list, nearest folder, farther folder, file of the run, default: the first that says something counts.
TEST_F(Archive, EachScanHasItsOwnOptions) {
  for (const char* scan : {"in/a.png", "in/slides/b.png", "in/slides/old/c.png", "d.png"}) Save(Sample(), scan);
  File("run.toml", "kind = 'photo'\nlevel = 1\nbacklight = 3\ngray = true\n");
  File("in/zep3.toml", "kind = 'slide'\nlevel = 2\nbalance = [3, 0, -4]\n");
  File("in/slides/.zep3", "level = 3\ngray = false\narea = '0,0,50%,50%'\n");
  File("in/slides/old/zep3.toml", "corners = '0,0,30,0,0,30,30,30'\nkind = 'faded-slide'\n");
  File("list.csv",
       "Note,Scan,Kind,Options\r\n\"a, b\",in/a.png,,-b 7\r\n,in/slides/b.png,,\r\n"
       ",in/slides/old/c.png,faded-print,\"--level 4 --crop\"\r\n,d.png,,\r\n");
  const std::string command = "--files-from list.csv --config run.toml --backlight 5 ";
  const Outcome planned = Run(ZEP3_PROGRAM " -n -o out " + command);
  EXPECT_EQ(planned.status, 0) << planned.err;
  EXPECT_IN("in/a.png -> out/in/a.png  ", planned.out);
  EXPECT_IN("kind=slide (in/zep3.toml:1)", planned.out);
  EXPECT_IN("4 to be corrected (4 pages, ", planned.err);
  const Outcome run = Run(ZEP3_PROGRAM " --json -o out " + command);
  auto records = Records(run.out);
  const struct {
    const char *scan, *settings; // name=value@place
  } cases[] = {{"in/a.png",
                "backlight=5@command line balance=3,0,-4@in/zep3.toml:3 brightness=7@list.csv gray=on@run.toml:4 "
                "kind=slide@in/zep3.toml:1 level=2@in/zep3.toml:2 "},
               {"in/slides/b.png",
                "area=0,0,50%,50%@in/slides/.zep3:3 backlight=5@command line balance=3,0,-4@in/zep3.toml:3 "
                "kind=slide@in/zep3.toml:1 level=3@in/slides/.zep3:1 "},
               {"in/slides/old/c.png",
                "area=0,0,30,0,0,30,30,30@in/slides/old/zep3.toml:1 backlight=5@command line "
                "balance=3,0,-4@in/zep3.toml:3 crop=on@list.csv kind=faded-print@list.csv "}, // 4: default
               {"d.png", "backlight=5@command line gray=on@run.toml:4 kind=photo@run.toml:1 level=1@run.toml:2 "}};
  for (const auto& c : cases) {
    std::string settings;
    const nlohmann::json told = records[c.scan]["settings"];
    for (const auto& [name, setting] : told.items()) {
      settings += name + "=" + setting["value"].get<std::string>() + "@" + setting["from"].get<std::string>() + " ";
    }
    EXPECT_EQ(settings, c.settings) << c.scan;
  }
  // What is said of a scan is what is done to it.
  ExpectDone("in/a.png -o alone.png -k slide --level 2 --backlight 5 --balance 3,0,-4 -b 7 --gray");
  EXPECT_EQ(Read("out/in/a.png"), Read("alone.png"));
  EXPECT_EQ(Load("out/in/slides/b.png").bands(), 3);
}

TEST_F(Archive, WhatFilesMayNotSayIsRefused) {
  Save(Sample(), "in/a.png");
  Save(Sample(), "plain.png");
  const Files before = AllFiles();
  const struct {
    std::string text, message;
  } files[] = {{"output = '/tmp/x'", "in/zep3.toml:1: output is no option that settles how a scan is corrected"},
               {"kind = 'slide'\n\nmax-pixels = 9", "in/zep3.toml:3: max-pixels is no option"},
               {"format = 'tif[profile=/etc/passwd]'", "takes options of libvips on the command line alone"},
               {"use-sidecar = 'x'", "use-sidecar is no option"},
               {"kind = 'slides'", "in/zep3.toml: --kind: 'slides': expected"},
               {"level = 12", "expected a whole number of 0..9"},
               {"level = [[1]]", "holds a list in a list"},
               {"[table]\nlevel = 1", "table is no option"},
               {"level = ", "in/zep3.toml:1: "},
               {"crop = true", "crop needs the backup"},
               {"format = 'png'", "format cannot be changed with --in-place"},
               {std::string(70000, '#'), "is too large"},
               {"a = " + std::string(20000, '['), "in/zep3.toml:1: "}};
  for (const auto& file : files) {
    File("in/zep3.toml", file.text);
    const bool inPlace = file.message.find("backup") + file.message.find("in-place") != 2 * std::string::npos;
    ExpectFault(std::string("-r in ") + (inPlace ? "--in-place --no-backup" : "-o out -k photo"), file.message, 2);
  }
  fs::remove(m_folder / "in/zep3.toml");
  const struct {
    std::string list, message;
  } lists[] = {{"scan\tkind\nin/a.png\tslides\n", "list:2: --kind: 'slides': expected"},
               {"scan\toptions\n\nin/a.png\t-o x\n", "list:3: "},
               {"scan\toptions\nin/a.png\t--level 'x\n", "list:2: "},
               {"scan,kind\n\"in/a.png,slide\n", "a quote is not closed"},
               {"scan;kind\nin/a.png;slide\nplain.png;\n", "the kind of 1 of 2 scans is not known"}};
  for (const auto& list : lists) {
    File("list", list.list);
    const Outcome run = Run(ZEP3_PROGRAM " --files-from list -o out");
    EXPECT_EQ(run.status, 2);
    EXPECT_IN(list.message, run.err);
  }
  fs::remove(m_folder / "list");
  ExpectFiles(before);
}

// ---- where results lie ----

TEST_F(Archive, FoldersOfListsAndSeveralRootsAreKept) {
  for (const char* scan : {"x/A/1.png", "x/B/1.png", "x/B/deep/2.png"}) Save(Sample(), scan);
  File("list", "x/A/1.png\nx/B/1.png\nx/B/deep/2.png\nnowhere/3.png\n");
  File("marked", Path("x/B/deep/2.png") + "\n");
  const struct {
    const char *arguments, *results;
    int status = 0;
  } cases[] = {{"--files-from list", "out/A/1.png out/B/1.png out/B/deep/2.png ", 1},
               {"-r x/A x/B", "out/A/1.png out/B/1.png out/B/deep/2.png "},
               {"-r x/B", "out/1.png out/deep/2.png "},
               {"x/A/1.png x/B/deep/2.png", "out/1.png out/2.png "},
               {"--root x x/A/1.png x/B/1.png", "out/A/1.png out/B/1.png "},
               {"--flat --files-from marked", "out/2.png "},
               {"--files-from marked", "out/2.png "},
               {"--root . --files-from - < list", "out/x/A/1.png out/x/B/1.png out/x/B/deep/2.png ", 1}};
  for (const auto& c : cases) {
    fs::remove_all(m_folder / "out");
    EXPECT_EQ(Zep3(std::string(c.arguments) + " -o out").status, c.status) << c.arguments;
    std::string results;
    for (const auto& [name, content] : AllFiles()) results += name.starts_with("out/") ? name + " " : "";
    EXPECT_EQ(results, c.results) << c.arguments;
  }
  // A part of the scans of a former run finds their results.
  fs::remove_all(m_folder / "out");
  ExpectDone("-r x -o out");
  EXPECT_IN("exists", Zep3("--files-from marked -o out -v").err + Zep3("--json --files-from marked -o out").out);
  EXPECT_FALSE(Exists("out/2.png"));
  // All that would collide is told before anything is done.
  Save(Sample(), "x/A/1.jpg");
  fs::remove_all(m_folder / "out");
  const Outcome run = Zep3("-r x/A x/B x/A/1.png -o out --flat --format png");
  EXPECT_EQ(run.status, 2);
  EXPECT_IN("x/A/1.jpg and x/A/1.png would both become out/1.png\n", run.err);
  EXPECT_IN("x/A/1.jpg and x/B/1.png would both become out/1.png\n", run.err);
  EXPECT_IN("nothing was done: 2 faults", run.err);
  ExpectFault("x/A/1.png -o out/ --root x/B", "x/A/1.png does not lie below x/B", 2);
  EXPECT_FALSE(Exists("out"));
}

// ---- going on ----

TEST_F(Archive, AResultIsSkippedIfItIsWhatWouldBeMade) {
  for (const char* scan : {"in/a.png", "in/b.png"}) Save(Sample(), scan);
  ExpectDone("-r in -o out -k slide --level 5");
  const std::string made = Read("out/a.png");
  const auto of = [&](const std::string& arguments) {
    return Records(Zep3("-r in -o out --json " + arguments).out)["in/a.png"];
  };
  const struct {
    const char *options, *made;
  } cases[] = {{"-k slide --level 5", "as-asked"},
               {"--level 05 --kind slide -c 0 --option normal --analysis adaptive -j2 --sidecar", "as-asked"},
               {"-k slide", "other-settings"},
               {"-k slide --level 5 --gray", "other-settings"},
               {"-k photo --level 5", "other-settings"}};
  for (const auto& c : cases) {
    const auto record = of(c.options);
    EXPECT_EQ(record["made"], c.made) << c.options;
    EXPECT_EQ(record["status"], "skipped");
    EXPECT_EQ(record["kind"], "slide"); // that of what is there
    EXPECT_EQ(record["pages"].size(), 1u) << c.options;
    EXPECT_EQ(record["pages"][0]["frame"], nullptr);
  }
  EXPECT_EQ(Read("out/a.png"), made);
  const Outcome other = Zep3("-r in -o out -k slide");
  EXPECT_EQ(other.status, 0);
  EXPECT_IN("in/a.png: out/a.png exists, made with other settings: level 5 instead of the default\n", other.err);
  EXPECT_IN("2 skipped (2 not as this command makes them; --update makes them again)", other.err);
  // By another version of the program.
  ExpectDone("in/a.png -o later/ -k slide");
  ASSERT_EQ(Run(R"(sed -i 's/"zep3":"[^"]*"/"zep3":"0.1"/' later/.zep3-run/*.jsonl)").status, 0);
  const auto later = [&](const std::string& more) {
    return Records(Zep3("in/a.png -o later/ -k slide --json " + more).out)["in/a.png"];
  };
  EXPECT_EQ(later("")["made"], "other-version");
  EXPECT_IN("0.1", later("")["message"].get<std::string>());
  EXPECT_EQ(later("--update")["status"], "corrected");
  EXPECT_EQ(later("")["made"], "as-asked");
  // Without the state the sidecar tells, which the second case has added.
  fs::remove_all(m_folder / "out/.zep3-run");
  EXPECT_EQ(of("-k slide")["made"], "other-settings");
  // Another scan, and one that has changed.
  Save(Noise(30, 20, 1), "in/b.png");
  EXPECT_IN("1 look at, 1 skipped, 0 failed", std::regex_replace(Zep3("-r in -o out -k slide --level 5 --update").err,
                                                                 std::regex("1 to look"), "1 look"));
  EXPECT_EQ(Read("out/a.png"), made);
  EXPECT_EQ(Load("out/b.png").width(), 30);
  ExpectDone("-r in -o out -k slide --update");
  EXPECT_NE(Read("out/a.png"), made);
  Save(Sample(), "else/a.png");
  ExpectFault("else/a.png -o out/ -k slide --update", "out/a.png exists, made of another scan, " + Path("in/a.png"));
  // Without either nobody knows; it is kept.
  fs::remove_all(m_folder / "out/.zep3-run");
  fs::remove(m_folder / "out/a.png.zep3.json");
  EXPECT_EQ(of("-k photo --update")["made"], "elsewhere");
  // That is written down once, for the overview.
  EXPECT_EQ(of("-k photo")["made"], "elsewhere");
  EXPECT_EQ(Run("cat out/.zep3-run/*.jsonl | grep -c '\"made\":\"elsewhere\"'").out, "1\n");
  // A record that is cut, and one that is none, are passed over.
  ExpectDone("-r in -o new -k slide");
  for (const auto& file : fs::directory_iterator(m_folder / "new/.zep3-run")) {
    std::ofstream(file.path(), std::ios::app) << "[]\n{\"name\":\"a.png\",\"at\":9e18,\"status\":\"corrected\"";
  }
  EXPECT_EQ(Records(Zep3("-r in -o new -k slide --json").out)["in/a.png"]["made"], "as-asked");
  int records = 0;
  RunIndex(m_folder / "new").ForEach([&](const nlohmann::json&) { records++; });
  EXPECT_EQ(records, 2);
}

// What is done while an earlier scan takes its time is known when the run is killed before that is done.
TEST_F(Archive, AKilledRunKnowsWhatItMade) {
  VImage::black(6000, 6000, VImage::option()->set("bands", 3))
      .write_to_file(Path("a.png[interlace,bitdepth=8]").c_str());
  for (const char* name : {"b", "c", "d"}) Save(Noise(30, 20, 1), std::string(name) + ".tif");
  const Outcome run = Run(ZEP3_PHOTO
                          " -j2 a.png b.tif c.tif d.tif -o out & p=$!; tries=0\n"
                          "until [ -e out/d.tif ] || [ $tries -gt 500 ]; do sleep 0.02; tries=$((tries + 1)); done\n"
                          "sleep 0.1; kill -KILL $p; [ ! -e out/a.png ]");
  ASSERT_EQ(run.status, 0) << "the run was done before it was killed";
  const auto records = Records(Zep3("a.png b.tif c.tif d.tif -o out --json").out);
  for (const char* name : {"b.tif", "c.tif", "d.tif"}) EXPECT_EQ(records.at(name)["made"], "as-asked") << name;
}

// What tells about a result is written later without writing the result, the same as at once.
TEST_F(Archive, WhatTellsAboutAResultComesLater) {
  Save(Sample(), "in/a.png");
  Save(Noise(40, 30, 1), "in/b.tif");
  for (const std::string where : {"-r in -o out", "-r in --in-place"}) {
    const std::string to = where.ends_with("out") ? "out/" : "in/";
    ExpectDone(where + " -k slide -b 9");
    const auto time = fs::last_write_time(m_folder / (to + "a.png"));
    const Outcome run = Zep3(where + " -k slide -b 9 --sidecar --json");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_IN("what tells about it was written", run.out);
    EXPECT_EQ(fs::last_write_time(m_folder / (to + "a.png")), time);
    for (const std::string name : {"a.png", "b.tif"}) {
      const std::string scan = to == "in/" ? OriginalOf("in/" + name) : "in/" + name;
      ExpectDone(scan + " -o once/" + name + " --overwrite --sidecar -k slide -b 9");
      EXPECT_EQ(Sidecar(to + name), Sidecar("once/" + name));
    }
  }
}

TEST_F(Archive, FailuresHaveCausesAndMayBeKnown) {
  Save(Sample(), "in/good.png");
  Save(Sample().colourspace(VIPS_INTERPRETATION_CMYK), "in/cmyk.tif[strip]");
  File("in/cut.png", Read("in/good.png").substr(0, 200));
  Outcome run = Zep3("-r in -o out --json");
  EXPECT_EQ(run.status, 1);
  auto records = Records(run.out);
  EXPECT_EQ(records["in/cmyk.tif"]["cause"], "refused");
  EXPECT_EQ(records["in/cut.png"]["cause"], "unreadable");
  EXPECT_FALSE(records["in/good.png"].contains("cause"));
  EXPECT_IN("2 failed (1 unreadable, 1 refused)", run.err);
  run = Zep3("in/good.png in/cmyk.tif -o small/ --json | cat", "prlimit --fsize=300 ");
  EXPECT_EQ(Records(run.out)["in/good.png"]["cause"], "disk");
  File("bad", "in/cut.png\n./in/cmyk.tif\nin/good.png\n");
  run = Zep3("-r in -o out --known-bad bad");
  EXPECT_EQ(run.status, 0);
  EXPECT_IN("2 known as bad", run.err);
  EXPECT_IN("in/good.png: is finished; take it out of bad", run.err);
  File("bad", "in/cut.png\n");
  EXPECT_EQ(Zep3("-r in -o out --known-bad bad").status, 1);
  // A decoder that takes its process along.
  Save(Sample(), "in/fatal.ppm");
  run = Zep3("-r in -o crashed --no-sync --json",
             Broken("open open64", 1, "run kill -SEGV $PPID", "BREAK_IN=in/fatal.ppm"));
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(Records(run.out)["in/fatal.ppm"]["cause"], "crashed") << run.err;
  EXPECT_EQ(Records(run.out)["in/good.png"]["status"], "corrected");
}

// A list that a batch of a scanner still writes: a page is finished before the next is named, and a fault is its own.
TEST_F(Archive, ListsAreTakenAsTheyArrive) {
  for (const char* scan : {"A/1.png", "A/2.png", "B/1.png"}) Save(Sample(), scan);
  const std::string waited = "for i in $(seq 200); do [ -e out/$1 ] && break; sleep 0.1; done; [ -e out/$1 ] && ";
  File("batch", "echo A/1.png\nset 1.png\n" + waited + "echo B/1.png\nset 1.png\n" + waited + "echo A/2.png\n");
  const Outcome run = Zep3("--files-from - --flat -o out --json", "sh ./batch | ");
  EXPECT_EQ(run.status, 1);
  auto records = Records(run.out);
  EXPECT_EQ(records["A/1.png"]["status"], "corrected");
  EXPECT_EQ(records["B/1.png"]["status"], "failed");
  EXPECT_IN("A/1.png", records["B/1.png"]["message"].get<std::string>());
  EXPECT_EQ(records["A/2.png"]["status"], "corrected");
}

// ---- originals ----

TEST_F(Archive, OriginalsComeBack) {
  Save(Sample(), "in/a.png");
  Save(Noise(40, 30, 1), "in/deep/b.tif");
  File("in/notes.txt", "");
  const Files scans = AllFiles();
  ExpectDone("-r in --in-place --sidecar");
  EXPECT_EQ(Names(),
            "in/a.png in/a.png.zep3.json in/a_original.png in/deep/b.tif in/deep/b.tif.zep3.json "
            "in/deep/b_original.tif in/notes.txt ");
  // Kept originals are no scans, also where results go elsewhere.
  const Outcome planned = Zep3("-n -r in -o out");
  EXPECT_IN("2 to be corrected (2 pages, ", planned.err);
  EXPECT_IN("3 files are no scans by their names (2 .json, 1 .txt), 2 are kept originals", planned.err);
  EXPECT_IN("2 to be restored", Zep3("-n -r in --in-place --restore").err);
  // What was changed since is not lost.
  const std::string changed = Read("in/a.png") + "changed";
  File("in/a.png", changed);
  ExpectFault("-r in --in-place --restore", "1 restored, 1 failed");
  EXPECT_EQ(Read("in/a.png"), changed);
  EXPECT_EQ(Read("in/deep/b.tif"), scans.at("in/deep/b.tif"));
  fs::remove(m_folder / "in/a.png");
  ExpectDone("in/a.png --in-place --restore");
  EXPECT_IN("no original of it is kept", Zep3("in/a.png --in-place --restore").err);
  for (const auto& [name, content] : scans) EXPECT_EQ(Read(name), content) << name;
  // As former versions named it.
  ExpectDone("in/a.png --in-place -b 9");
  fs::rename(m_folder / "in/a_original.png", m_folder / "in/a.png_original");
  EXPECT_IN("a.png_original exists: it is corrected already", Zep3("in/a.png --in-place").err);
  ExpectDone("in/a.png --in-place --restore");
  EXPECT_EQ(Read("in/a.png"), scans.at("in/a.png"));
  EXPECT_FALSE(Exists("in/a.png_original"));
}

// A scan may be called as an original would be.
TEST_F(Archive, AScanIsNotTakenForAnOriginal) {
  Save(Sample(), "in/a.png");
  Save(Noise(40, 30, 1), "in/a_original.png");
  const Files before = AllFiles();
  for (const char* options : {"", "--overwrite", "--restore"}) {
    ExpectFault(std::string("in/a.png --in-place ") + options, "is not what a run has kept of this scan");
  }
  ExpectFiles(before);
  ExpectDone("-r in -o out");
  EXPECT_TRUE(Exists("out/a.png") && Exists("out/a_original.png"));
}

} // namespace
