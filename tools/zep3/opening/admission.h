// What may be opened: which formats, and how large a picture.
#pragma once

#include <sys/resource.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "files/formats.h"

struct Admission {
  std::vector<const Format*> alsoRead; // of FormatsOnDemand()

  // Whether the format, by its name, is one of those.
  bool AlsoReads(std::string_view format) const;

  // Pixels of one page. An A0 sheet at 1200 pixels per inch has 2232 million; a file of half a megabyte may claim any
  // number.
  int64_t maxPixels = 2'500'000'000;

  int pdfDpi = 300; // pixels an inch at which pages of PDF are drawn

  // Bytes that decoding one page may take. Most pages are decoded line by line and take little, whatever their size:
  // this is for decoders that hold the whole picture.
  int64_t maxMemory = int64_t{1} << 30;
};

// Throw Failure that says by which option it may be opened. `what` needs the memory, such as "an interlaced PNG".
void CheckPixels(const Admission& admission, int64_t width, int64_t height);
void CheckMemory(const Admission& admission, const std::string& what, int64_t bytes);

// No loader of libvips but those of Formats() and what is admitted beyond them; nothing at all that libvips calls
// untrusted apart from these. After VIPS_INIT; for the whole process.
void BlockOtherLoaders(const Admission& admission);

// While an object lives, the process gets no more memory than `admission` allows a decoder plus what the program itself
// needs: requests beyond fail. It guards against what no header tells, such as texts that unpack to a thousand times
// their size.
class MemoryBound {
 public:
  explicit MemoryBound(const Admission& admission);
  ~MemoryBound();
  MemoryBound(const MemoryBound&) = delete;
  MemoryBound& operator=(const MemoryBound&) = delete;

 private:
  rlimit m_before = {};
};

// "2500M": a number with K, M or G behind it, which stand for powers of `kilo` (1000 or 1024). Throws UsageError.
int64_t ParseAmount(const std::string& text, int64_t kilo);
