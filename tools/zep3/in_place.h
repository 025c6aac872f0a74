// A scan that its result replaces, and the file NAME_original that keeps it.
#pragma once

#include <string>

#include "file_state.h"
#include "pending_file.h"

inline constexpr const char* kBackupSuffix = "_original";

class InPlace {
 public:
  // Throws Failure when the scan has been changed since its original was kept, or what should be the original is a link
  // that leads to none.
  InPlace(const std::string& scan, bool keepsOriginal);

  // An earlier run has replaced the scan, and nobody has changed it since.
  bool IsCorrected() const { return m_again && !m_halfReplaced; }
  // Whether to begin from the original that is kept: a second correction is not laid on top of the first, and a run
  // that was killed is taken up again.
  bool HasOriginal() const { return m_again; }
  // The name of the original; empty: none is kept.
  const std::string& Backup() const { return m_backup; }

  // Whether the scan is still what it was at the beginning. Another run that has corrected it in between makes it
  // false; throws Failure when somebody else has changed it.
  bool IsUntouched() const;
  // Gives a result that is not finished the scan's owner and rights.
  void GiveRights(PendingFile& result) const;
  // Gives a finished result the scan's name. False as above, and nothing is replaced.
  bool Replace(PendingFile& result) const;

 private:
  bool IsHalfReplaced() const;
  bool IsChangedSince() const;

  std::string m_scan;
  std::string m_backup;
  FileState m_state; // of the scan, at the beginning
  bool m_again = false;
  bool m_halfReplaced = false;
};
