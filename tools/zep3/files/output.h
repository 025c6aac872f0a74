// Temporary files, and standard input and output.
#pragma once

#include <filesystem>
#include <string>

class PendingFile;

// In the names of what is removed in the end: this machine, or the part of it in which process numbers mean the same,
// and this process.
std::string OwnMark();

// "." of a name alone.
std::filesystem::path FolderOf(const std::filesystem::path& file);

// Removes from the folder of `target`, "-" being standard output, what processes that have died left there. What other
// machines write stays: whether they live cannot be told from here.
void RemoveAbandoned(const std::filesystem::path& target);

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

// All bytes to a descriptor. False, with errno, where the system takes no more. `stop`: whether a signal that ends a
// call ends it all; null: none does.
bool WriteFully(int file, const char* bytes, size_t size, bool (*stop)() = nullptr);

// A file from its beginning to standard output. Throws Failure.
void CopyToStandardOutput(PendingFile& file);
void WriteToStandardOutput(const std::string& bytes);
