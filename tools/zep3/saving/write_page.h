// One page of a scan, through its correction, into a file.
#pragma once

#include <vips/vips8>

#include "files/pending_file.h"
#include "opening/scan.h"
#include "page/correction.h"
#include "saving/save.h"

// `image`: page `page`, still to be read. `to` is empty. With `quiet` no progress is shown. Throws Failure or VError.
void WritePage(const Scan& scan, int page, const vips::VImage& image, const CorrectedPage& corrected,
               const SaveOptions& save, bool quiet, PendingFile& to);
