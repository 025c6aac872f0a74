// What people meet in a terminal: the line of progress, words that they mistype, help and completion.
#include <pty.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "command/progress_line.h"
#include "did_you_mean.h"
#include "program.h"

namespace {

// ---- progress ----

TEST(Progress, TheLineFitsAndEndsWithTheName) {
  const struct {
    PassState pass;
    size_t columns;
    const char* text;
  } cases[] = {
      {{"", 12, 345, 3.2, "a/17.tif"}, 79, "zep3: 12 of 345, 3.2/s, 1 min 45 s left: a/17.tif"}, // 333 / 3.2 = 104.06
      {{"", 12, 345, 3.2, "archive/box 3/017.tif"}, 56, "zep3: 12 of 345, 3.2/s, 1 min 45 s left: ...ox 3/017.tif"},
      {{"", 12, 345, 3.2, "archive/box 3/017.tif"}, 45, "zep3: 12 of 345, 3.2/s, 1 min 45 s left"},
      {{"", 12, 345, 3.2, "a"}, 10, "zep3: 12 o"},
      {{"looked at ", 2, 9000, 0.25, "a"}, 79, "zep3: looked at 2 of 9000, 0.25/s, 9 h 59 min left: a"},
      {{"", 7, {}, 0, "a\x1b[2J.tif"}, 79, "zep3: 7 done: a\\x1b[2J.tif"},
      // Wide ones are not halved: of 14 columns 11 are left behind the dots, for four of two columns and three of one.
      {{"", 1, {}, 0, "\u6f22\u5b57\u6f22\u5b57\u6f22\u5b57.ti"}, 28, "zep3: 1 done: ...\u6f22\u5b57\u6f22\u5b57.ti"},
      {{"", 1, {}, 0, "e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301"},
       26,
       "zep3: 1 done: e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ProgressText(c.pass, c.columns), c.text);
    EXPECT_LE(ColumnsOf(std::string_view(c.text)), c.columns);
  }
}

class Terminal : public Program {
 protected:
  // What a command writes to a terminal of so many columns, and of `later` ones from its first line on.
  std::string OnTerminal(const std::string& command, unsigned short columns, unsigned short later) const {
    winsize size = {24, columns, 0, 0};
    int terminal = -1;
    const pid_t pid = ::forkpty(&terminal, nullptr, nullptr, &size);
    if (pid == 0) {
      ::execl("/bin/sh", "sh", "-c", ("cd '" + m_folder.string() + "' && exec " + command).c_str(), nullptr);
      ::_exit(127);
    }
    std::string text;
    char bytes[4096];
    for (ssize_t count; (count = ::read(terminal, bytes, sizeof bytes)) > 0;) {
      text.append(bytes, static_cast<size_t>(count));
      size.ws_col = later;
      ::ioctl(terminal, TIOCSWINSZ, &size); // the system tells the processes
    }
    ::close(terminal);
    ::waitpid(pid, nullptr, 0);
    return text;
  }

  // The texts that take the place of one another on a line, or one that follows.
  static std::vector<std::string> Drawn(const std::string& text) {
    std::vector<std::string> drawn;
    const std::regex piece("[^\r\n]+");
    for (std::sregex_iterator at(text.begin(), text.end(), piece), end; at != end; ++at)
      drawn.push_back(std::regex_replace(at->str(), std::regex("\033\\[K"), ""));
    return drawn;
  }
};

TEST_F(Terminal, OneLineOfProgressInItsWidth) {
  const std::string folder = "in/\u6f22\u5b57\u6f22\u5b57\u6f22\u5b57 a long name of a folder/";
  for (int i = 0; i < 12; i++) Save(Sample(), folder + std::to_string(100 + i) + ".png");
  File(folder + "105b.png", "no picture");
  const std::string slow = Broken("write pwrite pwrite64", 1, "run sleep 0.4", "BREAK_IN=out/");
  for (const std::string run : {"-k photo -j2 -r in -o out", "--roll -k negative -j2 -r in -o out"}) {
    const std::string text = OnTerminal(slow + ZEP3_PROGRAM " --overwrite " + run, 60, 44);
    SCOPED_TRACE(text);
    EXPECT_IN("of 13", text);
    EXPECT_EQ(text.find("looked at ") != std::string::npos, run.starts_with("--roll"));
    int lines = 0;
    bool narrow = false; // once the terminal has become so
    for (const std::string& drawn : Drawn(text)) {
      const bool message = drawn.find("no image") != std::string::npos ||
                           drawn.find("corrected") != std::string::npos ||
                           drawn.find("roll.zep3") != std::string::npos || drawn.find("look at") != std::string::npos;
      EXPECT_TRUE(drawn.empty() || drawn.starts_with("zep3: ")) << drawn; // nothing stands behind something else
      if (message || drawn.empty()) continue;
      narrow |= ColumnsOf(drawn) < 44;
      EXPECT_LT(ColumnsOf(drawn), narrow ? 44u : 60u) << drawn;
      lines++;
    }
    EXPECT_TRUE(narrow);
    EXPECT_GT(lines, 3);
  }
  const std::string quiet = OnTerminal(ZEP3_PROGRAM " -k photo -q --overwrite -r in -o out", 60, 60);
  EXPECT_EQ(Drawn(quiet).size(), 1u) << quiet; // what failed
  EXPECT_EQ(Zep3("--overwrite -r in -o out").err.find('\r'), std::string::npos);
}

// A worker's message does not run into the line.
TEST_F(Terminal, MessagesOfWorkersClearTheLine) {
  Save(Sample(), "made.png");
  const std::string made = Read("made.png");
  const std::string coded = made.substr(0, 33) + std::string("\0\0\0\4cICP\x9\x10\0\1\x4d\x23\x23\xfe", 16) +
                            made.substr(made.find("IDAT") - 4);
  fs::create_directory(m_folder / "in");
  for (int i = 0; i < 6; i++) File("in/" + std::to_string(i) + ".png", coded);
  const std::string slow = Broken("write pwrite pwrite64", 1, "run sleep 0.2", "BREAK_IN=out/");
  const std::string text = OnTerminal(slow + ZEP3_PHOTO " -j2 -r in -o out --format tif", 80, 80);
  for (const std::string& drawn : Drawn(text)) EXPECT_TRUE(drawn.empty() || drawn.starts_with("zep3: ")) << drawn;
  EXPECT_IN("of 6", text);
  EXPECT_IN("(cICP) is left out", text);
}

// ---- words ----

TEST(DidYouMean, TheNearestWord) {
  const std::vector<std::string> words = {"analyse", "compare", "tables", "slide", "faded-slide", "tif", "--exposure"};
  const char* const cases[][2] = {{"analize", "analyse"},
                                  {"analyze", "analyse"},
                                  {"comapre", "compare"},
                                  {"slides", "slide"},
                                  {"fadedslide", "faded-slide"},
                                  {"tfi", "tif"},
                                  {"--exp", "--exposure"},
                                  {"--exposer", "--exposure"},
                                  {"scan", ""},
                                  {"x", ""},
                                  {"", ""},
                                  {"table", "tables"}};
  for (const auto& [typed, meant] : cases) EXPECT_EQ(NearestWord(typed, words), meant) << typed;
}

TEST_F(Terminal, MistypedWordsAreNamed) {
  const char* const cases[][2] = {{"analize a.png", "no command and no scan 'analize'; did you mean analyse?"},
                                  {"-k slides a.png -o b.png", "--kind: 'slides': expected photo, "},
                                  {"-k slides a.png -o b.png", "; did you mean slide?"},
                                  {"--exposer=1 a.png", "no option --exposer; did you mean --exposure?"},
                                  {"a.png -o b.png --format tfi", "did you mean tif?"},
                                  {"a.png -o b.png --also-read jp2,hief", "did you mean heif?"}};
  for (const auto& [arguments, message] : cases) ExpectFault(arguments, message, 2);
  Save(Sample(), "scan.png");
  fs::rename(m_folder / "scan.png", m_folder / "table");
  ExpectDone("table -o b.png"); // a scan of such a name is one
}

TEST_F(Terminal, HelpOfACommandHasItsOptions) {
  const struct {
    const char *command, *has, *hasNot;
  } cases[] = {{"analyse", "--exposure STOPS", "--report"},
               {"compare", "--overwrite", "--kind KIND"},
               {"tables", "--as FORM", "--crop"}};
  for (const auto& c : cases) {
    const std::string help = Run(ZEP3_PROGRAM " " + std::string(c.command) + " --help").out;
    EXPECT_IN(std::string("Usage: zep3 ") + c.command + " [OPTIONS] [SCAN...]\n", help);
    EXPECT_IN(c.has, help);
    EXPECT_EQ(help.find(c.hasNot), std::string::npos) << c.command;
  }
}

// ---- completion ----

TEST_F(Terminal, ShellsComplete) {
  File("faded.txt", "");
  const std::string begin = "PATH='" + fs::path(ZEP3_PROGRAM).parent_path().string() + "':$PATH; ";
  const struct {
    const char *typed, *completed;
  } cases[] = {{"zep3 ana", "analyse"},
               {"zep3 -k faded-pri", "faded-print"},
               {"zep3 tables --as scani", "scanimage"},
               {"zep3 -k photo --expo", "--exposure"},
               {"zep3 --use-sidecar fad", "faded.txt"}};
  const bool fish = Run("command -v fish").status == 0, zsh = Run("command -v zsh").status == 0,
             bash = Run("test -e /usr/share/bash-completion/bash_completion").status == 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.typed);
    const std::string typed = c.typed;
    if (fish) {
      const Outcome run =
          Run(begin + "HOME=$PWD fish -c 'source " ZEP3_COMPLETIONS ".fish; complete -C \"" + typed + "\"'");
      EXPECT_TRUE(run.out.starts_with(c.completed)) << run.out << run.err;
    }
    if (bash) {
      const std::string words = std::regex_replace(typed, std::regex(" "), "' '");
      const Outcome run = Run(
          begin + "bash -c \". /usr/share/bash-completion/bash_completion; . " ZEP3_COMPLETIONS ".bash; COMP_WORDS=('" +
          words +
          "'); COMP_CWORD=\\$((\\${#COMP_WORDS[@]} - 1)); "
          "COMP_LINE='" +
          typed + "'; COMP_POINT=\\${#COMP_LINE}; _zep3 zep3; echo \\\"\\${COMPREPLY[*]}\\\"\"");
      EXPECT_EQ(run.out, c.completed + std::string("\n")) << run.err;
    }
    if (zsh) { // completes at a terminal alone: the words that come out are those of the program
      fs::create_directories(m_folder / "functions");
      fs::copy_file(ZEP3_COMPLETIONS ".zsh", m_folder / "functions/_zep3", fs::copy_options::overwrite_existing);
      File("talk.zsh",
           "zmodload zsh/zpty\nzpty z zsh -f -i\n"
           "zpty -w z 'PS1=; fpath=($PWD/functions $fpath); autoload -Uz compinit; compinit -u -D; print READY | tr "
           "A-Z a-z'\n"
           "zpty -r -m z seen '*ready*'\nsleep 1\n"
           "zpty -n -w z $'" +
               typed +
               "\\t'\nsleep 1\nzpty -n -w z $'\\x01echo \\x05; print DONE | tr A-Z a-z\\n'\n"
               "zpty -r -m z seen '*done*'\nprint -r -- $seen\n");
      const Outcome run = Run(begin + "timeout 20 zsh -f talk.zsh");
      EXPECT_IN(c.completed, run.out) << run.err;
    }
  }
  if (!fish || !zsh || !bash) GTEST_SKIP() << "not all of fish, zsh and bash-completion are here";
}

} // namespace
