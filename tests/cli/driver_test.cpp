// The driver as a user runs it: arguments and a raw file in, three lines, messages and a status out.
#include <sstream>
#include <string>
#include <vector>

#include "shell.h"

namespace {

class Driver : public Shell {
 protected:
  Outcome RunDriver(const std::string& arguments) const { return Run(std::string(ZEP3_DRIVER) + " " + arguments); }
};

// A ramp with a little texture, one byte a pixel; and the same as R = G = B.
std::string GrayPixels() {
  std::string gray;
  for (int i = 0; i < 60 * 50; i++) gray += static_cast<char>(40 + i % 60 * 3 + i % 7);
  return gray;
}
std::string Tripled(const std::string& gray) {
  std::string rgb;
  for (const char v : gray) rgb.append(3, v);
  return rgb;
}

// Three lines of 256 numbers 0..255, each with a comma behind it.
void ExpectTables(const std::string& out) {
  std::istringstream lines(out);
  std::string line;
  int count = 0;
  while (std::getline(lines, line)) {
    count++;
    EXPECT_EQ(line.back(), ',');
    std::istringstream fields(line);
    std::string field;
    int entries = 0;
    while (std::getline(fields, field, ',')) {
      entries++;
      EXPECT_TRUE(std::stoi(field) >= 0 && std::stoi(field) <= 255);
    }
    EXPECT_EQ(entries, 256);
  }
  EXPECT_EQ(count, 3);
}

TEST_F(Driver, AnalysesGrayAsEqualChannels) {
  const std::string gray = File("gray", GrayPixels());
  const std::string rgb = File("rgb", Tripled(GrayPixels()));
  for (const std::string mode : {"0", "1", "2", "7"}) {
    const Outcome a = RunDriver("0 0 22 60 50 1 " + mode + " " + gray);
    const Outcome b = RunDriver("0 0 22 60 50 0 " + mode + " " + rgb);
    EXPECT_EQ(a.status, 0);
    EXPECT_EQ(a.err, "");
    ExpectTables(a.out);
    EXPECT_EQ(a.out, b.out);
  }
  EXPECT_NE(RunDriver("0 0 22 60 50 1 0 " + gray).out, RunDriver("0 0 22 60 50 1 1 " + gray).out);
  EXPECT_NE(RunDriver("0 0 22 60 50 1 1 " + gray).out, RunDriver("0 0 22 60 50 1 2 " + gray).out);
  EXPECT_EQ(RunDriver("0 0 22 60 50 1 2 " + gray).out, RunDriver("0 0 22 60 50 1 7 " + gray).out);
}

TEST_F(Driver, ReadsNumbersAsFarAsTheyGo) {
  const std::string file = File("rgb", Tripled(GrayPixels()));
  const auto tables = [&](const std::string& user) { return RunDriver(user + " 22 60 50 0 2 " + file).out; };
  const std::string plain = tables("0 0");
  EXPECT_EQ(tables("junk x"), plain);
  EXPECT_EQ(tables("4294967296 0"), plain) << "32 bits remain";
  EXPECT_EQ(tables("' 10abc' 0"), tables("10 0"));
  EXPECT_NE(tables("10 0"), plain);
  EXPECT_EQ(tables("0 150"), tables("0 99"));
}

TEST_F(Driver, NeverReadsPastTheFile) {
  const std::string gray = GrayPixels();
  struct Row {
    const char* why;
    std::string arguments, file, messages;
  };
  const std::string fails = "ZEP3 fails\n";
  const Row rows[] = {
      {"RGB one byte short", "60 50 0 2", File("short", Tripled(gray).substr(1)), fails},
      {"gray one byte short", "60 50 1 2", File("short_gray", gray.substr(1)), fails},
      {"empty file", "60 50 0 2", File("empty", ""), fails},
      {"no file", "60 50 0 2", (m_folder / "none").string(), "no input file\n" + fails},
      {"no file and no pixels", "0 0 1 2", (m_folder / "none").string(), "no input file\n" + fails},
      {"a product beyond 32 bits", "65536 65536 1 2", File("gray", gray), fails},
      {"a stride beyond 32 bits", "2147483647 1 0 2", File("gray", gray), fails},
      {"negative sizes", "-60 -50 0 2", File("gray", gray), fails},
  };
  std::string first;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    const Outcome run = RunDriver("0 0 22 " + row.arguments + " " + row.file);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, row.messages);
    ExpectTables(run.out);
    if (first.empty()) first = run.out; // the tables of an untouched record, whatever failed
    EXPECT_EQ(run.out, first);
  }
}

TEST_F(Driver, AsksForItsArguments) {
  const Outcome run = RunDriver("0 0 22 60 50 0 2");
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err.rfind("usage: zep3_driver ", 0), 0u);
}

} // namespace
