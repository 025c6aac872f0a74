// The tables of a correction in the scanner itself, through which it sends what it reads.
#pragma once

#include "page/correction.h"
#include "page/tables.h"
#include "tools/sane/device.h"
#include "tools/sane/scanned_page.h"

// Whether the scanner takes three tables; makes them active as far as that takes it. Throws ScannerFault.
bool OpenTables(Device& device);

// Resampled to the scanner's lengths and ranges. Throws ScannerFault, Failure.
void LoadTables(Device& device, const Correction& correction);

// The scanner's own tables count again.
void CloseTables(Device& device);

// Whether a scan is what such tables, of 256 entries, make of its pre-scan. Both of 8 bits, in colours.
bool IsThroughTables(const ScannedPage& scan, const ScannedPage& prescan, const Tables& tables);
