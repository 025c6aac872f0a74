// A last look at a file before it becomes a result.
#pragma once

#include "files/formats.h"
#include "files/pending_file.h"

// Throws Failure when the file ends before what it must hold by its format: TIFF strips and tiles, the last chunk of
// PNG, the end marker of JPEG, the sizes in the heads of WebP and binary PNM. Pixels are not decoded.
//
// Errors while writing are kept by the file itself; this finds what a library left out without an error.
void CheckWhole(PendingFile& file, const Format& format);
