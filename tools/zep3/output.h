// Files that come into being beside their final name and take it when they are whole.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "file_state.h"

// A result that is not yet one. Its name begins with a dot and tells the process that writes it; unless committed, it
// is removed. The first in a folder removes what processes that were killed left there.
class PendingFile {
 public:
  // `suffix`, such as ".tif", tells libvips the format.
  PendingFile(const std::filesystem::path& target, const std::string& suffix);
  ~PendingFile();
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;

  PendingFile(PendingFile&& other) noexcept;
  const std::string& Path() const { return m_path; }

  // Gives the file its final name. False when the target exists and must not be replaced. Throws Failure.
  bool Commit(bool overwrite);

  // The same where the target is an original: its rights are kept, the data is on the disk before the name is taken,
  // and the original stays as `backup` unless that is empty. Killed on the way it leaves a backup that is the target
  // itself or, where a file has but one name, no target. False when the target is not `replaced` any more.
  bool CommitInPlace(const std::filesystem::path& backup, const FileState& replaced);

 private:
  std::filesystem::path m_target;
  std::string m_path;
};

// Removes from the folder of `target`, "-" being standard output, what processes that have died left there. What other
// machines write stays: whether they live cannot be told from here.
void RemoveAbandoned(const std::filesystem::path& target);

// A message with the names of this process' pending files replaced by those that they are to have.
std::string WithFinalNames(std::string message);

// Text or bytes in a file that is yet to be committed.
PendingFile WritePending(const std::filesystem::path& target, const std::string& bytes);

// A folder for this process alone, which goes away with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& Path() const { return m_path; }

 private:
  std::filesystem::path m_path;
};

// Standard input, copied to a file without a name; a path by which it can be opened again and again. Throws Failure.
std::string SpoolStandardInput();

// A file to standard output. Throws Failure.
void CopyToStandardOutput(const std::string& path);
void WriteToStandardOutput(const std::string& bytes);
