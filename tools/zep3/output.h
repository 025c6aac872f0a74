// Files that come into being beside their final name and take it when they are whole.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

// A result that is not yet one. Its name begins with a dot and carries the process number; unless committed, it is
// removed.
class PendingFile {
 public:
  // `suffix`, such as ".tif", tells libvips the format.
  PendingFile(const std::filesystem::path& target, const std::string& suffix);
  ~PendingFile();
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;

  PendingFile(PendingFile&& other) noexcept;
  const std::string& Path() const { return m_path; }

  // Gives the file its final name. Throws Failure when the target exists and must not be replaced.
  void Commit(bool overwrite);

  // The same where the target is an original: its rights are kept, the data is on the disk before the name is taken,
  // and a copy stays as `backup` unless that is empty.
  void CommitInPlace(const std::filesystem::path& backup);

 private:
  std::filesystem::path m_target;
  std::string m_path;
};

// The beginning of the name of pending files in the target's folder, written by process `pid`.
std::string PendingPrefix(const std::filesystem::path& target, int pid);

// Removes what a process that died left of its work on `target`.
void RemovePending(const std::filesystem::path& target, int pid);

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
