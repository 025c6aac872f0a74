// A page from a scanner as a TIFF file.
#pragma once

#include <optional>
#include <string>

#include "files/pending_file.h"
#include "tools/sane/scanned_page.h"

// What the file tells of its scan.
struct ScanNote {
  std::string device;
  std::optional<double> xResolution, yResolution; // pixels an inch
};

// Into the empty file. Throws Failure.
void WriteRawTiff(const ScannedPage& page, const ScanNote& note, PendingFile& to);
