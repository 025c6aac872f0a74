// Ends the work on one scan: the user is told "NAME: reason", and the other scans go on.
#pragma once

#include <stdexcept>
#include <string>

// Who has to do what about a failure.
enum class Cause {
  kNone,
  kUnreadable, // the scan is damaged, gone or closed to the user
  kRefused,    // it could be read, but not finished as it was asked for
  kDisk,       // what is written finds no room, or a fault of the disk
  kCrashed,    // a decoder took its process along
};
inline constexpr const char* kCauseNames[] = {"", "unreadable", "refused", "disk", "crashed"};

class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& what, Cause cause = Cause::kRefused) : runtime_error(what), m_cause(cause) {}

  Cause Why() const { return m_cause; }

 private:
  Cause m_cause;
};

// A fault in what the user asked for, found before any scan is touched: exit status 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};
