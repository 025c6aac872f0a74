// Scans, and zep3 as a user runs it on them.
#pragma once

#include <algorithm>
#include <chrono>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <regex>
#include <vector>
#include <vips/vips8>

#include "shell.h"

using vips::VImage;
namespace fs = std::filesystem;

inline VImage As(VipsInterpretation space, const VImage& image) {
  return image.copy(VImage::option()->set("interpretation", space));
}

// Of R G B bytes.
inline VImage Picture(const std::vector<uint8_t>& pixels, int width, int height) {
  return As(VIPS_INTERPRETATION_sRGB,
            VImage(vips_image_new_from_memory_copy(pixels.data(), pixels.size(), width, height, 3, VIPS_FORMAT_UCHAR)));
}

// A scan with shading, texture and a cast, off the ends of the scale.
constexpr int kWidth = 90;
constexpr int kHeight = 60;

inline VImage Sample() {
  std::vector<uint8_t> pixels;
  for (int i = 0; i < kWidth * kHeight; i++) {
    const int x = i % kWidth, y = i / kWidth;
    const int base = 30 + 150 * x / kWidth + (x * 7 + y * 13) % 23 + y % 5;
    for (const int cast : {20, 5, -12}) pixels.push_back(static_cast<uint8_t>(base + cast));
  }
  return Picture(pixels, kWidth, kHeight);
}

// Noise, which no format makes small.
inline VImage Noise(int width, int height, unsigned seed) {
  std::minstd_rand random(seed);
  std::vector<uint8_t> pixels(static_cast<size_t>(3 * width * height));
  for (size_t i = 0; i < pixels.size(); i++) pixels[i] = static_cast<uint8_t>(50 + 20 * (i % 3) + random() % 100);
  return Picture(pixels, width, height);
}

inline VImage Gray(const VImage& image) { return As(VIPS_INTERPRETATION_B_W, image[1]); }
inline VImage Deep(const VImage& image) {
  return As(image.bands() < 3 ? VIPS_INTERPRETATION_GREY16 : VIPS_INTERPRETATION_RGB16,
            (image * 257).cast(VIPS_FORMAT_USHORT));
}

// Largest difference of two pictures of one size.
inline double Difference(const VImage& a, const VImage& b) {
  EXPECT_EQ(a.bands(), b.bands());
  return (a - b).abs().max();
}

// The name under which an original is kept.
inline std::string OriginalOf(const std::string& scan) {
  const fs::path path = scan;
  return (path.parent_path() / (path.stem().string() + "_original" + path.extension().string())).string();
}

using Files = std::map<std::string, std::string>; // name and content

inline std::string Names(const Files& files) {
  std::string names;
  for (const auto& [name, content] : files) names += name + " ";
  return names;
}

// What comes before a program, call `number` of which is to break: see break_calls.c. `more`: further settings.
inline std::string Broken(const std::string& calls, int number, const std::string& how, const std::string& more = "") {
  return "env ASAN_OPTIONS=verify_asan_link_order=0:handle_sigbus=0 LD_PRELOAD=" ZEP3_BREAK_CALLS " BREAK_CALLS='" +
         calls + "' BREAK_AT=" + std::to_string(number) + " BREAK_HOW='" + how + "' " + more + " ";
}

// Most tests are about something else than what was scanned.
#define ZEP3_PHOTO ZEP3_PROGRAM " -k photo"

#define EXPECT_IN(part, text) EXPECT_PRED_FORMAT2(testing::IsSubstring, part, text)

class Program : public Shell {
 protected:
  // Of files that are put back: past, whatever the clock of files counts from.
  static constexpr fs::file_time_type kTime{std::chrono::hours(-24 * 365 * 150)};

  static void SetUpTestSuite() {
    ASSERT_EQ(VIPS_INIT("program_test"), 0);
    vips_cache_set_max(0); // files of one name are read again and again
  }

  static bool TellsKind(const std::string& arguments) {
    return std::regex_search(
        arguments, std::regex("-k |--kind|--use-sidecar|--own-sidecars|--use-roll|--version|--help|^compare"));
  }
  Outcome Zep3(const std::string& arguments, const std::string& before = "") const {
    return Run(before + (TellsKind(arguments) ? ZEP3_PROGRAM " " : ZEP3_PHOTO " ") + arguments);
  }
  void ExpectDone(const std::string& arguments) const {
    const Outcome run = Zep3(arguments);
    EXPECT_EQ(run.status, 0) << arguments << "\n" << run.err;
  }
  void ExpectFault(const std::string& arguments, const std::string& message, int status = 1,
                   const std::string& before = "timeout 60 ") const {
    SCOPED_TRACE(arguments);
    const Outcome run = Zep3(arguments, before);
    EXPECT_EQ(run.status, status) << run.err;
    EXPECT_IN(message, run.err);
    EXPECT_TRUE(run.err.starts_with("zep3: ")) << run.err;
  }

  // A folder is made where the name has one; options of libvips stand in brackets behind it.
  void Save(const VImage& image, const std::string& name) const {
    fs::create_directories((m_folder / name).parent_path());
    image.write_to_file(Path(name).c_str());
  }
  VImage Load(const std::string& name) const { return VImage::new_from_file(Path(name).c_str()).copy_memory(); }

  // The first page of a correction's JSON, of a result's sidecar, of what an analysis prints.
  static nlohmann::json Page(const std::string& json) { return nlohmann::json::parse(json).at("pages").at(0); }
  nlohmann::json Sidecar(const std::string& result) const { return Page(Read(result + ".zep3.json")); }
  nlohmann::json Analysed(const std::string& arguments) const { return Page(Zep3("analyse " + arguments).out); }

  // Pending ones, too, but not what a run keeps of itself, which holds times.
  Files AllFiles() const {
    Files files;
    std::error_code ignored; // of links that lead nowhere
    for (const auto& entry : fs::recursive_directory_iterator(m_folder)) {
      const std::string name = entry.path().lexically_relative(m_folder).string();
      if (name.find(".zep3-run") != std::string::npos) continue;
      if (entry.is_regular_file(ignored) && name != ".out" && name != ".err") files[name] = Read(name);
    }
    return files;
  }
  void ExpectFiles(const Files& files) const {
    const Files now = AllFiles();
    EXPECT_EQ(Names(now), Names(files));
    for (const auto& [name, content] : files) EXPECT_TRUE(now.contains(name) && now.at(name) == content) << name;
  }
  // With the same times each time, which are told of scans; what is known of kept originals stays.
  void PutBack(const Files& files) const {
    Files kept;
    for (const auto& entry : fs::recursive_directory_iterator(m_folder)) {
      const std::string name = entry.path().lexically_relative(m_folder).string();
      if (name.ends_with(".zep3-run/originals")) kept[name] = Read(name);
    }
    for (const auto& entry : fs::directory_iterator(m_folder)) fs::remove_all(entry.path());
    for (const auto& [name, content] : files) {
      fs::create_directories((m_folder / name).parent_path());
      File(name, content);
      fs::last_write_time(m_folder / name, kTime);
    }
    for (const auto& [name, content] : kept) {
      fs::create_directories((m_folder / name).parent_path());
      File(name, content);
    }
  }
};
