// Runs the engine once on a raw pixel file and prints the three tables: a tool for people who know the engine.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "driver.h"

namespace {

constexpr int kArguments = 8;

// Decimal, without a check: text that is no number gives 0. strtol stops at 64 bits, the rest is cut off.
int32_t Number(const char* text) { return static_cast<int32_t>(std::strtol(text, nullptr, 10)); }

struct Image {
  int32_t width;
  int32_t height;
  bool gray;

  bool IsEmpty() const { return width <= 0 || height <= 0; }
  // What the file must hold at least.
  int64_t Bytes() const { return int64_t{width} * height * (gray ? 1 : 3); }
};

// A gray file as R = G = B.
std::vector<uint8_t> ExpandGray(const uint8_t* gray, int64_t pixels) {
  std::vector<uint8_t> rgb;
  rgb.reserve(static_cast<size_t>(3 * pixels));
  for (int64_t i = 0; i < pixels; i++) rgb.insert(rgb.end(), 3, gray[i]);
  return rgb;
}

} // namespace

int main(int argc, char** argv) {
  if (argc < 1 + kArguments) {
    std::cerr << "usage: zep3_driver BRIGHTNESS CONTRAST SCREEN_GAMMA_X10 WIDTH HEIGHT GRAY MODE FILE\n"
                 "  GRAY 1: one byte per pixel, else R G B; MODE 0: background removal, 1: ground-colour removal,\n"
                 "  else photo; FILE: raw pixels, line by line. Prints the red, green and blue table.\n";
    return 2;
  }
  const int32_t brightness = Number(argv[1]);
  const int32_t contrast = Number(argv[2]);
  const int32_t screenGamma = Number(argv[3]);
  const Image image = {Number(argv[4]), Number(argv[5]), Number(argv[6]) == 1};
  const int32_t mode = Number(argv[7]);
  const std::string path = argv[8];

  ZEP3_PARA para;
  ZEP3_TONE master;
  ZEP3_TONE rgb[3];
  Reset(&para, &master, rgb);
  if (mode == 1) para.wSubMode = ZEP3_SUB_GROUND_COLOR_REMOVAL;
  if (mode == 0) para.wSubMode = ZEP3_SUB_BACKGROUND_REMOVAL;

  // The size before and after loading: a file that changes in between is read no further than it was loaded.
  const int64_t sizeBefore = GetFileSize(path);
  char* file = LoadFileToMemory(path);
  uint8_t* pixels = reinterpret_cast<uint8_t*>(file);
  const bool complete =
      image.IsEmpty() ||
      (file != nullptr && image.Bytes() <= static_cast<int32_t>(std::min(sizeBefore, GetFileSize(path))));
  std::vector<uint8_t> expanded;
  if (image.gray && complete && !image.IsEmpty()) {
    expanded = ExpandGray(pixels, image.Bytes());
    pixels = expanded.data();
  }

  ZEP3_BmpInfo bmp = {};
  bmp.pBits = pixels;
  bmp.lWidth = image.width;
  bmp.lHeight = image.height;
  bmp.lBytesPerLine = static_cast<int32_t>(static_cast<uint32_t>(image.width) * 3u);
  bmp.lBitCount = 24;
  bmp.area.ptRight = bmp.area.ptBottom = {image.width, image.height};
  bmp.wPixelFormat = ZEP3_PIXEL_RGB;

  para.ic.lContrast = contrast;
  para.ic.lBrightness = brightness;
  para.lScreenGamma = screenGamma;

  // An image that its file does not fill counts as a failed analysis; the tables follow from the record as it stands.
  if (!complete || !ZEP3(&bmp, &para, nullptr)) std::cerr << "ZEP3 fails" << std::endl;
  uint8_t table[768] = {};
  if (!MakeZEP3LUT(&para, table)) std::cerr << "MakeZEP3LUT fails" << std::endl;
  for (int c = 0; c < 3; c++) {
    for (int i = 0; i < 256; i++) std::cout << int{table[256 * c + i]} << ',';
    std::cout << std::endl;
  }
  std::free(file);
  return 0;
}
