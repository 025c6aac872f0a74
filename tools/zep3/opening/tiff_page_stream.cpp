// The file with two offsets changed on the way: the first page is the one asked for, and no other follows.
#include "opening/tiff_page_stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "failure.h"
#include "tiff/tiff_directory.h"
#include "tiff/tiff_handle.h"

namespace {

// Bytes of a file, some of which are shown as others.
class PatchedFile : public ByteStream {
 public:
  explicit PatchedFile(const std::string& path) : m_path(path), m_file(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (m_file < 0) throw Failure(path + ": cannot be opened, " + std::strerror(errno), Cause::kUnreadable);
  }
  ~PatchedFile() override { ::close(m_file); }
  PatchedFile(const PatchedFile&) = delete;
  PatchedFile& operator=(const PatchedFile&) = delete;

  void Show(uint64_t position, Bytes bytes) {
    m_patches.emplace_back(static_cast<int64_t>(position), std::move(bytes));
  }

  int64_t Read(uint8_t* to, int64_t size) override {
    ssize_t count = 0;
    while ((count = ::pread(m_file, to, static_cast<size_t>(size), m_at)) < 0 && errno == EINTR) continue;
    if (count < 0) throw Failure(m_path + ": cannot be read, " + std::strerror(errno), Cause::kUnreadable);
    for (const auto& [position, bytes] : m_patches) {
      const auto end = position + static_cast<int64_t>(bytes.size());
      for (int64_t i = std::max(position, m_at); i < std::min(end, m_at + count); i++) {
        to[i - m_at] = bytes[static_cast<size_t>(i - position)];
      }
    }
    m_at += count;
    return count;
  }

  int64_t Seek(int64_t offset, int whence) override {
    struct stat file = {};
    if (whence == SEEK_CUR) offset += m_at;
    if (whence == SEEK_END) offset += ::fstat(m_file, &file) == 0 ? file.st_size : 0;
    return m_at = std::max<int64_t>(offset, 0);
  }

 private:
  std::string m_path;
  int m_file;
  int64_t m_at = 0;
  std::vector<std::pair<int64_t, Bytes>> m_patches;
};

} // namespace

std::unique_ptr<ByteStream> OpenTiffPage(const std::string& path, TiffPlace place) {
  auto file = std::make_unique<PatchedFile>(path);
  const TiffHandle tiff(path, place);
  TaggedFile tagged(tiff);
  Bytes first, last;
  tagged.Put(first, place.directory, tagged.OffsetBytes());
  tagged.Put(last, 0, tagged.OffsetBytes());
  file->Show(tagged.NextLink(), last);
  file->Show(tagged.FirstLink(), first);
  return file;
}
