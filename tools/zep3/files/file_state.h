// Identity of a file: device, inode, size and modification time. Equal: the same file, and nobody has written into it.
#pragma once

#include <sys/stat.h>

#include <cstdint>
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

// What tells a file from its former state wherever it lies: other disks and machines number files anew.
struct FileTime {
  int64_t size = -1; // bytes; -1: there is none
  int64_t time = 0;  // of the last change, ns since 1970

  bool operator==(const FileTime&) const = default;
};

inline FileTime TimeOf(const std::string& path) {
  struct stat file = {};
  if (::stat(path.c_str(), &file) != 0) return {};
  return {file.st_size, int64_t{file.st_mtim.tv_sec} * 1'000'000'000 + file.st_mtim.tv_nsec};
}
