// What the scan, its kept original and their times say about earlier runs.
#include "saving/in_place.h"

#include <filesystem>
#include <utility>

#include "failure.h"

namespace fs = std::filesystem;

InPlace::InPlace(const std::string& scan, bool keepsOriginal)
    : m_scan(scan), m_backup(keepsOriginal ? scan + kBackupSuffix : ""), m_state(StateOf(scan)) {
  m_again = !m_backup.empty() && fs::exists(fs::symlink_status(m_backup));
  if (!m_again) return;
  std::error_code ignored;
  if (!fs::exists(m_backup) || (fs::is_symlink(m_backup) && fs::equivalent(m_backup, m_scan, ignored))) {
    throw Failure(m_backup + " is a link that leads to no original; move it away");
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

bool InPlace::Replace(PendingFile& result) const {
  if (result.CommitInPlace(m_backup, m_state)) return true;
  IsUntouched();
  return false;
}
