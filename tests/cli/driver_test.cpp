// The driver as a user runs it: arguments and a raw file in, three lines, messages and a status out.
#include <algorithm>

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
  std::istringstream text(out);
  int value = 0, count = 0;
  for (char comma = 0; text >> value >> comma; count++) {
    EXPECT_TRUE(0 <= value && value <= 255 && comma == ',');
    EXPECT_EQ(text.peek() == '\n', count % 256 == 255) << count;
  }
  EXPECT_EQ(count, 3 * 256);
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 3);
}

TEST_F(Driver, AnalysesGrayAsEqualChannels) {
  File("gray", GrayPixels());
  File("rgb", Tripled(GrayPixels()));
  std::string tables[8];
  for (const int mode : {0, 1, 2, 7}) {
    const Outcome run = RunDriver("0 0 22 60 50 1 " + std::to_string(mode) + " gray");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    ExpectTables(run.out);
    EXPECT_EQ(run.out, RunDriver("0 0 22 60 50 0 " + std::to_string(mode) + " rgb").out);
    tables[mode] = run.out;
  }
  EXPECT_TRUE(tables[0] != tables[1] && tables[1] != tables[2] && tables[2] == tables[7]);
}

TEST_F(Driver, ReadsNumbersAsFarAsTheyGo) {
  File("rgb", Tripled(GrayPixels()));
  const auto tables = [&](const std::string& user) { return RunDriver(user + " 22 60 50 0 2 rgb").out; };
  EXPECT_EQ(tables("junk 4294967296"), tables("0 0")) << "32 bits remain";
  EXPECT_EQ(tables("' 10abc' 150"), tables("10 99"));
  EXPECT_NE(tables("10 0"), tables("0 0"));
}

TEST_F(Driver, NeverReadsPastTheFile) {
  File("short", Tripled(GrayPixels()).substr(1));
  File("gray", GrayPixels());
  const struct {
    const char *why, *arguments, *message = "";
  } rows[] = {{"RGB one byte short", "60 50 0 2 short"},
              {"no file and no pixels", "0 0 1 2 none", "no input file\n"},
              {"a product beyond 32 bits", "65536 65536 1 2 gray"},
              {"a stride beyond 32 bits", "2147483647 1 0 2 gray"},
              {"negative sizes", "-60 -50 0 2 gray"}};
  std::string first;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    const Outcome run = RunDriver("0 0 22 " + std::string(row.arguments));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, row.message + std::string("ZEP3 fails\n"));
    ExpectTables(run.out);
    if (first.empty()) first = run.out; // the tables of an untouched record, whatever failed
    EXPECT_EQ(run.out, first);
  }
}

TEST_F(Driver, AsksForItsArguments) {
  const Outcome run = RunDriver("0 0 22 60 50 0 2");
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.out, "");
  EXPECT_TRUE(run.err.starts_with("usage: zep3_driver ")) << run.err;
}

} // namespace
