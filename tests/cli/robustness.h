// Scans in a folder, and programs that meet with the worst.
#pragma once

#include <map>
#include <vector>
#include <vips/vips8>

#include "shell.h"

// Noise, which no format makes small; R G B.
inline vips::VImage Noise(int width, int height, int seed) {
  std::vector<vips::VImage> bands;
  for (int band = 0; band < 3; band++) {
    bands.push_back(vips::VImage::gaussnoise(
        width, height,
        vips::VImage::option()->set("mean", 100 + 20 * band)->set("sigma", 25.0)->set("seed", 3 * seed + band)));
  }
  return vips::VImage::bandjoin(bands)
      .cast(VIPS_FORMAT_UCHAR)
      .copy(vips::VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
}

using Files = std::map<std::string, std::string>; // name and content

// What comes before a program, call `number` of which is to break: see break_calls.c. `more`: further settings.
inline std::string Broken(const std::string& calls, int number, const std::string& how, const std::string& more = "") {
  return "env ASAN_OPTIONS=verify_asan_link_order=0 LD_PRELOAD=" ZEP3_BREAK_CALLS " BREAK_CALLS='" + calls +
         "' BREAK_AT=" + std::to_string(number) + " BREAK_HOW='" + how + "' " + more + " ";
}

class Robustness : public Shell {
 protected:
  static void SetUpTestSuite() {
    ASSERT_EQ(VIPS_INIT("robustness_test"), 0);
    vips_cache_set_max(0);
  }

  Outcome Zep3(const std::string& arguments, const std::string& before = "") const {
    return Run(before + ZEP3_PROGRAM + " " + arguments);
  }
  void Save(const vips::VImage& image, const std::string& name) const {
    std::filesystem::create_directories((m_folder / name).parent_path());
    image.write_to_file(Path(name).c_str());
  }

  Files AllFiles() const {
    Files files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_folder)) {
      const std::string name = entry.path().lexically_relative(m_folder).string();
      if (entry.is_regular_file() && name != ".out" && name != ".err") files[name] = Read(name);
    }
    return files;
  }
  void PutBack(const Files& files) const {
    for (const auto& entry : std::filesystem::directory_iterator(m_folder)) std::filesystem::remove_all(entry.path());
    for (const auto& [name, content] : files) {
      std::filesystem::create_directories((m_folder / name).parent_path());
      File(name, content);
    }
  }

  // Pending files that are there.
  int Pending() const {
    int count = 0;
    std::error_code ignored;
    for (const char* folder : {"in", "out"}) {
      for (std::filesystem::directory_iterator at(m_folder / folder, ignored), end; at != end; at.increment(ignored)) {
        count += at->path().filename().string().starts_with('.');
      }
    }
    return count;
  }
};

inline std::string Names(const Files& files) {
  std::string names;
  for (const auto& [name, content] : files) names += name + " ";
  return names;
}
