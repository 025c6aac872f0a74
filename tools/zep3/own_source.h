// What libvips reads in place of a file.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include <vips/vips8>

class ByteStream {
 public:
  virtual ~ByteStream() = default;
  // Up to `size` bytes from the present place on; 0 at the end. What it throws is the reason of a failed read.
  virtual int64_t Read(uint8_t* to, int64_t size) = 0;
  // As lseek; -1: cannot be done, it is read once from its beginning.
  virtual int64_t Seek(int64_t, int) { return -1; }
};

// Before the reason of a failed read, as before those of libvips' parts.
inline constexpr std::string_view kOwnReason = "zep3: ";

// The first reason why a read failed. libvips' threads now and then finish a picture in spite of it.
class ReadFault {
 public:
  void Keep(const std::string& reason);
  // Throws Failure when there is one.
  void Check() const;

 private:
  mutable std::mutex m_mutex;
  std::string m_reason;
};

// Reads fail once the run is interrupted, and after each that failed.
vips::VSource ToSource(std::unique_ptr<ByteStream> stream, const std::shared_ptr<ReadFault>& fault);
