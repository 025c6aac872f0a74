#include "output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "failure.h"
#include "interrupt.h"

namespace fs = std::filesystem;

namespace {

std::string Reason() { return std::strerror(errno); }

void WriteAll(int file, const char* bytes, size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(file, bytes, size);
    if (written < 0 && errno == EINTR && !IsInterrupted()) continue;
    if (written < 0) throw Failure("cannot write: " + Reason());
    bytes += written;
    size -= static_cast<size_t>(written);
  }
}

void CopyAll(int from, int to) {
  std::vector<char> buffer(1 << 20);
  for (;;) {
    const ssize_t size = ::read(from, buffer.data(), buffer.size());
    if (size < 0 && errno == EINTR && !IsInterrupted()) continue;
    if (size < 0) throw Failure("cannot read: " + Reason());
    if (size == 0) return;
    WriteAll(to, buffer.data(), static_cast<size_t>(size));
  }
}

// A file descriptor that is closed at the end.
class Descriptor {
 public:
  explicit Descriptor(int file) : m_file(file) {}
  ~Descriptor() {
    if (m_file >= 0) ::close(m_file);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int Get() const { return m_file; }

 private:
  int m_file;
};

void Flush(const std::string& path) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.Get() < 0 || ::fsync(file.Get()) != 0) throw Failure("cannot write " + path + ": " + Reason());
}

void Rename(const std::string& from, const fs::path& to) {
  if (std::rename(from.c_str(), to.c_str()) != 0) throw Failure("cannot write " + to.string() + ": " + Reason());
}

// False when the target exists.
bool RenameToNew(const std::string& from, const fs::path& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno == EEXIST) return false;
  // Not every file system knows the exclusive form.
  if (errno != EINVAL && errno != ENOSYS) throw Failure("cannot write " + to.string() + ": " + Reason());
  if (fs::exists(fs::symlink_status(to))) return false;
  Rename(from, to);
  return true;
}

} // namespace

std::string PendingPrefix(const fs::path& target, int pid) {
  // Cut, so that a long name has room for the rest (255 bytes).
  std::string prefix = ".";
  prefix += target.filename().string().substr(0, 180);
  return prefix + ".zep3-" + std::to_string(pid) + "-";
}

PendingFile::PendingFile(const fs::path& target, const std::string& suffix) : m_target(target) {
  static std::atomic<int> count = 0;
  m_path = (target.parent_path() / (PendingPrefix(target, ::getpid()) + std::to_string(count++) + suffix)).string();
  // What a process of the same number left when it was killed.
  ::unlink(m_path.c_str());
}

PendingFile::PendingFile(PendingFile&& other) noexcept
    : m_target(std::move(other.m_target)), m_path(std::exchange(other.m_path, "")) {}

PendingFile::~PendingFile() {
  if (!m_path.empty()) ::unlink(m_path.c_str());
}

void PendingFile::Commit(bool overwrite) {
  if (overwrite) {
    Rename(m_path, m_target);
  } else if (!RenameToNew(m_path, m_target)) {
    throw Failure(m_target.string() + " exists; --overwrite replaces it");
  }
}

void PendingFile::CommitInPlace(const fs::path& backup) {
  struct stat original = {};
  if (::stat(m_target.c_str(), &original) == 0) {
    // Ownership can be given away by root alone: that this fails for others is no fault.
    [[maybe_unused]] const int owned = ::chown(m_path.c_str(), original.st_uid, original.st_gid);
    ::chmod(m_path.c_str(), original.st_mode & 07777);
  }
  Flush(m_path);
  if (!backup.empty() && !fs::exists(backup)) {
    // Linked first, so that the name is never without a file; renamed where links are not to be had. What another
    // process kept in the meantime stays.
    if (::link(m_target.c_str(), backup.c_str()) != 0 && errno != EEXIST) RenameToNew(m_target.string(), backup);
  }
  Rename(m_path, m_target);
  // Its change time now says when the result took the name: a file that is newer is not this result.
  if (!backup.empty()) ::chmod(backup.c_str(), original.st_mode & 07777);
}

void RemovePending(const fs::path& target, int pid) {
  const std::string prefix = PendingPrefix(target, pid);
  const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(folder, ignored)) {
    if (entry.path().filename().string().starts_with(prefix)) fs::remove(entry.path(), ignored);
  }
}

PendingFile WritePending(const fs::path& target, const std::string& bytes) {
  PendingFile pending(target, "");
  const Descriptor file(::open(pending.Path().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
  if (file.Get() < 0) throw Failure("cannot write " + target.string() + ": " + Reason());
  WriteAll(file.Get(), bytes.data(), bytes.size());
  return pending;
}

TemporaryFolder::TemporaryFolder() {
  std::string name = (fs::temp_directory_path() / "zep3-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) throw Failure("cannot write into " + name + ": " + Reason());
  m_path = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(m_path, ignored);
}

std::string SpoolStandardInput() {
  std::string name = (fs::temp_directory_path() / "zep3-XXXXXX").string();
  const int file = ::mkostemp(name.data(), O_CLOEXEC); // stays open to the end of the process
  if (file < 0) throw Failure("cannot keep standard input in " + name + ": " + Reason());
  ::unlink(name.c_str());
  CopyAll(STDIN_FILENO, file);
  return "/proc/self/fd/" + std::to_string(file);
}

void CopyToStandardOutput(const std::string& path) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.Get() < 0) throw Failure("cannot read " + path + ": " + Reason());
  CopyAll(file.Get(), STDOUT_FILENO);
}

void WriteToStandardOutput(const std::string& bytes) { WriteAll(STDOUT_FILENO, bytes.data(), bytes.size()); }
