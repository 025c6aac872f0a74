// A look at what lies on a scanner, at a low resolution, before the scan.
#pragma once

#include <functional>

#include "device.h"
#include "scanned_page.h"

// Whether it scans what it pulls through, by its source.
bool IsFeeder(const Device& device);

// Whether a scanner can look twice at an original, by its source or by its type; what a feeder has pulled through is
// gone. A scanner that tells neither is not asked to.
bool LooksTwice(const Device& device);

// Scans the same area at the lowest resolution that gives the analysis all that it reads; then all options are as
// before. False, with nothing done, where there is no such resolution. Throws ScannerFault.
bool TakeLowPage(Device& device, ScannedPage& page, const std::function<bool()>& stops);
