// Files that come into being beside their final name and take it when they are whole.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "files/file_state.h"

// A result, sidecar or report that is not yet one. Everything that becomes one is written through this class, whether
// by libvips, libtiff or the program itself. Its name begins with a dot, tells the process that writes it and ends in a
// random number; unless committed, the file is removed.
//
// The first error of a call to the system stays: all later calls fail with it, and so does the commit. Libraries
// overlook errors, and a later write that succeeds does not mend a former one that did not.
class PendingFile {
 public:
  // Whether a result waits for the disk.
  enum class Sync {
    kYes, // the file is on the disk before it takes its name
    kNo,
  };

  // `target`: the final name. Throws Failure when the file cannot be made, or when a pipe, device or socket has the
  // name. The first file in a folder removes what processes that were killed left there.
  explicit PendingFile(const std::filesystem::path& target, Sync sync = Sync::kYes);
  ~PendingFile();
  PendingFile(PendingFile&& other) noexcept;
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;

  // The final name, for messages.
  const std::string& Name() const { return m_name; }
  uint64_t Size() const { return m_size; } // bytes

  // Like the system's calls: -1 and errno for an error. Write writes all bytes. For one thread at a time.
  int64_t Write(const void* bytes, size_t size);
  int64_t Read(void* bytes, size_t size);
  int64_t Seek(int64_t offset, int whence);

  // Throws Failure when a call has failed.
  void Check() const;

  // Does what writes into the file. Whether libraries took notice of an error or not, its first reason is thrown.
  template <typename Work>
  void Fill(Work work) {
    try {
      work();
    } catch (...) {
      Check();
      throw;
    }
    Check();
  }

  // Takes owner and rights of `file`. False when there is no such file.
  bool TakeRights(const std::filesystem::path& file);

  // Ends the writing: waits for the disk and closes the file. Throws Failure when any byte may be missing.
  void Finish();

  // Gives the finished file its final name. False when that is taken and must not be replaced. Throws Failure.
  bool Commit(bool overwrite);

  // The same, replacing what there is, so that Withdraw() can take it back. Throws Failure.
  void CommitForNow();
  void Withdraw() noexcept;

  // The same where the target is an original, which stays as `backup` unless that is empty. Killed on the way it leaves
  // a backup that is the target itself or, where a file has but one name, no target. False when the target is not
  // `replaced` any more. Throws Failure, and then the target is what it was.
  bool CommitInPlace(const std::filesystem::path& backup, const FileState& replaced);

  // Waits until the disk has the names given in the target's folder. Returns why it has not, or nothing: by then the
  // whole file has its name, and nothing can be taken back.
  std::string SyncName() const;

 private:
  int64_t Keep(const std::string& fault); // -1
  int64_t KeepSystemError(const char* what);

  std::filesystem::path m_target;
  std::string m_name; // of the target
  std::string m_path; // of what goes with this object, if anything: the file, or the one that it has replaced for now
  Sync m_sync = Sync::kYes;
  int m_file = -1;
  uint64_t m_position = 0, m_size = 0, m_begun = 0; // bytes; begun: that the disk has been told to write
  std::string m_fault;                              // the first
  int m_error = 0;                                  // errno of it
  FileState m_forNow;                               // the file that is committed for now
};

// The folder with all on the way to it, where they are not there yet. Throws Failure or filesystem_error.
void CreateFolders(const std::filesystem::path& folder, PendingFile::Sync sync);

// Waits until the disk has the names in the folder. Throws Failure.
void SyncFolder(const std::filesystem::path& folder);

// Text or bytes in a finished file that is yet to be committed. Throws Failure.
PendingFile WritePending(const std::filesystem::path& target, const std::string& bytes, PendingFile::Sync sync);
