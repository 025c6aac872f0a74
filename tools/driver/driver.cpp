#include "driver.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>

void Reset(ZEP3_PARA* para, ZEP3_TONE* master, ZEP3_TONE* rgb) {
  std::memset(master, 0, sizeof *master);
  master->wPointNum = 2;
  master->ptCtrl[0] = {0, 0};
  master->ptCtrl[1] = {255, 255};
  for (int c = 0; c < 3; c++) rgb[c] = *master;

  std::memset(para, 0, sizeof *para);
  para->wDocType = ZEP3_DOC_REFLECTIVE;
  para->wDocOption = ZEP3_OPTION_NORMAL;
  para->lScreenGamma = 22;
  for (ZEP3_POINTS& p : para->ic.ch) p = {ZEP3_UNSET, ZEP3_UNSET, ZEP3_UNSET, ZEP3_UNSET, ZEP3_UNSET};
  para->ic.wHlCurveType = ZEP3_HL_AUTO;
  para->ic.wSdCurveType = ZEP3_SD_AUTO;
  para->lCorrectLevel = 4;
  para->ic.pMasterTone = para->pOutMasterTone = master;
  para->ic.pRGBTone = para->pOutRGBTone = rgb;
}

int64_t GetFileSize(std::string path) {
  std::ifstream file(path, std::ios::binary);
  const std::streamoff begin = file.tellg();
  file.seekg(0, std::ios::end);
  const std::streamoff end = file.tellg();
  return end - begin;
}

char* LoadFileToMemory(std::string path) {
  const int32_t size = static_cast<int32_t>(GetFileSize(path));
  std::ifstream file(path, std::ios::binary);
  if (file.fail() || file.bad()) {
    std::cerr << "no input file" << std::endl;
    return nullptr;
  }
  const size_t bytes = static_cast<size_t>(size);
  char* buffer = static_cast<char*>(std::malloc(bytes));
  if (buffer == nullptr) {
    // Kept order: what was asked for is cleared before the message, which without memory ends the process. Done here
    // without touching null.
    if (bytes > 0) std::abort();
    std::cerr << "bytes alloc fails" << std::endl;
    return nullptr;
  }
  file.read(buffer, size);
  // A file that shrank while it was read ends in zeros.
  std::fill(buffer + file.gcount(), buffer + bytes, '\0');
  return buffer;
}
