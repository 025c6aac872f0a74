// A page as a scanner sends it, whole: samples of a pixel side by side, lines without gaps.
#pragma once

#include <sane/sane.h>

#include <cstdint>
#include <functional>

#include "device.h"

class ScannedPage {
 public:
  ScannedPage() = default;
  ~ScannedPage() { Clear(); }
  ScannedPage(const ScannedPage&) = delete;
  ScannedPage& operator=(const ScannedPage&) = delete;

  int64_t width = 0, lines = 0;
  int channels = 0; // 1: gray or black and white; 3: red, green, blue
  int depth = 0;    // bits of a sample: 1 (eight pixels to a byte, 1 is black), 8, 16 (in the processor's order)

  int64_t BytesPerLine() const { return depth == 1 ? (width + 7) / 8 : width * channels * (depth / 8); }
  uint8_t* Line(int64_t line) { return m_bytes + line * BytesPerLine(); }
  const uint8_t* Line(int64_t line) const { return m_bytes + line * BytesPerLine(); }

  // Room for so many lines; what is there stays. In a file without a name, which a page larger than the memory does not
  // crowd out. Throws ScannerFault where the disk has no room.
  void MakeRoom(int64_t forLines);
  void Clear();

 private:
  uint8_t* m_bytes = nullptr;
  int64_t m_size = 0; // bytes
  int m_file = -1;
};

// How far a page is: 0..1, or nothing where the scanner does not know how long it is.
using PageProgress = std::function<void(std::optional<double> part)>;

// One of the three of a page that is scanned colour by colour.
inline bool IsColourFrame(SANE_Frame format) {
  return format == SANE_FRAME_RED || format == SANE_FRAME_GREEN || format == SANE_FRAME_BLUE;
}

// Whether the frame is such as is read here: gray, or colours in one frame or three, of 1, 8 or 16 bits; otherwise why
// not.
std::string FaultOfFrame(const SANE_Parameters& frame);

// Starts the scanner and reads a page with all its frames. `stops`, where it says so, cancels the scanner. Throws
// ScannerFault: with SANE_STATUS_NO_DOCS when a feeder is empty, SANE_STATUS_CANCELLED when it was cancelled.
void ReadPage(const Device& device, ScannedPage& page, const PageProgress& progress,
              const std::function<bool()>& stops);

// The same of a page whose first frame has been started.
void ReadStartedPage(const Device& device, ScannedPage& page, const PageProgress& progress,
                     const std::function<bool()>& stops);
