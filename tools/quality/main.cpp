// Raw pixels of a known kind in, the three tables of the automatic correction out: for judging results over many
// pictures.
#include <charconv>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "driver.h"

namespace {

struct Kind {
  std::string_view name;
  uint16_t docType;
  uint16_t subMode;
  int64_t againstLight; // where --backlight says nothing
};

constexpr Kind kKinds[] = {
    {"nega", ZEP3_DOC_NEGATIVE, ZEP3_SUB_PHOTO, 0},
    {"negabw", ZEP3_DOC_NEGATIVE_BW, ZEP3_SUB_PHOTO, 0},
    {"restore-nega", ZEP3_DOC_NEGATIVE, ZEP3_SUB_RESTORATION, 0},
    {"restore-negabw", ZEP3_DOC_NEGATIVE_BW, ZEP3_SUB_RESTORATION, 0},
    {"restore-print", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, 0},
    {"restore-slide", ZEP3_DOC_POSITIVE, ZEP3_SUB_RESTORATION, 0},
    {"backlight", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_PHOTO, 4},
    {"photo", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_PHOTO, 0},
    {"slide", ZEP3_DOC_POSITIVE, ZEP3_SUB_PHOTO, 0},
};

// Keeps the product of two sides and three bytes within 64 bits.
constexpr int64_t kSideMax = 1000000;

const Kind* FindKind(std::string_view name) {
  for (const Kind& kind : kKinds) {
    if (kind.name == name) return &kind;
  }
  return nullptr;
}

bool ReadNumber(std::string_view text, int64_t& value) {
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, value);
  return error == std::errc() && rest == end;
}

int Usage() {
  std::cerr << "usage: zep3_tables RAW WIDTH HEIGHT KIND [--level N] [--backlight N]\n"
               "  RAW: R G B bytes at gamma 1.8, line by line; KIND:";
  for (const Kind& kind : kKinds) std::cerr << ' ' << kind.name;
  std::cerr << "\n  --level: correction level, 4 without; --backlight: 4 for backlight, else 0.\n"
               "  Prints the red, green and blue table for a display gamma of 2.2.\n";
  return 2;
}

int Refuse(std::string_view what, std::string_view which) {
  std::cerr << "zep3_tables: " << what << ": " << which << '\n';
  return 1;
}

} // namespace

int main(int argc, char** argv) {
  const std::vector<std::string_view> arguments(argv, argv + argc);
  if (argc < 5 || argc % 2 == 0) return Usage();

  int64_t width = 0;
  int64_t height = 0;
  for (const auto& [text, side] : {std::pair{arguments[2], &width}, std::pair{arguments[3], &height}}) {
    if (!ReadNumber(text, *side) || *side < 1 || *side > kSideMax) return Refuse("not a width or height", text);
  }
  const Kind* kind = FindKind(arguments[4]);
  if (kind == nullptr) return Refuse("unknown kind", arguments[4]);

  ZEP3_PARA para;
  ZEP3_TONE master;
  ZEP3_TONE rgb[3];
  Reset(&para, &master, rgb);
  para.wDocType = kind->docType;
  para.wSubMode = kind->subMode;
  para.lAgainstLight = kind->againstLight;
  for (size_t i = 5; i < arguments.size(); i += 2) {
    int64_t* field = arguments[i] == "--level"       ? &para.lCorrectLevel
                     : arguments[i] == "--backlight" ? &para.lAgainstLight
                                                     : nullptr;
    if (field == nullptr) return Refuse("unknown option", arguments[i]);
    if (!ReadNumber(arguments[i + 1], *field)) return Refuse("not a number", arguments[i + 1]);
  }

  std::ifstream file(argv[1], std::ios::binary);
  if (!file) return Refuse("cannot open", arguments[1]);
  std::vector<char> pixels{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (static_cast<int64_t>(pixels.size()) != 3 * width * height) return Refuse("not width x height x 3 bytes", argv[1]);

  ZEP3_BmpInfo bmp = {};
  bmp.pBits = reinterpret_cast<uint8_t*>(pixels.data());
  bmp.lWidth = width;
  bmp.lHeight = height;
  bmp.lBytesPerLine = 3 * width;
  bmp.lBitCount = 24;
  bmp.area.ptRight = bmp.area.ptBottom = {width, height};
  bmp.wPixelFormat = ZEP3_PIXEL_RGB;

  // Colour negatives need a matrix; the pictures come from no particular scanner.
  double identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  if (!ZEP3(&bmp, &para, identity)) return Refuse("no correction for this picture", arguments[1]);
  uint8_t table[768];
  if (!MakeZEP3LUT(&para, table)) return Refuse("no tables for this picture", arguments[1]);
  for (int c = 0; c < 3; c++) {
    for (int i = 0; i < 256; i++) std::cout << int{table[256 * c + i]} << ',';
    std::cout << '\n';
  }
  return 0;
}
