// A scan that its result replaces, and the file that keeps it: a_original.tif beside a.tif, or a.tif_original, as
// versions before named it.
#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "files/file_state.h"
#include "files/pending_file.h"

inline constexpr const char* kBackupSuffix = "_original";

// The originals that runs have kept in a folder, by name, size and time, in a file of its own. A scan may have such a
// name, too: without an entry here it is one.
class KeptOriginals {
 public:
  explicit KeptOriginals(const std::filesystem::path& folder);

  // Whether the file, which lies in the folder, is what was kept under its name.
  bool Holds(const std::filesystem::path& file) const;
  // The scan that the file is the original of; "" of another file.
  std::string ScanOf(const std::string& file) const;
  // The original of the scan, as runs name it now; "" where none was kept.
  std::string OriginalOf(const std::filesystem::path& scan) const;

  // Adds the original of a scan, that is still to have its second name. Throws Failure.
  static void Add(const std::filesystem::path& original, const FileTime& scan, PendingFile::Sync sync);

 private:
  std::multimap<std::string, FileTime> m_kept;
};

class InPlace {
 public:
  // Throws Failure when the scan has been changed since its original was kept, or what should be the original is none.
  InPlace(const std::string& scan, bool keepsOriginal);

  // An earlier run has replaced the scan, and nobody has changed it since.
  bool IsCorrected() const { return m_again && !m_halfReplaced; }
  // Whether the kept original is to be read: a second correction is not laid on top of the first, and the work of a
  // run that was killed is taken up again.
  bool HasOriginal() const { return m_again; }
  // The name of the original; empty: none is kept.
  const std::string& Backup() const { return m_backup; }

  // True while the scan is what it was at the beginning; false when another run has corrected it. Throws Failure when
  // somebody else has changed it.
  bool IsUntouched() const;
  // Gives a result that is not finished the scan's owner and rights.
  void GiveRights(PendingFile& result) const;
  // Gives a finished result the scan's name. False as above, and nothing is replaced.
  bool Replace(PendingFile& result, PendingFile::Sync sync) const;
  // Gives the original its name back; the result is gone then. Throws Failure.
  void Restore(PendingFile::Sync sync) const;

 private:
  bool IsHalfReplaced() const;
  bool IsChangedSince() const;

  std::string m_scan;
  std::string m_backup;
  FileState m_state; // of the scan, at the beginning
  bool m_again = false;
  bool m_halfReplaced = false;
};
