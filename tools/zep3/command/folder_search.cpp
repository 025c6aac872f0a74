#include "command/folder_search.h"

#include <vector>

#include "interrupt.h"
#include "saving/in_place.h"
#include "told/report_place.h"

namespace fs = std::filesystem;

void SearchFolder(const fs::path& folder, const FolderSearch& search) {
  std::vector<fs::path> folders = {folder};
  while (!folders.empty() && !IsInterrupted()) {
    const fs::path current = std::move(folders.back());
    folders.pop_back();
    const KeptOriginals kept(current);
    std::error_code error;
    fs::directory_iterator entries(current, error);
    for (; !error && !IsInterrupted() && entries != fs::directory_iterator(); entries.increment(error)) {
      const fs::path& path = entries->path();
      std::error_code kind; // of a link that leads nowhere, too
      const bool isFolder = entries->is_directory(kind) && !entries->is_symlink(kind);
      if (path.filename().string().starts_with('.') || path.filename() == kReportFolder) continue;
      if (isFolder && search.enters(path)) folders.push_back(path);
      if (entries->is_regular_file(kind)) search.found(path, kept.ScanOf(path.string()));
    }
    if (error) search.unreadable(current, error.message());
  }
}
