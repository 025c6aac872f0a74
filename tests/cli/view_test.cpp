// zep3 view, as a browser meets it, and as somebody does who should not.
#include <httplib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "program.h"

namespace {

// The program, serving until it is ended.
class Serving {
 public:
  explicit Serving(const std::vector<std::string>& words) {
    int ends[2];
    EXPECT_EQ(::pipe(ends), 0);
    m_process = ::fork();
    if (m_process == 0) {
      ::dup2(ends[1], STDOUT_FILENO);
      std::vector<char*> arguments = {const_cast<char*>("zep3"), const_cast<char*>("view"),
                                      const_cast<char*>("--no-browser"), const_cast<char*>("-q")};
      for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
      arguments.push_back(nullptr);
      ::execv(ZEP3_PROGRAM, arguments.data());
      ::_exit(127);
    }
    ::close(ends[1]);
    for (char c; ::read(ends[0], &c, 1) == 1 && c != '\n';) m_address += c;
    ::close(ends[0]);
    const size_t path = m_address.find('/', 8);
    if (path == std::string::npos) return;
    m_origin = m_address.substr(0, path);
    m_base = m_address.substr(path, m_address.find('/', path + 1) + 1 - path);
  }
  ~Serving() {
    if (m_process > 0) End();
  }
  // The exit status.
  int End() {
    ::kill(m_process, SIGINT);
    int status = 0;
    ::waitpid(std::exchange(m_process, 0), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  const std::string& Address() const { return m_address; }
  const std::string& Origin() const { return m_origin; }
  const std::string& Base() const { return m_base; } // of every path

  httplib::Result Get(const std::string& path, const httplib::Headers& headers = {}) const {
    return httplib::Client(m_origin).Get(path, headers);
  }
  httplib::Result Put(const std::string& path, const std::string& body, const httplib::Headers& headers,
                      const char* type = "application/json") const {
    return httplib::Client(m_origin).Put(path, headers, body, type);
  }

 private:
  pid_t m_process = -1;
  std::string m_address, m_origin, m_base;
};

class View : public Program {
 protected:
  void SetUp() override {
    Program::SetUp();
    fs::create_directories(m_folder / "page/assets");
    fs::create_directories(m_folder / "in");
    File("page/index.html", "the page");
    File("page/assets/engine.wasm", "the engine");
    ::setenv("ZEP3_WEB", Path("page").c_str(), 1);
  }
  void TearDown() override {
    ::unsetenv("ZEP3_WEB");
    Program::TearDown();
  }
};

TEST_F(View, ServesWhatWasNamedToWhoKnowsTheAddressAlone) {
  Save(Sample(), "in/a.png");
  Save(Sample(), "in/b.tif");
  Save(Sample(), "secret.png");
  File("in/notes.txt", "not a scan");
  fs::create_symlink(m_folder / "secret.png", m_folder / "in/zep3-link.txt");
  const Serving serving({Path("in")});
  const std::string base = serving.Base();
  ASSERT_EQ(base.size(), 34u) << serving.Address(); // 128 bits between slashes

  const auto list = serving.Get(base + "api/scans");
  ASSERT_TRUE(list);
  const auto scans = nlohmann::json::parse(list->body).at("scans");
  ASSERT_EQ(scans.size(), 2u);
  EXPECT_EQ(scans[0].at("name"), "a.png");
  EXPECT_EQ(scans[1].at("bytes"), fs::file_size(m_folder / "in/b.tif"));
  EXPECT_EQ(serving.Get(base + "api/scans/1")->body, Read("in/b.tif"));

  const auto page = serving.Get(base);
  EXPECT_EQ(page->body, "the page");
  EXPECT_EQ(page->get_header_value("Cross-Origin-Embedder-Policy"), "require-corp");
  EXPECT_EQ(serving.Get(base + "assets/engine.wasm")->get_header_value("Content-Type"), "application/wasm");

  std::string wrong = base;
  wrong[5] = wrong[5] == '0' ? '1' : '0';
  const struct {
    std::string path;
    httplib::Headers headers;
    int status;
  } refused[] = {
      {"/", {}, 404},
      {"/api/scans", {}, 404},
      {wrong + "api/scans", {}, 404},
      {base.substr(0, 20) + "/api/scans", {}, 404},
      {base + "api/scans", {{"Host", "example.org"}}, 421}, // a name that was led to this machine
      {base + "api/scans", {{"Host", "localhost:1"}}, 421},
      {base + "api/scans/2", {}, 404},
      {base + "api/scans/99999999999999999999", {}, 404},
      {base + "api/scans/../../secret.png", {}, 404},
      {base + "api/scans/0/sidecar", {}, 404}, // there is none yet
      {base + "run/a.png", {}, 404},           // no run was named
      {base + "../../../../etc/passwd", {}, 404},
      {base + "%2e%2e/%2e%2e/etc/passwd", {}, 404},
      {base + "/etc/passwd", {}, 404},
  };
  for (const auto& row : refused) {
    const auto answer = serving.Get(row.path, row.headers);
    ASSERT_TRUE(answer) << row.path;
    EXPECT_EQ(answer->status, row.status) << row.path;
  }
}

TEST_F(View, WritesASidecarThatTheProgramRepeats) {
  Save(Sample(), "in/a.png");
  ASSERT_EQ(Zep3("in/a.png -k faded-slide -b 20 -o there.png --sidecar").status, 0);
  const std::string sidecar = Read("there.png.zep3.json");
  const Serving serving({Path("in")});
  const std::string path = serving.Base() + "api/scans/0/sidecar";
  const httplib::Headers own = {{"Origin", serving.Origin()}};

  const struct {
    const char* what;
    std::string body;
    httplib::Headers headers;
    const char* type;
    int status;
  } refused[] = {
      {"another page", sidecar, {{"Origin", "http://example.org"}}, "application/json", 403},
      {"no page", sidecar, {}, "application/json", 403},
      {"a form", sidecar, own, "text/plain", 415},
      {"no sidecar", "{}", own, "application/json", 422},
      {"half of one", sidecar.substr(0, sidecar.size() / 2), own, "application/json", 422},
      {"too much", std::string((64 << 20) + 1, ' '), own, "application/json", 413},
  };
  for (const auto& row : refused) {
    const auto answer = serving.Put(path, row.body, row.headers, row.type);
    // Of what is too much, the answer may come while it is still sent.
    if (answer) {
      EXPECT_EQ(answer->status, row.status) << row.what;
    }
    EXPECT_FALSE(Exists("in/a.png.zep3.json")) << row.what;
  }

  const auto answer = serving.Put(path, sidecar, own);
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, 200) << answer->body;
  EXPECT_EQ(Read("in/a.png.zep3.json"), sidecar);
  EXPECT_EQ(serving.Get(path)->body, sidecar);
  ASSERT_EQ(Zep3("in/a.png --use-sidecar in/a.png.zep3.json -o again.png").status, 0);
  EXPECT_EQ(Difference(Load("again.png"), Load("there.png")), 0);
}

TEST_F(View, ShowsTheOverviewOfARunAndNothingBesideIt) {
  Save(Sample(), "in/a.png");
  Save(Sample(), "in/b.png");
  Save(Sample(), "secret.png");
  ASSERT_EQ(Zep3("-r in -o out --report").status, 0);
  fs::create_symlink(m_folder / "secret.png", m_folder / "out/link.png");
  Serving serving({Path("out")});
  EXPECT_EQ(serving.Address(), serving.Origin() + serving.Base() + "run/zep3-report/index.html");
  const auto page = serving.Get(serving.Base() + "run/zep3-report/index.html");
  ASSERT_TRUE(page);
  EXPECT_EQ(page->body, Read("out/zep3-report/index.html"));
  // Its own scripts run, and fetch nothing; those of other pages in the folder do not run.
  EXPECT_IN("default-src 'none'; script-src 'self' 'unsafe-inline'", page->get_header_value("Content-Security-Policy"));
  File("out/page.html", "<script>alert(1)</script>");
  for (const char* other : {"run/page.html", "run/zep3-report/../page.html"}) {
    const auto answer = serving.Get(serving.Base() + other);
    if (answer->status == 200) {
      EXPECT_TRUE(answer->get_header_value("Content-Security-Policy").starts_with("sandbox;")) << other;
    }
  }
  EXPECT_EQ(serving.Get(serving.Base() + "run/page.html")->status, 200);
  EXPECT_EQ(serving.Get(serving.Base() + "run/a.png")->body, Read("out/a.png"));
  for (const char* outside :
       {"run/link.png", "run/../secret.png", "run/%2e%2e/secret.png", "run//etc/passwd", "run/zep3-report"})
    EXPECT_EQ(serving.Get(serving.Base() + outside)->status, 404) << outside;
  EXPECT_EQ(serving.End(), 0);
}

TEST_F(View, SaysWhatIsWrongWithItsWords) {
  fs::create_directories(m_folder / "empty");
  const struct {
    const char* words;
    const char* said;
  } rows[] = {
      {"view", "say which scans"},
      {"view nowhere.tif", "nowhere.tif is no file and no folder"},
      {"view empty", "no scans there"},
      {"-k photo in -o out --no-browser", "--no-browser is for zep3 view"},
  };
  for (const auto& row : rows) {
    const Outcome run = Zep3(row.words);
    EXPECT_EQ(run.status, 2) << row.words;
    EXPECT_IN(row.said, run.err);
  }
}

} // namespace
