// The page and the table of a run, as a browser, a spreadsheet and the next run meet them.
#include "program.h"

namespace {

class Overview : public Program {
 protected:
  // Values of a column of run.csv, by the order of its lines; the head is left out.
  std::vector<std::string> Column(const std::string& table, const std::string& name) const {
    std::vector<std::vector<std::string>> lines(1);
    std::string cell;
    bool quoted = false;
    const std::string text = Read(table);
    for (size_t i = 0; i < text.size(); i++) {
      if (text[i] == '"' && quoted && text[i + 1] == '"')
        cell += text[i++];
      else if (text[i] == '"')
        quoted = !quoted;
      else if (quoted || (text[i] != ',' && text[i] != '\r' && text[i] != '\n'))
        cell += text[i];
      else if (text[i] != '\r') {
        lines.back().push_back(std::exchange(cell, ""));
        if (text[i] == '\n') lines.emplace_back();
      }
    }
    lines.pop_back();
    const auto at = static_cast<size_t>(std::find(lines[0].begin(), lines[0].end(), name) - lines[0].begin());
    std::vector<std::string> values;
    for (size_t i = 1; i < lines.size(); i++) {
      EXPECT_EQ(lines[i].size(), lines[0].size());
      values.push_back(lines[i].at(at));
    }
    return values;
  }

  size_t Count(const std::string& page, const std::string& part) const {
    size_t count = 0;
    for (size_t i = page.find(part); i != std::string::npos; i = page.find(part, i + 1)) count++;
    return count;
  }
};

TEST_F(Overview, ShowsEveryScanAndEscapesItsName) {
  const std::vector<std::string> names = {"in/=1+1.png", "in/a, \"b\".png", "in/<script>&.png", "in/sub/%41 #?.png"};
  for (const std::string& name : names) {
    Save(Sample(), "in/plain.png");
    fs::create_directories((m_folder / name).parent_path());
    fs::copy_file(m_folder / "in/plain.png", m_folder / name);
  }
  fs::remove(m_folder / "in/plain.png");
  File("in/broken.png", "nothing");
  EXPECT_EQ(Zep3("-r in -o out --report").status, 1);
  const std::string page = Read("out/zep3-report/index.html");
  EXPECT_EQ(Count(page, "<article"), 5u); // without any script
  EXPECT_IN("5 scans, 1 failed, 4 good", page);
  EXPECT_IN("is no image that can be read", page);
  EXPECT_EQ(page.find("<script>&"), std::string::npos);
  EXPECT_IN("src=\"thumbs/sub/%2541%20%23%3F.png.jpg\"", page);
  EXPECT_TRUE(Exists("out/zep3-report/thumbs/sub/%41 #?.png.jpg"));
  EXPECT_IN("href=\"../index.html\"", Read("out/zep3-report/scans/<script>&.png.html"));
  EXPECT_IN("href=\"../../index.html\"", Read("out/zep3-report/scans/sub/%41 #?.png.html"));
  EXPECT_EQ(Column("out/zep3-report/run.csv", "scan"),
            (std::vector<std::string>{"in/broken.png", "in/<script>&.png", "in/=1+1.png", "in/a, \"b\".png",
                                      "in/sub/%41 #?.png"}));
  EXPECT_EQ(Column("out/zep3-report/run.csv", "page"), (std::vector<std::string>{"", "1", "1", "1", "1"}));
  const std::string seen = Analysed("'in/=1+1.png'")["record"]["points"]["blue"]["lHlIn"].dump();
  EXPECT_EQ(Column("out/zep3-report/run.csv", "blue_highlight_in")[2], seen);
  // A name that a spreadsheet would take for a formula, in the folder itself.
  ExpectDone("'in/=1+1.png' 'in/a, \"b\".png' -o other --overview");
  EXPECT_EQ(Column("other/zep3-report/run.csv", "scan")[0], "in/=1+1.png");
  fs::copy_file(m_folder / names[0], m_folder / "=1+1.png");
  ExpectDone("=1+1.png 'in/a, \"b\".png' -o formula/ --overview");
  EXPECT_EQ(Column("formula/zep3-report/run.csv", "scan")[0], "'=1+1.png");
  EXPECT_FALSE(Exists("formula/zep3-report/scans"));
  // Its pictures are no scans.
  EXPECT_IN("zep3: 2 to be corrected", Zep3("-r other -o third -n").err);
}

TEST_F(Overview, MergesWhatSeveralRunsLeft) {
  for (const char* name : {"a.png", "b.png", "c.png"}) Save(Sample(), name);
  ExpectDone("a.png b.png -o out/one --overview");
  ExpectDone("b.png c.png -o out/two --no-overview");
  const Outcome told = Zep3("a.png c.png -o far --json");
  // As if written on another machine, into a folder that was moved here; and a line that was cut.
  File("lines.jsonl", std::regex_replace(told.out, std::regex("far/"), "/mnt/far/three/") + "{\"scan\":");
  fs::create_directories(m_folder / "out/three");
  fs::rename(m_folder / "far/a.png", m_folder / "out/three/a.png");
  const Outcome run = Run(ZEP3_PROGRAM " overview out lines.jsonl");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_IN("lines.jsonl: 1 lines are none of --json", run.err);
  const std::string page = Read("out/zep3-report/index.html");
  EXPECT_EQ(Count(page, "<article"), 6u);
  EXPECT_IN("href=\"../one/b.png\"", page);
  EXPECT_IN("href=\"../two/b.png\"", page);
  EXPECT_IN("href=\"../three/a.png\"", page);
  EXPECT_EQ(Column("out/zep3-report/run.csv", "scan").size(), 6u);
  // The newest record counts.
  ExpectDone("a.png b.png -o out/one --overwrite -b -1000 --overview");
  EXPECT_EQ(Count(Read("out/one/zep3-report/index.html"), "to look at</strong>"), 2u);
  EXPECT_EQ(Run(ZEP3_PROGRAM " overview lines.jsonl").status, 2);
}

TEST_F(Overview, ListsGoBackIntoARun) {
  for (const char* name : {"in/a.png", "in/b c.png", "in/sub/a.png"}) Save(Sample(), name);
  ExpectDone("-r in -o out --overview");
  // What the page's script takes into the list.
  std::string script = Read("out/zep3-report/scans.js");
  script = script.substr(script.find('{'));
  for (const auto& [from, to] : {std::pair(",\n]};", "]}"), {"window.zep3Overview = ", ""}})
    if (const size_t at = script.find(from); at != std::string::npos) script.replace(at, std::string(from).size(), to);
  const nlohmann::json data = nlohmann::json::parse(script);
  EXPECT_EQ(data.at("startedIn"), fs::canonical(m_folder).string());
  std::string list;
  for (const nlohmann::json& scan : data.at("scans")) list += scan.at(3).get<std::string>() + "\n";
  EXPECT_EQ(list, "in/a.png\nin/b c.png\nin/sub/a.png\n");
  File("marked.txt", "in/b c.png\nin/sub/a.png\n");
  EXPECT_IN("zep3: 2 corrected, 0 failed", Zep3("--files-from marked.txt -o again").err);
}

TEST_F(Overview, IsPaged) {
  std::string lines;
  for (int i = 0; i < 401; i++)
    lines +=
        "{\"scan\":\"s" + std::to_string(1000 + i) + ".tif\",\"result\":\"\",\"status\":\"failed\",\"pages\":[]}\n";
  File("lines", lines);
  fs::create_directories(m_folder / "out");
  ASSERT_EQ(Run(ZEP3_PROGRAM " overview out - < lines").status, 0);
  EXPECT_EQ(Count(Read("out/zep3-report/index.html"), "<article"), 200u);
  EXPECT_EQ(Count(Read("out/zep3-report/page-3.html"), "<article"), 1u);
  File("lines", lines.substr(0, lines.find("s1300")) + "x\"}");
  ASSERT_EQ(Run(ZEP3_PROGRAM " overview out - < lines").status, 0);
  EXPECT_FALSE(Exists("out/zep3-report/page-3.html"));
  ExpectFault("a.png -o b.png --overview", "a folder of results", 2);
}

} // namespace
