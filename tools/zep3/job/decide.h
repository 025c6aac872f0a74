// The correction of each page of a scan: found by an analysis, or repeated from a sidecar.
#pragma once

#include <optional>
#include <vector>

#include "opening/scan.h"
#include "options.h"
#include "page/correction.h"
#include "page/prescan.h"

// The corrections of --use-sidecar; none where the scan is to be analysed. Throws Failure.
std::vector<CorrectedPage> RepeatedCorrections(const Options& options);

// A page made small. `detailGamma`: of its values, tenths, where the details for the analysis of pages are wanted.
// `held`: see TakePrescan.
SmallScan MakeSmall(const Scan& scan, int page, const vips::VImage& image, std::optional<int> detailGamma,
                    vips::VImage* held);

// The encoding of an image as the analysis takes it.
Encoding EncodingFor(const vips::VImage& image, const Options& options);

// By the analysis and what the user adds.
CorrectedPage FindCorrection(const SmallScan& small, const Options& options, const Encoding& encoding);

// A page with its correction, and the images by the way.
struct DecidedPage {
  CorrectedPage corrected;
  SmallScan small;
  vips::VImage source; // the page, still to be read from its top
  bool held = false;   // in memory: `source` can be read again and again
};

// Reads the page. `repeated`: see above. `again`: the page is read once more, from DecidedPage::source. Throws Failure.
DecidedPage Decide(const Scan& scan, int page, const Options& options, const std::vector<CorrectedPage>& repeated,
                   bool again);

// The corrections of all pages except black and white ones and thumbnails, for commands that write no picture. Throws
// Failure.
std::vector<CorrectedPage> DecideAll(const Scan& scan, const Options& options);
