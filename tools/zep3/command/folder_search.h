// The files of folders that may be scans.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

struct FolderSearch {
  // Whether a folder below is searched, too.
  std::function<bool(const std::filesystem::path& folder)> enters;
  // A regular file; of a kept original, with the name of the scan that it was.
  std::function<void(const std::filesystem::path& file, const std::string& originalOf)> found;
  std::function<void(const std::filesystem::path& folder, const std::string& reason)> unreadable;
};

// In no order, until the run is interrupted. Left out are reports with their thumbnails, and what begins with a dot,
// such as results of an earlier run that are not whole. Links to folders are not followed.
void SearchFolder(const std::filesystem::path& folder, const FolderSearch& search);
