// Identity of a file: device, inode, size and modification time. Equal: the same file, and nobody has written into it.
#pragma once

#include <sys/stat.h>

#include <string>
#include <tuple>

using FileState = std::tuple<dev_t, ino_t, off_t, time_t, long>;

inline FileState StateOf(const struct stat& file) {
  return {file.st_dev, file.st_ino, file.st_size, file.st_mtim.tv_sec, file.st_mtim.tv_nsec};
}

// A missing file has the empty state.
inline FileState StateOf(const std::string& path) {
  struct stat file = {};
  return ::stat(path.c_str(), &file) == 0 ? StateOf(file) : FileState();
}
