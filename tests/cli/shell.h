// Programs as a user runs them, in a folder of their own that goes away with the test.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

struct Outcome {
  int status;
  std::string out, err;
};

class Shell : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "zep3_test_XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    m_folder = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(m_folder); }

  std::string Path(const std::string& name) const { return (m_folder / name).string(); }

  std::string File(const std::string& name, const std::string& bytes) const {
    std::ofstream(Path(name), std::ios::binary) << bytes;
    return Path(name);
  }

  std::string Read(const std::string& name) const {
    std::ostringstream text;
    text << std::ifstream(Path(name), std::ios::binary).rdbuf();
    return text.str();
  }

  bool Exists(const std::string& name) const { return std::filesystem::exists(m_folder / name); }

  // Runs a shell command line in the folder.
  Outcome Run(const std::string& command) const {
    const std::string line = "cd '" + m_folder.string() + "' && { " + command + "; } >.out 2>.err";
    const int status = std::system(line.c_str());
    return {WEXITSTATUS(status), Read(".out"), Read(".err")};
  }

  std::filesystem::path m_folder;
};
