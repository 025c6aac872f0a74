// A hidden file beside its target: writing with the first error kept, then renaming.
#include "files/pending_file.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>
#include <utility>

#include "failure.h"
#include "files/output.h"

namespace fs = std::filesystem;

namespace {

// The disk is told to begin after this many bytes, so that it works while the next are computed.
constexpr uint64_t kWriteBehind = 8 << 20;

// To be called after a system call that has set errno.
[[noreturn]] void FailToWrite(const fs::path& file) {
  throw Failure(file.string() + ": cannot be written, " + std::strerror(errno), Cause::kDisk);
}

// A user who names a pipe or a device wants the bytes to go there. A file in its place would cut off the reader, or
// replace the system's device. Links into /proc name what a process has open, such as /dev/stdout.
void CheckReplaceable(const fs::path& target) {
  struct stat file = {};
  std::error_code ignored;
  const bool open = fs::read_symlink(target, ignored).native().starts_with("/proc/");
  const bool there = ::stat(target.c_str(), &file) == 0;
  if (open || (there && !S_ISREG(file.st_mode) && !S_ISDIR(file.st_mode))) {
    throw Failure(target.string() +
                  " is a pipe, a device or a socket, which no file replaces; -o - writes to standard output");
  }
}

// Beside the target, with a name that nobody can guess.
int CreateHidden(const fs::path& target, std::string& path) {
  // Cut, so that a long name has room for the rest (255 bytes).
  std::string name = ".";
  name.append(target.filename().string(), 0, 180).append(".").append(OwnMark());
  for (int tries = 0; tries < 100; tries++) {
    uint64_t number = 0;
    if (::getrandom(&number, sizeof number, 0) != sizeof number) break;
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(number));
    path = (FolderOf(target) / (name + text)).string();
    const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (file >= 0 || errno != EEXIST) return file;
  }
  return -1;
}

// Why the disk may not have the names in the folder; nothing when it has.
std::string FaultOfSync(const fs::path& folder) {
  const int file = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (file < 0) return ""; // may be written and not read
  const int error = ::fsync(file) == 0 ? 0 : errno;
  ::close(file);
  // Not every file system has folders that can be synchronised.
  return error == 0 || error == EINVAL || error == ENOTSUP ? "" : std::strerror(error);
}

void Rename(const std::string& from, const fs::path& to) {
  if (std::rename(from.c_str(), to.c_str()) != 0) FailToWrite(to);
}

// False when the target exists.
bool RenameToNew(const std::string& from, const fs::path& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno == EEXIST) return false;
  // Not every file system knows the exclusive form.
  if (errno != EINVAL && errno != ENOSYS) FailToWrite(to);
  if (fs::exists(fs::symlink_status(to))) return false;
  Rename(from, to);
  return true;
}

} // namespace

PendingFile::PendingFile(const fs::path& target, Sync sync) : m_target(target), m_name(target.string()), m_sync(sync) {
  static std::set<std::string> visited;
  if (visited.insert(FolderOf(target).string()).second) RemoveAbandoned(target);
  CheckReplaceable(target);
  m_file = CreateHidden(target, m_path);
  if (m_file < 0) FailToWrite(target);
}

PendingFile::PendingFile(PendingFile&& other) noexcept
    : m_target(std::move(other.m_target)),
      m_name(std::move(other.m_name)),
      m_path(std::exchange(other.m_path, "")),
      m_sync(other.m_sync),
      m_file(std::exchange(other.m_file, -1)),
      m_position(other.m_position),
      m_size(other.m_size),
      m_begun(other.m_begun),
      m_fault(std::move(other.m_fault)),
      m_error(other.m_error),
      m_forNow(other.m_forNow) {}

PendingFile::~PendingFile() {
  if (m_file >= 0) ::close(m_file);
  if (!m_path.empty()) ::unlink(m_path.c_str());
}

int64_t PendingFile::Keep(const std::string& fault) {
  if (m_error == 0) {
    m_error = errno != 0 ? errno : EIO;
    m_fault = fault;
  }
  errno = m_error;
  return -1;
}

int64_t PendingFile::KeepSystemError(const char* what) { return Keep(std::string(what) + ", " + std::strerror(errno)); }

int64_t PendingFile::Write(const void* bytes, size_t size) {
  if (m_error != 0) return Keep("");
  const char* from = static_cast<const char*>(bytes);
  for (size_t done = 0; done < size;) {
    const ssize_t now = ::pwrite(m_file, from + done, size - done, static_cast<off_t>(m_position));
    if (now < 0 && errno == EINTR) continue;
    if (now == 0) errno = EIO; // would go on for ever
    if (now <= 0) return KeepSystemError("cannot be written");
    done += static_cast<size_t>(now);
    m_position += static_cast<uint64_t>(now);
  }
  m_size = std::max(m_size, m_position);
  if (m_sync == Sync::kYes && m_size - m_begun >= kWriteBehind) {
    // Only a beginning: what goes wrong with it is told by fsync.
    ::sync_file_range(m_file, static_cast<off_t>(m_begun), static_cast<off_t>(m_size - m_begun), SYNC_FILE_RANGE_WRITE);
    m_begun = m_size;
  }
  return static_cast<int64_t>(size);
}

int64_t PendingFile::Read(void* bytes, size_t size) {
  if (m_error != 0) return Keep("");
  size_t done = 0;
  while (done < size) {
    const ssize_t now = ::pread(m_file, static_cast<char*>(bytes) + done, size - done, static_cast<off_t>(m_position));
    if (now < 0 && errno == EINTR) continue;
    if (now < 0) return KeepSystemError("cannot be read back");
    if (now == 0) break;
    done += static_cast<size_t>(now);
    m_position += static_cast<uint64_t>(now);
  }
  return static_cast<int64_t>(done);
}

int64_t PendingFile::Seek(int64_t offset, int whence) {
  if (m_error != 0) return Keep("");
  const uint64_t from = whence == SEEK_END ? m_size : whence == SEEK_CUR ? m_position : 0;
  const int64_t position = static_cast<int64_t>(from) + offset;
  if (position < 0) {
    errno = EINVAL;
    return KeepSystemError("cannot be written");
  }
  m_position = static_cast<uint64_t>(position);
  return position;
}

void PendingFile::Check() const {
  if (m_error != 0) throw Failure(m_name + ": " + m_fault, Cause::kDisk);
}

bool PendingFile::TakeRights(const fs::path& file) {
  struct stat original = {};
  if (::stat(file.c_str(), &original) != 0) return false;
  // Ownership can be given away by root alone: that this fails for others is no fault.
  [[maybe_unused]] const int owned = ::fchown(m_file, original.st_uid, original.st_gid);
  ::fchmod(m_file, original.st_mode & 07777);
  return true;
}

void PendingFile::Finish() {
  struct stat file = {};
  errno = 0;
  if (::fstat(m_file, &file) != 0) KeepSystemError("cannot be looked at");
  if (static_cast<uint64_t>(file.st_size) != m_size) {
    Keep("has " + std::to_string(file.st_size) + " bytes of the " + std::to_string(m_size) + " that were written");
  }
  if (m_error == 0 && m_sync == Sync::kYes && ::fsync(m_file) != 0) KeepSystemError("cannot be put on the disk");
  // Disks that are reached by a network and quotas may have their say only now.
  if (::close(std::exchange(m_file, -1)) != 0) KeepSystemError("cannot be closed");
  Check();
}

bool PendingFile::Commit(bool overwrite) {
  CheckReplaceable(m_target);
  if (overwrite) {
    Rename(m_path, m_target);
  } else if (!RenameToNew(m_path, m_target)) {
    return false;
  }
  m_path.clear();
  return true;
}

void PendingFile::CommitForNow() {
  CheckReplaceable(m_target);
  const FileState own = StateOf(m_path);
  if (RenameToNew(m_path, m_target)) {
    m_path.clear();
  } else if (::renameat2(AT_FDCWD, m_path.c_str(), AT_FDCWD, m_target.c_str(), RENAME_EXCHANGE) != 0) {
    if (errno != EINVAL && errno != ENOSYS) FailToWrite(m_target);
    Commit(true); // not every file system exchanges names
    return;
  }
  m_forNow = own;
}

void PendingFile::Withdraw() noexcept {
  if (m_forNow == FileState() || StateOf(m_name) != m_forNow) return; // another run has replaced it meanwhile
  if (m_path.empty()) {
    ::unlink(m_name.c_str());
  } else {
    ::renameat2(AT_FDCWD, m_path.c_str(), AT_FDCWD, m_name.c_str(), RENAME_EXCHANGE);
  }
}

bool PendingFile::CommitInPlace(const fs::path& backup, const FileState& replaced) {
  if (StateOf(m_target.string()) != replaced) return false;
  bool linked = false;
  bool renamed = false;
  if (!backup.empty() && !fs::exists(backup)) {
    // Linked first, so that the name is never without a file; renamed where links are not to be had. What another
    // process kept in the meantime stays.
    linked = ::link(m_target.c_str(), backup.c_str()) == 0;
    const bool none = errno == EPERM || errno == EMLINK || errno == EOPNOTSUPP || errno == ENOSYS;
    if (!linked && none) renamed = RenameToNew(m_target.string(), backup);
    if (!linked && !none && errno != EEXIST) FailToWrite(backup);
  }
  try {
    // The disk may take names in any order: the original has its second one before it loses the first.
    const std::string fault = linked || renamed ? SyncName() : "";
    if (!fault.empty()) throw Failure(fault, Cause::kDisk);
    // Its change time now says that the result is finished: a file that is newer is not this result.
    struct stat original = {};
    if (!backup.empty() && ::stat(backup.c_str(), &original) == 0) {
      ::chmod(backup.c_str(), original.st_mode & 07777);
    }
    Rename(m_path, m_target);
  } catch (...) {
    // A second name stays: another run may rely on it by now.
    if (renamed) ::renameat2(AT_FDCWD, backup.c_str(), AT_FDCWD, m_target.c_str(), RENAME_NOREPLACE);
    throw;
  }
  m_path.clear();
  return true;
}

std::string PendingFile::SyncName() const {
  const std::string fault = m_sync == Sync::kNo ? "" : FaultOfSync(FolderOf(m_target));
  return fault.empty() ? "" : m_name + ": its name cannot be put on the disk, " + fault;
}

void CreateFolders(const fs::path& folder, PendingFile::Sync sync) {
  if (folder.empty() || fs::is_directory(folder)) return;
  CreateFolders(folder.parent_path(), sync);
  const bool created = fs::create_directory(folder);
  const std::string fault = created && sync == PendingFile::Sync::kYes ? FaultOfSync(FolderOf(folder)) : "";
  if (!fault.empty()) throw Failure(folder.string() + ": its name cannot be put on the disk, " + fault, Cause::kDisk);
}

PendingFile WritePending(const fs::path& target, const std::string& bytes, PendingFile::Sync sync) {
  PendingFile pending(target, sync);
  pending.Write(bytes.data(), bytes.size());
  pending.Finish();
  return pending;
}
