// The names of what is scanned: one file, or running numbers.
#pragma once

#include <filesystem>
#include <string>

#include "options.h"

class PageNames {
 public:
  // Throws UsageError for a pattern that is none.
  explicit PageNames(const Options& options);

  // Whether there may be more than one page.
  bool AreMany() const { return m_many; }
  // The next page's result; "-" is standard output. Skips numbers that are taken, here and in `raw`. Throws UsageError
  // where the only name is.
  std::string Next(const std::filesystem::path& raw);
  // The last one's.
  const std::string& Result() const { return m_result; }
  // Of the scan that it is made of, without folder.
  std::string RawName() const;

 private:
  static int NumberBehind(const std::filesystem::path& folder, const std::string& before, const std::string& behind);
  std::string NameOf(int number) const;

  const Options& m_options;
  bool m_many = false;
  std::string m_before, m_behind; // around the number
  size_t m_digits = 3;
  int m_number; // of the next page; below 0: behind those that are there
  std::string m_result;
};
