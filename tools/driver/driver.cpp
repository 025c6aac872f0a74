#include "driver.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>

void Reset(ZEP3_PARA* para, ZEP3_TONE* master, ZEP3_TONE* rgb) { ResetZEP3(para, master, rgb); }

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
