#include "output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <set>
#include <utility>

#include "failure.h"
#include "interrupt.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kStandardOutput = "to standard output";

std::string Reason() { return std::strerror(errno); }

void WriteAll(int file, const char* bytes, size_t size, const std::string& name) {
  while (size > 0) {
    const ssize_t written = ::write(file, bytes, size);
    if (written < 0 && errno == EINTR && !IsInterrupted()) continue;
    if (written < 0) throw Failure("cannot write " + name + ": " + Reason());
    bytes += written;
    size -= static_cast<size_t>(written);
  }
}

void CopyAll(int from, int to, const std::string& name) {
  std::vector<char> buffer(1 << 20);
  while (!IsInterrupted()) { // before what may wait for ever: the signal may have come already
    const ssize_t size = ::read(from, buffer.data(), buffer.size());
    if (size < 0 && errno == EINTR && !IsInterrupted()) continue;
    if (size < 0) throw Failure("cannot read: " + Reason());
    if (size == 0) return;
    WriteAll(to, buffer.data(), static_cast<size_t>(size), name);
  }
  throw Failure("interrupted");
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

// In the names of what is removed in the end: the machine, or the part of it in which process numbers mean the same.
const std::string& MachineMark() {
  static const std::string mark = [] {
    std::array<char, 256> machine = {};
    std::array<char, 64> processes = {};
    ::gethostname(machine.data(), machine.size() - 1);
    if (::readlink("/proc/self/ns/pid", processes.data(), processes.size() - 1) < 0) processes = {};
    std::string identity; // names of machines alone are not always different
    std::ifstream("/etc/machine-id") >> identity;
    const size_t hash = std::hash<std::string>()(identity + '/' + machine.data() + '/' + processes.data());
    std::array<char, 32> text = {};
    std::snprintf(text.data(), text.size(), "zep3-%08x-", static_cast<unsigned>(hash));
    return std::string(text.data());
  }();
  return mark;
}

std::string OwnMark() { return MachineMark() + std::to_string(::getpid()) + "-"; }

// Also a dead process has a number until its parent has taken note, in containers often for ever.
bool IsAlive(int pid) {
  if (::kill(pid, 0) != 0 && errno == ESRCH) return false;
  std::string stat; // "PID (NAME) STATE ..."
  std::getline(std::ifstream("/proc/" + std::to_string(pid) + "/stat"), stat);
  const size_t name = stat.rfind(')');
  return name == std::string::npos || stat.compare(name, 3, ") Z") != 0;
}

// Whether the name is one of those given below, ".NAME.MARK-N" to a file or "MARK-X" to a folder, by a process of this
// machine that has died. Whatever else holds a mark is somebody's own.
bool IsAbandoned(const std::string& name, bool isFolder) {
  const size_t mark = isFolder ? 0 : name.rfind("." + MachineMark()) + 1;
  if (!isFolder && (mark < 2 || name.front() != '.')) return false;
  if (name.compare(mark, MachineMark().size(), MachineMark()) != 0) return false;
  int pid = 0;
  const char* const begin = name.data() + mark + MachineMark().size();
  const auto [end, error] = std::from_chars(begin, name.data() + name.size(), pid);
  return error == std::errc() && *end == '-' && pid > 0 && !IsAlive(pid);
}

fs::path TemporaryPlace() {
  std::error_code error;
  const fs::path place = fs::temp_directory_path(error);
  if (error) throw Failure("the folder for temporary files (TMPDIR) cannot be used: " + error.message());
  return place;
}

fs::path FolderOf(const fs::path& file) { return file.has_parent_path() ? file.parent_path() : fs::path("."); }

} // namespace

void RemoveAbandoned(const fs::path& target) {
  std::error_code ignored;
  fs::directory_iterator entries(target == "-" ? fs::temp_directory_path(ignored) : FolderOf(target), ignored);
  for (; !ignored && entries != fs::directory_iterator(); entries.increment(ignored)) {
    if (entries->path().native().find(MachineMark()) == std::string::npos) continue;
    std::error_code kept; // by whoever it belongs to
    const bool isFolder = entries->symlink_status(kept).type() == fs::file_type::directory;
    if (IsAbandoned(entries->path().filename().string(), isFolder)) fs::remove_all(entries->path(), kept);
  }
}

std::string WithFinalNames(std::string message) {
  const std::string mark = std::string(".").append(OwnMark());
  for (size_t at; (at = message.find(mark)) != std::string::npos;) {
    size_t end = std::min(message.find_first_not_of("0123456789", at + mark.size()), message.size());
    while (end < message.size() && (message[end] == '.' || std::isalpha(static_cast<unsigned char>(message[end]))))
      end++;
    message.erase(at, end - at);
    const size_t slash = message.rfind("/.", at); // of the path, see PendingFile
    if (slash == std::string::npos) continue;
    // A result in the current folder was named without it.
    const bool here = slash > 0 && message[slash - 1] == '.' && (slash == 1 || message[slash - 2] == ' ');
    message.erase(here ? slash - 1 : slash + 1, here ? 3 : 1);
  }
  return message;
}

PendingFile::PendingFile(const fs::path& target, const std::string& suffix) : m_target(target) {
  static std::set<std::string> visited;
  const fs::path folder = FolderOf(target);
  if (visited.insert(folder.string()).second) RemoveAbandoned(target);
  static std::atomic<int> count = 0;
  // Cut, so that a long name has room for the rest (255 bytes).
  std::string name = ".";
  name.append(target.filename().string(), 0, 180).append(".").append(OwnMark());
  m_path = (folder / (name + std::to_string(count++) + suffix)).string();
  // What a process of the same number left when it was killed.
  ::unlink(m_path.c_str());
}

PendingFile::PendingFile(PendingFile&& other) noexcept
    : m_target(std::move(other.m_target)), m_path(std::exchange(other.m_path, "")) {}

PendingFile::~PendingFile() {
  if (!m_path.empty()) ::unlink(m_path.c_str());
}

bool PendingFile::Commit(bool overwrite) {
  if (!overwrite) return RenameToNew(m_path, m_target);
  Rename(m_path, m_target);
  return true;
}

bool PendingFile::CommitInPlace(const fs::path& backup, const FileState& replaced) {
  struct stat original = {};
  if (::stat(m_target.c_str(), &original) == 0 || ::stat(backup.c_str(), &original) == 0) {
    // Ownership can be given away by root alone: that this fails for others is no fault.
    [[maybe_unused]] const int owned = ::chown(m_path.c_str(), original.st_uid, original.st_gid);
    ::chmod(m_path.c_str(), original.st_mode & 07777);
  }
  Flush(m_path);
  if (StateOf(m_target.string()) != replaced) return false;
  if (!backup.empty() && !fs::exists(backup)) {
    // Linked first, so that the name is never without a file; renamed where links are not to be had. What another
    // process kept in the meantime stays.
    if (::link(m_target.c_str(), backup.c_str()) != 0 && errno != EEXIST) RenameToNew(m_target.string(), backup);
  }
  // Its change time now says that the result is finished: a file that is newer is not this result.
  if (!backup.empty()) ::chmod(backup.c_str(), original.st_mode & 07777);
  Rename(m_path, m_target);
  return true;
}

PendingFile WritePending(const fs::path& target, const std::string& bytes) {
  PendingFile pending(target, "");
  const Descriptor file(::open(pending.Path().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
  if (file.Get() < 0) throw Failure("cannot write " + target.string() + ": " + Reason());
  WriteAll(file.Get(), bytes.data(), bytes.size(), target.string());
  return pending;
}

TemporaryFolder::TemporaryFolder() {
  RemoveAbandoned("-");
  std::string name = (TemporaryPlace() / (OwnMark() + "XXXXXX")).string();
  if (::mkdtemp(name.data()) == nullptr) throw Failure("cannot write into " + name + ": " + Reason());
  m_path = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(m_path, ignored);
}

std::string SpoolStandardInput() {
  std::string name = (TemporaryPlace() / "zep3-XXXXXX").string();
  const int file = ::mkostemp(name.data(), O_CLOEXEC); // stays open to the end of the process
  if (file < 0) throw Failure("cannot keep standard input in " + name + ": " + Reason());
  ::unlink(name.c_str());
  CopyAll(STDIN_FILENO, file, "what standard input holds into " + TemporaryPlace().string());
  return "/proc/self/fd/" + std::to_string(file);
}

void CopyToStandardOutput(const std::string& path) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.Get() < 0) throw Failure("cannot read " + path + ": " + Reason());
  CopyAll(file.Get(), STDOUT_FILENO, kStandardOutput);
}

void WriteToStandardOutput(const std::string& bytes) {
  WriteAll(STDOUT_FILENO, bytes.data(), bytes.size(), kStandardOutput);
}
