// A last look at a file before it becomes a result.
#pragma once

#include "formats.h"
#include "pending_file.h"

// Throws Failure when the file ends before what it must hold by its format: TIFF strips and tiles, the last chunk of
// PNG, the end marker of JPEG, the sizes in the heads of WebP and binary PNM. Pixels are not decoded.
//
// What failed while it was written the file knows itself; this finds what a library left out without an error.
void CheckWhole(PendingFile& file, const Format& format);
