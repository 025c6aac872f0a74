// Names of temporary files, what killed processes left of them, and copies between descriptors.
#include "files/output.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <vector>

#include "failure.h"
#include "files/pending_file.h"
#include "interrupt.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kStandardOutput = "to standard output";

std::string Reason() { return std::strerror(errno); }

void WriteAll(int file, const char* bytes, size_t size, const std::string& name) {
  if (!WriteFully(file, bytes, size, IsInterrupted))
    throw Failure("cannot write " + name + ": " + Reason(), Cause::kDisk);
}

// `read` fills the buffer and says how much of it, as the system's call.
template <typename Read>
void CopyAll(Read read, int to, const std::string& name) {
  std::vector<char> buffer(1 << 20);
  while (!IsInterrupted()) { // before what may wait for ever: the signal may have come already
    const int64_t size = read(buffer.data(), buffer.size());
    if (size < 0 && errno == EINTR && !IsInterrupted()) continue;
    if (size < 0) throw Failure("cannot read: " + Reason(), Cause::kUnreadable);
    if (size == 0) return;
    WriteAll(to, buffer.data(), static_cast<size_t>(size), name);
  }
  throw Failure("interrupted");
}

// Disks that are reached by a network may have their say only when a file is closed; any copy of the descriptor does.
void CheckStandardOutput() {
  const int copy = ::dup(STDOUT_FILENO);
  if (copy < 0 || ::close(copy) != 0)
    throw Failure(std::string("cannot write ") + kStandardOutput + ": " + Reason(), Cause::kDisk);
}

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

// A dead process keeps its number until its parent has taken note; in containers often for ever.
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
  if (error) throw Failure("the folder for temporary files (TMPDIR) cannot be used: " + error.message(), Cause::kDisk);
  return place;
}

} // namespace

bool WriteFully(int file, const char* bytes, size_t size, bool (*stop)()) {
  while (size > 0) {
    const ssize_t written = ::write(file, bytes, size);
    if (written < 0 && errno == EINTR && (stop == nullptr || !stop())) continue;
    if (written == 0) errno = EIO; // would go on for ever
    if (written <= 0) return false;
    bytes += written;
    size -= static_cast<size_t>(written);
  }
  return true;
}

std::string OwnMark() { return MachineMark() + std::to_string(::getpid()) + "-"; }

fs::path FolderOf(const fs::path& file) { return file.has_parent_path() ? file.parent_path() : fs::path("."); }

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

TemporaryFolder::TemporaryFolder() {
  RemoveAbandoned("-");
  std::string name = (TemporaryPlace() / (OwnMark() + "XXXXXX")).string();
  if (::mkdtemp(name.data()) == nullptr) throw Failure("cannot write into " + name + ": " + Reason(), Cause::kDisk);
  m_path = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(m_path, ignored);
}

std::string SpoolStandardInput() {
  std::string name = (TemporaryPlace() / "zep3-XXXXXX").string();
  const int file = ::mkostemp(name.data(), O_CLOEXEC); // stays open to the end of the process
  if (file < 0) throw Failure("cannot keep standard input in " + name + ": " + Reason(), Cause::kDisk);
  ::unlink(name.c_str());
  CopyAll([](char* to, size_t size) { return ::read(STDIN_FILENO, to, size); }, file,
          "what standard input holds into " + TemporaryPlace().string());
  return "/proc/self/fd/" + std::to_string(file);
}

void CopyToStandardOutput(PendingFile& file) {
  file.Seek(0, SEEK_SET);
  CopyAll([&](char* to, size_t size) { return file.Read(to, size); }, STDOUT_FILENO, kStandardOutput);
  CheckStandardOutput();
}

void WriteToStandardOutput(const std::string& bytes) {
  WriteAll(STDOUT_FILENO, bytes.data(), bytes.size(), kStandardOutput);
  CheckStandardOutput();
}
