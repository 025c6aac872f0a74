// What the scan, its kept original and their times say about earlier runs.
#include "saving/in_place.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <utility>

#include "failure.h"
#include "files/formats.h"
#include "files/output.h"
#include "told/run_state.h"

namespace fs = std::filesystem;

namespace {

// "SIZE TIME NAME" a line; line feeds in names are written as zero bytes, which no name holds.
constexpr const char* kKeptFile = "originals";

fs::path KeptFile(const fs::path& folder) { return folder / kRunFolder / kKeptFile; }

// "a_original.tif" of "a.tif".
std::string BackupOf(const fs::path& scan) {
  return (scan.parent_path() / (scan.stem().string() + kBackupSuffix + scan.extension().string())).string();
}

bool IsThere(const std::string& path) { return fs::exists(fs::symlink_status(path)); }

} // namespace

KeptOriginals::KeptOriginals(const fs::path& folder) {
  std::ifstream lines(KeptFile(folder), std::ios::binary);
  for (std::string line, name; std::getline(lines, line);) {
    std::istringstream fields(line);
    FileTime file;
    if (!(fields >> file.size >> file.time) || fields.get() != ' ' || !std::getline(fields, name)) continue;
    for (char& c : name) c = c == '\0' ? '\n' : c;
    m_kept.emplace(name, file);
  }
}

bool KeptOriginals::Holds(const fs::path& file) const {
  const auto [begin, end] = m_kept.equal_range(file.filename().string());
  if (begin == end) return false;
  const FileTime now = TimeOf(file.string());
  for (auto at = begin; at != end; ++at) {
    if (at->second == now) return true;
  }
  return false;
}

std::string KeptOriginals::ScanOf(const std::string& file) const {
  const size_t suffix = std::strlen(kBackupSuffix);
  if (file.ends_with(kBackupSuffix)) {
    const std::string scan = file.substr(0, file.size() - suffix);
    return AnyFormatOfName(scan) != nullptr ? scan : "";
  }
  const fs::path path = file;
  std::string stem = path.stem().string();
  if (!stem.ends_with(kBackupSuffix) || stem.size() == suffix || !Holds(path)) return "";
  stem.resize(stem.size() - suffix);
  return (path.parent_path() / (stem + path.extension().string())).string();
}

std::string KeptOriginals::OriginalOf(const fs::path& scan) const {
  const std::string backup = BackupOf(scan);
  return Holds(backup) ? backup : "";
}

void KeptOriginals::Add(const fs::path& original, const FileTime& scan, PendingFile::Sync sync) {
  const KeptOriginals before(FolderOf(original));
  const auto [begin, end] = before.m_kept.equal_range(original.filename().string());
  if (std::any_of(begin, end, [&](const auto& kept) { return kept.second == scan; })) return;
  const fs::path path = KeptFile(FolderOf(original));
  CreateFolders(path.parent_path(), sync);
  std::string name = original.filename().string();
  for (char& c : name) c = c == '\n' ? '\0' : c;
  // A line of its own, whatever a process that was killed left before it.
  std::string line = "\n";
  line.append(std::to_string(scan.size)).append(" ").append(std::to_string(scan.time)).append(" ");
  line.append(name).append("\n");
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC, 0666);
  bool good = file >= 0 && WriteFully(file, line.data(), line.size());
  good = good && (sync == PendingFile::Sync::kNo || ::fdatasync(file) == 0);
  const int reason = errno;
  const bool closed = file < 0 || ::close(file) == 0;
  if (good && closed) return;
  throw Failure(path.string() + ": cannot be written, " + std::strerror(good ? errno : reason), Cause::kDisk);
}

InPlace::InPlace(const std::string& scan, bool keepsOriginal) : m_scan(scan), m_state(StateOf(scan)) {
  if (!keepsOriginal) return;
  m_backup = BackupOf(scan);
  const std::string former = scan + kBackupSuffix;
  const bool isFormer = IsThere(former);
  m_again = isFormer || IsThere(m_backup);
  if (isFormer && IsThere(m_backup) && KeptOriginals(FolderOf(scan)).Holds(m_backup)) {
    throw Failure(m_backup + " and " + former + " are both kept; move one of them away");
  }
  if (isFormer) m_backup = former;
  if (!m_again) return;
  std::error_code ignored;
  if (!fs::exists(m_backup) || (fs::is_symlink(m_backup) && fs::equivalent(m_backup, m_scan, ignored))) {
    throw Failure(m_backup + " is a link that leads to no original; move it away");
  }
  if (!isFormer && !KeptOriginals(FolderOf(scan)).Holds(m_backup)) {
    throw Failure(m_backup + " exists, and is not what a run has kept of this scan; move one of them away");
  }
  m_halfReplaced = IsHalfReplaced();
  if (!m_halfReplaced && IsChangedSince()) {
    throw Failure(m_backup + " exists, but the scan has changed since it was kept; move one of them away");
  }
}

// A run that was killed kept the original, but its result has not taken the name.
bool InPlace::IsHalfReplaced() const {
  std::error_code ignored;
  return !fs::exists(m_scan) || (!fs::is_symlink(m_backup) && fs::equivalent(m_backup, m_scan, ignored));
}

// Whether the file has been written since its original was kept: another scan of its name, or a change to the result.
bool InPlace::IsChangedSince() const {
  struct stat kept = {};
  struct stat now = {};
  if (::stat(m_backup.c_str(), &kept) != 0 || ::stat(m_scan.c_str(), &now) != 0) return false;
  // The result was written before the original lost its name, which the kept file's change time shows.
  return std::pair(now.st_mtim.tv_sec, now.st_mtim.tv_nsec) > std::pair(kept.st_ctim.tv_sec, kept.st_ctim.tv_nsec);
}

bool InPlace::IsUntouched() const {
  if (StateOf(m_scan) == m_state) return true;
  const bool corrected = !m_backup.empty() && fs::exists(m_backup) && !IsHalfReplaced() && !IsChangedSince();
  if (!corrected) throw Failure("was changed while it was read", Cause::kUnreadable);
  return false;
}

void InPlace::GiveRights(PendingFile& result) const {
  if (!result.TakeRights(m_scan)) result.TakeRights(m_backup);
}

bool InPlace::Replace(PendingFile& result, PendingFile::Sync sync) const {
  if (!m_backup.empty() && !m_again && StateOf(m_scan) == m_state) KeptOriginals::Add(m_backup, TimeOf(m_scan), sync);
  if (result.CommitInPlace(m_backup, m_state)) return true;
  IsUntouched();
  return false;
}

void InPlace::Restore(PendingFile::Sync sync) const {
  if (fs::is_symlink(m_backup)) throw Failure(m_backup + " is a link; put the file itself in its place");
  std::error_code ignored;
  if (StateOf(m_scan) != m_state) throw Failure("was changed meanwhile");
  // Two names of one file stay both when one is given the other's.
  const bool same = fs::equivalent(m_backup, m_scan, ignored);
  if ((same ? ::unlink(m_backup.c_str()) : ::rename(m_backup.c_str(), m_scan.c_str())) != 0)
    throw Failure(m_scan + ": cannot be restored, " + std::strerror(errno), Cause::kDisk);
  if (sync == PendingFile::Sync::kYes) SyncFolder(FolderOf(m_scan));
}
