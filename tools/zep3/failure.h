// Ends the work on one scan: the user is told "NAME: reason", and the other scans go on.
#pragma once

#include <stdexcept>
#include <string>

class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A fault in what the user asked for, found before any scan is touched: exit status 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};
